// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "StrivixHarness.h"
#include "acquisition/StrivixPorts.h"
#include "simulation/AnimalModel.h"

#include <chrono>
#include <cmath>
#include <gmock/gmock.h>
#include <thread>

using namespace Qt::StringLiterals;
using vt::SimulatedAmplifier;
using vt::test::LogCapture;
using vt::test::StrivixHarness;

namespace {

constexpr int StopWaitMs = 1000;
const QString UnderrunLine = u"StrivixDevice: FIFO underrun — drain tick had no samples"_s;

/// What the amplifier can say of a voltage: the nearest of steps steps of 3.3 V / steps, the lowest of which
/// is stepsBelow steps below zero.
double quantised(double volts, int steps, int stepsBelow)
{
    const double step = 3.3 / steps;
    return std::clamp(std::round(volts / step), -1.0 * stepsBelow, steps - 1.0 - stepsBelow) * step;
}

/// The frames of one channel joined.
std::vector<double> joined(const std::vector<std::vector<double>>& frames, std::size_t channel)
{
    std::vector<double> samples;
    for (const std::vector<double>& frame : frames)
        samples.insert(samples.end(), frame.begin() + static_cast<std::ptrdiff_t>(20 * channel),
                       frame.begin() + static_cast<std::ptrdiff_t>(20 * channel + 20));
    return samples;
}

} // namespace

// The whole way: animals, packets, a real pseudo-terminal, the serial port, FIFO, frames. The amplifier's
// clock is 0.3 % fast.
TEST(StrivixEndToEnd, AMinuteArrivesSampleForSample)
{
    LogCapture log;
    StrivixHarness harness;
    ASSERT_TRUE(harness.startStreaming());
    ASSERT_TRUE(harness.stepFor(60'000));
    ASSERT_TRUE(harness.adapter->stop(StopWaitMs));

    const auto frames = harness.frames();
    // 600 Hz x 1.003 x 60 s = 36,108 samples, of which the FIFO keeps back about 160.
    ASSERT_GT(frames.size(), 1790U);
    vt::AnimalModel first(1, 1);
    vt::AnimalModel second(1, 2);
    std::vector<double> volts1(20 * frames.size());
    std::vector<double> volts2(20 * frames.size());
    first.generate(volts1.data(), volts1.size());
    second.generate(volts2.data(), volts2.size());
    const std::vector<double> got1 = joined(frames, 0);
    const std::vector<double> got2 = joined(frames, 1);
    for (std::size_t i = 0; i < got1.size(); ++i) {
        ASSERT_DOUBLE_EQ(got1[i], quantised(volts1[i], 2048, 1024)) << i;
        ASSERT_DOUBLE_EQ(got2[i], quantised(volts2[i], 1024, 511)) << i;
    }
    const vt::AcquisitionCounters counters = harness.adapter->counters();
    EXPECT_EQ(counters.framesAcquired, frames.size());
    EXPECT_EQ(counters.framesDropped, 0U);
    EXPECT_EQ(harness.amplifier.statistics().bytesLost, 0U);
    EXPECT_FALSE(log.has(UnderrunLine));
}

TEST(StrivixEndToEnd, OneChannelIsTheFirst)
{
    StrivixHarness harness(1);
    ASSERT_TRUE(harness.startStreaming());
    const std::vector<double> frame = harness.frames().front();
    ASSERT_EQ(frame.size(), 20U);
    std::vector<double> volts(20);
    vt::AnimalModel(1, 1).generate(volts.data(), volts.size());
    for (std::size_t i = 0; i < frame.size(); ++i)
        ASSERT_DOUBLE_EQ(frame[i], quantised(volts[i], 2048, 1024)) << i;
}

TEST(StrivixEndToEnd, StallIsOneUnderrunAndTheStreamGoesOn)
{
    LogCapture log;
    StrivixHarness harness;
    ASSERT_TRUE(harness.startStreaming());
    ASSERT_TRUE(harness.stepFor(500));
    harness.amplifier.stall(1500);
    ASSERT_TRUE(harness.stepFor(1500));
    EXPECT_EQ(log.count(UnderrunLine), 1);
    const std::size_t before = harness.frames().size();
    ASSERT_TRUE(harness.stepFor(1000));
    EXPECT_GT(harness.frames().size(), before + 25);
    EXPECT_EQ(harness.adapter->counters().interruptions, 1U);
    EXPECT_TRUE(harness.errors().isEmpty());
}

TEST(StrivixEndToEnd, BurstIsDrainedAtOnceAndTheQueueDropsTheOldest)
{
    LogCapture log;
    StrivixHarness harness;
    ASSERT_TRUE(harness.startStreaming());
    harness.consumerSleeps = true;
    harness.amplifier.burst(1250);
    ASSERT_TRUE(harness.stepFor(100));
    EXPECT_TRUE(log.hasPart(u"StrivixDevice: FIFO fast-drain triggered, depth: 1"_s));
    EXPECT_TRUE(log.hasPart(u"StrivixDevice: FIFO depth new high: 1"_s));
    const vt::AcquisitionCounters counters = harness.adapter->counters();
    EXPECT_EQ(counters.framesQueued, 10U);
    EXPECT_GT(counters.framesDropped, 40U);
    EXPECT_EQ(counters.framesAcquired,
              harness.frames().size() + counters.framesDropped + counters.framesQueued);
    EXPECT_EQ(log.count(u"StrivixDAQAdapter: frame queue overflow, dropping oldest"_s),
              static_cast<qsizetype>(counters.framesDropped));
}

// After the machine was held up, both threads are late: all that had arrived comes at once, and the
// processing takes it at the pace it has.
TEST(StrivixEndToEnd, BadBytesCostTheirPacketsAndAreCounted)
{
    StrivixHarness harness;
    ASSERT_TRUE(harness.startStreaming());
    harness.amplifier.corruptBytes(1); // the start of a packet: the three bytes are lost
    ASSERT_TRUE(harness.stepFor(50));
    harness.amplifier.dropBytes(2); // of the three, one is left
    ASSERT_TRUE(harness.stepFor(1000));
    const vt::StrivixCounters& device = harness.adapter->deviceCounters();
    EXPECT_EQ(device.bytesDropped, 4U);
    EXPECT_EQ(harness.adapter->counters().bytesDamaged, 4U);
    EXPECT_EQ(device.samples, harness.amplifier.statistics().packets - 2);
}

TEST(StrivixEndToEnd, UnplugIsToldAndTheNextAdapterGoesOnAtTheSamePort)
{
    LogCapture log;
    StrivixHarness harness;
    ASSERT_TRUE(harness.startStreaming());
    EXPECT_TRUE(vt::isPortPresent(harness.amplifier.portName()));
    const quint64 samples = harness.adapter->deviceCounters().samples;
    harness.amplifier.disappear();
    EXPECT_FALSE(vt::isPortPresent(harness.amplifier.portName()));
    ASSERT_TRUE(StrivixHarness::waitFor([&] { return !harness.errors().isEmpty(); }));
    EXPECT_THAT(harness.errors(),
                testing::ElementsAre(u"Device disconnected: "_s + harness.amplifier.portName()));
    EXPECT_EQ(harness.adapter->counters().readErrors, 1U) << "told once, not for every look at the port";
    EXPECT_TRUE(log.hasPart(u"StrivixDevice: Serial error: QSerialPort::Re"_s));
    harness.time.advance(1000);
    EXPECT_EQ(harness.adapter->counters().framesAcquired, samples / 20) << "what had arrived is delivered";
    EXPECT_EQ(harness.adapter->counters().interruptions, 0U) << "it has ended";
    ASSERT_TRUE(harness.adapter->stop(StopWaitMs));

    ASSERT_TRUE(harness.amplifier.comeBack()) << qPrintable(harness.amplifier.errorText());
    EXPECT_TRUE(vt::isPortPresent(harness.amplifier.portName()));
    const std::size_t before = harness.frames().size();
    harness.plugAdapter();
    ASSERT_TRUE(harness.open());
    ASSERT_TRUE(harness.stepUntil([&] { return harness.frames().size() > before + 30; }));
}

// What waited for the cushion to fill was dropped, and nobody was told.
TEST(StrivixEndToEnd, UnplugBeforeTheFirstFrameLosesNothingUncounted)
{
    StrivixHarness harness;
    ASSERT_TRUE(harness.open());
    ASSERT_TRUE(harness.stepUntil([&] { return harness.adapter->deviceCounters().samples >= 100; }));
    const quint64 samples = harness.adapter->deviceCounters().samples;
    ASSERT_EQ(harness.adapter->counters().framesAcquired, 0U);
    ASSERT_GT(samples % 20, 0U) << "no rest to count";
    harness.amplifier.disappear();
    ASSERT_TRUE(StrivixHarness::waitFor([&] { return !harness.errors().isEmpty(); }));
    EXPECT_EQ(harness.adapter->counters().framesAcquired, samples / 20) << "before the error is told";
    harness.time.advance(1000);
    EXPECT_EQ(harness.frames().size(), samples / 20);
    EXPECT_EQ(harness.adapter->counters().samplesCut, samples % 20);
}

TEST(StrivixEndToEnd, FrameLimitEndsTheStream)
{
    StrivixHarness harness;
    harness.adapter->setFrameLimit(3);
    ASSERT_TRUE(harness.startStreaming());
    ASSERT_TRUE(harness.stepUntil([&] { return harness.limitReached > 0; }));
    harness.time.advance(1000);
    EXPECT_EQ(harness.frames().size(), 3U);
    EXPECT_EQ(harness.limitReached, 1);
    EXPECT_EQ(harness.adapter->counters().framesAcquired, 3U);
}
