// SPDX-License-Identifier: GPL-3.0-or-later
// The manager on simulated sensors: real ports, threads, claims and files.
#include "EnvSensHarness.h"
#include "LogCapture.h"
#include "platform/SystemClaim.h"

#include <QDataStream>
#include <QElapsedTimer>
#include <QFile>
#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using vt::EnvSample;
using vt::SimulatedEnviro;
using vt::test::EnvSensHarness;
using vt::test::waitFor;

namespace {

constexpr int WaitMs = 20000;

QByteArray content(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "unreadable"_ba;
}

qsizetype entries(const char* folder)
{
    return QDir(QString::fromLatin1(folder))
        .entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot)
        .size();
}

/// The file as its description has it, by another encoder than the program's.
class ExpectedLog
{
public:
    QByteArray bytes;

    void header(const QStringList& labels, const QStringList& serials)
    {
        QByteArray columns;
        QDataStream inner(&columns, QIODevice::WriteOnly);
        inner << qint32{5};
        text(inner, "device");
        text(inner, "ElapsedTime,Lux,Temp,RelHum,Pressure");
        inner << qint32{0};
        QByteArray body;
        QDataStream out(&body, QIODevice::WriteOnly);
        out << static_cast<qint32>(labels.size()) << qint32{2};
        out << qint32{0} << qint32{0} << qint32{10} << qint32{2} << qint32{3} << qint32{2026};
        text(out, "programID");
        for (const QString& each : labels + serials)
            text(out, each.toUtf8());
        out << static_cast<qint32>(columns.size());
        body += columns;
        QDataStream whole(&bytes, QIODevice::Append);
        whole << static_cast<qint32>(body.size());
        bytes += body;
    }
    void values(const QList<double>& reals)
    {
        QDataStream out(&bytes, QIODevice::Append);
        for (const double real : reals)
            out << real;
    }

private:
    static void text(QDataStream& out, const QByteArray& utf8)
    {
        out << static_cast<qint32>(utf8.size());
        out.writeRawData(utf8.constData(), static_cast<int>(utf8.size()));
    }
};

} // namespace

TEST(EnviroSensManager, LogIsWrittenByteForByte)
{
    EnvSensHarness harness(3);
    harness.settings->setLabel(u"SIM1"_s, u"Käfig"_s);
    harness.settings->setEnabled(u"SIM3"_s, false);
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    const QString path = harness.folders.file("night.Env");
    ASSERT_TRUE(harness.manager->fileManager().openFile(path, true));
    harness.manager->startCollection(2500);
    const QStringList two = {u"SIM1"_s, u"SIM2"_s};
    const QStringList three = {u"SIM1"_s, u"SIM2"_s, u"SIM3"_s};
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(harness.tick(two, 2500));
    harness.manager->setSensorEnabled(u"SIM3"_s, true);
    ASSERT_TRUE(harness.tick(three, 2500));
    harness.sensors[1]->unplug();
    ASSERT_TRUE(waitFor([&] { return harness.disconnects.size() == 1; }));
    ASSERT_TRUE(harness.tick(three, 2500));
    harness.manager->setSensorLabel(u"SIM2"_s, u"rack"_s);
    harness.manager->setSensorEnabled(u"SIM3"_s, false);
    ASSERT_TRUE(harness.tick(two, 2500));
    harness.manager->stopCollection();
    harness.manager->fileManager().closeFile();
    ASSERT_TRUE(harness.manager->fileManager().waitForWritten(WaitMs));

    const auto sensor = [](int tick, bool isThere = true) {
        const double days = 2500.0 * tick / 1000 / 60 / 60 / 24;
        return isThere ? QList<double>{days, 250.0, (25600 * 175.72 / 65536.0 - 46.85) * 9 / 5 + 32,
                                       29360 * 125.0 / 65536.0 - 6, 4149248 / 4096.0 / 33.863886666667}
                       : QList<double>{days, 1e15, 1e15, 1e15, 1e15};
    };
    ExpectedLog expected;
    expected.header({u"Käfig"_s, u"SIM2"_s}, two);
    for (int i = 1; i <= 3; ++i)
        expected.values(sensor(i) + sensor(i));
    expected.values(QList<double>(10, 1e15));
    expected.header({u"Käfig"_s, u"SIM2"_s, u"SIM3"_s}, three);
    expected.values(sensor(4) + sensor(4) + sensor(4));
    expected.values(sensor(5) + sensor(5, false) + sensor(5));
    expected.values(QList<double>(15, 1e15));
    expected.header({u"Käfig"_s, u"rack"_s}, two);
    expected.values(sensor(6) + sensor(6, false));
    EXPECT_EQ(content(path).toHex(' '), expected.bytes.toHex(' '));
    const vt::EnvLogCounts counts = harness.manager->fileManager().counts();
    EXPECT_EQ(counts.recordsGiven, 6U);
    EXPECT_EQ(counts.recordsWritten, 6U);
    // What was changed is remembered.
    harness.manager.reset();
    EXPECT_EQ(harness.settings->label(u"SIM2"_s), u"rack"_s);
    EXPECT_FALSE(harness.settings->isEnabled(u"SIM3"_s));
}

// A sensor that is enabled while a round is under way joins that round, one that is disabled leaves it.
TEST(EnviroSensManager, SelectionInMidRoundLosesNoReading)
{
    EnvSensHarness harness(3);
    harness.settings->setEnabled(u"SIM3"_s, false);
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    ASSERT_TRUE(harness.manager->fileManager().openFile(harness.folders.file("a.Env"), true));
    harness.manager->startCollection();
    harness.time.advance(2000);
    harness.manager->setSensorEnabled(u"SIM3"_s, true);
    ASSERT_TRUE(waitFor([&] { return harness.manager->fileManager().counts().recordsGiven == 1; }));
    EXPECT_EQ(harness.samples.value(u"SIM3"_s), 1);

    harness.sensors[2]->setRawReply("");
    harness.time.advance(2000);
    ASSERT_TRUE(
        waitFor([&] { return harness.samples.value(u"SIM1"_s) + harness.samples.value(u"SIM2"_s) == 4; }));
    harness.manager->setSensorEnabled(u"SIM3"_s, false); // while its poll waits for an answer
    EXPECT_EQ(harness.manager->fileManager().counts().recordsGiven, 2U);
}

TEST(EnviroSensManager, FiftyUnplugsAreToldOnceEachAndLeaveNothingBehind)
{
    constexpr int Cycles = 50;
    EnvSensHarness harness(2);
    const QStringList both = {u"SIM1"_s, u"SIM2"_s};
    const qsizetype threadsBefore = entries("/proc/self/task");
    const qsizetype filesBefore = entries("/proc/self/fd");
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    const QString path = harness.folders.file("fifty.Env");
    ASSERT_TRUE(harness.manager->fileManager().openFile(path, true));
    harness.manager->startCollection();
    ASSERT_TRUE(harness.tick(both));
    const qsizetype threads = entries("/proc/self/task");
    const qsizetype files = entries("/proc/self/fd");
    for (int cycle = 1; cycle <= Cycles; ++cycle) {
        harness.sensors[0]->unplug();
        ASSERT_TRUE(harness.tick(both));
        ASSERT_TRUE(harness.tick(both));
        ASSERT_EQ(harness.disconnects.size(), cycle);
        ASSERT_THAT(harness.manager->disconnectedSerials(), ElementsAre(u"SIM1"_s));
        ASSERT_TRUE(harness.sensors[0]->plugIn(cycle % 2 == 0 ? SimulatedEnviro::Comeback::SamePath
                                                              : SimulatedEnviro::Comeback::OtherPath));
        ASSERT_TRUE(harness.tick(both));
        ASSERT_EQ(harness.reconnects.size(), cycle);
        ASSERT_TRUE(harness.manager->disconnectedSerials().isEmpty());
    }
    EXPECT_EQ(entries("/proc/self/task"), threads);
    EXPECT_EQ(entries("/proc/self/fd"), files);
    EXPECT_EQ(harness.manager->history(u"SIM1"_s).size(), Cycles + 1);
    harness.manager.reset();
    // A thread that has been waited for may still be on its way out of the system's list.
    EXPECT_TRUE(waitFor([&] { return entries("/proc/self/task") == threadsBefore; }));
    EXPECT_EQ(entries("/proc/self/fd"), filesBefore);
    EXPECT_EQ(harness.disconnects.size(), Cycles);
    EXPECT_EQ(harness.reconnects.size(), Cycles);

    const QByteArray bytes = content(path);
    QDataStream in(bytes);
    qint32 headerLength = 0;
    in >> headerLength;
    in.skipRawData(headerLength);
    int missing = 0;
    int records = 0;
    for (; !in.atEnd(); ++records) {
        std::array<double, 10> values{};
        for (double& value : values)
            in >> value;
        ASSERT_EQ(in.status(), QDataStream::Ok);
        missing += values[1] == EnvSample::NoData ? 1 : 0;
        EXPECT_EQ(values[6], 250.0) << "the other sensor's light, record" << records;
    }
    EXPECT_EQ(records, 1 + 3 * Cycles);
    EXPECT_EQ(missing, 2 * Cycles);
}

TEST(EnviroSensManager, AcknowledgedDisconnectStaysSilentUntilTheSensorIsBack)
{
    EnvSensHarness harness(1);
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    harness.manager->startCollection();
    harness.sensors[0]->unplug();
    ASSERT_TRUE(waitFor([&] { return harness.disconnects.size() == 1; }));
    harness.manager->acknowledgeDisconnect(u"SIM1"_s);
    harness.manager->stopCollection();
    harness.manager->startCollection();
    EXPECT_EQ(harness.disconnects.size(), 1);
    ASSERT_TRUE(harness.sensors[0]->plugIn());
    ASSERT_TRUE(harness.tick({u"SIM1"_s}));
    EXPECT_EQ(harness.reconnects.size(), 1);
    harness.sensors[0]->unplug();
    ASSERT_TRUE(waitFor([&] { return harness.disconnects.size() == 2; }));
    harness.manager->stopCollection();
    harness.manager->startCollection();
    EXPECT_EQ(harness.disconnects.size(), 3) << "missing at the start is announced";
}

TEST(EnviroSensManager, FindsWhatIsThereOnceAndNobodyElses)
{
    EnvSensHarness harness(4);
    const vt::test::LogCapture log;
    harness.sensors[1]->setIdentification("Thermometer\r\n");
    vt::platform::ClaimAttempt elsewhere = vt::platform::takeClaim(u"SIM3"_s);
    ASSERT_TRUE(elsewhere.claim);
    const QString path = harness.sensors[3]->portPath();
    harness.ports.sensors.pop_back();
    harness.ports.extra = {{path, 0x2405, 0x000B, u"X1"_s, u"Other device"_s},
                           {path, 0x2405, 0x000C, u"X2"_s, u"Tessaly Enviro"_s},
                           {path, 0x2404, 0x000B, u"X3"_s, u"Tessaly Enviro"_s},
                           {path, {}, {}, u"X4"_s, u"Tessaly Enviro"_s},
                           {path, 0x2405, 0x000B, {}, u"Tessaly Enviro"_s}};
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    EXPECT_THAT(harness.listed(), ElementsAre(u"SIM1"_s));
    EXPECT_TRUE(log.hasPart(u"Sensor init failed (rc=-1), cleaning up and removing:"_s));
    EXPECT_TRUE(log.has(u"Env sensor SIM3 is claimed by another Vellumtide instance — skipping"_s));
    EXPECT_TRUE(harness.sensors[3]->received().isEmpty());
    ASSERT_TRUE(waitFor([&] { return !vt::platform::claimHolder(u"SIM2"_s).has_value(); }))
        << "who did not identify is free again";

    elsewhere.claim.reset();
    harness.sensors[1]->setIdentification("EnviroSen v1.0#SIM2\r\n");
    ASSERT_TRUE(harness.find());
    ASSERT_TRUE(harness.find());
    EXPECT_THAT(harness.listed(), ElementsAre(u"SIM1"_s, u"SIM2"_s, u"SIM3"_s));
    EXPECT_EQ(harness.sensors[0]->received(), "?o");

    // Before a recording one that is unplugged is dropped and given up, and found again.
    harness.sensors[0]->unplug();
    ASSERT_TRUE(waitFor([&] { return harness.listed().size() == 2; }));
    EXPECT_TRUE(harness.disconnects.isEmpty());
    ASSERT_TRUE(waitFor([&] { return !vt::platform::claimHolder(u"SIM1"_s).has_value(); }));
    ASSERT_TRUE(harness.sensors[0]->plugIn());
    ASSERT_TRUE(harness.find());
    EXPECT_THAT(harness.listed(), ElementsAre(u"SIM2"_s, u"SIM3"_s, u"SIM1"_s));
    harness.manager.reset();
    EXPECT_FALSE(vt::platform::claimHolder(u"SIM3"_s).has_value());
}

// The system does not give a sensor's thread back while the manager ends. What that thread does when it comes
// back, it does with what is still there, and nobody hears of it.
TEST(EnviroSensManager, AThreadThatHangsIsKeptWithAllThatItUses)
{
    const vt::test::LogCapture log;
    EnvSensHarness harness(1);
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    harness.manager->startCollection();
    ASSERT_TRUE(harness.tick({u"SIM1"_s}));
    harness.sensors[0]->unplug();
    ASSERT_TRUE(waitFor([&] { return harness.disconnects.size() == 1; }));
    harness.ports.setHeld(true);
    harness.time.advance(2000);
    ASSERT_TRUE(waitFor([&] { return harness.ports.isSomeoneHeld(); }));
    harness.manager->setSensorLabel(u"SIM1"_s, u"late"_s);
    harness.manager.reset();
    EXPECT_TRUE(log.has(u"Env sensor SIM1 does not return, thread abandoned"_s));
    ASSERT_EQ(harness.kept.size(), 1U);
    harness.settings.reset(); // all that is left of it is the sensor's
    harness.ports.setHeld(false);
    harness.kept.clear(); // waits for the thread
    EXPECT_EQ(harness.samples.value(u"SIM1"_s), 1);
    EXPECT_EQ(QSettings(harness.folders.file("settings.ini"), QSettings::IniFormat)
                  .value(u"EnvSensorLabels/SIM1"_s),
              u"late"_s);
    EXPECT_FALSE(vt::platform::claimHolder(u"SIM1"_s).has_value());
}

// One sensor's thread does not come back. The others' rounds go on without it, at one poll each, and the
// interface waits for nothing.
TEST(EnviroSensManager, HungSensorHoldsUpNobody)
{
    EnvSensHarness harness(2);
    harness.makeManager();
    ASSERT_TRUE(harness.find());
    ASSERT_TRUE(harness.manager->fileManager().openFile(harness.folders.file("hung.Env"), true));
    harness.manager->startCollection();
    ASSERT_TRUE(harness.tick({u"SIM1"_s, u"SIM2"_s}));
    harness.sensors[1]->unplug();
    ASSERT_TRUE(waitFor([&] { return harness.disconnects.size() == 1; }));
    harness.ports.setHeld(true);
    harness.time.advance(2000);
    ASSERT_TRUE(
        waitFor([&] { return harness.ports.isSomeoneHeld() && harness.samples.value(u"SIM1"_s) == 2; }));
    for (int tick = 3; tick <= 6; ++tick) {
        ASSERT_TRUE(harness.tick({u"SIM1"_s}));
        EXPECT_EQ(harness.manager->sensors().size(), 2);
        harness.manager->setSensorLabel(u"SIM2"_s, QString::number(tick));
        EXPECT_EQ(harness.manager->sensors().at(1).label, QString::number(tick));
    }
    // From 5 s after its poll on, each tick has a record.
    EXPECT_GE(harness.manager->fileManager().counts().recordsGiven, 3U);
    harness.ports.setHeld(false);
    ASSERT_TRUE(harness.sensors[1]->plugIn());
    ASSERT_TRUE(harness.tick({u"SIM1"_s, u"SIM2"_s}));
    ASSERT_TRUE(waitFor([&] { return harness.reconnects.size() == 1; }));
    EXPECT_EQ(harness.disconnects.size(), 1);
}
