// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceMath.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>

using namespace vt;

namespace {

constexpr float NotANumber = std::numeric_limits<float>::quiet_NaN();

std::vector<double> values(const std::vector<TracePoint>& points)
{
    std::vector<double> result;
    for (const TracePoint& point : points)
        result.push_back(point.value);
    return result;
}

} // namespace

TEST(DecimateTrace, KeepsTheExtremesOfEachBinInTheirOrderAndAtTheirTimes)
{
    const std::vector<float> samples{0, 5, -1, 2, /**/ 9, 3, 3, -4, /**/ 7, 7, 7, 7};
    std::vector<TracePoint> points;
    decimateTrace(samples, 12, 4, 120.0, points);
    EXPECT_EQ(values(points), (std::vector<double>{5, -1, 9, -4, 7}));
    // Sample numbers 1, 2, 4, 7 and 8 of 0..11, counted back from the newest.
    const double backSamples[] = {10, 9, 7, 4, 3};
    for (std::size_t i = 0; i < points.size(); ++i)
        EXPECT_DOUBLE_EQ(points[i].seconds, -backSamples[i] / 120.0) << i;
}

TEST(DecimateTrace, BinsBelongToSampleNumbersNotToTheWindow)
{
    // The same trace seen again two samples later: a peak that is in view both times is drawn with the same
    // value, so that a scrolling trace does not shimmer.
    std::vector<float> trace(40);
    for (std::size_t i = 0; i < trace.size(); ++i)
        trace[i] = static_cast<float>(std::sin(0.9 * static_cast<double>(i)));
    const std::span<const float> all(trace);
    std::vector<TracePoint> before;
    std::vector<TracePoint> after;
    decimateTrace(all.subspan(0, 30), 30, 5, 120.0, before);
    decimateTrace(all.subspan(2, 30), 32, 5, 120.0, after);
    // Complete bins in both views: samples 5 to 29, two points each.
    const std::vector<double> first = values(before);
    const std::vector<double> second = values(after);
    ASSERT_EQ(first.size(), 12U);
    EXPECT_TRUE(std::equal(first.begin() + 2, first.end(), second.begin() + 2));
}

TEST(DecimateTrace, LeavesOutPaddingAndWhatIsNoNumber)
{
    std::vector<TracePoint> points;
    decimateTrace(std::vector<float>{8, 8, 1, 2, 3}, 3, 1, 120.0, points);
    EXPECT_EQ(values(points), (std::vector<double>{1, 2, 3}));
    EXPECT_DOUBLE_EQ(points.front().seconds, -2.0 / 120.0);
    decimateTrace(std::vector<float>{NotANumber, NotANumber, 4, NotANumber, 6}, 5, 2, 120.0, points);
    EXPECT_EQ(values(points), (std::vector<double>{4, 6}));
    decimateTrace(std::vector<float>{1, 2}, 0, 1, 120.0, points);
    EXPECT_TRUE(points.empty());
}

TEST(NiceCeiling, IsTheNextOfOneTwoFive)
{
    for (const auto& [value, expected] : {std::pair{0.011, 0.02}, std::pair{0.02, 0.02}, std::pair{0.21, 0.5},
                                          std::pair{0.51, 1.0}, std::pair{1.0, 1.0}, std::pair{5.01, 10.0}})
        EXPECT_NEAR(niceCeiling(value), expected, 1e-12) << value;
}

TEST(AutoRange, GrowsAtOnceAndShrinksOnlyWithRoomToSpare)
{
    AutoRange range(0.01);
    EXPECT_DOUBLE_EQ(range.update(0.0), 0.01);
    EXPECT_DOUBLE_EQ(range.update(0.15), 0.2);
    EXPECT_DOUBLE_EQ(range.update(0.201), 0.5);
    EXPECT_DOUBLE_EQ(range.update(0.18), 0.5) << "0.2 would leave only a tenth";
    EXPECT_DOUBLE_EQ(range.update(0.16), 0.2);
    EXPECT_DOUBLE_EQ(range.update(std::numeric_limits<double>::infinity()), 0.2);
    EXPECT_DOUBLE_EQ(range.update(1e-9), 0.01);
}
