// SPDX-License-Identifier: GPL-3.0-or-later
// The real ffmpeg, recording from a real RTSP server on loopback.
#include "LogCapture.h"
#include "ScriptedFfmpeg.h"
#include "camera/AxisRecordingManager.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <gmock/gmock.h>
#include <unistd.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

const QString Mac = u"AC-CC-8E-00-00-01"_s;
const QString Password = u"pass word@1"_s; // needs encoding

bool isAlive(qint64 id)
{
    // What has ended and is not reaped yet has no command line.
    QFile commandLine(u"/proc/%1/cmdline"_s.arg(id));
    return commandLine.open(QIODevice::ReadOnly) && !commandLine.readAll().isEmpty();
}

/// Seconds of film in a file; negative when it cannot be played.
double playableSeconds(const QString& file)
{
    QProcess decode; // every frame, not only the index
    decode.start(u"ffprobe"_s, {u"-v"_s, u"error"_s, u"-count_frames"_s, u"-show_entries"_s,
                                u"stream=codec_name,nb_read_frames:format=duration"_s, u"-of"_s,
                                u"default=nw=1:nk=1"_s, file});
    if (!decode.waitForFinished(60000) || decode.exitCode() != 0)
        return -1;
    const QList<QByteArray> answer = decode.readAllStandardOutput().trimmed().split('\n');
    if (answer.size() != 3 || answer[0] != "h264" || answer[1].toInt() <= 0)
        return -1;
    return answer[2].toDouble();
}

class FfmpegRecording : public testing::Test
{
protected:
    void SetUp() override
    {
        server.start(u"/usr/bin/python3"_s, {QStringLiteral(VELLUMTIDE_RTSP_SERVER), u"root"_s, Password});
        ASSERT_TRUE(waitFor([&] { return server.canReadLine(); }))
            << server.readAllStandardError().toStdString();
        const QByteArray port = server.readLine().trimmed();
        // The stream's address has the standard port, which needs rights; this stands in front of ffmpeg.
        QFile script(wrapper());
        ASSERT_TRUE(script.open(QIODevice::WriteOnly));
        script.write("#!/bin/bash\nexec ffmpeg \"${@/@127.0.0.1\\//@127.0.0.1:" + port + "/}\"\n");
        script.close();
        script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }
    void TearDown() override
    {
        server.kill();
        server.waitForFinished(5000);
    }
    [[nodiscard]] static bool waitFor(const std::function<bool()>& condition, int limitMs = 60000)
    {
        return QTest::qWaitFor(condition, limitMs);
    }
    [[nodiscard]] QString wrapper() const { return folder.filePath(u"ffmpeg"_s); }
    [[nodiscard]] CameraStream stream() const
    {
        CameraStream camera;
        camera.mac = Mac;
        camera.address = QHostAddress(u"127.0.0.1"_s);
        camera.user = u"root"_s;
        camera.password = Password;
        camera.baseDirectory = folder.filePath(u"A % study"_s);
        camera.channel = 1;
        camera.segmentMinutes = 1;
        return camera;
    }
    [[nodiscard]] QStringList films(QString directory = {}) const
    {
        QStringList paths;
        if (directory.isEmpty())
            directory = folder.filePath(u"A % study/CAM_1"_s);
        for (const QString& name : QDir(directory).entryList({u"*.mp4"_s}, QDir::Files, QDir::Name))
            paths << directory + u'/' + name;
        return paths;
    }
    [[nodiscard]] QStringList table() const
    {
        QFile file(folder.filePath(u"A % study/CAM_1/segments.csv"_s));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).trimmed().split(u'\n');
    }
    /// Starts the recorder program; returns the id of its ffmpeg.
    [[nodiscard]] qint64 startProgram(QProcess& program, const QString& ffmpeg)
    {
        program.start(QStringLiteral(VELLUMTIDE_RECORDER_PROGRAM),
                      {ffmpeg, folder.filePath(u"P"_s), Password});
        if (!waitFor([&] { return program.canReadLine(); }))
            return 0;
        return program.readLine().trimmed().mid(10).toLongLong();
    }

    QTemporaryDir folder;
    QProcess server;
    SystemTimeSource time;
};

} // namespace

TEST_F(FfmpegRecording, SixtyFiveSecondsGiveTwoFilms)
{
    const QDateTime begin = QDateTime::currentDateTime();
    AxisRecordingManager manager(time, {wrapper(), u"ffprobe"_s});
    QSignalSpy errors(&manager, &CameraRecorder::recordingError);
    manager.startCamera(stream());
    ASSERT_TRUE(waitFor([&] { return manager.isRecording(Mac); }));
    ASSERT_TRUE(waitFor([&] { return films().size() == 2; }, 120000));
    ASSERT_FALSE(waitFor([&] { return films().size() > 2; }, 5000));
    bool done = false;
    manager.stopAll([&] { done = true; });
    ASSERT_TRUE(waitFor([&] { return done; }));
    EXPECT_EQ(errors.count(), 0);

    const QStringList paths = films();
    ASSERT_EQ(paths.size(), 2);
    for (const QString& path : paths) {
        const QString name = path.section(u'/', -1);
        const QDateTime named = QDateTime::fromString(name, u"'1_'yyyy-MM-dd_HH-mm-ss'.mp4'"_s);
        EXPECT_TRUE(named >= begin.addSecs(-1) && named <= QDateTime::currentDateTime()) << qPrintable(name);
    }
    EXPECT_NEAR(playableSeconds(paths[0]), 60, 1.5);
    EXPECT_GT(playableSeconds(paths[1]), 3);
    ASSERT_EQ(table().size(), 3) << qPrintable(table().join(u'\n'));
    for (int row = 0; row < 2; ++row) {
        const QStringList cells = table().at(row + 1).split(u',');
        EXPECT_EQ(cells[0], paths[row].section(u'/', -1));
        EXPECT_NEAR(cells[2].toDouble(), playableSeconds(paths[row]), 0.01);
        EXPECT_EQ(cells[3], u"yes");
    }
}

TEST_F(FfmpegRecording, WhatIsKilledFromOutsideIsFollowedByANewOne)
{
    test::LogCapture log;
    AxisRecordingManager manager(time, {wrapper(), u"ffprobe"_s});
    manager.startCamera(stream());
    ASSERT_TRUE(waitFor([&] { return manager.isRecording(Mac); }));
    const qint64 first = manager.processId(Mac);
    const qint64 killedMs = time.monotonicMs();
    ASSERT_EQ(::kill(static_cast<pid_t>(first), SIGKILL), 0);
    ASSERT_TRUE(waitFor([&] { return manager.processId(Mac) != first && manager.processId(Mac) != 0; }));
    EXPECT_GE(time.monotonicMs() - killedMs, 2000);
    ASSERT_TRUE(waitFor([&] { return manager.isRecording(Mac); }));
    ASSERT_TRUE(waitFor([&] { return films().size() == 2; }));
    bool done = false;
    manager.stopAll([&] { done = true; });
    ASSERT_TRUE(waitFor([&] { return done; }));
    // The first has lost its index with its process; it is listed, told, and kept.
    ASSERT_EQ(table().size(), 3) << qPrintable(table().join(u'\n'));
    EXPECT_TRUE(table().at(1).endsWith(u",unknown,no"_s));
    EXPECT_TRUE(table().at(2).endsWith(u",yes"_s));
    EXPECT_TRUE(log.hasPart(u"cannot be read"_s));
    for (const QString& line : log.lines())
        EXPECT_FALSE(line.contains(u"pass word"_s) || line.contains(u"pass%20word"_s)) << qPrintable(line);
}

TEST_F(FfmpegRecording, AKilledProgramLeavesNoFfmpegAndAFilmThatCanBePlayed)
{
    QProcess program;
    const qint64 id = startProgram(program, wrapper());
    ASSERT_GT(id, 0) << program.readAllStandardError().toStdString();
    ASSERT_TRUE(waitFor([&] { return !films(folder.filePath(u"P/CAM_1"_s)).isEmpty(); }));
    EXPECT_NE(getpgid(static_cast<pid_t>(id)), getpgid(static_cast<pid_t>(program.processId())))
        << "Ctrl+C would reach it beside the program";
    program.kill();
    ASSERT_TRUE(program.waitForFinished(10000));
    EXPECT_TRUE(waitFor([&] { return !isAlive(id); }));
    EXPECT_GT(playableSeconds(films(folder.filePath(u"P/CAM_1"_s)).first()), 0);

    // One that does not listen is killed a little later.
    const test::ScriptedFfmpeg deaf(test::ScriptedFfmpeg::IgnoreQuit);
    const qint64 deafId = startProgram(program, deaf.program());
    ASSERT_GT(deafId, 0);
    program.kill();
    ASSERT_TRUE(program.waitForFinished(10000));
    EXPECT_TRUE(isAlive(deafId));
    EXPECT_TRUE(waitFor([&] { return !isAlive(deafId); }));
}

// Without an event loop: the destructor waits for all of them at once, on the real clock.
TEST(RecordingDestructor, KillsTogetherWhatIgnoresQuit)
{
    const test::ScriptedFfmpeg deaf(test::ScriptedFfmpeg::IgnoreQuit);
    const QTemporaryDir folder;
    SystemTimeSource time;
    auto manager =
        std::make_unique<AxisRecordingManager>(time, RecordingPrograms{deaf.program(), u"ffprobe"_s});
    std::vector<qint64> ids;
    for (int channel = 1; channel <= 3; ++channel) {
        CameraStream camera;
        camera.mac = u"AC-CC-8E-00-00-0%1"_s.arg(channel);
        camera.address = QHostAddress(u"127.0.0.1"_s);
        camera.baseDirectory = folder.path();
        camera.channel = channel;
        manager->startCamera(camera);
        ASSERT_TRUE(QTest::qWaitFor([&] { return manager->isRecording(camera.mac); }, 30000));
        ids.push_back(manager->processId(camera.mac));
    }
    bool done = false;
    manager->stopAll([&] { done = true; });
    const qint64 beginMs = time.monotonicMs();
    manager.reset();
    EXPECT_TRUE(done);
    EXPECT_GE(time.monotonicMs() - beginMs, 9900);
    EXPECT_LT(time.monotonicMs() - beginMs, 19000) << "one after the other would take 30 s";
    for (const qint64 id : ids)
        EXPECT_FALSE(isAlive(id));
}
