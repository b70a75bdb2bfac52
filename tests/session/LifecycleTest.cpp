// SPDX-License-Identifier: GPL-3.0-or-later
// A recording from prepare to stop on stepped time, with disconnects; the files are read back.
#include "LogCapture.h"
#include "SessionHarness.h"

#include "acquisition/AcquisitionFrame.h"
#include "recording/FeatureFileReader.h"
#include "recording/RawFileReader.h"
#include "recording/SegmentPaths.h"
#include "recording/TimeStampReader.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTime>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

struct SegmentContents
{
    FileHeader header;
    qint64 rawFrames = 0;
    qint64 featureEpochs = 0;
    qint64 activityEpochs = 0;
    qint64 breathEpochs = 0;
    std::vector<quint64> stamps;
};

SegmentContents readSegment(const QString& base, int animalType)
{
    const SegmentPaths paths = segmentPaths(base, animalType);
    SegmentContents contents;
    RawFileReader raw;
    EXPECT_TRUE(raw.open(paths.raw)) << qPrintable(raw.lastError());
    contents.header = raw.header();
    contents.rawFrames = raw.frameCount();
    const auto epochs = [](const QString& path, FeatureFileKind kind) {
        FeatureFileReader reader;
        EXPECT_TRUE(reader.open(path, kind)) << qPrintable(reader.lastError());
        EXPECT_EQ(reader.trailingBytes(), 0);
        return reader.epochCount();
    };
    contents.featureEpochs = epochs(paths.featureVector, FeatureFileKind::Vector);
    contents.activityEpochs = epochs(paths.activity, FeatureFileKind::Single);
    contents.breathEpochs = epochs(paths.breathRate, FeatureFileKind::Single);
    const auto stamps = readTimeStamps(paths.timeStamps);
    EXPECT_TRUE(stamps);
    if (stamps)
        for (const TimeStamp& stamp : stamps->stamps)
            contents.stamps.push_back(stamp.sampleCount);
    return contents;
}

} // namespace

TEST(Lifecycle, TenMinutesWithOneUnplugAreTwoCompleteSegments)
{
    SessionHarness harness({.channels = 2, .animalType = 2, .autoResume = true});
    ASSERT_TRUE(harness.beginRecording());
    EXPECT_EQ(harness.user.indicator, u"Vellumtide is recording"_s);
    constexpr int before = 5 * 60 * FramesPerSecond;
    ASSERT_EQ(harness.deliver(before - 1), before - 1); // one frame went in to see that the device is up

    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.user.notices.contains(u"paused"_s); }));
    EXPECT_EQ(harness.session->state(), SessionState::Paused);
    EXPECT_EQ(harness.user.notices[u"paused"_s].title, u"DAQ Disconnected"_s);
    EXPECT_EQ(harness.user.notices[u"paused"_s].buttonText, u"Stop Recording"_s);
    EXPECT_TRUE(harness.user.notices[u"paused"_s].text.startsWith(u"Recording paused at 10:04:59 AM.\n"_s))
        << "the last data, not what noticed its end 5 s later";
    harness.passTime(60000);
    EXPECT_EQ(harness.session->state(), SessionState::Paused);

    harness.unit.replug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Recording; }, 100));
    EXPECT_FALSE(harness.user.notices.contains(u"paused"_s));
    const QString resumed = harness.user.notices[u"resumed"_s].text;
    EXPECT_TRUE(resumed.endsWith(harness.path(u"run (1)"_s)));
    const auto told =
        QRegularExpression(u"paused at (.*) and resumed at (.*)\\.\nApproximate gap: (\\d+) sec"_s)
            .match(resumed);
    const auto clock = [&told](int which) {
        return QTime::fromString(told.captured(which), u"h:mm:ss AP"_s);
    };
    EXPECT_EQ(clock(1), QTime(10, 4, 59)) << qPrintable(resumed);
    EXPECT_NEAR(clock(1).secsTo(clock(2)), told.captured(3).toInt(), 1) << qPrintable(resumed);
    ASSERT_TRUE(harness.waitForDevice());
    constexpr int after = 5 * 60 * FramesPerSecond;
    ASSERT_EQ(harness.deliver(after - 1), after - 1);
    EXPECT_EQ(harness.session->addMarker(u"feeding, late"_s), 1);
    ASSERT_TRUE(harness.stopAndWaitIdle());

    for (const auto& [base, frames] :
         {std::pair{harness.path(u"run"_s), before}, std::pair{harness.path(u"run (1)"_s), after}}) {
        SCOPED_TRACE(qPrintable(base));
        const SegmentContents contents = readSegment(base, 2);
        EXPECT_EQ(contents.header.channelCount, 2);
        EXPECT_EQ(contents.rawFrames, qint64{frames} * DecimatedSamplesPerFrame);
        // The first 8 s of a segment fill the window: step 4 is the first to have features.
        EXPECT_EQ(contents.featureEpochs, frames / 60 - 3);
        EXPECT_EQ(contents.activityEpochs, frames / 60 - 3);
        EXPECT_EQ(contents.breathEpochs, frames / 60 - 3);
        ASSERT_EQ(contents.stamps.size(), 1U + static_cast<std::size_t>(frames - 1) / 60);
        EXPECT_EQ(contents.stamps.front(), 4U);
        EXPECT_EQ(contents.stamps.at(1), 244U);
    }
    QFile markers(harness.path(u"run_Marks.csv"_s));
    ASSERT_TRUE(markers.open(QIODevice::ReadOnly));
    const QList<QByteArray> rows = markers.readAll().split('\n');
    EXPECT_EQ(rows.at(0), "Event,Segment,DateTime,Label");
    EXPECT_TRUE(rows.at(1).startsWith("1,1,2026-03-02 10:1")) << rows.at(1).constData();
    EXPECT_TRUE(rows.at(1).endsWith(",\"feeding, late\"")) << rows.at(1).constData();
    EXPECT_EQ(harness.unit.openTaskCount(), 3 * 2 + 1 + 2)
        << "only the three buses, the cage light and two interrupt lines stay open";
    EXPECT_EQ(harness.unit.deadHandleCalls(), 0);
    EXPECT_TRUE(harness.session->lastSummary().contains(u"Lost: nothing"_s))
        << qPrintable(harness.session->lastSummary());
}

TEST(Lifecycle, WithoutOptInASilentDeviceEndsTheRecording)
{
    SessionHarness harness;
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(99);
    harness.unit.stallCallbacks(true);
    harness.passTime(4900);
    EXPECT_EQ(harness.session->state(), SessionState::Recording);
    harness.passTime(300);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Idle; }));
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::DeviceLost);
    EXPECT_EQ(harness.user.lastText(u"DAQ Disconnected"_s),
              u"The DAQ device stopped responding at approximately 10:00:03 AM.\n\nData acquisition has been "
              u"stopped "
              "and files have been closed."_s);
    EXPECT_EQ(readSegment(harness.path(u"run"_s), 1).rawFrames, 400);
    EXPECT_TRUE(QFile::exists(harness.path(u"run.binfb"_s)));
}

// When the log has reached its limit, it takes nothing below a warning: what interrupted a recording, what it
// went on with and what ended it were missing from the longest ones.
TEST(Lifecycle, InterruptionsResumesAndForcedStopsAreInALogThatTakesOnlyWarnings)
{
    const LogCapture log;
    SessionHarness harness({.autoResume = true});
    ASSERT_TRUE(harness.beginRecording());
    harness.unit.unplug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.user.notices.contains(u"paused"_s); }, 100));
    harness.unit.replug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Recording; }, 100));
    harness.session->forcedGracefulStop(10000);
    const QString banner(60, u'=');
    const QStringList wanted{banner,
                             u"DAQ WATCHDOG TIMEOUT - DEVICE STOPPED RESPONDING"_s,
                             u"Auto-resume enabled — entering pause state"_s,
                             banner,
                             u"DAQ disconnect detected — entering auto-resume PAUSE state"_s,
                             u"Reconnect poll: DAQ has re-enumerated — attempting resume"_s,
                             u"attemptResume: starting recovery + new segment"_s,
                             u"attemptResume: success — segment base now "_s + harness.path(u"run (1)"_s),
                             banner,
                             u"FORCED GRACEFUL STOP INITIATED"_s,
                             u"System shutdown/sleep/hibernate event detected"_s,
                             u"Stopping DAQ acquisition and flushing all data..."_s,
                             u"Forced graceful stop completed - application ready for system event"_s};
    EXPECT_TRUE(LogCapture::areInOrder(wanted, log.warnings())) << qPrintable(log.warnings().join(u'\n'));
}

TEST(Lifecycle, StopWhilePausedEndsWithoutANewSegment)
{
    SessionHarness harness({.autoResume = true});
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(59);
    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.user.notices.contains(u"paused"_s); }));
    harness.user.notices[u"paused"_s].pressed();
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Idle; }));
    EXPECT_EQ(QDir(harness.folder.path()).entryList({u"run (*"_s}).size(), 0);
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::UserStop);
    EXPECT_TRUE(harness.user.notices.empty());
}

// A unit that answered after its replug but acquired nothing opened a new segment every few seconds, until
// all 99 names were used up and the last one was overwritten again and again.
TEST(Lifecycle, AResumeWithoutDataKeepsItsSegmentNumber)
{
    SessionHarness harness({.autoResume = true});
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(59);
    harness.unit.unplug();
    harness.unit.stallCallbacks(true);
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(harness.passUntil([&] { return harness.user.notices.contains(u"paused"_s); }, 100));
        harness.unit.replug();
        ASSERT_TRUE(
            harness.passUntil([&] { return harness.session->state() == SessionState::Recording; }, 100));
    }
    EXPECT_EQ(harness.session->status().segment, 1);
    EXPECT_EQ(QDir(harness.folder.path()).entryList({u"run (*.binfb"_s}), QStringList{u"run (1).binfb"_s});
    harness.unit.stallCallbacks(false);
    ASSERT_TRUE(harness.waitForDevice());
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(readSegment(harness.path(u"run (1)"_s), 1).rawFrames, 4);
}

TEST(Lifecycle, AFolderThatIsGoneWhenTheUnitComesBackIsToldOnce)
{
    SessionHarness harness({.autoResume = true});
    const QString folder = harness.path(u"share"_s);
    ASSERT_TRUE(QDir().mkdir(folder));
    ASSERT_TRUE(harness.select());
    harness.session->record(harness.setup(u"share/run"_s));
    ASSERT_TRUE(harness.waitForDevice());
    harness.deliver(59);
    harness.unit.unplug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.user.notices.contains(u"paused"_s); }, 100));
    ASSERT_TRUE(QDir().rename(folder, harness.path(u"elsewhere"_s)));
    harness.unit.replug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.user.notices.contains(u"resumeProblem"_s); }, 100));
    EXPECT_TRUE(harness.user.notices[u"resumeProblem"_s].text.contains(u"share/run (1).binfb"_s));
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Resuming; }, 100));
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Paused; }, 100));
    EXPECT_EQ(harness.user.shown.count(u"resumeProblem"_s), 1);
    ASSERT_TRUE(QDir().rename(harness.path(u"elsewhere"_s), folder));
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Recording; }, 100));
    EXPECT_FALSE(harness.user.notices.contains(u"resumeProblem"_s));
    ASSERT_TRUE(harness.waitForDevice());
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

// Raw files that were moved away leave their numbers free, but not their other files to be emptied.
TEST(Lifecycle, AResumeTakesNoNumberWhoseFilesHoldSomething)
{
    SessionHarness harness({.autoResume = true});
    const QStringList earlier{harness.path(u"run (1)_at.Featfb"_s), harness.path(u"run (2)_daq.Tstamp"_s)};
    for (const QString& path : earlier) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("earlier");
    }
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(59);
    harness.unit.unplug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.user.notices.contains(u"paused"_s); }, 100));
    harness.unit.replug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Recording; }, 100));
    ASSERT_TRUE(harness.waitForDevice());
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(readSegment(harness.path(u"run (3)"_s), 1).rawFrames, 4);
    for (const QString& path : earlier) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), "earlier") << qPrintable(path);
    }
    EXPECT_EQ(QDir(harness.folder.path()).entryList({u"run (1)*"_s, u"run (2)*"_s}).size(), 2);
}

TEST(Lifecycle, AnotherUnitUnderTheSameNameIsNotContinuedOn)
{
    SessionHarness harness({.autoResume = true});
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(59);
    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.user.notices.contains(u"paused"_s); }));
    harness.unit.replugAs(777);
    harness.passTime(20000);
    EXPECT_EQ(harness.session->state(), SessionState::Paused);
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST(Lifecycle, DurationEndsARecordingAtExactlyThatManyFrames)
{
    SessionHarness harness({.channels = 1});
    ASSERT_TRUE(harness.select());
    RecordingSetup setup = harness.setup();
    setup.frameLimit = 300;
    harness.session->record(setup);
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    ASSERT_TRUE(harness.waitForDevice());
    harness.deliver(400);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Idle; }));
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::DurationReached);
    EXPECT_EQ(readSegment(harness.path(u"run"_s), 1).rawFrames, 1200);
    EXPECT_EQ(harness.session->status().channels.at(0).steps, 300 / 60 - 3);
}

TEST(Lifecycle, StopAsksFirstAndASecondRecordingFollowsTheFirst)
{
    SessionHarness harness;
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(30);
    harness.user.answer = 1;
    harness.session->requestStop();
    ASSERT_EQ(harness.user.questions.size(), 1U);
    EXPECT_EQ(harness.user.questions[0].text, u"Are you sure you want to stop recording?"_s);
    EXPECT_EQ(harness.user.questions[0].buttons.at(harness.user.questions[0].defaultButton), u"&Yes"_s);
    EXPECT_EQ(harness.session->state(), SessionState::Recording);
    harness.user.answer = 0;
    harness.session->requestStop();
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Idle; }));

    harness.session->record(harness.setup(u"second.bin"_s));
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    ASSERT_TRUE(harness.waitForDevice());
    harness.deliver(29);
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(readSegment(harness.path(u"run"_s), 1).rawFrames, 31 * 4);
    EXPECT_EQ(readSegment(harness.path(u"second"_s), 1).rawFrames, 30 * 4);
}

TEST(Lifecycle, AUnitThatDoesNotAnswerCannotBePrepared)
{
    SessionHarness harness;
    ASSERT_TRUE(harness.select());
    harness.unit.setBusNak(true);
    QSignalSpy prepared(harness.session.get(), &SessionController::prepared);
    harness.session->prepare(harness.setup());
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return !prepared.isEmpty(); }));
    EXPECT_FALSE(prepared.at(0).at(0).toBool());
    EXPECT_EQ(harness.session->state(), SessionState::Idle);
    EXPECT_TRUE(QDir(harness.folder.path()).isEmpty());

    // It answers while preparing but no longer at the start; recovery does not help either.
    harness.unit.setBusNak(false);
    harness.session->prepare(harness.setup());
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Prepared; }));
    harness.unit.setBusNak(true);
    harness.session->start();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Idle; }, 200));
    EXPECT_EQ(
        harness.user.lastText(u"DAQ Communication Failed"_s),
        u"DAQ not responding.\nMake sure the DAQ is connected and powered, then re-select it from the device "
        "list."_s);
    EXPECT_TRUE(QDir(harness.folder.path()).isEmpty()) << "unused files are removed again";

    harness.unit.setBusNak(false);
    ASSERT_TRUE(harness.beginRecording()) << "a later try works";
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST(Lifecycle, DestroyingTheControllerClosesARunningRecording)
{
    SessionHarness harness;
    ASSERT_TRUE(harness.beginRecording());
    harness.deliver(89);
    harness.session.reset();
    EXPECT_EQ(readSegment(harness.path(u"run"_s), 1).rawFrames, 90 * 4);
    EXPECT_EQ(harness.unit.openTaskCount(), 0);
    EXPECT_EQ(harness.unit.deadHandleCalls(), 0);
}
