// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ActivityDays.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>

namespace vt::activitydays {

namespace {

constexpr double LeastScale = 0.5;
constexpr double CoveredShare = 0.98;
constexpr int MinutesPerBin = 24 * 60 / StepHistory::BinsPerDay;
constexpr qint64 BinMs = qint64{MinutesPerBin} * 60 * 1000;

const StepHistory::ActivityDay* find(const Days& days, QDate date)
{
    const auto found = days.find(date);
    return found == days.end() ? nullptr : &found->second;
}

} // namespace

std::vector<Row> doublePlot(const Days& days)
{
    std::vector<Row> rows;
    if (days.empty())
        return rows;
    const QDate last = days.rbegin()->first;
    const QDate first = std::max(days.begin()->first, last.addDays(1 - StepHistory::MostDays));
    for (QDate date = first; date <= last; date = date.addDays(1))
        rows.push_back({date, find(days, date), find(days, date.addDays(1))});
    return rows;
}

std::optional<double> mean(const Row& row, int bin)
{
    const bool isNext = bin >= StepHistory::BinsPerDay;
    const StepHistory::ActivityDay* day = isNext ? row.next : row.day;
    if (!day || bin < 0 || bin >= 2 * StepHistory::BinsPerDay)
        return std::nullopt;
    return (*day)[static_cast<std::size_t>(isNext ? bin - StepHistory::BinsPerDay : bin)].mean();
}

double fullScale(const Days& days)
{
    std::vector<double> means;
    means.reserve(days.size() * StepHistory::BinsPerDay);
    for (const auto& [date, day] : days)
        for (const StepHistory::ActivityBin& bin : day)
            if (bin.count > 0)
                means.push_back(bin.mean().value_or(0.0));
    if (means.empty())
        return LeastScale;
    const auto rank = static_cast<std::ptrdiff_t>(CoveredShare * static_cast<double>(means.size() - 1));
    std::ranges::nth_element(means, means.begin() + rank);
    const double covered = means[static_cast<std::size_t>(rank)];
    return std::max(LeastScale, std::ceil(covered / LeastScale) * LeastScale);
}

std::vector<Slot> lastDay(qint64 timeMs)
{
    std::vector<Slot> bins;
    bins.reserve(StepHistory::BinsPerDay);
    for (int back = StepHistory::BinsPerDay - 1; back >= 0; --back) {
        const QDateTime time = QDateTime::fromMSecsSinceEpoch(timeMs - back * BinMs);
        bins.push_back({time.date(), (time.time().hour() * 60 + time.time().minute()) / MinutesPerBin});
    }
    return bins;
}

std::optional<double> mean(const Days& days, const Slot& slot)
{
    const StepHistory::ActivityDay* day = find(days, slot.date);
    return day ? (*day)[static_cast<std::size_t>(slot.bin)].mean() : std::nullopt;
}

SleepByLight sleepByLight(const Days& days, const LightCycle& cycle)
{
    SleepByLight sleep;
    if (!cycle.isKnown())
        return sleep;
    const std::vector<std::pair<double, double>> dark = cycle.darkHours();
    for (const auto& [date, day] : days)
        for (std::size_t bin = 0; bin < day.size(); ++bin) {
            const double middle = (static_cast<double>(bin) + 0.5) * MinutesPerBin / 60.0;
            const bool isDark = std::ranges::any_of(
                dark, [middle](const auto& span) { return span.first <= middle && middle < span.second; });
            PhaseSleep& phase = isDark ? sleep.dark : sleep.light;
            phase.scored += day[bin].scored;
            phase.asleep += day[bin].asleep;
        }
    return sleep;
}

} // namespace vt::activitydays
