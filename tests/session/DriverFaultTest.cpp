// SPDX-License-Identifier: GPL-3.0-or-later
// Whatever driver call fails, the session ends or goes on in order: nothing leaks, no dead handle is used,
// nothing spins, and a later try works.
#include "SessionHarness.h"

#include "acquisition/AcquisitionFrame.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

enum class Duration { Once, ForEver };

/// One attempt at a short recording in which fake time goes on until it has ended somehow.
void attempt(SessionHarness& harness)
{
    bool selected = false;
    const auto connection = QObject::connect(harness.session.get(), &SessionController::deviceSelected,
                                             [&selected] { selected = true; });
    harness.session->refreshDevices();
    harness.session->selectDevice(u"Dev1"_s);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return selected; }));
    QObject::disconnect(connection);
    if (!harness.session->status().device.usable)
        return;
    RecordingSetup setup = harness.setup();
    setup.frameLimit = 60;
    bool ended = false;
    const auto endConnection = QObject::connect(harness.session.get(), &SessionController::recordingEnded,
                                                [&ended] { ended = true; });
    harness.session->record(setup);
    const auto fedUntilEnd = [&] {
        while (!ended && harness.session->state() == SessionState::Recording && harness.deliver(1) == 1) {
        }
        return ended;
    };
    ASSERT_TRUE(harness.passUntil(fedUntilEnd, 50));
    QObject::disconnect(endConnection);
}

} // namespace

class DriverFault : public testing::TestWithParam<Duration>
{};

// How many calls there are depends on the I2C traffic; most are bit-level reads and writes of the
// microcontroller's 127 registers, of which a sample is enough.
TEST_P(DriverFault, EveryCallOfAShortRecordingMayFail)
{
    const bool forEver = GetParam() == Duration::ForEver;
    std::uint64_t calls = 0;
    {
        SessionHarness harness({.channels = 1});
        attempt(harness);
        ASSERT_EQ(harness.session->lastEndReason(), EndReason::DurationReached);
        calls = harness.unit.callCount();
    }
    ASSERT_GT(calls, 500U);
    for (std::uint64_t k = 0; k < calls; k += (k < 40 || k + 90 > calls) ? 1 : 211) {
        const std::int32_t code = k % 2 == 0 ? daqmx::ErrorDeviceNotFound : daqmx::ErrorBufferOverwritten;
        SCOPED_TRACE(testing::Message() << "call " << k << " code " << code);
        SessionHarness harness({.channels = 1});
        harness.unit.failCall(k, code, forEver);
        attempt(harness);
        EXPECT_EQ(harness.session->state(), SessionState::Idle);
        EXPECT_LT(harness.unit.callCount(), 4 * calls) << "no busy loop";
        EXPECT_EQ(harness.unit.deadHandleCalls(), 0);

        harness.unit.failCall(0, 0, false);
        attempt(harness);
        EXPECT_EQ(harness.session->lastEndReason(), EndReason::DurationReached) << "a later try works";
        harness.session.reset();
        EXPECT_EQ(harness.unit.openTaskCount(), 0);
        EXPECT_EQ(harness.unit.deadHandleCalls(), 0);
        if (HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(OnceAndForEver, DriverFault, testing::Values(Duration::Once, Duration::ForEver));

TEST(ReadError, RestartsTheTaskAndTheRecordingGoesOn)
{
    SessionHarness harness;
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(30);
    harness.unit.failReads(daqmx::ErrorBufferOverwritten, 1);
    harness.unit.advanceFrames(1);
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->status().restarts == 1; }, 100));
    harness.passTime(3000);
    EXPECT_GE(harness.session->status().losses.restartGapMs, 2900U) << "told while it lasts";
    ASSERT_TRUE(harness.waitForDevice());
    harness.deliver(9);
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.session->status().framesProcessed, 41U);
    const QString summary = harness.session->lastSummary();
    EXPECT_TRUE(summary.contains(u"1 read errors, 1 restarts"_s));
    EXPECT_FALSE(summary.contains(u"Lost: nothing"_s));
    EXPECT_TRUE(summary.contains(
        QRegularExpression(u"\nWithout data: (2\\.9|3\\.\\d|4\\.\\d) s in 1 restart of the acquisition\n"_s)))
        << qPrintable(summary);
}
