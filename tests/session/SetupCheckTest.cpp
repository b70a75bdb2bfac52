// SPDX-License-Identifier: GPL-3.0-or-later
// Bad input: each case gets one clear message and touches no file.
#include "SessionHarness.h"

#include "recording/MarkerFile.h"
#include "recording/RawFileReader.h"
#include "recording/RecordedFiles.h"
#include "session/RecordingSummary.h"
#include "session/SetupCheck.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <deque>
#include <gtest/gtest.h>
#include <tuple>
#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

struct BadSetup
{
    const char* name;
    std::function<void(SessionHarness&, RecordingSetup&)> spoil;
    const char* messagePart;
};

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(content), content.size());
}

const BadSetup badSetups[] = {
    {"no path", [](SessionHarness&, RecordingSetup& setup) { setup.basePath.clear(); },
     "Choose where to save"},
    {"no channel", [](SessionHarness&, RecordingSetup& setup) { setup.channelCount = 0; }, "0 channels"},
    {"17 channels", [](SessionHarness&, RecordingSetup& setup) { setup.channelCount = 17; }, "17 channels"},
    {"more than the unit has", [](SessionHarness&, RecordingSetup& setup) { setup.channelCount = 3; },
     "Dev1 offers 2"},
    {"too many animal IDs",
     [](SessionHarness&, RecordingSetup& setup) {
         setup.animalIds = {u"a"_s, u"b"_s, u"c"_s};
     },
     "3 animal IDs"},
    {"a folder",
     [](SessionHarness& harness, RecordingSetup& setup) { setup.basePath = harness.folder.path(); },
     "is a folder"},
    {"no such folder",
     [](SessionHarness& harness, RecordingSetup& setup) { setup.basePath = harness.path(u"none/run"_s); },
     "does not exist"},
    {"a file as folder",
     [](SessionHarness& harness, RecordingSetup& setup) {
         writeFile(harness.path(u"plain"_s), "x");
         setup.basePath = harness.path(u"plain/run"_s);
     },
     "is not a folder"},
    {"path of 5000 characters",
     [](SessionHarness& harness, RecordingSetup& setup) {
         setup.basePath = harness.path(QString(5000, u'x'));
     },
     "too long"},
    {"name of 250 bytes",
     [](SessionHarness& harness, RecordingSetup& setup) {
         setup.basePath = harness.path(QString(125, u'ä'));
     },
     "too long"},
    {"a recording that the user was not asked about",
     [](SessionHarness&, RecordingSetup& setup) { setup.replaceable = QString(); }, "holds a recording"},
    {"the other animals' recording",
     [](SessionHarness& harness, RecordingSetup& setup) {
         writeFile(harness.path(u"run.bin"_s), "a recording of rats");
         setup.replaceable = harness.path(u"run.binfb"_s);
     },
     "run.bin' holds a recording"},
    {"read-only file",
     [](SessionHarness& harness, RecordingSetup&) {
         writeFile(harness.path(u"run.FeatVecfb"_s), "old");
         QFile::setPermissions(harness.path(u"run.FeatVecfb"_s), QFileDevice::ReadOwner);
     },
     "read-only"},
    {"a folder in a file's place",
     [](SessionHarness& harness, RecordingSetup&) { QDir(harness.folder.path()).mkdir(u"run_at.Featfb"_s); },
     "not a file"},
};

} // namespace

TEST(SetupCheck, BadInputGetsOneMessageAndTouchesNothing)
{
    for (const BadSetup& bad : badSetups) {
        SCOPED_TRACE(bad.name);
        SessionHarness harness;
        ASSERT_TRUE(harness.select());
        writeFile(harness.path(u"run.binfb"_s), "an older recording");
        RecordingSetup setup = harness.setup();
        bad.spoil(harness, setup);
        const QStringList before = QDir(harness.folder.path()).entryList();
        harness.session->record(setup);
        ASSERT_TRUE(SessionHarness::waitUntil(
            [&] { return harness.session->lastEndReason() == EndReason::CouldNotStart; }));
        EXPECT_EQ(harness.session->state(), SessionState::Idle);
        ASSERT_EQ(harness.user.messages.size(), 1U);
        EXPECT_TRUE(harness.user.messages[0].text.contains(QLatin1String(bad.messagePart)))
            << qPrintable(harness.user.messages[0].text);
        EXPECT_EQ(QDir(harness.folder.path()).entryList(), before);
        EXPECT_EQ(contentOf(harness.path(u"run.binfb"_s)), "an older recording");
    }
}

TEST(SetupCheck, ARecordingIsReplacedWhereTheUserAgreedOrNothingIsInIt)
{
    SessionHarness harness;
    ASSERT_TRUE(harness.select());
    RecordingSetup setup = harness.setup();
    const QString raw = harness.path(u"run.binfb"_s);
    writeFile(raw, {});
    for (const QString& agreed : {QString(), raw}) {
        setup.replaceable = agreed;
        harness.session->record(setup);
        ASSERT_TRUE(SessionHarness::waitUntil([&] {
            return harness.session->state() == SessionState::Recording;
        })) << qPrintable(agreed);
        ASSERT_TRUE(harness.waitForDevice());
        EXPECT_EQ(harness.deliver(4), 4);
        ASSERT_TRUE(harness.stopAndWaitIdle());
    }
}

// Raw files are moved away once they have been converted; what is left of the recording is not free for that.
TEST(SetupCheck, WhatIsLeftOfAnEarlierRecordingIsNotReplacedUnasked)
{
    for (const auto& [name, content, isRecording, isOfMice] :
         {std::tuple{u".FeatVecfb"_s, QByteArray("values"), true, true},
          std::tuple{u"_at.Featfb"_s, QByteArray("values"), true, true},
          std::tuple{u"_br.Featfb"_s, QByteArray("values"), true, true},
          std::tuple{u"_br.Feat"_s, QByteArray("values"), true, false},
          std::tuple{u"_daq.Tstamp"_s, QByteArray("0.033,4\n"), true, true},
          std::tuple{u"_Marks.csv"_s, MarkerFile::headerLine() + "1,0,", true, true},
          std::tuple{u"_Marks.csv"_s, MarkerFile::headerLine(), false, true},
          std::tuple{u"_at.Featfb"_s, QByteArray(), false, true}}) {
        const QTemporaryDir folder;
        const QString base = folder.filePath(u"run"_s);
        EXPECT_FALSE(holdsRecording(base));
        writeFile(base + name, content);
        EXPECT_EQ(holdsRecording(base), isRecording) << qPrintable(name);
        EXPECT_EQ(checkReplaced(base, QString()).contains(base + name), isRecording) << qPrintable(name);
        EXPECT_EQ(checkReplaced(base, base + u".binfb"_s).isEmpty(), isOfMice)
            << "agreed: " << qPrintable(name);
    }
}

TEST(SetupCheck, AMarkerOrSummaryFileThatCannotBeWrittenDoesNotKeepFromRecording)
{
    const std::function<void(const QString&)> obstacles[] = {
        [](const QString& path) { QDir().mkdir(path); },
#ifdef Q_OS_UNIX
        [](const QString& path) { ASSERT_EQ(::mkfifo(QFile::encodeName(path).constData(), 0600), 0); },
#endif
        [](const QString& path) {
            writeFile(path, MarkerFile::headerLine());
            QFile::setPermissions(path, QFileDevice::ReadOwner);
        },
        [](const QString& path) {
            static std::deque<DataFile> holders;
            ASSERT_EQ(holders.emplace_back().openForWriting(path), FileUtils::OpenResult::Opened);
        }};
    for (const auto& obstruct : obstacles) {
        SessionHarness harness;
        for (const QString& name : {u"run_Marks.csv"_s, u"run_cnfg.csv"_s})
            obstruct(harness.path(name));
        ASSERT_TRUE(harness.beginRecording());
        EXPECT_EQ(harness.user.lastText(u"Markers"_s),
                  u"Could not open the marker file — marker button presses will not be recorded for this "
                  u"session."_s);
        EXPECT_EQ(harness.session->addMarker(u"press"_s), -1);
        EXPECT_EQ(harness.deliver(3), 3);
        ASSERT_TRUE(harness.stopAndWaitIdle());
        EXPECT_EQ(harness.session->lastReport().gaps, QStringList{u"Lost: the configuration summary"_s});
    }
}

TEST(SetupCheck, AFileThatARunningRecordingWritesIsRefusedUntouched)
{
    SessionHarness first;
    ASSERT_TRUE(first.beginRecording());
    first.deliver(29);
    SessionHarness second;
    ASSERT_TRUE(second.select());
    RecordingSetup setup = second.setup();
    setup.basePath = first.path(u"run"_s);
    second.session->record(setup);
    ASSERT_TRUE(SessionHarness::waitUntil(
        [&] { return second.session->lastEndReason() == EndReason::CouldNotStart; }));
    EXPECT_TRUE(second.user.messages.at(0).text.contains(u"File is in use by another application"_s));
    ASSERT_TRUE(first.stopAndWaitIdle());
    RawFileReader raw;
    ASSERT_TRUE(raw.open(first.path(u"run.binfb"_s)));
    EXPECT_EQ(raw.frameCount(), 30 * 4);
}

TEST(SetupCheck, NamesComeBackUnchangedFromTheHeader)
{
    const QStringList ids{u"M \"7\"\nline two"_s, u"Мышь №3, ネズミ 🐭"_s};
    const QString name = u"cage 'A' \"день\" é"_s;
    SessionHarness harness;
    ASSERT_TRUE(harness.select());
    RecordingSetup setup = harness.setup(name);
    setup.animalIds = ids;
    harness.session->record(setup);
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    RawFileReader raw;
    ASSERT_TRUE(raw.open(harness.path(name + u".binfb"_s)));
    EXPECT_EQ(raw.header().channelLabels, ids);
    EXPECT_TRUE(contentOf(harness.path(name + u"_cnfg.csv"_s)).contains("\"M \"\"7\"\" line two\""));
}
