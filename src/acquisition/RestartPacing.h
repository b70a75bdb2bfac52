// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <array>
#include <cstddef>
#include <optional>

namespace vt {

/// Decides how long the acquisition waits before it sets its task up anew, so that a unit that keeps failing
/// is neither left alone for long nor asked without end. A series of failures ends with a second of data:
///
///   the first failure of a series, a read that fails after blocks came: at once
///   every other: after 0.5 s, 1 s, 2 s, then 2 s each
///
/// Pure; times in milliseconds.
class RestartPacing
{
public:
    static constexpr qint64 SteadyMs = 1000;

    /// A read failed. dataMs: from the first to the last block since the set-up; none: no block came.
    [[nodiscard]] int afterReadError(std::optional<qint64> dataMs)
    {
        if (dataMs && *dataMs >= SteadyMs)
            *this = {};
        if (!dataMs || m_hasBegun)
            return afterFailedSetUp();
        m_hasBegun = true;
        return 0;
    }
    [[nodiscard]] int afterFailedSetUp()
    {
        m_hasBegun = true;
        const int delayMs = DelaysMs[m_waits];
        if (m_waits + 1 < DelaysMs.size())
            ++m_waits;
        return delayMs;
    }

private:
    static constexpr std::array<int, 3> DelaysMs{500, 1000, 2000};

    bool m_hasBegun = false;
    std::size_t m_waits = 0; ///< of this series, as far as they still get longer
};

} // namespace vt
