// SPDX-License-Identifier: GPL-3.0-or-later
// Real signals through the whole of DataManager, against an independent computation with SciPy.
#include "FakeDevice.h"
#include "LogCapture.h"
#include "ReferenceValues.h"
#include "TestSignals.h"
#include "processing/DataManager.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace vt::test {
namespace {

void expectFeatures(const FeatureSet& f, const FeatureValues& expected, const std::string& where)
{
    const double values[] = {f.spectralContrast,   f.breathRegularity,    f.envelopeVariability,
                             f.envelopeLevel,      f.breathRate,          f.signalPower,
                             f.activityRegularity, f.activityVariability, f.activityLevel};
    for (std::size_t i = 0; i < std::size(values); ++i)
        EXPECT_NEAR(values[i], expected[i], 1e-6 * std::max(std::abs(expected[i]), 1e-6))
            << where << " #" << i;
}

class Real4Test : public testing::TestWithParam<int>
{};

TEST_P(Real4Test, ScoresAsComputedIndependently)
{
    constexpr int Frames = 4500; // 150 s
    LogCapture log;
    const int animal = GetParam();
    FakeDevice device(readReal4());
    SteppingTimeSource time;
    DataManager::Config config;
    config.channelCount = 4;
    config.animalType = animal;
    DataManager manager(config, time);
    manager.beginSegment(&device);
    for (int frame = 1; frame <= Frames; ++frame) {
        manager.handleNewDAQData(SamplesPerFrame);
        if (frame % 60 != 0 || frame < 240)
            continue;
        const auto step = static_cast<std::size_t>((frame - 240) / 60);
        for (const RecordingCase& c : RecordingCases)
            for (const RecordingStep& checked : c.checked)
                if (c.animalType == animal && checked.step == step)
                    expectFeatures(manager.lastFeatures(c.channel), checked.values,
                                   "channel " + std::to_string(c.channel) + " step " + std::to_string(step));
    }
    const int asleep[] = {manager.sleepCounts(0).asleep, manager.sleepCounts(1).asleep,
                          manager.sleepCounts(2).asleep, manager.sleepCounts(3).asleep};
    const std::vector<int> expected =
        animal == 1 ? std::vector<int>{22, 28, 0, 0} : std::vector<int>{32, 42, 2, 0};
    EXPECT_EQ(std::vector<int>(std::begin(asleep), std::end(asleep)), expected);
    EXPECT_EQ(manager.sleepCounts(0).steps, 72);
    for (const RecordingCase& c : RecordingCases)
        EXPECT_TRUE(c.animalType != animal || asleep[c.channel] == c.asleep) << c.channel;
}

INSTANTIATE_TEST_SUITE_P(Animals, Real4Test, testing::Values(1, 2),
                         [](const auto& animal) { return std::string(animal.param == 1 ? "mouse" : "rat"); });

} // namespace
} // namespace vt::test
