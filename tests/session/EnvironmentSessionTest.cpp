// SPDX-License-Identifier: GPL-3.0-or-later
// Simulated sensors beside recordings of the simulated unit: real ports, threads and files, stepped time.
#include "session/EnvironmentSession.h"
#include "EnvSensHarness.h"
#include "LogCapture.h"
#include "SessionHarness.h"
#include "daqmx/KeepAlive.h"
#include "session/AppSettings.h"
#include "session/SessionExtensions.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <utility>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

constexpr double SentLux = 250.0;

qsizetype entries(const char* folder)
{
    return QDir(QString::fromLatin1(folder))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

struct EnvFile
{
    QList<QStringList> labels;  ///< of each header
    QList<QList<double>> light; ///< of each record, a value per sensor
    bool isWhole = false;       ///< nothing is left over
};

QString readText(QDataStream& in)
{
    qint32 length = 0;
    in >> length;
    QByteArray bytes(std::max(length, 0), '\0');
    in.readRawData(bytes.data(), static_cast<int>(bytes.size()));
    return QString::fromUtf8(bytes);
}

QStringList readHeader(QDataStream& in, qint32 count)
{
    for (int skipped = 0; skipped < 7; ++skipped) {
        qint32 number = 0;
        in >> number;
    }
    readText(in); // the program
    QStringList labels;
    for (int i = 0; i < count; ++i)
        labels << readText(in);
    for (int i = 0; i < count; ++i)
        readText(in); // serial numbers
    qint32 columns = 0;
    in >> columns;
    in.skipRawData(columns);
    return labels;
}

/// As docs/file-formats.md has it. A record that is all "no data" ends a section.
EnvFile readEnvFile(const QString& path)
{
    EnvFile found;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return found;
    QDataStream in(&file);
    while (!in.atEnd()) {
        qint32 headerLength = 0;
        qint32 count = 0;
        in >> headerLength >> count;
        found.labels << readHeader(in, count);
        for (bool isSection = true; isSection && !in.atEnd();) {
            QList<double> light;
            isSection = false;
            for (int sensor = 0; sensor < count; ++sensor) {
                std::array<double, 5> values{};
                for (double& value : values)
                    in >> value;
                light << values[1];
                isSection = isSection || values[0] != EnvSample::NoData;
            }
            if (isSection)
                found.light << light;
        }
    }
    found.isWhole = in.status() == QDataStream::Ok;
    return found;
}

class EnvironmentSessionTest : public testing::Test
{
protected:
    EnvironmentSessionTest() : harness({.channels = 2, .animalType = 1, .autoResume = true})
    {
        AppSettings::useFiles(folders.file("settings.ini"), folders.file("legacy.ini"));
        simulated = makeSimulatedEnviros(harness.time, 2);
        for (const auto& sensor : simulated) {
            sensor->setRawReply("1 250 25600 29360 4149248 -9600\r\n");
            ports.sensors.push_back(sensor.get());
        }
    }
    ~EnvironmentSessionTest() override
    {
        harness.session.reset();
        sensors.reset();
        AppSettings::useFiles({}, {});
    }
    void SetUp() override { makeSession(); }
    void makeSession()
    {
        sensors = std::make_unique<EnvironmentSession>(harness.time, ports, harness.user);
        QObject::connect(sensors.get(), &EnvironmentSession::sampleReady,
                         [this](const EnvSample&, const QString& serial) { ++samples[serial]; });
        harness.session->addCompanion(sensors->companion());
    }
    [[nodiscard]] bool findBoth()
    {
        sensors->rescan();
        return SessionHarness::waitUntil(
            [this] { return !sensors->isFinding() && sensors->sensors().size() == 2; });
    }
    /// One interval on, until these have answered. Data keeps coming.
    [[nodiscard]] bool tick(const QStringList& serials = {u"SIM1"_s, u"SIM2"_s})
    {
        const QMap<QString, int> before = samples;
        harness.time.advance(EnviroSensManager::DefaultIntervalMs);
        if (harness.session->state() == SessionState::Recording) {
            // A busy machine's processing thread may not have had its turn since the last ticks.
            if (!SessionHarness::waitUntil([&] { return harness.session->readyForMoreData(); }))
                return false;
            (void)harness.unit.advanceFrames(1);
        }
        return SessionHarness::waitUntil([&] {
            return std::all_of(serials.begin(), serials.end(), [&](const QString& serial) {
                return samples.value(serial) > before.value(serial);
            });
        });
    }
    [[nodiscard]] qsizetype shown(const QString& serial) const
    {
        return harness.user.shown.count(u"envSensor:"_s + serial);
    }
    [[nodiscard]] QString notice(const QString& serial)
    {
        return harness.user.notices[u"envSensor:"_s + serial].text;
    }

    OwnFolders folders;
    SessionHarness harness;
    std::vector<std::unique_ptr<SimulatedEnviro>> simulated;
    TestPorts ports;
    QMap<QString, int> samples;
    std::unique_ptr<EnvironmentSession> sensors;
};

} // namespace

TEST_F(EnvironmentSessionTest, ASensorThatIsThereAndGivesNothingIsToldOnceEachWay)
{
    ASSERT_TRUE(findBoth());
    sensors->setLabel(u"SIM1"_s, u"rack A"_s);
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(tick());
    simulated[0]->setRawReply("1 2 3 4 5\r\n"); // five of six
    constexpr int Ticks = EnvironmentSession::SilenceSeconds * 1000 / EnviroSensManager::DefaultIntervalMs;
    for (int i = 0; i < Ticks; ++i)
        ASSERT_TRUE(tick());
    EXPECT_EQ(shown(u"SIM1"_s), 0);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(tick());
    EXPECT_EQ(shown(u"SIM1"_s), 1);
    EXPECT_TRUE(notice(u"SIM1"_s).contains(u"rack A (SIM1) is plugged in and gives no readings since"_s));
    simulated[0]->setRawReply("1 250 25600 29360 4149248 -9600\r\n");
    ASSERT_TRUE(tick());
    ASSERT_TRUE(tick());
    EXPECT_EQ(shown(u"SIM1"_s), 2);
    EXPECT_TRUE(notice(u"SIM1"_s).contains(u"gives readings again"_s));

    // One that is unplugged is told as such, however long.
    simulated[1]->unplug();
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return shown(u"SIM2"_s) == 1; }));
    for (int i = 0; i < Ticks + 2; ++i)
        ASSERT_TRUE(tick());
    EXPECT_EQ(shown(u"SIM2"_s), 1);

    // Nor is it plugged in for the next recording, of whose beginning an answered message says nothing.
    harness.user.notices[u"envSensor:SIM2"_s].pressed();
    ASSERT_TRUE(harness.stopAndWaitIdle());
    harness.session->record(harness.setup(u"next"_s));
    ASSERT_TRUE(harness.waitForDevice());
    for (int i = 0; i < Ticks + 2; ++i)
        ASSERT_TRUE(tick());
    EXPECT_EQ(shown(u"SIM2"_s), 1) << qPrintable(notice(u"SIM2"_s));
}

#ifndef __SANITIZE_THREAD__ // nothing waits for a thread that is left behind, which is a race to it
// Whoever owns clock and ports asks whether something still uses them.
TEST_F(EnvironmentSessionTest, ASensorThatHangsAtTheEndIsKeptWithItsSettings)
{
    ASSERT_TRUE(findBoth());
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(tick());
    simulated[0]->unplug();
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return shown(u"SIM1"_s) == 1; }));
    ports.setHeld(true);
    ASSERT_TRUE(tick({u"SIM2"_s}));
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return ports.isSomeoneHeld(); }));
    sensors->setLabel(u"SIM1"_s, u"late"_s);
    harness.session.reset();
    ASSERT_FALSE(isAnythingKeptAlive());
    sensors.reset();
    EXPECT_TRUE(isAnythingKeptAlive());
    ports.setHeld(false);
    EXPECT_TRUE(SessionHarness::waitUntil(
        [] { return AppSettings::openStore()->contains(u"EnvSensorEnabled/SIM1"_s); }));
    EXPECT_EQ(AppSettings::openStore()->value(u"EnvSensorLabels/SIM1"_s), u"late"_s);
}
#endif

TEST_F(EnvironmentSessionTest, FiftyUnplugsDuringARecordingAreToldOnceEachWay)
{
    constexpr int Cycles = 50;
    ASSERT_TRUE(findBoth());
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(tick());
    const qsizetype threads = entries("/proc/self/task");
    // Without those that other threads have open for a moment, to write the summary or the settings.
    qsizetype files = 0;
    int unchanged = 0;
    ASSERT_TRUE(SessionHarness::waitUntil([&] {
        unchanged = std::exchange(files, entries("/proc/self/fd")) == files ? unchanged + 1 : 0;
        return unchanged == 100;
    }));
    for (int cycle = 1; cycle <= Cycles; ++cycle) {
        simulated[0]->unplug();
        ASSERT_TRUE(tick());
        ASSERT_TRUE(tick());
        ASSERT_EQ(shown(u"SIM1"_s), 2 * cycle - 1);
        ASSERT_TRUE(notice(u"SIM1"_s).contains(u"SIM1 is unplugged"_s)) << qPrintable(notice(u"SIM1"_s));
        ASSERT_EQ(harness.session->status().sensors.missing, 1);
        ASSERT_TRUE(simulated[0]->plugIn(cycle % 2 == 0 ? SimulatedEnviro::Comeback::SamePath
                                                        : SimulatedEnviro::Comeback::OtherPath));
        ASSERT_TRUE(tick());
        ASSERT_EQ(shown(u"SIM1"_s), 2 * cycle);
        ASSERT_TRUE(notice(u"SIM1"_s).contains(u"SIM1 is back"_s));
    }
    EXPECT_EQ(shown(u"SIM2"_s), 0);
    EXPECT_TRUE(SessionHarness::waitUntil([&] { return entries("/proc/self/task") == threads; }));
    EXPECT_TRUE(SessionHarness::waitUntil([&] { return entries("/proc/self/fd") == files; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());

    const EnvFile log = readEnvFile(harness.path(u"run.Env"_s));
    EXPECT_TRUE(log.isWhole);
    EXPECT_EQ(log.labels, QList<QStringList>({{u"SIM1"_s, u"SIM2"_s}}));
    ASSERT_EQ(log.light.size(), 1 + 3 * Cycles);
    qsizetype missing = 0;
    for (const QList<double>& light : log.light) {
        missing += light[0] == EnvSample::NoData ? 1 : 0;
        EXPECT_EQ(light[1], SentLux);
    }
    EXPECT_EQ(missing, 2 * Cycles);
    const SessionStatus status = harness.session->status();
    EXPECT_FALSE(status.losses.any());
    EXPECT_EQ(status.sensors.records, static_cast<quint64>(log.light.size()));
    EXPECT_TRUE(harness.session->lastSummary().contains(
        u"Environmental sensors: 2 of 2 present at the end, 151 rounds of readings\n"_s))
        << qPrintable(harness.session->lastSummary());
}

TEST_F(EnvironmentSessionTest, APauseDoesNotStopThemAndTheStopEndsTheLog)
{
    ASSERT_TRUE(findBoth());
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(tick());
    harness.unit.unplug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Paused; }, 10));
    const int before = samples.value(u"SIM1"_s);
    ASSERT_TRUE(tick());
    ASSERT_TRUE(tick());
    EXPECT_GT(samples.value(u"SIM1"_s), before);
    // Stopped while it is paused: there is no segment to be torn down.
    ASSERT_TRUE(harness.stopAndWaitIdle());
    const auto records = static_cast<quint64>(readEnvFile(harness.path(u"run.Env"_s)).light.size());
    EXPECT_GE(records, 3U);
    EXPECT_EQ(harness.session->status().sensors.records, records);
    const int atEnd = samples.value(u"SIM1"_s);
    harness.passTime(10000);
    EXPECT_EQ(samples.value(u"SIM1"_s), atEnd) << "polled after the recording";
}

TEST_F(EnvironmentSessionTest, WithoutALogTheRecordingGoesOnAndSaysSo)
{
    ASSERT_TRUE(QDir(harness.folder.path()).mkdir(u"run.Env"_s)); // in the log's place
    ASSERT_TRUE(findBoth());
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return !harness.user.messages.empty(); }));
    EXPECT_EQ(harness.user.lastText(u"Environmental Sensors"_s),
              u"Could not open the environmental sensor log file (it may be in use by another "
              "application).\n\nRecording will continue without environmental sensor logging."_s);
    EXPECT_EQ(harness.user.messages.back().severity, Severity::Warning);
    ASSERT_TRUE(tick());
    EXPECT_EQ(harness.session->state(), SessionState::Recording);
    EXPECT_FALSE(sensors->history(u"SIM2"_s).isEmpty());
    EXPECT_EQ(harness.session->status().losses.sensorLogsMissing, 1U);
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.user.messages.size(), 1U);
    EXPECT_TRUE(harness.session->status().losses.any());
    EXPECT_TRUE(harness.session->lastSummary().contains(u"Lost: the log of the environmental sensors"_s));
}

// The disk takes no byte of the log: what it did not take is counted when the recording ends.
TEST_F(EnvironmentSessionTest, RoundsThatTheDiskDoesNotTakeAreALoss)
{
    ASSERT_TRUE(findBoth());
    ASSERT_TRUE(harness.beginRecording());
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit = before;
    limit.rlim_cur = 4;
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_TRUE(tick());
    EXPECT_TRUE(SessionHarness::waitUntil([&] { return sensors->status().recordsLost == 1; }));
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    ASSERT_TRUE(tick());
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.session->status().losses.sensorRecordsLost, 1U);
    EXPECT_TRUE(harness.session->lastSummary().contains(
        u"Lost: 1 round of readings of the environmental sensors\n"_s));
    EXPECT_EQ(readEnvFile(harness.path(u"run.Env"_s)).light.size(), 1);
    // The next recording begins without it.
    harness.session->record(harness.setup(u"next"_s));
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    EXPECT_EQ(harness.session->status().losses.sensorRecordsLost, 0U);
}

TEST_F(EnvironmentSessionTest, LabelsAndSelectionFollowTheUserTheSetupAndTheStore)
{
    sensors->applyLabels({{u"SIM1"_s, u"rack\nA"_s}, {u"FAR"_s, u"other room"_s}}); // before they are found
    ASSERT_TRUE(findBoth());
    sensors->setLabel(u"SIM2"_s, u"  door "_s);
    const QMap<QString, QString> expected{
        {u"SIM1"_s, u"rack A"_s}, {u"SIM2"_s, u"door"_s}, {u"FAR"_s, u"other room"_s}};
    EXPECT_EQ(sensors->labels(), expected);
    sensors->setEnabled(u"SIM1"_s, false);
    sensors->setEnabled(u"SIM2"_s, false);
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(tick({}));
    EXPECT_FALSE(QFile::exists(harness.path(u"run.Env"_s))) << "nobody reads anything";
    sensors->setEnabled(u"SIM2"_s, true);
    ASSERT_TRUE(tick({u"SIM2"_s}));
    sensors->setLabel(u"SIM2"_s, QString());
    ASSERT_TRUE(tick({u"SIM2"_s}));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    const EnvFile log = readEnvFile(harness.path(u"run.Env"_s));
    EXPECT_EQ(log.labels, QList<QStringList>({{u"door"_s}, {u"SIM2"_s}}));
    // The first round may be without data: a sensor thread that had no turn since the ticks began is late.
    ASSERT_EQ(log.light.size(), 2);
    EXPECT_EQ(log.light.back(), QList<double>({SentLux}));

    harness.session.reset();
    sensors.reset(); // which ends what is being stored
    EnvironmentSession again(harness.time, ports, harness.user);
    again.rescan();
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return !again.isFinding() && again.sensors().size() == 2; }));
    EXPECT_EQ(again.sensors()[0].label, u"rack A"_s);
    EXPECT_FALSE(again.sensors()[0].isEnabled);
    EXPECT_TRUE(again.sensors()[1].isEnabled);
}
