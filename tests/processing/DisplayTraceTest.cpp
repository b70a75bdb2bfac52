// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/DisplayTrace.h"

#include <cmath>
#include <gtest/gtest.h>
#include <thread>

namespace vt {
namespace {

TEST(DisplayTrace, CopiesTheNewestValuesAndMarksMissingOnes)
{
    DisplayTrace trace(10);
    std::array<float, 6> out{};
    EXPECT_EQ(trace.copyNewest(out), 0U);
    EXPECT_TRUE(std::isnan(out[5]));
    for (int i = 0; i < 25; ++i) {
        const double value = i;
        trace.push({&value, 1});
    }
    EXPECT_EQ(trace.copyNewest(out), 25U);
    EXPECT_EQ(out, (std::array<float, 6>{19, 20, 21, 22, 23, 24}));
    std::array<float, 12> more{};
    EXPECT_EQ(trace.copyNewest(more), 25U);
    EXPECT_TRUE(std::isnan(more[1]));
    EXPECT_EQ(more[2], 15.0F);
    EXPECT_EQ(more[11], 24.0F);
}

/// Values are their own running numbers, so a reader can tell a wrong one. The reader stops by count, not by
/// time; the writer goes on until then.
TEST(DisplayTrace, ReaderNeverSeesAValueInTheWrongPlace)
{
    DisplayTrace trace(64); // small enough for the writer to overtake the reader
    DisplaySpectrum spectrum;
    std::atomic<bool> done{false};
    std::thread writer([&] {
        quint64 n = 0;
        std::array<double, DisplaySpectrum::Bins> bins{};
        while (!done.load()) {
            const std::array<double, 4> four = {double(n), double(n + 1), double(n + 2), double(n + 3)};
            trace.push(four);
            bins.fill(static_cast<double>(n % 1000));
            spectrum.publish(bins);
            n = (n + 4) % (1U << 24); // exact as a float
        }
    });
    int wrong = 0;
    std::array<float, 48> out{};
    std::array<float, DisplaySpectrum::Bins> bins{};
    for (int round = 0; round < 3000; ++round) {
        const quint64 count = trace.copyNewest(out);
        for (std::size_t i = 0; i < out.size(); ++i) {
            const auto expected = static_cast<float>((count - out.size() + i) % (1U << 24));
            wrong += !std::isnan(out[i]) && out[i] != expected;
        }
        if (spectrum.copyLatest(bins) > 0)
            wrong += std::adjacent_find(bins.begin(), bins.end(), std::not_equal_to<>()) != bins.end();
    }
    done = true;
    writer.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace vt
