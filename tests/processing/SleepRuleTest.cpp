// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/SleepRule.h"

#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace vt {
namespace {

FeatureSet mouse(double regularity, double contrast, double variability, double level)
{
    FeatureSet f;
    f.breathRegularity = regularity;
    f.spectralContrast = contrast;
    f.envelopeVariability = variability;
    f.envelopeLevel = level;
    return f;
}

FeatureSet rat(double regularity, double variability, double level, double activityLevel)
{
    FeatureSet f = mouse(regularity, 0.0, variability, level);
    f.activityLevel = activityLevel;
    return f;
}

TEST(SleepRule, StatisticsAndMeansOverTwoSteps)
{
    // Computed with Python from the rule.
    RunningMeans means;
    EXPECT_NEAR(decisionStatistic(1, mouse(0.5, -3.0, 0.1, 0.2), means), -0.9089028995373989, 1e-12);
    EXPECT_NEAR(means.weight, 2.9999, 1e-12);
    EXPECT_NEAR(means.level, 0.06666888896296543, 1e-15); // a third of the first value
    EXPECT_NEAR(decisionStatistic(1, mouse(0.7, -1.5, 0.05, 0.3), means), 0.32147313549761325, 1e-12);
    EXPECT_NEAR(means.level, 0.12500531267578557, 1e-15);
    EXPECT_EQ(means.activity, 0.0);

    means = {};
    EXPECT_NEAR(decisionStatistic(2, rat(0.6, 0.08, 0.15, 0.04), means), -0.21688124084699556, 1e-12);
    EXPECT_NEAR(decisionStatistic(2, rat(0.2, 0.2, 0.25, 0.01), means), -1.3623318865724015, 1e-12);
    EXPECT_NEAR(means.level, 0.1000043751484413, 1e-15);
    EXPECT_NEAR(means.activity, 0.012500281251952895, 1e-15);

    EXPECT_EQ(decisionStatistic(5, rat(0.6, 0.08, 0.15, 0.04), means), 0.0);
    EXPECT_EQ(means.level, 0.0);
    EXPECT_EQ(means.activity, 0.0);
}

TEST(SleepRule, LevelAtItsMeanContributesNothing)
{
    RunningMeans means{15000.0, 0.3, 0.0};
    const double stat = decisionStatistic(1, mouse(0.5, -2.0, 0.1, 0.3), means);
    EXPECT_NEAR(stat, 2.4 * 0.5 - 0.0462 * 2.0 - 0.66 + 0.47, 1e-12);
}

TEST(SleepRule, HistogramBins)
{
    EXPECT_EQ(histogramBin(-10.0), 0U);
    EXPECT_EQ(histogramBin(9.99), 199U);
    EXPECT_EQ(histogramBin(0.0), 100U);
    EXPECT_EQ(histogramBin(-0.05), 99U);
    for (double outside : {10.0, -10.01, -10.0000001, 1e300, std::numeric_limits<double>::quiet_NaN(),
                           -std::numeric_limits<double>::infinity()})
        EXPECT_EQ(histogramBin(outside), std::nullopt) << outside;
}

TEST(SleepRule, SignalPresence)
{
    struct Case
    {
        SensorAmplifier amplifier;
        std::vector<double> spectrum;
        double brPower2;
        bool present;
    };
    const double silence = -std::numeric_limits<double>::infinity();
    const Case cases[] = {
        {SensorAmplifier::NiDevice, {40, 40, 40}, 0.0, true},
        {SensorAmplifier::NiDevice, {40, 40, 40.001}, 1.0, false},
        {SensorAmplifier::NiDevice, {silence, silence, silence}, 0.0, true},
        {SensorAmplifier::SerialAmplifier, {0, 0, 0}, 0.0012, true},
        {SensorAmplifier::SerialAmplifier, {0, 0, 0}, 0.00119, false},
        {SensorAmplifier::SerialAmplifier, {0, 0, 0}, 0.0, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(isSignalPresent(c.amplifier, c.spectrum, c.brPower2), c.present);
}

TEST(SleepRule, PresenceNeedsSixStepsToVanishAndRemembersTwelve)
{
    int counter = 0;
    for (int step = 1; step <= 20; ++step) {
        counter = nextPresenceCounter(counter, false);
        EXPECT_EQ(isNoSignal(counter), step >= 6) << step;
    }
    for (int step = 1; step <= 20; ++step) {
        counter = nextPresenceCounter(counter, true);
        EXPECT_EQ(isNoSignal(counter), step < 7) << step;
    }
    EXPECT_EQ(counter, 0);
    EXPECT_FALSE(isNoSignal(nextPresenceCounter(6, true)));
}

TEST(SleepRule, BaselineUpdates)
{
    constexpr int Most = std::numeric_limits<int>::max();
    constexpr auto Scoring = SessionKind::SleepScoring;
    constexpr auto Only = SessionKind::ActivityOnly;
    struct Case
    {
        const char* name;
        ActivityBaseline before;
        double x;
        SessionKind kind;
        AnimalState state;
        ActivityBaseline after;
    };
    const Case cases[] = {
        {"first value", {0, 0, 0}, 0.3, Scoring, AnimalState::Awake, {0.3, 0, 0}},
        {"first value is tiny", {0, 0, 0}, 0.0, Only, AnimalState::Awake, {1e-6, 0, 0}},
        {"negative x", {0.4, 7, 3}, -0.1, Scoring, AnimalState::Sleeping, {0.4, 7, 3}},
        {"falls fast", {0.4, 7, 0}, 0.2, Only, AnimalState::Awake, {0.39, 8, 0}},
        {"rises slowly", {0.4, 7, 0}, 0.9, Only, AnimalState::Awake, {0.4001, 8, 0}},
        {"last fast step", {0.4, 1798, 0}, 0.2, Only, AnimalState::Awake, {0.39, 1799, 0}},
        {"slow from here", {0.4, 1799, 0}, 0.2, Only, AnimalState::Awake, {0.3999, 1800, 0}},
        {"activity-only ignores sleep", {0.4, 7, 5}, 0.2, Only, AnimalState::Sleeping, {0.39, 8, 5}},
        {"asleep, up", {0.4, 7, 10}, 0.5, Scoring, AnimalState::Sleeping, {0.402, 8, 11}},
        {"asleep, down", {0.4, 7, 10}, 0.4, Scoring, AnimalState::Sleeping, {0.398, 8, 11}},
        {"asleep, settled", {0.4, 9, 1800}, 0.5, Scoring, AnimalState::Sleeping, {0.40002, 10, 1801}},
        {"awake before ten minutes of sleep",
         {0.4, 7, 299},
         0.2,
         Scoring,
         AnimalState::Awake,
         {0.39, 8, 299}},
        {"awake, long session, little sleep",
         {0.4, 9000, 5},
         0.2,
         Scoring,
         AnimalState::Awake,
         {0.39, 9001, 5}},
        {"awake, held", {0.4, 7, 300}, 0.2, Scoring, AnimalState::Awake, {0.4, 8, 300}},
        {"counts saturate", {0.4, Most, Most}, 0.5, Scoring, AnimalState::Sleeping, {0.40002, Most, Most}},
    };
    for (const Case& c : cases) {
        ActivityBaseline baseline = c.before;
        updateBaseline(baseline, c.x, c.kind, c.state);
        EXPECT_NEAR(baseline.value, c.after.value, 1e-12) << c.name;
        EXPECT_EQ(baseline.baselineSteps, c.after.baselineSteps) << c.name;
        EXPECT_EQ(baseline.sleepSteps, c.after.sleepSteps) << c.name;
    }
}

TEST(SleepRule, ActivityIndexAndDayBin)
{
    EXPECT_DOUBLE_EQ(activityIndex(1.0, 0.1), 3.0);
    EXPECT_EQ(activityIndex(0.2, 0.1), 0.0);
    EXPECT_EQ(activityIndex(5.0, 0.1), 6.0);
    EXPECT_EQ(activityIndex(5.0, 1e-6), 0.0);
    EXPECT_EQ(dayProfileBin(QTime(0, 9, 59)), 0U);
    EXPECT_EQ(dayProfileBin(QTime(0, 10)), 1U);
    EXPECT_EQ(dayProfileBin(QTime(23, 59, 59)), 143U);
}

} // namespace
} // namespace vt
