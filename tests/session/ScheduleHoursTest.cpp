// SPDX-License-Identifier: GPL-3.0-or-later
// Schedules as a week of hours and back; what the unit's registers can hold.
#include "session/ScheduleHours.h"
#include "hardware/StimulationRules.h"
#include "session/StimulationValues.h"

#include <gtest/gtest.h>

using namespace vt;

namespace {

constexpr std::array<bool, 7> Monday{true};
constexpr std::array<bool, 7> EveryDay{true, true, true, true, true, true, true};

/// What the entries mean, half an hour at a time, asked of the code that stimulates.
std::vector<bool> allowedTimes(const std::vector<StimulationWindow>& windows)
{
    std::vector<bool> allowed;
    const QDateTime monday(QDate(2026, 3, 2), QTime(0, 0));
    for (int halfHour = 0; halfHour < 7 * 48; ++halfHour)
        allowed.push_back(isWithinStimPeriod(windows, monday.addSecs(halfHour * 1800)));
    return allowed;
}

} // namespace

TEST(ScheduleHours, EntriesComeBackWithTheSameMeaning)
{
    const QTime at0(0, 0);
    const std::vector<std::vector<StimulationWindow>> schedules{
        {},
        {{at0, at0, EveryDay}}, // never
        {{QTime(22, 0), QTime(6, 0), Monday}},
        {{QTime(22, 0), at0, EveryDay}},
        {{at0, QTime(12, 0), EveryDay}, {QTime(12, 0), at0, EveryDay}}, // always
        {{QTime(8, 0), QTime(9, 0), Monday}, {QTime(9, 0), QTime(11, 0), Monday}},
        {{QTime(8, 0), QTime(10, 0), EveryDay}, {QTime(20, 30), QTime(5, 30), Monday}},
    };
    for (const auto& schedule : schedules) {
        const HourSchedule hours = hourSchedule(schedule);
        const auto written = scheduleWindows(hours);
        EXPECT_EQ(allowedTimes(written), allowedTimes(schedule)) << &schedule - schedules.data();
        EXPECT_EQ(hourSchedule(written), hours) << &schedule - schedules.data();
    }
    EXPECT_FALSE(allowsAnyTime(hourSchedule(schedules[1])));
    EXPECT_TRUE(allowsAnyTime(hourSchedule(schedules[2])));
}

TEST(ScheduleHours, NightsStayInOnePieceAndExactTimesAsTheyWere)
{
    const StimulationWindow night{QTime(19, 0), QTime(7, 0), EveryDay};
    EXPECT_EQ(scheduleWindows(hourSchedule({night})), std::vector{night});

    const StimulationWindow exact{QTime(20, 30), QTime(5, 30), Monday};
    const HourSchedule schedule = hourSchedule({night, exact});
    EXPECT_EQ(schedule.exact, std::vector{exact});
    EXPECT_EQ(scheduleWindows(schedule), (std::vector{night, exact}));
    const WeekHours touched = touchedHours({exact});
    EXPECT_TRUE(touched[0][20] && touched[0][5] && touched[0][0]);
    EXPECT_FALSE(touched[0][19] || touched[0][6] || touched[1][0]);
}

TEST(ScheduleHours, HoursBetweenAreThoseThatLieInsideWholly)
{
    const auto hours = hoursBetween(QTime(19, 30), QTime(7, 0));
    for (int hour = 0; hour < 24; ++hour)
        EXPECT_EQ(hours[static_cast<std::size_t>(hour)], hour < 7 || hour > 19) << hour;
}

TEST(StimulationValues, WhatIsTypedBecomesTheNearestRegisterValue)
{
    EXPECT_EQ(cageRegister(CageValue::Duration, 1.3), 3);
    EXPECT_EQ(cageNumber(CageValue::Duration, 3), 1.5);
    EXPECT_EQ(cageRegister(CageValue::Frequency, 1440), 100);
    EXPECT_EQ(cageNumber(CageValue::Frequency, 100), 1443);
    EXPECT_EQ(cageRegister(CageValue::Amplitude, 99), 255);
    EXPECT_NEAR(cageNumber(CageValue::Amplitude, 255), 10.027, 0.0005);
    EXPECT_TRUE(unitStatus(0x01).isTooHot);
    EXPECT_FALSE(unitStatus(0x81).isTooHot) << "means nothing without 12 V";
    EXPECT_FALSE(unitStatus(0x80).hasPower);
    EXPECT_EQ(speakerFault(0b11'00'01'00, 0b00'00'00'10, 1), 1);
    EXPECT_EQ(speakerFault(0b11'00'01'00, 0b00'00'00'10, 4), 2);
}
