// SPDX-License-Identifier: GPL-3.0-or-later
// Setup files: a hand-written one read and written back, and broken ones, each with its message.
#include "session/SetupFile.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gtest/gtest.h>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#endif

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

constexpr int Channels = 3;

QByteArray golden()
{
    QFile file(QStringLiteral(VELLUMTIDE_TEST_DATA "/mice.vtconfig"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The hand-written file with one piece of its text replaced.
QByteArray spoiled(const QByteArray& piece, const QByteArray& by)
{
    QByteArray text = golden();
    const qsizetype at = text.indexOf(piece);
    EXPECT_GE(at, 0) << piece.constData();
    return text.replace(at, piece.size(), by);
}

QString errorOf(const QByteArray& json, int channels = Channels)
{
    const auto result = parseSetup(json, channels);
    const auto* error = std::get_if<SetupFileError>(&result);
    return error ? error->text : u"(accepted)"_s;
}

SetupFileContents contentsOf(const QByteArray& json)
{
    const auto result = parseSetup(json, Channels);
    const auto* contents = std::get_if<SetupFileContents>(&result);
    EXPECT_NE(contents, nullptr) << qPrintable(errorOf(json));
    return contents ? *contents : SetupFileContents{};
}

QByteArray saved(const SetupFileContents& contents)
{
    return formatSetup(contents, u"VellumtideQT5.1.2"_s,
                       QDateTime::fromString(u"2026-03-30T01:30:05+02:00"_s, Qt::ISODate));
}

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

void writeAll(const QString& path, const QByteArray& content)
{
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(content), content.size());
}

} // namespace

TEST(SetupFile, EveryValueOfAHandWrittenFileArrives)
{
    const SetupFileContents contents = contentsOf(golden());
    EXPECT_EQ(contents.channelCount, 3);
    EXPECT_EQ(contents.animalIds, (QStringList{u"M-101"_s, u"Müsli \"B\" \\ 2"_s, u"3"_s}));
    EXPECT_EQ(contents.lightOnset, QTime(6, 30, 15));
    EXPECT_EQ(contents.darkOnset, QTime(18, 30));
    EXPECT_EQ(contents.envSensorLabels,
              (QMap<QString, QString>{{u"0071"_s, u"rack A"_s}, {u"0072"_s, u"rack B"_s}}));
    EXPECT_EQ(contents.vexioProblem, QString());

    VexioSettings vexio;
    vexio.enabled = true;
    vexio.protocol = StimulationProtocol::OpenLoop;
    vexio.minIntervalMs = 90000;
    vexio.maxIntervalMs = 60000;
    vexio.randomInterval = true;
    vexio.sleepDurationSec = 5;
    vexio.activityThreshold = -0.25;
    vexio.cageEnableMask = 0xFFFF;
    vexio.extTriggerMask = 4;
    vexio.schedule = {{QTime(22, 0), QTime(6, 0), {true, false, false, false, false, false, true}}};
    vexio.cages = {{{0, 10, 20, 0, true, false, false},
                    {1, 11, 21, 1, false, true, false},
                    {2, 12, 22, 2, false, false, true},
                    {3, 13, 23},
                    {4, 14, 24},
                    {5, 15, 25},
                    {6, 16, 26},
                    {255, 254, 253}}};
    vexio.randomRange = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(contents.vexio, vexio);
    EXPECT_EQ(contents.dio, (DioSettings{true, false, 2.5, 7, {}}));
    EXPECT_EQ(contents.video, (VideoSettings{15,
                                             {{u"AC-CC-8E-00-12-FF"_s, 1, true, 1280, 720, 180},
                                              {u"AC-CC-8E-00-13-00"_s, 1, false, 640, 480, 0}}}));
}

TEST(SetupFile, WhatWasLoadedIsSavedByteForByteEvenWhatIsNotUnderstood)
{
    RecordingSetup setup;
    applySetup(contentsOf(golden()), setup);
    EXPECT_EQ(saved(setupContents(setup, Channels)), golden());
    EXPECT_EQ(saved(contentsOf("\xEF\xBB\xBF" + golden())), golden()) << "a byte order mark is no content";
}

TEST(SetupFile, ChangedValuesReplaceOldOnesAndUnknownKeysStayWithTheirEntries)
{
    RecordingSetup setup;
    applySetup(contentsOf(golden()), setup);
    setup.envSensorLabels.remove(u"0071"_s);
    setup.vexio->schedule.insert(setup.vexio->schedule.begin(), {QTime(1, 0), QTime(2, 0), {}});
    setup.vexio->cages[2].frequency = 99;
    std::swap(setup.video->cameras[0], setup.video->cameras[1]);
    const SetupFileContents again = contentsOf(saved(setupContents(setup, Channels)));
    EXPECT_EQ(again.envSensorLabels, setup.envSensorLabels);
    EXPECT_EQ(again.vexio, setup.vexio);
    EXPECT_EQ(again.video, setup.video);
    const QJsonObject vexio = again.original.value(u"vexio"_s).toObject();
    EXPECT_FALSE(vexio.value(u"schedule"_s)[0].toObject().contains(u"note"_s));
    EXPECT_EQ(vexio.value(u"schedule"_s)[1][u"note"_s], u"night"_s);
    EXPECT_EQ(vexio.value(u"cages"_s)[2][u"position"_s], u"left"_s);
    EXPECT_TRUE(again.original.value(u"video"_s)[u"cameras"_s][1].toObject().contains(u"lens"_s));
}

TEST(SetupFile, AnEmptySetupHasEveryKeyAndComesBackTheSame)
{
    const QByteArray json = saved(setupContents({}, Channels));
    const SetupFileContents contents = contentsOf(json);
    EXPECT_EQ(contents.animalIds, (QStringList{u"1"_s, u"2"_s, u"3"_s}));
    EXPECT_EQ(contents.vexio, VexioSettings{});
    EXPECT_EQ(contents.dio, DioSettings{});
    EXPECT_EQ(contents.video, VideoSettings{});
    EXPECT_EQ(contents.lightOnset, QTime(7, 0));
    EXPECT_EQ(contents.original.size(), 10);
}

TEST(SetupFile, WhatAFileDoesNotHoldChangesNothing)
{
    RecordingSetup setup;
    applySetup(contentsOf(golden()), setup);
    setup.channelCount = 2;
    setup.basePath = u"/data/a"_s;
    const RecordingSetup before = setup;
    applySetup(contentsOf(R"({"payloadType": "vtconfig_v1", "channelCount": 3})"), setup);
    EXPECT_EQ(setup.animalIds, before.animalIds);
    EXPECT_EQ(setup.lightOnset, before.lightOnset);
    EXPECT_EQ(setup.envSensorLabels, before.envSensorLabels);
    EXPECT_EQ(setup.vexio, before.vexio);
    EXPECT_EQ(setup.dio, before.dio);
    EXPECT_EQ(setup.video, before.video);
    EXPECT_EQ(setup.channelCount, 2);
    EXPECT_EQ(setup.basePath, u"/data/a"_s);
}

TEST(SetupFile, WhatIsNoSetupFileOfThisDeviceIsRefusedAsSuch)
{
    EXPECT_TRUE(errorOf("").startsWith(u"Not a valid config file: "_s));
    EXPECT_TRUE(errorOf(golden().chopped(3)).startsWith(u"Not a valid config file: "_s)) << "cut off";
    EXPECT_TRUE(errorOf("\xff\xfe{}").startsWith(u"Not a valid config file: "_s));
    EXPECT_TRUE(errorOf(R"({"channelCount": NaN})").startsWith(u"Not a valid config file: "_s));
    EXPECT_TRUE(errorOf(QByteArray(5'000'000, '[')).startsWith(u"Not a valid config file: "_s)) << "deep";
    EXPECT_TRUE(errorOf(QByteArray(10'000'000, '7')).startsWith(u"Not a "_s));
    const QString noSetup = u"Not a Vellumtide config file (unexpected format)."_s;
    EXPECT_EQ(errorOf(spoiled("\"payloadType\": \"vtconfig_v1\",", "")), noSetup);
    EXPECT_EQ(errorOf(spoiled("\"vtconfig_v1\"", "\"vtconfig_v2\"")), noSetup);
    EXPECT_EQ(errorOf(spoiled("\"vtconfig_v1\"", "1")), noSetup);
    EXPECT_EQ(errorOf("[{\"payloadType\": \"vtconfig_v1\"}]"), noSetup);
    EXPECT_EQ(errorOf(spoiled("\"channelCount\": 3", "\"channelCount\": 8"), 16),
              u"This config was saved for 8 channel(s); the selected DAQ has 16. Nothing was applied."_s);
    EXPECT_EQ(errorOf(spoiled("\"channelCount\": 3", "\"channelCount\": 17")),
              u"This config was saved for 17 channel(s); the selected DAQ has 3. Nothing was applied."_s);
}

struct Broken
{
    const char* piece;
    const char* by;
    const char* message;
};

TEST(SetupFile, AWrongMemberIsNamedAndNothingIsApplied)
{
    const Broken table[] = {
        {R"("channelCount": 3)", R"("channelCount": 8.5)",
         "channelCount must be a whole number from 0 to 2147483647, not 8.5."},
        {R"("channelCount": 3)", R"("channelCount": -3)",
         "channelCount must be a whole number from 0 to 2147483647, not -3."},
        {R"("channelCount": 3)", R"("channelCount": "3")",
         "channelCount must be a whole number from 0 to 2147483647, not \"3\"."},
        {R"("channelCount": 3,)", "", "channelCount is missing."},
        {R"("M-101",)", "", "animalIds must have one ID for each of 3 channel(s), not 2."},
        {R"("M-101")", R"("M-101", "M-102")", "animalIds must have one ID for each of 3 channel(s), not 4."},
        {R"("M-101")", "101", "animalIds[0] must be a text, not 101."},
        {R"("M-101")", R"("M\n101")",
         "animalIds[0] must be a text without control characters, not \"M\xEF\xBF\xBD"
         "101\"."},
        {R"("06:30:15")", R"("25:61:00")",
         "lightCycle.lightOnset must be a time of day as \"HH:mm:ss\", not \"25:61:00\"."},
        {R"("18:30:00")", R"("7:00")",
         "lightCycle.darkOnset must be a time of day as \"HH:mm:ss\", not \"7:00\"."},
        {R"("darkOnset")", R"("darkOnsett")", "lightCycle.darkOnset is missing."},
        {R"("rack B")", "null", "envSensorLabels.0072 must be a text, not null."},
        {R"("stimIntervalMin": 2.5)", R"("stimIntervalMin": 1e300)",
         "dio.stimIntervalMin must be a number from 0 to 35791, not 1e+300."},
        {R"("openLoop": false)", R"("openLoop": 0)", "dio.openLoop must be true or false, not 0."},
        {R"("schedule": [])", R"("schedule": {})", "dio.schedule must be a list, not an object."},
        {R"("schedule": [])", R"("schedule": [{"startTime": "22:00:00", "endTime": "24:00:00"}])",
         "dio.schedule[0].endTime must be a time of day as \"HH:mm:ss\", not \"24:00:00\"."},
        {R"("segmentMinutes": 15)", R"("segmentMinutes": 0)",
         "video.segmentMinutes must be a whole number from 1 to 1440, not 0."},
        {"AC-CC-8E-00-12-FF", "AC:CC:8E:00:12:FF",
         "video.cameras[0].mac must be a MAC address as \"00-1A-2B-3C-4D-5E\", not \"AC:CC:8E:00:12:FF\"."},
        {"AC-CC-8E-00-12-FF", "AC-CC-8E-00-13-00",
         "video.cameras[1].mac: AC-CC-8E-00-13-00 is listed twice."},
        {R"("enabled": false)", R"("enabled": true)",
         "video.cameras[1].channel: channel 1 has another enabled camera."},
        {R"("channel": 1)", R"("channel": 17)",
         "video.cameras[0].channel must be a whole number from 0 to 16, not 17."},
        {R"("rotation": 180)", R"("rotation": 45)",
         "video.cameras[0].rotation must be 0, 90, 180 or 270, not 45."},
    };
    for (const Broken& row : table)
        EXPECT_EQ(errorOf(spoiled(row.piece, row.by)), QString::fromUtf8(row.message));
}

TEST(SetupFile, AWrongStimulationUnitIsNamedAndTheRestHolds)
{
    const Broken table[] = {
        {R"("frequency": 3)", R"("frequency": -4)",
         "vexio.cages[3].frequency must be a whole number from 0 to 255, not -4."},
        {R"("frequency": 255)", R"("frequency": 256)",
         "vexio.cages[7].frequency must be a whole number from 0 to 255, not 256."},
        {R"("waveShape": 2)", R"("waveShape": 3)",
         "vexio.cages[2].waveShape must be a whole number from 0 to 2, not 3."},
        {R"("cageEnableMask": 65535)", R"("cageEnableMask": 65536)",
         "vexio.cageEnableMask must be a whole number from 0 to 65535, not 65536."},
        {R"("extTriggerMask": 4)", R"("extTriggerMask": -1)",
         "vexio.extTriggerMask must be a whole number from 0 to 65535, not -1."},
        {R"("minIntervalMs": 90000)", R"("minIntervalMs": 3000000000)",
         "vexio.minIntervalMs must be a whole number from 0 to 2147483647, not 3000000000."},
        {R"("protocol": "OpenLoop")", R"("protocol": "openloop")",
         "vexio.protocol must be \"SleepBased\", \"ActivityBased\", \"ManualTrigger\" or \"OpenLoop\", not "
         "\"openloop\"."},
        {R"("sunday": true)", R"("sonntag": true)", "vexio.schedule[0].days.sunday is missing."},
        {R"("cages": [)", R"("cages": [{},)", "vexio.cages must have 8 entries, not 9."},
        {R"("frequencyMin": 1)", R"("frequencyMin": 3)",
         "vexio.randomRange.frequencyMin must be at most vexio.randomRange.frequencyMax, which is 2, not 3."},
        {R"("activityThreshold": -0.25)", R"("activityThreshold": "high")",
         "vexio.activityThreshold must be a number, not \"high\"."},
    };
    for (const Broken& row : table) {
        const QByteArray json = spoiled(row.piece, row.by);
        const SetupFileContents contents = contentsOf(json);
        EXPECT_EQ(contents.vexioProblem,
                  u"VEXIO config could not be applied: "_s + QString::fromUtf8(row.message));
        EXPECT_FALSE(contents.vexio.has_value());
        EXPECT_EQ(contents.dio, (DioSettings{true, false, 2.5, 7, {}}));
        EXPECT_EQ(contents.animalIds.size(), 3);
        EXPECT_EQ(contentsOf(saved(contents)).vexioProblem, contents.vexioProblem)
            << "what could not be read is not replaced by defaults";
    }
    EXPECT_EQ(contentsOf(R"({"payloadType": "vtconfig_v1", "channelCount": 3, "vexio": 1})").vexioProblem,
              u"VEXIO config could not be applied: vexio must be an object, not 1."_s);
}

TEST(SetupFile, FilesThatCannotBeReadSayWhy)
{
    const QTemporaryDir folder;
    const auto readError = [](const QString& path) {
        const auto result = readSetupFile(path, Channels);
        const auto* error = std::get_if<SetupFileError>(&result);
        return error ? error->text : QString();
    };
    const QString missing = folder.filePath(u"none.vtconfig"_s);
    EXPECT_TRUE(readError(missing).startsWith(u"Could not open '%1': "_s.arg(missing)));
    EXPECT_GT(readError(missing).size(), u"Could not open '%1': "_s.arg(missing).size());
    EXPECT_EQ(readError(folder.path()), u"Could not open '%1': It is not a file."_s.arg(folder.path()));
    const QString large = folder.filePath(u"large.vtconfig"_s);
    QFile sparse(large);
    ASSERT_TRUE(sparse.open(QIODevice::WriteOnly) && sparse.resize(16 * 1024 * 1024 + 1));
    EXPECT_EQ(readError(large),
              u"Could not open '%1': It is larger than any setup file (16 MiB)."_s.arg(large));
    const QString good = folder.filePath(u"good.vtconfig"_s);
    writeAll(good, golden());
    EXPECT_EQ(readError(good), QString());
#ifdef Q_OS_UNIX
    const QString pipe = folder.filePath(u"pipe"_s);
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(readError(pipe), u"Could not open '%1': It is not a file."_s.arg(pipe)) << "and does not wait";
#endif
}

TEST(SetupFile, WritingReplacesTheFileAsAWholeOrLeavesIt)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.vtconfig"_s);
    EXPECT_EQ(writeSetupFile(path, "old"), QString());
    EXPECT_EQ(writeSetupFile(path, golden()), QString());
    EXPECT_EQ(readAll(path), golden());
    const QString nowhere = folder.filePath(u"no/a.vtconfig"_s);
    EXPECT_TRUE(writeSetupFile(nowhere, "x").startsWith(u"Could not open '%1' for writing: "_s.arg(nowhere)));
#ifdef Q_OS_UNIX
    // A disk that is full after 4 KiB.
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    const rlimit small{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    QStringList problems; // a text that goes through the file's buffer, and one that does not
    for (const int size : {8'000, 100'000})
        problems << writeSetupFile(path, QByteArray(size, 'x'));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    for (const QString& problem : problems)
        EXPECT_TRUE(problem.startsWith(u"Could not write '%1': "_s.arg(path))) << qPrintable(problem);
    EXPECT_EQ(readAll(path), golden());
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files).size(), 1) << "nothing is left lying around";
#endif
}

TEST(SetupFile, TheExtensionIsAppendedWhereItIsMissing)
{
    EXPECT_EQ(withSetupExtension(u"/a/b"_s), u"/a/b.vtconfig"_s);
    EXPECT_EQ(withSetupExtension(u"/a/b.vtconfig"_s), u"/a/b.vtconfig"_s);
    EXPECT_EQ(withSetupExtension(u"/a/b.VTCONFIG"_s), u"/a/b.VTCONFIG"_s);
    EXPECT_EQ(withSetupExtension(u"/a/b.json"_s), u"/a/b.json.vtconfig"_s);
}
