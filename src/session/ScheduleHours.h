// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/StimulationSettings.h"

#include <array>
#include <vector>

/// A stimulation schedule as a week of whole hours, and back. Pure functions, any thread.
namespace vt {

/// [day, Monday first][hour]
using WeekHours = std::array<std::array<bool, 24>, 7>;

/// A schedule as a grid of hours can edit it. What the grid cannot say exactly stays beside it.
struct HourSchedule
{
    bool isRestricted = false; ///< false: at any time, whatever the rest says
    WeekHours hours{};
    /// Entries that begin or end within an hour, as they were.
    std::vector<StimulationWindow> exact;
    bool operator==(const HourSchedule&) const = default;
};

[[nodiscard]] HourSchedule hourSchedule(const std::vector<StimulationWindow>& windows);

/// The fewest entries that say the same, nights in one piece; the exact ones last. A restricted schedule
/// without any hour gives one entry without days, because no entries would mean "at any time".
[[nodiscard]] std::vector<StimulationWindow> scheduleWindows(const HourSchedule& schedule);

/// Hours that the exact entries touch on each day, wholly or in part.
[[nodiscard]] WeekHours touchedHours(const std::vector<StimulationWindow>& windows);

/// Hours of a day that lie wholly between two times of day, across midnight when from is after to.
[[nodiscard]] std::array<bool, 24> hoursBetween(QTime from, QTime to);

/// Is there any time at which it allows stimulation?
[[nodiscard]] bool allowsAnyTime(const HourSchedule& schedule);

} // namespace vt
