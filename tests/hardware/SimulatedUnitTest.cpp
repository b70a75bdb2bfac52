// SPDX-License-Identifier: GPL-3.0-or-later
// The program's side of the buses against the simulated unit's devices, which share no code with it.
#include "simulation/SimulatedUnit.h"
#include "DAQInfoFixture.h"
#include "hardware/StimulationHardware.h"
#include "hardware/VexioRegisters.h"

#include <QSignalSpy>
#include <gmock/gmock.h>

namespace vt::test {

namespace {

using Kind = DeviceEvent::Kind;
using VEXIO_NS::CageConfig;

class SimulatedHardwareTest : public testing::Test
{
protected:
    SimulatedHardwareTest() : unit(config()), info(unit, time), hardware(info.stimulation())
    {
        info.setBuildInfoCachePath(folder.filePath(u"builds.json"_qs));
        EXPECT_EQ(answerOf<bool>([&](auto done) { info.selectDevice(u"sim"_qs, done); }), true);
        std::ignore = events(); // setting up the expanders moves their outputs
    }
    SimulatedUnit::Config config()
    {
        SimulatedUnit::Config config;
        config.channels = 16;
        config.clock = SimulatedUnit::Clock::Manual;
        config.clockUs = [this] { return time.monotonicUs(); };
        return config;
    }
    void settle()
    {
        std::ignore = answerOf<bool>([&](auto done) { info.probeI2C(done); });
    }
    void pass(int milliseconds, int stepMs)
    {
        for (int passed = 0; passed < milliseconds; passed += stepMs) {
            time.advance(stepMs);
            settle();
        }
    }
    std::vector<DeviceEvent> events()
    {
        settle();
        std::vector<DeviceEvent> seen = unit.deviceEvents();
        unit.clearDeviceEvents();
        return seen;
    }

    const QTemporaryDir folder;
    LogCapture log;
    FakeTimeSource time;
    SimulatedUnit unit;
    DAQInfo info;
    StimulationHardware& hardware;
};

} // namespace

TEST_F(SimulatedHardwareTest, CagesRunTheirProfiles)
{
    EXPECT_TRUE(hardware.vexioPresent() && hardware.dioPresent());
    QSignalSpy cages(&hardware, &StimulationHardware::cageDataRead);
    QSignalSpy active(&hardware, &StimulationHardware::cageStatusRead);
    QList<CageConfig> configs(8, CageConfig{68, 127, 4, 0, 0}); // 2 s
    configs[2].duration = 10;
    hardware.writeAllCagesToHardware(configs);
    hardware.updateCageEnableConfig(0x06);
    std::optional<bool> isActivated;
    hardware.activateStimulation(0x07, [&](bool success, qint64) { isActivated = success; });
    const qint64 startUs = time.monotonicUs();
    EXPECT_EQ(events(), (std::vector<DeviceEvent>{{Kind::StimulationStarted, 2, false, startUs},
                                                  {Kind::StimulationStarted, 3, false, startUs}}))
        << "cage 1 is not enabled";
    EXPECT_EQ(isActivated, true);
    pass(200, 200);
    ASSERT_EQ(cages.count(), 8);
    EXPECT_EQ(cages[1][5].value<std::uint16_t>(), 1) << "activations";
    EXPECT_EQ(cages[0][5].value<std::uint16_t>(), 0);
    hardware.readCageStatus();
    settle();
    EXPECT_EQ(active.last()[0].value<std::uint8_t>(), 0x06);
    pass(1800, 600);
    hardware.stopStimulation(0x04);
    EXPECT_EQ(events(),
              (std::vector<DeviceEvent>{{Kind::StimulationStopped, 2, false, startUs + 2'000'000},
                                        {Kind::StimulationStopped, 3, false, startUs + 2'000'000}}));
    QSignalSpy operations(&hardware, &StimulationHardware::operationComplete);
    hardware.clearAllActivationCounters();
    hardware.readAllCages();
    settle();
    EXPECT_EQ(operations.last()[1], u"Cleared 8 activation counters"_qs);
    EXPECT_EQ(cages.last()[5].value<std::uint16_t>(), 0);
}

TEST_F(SimulatedHardwareTest, DiagnosticsFindTheBrokenSpeaker)
{
    ASSERT_TRUE(unit.applyFaultCommand(u"vexio speaker 3 open"_qs));
    hardware.updateCageEnableConfig(0xFF);
    QSignalSpy complete(&hardware, &StimulationHardware::diagnosticsComplete);
    hardware.runSpeakerDiagnostics();
    settle();
    pass(400, 10);
    ASSERT_EQ(complete.count(), 1);
    EXPECT_EQ(complete[0][1], u"Diagnostics complete: 1 fault(s) detected"_qs);
    EXPECT_TRUE(log.has(u"Cage 3: FAULT - Open speaker (disconnected)"_qs));
}

TEST_F(SimulatedHardwareTest, PowerLossAndReturnOfTheUnit)
{
    hardware.updateCageEnableConfig(0x01);
    hardware.writeAllCagesToHardware(QList<CageConfig>(8, CageConfig{68, 127, 4, 0, 0}));
    info.startVexioPolling();
    QSignalSpy lost(&hardware, &StimulationHardware::powerFaultDetected);
    ASSERT_TRUE(unit.applyFaultCommand(u"vexio 12v off"_qs));
    pass(500, 500);
    EXPECT_EQ(lost.count(), 1);
    ASSERT_TRUE(unit.applyFaultCommand(u"vexio 12v on"_qs));
    pass(1500, 500);
    std::ignore = events();
    hardware.activateStimulation(0x01);
    EXPECT_EQ(events().size(), 1U);

    unit.unplug();
    pass(1000, 500);
    unit.replug();
    EXPECT_EQ(answerOf<bool>([&](auto done) { info.recoverI2CSession(done); }), true);
    std::ignore = events();
    EXPECT_TRUE(hardware.vexioPresent() && hardware.dioPresent());
    hardware.writeAllCagesToHardware(QList<CageConfig>(8, CageConfig{68, 127, 4, 0, 0}));
    hardware.activateStimulation(0x01);
    const std::vector<DeviceEvent> seen = events();
    ASSERT_EQ(seen.size(), 1U) << "the enable mask came back with the activation";
    EXPECT_EQ(seen[0].kind, Kind::StimulationStarted);
    EXPECT_EQ(unit.deadHandleCalls(), 0);
}

TEST_F(SimulatedHardwareTest, PulsesAndInputs)
{
    const qint64 startUs = time.monotonicUs();
    info.pulseDioOutputs(0x0201); // cages 1 and 10
    settle();
    pass(50, 50);
    // Switched on is a low level on the 16-channel box.
    EXPECT_EQ(events(), (std::vector<DeviceEvent>{{Kind::OutputChanged, 1, false, startUs},
                                                  {Kind::OutputChanged, 10, false, startUs},
                                                  {Kind::OutputChanged, 1, true, startUs + 50'000},
                                                  {Kind::OutputChanged, 10, true, startUs + 50'000}}));
    QSignalSpy inputs(&hardware, &StimulationHardware::dioInputStateChanged);
    info.startDIORecording(16);
    settle();
    pass(200, 50);
    EXPECT_EQ(inputs.count(), 0);
    ASSERT_TRUE(unit.applyFaultCommand(u"dio input 10 low"_qs));
    pass(200, 50);
    ASSERT_EQ(inputs.count(), 1) << "reading ends the interrupt";
    EXPECT_EQ(inputs[0][0].value<std::uint16_t>(), 0xFDFF);
}

// With as many channels as analog inputs assumed, an eight-channel box got the "off" of the other polarity:
// all outputs on.
TEST_F(SimulatedHardwareTest, OutputsAreLeftAloneUntilTheNumberOfChannelsIsKnown)
{
    SimulatedUnit::Config eight = config();
    eight.channels = 8;
    eight.analogInputs = 16;
    SimulatedUnit box(eight);
    DAQInfo boxInfo(box, time);
    const auto select = [&] {
        return answerOf<bool>([&](auto done) { boxInfo.selectDevice(u"sim"_qs, done); });
    };
    ASSERT_TRUE(box.applyFaultCommand(u"nak mcu 2"_qs)); // once
    EXPECT_EQ(select(), true);
    EXPECT_EQ(boxInfo.analogInputCount(), 16);
    EXPECT_TRUE(boxInfo.stimulation().dioPresent());
    for (const char* count : {"register 4 0", "register 4 17"}) {
        ASSERT_TRUE(box.applyFaultCommand(QLatin1String(count)));
        EXPECT_EQ(select(), true);
        EXPECT_FALSE(boxInfo.stimulation().dioPresent());
    }
    box.clearDeviceEvents();
    boxInfo.setAcquisitionStarted(true);
    boxInfo.startDIORecording(8);
    const auto pass = [&](int milliseconds) {
        std::ignore = answerOf<bool>([&](auto done) { boxInfo.probeI2C(done); });
        time.advance(milliseconds);
        std::ignore = answerOf<bool>([&](auto done) { boxInfo.probeI2C(done); });
    };
    pass(1000);
    EXPECT_FALSE(boxInfo.stimulation().dioPresent());
    EXPECT_TRUE(box.deviceEvents().empty());
    ASSERT_TRUE(box.applyFaultCommand(u"register 4 8"_qs));
    pass(2000);
    EXPECT_TRUE(boxInfo.stimulation().dioPresent());
    EXPECT_TRUE(log.has(u"Configuring for Plover (8-channel) hardware - outputs normal"_qs));
    EXPECT_FALSE(log.hasPart(u"Port expander 0x4E init error"_qs));
}

// The very attempt that had found the unit lost its bus again, and counted as a success.
TEST_F(SimulatedHardwareTest, ABusThatFailsInTheAttemptThatRestoresItIsTriedAgain)
{
    constexpr std::uint64_t BehindTheAttempt = 37; // calls of the probe that waits for its end
    constexpr std::uint64_t BeforeItsEnd = 30;     // the status is being read
    QSignalSpy lost(&hardware, &StimulationHardware::busLost);
    QSignalSpy restored(&hardware, &StimulationHardware::busRestored);
    std::uint64_t calls = 0; // of an attempt that succeeds, and the probe
    for (const bool isFailing : {false, true}) {
        ASSERT_TRUE(unit.applyFaultCommand(u"vexio absent"_qs));
        ASSERT_EQ(answerOf<bool>([&](auto done) { info.selectDevice(u"sim"_qs, done); }), true);
        info.setAcquisitionStarted(true);
        info.startVexioPolling();
        settle();
        ASSERT_TRUE(unit.applyFaultCommand(u"vexio present"_qs));
        pass(999, 999);
        const std::uint64_t before = unit.callCount();
        if (isFailing)
            unit.failCall(calls - BehindTheAttempt - BeforeItsEnd, -88709, false);
        pass(1, 1);
        calls = unit.callCount() - before;
        EXPECT_TRUE(hardware.vexioPresent());
        EXPECT_EQ(lost.count(), isFailing ? 1 : 0);
        pass(4000, 500);
        EXPECT_EQ(restored.count(), isFailing ? 1 : 0);
        info.setAcquisitionStarted(false);
    }
}

TEST_F(SimulatedHardwareTest, ButtonAndSensors)
{
    QSignalSpy button(&info, &DAQInfo::pushButtonPressed);
    QSignalSpy count(&info, &DAQInfo::sensorCountChanged);
    QSignalSpy shorted(&info, &DAQInfo::sensorShorted);
    pass(1000, 500);
    ASSERT_TRUE(unit.applyFaultCommand(u"button"_qs));
    pass(1000, 500);
    ASSERT_TRUE(unit.applyFaultCommand(u"button"_qs));
    settle(); // another reader may come first, and reading clears the event
    ASSERT_TRUE(unit.applyFaultCommand(u"sensors 12"_qs));
    ASSERT_TRUE(unit.applyFaultCommand(u"shorted 5"_qs));
    pass(1000, 500);
    EXPECT_EQ(button.count(), 2);
    ASSERT_EQ(count.count(), 1);
    EXPECT_EQ(count[0][0].toInt(), 12);
    ASSERT_EQ(shorted.count(), 1);
    EXPECT_TRUE(shorted[0][0].toBool());
}

} // namespace vt::test
