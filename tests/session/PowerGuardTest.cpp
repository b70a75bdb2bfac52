// SPDX-License-Identifier: GPL-3.0-or-later
// What a recording does when the computer sleeps or goes down, and what it leaves when it is killed.
#include "LogCapture.h"
#include "SessionHarness.h"

#include "platform/ExclusiveProbe.h"
#include "recording/RawFileReader.h"
#include "recording/SegmentPaths.h"
#include "session/AppSettings.h"
#include "session/OpenRecordings.h"
#include "session/PowerGuard.h"
#include "session/UnclosedRecordings.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

class FakePowerEvents final : public PowerEvents
{
public:
    void setAcquiring(bool acquiring) override { acquiringCalls.push_back(acquiring); }
    void readyForSystemEvent() override { ++ready; }
    std::vector<bool> acquiringCalls;
    int ready = 0;
};

class PowerGuardTest : public testing::Test
{
protected:
    PowerGuardTest()
    {
        auto fake = std::make_unique<FakePowerEvents>();
        events = fake.get();
        guard = std::make_unique<PowerGuard>(
            *harness.session, harness.time, harness.user,
            PowerGuard::Services{std::move(fake), [this](bool hold) { keepAwakeCalls.push_back(hold); }});
    }
    [[nodiscard]] bool isIdle() const { return harness.session->state() == SessionState::Idle; }
    [[nodiscard]] qint64 recordedFrames(const QString& name)
    {
        RawFileReader raw;
        EXPECT_TRUE(raw.open(segmentPaths(harness.path(name), 1).raw));
        return raw.frameCount();
    }

    SessionHarness harness{{.channels = 2, .animalType = 1, .autoResume = true}};
    FakePowerEvents* events = nullptr;
    std::vector<bool> keepAwakeCalls;
    std::unique_ptr<PowerGuard> guard;
};

const QStringList forcedStopLines{QString(60, u'='), u"FORCED GRACEFUL STOP INITIATED"_s,
                                  u"System shutdown/sleep/hibernate event detected"_s,
                                  u"Stopping DAQ acquisition and flushing all data..."_s,
                                  u"Forced graceful stop completed - application ready for system event"_s};

} // namespace

TEST_F(PowerGuardTest, SleepWhileRecordingClosesTheFilesBeforeTheSystemGoesOn)
{
    ASSERT_TRUE(harness.beginRecording());
    EXPECT_EQ(keepAwakeCalls, std::vector{true});
    EXPECT_EQ(events->acquiringCalls, std::vector{true});
    ASSERT_EQ(harness.deliver(89), 89);
    const LogCapture log;
    emit events->suspending(0);
    EXPECT_EQ(events->ready, 0);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return events->ready > 0; }));
    EXPECT_TRUE(isIdle());
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::ForcedStop);
    EXPECT_TRUE(
        log.hasInOrder(QStringList{u"System suspending during active recording — forcing graceful stop."_s} +
                       forcedStopLines));
    EXPECT_EQ(recordedFrames(u"run"_s), 90 * 4);
    EXPECT_EQ(keepAwakeCalls, (std::vector{true, false}));
    EXPECT_EQ(events->acquiringCalls, (std::vector{true, false}));
    EXPECT_TRUE(harness.user.notices[u"forcedStop"_s].text.contains(u"going to sleep"_s));
    SessionHarness::settle();
    EXPECT_EQ(events->ready, 1);
}

TEST_F(PowerGuardTest, ASystemThatWaitsForTheHandlerGetsClosedFilesFromIt)
{
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_EQ(harness.deliver(29), 29);
    const LogCapture log;
    emit events->shutdownConfirmed(4000);
    EXPECT_TRUE(isIdle());
    EXPECT_EQ(recordedFrames(u"run"_s), 30 * 4);
    EXPECT_TRUE(log.hasInOrder(forcedStopLines));
}

TEST_F(PowerGuardTest, SleepWhileIdleStopsNothing)
{
    ASSERT_TRUE(harness.select());
    const LogCapture log;
    emit events->suspending(0);
    EXPECT_EQ(log.lines(), QStringList{u"System suspending while not recording — leaving app open."_s});
    EXPECT_EQ(events->ready, 1);
    emit events->shutdownConfirmed(0);
    EXPECT_EQ(events->ready, 2);
    EXPECT_TRUE(harness.user.notices.empty());
}

TEST_F(PowerGuardTest, APausedRecordingIsStillProtectedAndStopsForTheSystem)
{
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_EQ(harness.deliver(59), 59);
    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Paused; }));
    EXPECT_EQ(keepAwakeCalls, std::vector{true});
    emit events->shutdownConfirmed(0);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return events->ready > 0; }));
    EXPECT_TRUE(isIdle());
    EXPECT_EQ(recordedFrames(u"run"_s), 60 * 4);
    EXPECT_EQ(keepAwakeCalls, (std::vector{true, false}));
}

TEST_F(PowerGuardTest, AnEventDuringAStopWaitsForThatStop)
{
    ASSERT_TRUE(harness.beginRecording());
    const LogCapture log;
    harness.session->stop(EndReason::DurationReached);
    emit events->shutdownConfirmed(0);
    EXPECT_EQ(events->ready, 0);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return events->ready > 0; }));
    EXPECT_TRUE(isIdle());
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::DurationReached) << "it ended for that before";
    EXPECT_TRUE(log.hasInOrder(forcedStopLines));
    EXPECT_TRUE(harness.user.notices.empty());
}

TEST_F(PowerGuardTest, AnEventBeforeTheRecordingLeavesNothingBehind)
{
    for (const int answerWithinMs : {0, 4000}) {
        ASSERT_TRUE(harness.select());
        QSignalSpy prepared(harness.session.get(), &SessionController::prepared);
        events->ready = 0;
        harness.session->record(harness.setup(u"early"_s));
        ASSERT_EQ(harness.session->state(), SessionState::Preparing);
        const LogCapture log;
        emit events->shutdownConfirmed(answerWithinMs);
        ASSERT_TRUE(SessionHarness::waitUntil([&] { return events->ready > 0; }));
        EXPECT_TRUE(log.hasInOrder(forcedStopLines));
        EXPECT_EQ(prepared.count(), 1);
        EXPECT_TRUE(harness.user.notices.empty());
        EXPECT_EQ(QDir(harness.folder.path()).entryList({u"early*"_s}, QDir::Files), QStringList());
    }
}

TEST_F(PowerGuardTest, AnEventThatComesOutOfTheStopsOwnNewsEndsItOnce)
{
    ASSERT_TRUE(harness.beginRecording());
    QSignalSpy ended(harness.session.get(), &SessionController::recordingEnded);
    QObject::connect(harness.session.get(), &SessionController::segmentEnded, guard.get(),
                     [this] { emit events->shutdownConfirmed(4000); });
    harness.session->stop(EndReason::UserStop);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return ended.count() > 0 && isIdle(); }));
    SessionHarness::settle();
    EXPECT_EQ(ended.count(), 1);
}

TEST(OpenRecordings, ARecordingThatWasNotClosedIsToldOnceAndARunningOneNever)
{
    const AppSettings::StoreThread storeHere = [](const std::function<void()>& change) { change(); };
    QTemporaryDir settings;
    AppSettings::useFiles(settings.filePath(u"current.ini"_s), settings.filePath(u"legacy.ini"_s));
    SessionHarness harness({.autoResume = true});
    harness.session->addCompanion(std::make_unique<OpenRecordings>(storeHere));
    ASSERT_TRUE(harness.beginRecording());
    const auto running = AppSettings::openRecordings();
    ASSERT_EQ(running.size(), 1U);

    // As after a kill: the note is there, the lock is not. And as after a folder was removed or disconnected.
    // One note is an earlier release's, one of a program whose process id is in use again: ours.
    const QString dead = running[0].writer.section(u'-', 0, 0) + u"-1-0"_s;
    const QString killed = harness.path(u"killed.binfb"_s);
    const QString gone = harness.path(u"gone/killed.binfb"_s);
    ASSERT_TRUE(QFile(killed).open(QIODevice::WriteOnly));
    AppSettings::noteOpenRecording({killed, dead});
    AppSettings::noteOpenRecording({gone, {}});
    std::vector<UnclosedRecordings::Found> told;
    {
        UnclosedRecordings unclosed(storeHere);
        unclosed.look([&](const UnclosedRecordings::Found& found) { told.push_back(found); });
        EXPECT_TRUE(told.empty()) << "the disk is not looked at here";
        ASSERT_TRUE(SessionHarness::waitUntil([&] { return !told.empty(); }));
    }
    EXPECT_EQ(told[0].unclosed, QStringList{killed}); // the running one's writer still holds its file
    EXPECT_EQ(told[0].missing, QStringList{gone});
    const QString message = UnclosedRecordings::message(told[0]);
    EXPECT_TRUE(message.section(u"\n\n"_s, 0, 0)
                    .endsWith(u"everything up to the last block that was written:\n"_s + killed));
    EXPECT_TRUE(message.section(u"\n\n"_s, 1).endsWith(u'\n' + gone));
    EXPECT_EQ(AppSettings::openRecordings(), running);

    // A pause closes the file, and another program that was started then said that it never was.
    harness.unit.unplug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.user.notices.contains(u"paused"_s); }, 100));
    EXPECT_FALSE(platform::isHeldByWriter(running[0].rawFile));
    EXPECT_TRUE(UnclosedRecordings::judge(AppSettings::openRecordings()).isEmpty());
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_TRUE(AppSettings::openRecordings().empty());
    AppSettings::useFiles({}, {});
}
