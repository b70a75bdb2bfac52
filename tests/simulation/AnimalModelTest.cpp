// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/AnimalModel.h"
#include "AnalogTask.h"
#include "simulation/AnimalSource.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gmock/gmock.h>
#include <numeric>

namespace vt::test {
namespace {

constexpr int Mouse = 1;
constexpr int Rat = 2;
constexpr std::uint64_t Hour = 3600 * 600;

std::vector<double> generate(AnimalModel& animal, std::size_t count, std::size_t block)
{
    std::vector<double> samples(count);
    for (std::size_t at = 0; at < count; at += block)
        animal.generate(samples.data() + at, std::min(block, count - at));
    return samples;
}

TEST(AnimalModel, DependsOnTheSeedAndNotOnTheBlocks)
{
    for (const int type : {Mouse, Rat}) {
        AnimalModel first(type, 7);
        AnimalModel again(type, 7);
        AnimalModel other(type, 8);
        const auto samples = generate(first, 60'000, 20);
        EXPECT_EQ(samples, generate(again, 60'000, 777));
        EXPECT_NE(samples, generate(other, 60'000, 20));
    }
}

TEST(AnimalModel, GroundTruthIsTheSameInAnyOrder)
{
    AnimalModel animal(Mouse, 3);
    std::vector<bool> forward;
    for (std::uint64_t sample = 0; sample < 4 * Hour; sample += 6000)
        forward.push_back(animal.isAsleep(sample));
    for (std::size_t i = forward.size(); i-- > forward.size() - 50;)
        EXPECT_EQ(animal.isAsleep(i * 6000), forward[i]);
    EXPECT_EQ(animal.isAsleep(0), forward[0]);
}

TEST(AnimalModel, LivesAPlausibleDay)
{
    for (const int type : {Mouse, Rat})
        for (const std::uint64_t seed : {1, 2, 3, 4}) {
            SleepSchedule schedule(type, seed);
            std::uint64_t asleepByDay = 0;
            std::uint64_t asleepByNight = 0;
            int longBouts = 0;
            for (; schedule.current().end() < 4 * 24 * Hour; schedule.advance()) {
                const StateSegment& segment = schedule.current();
                EXPECT_EQ(segment.start % 20, 0U);
                EXPECT_GT(segment.length, 0U);
                if (segment.state != Behaviour::Sleep)
                    continue;
                const std::uint64_t hour = (10 + segment.start / Hour) % 24;
                (hour >= 7 && hour < 19 ? asleepByDay : asleepByNight) += segment.length;
                longBouts += segment.length > 120 * 600 ? 1 : 0;
            }
            const double dayShare = double(asleepByDay) / (48.0 * Hour);
            const double nightShare = double(asleepByNight) / (48.0 * Hour);
            EXPECT_GT(dayShare, 0.55) << type << ' ' << seed;
            EXPECT_LT(dayShare, 0.9) << type << ' ' << seed;
            EXPECT_GT(nightShare, 0.15) << type << ' ' << seed;
            EXPECT_LT(nightShare, dayShare) << type << ' ' << seed;
            EXPECT_GT(longBouts, 100) << "bouts of minutes";
        }
}

/// Rate of the strongest peak of the autocorrelation between two rates, over 8 s of samples at 60 Hz.
double breathRateHz(const std::vector<double>& x, double lowHz, double highHz)
{
    double best = -1.0;
    double rate = 0.0;
    for (auto lag = static_cast<std::size_t>(60.0 / highHz); lag <= static_cast<std::size_t>(60.0 / lowHz);
         ++lag) {
        double sum = 0.0;
        for (std::size_t i = 0; i + lag < x.size(); ++i)
            sum += x[i] * x[i + lag];
        if (sum > best) {
            best = sum;
            rate = 60.0 / double(lag);
        }
    }
    return rate;
}

TEST(AnimalModel, BreathesSlowlyAsleepAndMovesStronglyAwake)
{
    struct Case
    {
        int type;
        double lowHz, highHz;
    };
    for (const Case& c : {Case{Mouse, 1.9, 3.6}, Case{Rat, 0.95, 1.65}}) {
        AnimalModel animal(c.type, 5);
        std::vector<double> asleepRms;
        std::vector<double> awakeRms;
        int inRange = 0;
        for (int window = 0; window < 900; ++window) { // two hours
            const std::uint64_t start = static_cast<std::uint64_t>(window) * 4800;
            const auto samples = generate(animal, 4800, 4800);
            std::vector<double> slow; // means of ten: 60 Hz, free of hum and noise
            double power = 0.0;
            for (std::size_t i = 0; i < samples.size(); i += 10) {
                slow.push_back(std::accumulate(samples.begin() + static_cast<std::ptrdiff_t>(i),
                                               samples.begin() + static_cast<std::ptrdiff_t>(i + 10), 0.0) /
                               10.0);
                power += slow.back() * slow.back();
            }
            const double rms = std::sqrt(power / double(slow.size()));
            const bool before = animal.isAsleep(start);
            const bool after = animal.isAsleep(start + 4799);
            if (before != after)
                continue;
            (before ? asleepRms : awakeRms).push_back(rms);
            const double rate = before ? breathRateHz(slow, 0.8, 6.0) : 0.0;
            inRange += rate > c.lowHz && rate < c.highHz ? 1 : 0;
        }
        ASSERT_GT(asleepRms.size(), 300U);
        ASSERT_GT(awakeRms.size(), 60U);
        EXPECT_GT(double(inRange), 0.97 * double(asleepRms.size()));
        std::nth_element(asleepRms.begin(), asleepRms.begin() + 150, asleepRms.end());
        std::nth_element(awakeRms.begin(), awakeRms.begin() + 30, awakeRms.end());
        EXPECT_GT(awakeRms[30], 2.0 * asleepRms[150]);
        EXPECT_GT(asleepRms[150], 0.01) << "well above the noise";
        EXPECT_LT(*std::max_element(awakeRms.begin(), awakeRms.end()), 4.0) << "within the range of 5 V";
    }
}

TEST(AnimalModel, ChannelsAreDifferentAnimalsAndMayHaveAnOffset)
{
    AnimalSource plain(4, Mouse, 11, 0.0);
    AnimalSource shifted(4, Mouse, 11, 2.5);
    const std::array<int, 4> all{0, 1, 2, 3};
    constexpr std::size_t Minute = 60 * 600;
    std::vector<double> a(4 * Minute);
    std::vector<double> b(4 * Minute);
    plain.read(all, Minute, a.data());
    shifted.read(all, Minute, b.data());
    for (std::size_t i = 0; i < a.size(); ++i)
        ASSERT_EQ(b[i], a[i] + 2.5);
    const auto dot = [&](std::size_t left, std::size_t right) {
        const auto at = [&](std::size_t channel) {
            return a.begin() + static_cast<std::ptrdiff_t>(channel * Minute);
        };
        return std::inner_product(at(left), at(left) + Minute, at(right), 0.0);
    };
    for (std::size_t channel = 1; channel < 4; ++channel)
        EXPECT_LT(std::abs(dot(0, channel)), 0.3 * std::sqrt(dot(0, 0) * dot(channel, channel)));
    plain.skip(all, 1234);
    AnimalModel direct(Mouse, 13);
    const auto expected = generate(direct, Minute + 1234 + 20, 20);
    const std::array<int, 1> third{2};
    plain.read(third, 20, a.data());
    EXPECT_TRUE(std::equal(a.begin(), a.begin() + 20, expected.end() - 20));
    EXPECT_FALSE(plain.isAsleep(4, 0)) << "no such channel";
}

TEST(AnimalModel, UnitWithoutGainShowsItsAnimalsAroundHalfTheSupply)
{
    SimulatedUnit::Config config;
    config.channels = 3;
    config.animalType = Rat;
    config.seed = 40;
    config.gain = 0;
    config.clock = SimulatedUnit::Clock::Manual;
    SimulatedUnit unit(config);
    AnalogTask task(unit, 3);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    ASSERT_EQ(unit.advanceFrames(1), 1);
    ASSERT_EQ(task.lastStatus, 0);
    for (std::uint64_t channel = 0; channel < 3; ++channel) {
        AnimalModel animal(Rat, 40 + channel);
        const auto expected = generate(animal, 20, 20);
        for (std::size_t j = 0; j < 20; ++j)
            EXPECT_EQ(task.samples[channel * 20 + j], expected[j] + 2.5);
        EXPECT_EQ(unit.isAsleep(static_cast<int>(channel), 0), animal.isAsleep(0));
    }
}

} // namespace
} // namespace vt::test
