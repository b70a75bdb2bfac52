// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FilterTables.h"

#include <cmath>
#include <complex>
#include <gtest/gtest.h>
#include <numbers>
#include <numeric>
#include <vector>

namespace vt {
namespace {

/// Value of the polynomial sum of c[k] z^-k at a frequency.
std::complex<double> onUnitCircle(const std::vector<double>& c, double frequencyHz, double rateHz)
{
    std::complex<double> sum = 0.0;
    for (std::size_t k = 0; k < c.size(); ++k)
        sum += c[k] * std::polar(1.0, -2 * std::numbers::pi * static_cast<double>(k) * frequencyHz / rateHz);
    return sum;
}

double decibel(double magnitude)
{
    return 20 * std::log10(magnitude);
}

template <std::size_t Length>
std::vector<double> asVector(const std::array<double, Length>& values)
{
    return {values.begin(), values.end()};
}

template <std::size_t HalfLength>
std::vector<double> whole(const std::array<double, HalfLength>& half)
{
    return asVector(expandSymmetric(half));
}

struct Response
{
    double frequencyHz;
    double decibel;
    double tolerance;
};

struct FirCase
{
    const char* name;
    std::vector<double> taps;
    double rateHz;
    std::vector<Response> responses;
    double dcGain;
    double dcTolerance;
};

TEST(FilterTables, FirFiltersHaveThePublishedResponses)
{
    const FirCase cases[] = {
        {"decimator",
         asVector(DecimatorTaps),
         600,
         {{27.9, -3, 0.15}, {45, -25, 0.5}, {60, -41, 0.3}, {20, 0, 0.2}},
         1.0,
         1e-9},
        {"Br mouse", whole(BrMouseHalfTaps), 120, {{0.594, -3, 0.1}, {8.906, -3, 0.1}}, 0.0036, 1e-4},
        {"Act mouse", whole(ActMouseHalfTaps), 120, {{3.094, -3, 0.1}, {8.906, -3, 0.1}}, 0.0, 2e-3},
        {"Br rat", whole(BrRatHalfTaps), 120, {{0.543, -3, 0.1}, {5.906, -3, 0.1}}, 0.0, 1e-2},
        {"Act rat", whole(ActRatHalfTaps), 120, {{5.095, -3, 0.1}, {11.906, -3, 0.1}}, 0.0, 1e-3},
    };
    for (const FirCase& c : cases) {
        EXPECT_NEAR(std::abs(std::accumulate(c.taps.begin(), c.taps.end(), 0.0)), c.dcGain, c.dcTolerance)
            << c.name;
        for (const Response& r : c.responses)
            EXPECT_NEAR(decibel(std::abs(onUnitCircle(c.taps, r.frequencyHz, c.rateHz))), r.decibel,
                        r.tolerance)
                << c.name << " at " << r.frequencyHz << " Hz";
    }
}

TEST(FilterTables, TablesBeginWithThePublishedValues)
{
    EXPECT_NEAR(DecimatorTaps[0], 5.8691219665e-06, 5e-16);
    EXPECT_NEAR(DecimatorTaps[1], 6.37849192034e-05, 5e-16);
    EXPECT_NEAR(DecimatorTaps[2], 0.0003400625117607, 5e-16);
    EXPECT_NEAR(TapWinK8Half[0], 0.0023388305127333, 5e-16);
    EXPECT_NEAR(TapWinK8Half[1], 0.0024973704022865, 5e-16);
    EXPECT_NEAR(TapWinK8Half[2], 0.0026608766162577, 5e-16);
    EXPECT_NEAR(TapWinK3Half[0], 0.2048847564012536, 5e-16);
    EXPECT_NEAR(TapWinK3Half[1], 0.2068100554486776, 5e-16);
    EXPECT_NEAR(TapWinK3Half[2], 0.2087403386793112, 5e-16);
}

TEST(FilterTables, TapersHaveThePublishedSumsAndPeakInTheMiddle)
{
    const std::vector<double> k8 = whole(TapWinK8Half);
    const std::vector<double> k3 = whole(TapWinK3Half);
    EXPECT_NEAR(std::accumulate(k8.begin(), k8.end(), 0.0), 417.88384840784266, 1e-10);
    EXPECT_NEAR(std::accumulate(k3.begin(), k3.end(), 0.0), 656.3235508667449, 1e-10);
    for (const std::vector<double>& taper : {k8, k3}) {
        EXPECT_EQ(taper[479], taper[480]);
        EXPECT_NEAR(taper[479], 1.0, 1e-5);
    }
}

TEST(FilterTables, BreathingBandOfTheMousePeaksNearOneHertz)
{
    const std::vector<double> taps = whole(BrMouseHalfTaps);
    double bestHz = 0.0;
    double best = 0.0;
    for (int i = 0; i < 12000; ++i) {
        const double magnitude = std::abs(onUnitCircle(taps, i * 0.001, 120));
        if (magnitude > best) {
            best = magnitude;
            bestHz = i * 0.001;
        }
    }
    EXPECT_NEAR(bestHz, 0.958, 0.002);
}

TEST(FilterTables, DisplayBandpassHasItsEdgesAtThreeQuartersAndTenHertz)
{
    const std::vector<double> b = asVector(BandpassNumerator);
    const std::vector<double> a = asVector(BandpassDenominator);
    const auto response = [&](double frequencyHz) {
        return decibel(std::abs(onUnitCircle(b, frequencyHz, 120) / onUnitCircle(a, frequencyHz, 120)));
    };
    EXPECT_NEAR(response(0.75), -3.01, 0.02);
    EXPECT_NEAR(response(10.0), -3.01, 0.02);
    EXPECT_NEAR(response(2.8), 0.0, 0.01);
    EXPECT_LT(response(0.1), -40);
    EXPECT_LT(response(50.0), -40);
}

TEST(FilterTables, EnvelopeSmoothersAreLowPassesOfUnitGain)
{
    struct Case
    {
        std::vector<Biquad> sections;
        double edgeHz;
        double slopeDecibelPerOctave;
    };
    const Case cases[] = {
        {{EnvelopeSmootherA.begin(), EnvelopeSmootherA.end()}, 2.0, 24},
        {{EnvelopeSmootherB.begin(), EnvelopeSmootherB.end()}, 0.65, 36},
    };
    for (const Case& c : cases) {
        const auto response = [&](double frequencyHz) {
            std::complex<double> gain = 1.0;
            for (const Biquad& s : c.sections)
                gain *= onUnitCircle({s.b0, s.b1, s.b2}, frequencyHz, 120) /
                        onUnitCircle({1.0, s.a1, s.a2}, frequencyHz, 120);
            return decibel(std::abs(gain));
        };
        EXPECT_NEAR(response(0.0), 0.0, 0.01);
        EXPECT_NEAR(response(c.edgeHz), -3.01, 0.05);
        EXPECT_NEAR(response(4 * c.edgeHz) - response(8 * c.edgeHz), c.slopeDecibelPerOctave, 2.0);
    }
}

} // namespace
} // namespace vt
