// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

namespace vt {

/// How long to wait before the next poll of a device: every 500 ms, and half as often with each miss, down
/// to every 8 s, so that a silent device does not fill the log.
class PollPace
{
public:
    static constexpr int PeriodMs = 500;
    static constexpr int LongestMs = 8000;
    enum class Poll { Answered, Missed };

    [[nodiscard]] int nextMs(Poll last)
    {
        m_periodMs = last == Poll::Answered ? PeriodMs : std::min(2 * m_periodMs, LongestMs);
        return m_periodMs;
    }

private:
    int m_periodMs = PeriodMs;
};

} // namespace vt
