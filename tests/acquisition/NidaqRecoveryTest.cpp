// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "NidaqHarness.h"
#include "acquisition/RestartPacing.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <thread>

namespace vt::test {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;

namespace {

/// Calls that the driver sees from start to stop when two blocks are delivered and nothing fails:
/// 5 set-up steps, 2 reads, stop and clear.
constexpr std::size_t CallsOfARun = 9;

} // namespace

TEST(NidaqRecovery, FailedReadRestartsTheTaskAtOnce)
{
    LogCapture log;
    NidaqHarness h;
    ASSERT_TRUE(h.startRunning());
    h.driver.deliver();
    h.driver.failReads(true);
    h.time.advance(42'000);
    h.driver.deliver();
    ASSERT_TRUE(h.driver.waitForCount("StartTask", 2));
    h.driver.stopFailing();
    ASSERT_TRUE(h.driver.waitForRunning());
    h.time.advance(1'000);
    EXPECT_EQ(h.device->counters().openGapMs, 42'966U) << "less the 33.3 ms of a block";
    h.driver.deliver();
    EXPECT_EQ(h.device->counters().framesAcquired, 2U);
    EXPECT_EQ(h.device->counters().readErrors, 1U);
    EXPECT_EQ(h.device->counters().gapMs, 42'966U);
    EXPECT_EQ(h.device->counters().gaps, 1U);
    EXPECT_EQ(h.device->counters().openGapMs, 0U);
    EXPECT_TRUE(h.time.startedMs().empty()) << "no wait when data had flowed";
    EXPECT_TRUE(log.hasInOrder({u"DAQ read failed, error: -200279 read: 0"_qs,
                                u"DAQmxReadAnalogF64 failed: error -200279"_qs, u"extended text"_qs,
                                u"error time:  02/03/2026 10:00:42 AM"_qs, u"Restarting DAQ task."_qs,
                                u"Task done: yes"_qs}));
    ASSERT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
    EXPECT_EQ(h.device->counters().restarts, 1U);
    std::vector<std::string> calls = h.driver.calls();
    const auto failedRead = std::find(calls.begin() + 6, calls.end(), "ReadAnalogF64(1, 20, 10.0, 0, 40)");
    ASSERT_NE(failedRead, calls.end());
    calls.erase(calls.begin(), failedRead + 1);
    EXPECT_THAT(calls,
                ElementsAre("IsTaskDone(1)", "StopTask(1)", "ClearTask(1)", R"(CreateTask(""))",
                            R"(CreateAIVoltageChan(2, "Dev1/ai0:1", "", 10083, -10.0, 10.0, 10348, null))",
                            R"(CfgSampClkTiming(2, "", 600.0, 10280, 10123, 40))",
                            "RegisterEveryNSamplesEvent(2, 1, 20, 0)", "StartTask(2)",
                            "ReadAnalogF64(2, 20, 10.0, 0, 40)", "StopTask(2)", "ClearTask(2)"));
    h.driver.deliverLate(0);
    EXPECT_EQ(h.driver.count("ReadAnalogF64"), 3U) << "a late callback of the first task reads nothing";
}

// A unit that gave one block after each restart was set up anew without a pause, all night.
TEST(RestartPacing, OnlyASecondOfDataEndsASeriesOfFailures)
{
    RestartPacing pacing;
    EXPECT_EQ(pacing.afterReadError(0), 0) << "data had flowed";
    for (const int expected : {500, 1000, 2000, 2000})
        EXPECT_EQ(pacing.afterReadError(RestartPacing::SteadyMs - 1), expected);
    EXPECT_EQ(pacing.afterReadError(RestartPacing::SteadyMs), 0);
    EXPECT_EQ(pacing.afterFailedSetUp(), 500);
    EXPECT_EQ(pacing.afterReadError(std::nullopt), 1000) << "no block came";
}

// The unit is away: every attempt fails at its first step. Then it comes back, works, and goes again.
TEST(NidaqRecovery, AttemptsAreSpacedOutUntilDataFlows)
{
    LogCapture log;
    NidaqHarness h;
    h.driver.failCall(0, true);
    h.device->start();
    const std::vector<int> expected{500, 1000, 2000, 2000, 2000};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_TRUE(h.time.waitForStarts(i + 1));
        EXPECT_EQ(h.driver.count("CreateTask"), i + 1);
        h.time.advance(expected[i] - 1);
        EXPECT_EQ(h.driver.count("CreateTask"), i + 1);
        if (i + 1 == expected.size())
            h.driver.stopFailing();
        h.time.advance(1);
        ASSERT_TRUE(h.driver.waitForCount("CreateTask", i + 2));
    }
    EXPECT_THAT(h.time.startedMs(), ElementsAreArray(expected));
    ASSERT_TRUE(h.driver.waitForRunning());
    EXPECT_TRUE(log.has(u"DAQmxCreateTask failed: error -200279"_qs));

    // Reads that fail before any block came: the waits go on where they were.
    h.driver.failReads(true);
    h.driver.deliver();
    ASSERT_TRUE(h.time.waitForStarts(6));
    EXPECT_EQ(h.time.startedMs().back(), 2000);
    h.driver.stopFailing();
    h.time.advance(2000);
    ASSERT_TRUE(h.driver.waitForRunning());
    h.driver.deliver();

    // Data flowed for a second: at once, then from the start of the series.
    h.time.advance(1000);
    h.driver.deliver();
    h.driver.failReads(true);
    h.driver.deliver();
    ASSERT_TRUE(h.driver.waitForCount("StartTask", 3));
    ASSERT_TRUE(h.driver.waitForRunning());
    h.driver.deliver();
    ASSERT_TRUE(h.time.waitForStarts(7));
    EXPECT_EQ(h.time.startedMs().back(), 500);
    EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
    EXPECT_EQ(h.driver.deadHandleCalls(), 0);
    EXPECT_EQ(h.driver.openTasks(), 0U);
}

// Each call of a run fails once: nothing is leaked, no dead handle is used, and data flows again.
TEST(NidaqRecovery, SurvivesEachCallFailingOnce)
{
    LogCapture log;
    for (std::size_t k = 0; k < CallsOfARun; ++k) {
        SCOPED_TRACE(k);
        NidaqHarness h;
        h.driver.failCall(k, false);
        h.device->start();
        if (k < 5) {
            ASSERT_TRUE(h.time.waitForStarts(1));
            h.time.advance(500);
        }
        ASSERT_TRUE(h.driver.waitForRunning());
        h.driver.deliver();
        if (k == 5) {
            ASSERT_TRUE(h.time.waitForStarts(1));
            h.time.advance(500);
            ASSERT_TRUE(h.driver.waitForCount("StartTask", 2));
            ASSERT_TRUE(h.driver.waitForRunning());
        }
        h.driver.deliver();
        if (k == 6) {
            ASSERT_TRUE(h.driver.waitForCount("StartTask", 2));
            ASSERT_TRUE(h.driver.waitForRunning());
        }
        if (k == 5 || k == 6)
            h.driver.deliver();
        EXPECT_EQ(h.device->counters().framesAcquired, 2U);
        EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
        EXPECT_EQ(h.device->counters().restarts, k < 7 ? 1U : 0U);
        EXPECT_EQ(h.driver.openTasks(), 0U);
        EXPECT_EQ(h.driver.deadHandleCalls(), 0);
        EXPECT_TRUE(h.isBalanced());
    }
    for (const char* step :
         {"CreateTask", "CreateAIVoltageChan", "CfgSampClkTiming", "RegisterEveryNSamplesEvent", "StartTask",
          "ReadAnalogF64", "StopTask", "ClearTask"})
        EXPECT_TRUE(log.has(QStringLiteral("DAQmx%1 failed: error -200279").arg(QLatin1String(step))))
            << step;
}

// From some call on everything fails for ever: few attempts in ten seconds, and stop still works.
TEST(NidaqRecovery, SurvivesEveryCallFailingForEver)
{
    LogCapture log;
    for (std::size_t k = 0; k < CallsOfARun; ++k) {
        SCOPED_TRACE(k);
        NidaqHarness h;
        h.driver.failCall(k, true);
        h.device->start();
        if (k >= 5) {
            ASSERT_TRUE(h.driver.waitForRunning());
            h.driver.deliver();
            h.driver.deliver();
        }
        // 0.5 + 1 + 2 + 2 + 2 + 2 s: six waits fit into ten seconds.
        if (k < 7) {
            const std::size_t before = h.driver.count("CreateTask");
            for (std::size_t i = 0; i < 6; ++i) {
                ASSERT_TRUE(h.time.waitForStarts(i + 1));
                h.time.advance(h.time.startedMs().back());
            }
            ASSERT_TRUE(h.time.waitForStarts(7));
            EXPECT_LE(h.driver.count("CreateTask"), before + 7);
        }
        EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
        EXPECT_TRUE(h.device->released());
        EXPECT_EQ(h.driver.openTasks(), 0U);
        EXPECT_EQ(h.driver.deadHandleCalls(), 0);
        EXPECT_TRUE(h.isBalanced());
    }
}

// A callback comes while the task is being started, its read fails, and so does the start: one failure, and
// no question about a task that is gone.
TEST(NidaqRecovery, AReadThatFailsWithinAFailedStartIsNotRecoveredFrom)
{
    LogCapture log;
    NidaqHarness h;
    h.driver.failReads(true);
    h.driver.failCall(5, false);
    h.driver.setStartHook([&] { h.driver.deliverLate(0); });
    h.device->start();
    ASSERT_TRUE(h.time.waitForStarts(1));
    h.time.advance(500);
    ASSERT_TRUE(h.driver.waitForCount("CreateTask", 2));
    ASSERT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
    EXPECT_EQ(h.device->counters().readErrors, 1U);
    EXPECT_THAT(h.time.startedMs(), ElementsAre(500));
    EXPECT_EQ(h.driver.count("IsTaskDone"), 0U);
}

TEST(NidaqRecovery, NeverContinuesOnAnotherUnit)
{
    LogCapture log;
    NidaqHarness h;
    h.device->setRequiredSerial(u"42"_qs);
    ASSERT_TRUE(h.startRunning());
    EXPECT_EQ(h.driver.count("GetDevSerialNum"), 0U) << "the session has just looked";
    h.driver.deliver();
    h.driver.setSerial(43);
    h.driver.failReads(true);
    h.driver.deliver();
    ASSERT_TRUE(h.time.waitForStarts(1));
    h.driver.stopFailing();
    h.time.advance(500);
    ASSERT_TRUE(h.time.waitForStarts(2));
    EXPECT_EQ(h.driver.count("CreateTask"), 1U);
    EXPECT_EQ(log.count(u"NIDAQ_data_thread::isSameUnit - Dev1 has serial number 43 instead of 42"_qs), 2);
    h.driver.setSerial(42);
    h.time.advance(1000);
    ASSERT_TRUE(h.driver.waitForRunning());
    h.driver.deliver();
    EXPECT_EQ(h.device->counters().framesAcquired, 2U);
    EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
}

// A driver thread that never rests, reads that fail now and then, and stops at any moment.
TEST(NidaqRecovery, StopsCleanlyUnderLoad)
{
    LogCapture log;
    for (int round = 0; round < 25; ++round) {
        NidaqHarness h;
        h.driver.failEachReadNumber(7);
        ASSERT_TRUE(h.startRunning());
        std::atomic<bool> isDone{false};
        std::thread driverThread([&] {
            while (!isDone) {
                h.driver.deliver();
                h.time.advance(33); // for the pauses between restarts
            }
        });
        std::thread consumer([&] {
            while (!isDone)
                if (h.device->counters().framesQueued > 0)
                    std::ignore = h.pull();
        });
        EXPECT_TRUE(h.driver.waitForCount("ReadAnalogF64", static_cast<std::size_t>(1 + round)));
        EXPECT_TRUE(h.device->stop(NidaqHarness::StopWaitMs));
        const quint64 acquired = h.device->counters().framesAcquired;
        h.driver.deliverLate(0);
        EXPECT_EQ(h.device->counters().framesAcquired, acquired);
        isDone = true;
        driverThread.join();
        consumer.join();
        EXPECT_TRUE(h.isBalanced());
        EXPECT_EQ(h.driver.openTasks(), 0U);
        EXPECT_EQ(h.driver.deadHandleCalls(), 0);
    }
}

} // namespace vt::test
