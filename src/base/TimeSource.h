// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDateTime>
#include <functional>
#include <memory>

class QObject;

namespace vt {

enum class TimerMode { SingleShot, Repeating };

/// A timer handed out by a TimeSource. Stopped when destroyed.
/// Lives on the thread of the context object that it was created with; start and stop are called there.
class Timer
{
public:
    virtual ~Timer() = default;
    /// (Re)starts the timer: it first fires intervalMs from now. intervalMs >= 0.
    virtual void start(int intervalMs, TimerMode mode) = 0;
    virtual void stop() = 0;
    [[nodiscard]] virtual bool isActive() const = 0;
};

/// Where every waiting part of the program gets its time from, so that tests can step it.
/// now() and the monotonic clocks may be read from any thread.
class TimeSource
{
public:
    virtual ~TimeSource() = default;
    /// Wall clock, local time.
    [[nodiscard]] virtual QDateTime now() const = 0;
    /// Monotonic clock since an arbitrary origin, in milliseconds / microseconds.
    [[nodiscard]] virtual qint64 monotonicMs() const = 0;
    [[nodiscard]] virtual qint64 monotonicUs() const = 0;
    /// A stopped timer that calls onTimeout on context's thread. context outlives the timer.
    [[nodiscard]] virtual std::unique_ptr<Timer> createTimer(QObject* context,
                                                             std::function<void()> onTimeout) = 0;
};

/// The machine's own clocks and Qt's timers (precise, so that 50 ms means 50 ms).
class SystemTimeSource final : public TimeSource
{
public:
    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] qint64 monotonicMs() const override;
    [[nodiscard]] qint64 monotonicUs() const override;
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject* context,
                                                     std::function<void()> onTimeout) override;
};

} // namespace vt
