// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "NidaqHarness.h"

#include <gmock/gmock.h>
#include <thread>

namespace vt::test {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(NidaqDataThread, DrivesTheDriverInTheStatedOrder)
{
    LogCapture log;
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    ASSERT_TRUE(h.driver.deliver());
    ASSERT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
    EXPECT_THAT(h.driver.calls(),
                ElementsAre(R"(CreateTask(""))",
                            R"(CreateAIVoltageChan(1, "Dev1/ai0:1", "", 10083, -10.0, 10.0, 10348, null))",
                            R"(CfgSampClkTiming(1, "", 600.0, 10280, 10123, 40))",
                            "RegisterEveryNSamplesEvent(1, 1, 20, 0)", "StartTask(1)",
                            "ReadAnalogF64(1, 20, 10.0, 0, 40)", "StopTask(1)", "ClearTask(1)"));
}

TEST(NidaqDataThread, DeliversFramesGroupedByChannel)
{
    NidaqHarness h;
    std::vector<int> ready;
    QObject::connect(
        h.device.get(), &DAQInterface::newDAQDataReady, h.device.get(), [&](int n) { ready.push_back(n); },
        Qt::DirectConnection);
    ASSERT_TRUE(h.startRunning());
    ASSERT_TRUE(h.driver.deliver());
    ASSERT_TRUE(h.driver.deliver());
    EXPECT_THAT(ready, ElementsAre(20, 20));
    EXPECT_EQ(h.notified, 2);
    for (int block = 0; block < 2; ++block) {
        const std::vector<double> frame = h.pull();
        ASSERT_EQ(frame.size(), 40U);
        for (int k = 0; k < 2; ++k)
            for (int j = 0; j < 20; ++j)
                EXPECT_DOUBLE_EQ(frame[static_cast<std::size_t>(k * 20 + j)],
                                 FakeAnalogDriver::sample(block, k, j));
    }
    EXPECT_TRUE(h.isBalanced());
}

TEST(NidaqDataThread, ShortReadsCarryNoOldSamplesAndEmptyOnesNothing)
{
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    ASSERT_TRUE(h.driver.deliver());
    h.driver.setSamplesPerRead(1);
    ASSERT_TRUE(h.driver.deliver());
    h.driver.setSamplesPerRead(0);
    ASSERT_TRUE(h.driver.deliver());
    EXPECT_EQ(h.device->counters().framesAcquired, 2U);
    ASSERT_FALSE(h.pull().empty());
    const std::vector<double> second = h.pull();
    ASSERT_FALSE(second.empty());
    EXPECT_DOUBLE_EQ(second[0], FakeAnalogDriver::sample(1, 0, 0));
    EXPECT_DOUBLE_EQ(second[1], 0.0);
    EXPECT_EQ(h.device->counters().readErrors, 0U);
}

TEST(NidaqDataThread, LogsCallbacksThatComeLate)
{
    LogCapture log;
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    h.time.advance(500); // before the first callback there is nothing to be late for
    h.driver.deliver();
    h.time.advance(60);
    h.driver.deliver();
    EXPECT_FALSE(log.hasPart(u"callback delay"_qs));
    h.time.advance(61);
    h.driver.deliver();
    EXPECT_TRUE(log.has(u"callback delay 61 > 60"_qs));
}

TEST(NidaqDataThread, FrameLimitEndsTheTaskByItself)
{
    NidaqHarness h;
    h.device->setFrameLimit(3);
    ASSERT_TRUE(h.startRunning());
    for (int i = 0; i < 5; ++i)
        h.driver.deliver();
    ASSERT_TRUE(h.driver.waitForCount("ClearTask", 1));
    h.driver.deliverLate(0);
    EXPECT_EQ(h.driver.count("ReadAnalogF64"), 3U);
    EXPECT_EQ(h.limitReached, 1);
    EXPECT_EQ(h.device->counters().framesAcquired, 3U);
    EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
    EXPECT_EQ(h.driver.count("CreateTask"), 1U);
}

TEST(NidaqDataThread, StopIsFinal)
{
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    h.driver.deliver();
    EXPECT_FALSE(h.device->released());
    ASSERT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
    EXPECT_TRUE(h.device->released());
    EXPECT_TRUE(h.device->stop(0));
    h.driver.deliverLate(0);
    EXPECT_EQ(h.device->counters().framesAcquired, 1U);
    h.device.reset();
    h.driver.deliverLate(0); // the object is gone
    EXPECT_EQ(h.driver.count("ReadAnalogF64"), 1U);
    EXPECT_EQ(h.driver.deadHandleCalls(), 0);
}

TEST(NidaqDataThread, ReadThatHangsDelaysTheReleaseOnly)
{
    for (const bool stopWaits : {true, false}) {
        SCOPED_TRACE(stopWaits);
        NidaqHarness h;
        h.driver.setStopWaits(stopWaits);
        ASSERT_TRUE(h.startRunning());
        h.driver.hangReads(true);
        std::thread driverThread([&] { h.driver.deliver(); });
        ASSERT_TRUE(h.driver.waitForReadUnderWay());
        EXPECT_FALSE(h.device->stop(20));
        EXPECT_FALSE(h.device->released());
        EXPECT_EQ(h.driver.count("StopTask"), 1U);
        EXPECT_EQ(h.driver.count("ClearTask"), 0U) << "the read still has the handle";
        h.driver.hangReads(false);
        driverThread.join();
        EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
        EXPECT_TRUE(h.device->released());
        // What the read brought came after the stop.
        EXPECT_EQ(h.device->counters().framesAcquired, 0U);
        EXPECT_EQ(h.device->counters().readErrors, 0U);
        EXPECT_EQ(h.notified, 0);
        EXPECT_EQ(h.driver.openTasks(), 0U);
    }
}

TEST(NidaqDataThread, RefusesWhatItCannotAcquire)
{
    struct Case
    {
        QString channels;
        int count;
        QString error;
    };
    const QString list63 = QString(54, u'D') + u"/ai0:7777"_qs;
    const QString list64 = u"D"_qs + list63;
    const Case cases[] = {
        {list64, 8, u"channel list of 64 bytes does not fit: "_qs + list64},
        {QString(), 8, u"channel list is empty"_qs},
        {u"Dev1/ai0:16"_qs, 17, u"channel count 17 is not 1 to 16"_qs},
        {u"Dev1/ai0:-1"_qs, 0, u"channel count 0 is not 1 to 16"_qs},
        {list63, 8, QString()},
    };
    for (const Case& c : cases) {
        LogCapture log;
        FakeAnalogDriver driver;
        WatchedTimeSource time;
        NIDAQ_data_thread device(driver, time, c.channels, c.count);
        EXPECT_EQ(device.startError(), c.error);
        device.start();
        EXPECT_EQ(log.has(u"NIDAQ_data_thread::start - "_qs + c.error), !c.error.isEmpty());
        if (c.error.isEmpty()) {
            EXPECT_TRUE(driver.waitForRunning());
            EXPECT_THAT(driver.calls()[1], testing::HasSubstr(c.channels.toStdString()));
        } else {
            EXPECT_THAT(driver.calls(), IsEmpty());
        }
        EXPECT_TRUE(device.stop(NidaqHarness::StopWaitMs));
        EXPECT_TRUE(device.released());
    }
}

} // namespace vt::test
