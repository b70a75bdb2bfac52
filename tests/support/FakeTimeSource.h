// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "base/TimeSource.h"

#include <atomic>
#include <vector>

namespace vt::test {

/// A time source that only moves when a test says so. advance() fires due timers in the order of their due
/// times: directly when their context lives on the calling thread, else by a queued call on its thread.
class FakeTimeSource final : public TimeSource
{
public:
    explicit FakeTimeSource(const QDateTime& start = QDateTime({2026, 3, 2}, {10, 0, 0}));
    ~FakeTimeSource() override;

    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] qint64 monotonicMs() const override;
    [[nodiscard]] qint64 monotonicUs() const override;
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject* context,
                                                     std::function<void()> onTimeout) override;

    void advance(qint64 milliseconds);
    /// Timers that are running now.
    [[nodiscard]] int activeTimers() const;

private:
    class FakeTimer;
    struct TimerState;
    [[nodiscard]] std::shared_ptr<TimerState> nextDue(qint64 untilUs);

    const QDateTime m_start;
    std::atomic<qint64> m_elapsedUs{0};
    mutable Mutex m_mutex;
    std::vector<std::shared_ptr<TimerState>> m_timers VT_GUARDED_BY(m_mutex);
};

} // namespace vt::test
