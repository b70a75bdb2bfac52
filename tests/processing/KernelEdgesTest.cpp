// SPDX-License-Identifier: GPL-3.0-or-later
// Inputs that ordinary signals do not contain, for every set of kernels.
#include "TestSignals.h"
#include "processing/EnvelopeMedian.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <limits>

namespace vt {
namespace {

constexpr std::size_t Count = 960;

void forEachKernelSet(const std::function<void(const Kernels&)>& check)
{
    const KernelSets kernels = runnableKernels();
    ASSERT_GE(kernels.count, 1U);
    for (std::size_t i = 0; i < kernels.count; ++i) {
        SCOPED_TRACE(kernels.sets[i]->name);
        check(*kernels.sets[i]);
    }
}

double sortedMedian(std::vector<double> squares)
{
    std::ranges::sort(squares);
    return (std::sqrt(squares[Count / 2 - 1]) + std::sqrt(squares[Count / 2])) / 2;
}

TEST(KernelEdges, MedianOfAnyDistribution)
{
    const std::vector<double> noise = test::makeNoise(Count, 17);
    const std::pair<const char*, std::function<double(std::size_t)>> distributions[] = {
        {"all zero", [](std::size_t) { return 0.0; }},
        {"all equal", [](std::size_t) { return 3.25; }},
        {"two values, half and half", [](std::size_t i) { return i % 2 == 0 ? 1.0 : 4.0; }},
        {"two values, uneven", [](std::size_t i) { return i % 3 == 0 ? 1.0 : 4.0; }},
        {"mostly zero", [](std::size_t i) { return i % 5 == 0 ? 1.0 : 0.0; }},
        {"one huge", [&](std::size_t i) { return i == 500 ? 1e200 : noise[i] * noise[i]; }},
        {"geometric", [](std::size_t i) { return std::pow(1.3, static_cast<double>(i) - 480.0); }},
        {"ramp", [](std::size_t i) { return static_cast<double>(i); }},
        {"falling ramp", [](std::size_t i) { return static_cast<double>(Count - i); }},
        {"narrow", [&](std::size_t i) { return 1.0 + 1e-13 * noise[i]; }},
        {"exponential", [&](std::size_t i) { return -std::log(0.5 + 0.4999 * noise[i]); }},
        {"equal middle", [&](std::size_t i) { return i < 300   ? 0.5
                                                     : i < 700 ? 1.0
                                                               : 2.0 + noise[i]; }},
    };
    forEachKernelSet([&](const Kernels& kernels) {
        std::vector<double> scratch(Count);
        for (const auto& [name, value] : distributions) {
            std::vector<double> squares(Count);
            for (std::size_t i = 0; i < Count; ++i)
                squares[i] = value(i);
            EXPECT_DOUBLE_EQ(medianOfRoots(kernels, squares, scratch), sortedMedian(squares)) << name;
        }
        for (double bad :
             {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
            std::vector<double> squares(Count, 1.0);
            squares[123] = bad;
            EXPECT_TRUE(std::isnan(medianOfRoots(kernels, squares, scratch)));
        }
    });
}

TEST(KernelEdges, CompressionFollowsThePowerOverItsWholeRange)
{
    forEachKernelSet([](const Kernels& kernels) {
        std::vector<double> x(Count, -2.0);
        std::vector<double> squares(Count);
        std::vector<double> out(Count);
        for (std::size_t i = 0; i < Count; ++i) // 1e-4 .. 1e184 around a middle of 3
            squares[i] = 3.0 * std::pow(10.0, -4.0 + 188.0 * static_cast<double>(i * i) / (Count * Count));
        kernels.compress(x.data(), squares.data(), 3.0, out.data(), Count);
        for (std::size_t i = 0; i < Count; ++i) {
            const double expected = squares[i] > 3.0 ? -2.0 * std::pow(squares[i] / 3.0, -0.1) : -2.0;
            ASSERT_NEAR(out[i], expected, 1e-14 * std::abs(expected)) << squares[i];
        }
    });
}

TEST(KernelEdges, DecibelsFollowTheLogarithmOverItsWholeRange)
{
    forEachKernelSet([](const Kernels& kernels) {
        std::vector<double> x(480);
        for (std::size_t i = 0; i < x.size(); ++i)
            x[i] = std::pow(10.0, -300.0 + 600.0 * static_cast<double>(i) / 479.0);
        x[100] = 0.0;
        x[200] = 0.5; // 1 after scaling
        x[201] = 0.5 * (1 + 1e-15);
        std::vector<double> out = x;
        kernels.decibel(out.data(), out.size(), 2.0);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double expected = 10.0 * std::log10(x[i] * 2.0);
            if (x[i] == 0.0) {
                EXPECT_EQ(out[i], expected);
                continue;
            }
            ASSERT_NEAR(out[i], expected, 1e-15 * std::max(std::abs(expected), 1.0) * 4) << x[i];
        }
    });
}

} // namespace
} // namespace vt
