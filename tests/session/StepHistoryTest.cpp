// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StepHistory.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace vt;

namespace {

StepRecord record(const QDateTime& time, std::initializer_list<double> stats, bool decided = true)
{
    StepRecord result;
    result.time = time;
    result.isDecided = decided;
    for (const double stat : stats) {
        ChannelStep step;
        step.decisionStat = stat;
        step.sleeping = stat > 0;
        step.features.signalPower = stat * 2;
        step.shownBreathRate = stat > 0 ? 2.5 : std::nan("");
        step.activityIndex = 3.0;
        result.channels.push_back(step);
    }
    return result;
}

const QDateTime Start(QDate(2026, 3, 1), QTime(23, 59, 50));

} // namespace

TEST(StepHistory, CountsBoutsHistogramAndDays)
{
    StepHistory history;
    history.begin(2);
    const double stats[] = {-1.0, 0.5, 0.5, -0.25, 2.0, 2.0, 2.0, 2.0, 2.0};
    const bool decided[] = {true, true, true, true, true, true, false, true, true};
    for (int i = 0; i < 9; ++i)
        history.append(record(Start.addSecs(2 * i), {stats[i], -stats[i]}, decided[i]));
    history.append(record(Start, {1.0})); // of another recording
    ASSERT_EQ(history.size(), 9U);
    const StepHistory::Totals totals = history.totals(0);
    EXPECT_EQ(totals.steps, 8);
    EXPECT_EQ(totals.asleep, 6);
    EXPECT_EQ(totals.bouts, 3); // the undecided step cuts one in two
    EXPECT_DOUBLE_EQ(totals.meanBoutSeconds(), 4.0);
    EXPECT_DOUBLE_EQ(totals.percentAsleep(), 75.0);
    EXPECT_EQ(history.histogram(0)[105], 2);
    EXPECT_EQ(history.histogram(0)[90], 1);
    EXPECT_EQ(history.histogram(1)[80], 4);
    const auto& days = history.activityDays(0);
    ASSERT_EQ(days.size(), 2U);
    EXPECT_EQ(days.begin()->second[143].count, 5);
    EXPECT_EQ(days.rbegin()->second[0].count, 4);
    EXPECT_DOUBLE_EQ(*days.rbegin()->second[0].mean(), 3.0);

    const StepHistory::Step step = history.step(3, 0);
    EXPECT_DOUBLE_EQ(step.decisionStat, -0.25);
    EXPECT_TRUE(std::isnan(step.breathRate));
    EXPECT_TRUE(step.isDecided);
    EXPECT_FALSE(step.sleeping);
    EXPECT_DOUBLE_EQ(history.step(4, 0).breathRate, 2.5);
    EXPECT_DOUBLE_EQ(history.step(4, 0).power, 4.0);
    EXPECT_FALSE(history.step(6, 0).isDecided);
    EXPECT_EQ(history.indexAt(Start.addSecs(5).toMSecsSinceEpoch()), 3U);
    EXPECT_EQ(history.indexAt(Start.addSecs(100).toMSecsSinceEpoch()), 9U);

    StepRecord notFound = record(Start.addSecs(18), {1.0, 1.0});
    notFound.channels[0].shownBreathRate = 0.0;
    notFound.channels[1].shownBreathRate = 100.0;
    history.append(notFound);
    EXPECT_DOUBLE_EQ(history.step(9, 0).breathRate, 0.0) << "a sleeping animal's trend had gaps there";
    EXPECT_DOUBLE_EQ(history.step(9, 1).breathRate, 65.534);
}

TEST(StepHistory, KeepsAWeekOfSixteenChannelsIn64MiB)
{
    StepHistory history;
    history.begin(16);
    StepRecord step = record(Start, {1., 2., 3., 4., 5., 6., 7., 8., 9., 10., 11., 12., 13., 14., 15., 16.});
    const std::size_t week = StepHistory::MostChunks * StepHistory::StepsPerChunk;
    const std::size_t more = 2 * StepHistory::StepsPerChunk + 7;
    for (std::size_t i = 0; i < week + more; ++i) {
        step.channels[15].features.signalPower = static_cast<double>(i);
        step.time = Start.addSecs(2 * static_cast<qint64>(i));
        history.append(step);
    }
    EXPECT_LE(history.bytes(), std::size_t{64} << 20);
    EXPECT_GE(history.size(), week - StepHistory::StepsPerChunk);
    EXPECT_EQ(history.firstNumber() + history.size(), week + more);
    EXPECT_EQ(history.step(history.size() - 1, 15).power, static_cast<double>(week + more - 1));
    EXPECT_EQ(history.step(0, 15).power, static_cast<double>(history.firstNumber()));
    EXPECT_EQ(history.totals(15).steps, static_cast<int>(week + more));
    EXPECT_EQ(history.activityDays(0).size(), 9U); // the first and the last are cut
}
