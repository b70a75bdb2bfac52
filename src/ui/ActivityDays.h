// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/StepHistory.h"
#include "ui/LightCycle.h"

#include <optional>
#include <vector>

/// Activity by 10 minutes, arranged for drawing. Plain functions.
namespace vt::activitydays {

using Days = std::map<QDate, StepHistory::ActivityDay>;

/// One line of a double-plotted actogram: a day, and the day after it to its right. Null: nothing recorded.
struct Row
{
    QDate date;
    const StepHistory::ActivityDay* day = nullptr;
    const StepHistory::ActivityDay* next = nullptr;
};

/// One row for every calendar day from the first to the last, also for those without data; the newest
/// StepHistory::MostDays of them. Points into the days.
[[nodiscard]] std::vector<Row> doublePlot(const Days& days);

/// Mean of one bin of 48 hours: 0 to 143 of the day, 144 to 287 of the next.
[[nodiscard]] std::optional<double> mean(const Row& row, int bin);

/// The activity that is drawn at full height: rarely exceeded (98 of 100 bins are below), and round, so that
/// it does not change with every step. At least 0.5.
[[nodiscard]] double fullScale(const Days& days);

/// One 10-minute bin by its day and number.
struct Slot
{
    QDate date;
    int bin = 0;
};
/// The 144 bins that end with the one in which the time lies, oldest first, by the local clock.
[[nodiscard]] std::vector<Slot> lastDay(qint64 timeMs);
[[nodiscard]] std::optional<double> mean(const Days& days, const Slot& slot);

/// Decided steps of one phase of the light cycle, and how many of them were asleep.
struct PhaseSleep
{
    int scored = 0;
    int asleep = 0;
    [[nodiscard]] std::optional<double> percent() const
    {
        return scored > 0 ? std::optional<double>(100.0 * asleep / scored) : std::nullopt;
    }
};
struct SleepByLight
{
    PhaseSleep light;
    PhaseSleep dark;
};
/// Over all the days. A bin in which the light changes counts for the phase that its middle lies in. Without
/// a known cycle nothing is counted.
[[nodiscard]] SleepByLight sleepByLight(const Days& days, const LightCycle& cycle);

} // namespace vt::activitydays
