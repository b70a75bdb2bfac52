// SPDX-License-Identifier: GPL-3.0-or-later
// What hangs on the selected device, from the interface thread's side.
#include "DAQInfoFixture.h"
#include "hardware/DataEeprom.h"
#include "hardware/StimulationHardware.h"

#include <QFile>
#include <QSignalSpy>
#include <gmock/gmock.h>
#ifdef __unix__
#include <sys/stat.h>
#endif

namespace vt::test {

namespace {

using HardwareUnitsTest = DAQInfoTest;

std::string vexioTraffic(FakeUnit& unit)
{
    return unit.withVexio([](I2cSlave& slave) {
        const std::string seen = slave.transcript();
        slave.forgetTranscript();
        return seen;
    });
}

void setStatus(FakeUnit& unit, std::uint8_t status)
{
    unit.withMcu([status](I2cSlave& mcu) { mcu.registers[0x0A] = status; });
}

} // namespace

TEST_F(HardwareUnitsTest, DeviceThatMayNotBeUsedIsLeftAlone)
{
    info->setPermission([](const DAQDevice& device) { return device.serial != u"42"_qs; });
    EXPECT_FALSE(select(u"Dev1"_qs));
    EXPECT_EQ(unit.count("ResetDevice"), 0U);
    EXPECT_FALSE(info->selectedDevice().has_value());
    EXPECT_TRUE(select(u"Dev2"_qs));
}

TEST_F(HardwareUnitsTest, UnitsComeAndGoWithTheDevice)
{
    StimulationHardware& hardware = info->stimulation();
    QSignalSpy presence(&hardware, &StimulationHardware::presenceChanged);
    QSignalSpy operations(&hardware, &StimulationHardware::operationComplete);
    EXPECT_TRUE(select(u"Dev1"_qs));
    EXPECT_FALSE(hardware.vexioPresent() || hardware.dioPresent());
    EXPECT_EQ(presence.count(), 0);
    EXPECT_TRUE(log.hasInOrder({u"ledctrl: Dev1"_qs,
                                u"DIO init failed: port expander not responding. Running without DIO."_qs,
                                u"DAQInfo::initVexio - ERROR: Failed to initialize Vexio"_qs}));
    std::optional<bool> isActivated;
    hardware.activateStimulation(1, [&](bool success, qint64) { isActivated = success; });
    settle();
    EXPECT_EQ(isActivated, false);
    ASSERT_EQ(operations.count(), 1);
    EXPECT_EQ(operations[0][1], u"Stimulation failed: I2C not initialized"_qs);

    unit.attachVexio();
    unit.attachExpanders();
    EXPECT_TRUE(select(u"Dev1"_qs));
    EXPECT_TRUE(hardware.vexioPresent() && hardware.dioPresent());
    EXPECT_EQ(presence.count(), 1);
    EXPECT_EQ(unit.openTasks(), TasksWithoutUnits + 2) << "and two interrupt lines";
    unit.failFunction("ReadDigitalLines"); // nothing polls yet
    time.advance(1000);
    settle();
    EXPECT_EQ(unit.count("ReadDigitalLines"), 0U);
    info->deselect();
    EXPECT_FALSE(hardware.vexioPresent() || hardware.dioPresent());
    settle();
    EXPECT_EQ(unit.openTasks(), 0);
    EXPECT_EQ(time.activeTimers(), 0);
}

TEST_F(HardwareUnitsTest, ExpandersAreSetUpForTheSensorsThatThereAre)
{
    unit.attachExpanders();
    unit.withMcu([](I2cSlave& mcu) { mcu.registers[0x04] = 8; });
    ASSERT_TRUE(select(u"Dev1"_qs));
    EXPECT_TRUE(log.has(u"Configuring for Plover (8-channel) hardware - outputs normal"_qs));
    unit.withMcu([](I2cSlave& mcu) { mcu.registers[0x04] = 16; });
    ASSERT_TRUE(select(u"Dev1"_qs));
    EXPECT_TRUE(log.has(u"Configuring for Kestrel Box (16-channel) hardware - outputs INVERTED"_qs));
}

// A data line that is held low reads as zeros, and was a unit for animals of type 0.
TEST_F(HardwareUnitsTest, WhatAHeldDataLineReadsAsIsNoHeader)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    const auto isRead = [this] {
        return answerOf<std::optional<MCUHeader>>([&](auto done) { info->getMCUHeader(done); })
            .value_or(std::nullopt)
            .has_value();
    };
    EXPECT_TRUE(isRead());
    unit.withMcu([](I2cSlave& mcu) { mcu.registers[1] = 3; });
    EXPECT_TRUE(isRead()) << "a unit for other animals records its raw signals";
    EXPECT_TRUE(log.hasPart(u"map revision 1 (should be 1), animal type 3"_qs));
    unit.withMcu([](I2cSlave& mcu) { mcu.registers.fill(0); });
    EXPECT_FALSE(isRead());
}

// A recording's stimulation goes on after the unit was unplugged: what the user has set is set again.
TEST_F(HardwareUnitsTest, RecoveryRebuildsEverything)
{
    unit.attachVexio();
    unit.attachExpanders();
    StimulationHardware& hardware = info->stimulation();
    ASSERT_TRUE(select(u"Dev1"_qs));
    QSignalSpy light(info.get(), &DAQInfo::ledStateChanged);
    info->toggleLEDCtrl();
    hardware.updateCageEnableConfig(0x0F);
    hardware.setOutputHold(0x0102);
    info->startVexioPolling();
    info->startDIORecording(16);
    settle();
    EXPECT_EQ(light.count(), 1);
    EXPECT_TRUE(log.has(u"Led enable set to -- 1 -- (0 is LEDs off - on plover)."_qs));

    unit.failFunction("WriteDigitalU32");
    settle();
    unit.failFunction("");
    unit.withVexio([](I2cSlave& slave) { slave.registers.fill(0); });
    for (const std::size_t i : {0U, 1U})
        unit.withExpander(i, [](I2cSlave& slave) { slave.registers.fill(0); });
    const auto lightWrites = log.count(u"Led enable set to -- 1 -- (0 is LEDs off - on plover)."_qs);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), true);
    EXPECT_EQ(unit.deadHandleCalls(), 0);
    EXPECT_TRUE(hardware.vexioPresent() && hardware.dioPresent());
    EXPECT_EQ(log.count(u"Led enable set to -- 1 -- (0 is LEDs off - on plover)."_qs), lightWrites + 1);
    const auto latch = [this](std::size_t i) {
        return unit.withExpander(i, [](I2cSlave& slave) { return slave.registers[0x14]; });
    };
    EXPECT_EQ(latch(0), 0xFD);
    EXPECT_EQ(latch(1), 0xFE);

    std::ignore = vexioTraffic(unit);
    hardware.activateStimulation(0x01);
    settle();
    EXPECT_THAT(vexioTraffic(unit),
                testing::HasSubstr("S 10+ 08+ S 11+ <00- P S 10+ 0C+ S 11+ <00+ <00- P S 10+ 08+ 0F+ P"))
        << "the next stimulation writes the mask";
    unit.forgetCalls();
    time.advance(150);
    settle();
    EXPECT_EQ(unit.count("ReadDigitalLines"), 1U + 3U) << "both lines are polled again";

    // Other than a recovery, the end of the selection leaves no output on. The variant, and with it the
    // polarity, stays what it was at the selection.
    unit.withMcu([](I2cSlave& mcu) { mcu.registers[0x04] = 8; });
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), true);
    EXPECT_EQ(latch(0), 0xFD);
    info->deselect();
    settle();
    EXPECT_EQ(latch(0), 0xFF);
    EXPECT_EQ(latch(1), 0xFF);
}

TEST_F(HardwareUnitsTest, StimulationOvertakesWhatWaits)
{
    unit.attachVexio();
    ASSERT_TRUE(select(u"Dev1"_qs));
    std::ignore = vexioTraffic(unit);
    unit.hangFunction("ReadDigitalU32");
    StimulationHardware& hardware = info->stimulation();
    info->probeI2C([](bool) {});
    ASSERT_TRUE(unit.waitForHang()); // one transfer is under way
    hardware.readAllCages();
    hardware.clearAllActivationCounters();
    info->getMCUHeader([](const std::optional<MCUHeader>&) {});
    hardware.updateCageEnableConfig(0x01);
    qint64 writtenUs = -1;
    hardware.activateStimulation(0x01, [&](bool, qint64 us) { writtenUs = us; });
    unit.release();
    settle();
    EXPECT_EQ(writtenUs, time.monotonicUs());
    EXPECT_THAT(vexioTraffic(unit), testing::StartsWith("S 10+ 08+ 01+ P S 10+ 32+ S 11+ <00- P "
                                                        "S 10+ 08+ S 11+ <01- P S 10+ 08+ 01+ P "
                                                        "S 10+ 0A+ S 11+ <79- P S 10+ 00+ 01+ P "
                                                        "S 10+ 38+ S 11+"))
        << "in the order of the requests, and before the 64 bytes that were asked for first";
}

TEST_F(HardwareUnitsTest, StimulationCutsInOnALongOperation)
{
    unit.attachVexio();
    ASSERT_TRUE(select(u"Dev1"_qs));
    std::ignore = vexioTraffic(unit);
    unit.hangFunction("WriteDigitalU32");
    StimulationHardware& hardware = info->stimulation();
    hardware.clearAllActivationCounters();
    ASSERT_TRUE(unit.waitForHang()); // in the first counter's transfer
    hardware.stopStimulation(0x80);
    unit.release();
    settle();
    EXPECT_THAT(vexioTraffic(unit), testing::StartsWith("S 10+ 3C+ 00+ 00+ P S 10+ 04+ 80+ P S 10+ 44+"));
}

TEST_F(HardwareUnitsTest, StatusByteIsPolledForEvents)
{
    unit.withMcu([](I2cSlave& mcu) { mcu.clearedByReading[0x0A] = 0x03; });
    setStatus(unit, 0x07);
    ASSERT_TRUE(select(u"Dev1"_qs));
    QSignalSpy button(info.get(), &DAQInfo::pushButtonPressed);
    QSignalSpy count(info.get(), &DAQInfo::sensorCountChanged);
    QSignalSpy shorted(info.get(), &DAQInfo::sensorShorted);
    const auto poll = [this] {
        time.advance(500);
        settle();
    };
    poll();
    EXPECT_EQ(button.count() + count.count(), 0) << "no events yet";
    EXPECT_EQ(shorted.count(), 1) << "but a state";
    unit.withMcu([](I2cSlave& mcu) { mcu.registers[0x04] = 5; });
    for (int press = 1; press <= 3; ++press) { // nobody else reads in between
        setStatus(unit, 0x07);
        time.advance(500);
        std::ignore = answerOf<bool>([&](auto done) { info->isDevicePresent(done); });
        EXPECT_EQ(button.count(), press);
    }
    settle();
    ASSERT_EQ(count.count(), 1) << "the same number is told once";
    EXPECT_EQ(count[0][0].toInt(), 5);
    setStatus(unit, 0x00);
    poll();
    ASSERT_EQ(shorted.count(), 2);
    EXPECT_TRUE(shorted[0][0].toBool());
    EXPECT_FALSE(shorted[1][0].toBool());

    unit.failFunction("WriteDigitalU32"); // unplugged: the first look that fails is the last
    poll();
    unit.failFunction("");
    unit.forgetCalls();
    time.advance(10'000);
    EXPECT_EQ(time.activeTimers(), 0);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->recoverI2CSession(done); }), true);
    setStatus(unit, 0x01);
    poll();
    EXPECT_EQ(button.count(), 4);
}

// ---- EEPROM ----

TEST_F(HardwareUnitsTest, EepromWordsGoThroughTheWindow)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.withMcu([](I2cSlave& mcu) {
        mcu.registers[0x09] = 0x02;
        mcu.forgetTranscript();
    });
    const auto traffic = [this] {
        return unit.withMcu([](I2cSlave& mcu) {
            const std::string seen = mcu.transcript();
            mcu.forgetTranscript();
            return seen;
        });
    };
    const auto command = [this] {
        return int{unit.withMcu([](I2cSlave& mcu) { return mcu.registers[0x4C]; })};
    };
    std::optional<bool> isWritten;
    std::optional<std::optional<quint16>> word;
    info->writeDataEE(0x24, 0xBEEF, [&](bool ok) { isWritten = ok; });
    info->readDataEE(0x24, [&](std::optional<quint16> value) { word = value; });
    settle();
    std::string seen = traffic();
    EXPECT_THAT(seen, testing::MatchesRegex(
                          "S 10\\+ 09\\+ S 11\\+ <02- P S 10\\+ 09\\+ 22\\+ P S 10\\+ 3C\\+ 00\\+ P "
                          "S 10\\+ 3D\\+ 24\\+ P S 10\\+ 3E\\+ EF\\+ BE\\+ P S 10\\+ 4C\\+ ..\\+ P .*0A.*"));
    EXPECT_EQ(command() >> 4, ~command() & 0x0F) << "one nibble is the complement of the other";
    EXPECT_THAT(command() & 0x0F, testing::AllOf(testing::Ge(1), testing::Le(14)));
    EXPECT_FALSE(isWritten.has_value()) << "the unit writes for 6 ms";
    time.advance(6);
    EXPECT_EQ(isWritten, true);
    settle();
    EXPECT_THAT(traffic(), testing::MatchesRegex(
                               "S 10\\+ 09\\+ S 11\\+ <22- P S 10\\+ 09\\+ 22\\+ P S 10\\+ 3C\\+ 00\\+ P "
                               "S 10\\+ 3D\\+ 25\\+ P S 10\\+ 4C\\+ ..\\+ P S 10\\+ 3E\\+ S 11\\+ "
                               "<EF\\+ <BE- P.*"));
    ASSERT_TRUE(word.has_value());
    EXPECT_EQ(*word, quint16{0xBEEF});

    unit.withMcu([](I2cSlave& mcu) { mcu.isSilent = true; });
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->writeDataEE(0, 1, done); }), false);
    EXPECT_EQ(answerOf<std::optional<quint16>>([&](auto done) { info->readDataEE(0, done); }),
              std::make_optional(std::optional<quint16>()));
}

TEST_F(HardwareUnitsTest, OddEepromAddressesAreRefused)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.forgetCalls();
    EXPECT_EQ(answerOf<std::optional<quint16>>([&](auto done) { info->readDataEE(3, done); }),
              std::make_optional(std::optional<quint16>()));
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->writeDataEE(5, 1, done); }), false);
    EXPECT_EQ(answerOf<bool>([&](auto done) { info->writeDataEE(256, 1, done); }), false);
    EXPECT_TRUE(unit.calls().empty());
    EXPECT_TRUE(log.hasInOrder({u"DAQInfo::readDataEE: address must be even: 3"_qs,
                                u"DAQInfo::writeDataEE: address must be even: 5"_qs,
                                u"DAQInfo::writeDataEE: address out of range: 256"_qs}));
}

// ---- build information ----

TEST_F(HardwareUnitsTest, BuildInformationIsFreshOrFromTheCache)
{
    const std::array<std::uint8_t, 16> raw{17,  'M', 'a', 'r', 25,  9,   41,  '2',
                                           '.', '5', '0', '1', '.', '4', '.', '2'};
    const QString text = u"built=Mar-17-2025 09:41 compilerVer=2.50 fwVer=1.4.2"_qs;
    QSignalSpy available(info.get(), &DAQInfo::buildInfoAvailable);
    const auto readHeader = [&](int told) {
        std::ignore = answerOf<std::optional<MCUHeader>>([&](auto done) { info->getMCUHeader(done); });
        while (available.count() < told && available.wait())
            continue;
        ASSERT_EQ(available.count(), told);
    };
    info->handleBuildInfoCaptured(decodeBuildInfo(raw), true);
    EXPECT_TRUE(log.has(u"DAQInfo::handleBuildInfoCaptured - no serial for selected device"_qs));

    ASSERT_TRUE(select(u"Dev1"_qs));
    unit.withMcu([](I2cSlave& mcu) { mcu.registers[0x0C] = 0; });
    readHeader(1);
    EXPECT_TRUE(log.has(u"DAQ build-info [unknown] serial=42 (fresh read invalid, no valid cache)"_qs));
    EXPECT_FALSE(available.last()[1].toBool());

    unit.withMcu([&raw](I2cSlave& mcu) { std::copy(raw.begin(), raw.end(), mcu.registers.begin() + 0x0C); });
    readHeader(1); // once per session with the device
    info->resetBuildInfoLatch();
    readHeader(2);
    EXPECT_TRUE(log.has(u"DAQ build-info [fresh] serial=42 "_qs + text));
    EXPECT_TRUE(QFile::exists(cachePath()));

    unit.withMcu([](I2cSlave& mcu) { mcu.registers[0x0C] = 99; });
    ASSERT_TRUE(select(u"Dev1"_qs));
    readHeader(3);
    EXPECT_TRUE(log.has(u"DAQ build-info [cache] serial=42 "_qs + text));
    EXPECT_EQ(available.last()[0].value<DaqBuildInfo>(), decodeBuildInfo(raw));
    EXPECT_TRUE(available.last()[1].toBool());
}

// A pipe that nobody writes to is a disk that does not answer.
#ifdef __unix__ // pipes in the file system
TEST_F(HardwareUnitsTest, BuildInformationOnADiskThatHangsHoldsNothingUp)
{
    const QString pipe = folder.filePath(u"builds.json"_qs);
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    info->setBuildInfoCachePath(pipe);
    QSignalSpy available(info.get(), &DAQInfo::buildInfoAvailable);
    ASSERT_TRUE(select(u"Dev1"_qs));
    EXPECT_TRUE(answerOf<std::optional<MCUHeader>>([&](auto done) { info->getMCUHeader(done); }).has_value());
    settle();
    EXPECT_TRUE(answerOf<bool>([&](auto done) { info->probeI2C(done); }).value_or(false));
    EXPECT_EQ(available.count(), 0);
    QFile writer(pipe);
    ASSERT_TRUE(writer.open(QIODevice::WriteOnly));
    writer.close();
    EXPECT_TRUE(available.count() == 1 || available.wait());
}
#endif

TEST_F(HardwareUnitsTest, LightThatFailsKeepsItsState)
{
    ASSERT_TRUE(select(u"Dev1"_qs));
    QSignalSpy light(info.get(), &DAQInfo::ledStateChanged);
    unit.forgetCalls();
    info->toggleLEDCtrl();
    settle();
    EXPECT_EQ(unit.calls().front(), "WriteDigitalU32(1, 1, 1, 1.0, 0: 8)");
    unit.failFunction("WriteDigitalU32");
    info->toggleLEDCtrl();
    settle();
    EXPECT_TRUE(log.has(u"ledCtrl::setLEDCTRL  DAQ ERROR extended text"_qs));
    unit.failFunction("");
    info->toggleLEDCtrl();
    settle();
    ASSERT_EQ(light.count(), 2);
    EXPECT_FALSE(light[1][0].toBool()) << "on, failed, off";
}

} // namespace vt::test
