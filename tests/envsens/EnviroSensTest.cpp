// SPDX-License-Identifier: GPL-3.0-or-later
// One sensor at the end of a pseudo-terminal. Its slots are called on the test's thread.
#include "envsens/EnviroSens.h"
#include "EnvSensHarness.h"
#include "LogCapture.h"

#include <QSignalSpy>
#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using vt::EnviroSens;
using vt::EnvSample;
using vt::SimulatedEnviro;
using vt::test::EnvSensHarness;
using vt::test::waitFor;

namespace {

class EnviroSensTest : public testing::Test
{
protected:
    EnviroSensTest()
    {
        QObject::connect(&sensor, &EnviroSens::newSampleReady,
                         [this](const EnvSample& sample) { polled << sample; });
    }
    ~EnviroSensTest() override { sensor.cleanupSerialPort(); }
    int open()
    {
        const QSignalSpy done(&sensor, &EnviroSens::setPortDone);
        sensor.setPort(device.portPath());
        return done.size() == 1 ? done.at(0).at(0).toInt() : 99;
    }
    bool reads()
    {
        sensor.getNewSample();
        return polled.last().hasReading();
    }

    EnvSensHarness harness{1};
    SimulatedEnviro& device = *harness.sensors.front();
    QList<EnvSample> polled;
    EnviroSens sensor{harness.time, harness.ports, harness.settings, u"SIM1"_s};
    QSignalSpy disconnected{&sensor, &EnviroSens::sensorDisconnected};
    QSignalSpy reconnected{&sensor, &EnviroSens::sensorReconnected};
};

TEST_F(EnviroSensTest, EachPollGivesASampleWhateverTheDeviceSays)
{
    harness.settings->setLabel(u"SIM1"_s, u"rack 3"_s);
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(sensor.label(), "rack 3"_L1);
    EXPECT_EQ(sensor.firmwareMajor(), 2);
    EXPECT_EQ(sensor.firmwareMinor(), 3);
    ASSERT_TRUE(waitFor([&] { return device.received() == "?o"; }));

    using Reply = SimulatedEnviro::Reply;
    device.setRawReply(std::nullopt);
    qsizetype readings = 0;
    for (const auto& [reply, isReading] : std::vector<std::pair<Reply, bool>>{{Reply::Proper, true},
                                                                              {Reply::FiveFields, false},
                                                                              {Reply::SevenFields, false},
                                                                              {Reply::Text, false},
                                                                              {Reply::None, false},
                                                                              {Reply::Proper, true}}) {
        device.setReply(reply);
        EXPECT_EQ(reads(), isReading) << static_cast<int>(reply);
        readings += isReading ? 1 : 0;
        EXPECT_EQ(sensor.history().size(), readings) << static_cast<int>(reply);
        EXPECT_TRUE(sensor.hasPolled());
    }
    device.setRawReply("1 abc x x 4149248 0\r\n99 99");
    ASSERT_TRUE(reads());
    EXPECT_DOUBLE_EQ(polled.last().humidityPercent, -6.0);
    EXPECT_DOUBLE_EQ(polled.last().temperatureC, -46.85);
    device.setRawReply("3 2 1 0 0 0"); // what is left over of the reply before is no part of it
    ASSERT_TRUE(reads());
    EXPECT_EQ(polled.last().elapsedTime, 3);
    EXPECT_EQ(polled.last().timeStampMs, harness.time.now().toMSecsSinceEpoch());

    sensor.handleDeviceSelectionChange(Qt::Unchecked);
    sensor.handleDeviceSelectionChange(Qt::PartiallyChecked);
    const qsizetype before = polled.size();
    sensor.getNewSample();
    EXPECT_EQ(polled.size(), before) << "a disabled sensor is silent";
    EXPECT_FALSE(harness.settings->isEnabled(u"SIM1"_s));
    EXPECT_TRUE(disconnected.isEmpty()) << "a device that answers nonsense is still there";

    const vt::test::LogCapture log;
    sensor.setPort(u"other"_s);
    EXPECT_TRUE(log.has(u"SerialPort already set."_s));
}

// The device's clock runs by itself here, the poll waits for it.
TEST_F(EnviroSensTest, RepliesMayBeSlowOrComeInPieces)
{
    vt::SystemTimeSource time;
    SimulatedEnviro slow(time, {});
    EnviroSens patient(time, harness.ports, harness.settings, {});
    patient.setPort(slow.portPath());
    for (const auto reply : {SimulatedEnviro::Reply::Split, SimulatedEnviro::Reply::Slow}) {
        slow.setReply(reply);
        patient.getNewSample();
    }
    EXPECT_EQ(patient.history().size(), 2);
    patient.cleanupSerialPort();
}

TEST_F(EnviroSensTest, WhoDoesNotIdentifyIsRefused)
{
    device.setIdentification("EnviroSensor v2.3#SIM1\r\n");
    EXPECT_EQ(open(), -1);
    sensor.cleanupSerialPort();
    device.setIdentification("");
    EXPECT_EQ(open(), -1);
    sensor.cleanupSerialPort();
    device.unplug();
    EXPECT_EQ(open(), -1);
    ASSERT_TRUE(device.plugIn());
    device.setIdentification("EnviroSen v1.0#SIM1\r\n");
    EXPECT_EQ(open(), 0);
}

TEST_F(EnviroSensTest, UnplugAndReturnAreToldOnceEach)
{
    ASSERT_EQ(open(), 0);
    ASSERT_TRUE(waitFor([&] { return device.received() == "?o"; }));
    device.unplug();
    ASSERT_TRUE(waitFor([&] { return !disconnected.isEmpty(); })) << "without a poll";
    EXPECT_FALSE(reads());
    EXPECT_FALSE(reads());
    EXPECT_EQ(disconnected.size(), 1);

    // Another device at our port is left alone.
    SimulatedEnviro stranger(harness.time, {.serialNumber = u"OTHER"_s});
    ASSERT_TRUE(QFile::link(stranger.portPath(), sensor.portName()));
    harness.ports.extra << vt::SerialPortFacts{sensor.portName(), 0x2405, 0x000B, u"OTHER"_s, {}};
    EXPECT_FALSE(reads());
    EXPECT_TRUE(stranger.received().isEmpty());
    ASSERT_TRUE(QFile::remove(sensor.portName()));
    harness.ports.extra.clear();

    ASSERT_TRUE(device.plugIn(SimulatedEnviro::Comeback::OtherPath));
    EXPECT_TRUE(reads());
    EXPECT_EQ(sensor.portName(), device.portPath());
    EXPECT_EQ(reconnected.size(), 1);
    EXPECT_EQ(disconnected.size(), 1);
    EXPECT_EQ(device.received(), "?oos");
}

TEST_F(EnviroSensTest, HistoryIsADayLong)
{
    ASSERT_EQ(open(), 0);
    for (std::size_t i = 0; i < EnviroSens::MaxHistory + 1; ++i) {
        harness.time.advance(1);
        sensor.getNewSample();
    }
    const QList<EnvSample> history = sensor.history();
    ASSERT_EQ(history.size(), static_cast<qsizetype>(EnviroSens::MaxHistory));
    EXPECT_EQ(history.first().timeStampMs, polled.at(1).timeStampMs);
    EXPECT_EQ(history.last().timeStampMs, polled.last().timeStampMs);
}

} // namespace
