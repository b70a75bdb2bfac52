// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/ScheduleHours.h"

#include <algorithm>
#include <map>
#include <utility>

namespace vt {

namespace {

constexpr int HoursPerDay = 24;
constexpr int MsPerHour = 3600 * 1000;
constexpr int MsPerDay = HoursPerDay * MsPerHour;

/// The parts of a day that a window covers, in ms since midnight, ends excluded.
std::vector<std::pair<int, int>> parts(QTime from, QTime to)
{
    const int begin = from.msecsSinceStartOfDay();
    const int end = to.msecsSinceStartOfDay();
    if (begin <= end)
        return {{begin, end}};
    return {{0, end}, {begin, MsPerDay}};
}

bool isOnTheHour(QTime time)
{
    return time.msecsSinceStartOfDay() % MsPerHour == 0;
}

bool isEmpty(const StimulationWindow& window)
{
    return window.startTime == window.endTime ||
           std::none_of(window.days.begin(), window.days.end(), [](bool day) { return day; });
}

/// Hour 24 is the midnight at the end of the day.
using HourRange = std::pair<int, int>;

StimulationWindow windowOf(HourRange hours)
{
    StimulationWindow window;
    window.startTime = QTime(hours.first, 0);
    window.endTime = QTime(hours.second % HoursPerDay, 0);
    return window;
}

std::vector<HourRange> rangesOf(const std::array<bool, HoursPerDay>& hours)
{
    std::vector<HourRange> ranges;
    for (int hour = 0; hour < HoursPerDay; ++hour) {
        if (!hours[static_cast<std::size_t>(hour)])
            continue;
        if (!ranges.empty() && ranges.back().second == hour)
            ++ranges.back().second;
        else
            ranges.emplace_back(hour, hour + 1);
    }
    // An entry from 00:00 to 00:00 is empty, so a whole day takes two.
    if (ranges.size() == 1 && ranges.front() == HourRange{0, HoursPerDay})
        return {{0, HoursPerDay / 2}, {HoursPerDay / 2, HoursPerDay}};
    // On each of its days an entry across midnight holds in the early morning and in the evening.
    if (ranges.size() > 1 && ranges.front().first == 0 && ranges.back().second == HoursPerDay) {
        ranges.back().second = ranges.front().second;
        ranges.erase(ranges.begin());
    }
    return ranges;
}

} // namespace

HourSchedule hourSchedule(const std::vector<StimulationWindow>& windows)
{
    HourSchedule schedule;
    schedule.isRestricted = !windows.empty();
    for (const StimulationWindow& window : windows) {
        if (isEmpty(window))
            continue;
        if (!isOnTheHour(window.startTime) || !isOnTheHour(window.endTime)) {
            schedule.exact.push_back(window);
            continue;
        }
        const WeekHours touched = touchedHours({window});
        for (std::size_t day = 0; day < touched.size(); ++day)
            for (std::size_t hour = 0; hour < touched[day].size(); ++hour)
                schedule.hours[day][hour] = schedule.hours[day][hour] || touched[day][hour];
    }
    return schedule;
}

std::vector<StimulationWindow> scheduleWindows(const HourSchedule& schedule)
{
    if (!schedule.isRestricted)
        return {};
    std::map<HourRange, StimulationWindow> byHours;
    for (std::size_t day = 0; day < schedule.hours.size(); ++day)
        for (const HourRange& range : rangesOf(schedule.hours[day]))
            byHours.try_emplace(range, windowOf(range)).first->second.days[day] = true;
    std::vector<StimulationWindow> windows;
    windows.reserve(byHours.size() + schedule.exact.size() + 1);
    for (const auto& [range, window] : byHours)
        windows.push_back(window);
    windows.insert(windows.end(), schedule.exact.begin(), schedule.exact.end());
    if (windows.empty())
        windows.push_back({QTime(0, 0), QTime(0, 0), {}});
    return windows;
}

WeekHours touchedHours(const std::vector<StimulationWindow>& windows)
{
    WeekHours touched{};
    for (const StimulationWindow& window : windows) {
        for (const auto& [begin, end] : parts(window.startTime, window.endTime))
            for (int hour = begin / MsPerHour; hour * MsPerHour < end; ++hour)
                for (std::size_t day = 0; day < touched.size(); ++day)
                    if (window.days[day])
                        touched[day][static_cast<std::size_t>(hour)] = true;
    }
    return touched;
}

std::array<bool, 24> hoursBetween(QTime from, QTime to)
{
    std::array<bool, 24> inside{};
    for (const auto& [begin, end] : parts(from, to))
        for (int hour = 0; hour < HoursPerDay; ++hour)
            if (hour * MsPerHour >= begin && (hour + 1) * MsPerHour <= end)
                inside[static_cast<std::size_t>(hour)] = true;
    return inside;
}

bool allowsAnyTime(const HourSchedule& schedule)
{
    const auto anyHour = [](const auto& day) {
        return std::any_of(day.begin(), day.end(), [](bool hour) { return hour; });
    };
    return !schedule.isRestricted || !schedule.exact.empty() ||
           std::any_of(schedule.hours.begin(), schedule.hours.end(), anyHour);
}

} // namespace vt
