// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FilterChain.h"

#include "LogCapture.h"
#include "TestSignals.h"

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>

namespace vt {
namespace {

struct Bands
{
    std::vector<double> decimated;
    std::vector<double> bandpassed;
    std::vector<double> br;
    std::vector<double> act;
};

/// Runs whole frames of a 600 Hz signal through all filters of one channel.
Bands run(FilterChain& chain, int channel, const std::vector<double>& x)
{
    Bands result;
    std::array<double, 4> decimated{};
    std::array<double, 4> out{};
    std::array<double, 4> other{};
    for (std::size_t at = 0; at + SamplesPerFrame <= x.size(); at += SamplesPerFrame) {
        chain.filterDecimate(channel, FilterChain::Raw(x.data() + at, SamplesPerFrame), decimated);
        result.decimated.insert(result.decimated.end(), decimated.begin(), decimated.end());
        chain.filterBandpass(channel, decimated, out);
        result.bandpassed.insert(result.bandpassed.end(), out.begin(), out.end());
        chain.filterBrAct(channel, decimated, out, other);
        result.br.insert(result.br.end(), out.begin(), out.end());
        result.act.insert(result.act.end(), other.begin(), other.end());
    }
    return result;
}

/// Largest magnitude among the last count values.
double settledPeak(const std::vector<double>& values, std::size_t count = 240)
{
    double peak = 0.0;
    for (std::size_t i = values.size() - count; i < values.size(); ++i)
        peak = std::max(peak, std::abs(values[i]));
    return peak;
}

TEST(FilterChain, ConstantInputPassesTheDecimatorAndNoBand)
{
    for (int animal : {1, 2}) {
        FilterChain chain(1, animal, 0.0);
        const Bands out = run(chain, 0, std::vector<double>(6000, 2.0));
        EXPECT_NEAR(out.decimated.back(), 2.0, 1e-9);
        EXPECT_LT(settledPeak(out.br), 2.0 * 0.01);
        EXPECT_LT(settledPeak(out.act), 2.0 * 0.002);
        EXPECT_LT(settledPeak(out.bandpassed), 1e-6);
    }
}

TEST(FilterChain, DecimatorPassesTwentyHertzAndAttenuatesFortyFive)
{
    // -25 dB is a factor of 0.056; 45 Hz stays 45 Hz at 120 Hz.
    const std::pair<double, double> gains[] = {{20, 0.99}, {45, 0.054}};
    for (const auto& [frequencyHz, gain] : gains) {
        FilterChain chain(1, 1, 0.0);
        const Bands out = run(chain, 0, test::makeSine(frequencyHz, 1.0, 6000, 600.0));
        double squares = 0.0;
        for (std::size_t i = out.decimated.size() - 240; i < out.decimated.size(); ++i)
            squares += out.decimated[i] * out.decimated[i];
        EXPECT_NEAR(std::sqrt(squares / 240 * 2), gain, 0.01 * std::max(gain, 0.3)) << frequencyHz;
    }
}

TEST(FilterChain, ChannelsAreIndependentAndResetForgets)
{
    const std::vector<double> x = test::makeSignal("breathing", 4000, 600.0);
    FilterChain chain(3, 2, 0.0);
    const Bands first = run(chain, 0, x);
    run(chain, 1, test::makeSignal("noise", 4000, 600.0));
    const Bands second = run(chain, 2, x);
    EXPECT_EQ(first.br, second.br);
    EXPECT_EQ(first.act, second.act);
    EXPECT_EQ(first.bandpassed, second.bandpassed);

    EXPECT_NE(run(chain, 0, x).br, first.br) << "state goes on";
    chain.reset();
    const Bands again = run(chain, 0, x);
    EXPECT_EQ(again.decimated, first.decimated);
    EXPECT_EQ(again.br, first.br);
    EXPECT_EQ(again.bandpassed, first.bandpassed);
}

TEST(FilterChain, InputOffsetIsSubtractedAfterDecimation)
{
    const std::vector<double> x = test::makeSignal("breathing", 4000, 600.0);
    FilterChain plain(1, 1, 0.0);
    FilterChain shifted(1, 1, 2.5);
    const Bands without = run(plain, 0, x);
    const Bands with = run(shifted, 0, x);
    for (std::size_t i = 0; i < without.decimated.size(); ++i)
        ASSERT_DOUBLE_EQ(with.decimated[i], without.decimated[i] - 2.5);
}

TEST(FilterChain, UnknownAnimalLeavesTheBandsAlone)
{
    test::LogCapture log;
    FilterChain chain(1, 7, 0.0);
    EXPECT_EQ(log.lines(), (QStringList{QStringLiteral("Unknown animal type: 7"),
                                        QStringLiteral("Are you using a genuine device?")}));
    std::array<double, 4> br = {1, 2, 3, 4};
    std::array<double, 4> act = {5, 6, 7, 8};
    const std::array<double, 4> in = {1, 1, 1, 1};
    chain.filterBrAct(0, in, br, act);
    EXPECT_THAT(br, testing::ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(act, testing::ElementsAre(5, 6, 7, 8));
    EXPECT_EQ(log.lines().size(), 2);
}

TEST(FilterChain, BadChannelIsLoggedAndLeavesTheOutput)
{
    test::LogCapture log;
    FilterChain chain(2, 1, 2.5);
    const std::array<double, 20> in{};
    std::array<double, 4> out = {9, 9, 9, 9};
    const std::array<double, 4> four{};
    chain.filterDecimate(2, in, out);
    chain.filterBandpass(-1, four, out);
    chain.filterBrAct(2, four, out, out);
    EXPECT_THAT(out, testing::Each(9));
    EXPECT_EQ(log.lines(),
              (QStringList{QStringLiteral("FIR filter error: channel out of range"),
                           QStringLiteral("IIR filter error (channel -1 ): channel out of range")}));
}

TEST(FilterChain, InvalidSamplesAreLoggedOnceAndForgotten)
{
    test::LogCapture log;
    FilterChain chain(1, 1, 0.0);
    std::vector<double> x = test::makeSignal("breathing", 12000, 600.0);
    x[1003] = std::numeric_limits<double>::quiet_NaN();
    const Bands out = run(chain, 0, x);
    EXPECT_EQ(
        log.lines(),
        (QStringList{QStringLiteral("FIR filter error: a value is infinite or not a number"),
                     QStringLiteral("IIR filter error (channel 0 ): a value is infinite or not a number")}));
    // 454 taps at 600 Hz and 512 at 120 Hz later, everything is as if nothing had happened.
    FilterChain undisturbed(1, 1, 0.0);
    const Bands expected = run(undisturbed, 0, test::makeSignal("breathing", 12000, 600.0));
    EXPECT_EQ(out.decimated.back(), expected.decimated.back());
    EXPECT_EQ(out.br.back(), expected.br.back());
    EXPECT_NEAR(out.bandpassed.back(), expected.bandpassed.back(), 1e-6);
}

} // namespace
} // namespace vt
