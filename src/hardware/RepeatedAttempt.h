// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/HardwareContext.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace vt {

/// Makes an attempt 1, 2, 4 ... 60 s after the one before, until it succeeds or is given up. What is lost
/// again within a minute of a success goes on with the longer waits. Lives on the hardware thread; attempts
/// run there.
class RepeatedAttempt
{
public:
    static constexpr int FirstMs = 1000;
    static constexpr int LongestMs = 60'000;

    /// attempt: true when nothing is left to do.
    RepeatedAttempt(const HardwareContext& context, std::function<bool()> attempt)
        : m_time(context.time), m_attempt(std::move(attempt)),
          m_timer(context.time.createTimer(context.timerContext, [this] { run(); }))
    {}

    /// Goes on as it is when it is under way.
    void begin()
    {
        if (std::exchange(m_isPending, true))
            return;
        const bool isRelapse = m_succeededMs && m_time.monotonicMs() - *m_succeededMs < LongestMs;
        m_delayMs = isRelapse ? std::min(2 * m_delayMs, LongestMs) : FirstMs;
        m_timer->start(m_delayMs, TimerMode::SingleShot);
    }
    void giveUp()
    {
        m_timer->stop();
        m_isPending = false;
    }

private:
    void run()
    {
        if (!m_isPending)
            return;
        if (m_attempt()) {
            m_isPending = false;
            m_succeededMs = m_time.monotonicMs();
            return;
        }
        if (!m_isPending)
            return; // given up meanwhile
        m_delayMs = std::min(2 * m_delayMs, LongestMs);
        m_timer->start(m_delayMs, TimerMode::SingleShot);
    }

    TimeSource& m_time;
    const std::function<bool()> m_attempt;
    bool m_isPending = false; ///< an attempt is due or runs
    int m_delayMs = FirstMs;
    std::optional<qint64> m_succeededMs;
    std::unique_ptr<Timer> m_timer;
};

} // namespace vt
