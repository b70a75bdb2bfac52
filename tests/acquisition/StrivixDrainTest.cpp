// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixDrain.h"

#include <gmock/gmock.h>

using vt::StrivixDrain;

TEST(StrivixDrain, IntervalFollowsTheSmoothedDepth)
{
    struct Case
    {
        double depth;
        int intervalMs;
    };
    // 5 samples are 1 ms; the division truncates towards zero on both sides of 160.
    for (const Case& c : {Case{160, 33},
                          {164.9, 33},
                          {165, 32},
                          {156, 33},
                          {155, 34},
                          {185, 28},
                          {200, 28},
                          {135, 38},
                          {110, 38},
                          {0, 38},
                          {1e6, 28}})
        EXPECT_EQ(StrivixDrain::intervalMs(c.depth), c.intervalMs) << c.depth;
}

TEST(StrivixDrain, AmountFollowsTheDepth)
{
    struct Case
    {
        int depth;
        int amount;
        bool fast;
    };
    for (const Case& c : {Case{160, 20, false}, {1200, 20, false}, {1201, 1041, true}, {1500, 1340, true}}) {
        StrivixDrain drain;
        const StrivixDrain::Tick tick = drain.tick(c.depth);
        EXPECT_EQ(tick.amount, c.amount) << c.depth;
        EXPECT_EQ(tick.fastDrain, c.fast) << c.depth;
    }
}

TEST(StrivixDrain, WaitsUntilPrimedThenDrainsToTheEnd)
{
    StrivixDrain drain;
    for (const int depth : {0, 1, 159}) {
        const StrivixDrain::Tick tick = drain.tick(depth);
        EXPECT_EQ(tick.amount, 0) << depth;
        EXPECT_FALSE(tick.underrun || tick.newLow) << depth;
        EXPECT_EQ(tick.intervalMs, 33) << depth;
    }
    EXPECT_EQ(drain.tick(160).amount, 20);
    EXPECT_TRUE(drain.isPrimed());
    EXPECT_EQ(drain.tick(7).amount, 7) << "not more than there is";
}

// Reported once in a recording, counted each time.
TEST(StrivixDrain, UnderrunIsReportedOnce)
{
    StrivixDrain drain;
    std::ignore = drain.tick(200);
    EXPECT_TRUE(drain.tick(0).underrun);
    EXPECT_FALSE(drain.tick(0).underrun);
    EXPECT_EQ(drain.underruns(), 1);
    std::ignore = drain.tick(200);
    EXPECT_FALSE(drain.tick(0).underrun);
    EXPECT_EQ(drain.underruns(), 2);
    drain.reset();
    std::ignore = drain.tick(200);
    EXPECT_TRUE(drain.tick(0).underrun);
}

TEST(StrivixDrain, MarksMoveOutwardsOnly)
{
    StrivixDrain drain;
    EXPECT_FALSE(drain.noteArrival(220));
    EXPECT_TRUE(drain.noteArrival(221));
    EXPECT_FALSE(drain.noteArrival(221));
    std::ignore = drain.tick(160);
    EXPECT_FALSE(drain.tick(60).newLow);
    EXPECT_EQ(drain.tick(59).newLow, 59);
    EXPECT_FALSE(drain.tick(59).newLow);
    EXPECT_EQ(drain.tick(58).newLow, 58);
}

// 0.05 of the new depth each time: after one tick at 260 the mean is 165, after the second 169.75, after the
// fifth 182.6 (100 x (1 - 0.95^5) = 22.6).
TEST(StrivixDrain, DepthIsSmoothed)
{
    StrivixDrain drain;
    std::vector<int> intervals;
    for (int i = 0; i < 5; ++i)
        intervals.push_back(drain.tick(260).intervalMs);
    EXPECT_THAT(intervals, testing::ElementsAre(32, 32, 31, 30, 29));
}

// An amplifier whose clock is off by 1 % for an hour, either way: the depth settles near 160 and nothing runs
// over or dry.
TEST(StrivixDrain, KeepsItsCushionWithAForeignClock)
{
    for (const double error : {-0.01, 0.0, 0.01}) {
        StrivixDrain drain;
        double arrived = 0;
        double drained = 0;
        int lowest = 1000;
        int highest = 0;
        double elapsedMs = 0;
        for (int intervalMs = 33; elapsedMs < 3'600'000;) {
            elapsedMs += intervalMs;
            arrived = elapsedMs * 0.6 * (1 + error);
            const int depth = static_cast<int>(arrived - drained);
            const StrivixDrain::Tick tick = drain.tick(depth);
            drained += tick.amount;
            intervalMs = tick.intervalMs;
            if (elapsedMs > 10'000) {
                lowest = std::min(lowest, depth);
                highest = std::max(highest, depth);
            }
        }
        EXPECT_EQ(drain.underruns(), 0) << error;
        EXPECT_GT(lowest, 130) << error;
        EXPECT_LT(highest, 190) << error;
    }
}
