// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceHistory.h"
#include "session/StepHistory.h"
#include "ui/SampleClock.h"
#include "ui/TrendMath.h"

#include <cmath>
#include <gmock/gmock.h>
#include <limits>

using namespace vt;
using testing::ElementsAre;

namespace {

/// Every value is its own number; a ring of so many values, of which count were ever pushed.
TraceSource ring(quint64 count, quint64 capacity)
{
    return [count, capacity](int, std::span<float> out) {
        for (std::size_t i = 0; i < out.size(); ++i) {
            const quint64 back = out.size() - i;
            out[i] = back <= std::min(count, capacity) ? static_cast<float>(count - back)
                                                       : std::numeric_limits<float>::quiet_NaN();
        }
        return count;
    };
}

/// Steps at 2, 4, 6 ... s after the epoch, in the day's first bin.
StepRecord recordAt(qint64 seconds, const ChannelStep& step, bool isDecided = true)
{
    StepRecord record;
    record.time = QDateTime::fromSecsSinceEpoch(seconds);
    record.isDecided = isDecided;
    record.channels = {step};
    return record;
}

} // namespace

TEST(TraceHistory, KeepsWhatCameBeforeTheMomentAndNothingElse)
{
    TraceHistory history;
    history.begin(2, 500);
    EXPECT_FALSE(history.isComplete());
    history.hold(1, ring(520, 100)); // 20 more came until it was copied
    EXPECT_TRUE(history.isHeld(1));
    EXPECT_EQ(history.firstNumber(1), 420U);
    std::vector<float> out(4);
    history.read(1, 500, out);
    EXPECT_THAT(out, ElementsAre(496, 497, 498, 499));
    history.read(1, 502, out);
    EXPECT_THAT(std::vector<float>(out.begin(), out.begin() + 2), ElementsAre(498, 499));
    EXPECT_TRUE(std::isnan(out[2])) << "from after the moment";
    history.read(1, 422, out);
    EXPECT_TRUE(std::isnan(out[1])) << "from before the oldest that was kept";
    EXPECT_EQ(out[2], 420);
    history.read(1, 2, out);
    EXPECT_TRUE(std::isnan(out[3]));

    history.hold(1, ring(9999, 100));
    history.read(1, 500, out);
    EXPECT_EQ(out[3], 499) << "copied only once";
    history.holdSome(5, ring(510, 1000));
    EXPECT_TRUE(history.isComplete());
    EXPECT_EQ(history.firstNumber(0), 0U) << "the whole short trace";
    history.clear();
    EXPECT_FALSE(history.isHolding());
}

TEST(SampleClock, TakesTimesFromStepsAndKeepsSegmentsApart)
{
    StepHistory steps;
    steps.begin(1);
    SampleClock clock;
    EXPECT_FALSE(clock.timeMs(5, &steps).has_value());
    clock.beginSegment(0, 0, 1000);
    EXPECT_EQ(clock.timeMs(120, &steps), 2000) << "before the first step: from the start";
    steps.append(recordAt(10, {}));
    steps.append(recordAt(13, {})); // a second was lost
    EXPECT_EQ(clock.timeMs(0, &steps), 8000);
    EXPECT_EQ(clock.timeMs(360, &steps), 12000);
    EXPECT_EQ(clock.timeMs(480 + 120, &steps), 14000) << "the newest samples are ahead of the steps";

    // A pause after two steps and 100 samples; the next segment begins a minute later.
    clock.beginSegment(580, 2, 60000);
    steps.append(recordAt(62, {}));
    EXPECT_EQ(clock.timeMs(575, &steps), 13000 + 792) << "95 samples behind the last step";
    EXPECT_EQ(clock.timeMs(580, &steps), 60000);
    EXPECT_EQ(clock.placeOf(479)->step, 1U);
    EXPECT_FALSE(clock.placeOf(481)->step.has_value()) << "belongs to no step";
    EXPECT_EQ(clock.placeOf(481)->endSample, 580U);
    EXPECT_EQ(clock.placeOf(580)->step, 2U);
}

TEST(AsleepSpans, ShadeTheSamplesOfStepsThatAreScoredAsleep)
{
    StepHistory steps;
    steps.begin(1);
    ChannelStep asleep;
    asleep.sleeping = true;
    SampleClock clock;
    clock.beginSegment(0, 0, 0);
    steps.append(recordAt(2, {}));
    steps.append(recordAt(4, asleep));
    steps.append(recordAt(6, asleep));
    steps.append(recordAt(8, asleep, false)); // repeats what was decided before a pause
    const std::vector<TimeSpan> spans = asleepSpans(steps, clock, 0, 1200, 1000);
    ASSERT_EQ(spans.size(), 1U);
    EXPECT_DOUBLE_EQ(spans[0].from, (240 - 1200) / 120.0);
    EXPECT_DOUBLE_EQ(spans[0].to, (720 - 1200) / 120.0);
    EXPECT_DOUBLE_EQ(asleepSpans(steps, clock, 0, 600, 120).at(0).from, -1.0) << "only what is in view";
}

TEST(ReduceSteps, PartsTheLineWhereNothingIsKnownAndKeepsExtremes)
{
    StepHistory steps;
    steps.begin(1);
    const auto add = [&steps](qint64 seconds, double rate) {
        ChannelStep step;
        step.shownBreathRate = rate;
        steps.append(recordAt(seconds, step));
    };
    constexpr double Awake = std::numeric_limits<double>::quiet_NaN();
    add(100, 2.0);
    add(102, 3.0);
    add(104, Awake);
    add(106, 2.5); // alone
    add(108, Awake);
    add(200, 1.0); // after a pause
    add(202, 1.5);
    Trend trend;
    reduceSteps(steps, StepValue::BreathRate, 0, 0, steps.size(), 0.5, trend);
    std::vector<double> values;
    for (const TracePoint& point : trend.points)
        values.push_back(std::isnan(point.value) ? -1.0 : point.value);
    EXPECT_THAT(values, ElementsAre(2.0, 3.0, -1, 2.5, 2.5, -1, 1.0, 1.5));
    EXPECT_DOUBLE_EQ(trend.points[0].seconds, -102.0);
    EXPECT_DOUBLE_EQ(trend.points[4].seconds - trend.points[3].seconds, 2.0);
    EXPECT_DOUBLE_EQ(trend.points.back().seconds, 0.0);

    reduceSteps(steps, StepValue::BreathRate, 0, 0, steps.size(), 50.0, trend);
    values.clear();
    for (const TracePoint& point : trend.points)
        values.push_back(std::isnan(point.value) ? -1.0 : point.value);
    EXPECT_THAT(values, ElementsAre(2.0, 3.0, -1, 1.0, 1.5)) << "smallest and largest of each 50 s";
}

TEST(ReduceSteps, ShowsNoScoreThatWasNotMadeAndPowerWithoutScoring)
{
    StepHistory steps;
    steps.begin(1);
    ChannelStep step;
    step.decisionStat = 1.5;
    step.sleeping = true;
    step.features.signalPower = 0.25;
    steps.append(recordAt(2, step, false));
    Trend trend;
    reduceSteps(steps, StepValue::DecisionStat, 0, 0, 1, 1.0, trend);
    EXPECT_TRUE(trend.points.empty());
    EXPECT_TRUE(trend.asleep.empty());
    StepRecord activityOnly = recordAt(4, step, false);
    activityOnly.isActivityOnly = true;
    steps.append(activityOnly);
    reduceSteps(steps, StepValue::Power, 0, 0, 2, 1.0, trend);
    EXPECT_FALSE(trend.points.empty());
    EXPECT_TRUE(trend.asleep.empty());
}
