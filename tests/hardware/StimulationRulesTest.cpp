// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationRules.h"

#include <QTimeZone>
#include <gtest/gtest.h>
#include <limits>

namespace vt {
namespace {

QVariantHash on(std::initializer_list<const char*> days)
{
    QVariantHash hash{{QStringLiteral("sunday"), false}};
    for (const char* day : days)
        hash.insert(QString::fromLatin1(day), true);
    return hash;
}

QHash<QString, QVariant> entry(const QVariant& days, const QVariant& start, const QVariant& end)
{
    return {{QStringLiteral("days"), days},
            {QStringLiteral("startTime"), start},
            {QStringLiteral("endTime"), end}};
}

// 2 March 2026 is a Monday.
TEST(StimulationSchedule, WindowsHoldOnTheDaysThatTheyName)
{
    const ScheduleEntries night{entry(on({"monday"}), QTime(22, 0), QTime(6, 0))};
    const ScheduleEntries day{entry(on({"monday"}), QTime(8, 0), QTime(9, 30))};
    ScheduleEntries both = day;
    both << entry(on({"monday", "tuesday"}), QTime(9, 0), QTime(10, 0));
    const ScheduleEntries texts{entry(QVariantMap{{QStringLiteral("tuesday"), true}}, QStringLiteral("08:00"),
                                      QStringLiteral("08:00:01"))};
    const ScheduleEntries empty{entry(on({"monday"}), QTime(8, 0), QTime(8, 0))};
    const ScheduleEntries lacksEnd{
        {{QStringLiteral("days"), on({"monday"})}, {QStringLiteral("startTime"), QTime(0, 0)}}};
    const ScheduleEntries noTime{entry(on({"monday"}), QStringLiteral("25:00"), QTime(23, 0))};
    struct Case
    {
        const char* name;
        ScheduleEntries entries;
        int day; ///< of March 2026
        QTime time;
        bool inside;
    };
    const std::vector<Case> cases{
        {"no schedule", {}, 2, {3, 0}, true},
        {"late on the day", night, 2, {23, 0}, true},
        {"early on the day", night, 2, {5, 0}, true},
        {"at its end", night, 2, {6, 0}, false},
        {"at its start", night, 2, {22, 0}, true},
        {"between", night, 2, {12, 0}, false},
        {"early on the next day", night, 3, {5, 0}, false},
        {"late on the day before", night, 1, {23, 0}, false},
        {"start is inside", day, 2, {8, 0}, true},
        {"just before the start", day, 2, QTime(7, 59, 59, 999), false},
        {"just before the end", day, 2, QTime(9, 29, 59, 999), true},
        {"end is outside", day, 2, {9, 30}, false},
        {"another entry", both, 2, {9, 45}, true},
        {"another entry's day", both, 3, {9, 0}, true},
        {"the first entry's day only", both, 3, {8, 30}, false},
        {"times as texts", texts, 3, {8, 0}, true},
        {"texts with seconds", texts, 3, QTime(8, 0, 1), false},
        {"start equals end", empty, 2, {8, 0}, false},
        {"incomplete entry", lacksEnd, 2, {3, 0}, false},
        {"invalid time", noTime, 2, {3, 0}, false},
    };
    for (const Case& each : cases)
        EXPECT_EQ(
            isWithinStimPeriod(scheduleWindows(each.entries), QDateTime({2026, 3, each.day}, each.time)),
            each.inside)
            << each.name;
}

/// Which quarters of an hour from 22:00 UTC of the day before to 06:00 UTC, as "hh:mm", lie in the window.
QStringList quartersInside(QTime start, QTime end, QDate day)
{
    StimulationWindow window{start, end, {}};
    window.days.fill(true);
    const QTimeZone berlin("Europe/Berlin");
    QStringList inside;
    QDateTime utc(day.addDays(-1), {22, 0}, Qt::UTC);
    for (int quarter = 0; quarter < 32; ++quarter, utc = utc.addSecs(15 * 60))
        if (isWithinStimPeriod({window}, utc.toTimeZone(berlin)))
            inside << utc.time().toString(QStringLiteral("HH:mm"));
    return inside;
}

// Berlin: on 29 March 2026 02:00 CET becomes 03:00 CEST (01:00 UTC), on 25 October 03:00 CEST becomes 02:00
// CET.
TEST(StimulationSchedule, FollowsTheWallClockWhenClocksChange)
{
    ASSERT_TRUE(QTimeZone("Europe/Berlin").isValid());
    struct Case
    {
        const char* name;
        QDate day;
        QTime start;
        QTime end;
        const char* utcQuarters;
    };
    const std::vector<Case> cases{
        {"an ordinary night", {2026, 3, 28}, {2, 15}, {2, 45}, "01:15 01:30"},
        {"within the skipped hour", {2026, 3, 29}, {2, 15}, {2, 45}, ""},
        {"into the skipped hour", {2026, 3, 29}, {1, 30}, {2, 30}, "00:30 00:45"},
        {"out of the skipped hour", {2026, 3, 29}, {2, 30}, {3, 30}, "01:00 01:15"},
        {"within the repeated hour", {2026, 10, 25}, {2, 15}, {2, 45}, "00:15 00:30 01:15 01:30"},
        {"around the repeated hour",
         {2026, 10, 25},
         {1, 45},
         {3, 15},
         "23:45 00:00 00:15 00:30 00:45 01:00 01:15 01:30 01:45 02:00"},
    };
    for (const Case& each : cases)
        EXPECT_EQ(quartersInside(each.start, each.end, each.day).join(QLatin1Char(' ')).toStdString(),
                  each.utcQuarters)
            << each.name;
}

TEST(StimulationSleep, IsDueOnceItHasLastedTheThreshold)
{
    const QDateTime start({2026, 3, 2}, {10, 0});
    SleepTracking tracking;
    const auto decide = [&](std::vector<bool> sleeping, std::vector<QDateTime> since, int atSec) {
        followSleep(tracking, sleeping, since, {start.addSecs(atSec), 1000 * atSec});
        return dueForSleep(tracking, {8, 0b0111, 0b0100}, 10, 1000 * atSec);
    };
    EXPECT_EQ(decide({true, false, true, true}, {start, start, start, start}, 0), 0);
    EXPECT_EQ(decide({true, true, true, true}, {start, start.addSecs(4), start, start}, 9), 0);
    // Channel 3 follows a trigger, channel 4 is not enabled.
    EXPECT_EQ(decide({true, true, true, true}, {start.addSecs(9), {}, {}, {}}, 10), 0b0001);
    EXPECT_EQ(decide({true, true}, {}, 14), 0b0011); // an ongoing sleep keeps its first start
    EXPECT_EQ(decide({false, true}, {start, start}, 20), 0b0010);
    EXPECT_EQ(decide({true, true}, {start.addSecs(22), start}, 22), 0b0010); // woke in between: starts over
    EXPECT_EQ(decide({true, true}, {start, start}, 32), 0b0011);

    tracking = {};
    followSleep(tracking, std::vector<bool>(20, true), {}, {start, 0}); // no beginning told: it begins now
    EXPECT_EQ(dueForSleep(tracking, {20, 0xFFFF, 0}, 1, 0), 0);
    EXPECT_EQ(dueForSleep(tracking, {16, 0xFFFF, 0}, 1, 1000), 0xFFFF);
    EXPECT_EQ(dueForSleep(tracking, {9, 0xFFFF, 0}, 1, 1000), 0x01FF);
}

TEST(StimulationSleep, LastsRealSecondsWhenClocksChange)
{
    const QTimeZone berlin("Europe/Berlin");
    const QDateTime before({2026, 3, 29}, {1, 59, 59}, berlin);
    const QDateTime after({2026, 3, 29}, {3, 0, 1}, berlin);
    SleepTracking tracking;
    followSleep(tracking, {true}, {before}, {after, 5000});
    EXPECT_EQ(dueForSleep(tracking, {8, 1, 0}, 3, 5000), 0);
    EXPECT_EQ(dueForSleep(tracking, {8, 1, 0}, 2, 5000), 1);
    // The computer's clock is set back, and forward, while the animal sleeps.
    for (const int jumpSec : {-3600, 3600}) {
        followSleep(tracking, {true}, {before}, {after.addSecs(jumpSec), 6000});
        EXPECT_EQ(dueForSleep(tracking, {8, 1, 0}, 4, 6000), 0);
        EXPECT_EQ(dueForSleep(tracking, {8, 1, 0}, 4, 7000), 1);
    }
    // Or between its falling asleep and the decision: at worst it counts from where watching began.
    tracking = {};
    tracking.earliestMs = 4000;
    followSleep(tracking, {true, true}, {before, after.addSecs(60)}, {after, 7000});
    followSleep(tracking, {true, true, true}, {{}, {}, before.addDays(-1)}, {after, 7000});
    EXPECT_EQ(dueForSleep(tracking, {8, 0b111, 0}, 3, 7000), 0b100);
    EXPECT_EQ(dueForSleep(tracking, {8, 0b111, 0}, 4, 7000), 0);
}

TEST(StimulationActivity, IsDueAboveTheThresholdOnly)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<double> statistics{0.5, 0.6, nan, 9.0, 9.0};
    EXPECT_EQ(dueForActivity(statistics, {8, 0xFF, 0b10000}, 0.5), 0b01010);
    EXPECT_EQ(dueForActivity(statistics, {3, 0xFF, 0}, 0.5), 0b00010);
    EXPECT_EQ(dueForActivity({}, {8, 0xFF, 0}, -1.0), 0);
}

TEST(StimulationIntervals, StayWithinTheirBounds)
{
    constexpr std::uint32_t Largest = 0xFFFFFFFF;
    constexpr int IntMax = std::numeric_limits<int>::max();
    struct Case
    {
        int minMs;
        int maxMs;
        std::uint32_t random;
        std::optional<int> interval;
    };
    for (const Case& each :
         {Case{60000, 120000, 0, 60000}, Case{60000, 120000, Largest, 120000},
          Case{60000, 120000, 3499211612, 108884}, Case{1, IntMax, 0, 1}, Case{1, IntMax, Largest, IntMax},
          Case{1, 2, 0x7FFFFFFF, 1}, Case{1, 2, 0x80000000, 2}, Case{5, 5, Largest, 5},
          Case{2, 1, 7, std::nullopt}, Case{0, 10, 7, std::nullopt}})
        EXPECT_EQ(nextRandomIntervalMs(each.minMs, each.maxMs, each.random), each.interval)
            << each.minMs << " " << each.maxMs << " " << each.random;
}

TEST(StimulationInputs, EdgesCountForTriggeredCagesOnly)
{
    EXPECT_EQ(externalTriggerEdges(0b0011, 0b0110, 0xFF), (TriggerEdges{0b0100, 0b0001, 0b0110}));
    EXPECT_EQ(externalTriggerEdges(0b0011, 0b0110, 0b0010), (TriggerEdges{0, 0, 0b0010}));
    EXPECT_EQ(externalTriggerEdges(0x8000, 0, 0x8000), (TriggerEdges{0, 0x8000, 0}));
}

TEST(StimulationDurations, AreHalfSecondRegisters)
{
    for (const auto& [ms, value] :
         {std::pair{0, 0}, {-5, 0}, {249, 0}, {250, 1}, {3000, 6}, {3300, 7}, {127500, 255}, {500000, 255}})
        EXPECT_EQ(durationRegister(ms), value) << ms;
}

} // namespace
} // namespace vt
