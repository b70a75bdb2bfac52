// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/SleepDecision.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numeric>

namespace vt {
namespace {

const QDateTime Start({2026, 3, 2}, {23, 55});

/// A mouse that the rule finds asleep or awake whatever the running mean is.
FeatureResult stepOf(bool asleep, double power = 0.5)
{
    FeatureResult result;
    result.spectrumSize = HalfWindow;
    result.features.breathRegularity = asleep ? 0.9 : 0.0;
    result.features.envelopeVariability = asleep ? 0.0 : 1.0;
    result.features.breathRate = 2.5;
    result.features.signalPower = power;
    return result;
}

double sumOfCounts(const SleepDecision::Channel& channel)
{
    double sum = 0;
    for (const DayProfileBin& bin : channel.dayProfile)
        sum += bin.count;
    return sum;
}

TEST(SleepDecision, BoutsBeginWhenTheChannelFallsAsleep)
{
    SleepDecision decision({2, 1, SensorAmplifier::NiDevice, SessionKind::SleepScoring});
    const bool pattern[] = {false, true, true, false, true};
    for (int i = 0; i < 5; ++i) {
        const QDateTime now = Start.addSecs(2 * i);
        decision.step(0, stepOf(pattern[i]), now);
        decision.step(1, stepOf(false), now);
        EXPECT_EQ(decision.channel(0).sleeping, pattern[i]);
        EXPECT_EQ(std::isnan(decision.shownBreathRate(0, 2.5)), !pattern[i]);
        const QDateTime bouts[] = {
            {}, Start.addSecs(2), Start.addSecs(2), Start.addSecs(2), Start.addSecs(8)};
        EXPECT_EQ(decision.channel(0).sleepBeginTime, bouts[i]) << "kept through a bout and after it";
    }
    EXPECT_EQ(decision.channel(0).sleepCount, 3);
    EXPECT_EQ(decision.channel(0).stepCount, 5);
    EXPECT_FALSE(decision.channel(1).sleepBeginTime.isValid());
    EXPECT_EQ(decision.channel(1).sleepCount, 0);
    const auto& histogram = decision.channel(0).histogram;
    EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), 0.0), 5.0);
}

TEST(SleepDecision, StatisticOfZeroIsAwakeAndShowsItsRate)
{
    SleepDecision decision({1, 9, SensorAmplifier::NiDevice, SessionKind::SleepScoring});
    decision.step(0, stepOf(true), Start);
    EXPECT_EQ(decision.channel(0).decisionStat, 0.0);
    EXPECT_FALSE(decision.channel(0).sleeping);
    EXPECT_EQ(decision.channel(0).histogram[100], 1.0);
    EXPECT_EQ(decision.shownBreathRate(0, 2.5), 2.5);
}

TEST(SleepDecision, ActivityStartsWithTheSecondStepAndEmptiesAtMidnight)
{
    SleepDecision decision({2, 1, SensorAmplifier::NiDevice, SessionKind::SleepScoring});
    const auto step = [&](const QDateTime& now, double power) {
        for (int c = 0; c < 2; ++c)
            decision.step(c, stepOf(false, power), now);
    };
    step(Start, 0.5);
    EXPECT_EQ(decision.channel(1).baseline.value, 0.0);
    EXPECT_EQ(sumOfCounts(decision.channel(1)), 0);
    step(Start.addSecs(2), 0.5); // sets the baseline: index 0
    step(Start.addSecs(4), 5.0); // 5 / (2.5 x 0.5009) - 1 = 2.9928
    EXPECT_NEAR(decision.channel(1).baseline.value, 0.5009, 1e-12);
    EXPECT_NEAR(decision.channel(1).dayProfile[143].sum, 5.0 / (2.5 * 0.5009) - 1, 1e-12);
    EXPECT_EQ(decision.channel(1).dayProfile[143].count, 2);

    step(Start.addSecs(300), 5.0); // midnight
    EXPECT_EQ(decision.channel(1).dayProfile[143].count, 0);
    EXPECT_EQ(decision.channel(1).dayProfile[0].count, 1);
    EXPECT_EQ(sumOfCounts(decision.channel(0)), 1);
    EXPECT_EQ(decision.channel(1).stepCount, 4) << "only the profile begins anew";
}

TEST(SleepDecision, ActivityOnlyScoresNothingButKeepsPresenceBaselineAndProfile)
{
    SleepDecision decision({1, 1, SensorAmplifier::SerialAmplifier, SessionKind::ActivityOnly});
    for (int i = 0; i < 8; ++i)
        decision.step(0, stepOf(true), Start); // brPower2 is 0: no signal
    const SleepDecision::Channel& channel = decision.channel(0);
    EXPECT_EQ(channel.stepCount, 0);
    EXPECT_FALSE(channel.sleeping);
    EXPECT_EQ(channel.means.weight, 2.0);
    EXPECT_TRUE(channel.noSignal);
    EXPECT_EQ(channel.presenceCounter, 8);
    EXPECT_EQ(channel.baseline.value, 0.5);
    EXPECT_EQ(channel.dayProfile[143].count, 7);
}

TEST(SleepDecision, PresenceIsLeftAloneWithoutASpectrum)
{
    SleepDecision decision({1, 9, SensorAmplifier::SerialAmplifier, SessionKind::SleepScoring});
    FeatureResult result = stepOf(false);
    result.spectrumSize = 0;
    for (int i = 0; i < 8; ++i)
        decision.step(0, result, Start);
    EXPECT_EQ(decision.channel(0).presenceCounter, 0);
    EXPECT_FALSE(decision.channel(0).noSignal);
}

} // namespace
} // namespace vt
