// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"

#include <condition_variable>
#include <vector>

namespace vt::test {

/// A fake time source that writes down which timers were started, and lets the test wait for the next: the
/// object under test starts them on a thread of its own.
class WatchedTimeSource final : public TimeSource
{
public:
    [[nodiscard]] QDateTime now() const override { return m_fake.now(); }
    [[nodiscard]] qint64 monotonicMs() const override { return m_fake.monotonicMs(); }
    [[nodiscard]] qint64 monotonicUs() const override { return m_fake.monotonicUs(); }
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject* context,
                                                     std::function<void()> onTimeout) override
    {
        return std::make_unique<WatchedTimer>(*this, m_fake.createTimer(context, std::move(onTimeout)));
    }

    void advance(qint64 milliseconds) { m_fake.advance(milliseconds); }
    /// Intervals of all timers started so far, in order.
    [[nodiscard]] std::vector<int> startedMs() const
    {
        MutexLock lock(m_mutex);
        return m_startedMs;
    }
    /// Waits until n timers have been started in all; false after 10 s.
    [[nodiscard]] bool waitForStarts(std::size_t n) const
    {
        std::unique_lock lock(m_mutex);
        return m_started.wait_for(lock, std::chrono::seconds(10), [this, n]() VT_NO_THREAD_SAFETY_ANALYSIS {
            return m_startedMs.size() >= n;
        });
    }

private:
    class WatchedTimer final : public Timer
    {
    public:
        WatchedTimer(WatchedTimeSource& source, std::unique_ptr<Timer> timer)
            : m_source(source), m_timer(std::move(timer))
        {}
        void start(int intervalMs, TimerMode mode) override
        {
            m_timer->start(intervalMs, mode);
            MutexLock lock(m_source.m_mutex);
            m_source.m_startedMs.push_back(intervalMs);
            m_source.m_started.notify_all();
        }
        void stop() override { m_timer->stop(); }
        [[nodiscard]] bool isActive() const override { return m_timer->isActive(); }

    private:
        WatchedTimeSource& m_source;
        std::unique_ptr<Timer> m_timer;
    };

    FakeTimeSource m_fake;
    mutable Mutex m_mutex;
    mutable std::condition_variable_any m_started;
    std::vector<int> m_startedMs VT_GUARDED_BY(m_mutex);
};

} // namespace vt::test
