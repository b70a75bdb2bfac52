// SPDX-License-Identifier: GPL-3.0-or-later
// What the stimulation unit sees on its bus, byte by byte, and what becomes of its answers.
#include "VexioFixture.h"

namespace vt::test {

using VEXIO_NS::CageConfig;

TEST_F(VexioTest, InitialisationVerifiesAndDisablesTheUnit)
{
    ASSERT_TRUE(vexio->initVexio(bus.get(), 8));
    EXPECT_EQ(traffic(), joined({written("77+ AA"), read("77", "<AA"), written("3C+ 00+ 00"),
                                 written("44+ 00+ 00"), written("4C+ 00+ 00"), written("54+ 00+ 00"),
                                 written("5C+ 00+ 00"), written("64+ 00+ 00"), written("6C+ 00+ 00"),
                                 written("74+ 00+ 00"), written("08+ 00"), written("0A+ 79"),
                                 written("0B+ 90"), read("78", "<78+ <56+ <34+ <12+ <01+ <00+ <10")}));
    EXPECT_TRUE(log.hasInOrder(
        {u"VEXIO::initVexio - Initializing Vexio device at 0x10"_qs,
         u"VEXIO::initVexio - Read test register 0x77: 0xAA"_qs, u"*** Vexio device verified at 0x10 ***"_qs,
         u"=== Clearing Sticky Fault Bits ==="_qs,
         u"VEXIO::clearStickyBits - Register 0x0A cleared bits: 0x 79"_qs,
         u"Cleared System Status sticky bits (0x0A mask 0x79)"_qs,
         u"Cleared Sys Extra Status sticky bits (0x0B mask 0x90)"_qs, u"=== Sticky Bits Cleared ==="_qs,
         u"VEXIO::initVexio - Initialization writes complete"_qs,
         u"=== Vexio Unit Information (Reg 0x78-0x7E) ==="_qs, u"Serial number: 305419896"_qs,
         u"Configuration: 0x0001 (OK, expected 0x0001)"_qs, u"Table version: 0x10 (OK, expected 0x10)"_qs}));
}

TEST_F(VexioTest, UnusableUnitLeavesNoBus)
{
    EXPECT_FALSE(vexio->initVexio(nullptr, 8));
    EXPECT_TRUE(log.has(u"VEXIO::initVexio - NULL I2C pointer"_qs));
    unit.withVexio([](I2cSlave& slave) { slave.stuckRegister = 0x77; });
    EXPECT_FALSE(vexio->initVexio(bus.get(), 8));
    EXPECT_TRUE(log.has(u"VEXIO::initVexio - ERROR: Device not responding correctly"_qs));
    setSilent(true);
    EXPECT_FALSE(vexio->initVexio(bus.get(), 8));
    EXPECT_TRUE(log.has(u"VEXIO::initVexio - ERROR: Write test failed"_qs));
    forgetTraffic();

    QSignalSpy operations(vexio.get(), &VEXIO::operationComplete);
    QSignalSpy diagnostics(vexio.get(), &VEXIO::diagnosticsComplete);
    EXPECT_FALSE(vexio->activateStimulation(1));
    EXPECT_EQ(lastMessage(operations), Message(false, u"Stimulation failed: I2C not initialized"_qs));
    vexio->writeAllCagesToHardware(QList<CageConfig>(8));
    EXPECT_EQ(lastMessage(operations), Message(false, u"I2C not initialized"_qs));
    vexio->clearAllActivationCounters();
    vexio->runSpeakerDiagnostics();
    EXPECT_EQ(lastMessage(diagnostics), Message(false, u"I2C not initialized"_qs));
    vexio->readCageStatusFromHardware();
    vexio->updateCageEnableConfig(1);
    vexio->startStatusPolling();
    EXPECT_TRUE(log.has(u"VEXIO::updateCageEnableConfig - I2C not initialized"_qs));
    EXPECT_EQ(traffic(), "");
    EXPECT_EQ(time.activeTimers(), 0);
}

// The worst case: interrupted diagnostics, a mask that a brown-out has cleared, speaker faults, and a cage
// that is not enabled.
TEST_F(VexioTest, ActivationChecksAndResyncsInOrder)
{
    init();
    vexio->updateCageEnableConfig(0x05);
    setRegister(0x08, 0x00);
    setRegister(0x32, 0xC1);
    setRegister(0x0A, 0x04);
    setRegister(0x0C, 0x29); // cages 1 to 4: open, shorted, shorted, none
    forgetTraffic();
    QSignalSpy operations(vexio.get(), &VEXIO::operationComplete);
    QSignalSpy cages(vexio.get(), &VEXIO::cageDataRead);
    time.advance(7);
    EXPECT_EQ(vexio->activateStimulation(0x0D), VEXIO::Activation(time.monotonicUs()));
    EXPECT_EQ(traffic(),
              joined({read("32", "<C1"), written("32+ 81"), read("08", "<00"), read("0C", "<29+ <00"),
                      written("08+ 05"), read("0A", "<04"), read("0C", "<29+ <00"), written("00+ 0D")}));
    EXPECT_TRUE(log.hasInOrder(
        {u"VEXIO: Clearing diagnostic mode before stimulation"_qs,
         u"VEXIO: *** HARDWARE CLEARED REG_BSCONFIG! *** Last: 0b00000101 Current: 0b00000000"_qs,
         u"  Cage 1 speaker fault: Open"_qs, u"  Cage 3 speaker fault: Shorted"_qs,
         u"VEXIO: WARNING - Requested cages 0b00001101 but only 0b00000101 enabled in BSCONFIG"_qs,
         u"VEXIO: WARNING - Cage 1 speaker fault: Open"_qs}));
    EXPECT_FALSE(log.hasPart(u"Cage 2 speaker fault"_qs)) << "not enabled";
    EXPECT_EQ(lastMessage(operations), Message(true, u"Stimulation activated for 3 cage(s)"_qs));

    setRegister(0x38 + 2 * 8 + 1, 0x7F);
    setRegister(0x38 + 2 * 8 + 4, 0x34);
    setRegister(0x38 + 2 * 8 + 5, 0x12);
    time.advance(199);
    EXPECT_EQ(cages.count(), 0);
    time.advance(1);
    ASSERT_EQ(cages.count(), 8);
    EXPECT_EQ(cages[2][0].value<std::uint8_t>(), 2);
    EXPECT_EQ(cages[2][2].value<std::uint8_t>(), 0x7F);
    EXPECT_EQ(cages[2][5].value<std::uint16_t>(), 0x1234);

    traffic();
    EXPECT_TRUE(vexio->activateStimulation(0x01));
    EXPECT_EQ(traffic(), joined({read("32", "<81"), read("08", "<05"), written("08+ 05"), read("0A", "<04"),
                                 read("0C", "<29+ <00"), written("00+ 01")}))
        << "nothing to clear any more, resync all the same";
    EXPECT_FALSE(vexio->activateStimulation(0));
    EXPECT_EQ(traffic(), "");
    setSilent(true);
    EXPECT_FALSE(vexio->activateStimulation(1));
    EXPECT_EQ(lastMessage(operations), Message(false, u"Stimulation failed: I2C write error"_qs));
}

// A data line that is held low acknowledges everything and reads as zeros: every stimulation seemed to work.
TEST_F(VexioTest, ALineThatIsHeldLowIsNoUnit)
{
    init();
    vexio->updateCageEnableConfig(0x01);
    QSignalSpy answering(vexio.get(), &VEXIO::answeringChanged);
    vexio->startStatusPolling();
    vexio->stopStimulation(0x02);
    forgetTraffic();
    unit.holdVexioLow(true);
    vexio->stopStimulation(0x01);
    EXPECT_TRUE(vexio->activateStimulation(0x02)) << "nobody can know yet";
    time.advance(100);
    EXPECT_TRUE(log.hasPart(u"held low"_qs));
    EXPECT_FALSE(vexio->activateStimulation(0x02));
    time.advance(10'000);
    ASSERT_EQ(answering.count(), 1);
    EXPECT_FALSE(answering.last()[0].toBool());
    vexio->updateCageEnableConfig(0x03);
    EXPECT_EQ(traffic(), "");
    unit.holdVexioLow(false);
    time.advance(8000);
    EXPECT_EQ(answering.count(), 2);
    const std::string seen = traffic();
    EXPECT_THAT(seen, testing::HasSubstr(written("04+ 01"))) << "the order that nobody had taken";
    EXPECT_EQ(registerValue(0x08), 0x03);
    EXPECT_TRUE(vexio->activateStimulation(0x02));

    // A unit that was without power takes the test value.
    setRegister(0x77, 0);
    setRegister(0x08, 0);
    traffic();
    time.advance(10'000);
    EXPECT_THAT(traffic(), testing::HasSubstr(joined({read("77", "<00"), written("77+ AA"), read("77", "<AA"),
                                                      read("08", "<00")})));
    EXPECT_EQ(registerValue(0x08), 0x03);
    EXPECT_EQ(answering.count(), 2);

    // Nothing is enabled any more, and the unit does not take it.
    vexio->stopStatusPolling();
    setSilent(true);
    vexio->updateCageEnableConfig(0);
    setSilent(false);
    time.advance(100);
    EXPECT_EQ(registerValue(0x08), 0);
    EXPECT_EQ(time.activeTimers(), 0);
}

TEST_F(VexioTest, SettingsThatDidNotArriveAreWrittenBeforeTheNextActivation)
{
    init();
    setSilent(true);
    vexio->updateCageEnableConfig(0x03);
    vexio->writeAllCagesToHardware(QList<CageConfig>(8, {0x44, 0x7F, 0x04, 0x01}));
    vexio->setCageDuration(0x01, 0x09);
    setSilent(false);
    forgetTraffic();
    EXPECT_TRUE(vexio->activateStimulation(0x01));
    const std::string resync = joined({read("08", "<00"), read("0C", "<00+ <00"), written("08+ 03")});
    EXPECT_EQ(traffic(), joined({read("32", "<00"), resync, written("38+ 44+ 7F+ 09+ 01"), read("0A", "<00"),
                                 written("00+ 01")}));
    EXPECT_TRUE(vexio->activateStimulation(0x01));
    EXPECT_THAT(traffic(), testing::Not(testing::HasSubstr("38+"))) << "once";
    EXPECT_TRUE(vexio->activateStimulation(0x02));
    EXPECT_THAT(traffic(), testing::HasSubstr(written("40+ 44+ 7F+ 04+ 01")));

    // A brown-out takes the profiles with the mask.
    for (int address = 0; address < 0x78; ++address)
        setRegister(static_cast<std::uint8_t>(address), 0);
    EXPECT_TRUE(vexio->activateStimulation(0x03));
    EXPECT_EQ(traffic(), joined({read("32", "<00"), resync, written("38+ 44+ 7F+ 09+ 01"),
                                 written("40+ 44+ 7F+ 04+ 01"), read("0A", "<00"), written("00+ 03")}));
    // So may a cable that was out: the unit gets all of it when it answers again.
    QSignalSpy answering(vexio.get(), &VEXIO::answeringChanged);
    vexio->startStatusPolling();
    setSilent(true);
    time.advance(500 + 1000 + 2000);
    ASSERT_EQ(answering.count(), 1);
    setSilent(false);
    setRegister(0x08, 0);
    forgetTraffic();
    time.advance(4000);
    EXPECT_THAT(traffic(),
                testing::AllOf(testing::StartsWith(joined({read("09", "<00+ <00"), read("08", "<00"),
                                                           written("38+ 44+ 7F+ 09+ 01")})),
                               testing::HasSubstr(joined({written("70+ 44+ 7F+ 04+ 01"), resync}))));
    ASSERT_EQ(answering.count(), 2);
    EXPECT_TRUE(answering.last()[0].toBool());
}

TEST_F(VexioTest, LostSupplyStopsAllAndSettles)
{
    init();
    vexio->updateCageEnableConfig(0xFF);
    QSignalSpy lost(vexio.get(), &VEXIO::powerFaultDetected);
    QSignalSpy restored(vexio.get(), &VEXIO::powerRestored);
    QSignalSpy hot(vexio.get(), &VEXIO::overTempDetected);
    QSignalSpy changed(vexio.get(), &VEXIO::systemStatusChanged);
    QSignalSpy active(vexio.get(), &VEXIO::cageStatusRead);
    forgetTraffic();
    setRegister(0x09, 0x12);
    vexio->startStatusPolling();
    EXPECT_EQ(traffic(), read("09", "<12+ <00"));
    EXPECT_EQ(active.last()[0].value<std::uint8_t>(), 0x12);

    setRegister(0x0A, 0x81);
    time.advance(500);
    EXPECT_EQ(traffic(), joined({read("09", "<12+ <81"), written("04+ FF")}));
    EXPECT_EQ(changed.last()[0].value<std::uint8_t>(), 0x80) << "no temperature without 12 V";
    EXPECT_EQ(lost.count(), 1);
    time.advance(2000);
    traffic();
    EXPECT_EQ(lost.count(), 1) << "an edge";
    EXPECT_FALSE(vexio->activateStimulation(1));
    EXPECT_TRUE(log.has(u"VEXIO::activateStimulation - Skipped: 12V power not present (cached status)"_qs));

    setRegister(0x0A, 0x00);
    time.advance(500);
    EXPECT_EQ(restored.count(), 1);
    traffic();
    vexio->stopStatusPolling();
    time.advance(999);
    EXPECT_FALSE(vexio->activateStimulation(1));
    EXPECT_TRUE(log.has(
        u"VEXIO::activateStimulation - Skipped: within 1000 ms 12V settle window ( 999 ms since edge)"_qs));
    EXPECT_EQ(traffic(), "");
    time.advance(1);
    EXPECT_TRUE(vexio->activateStimulation(1));

    setRegister(0x0A, 0x01);
    vexio->readCageStatusFromHardware();
    vexio->readCageStatusFromHardware();
    EXPECT_EQ(hot.count(), 1);
    EXPECT_EQ(changed.count(), 3);
}

// A cage that is not stopped is an animal that is shaken on: the order is given until the unit has taken it.
TEST_F(VexioTest, AStopThatFailedIsRepeatedAndToldOnce)
{
    init();
    QSignalSpy unstopped(vexio.get(), &VEXIO::unstoppedCagesChanged);
    const auto told = [&] { return int{unstopped.last()[0].value<std::uint8_t>()}; };
    const std::string refused = "S 10- P";
    setSilent(true);
    vexio->stopStimulation(0x01);
    vexio->stopStimulation(0x02);
    EXPECT_EQ(traffic(), refused + " " + refused);
    setSilent(false);
    time.advance(99);
    EXPECT_EQ(traffic(), "");
    time.advance(1);
    EXPECT_EQ(traffic(), written("04+ 03"));
    EXPECT_EQ(unstopped.count(), 0) << "nothing to tell";
    setSilent(true);
    vexio->stopStimulation(0x06);
    time.advance(100 + 200 + 400 + 800 + 1599);
    EXPECT_EQ(unstopped.count(), 0);
    time.advance(60'001);
    ASSERT_EQ(unstopped.count(), 1);
    EXPECT_EQ(told(), 0x06);
    EXPECT_THAT(traffic(), testing::HasSubstr(joined(std::vector(20, refused))))
        << "nobody polls the status: it goes on trying";
    setSilent(false);
    EXPECT_TRUE(vexio->activateStimulation(0x02)); // what is started anew need not be stopped
    EXPECT_EQ(told(), 0x04);
    setSilent(true);
    vexio->readCageStatusFromHardware();
    setSilent(false);
    traffic();
    vexio->readCageStatusFromHardware();
    EXPECT_THAT(traffic(), testing::HasSubstr(written("04+ 04"))) << "it answers again";
    EXPECT_EQ(told(), 0);
    EXPECT_EQ(unstopped.count(), 3);
    unit.failFunction("WriteDigitalU32");
    vexio->stopStimulation(0x01);
    EXPECT_EQ(told(), 0x01) << "the bus has failed, at once";
}

TEST_F(VexioTest, SilentUnitIsToldOnceAndAskedLessOften)
{
    init();
    vexio->startStatusPolling();
    setSilent(true);
    const auto polls = [this] { return log.count(u"Device select NAK"_qs); };
    time.advance(500);
    EXPECT_EQ(polls(), 1);
    time.advance(999);
    EXPECT_EQ(polls(), 1) << "1 s, then 2, 4, 8, 8";
    time.advance(1 + 2000 + 4000 + 8000 + 8000);
    EXPECT_EQ(polls(), 6);
    EXPECT_EQ(log.count(u"VEXIO::readCageStatusFromHardware - I2C read failed for "
                        "REG_BSACTIVE/REG_SYSTEM_STATUS (polling continues)"_qs),
              1);
    QSignalSpy cagesFailed(vexio.get(), &VEXIO::cageDataReadFailed);
    QSignalSpy statusFailed(vexio.get(), &VEXIO::diagnosticsStatusReadFailed);
    vexio->readAllCagesFromHardware();
    vexio->readDiagnosticsStatus();
    EXPECT_EQ(cagesFailed.count(), 1);
    EXPECT_EQ(statusFailed.count(), 1);
    setSilent(false);
    QSignalSpy active(vexio.get(), &VEXIO::cageStatusRead);
    time.advance(8000 + 500 + 500);
    EXPECT_EQ(active.count(), 3);
}

TEST_F(VexioTest, CageRequests)
{
    init();
    QSignalSpy operations(vexio.get(), &VEXIO::operationComplete);
    for (const int size : {7, 9}) {
        vexio->writeAllCagesToHardware(QList<CageConfig>(size));
        EXPECT_EQ(lastMessage(operations), Message(false, u"Invalid data size - expected 8 cages"_qs));
    }
    EXPECT_FALSE(vexio->writeCageConfig(8, {}));
    EXPECT_FALSE(vexio->clearActivationCounter(-1));
    vexio->stopStimulation(0);
    EXPECT_EQ(traffic(), "");

    QList<CageConfig> configs(8);
    configs[7] = {0x11, 0x22, 0x33, 0x02, 999};
    vexio->writeAllCagesToHardware(configs);
    EXPECT_EQ(lastMessage(operations), Message(true, u"Wrote 8/8 cages"_qs));
    const std::string writes = traffic();
    EXPECT_THAT(writes, testing::StartsWith(joined({written("04+ FF"), written("38+ 00+ 00+ 00+ 00"),
                                                    written("40+ 00+ 00+ 00+ 00")})));
    EXPECT_THAT(writes, testing::EndsWith(written("70+ 11+ 22+ 33+ 02")));
    vexio->setCageDuration(0x81, 0x09);
    EXPECT_EQ(traffic(), joined({written("3A+ 09"), written("72+ 09")}));
    EXPECT_TRUE(log.has(u"VEXIO::setCageDuration - Set duration 9 for cages: 0b10000001"_qs));
    vexio->stopStimulation(0x03);
    EXPECT_EQ(traffic(), written("04+ 03"));
    vexio->updateCageEnableConfig(0xC0);
    EXPECT_EQ(traffic(), written("08+ C0"));

    int cuts = 0;
    vexio->setBetweenTransfers([&] {
        if (++cuts == 3)
            setSilent(true); // cages 3 to 8 fail
    });
    vexio->clearAllActivationCounters();
    EXPECT_EQ(lastMessage(operations), Message(false, u"Cleared 2 activation counters, 6 failed"_qs));
    vexio->writeAllCagesToHardware(configs);
    EXPECT_EQ(lastMessage(operations), Message(false, u"Wrote 0/8 cages"_qs));
}

TEST_F(VexioTest, RefreshStepsAsideForWhatIsUrgentAndComesBack)
{
    init();
    QSignalSpy cages(vexio.get(), &VEXIO::cageDataRead);
    bool isWaiting = true;
    vexio->setUrgentWaiting([&] { return isWaiting; });
    vexio->readAllCagesFromHardware();
    EXPECT_EQ(traffic(), read("38", "<00+ <00"));
    EXPECT_EQ(cages.count(), 0);
    EXPECT_FALSE(log.contains("VEXIO::readAllCagesFromHardware - I2C read failed"));
    isWaiting = false;
    time.advance(200);
    EXPECT_EQ(cages.count(), 8);
}

// At 1 ms per driver call the 64 bytes take 1.6 s.
TEST_F(VexioTest, SlowRefreshLetsPollsInAtEveryCage)
{
    init();
    QSignalSpy cages(vexio.get(), &VEXIO::cageDataRead);
    for (int cage = 0; cage < 8; ++cage)
        setRegister(static_cast<std::uint8_t>(0x38 + 8 * cage), static_cast<std::uint8_t>(cage + 1));
    vexio->setUrgentWaiting([&] {
        time.advance(25); // asked once per byte
        return false;
    });
    vexio->readAllCagesFromHardware();
    EXPECT_EQ(traffic(), read("38", "<01+ <00+ <00+ <00+ <00+ <00+ <00+ <00"));
    time.advance(0);
    EXPECT_THAT(traffic(), testing::StartsWith("S 10+ 40+ S 11+ <02+"));
    time.advance(0);
    vexio->setUrgentWaiting([] { return false; });
    for (int step = 0; step < 8; ++step)
        time.advance(0);
    ASSERT_EQ(cages.count(), 8);
    for (int cage = 0; cage < 8; ++cage)
        EXPECT_EQ(cages[cage][1].value<std::uint8_t>(), cage + 1);
}

TEST_F(VexioTest, InterruptLineIsToldOncePerFault)
{
    init();
    unit.setInterruptLine("/port0/line7", false);
    ASSERT_TRUE(vexio->initInterruptTask(u"Dev1"_qs));
    vexio->startInterruptPolling();
    EXPECT_EQ(traffic(), joined({written("0A+ 79"), written("0B+ 90"), read("0A", "<79+ <90+ <00+ <00")}));
    EXPECT_TRUE(log.has(u"VEXIO::startInterruptPolling - Cleared pending status: SysStatus=0x 79 "
                        "SysExtra=0x 90 SpkFaults1-4=0x 00 SpkFaults5-8=0x 00"_qs));
    const QString detected = u"Vexio interrupt detected on port0/line7!"_qs;
    time.advance(450);
    EXPECT_EQ(unit.count("ReadDigitalLines"), 3U);
    EXPECT_FALSE(log.has(detected));
    unit.setInterruptLine("/port0/line7", true);
    time.advance(450);
    EXPECT_EQ(log.count(detected), 1);
    unit.failFunction("ReadDigitalLines");
    time.advance(450);
    EXPECT_EQ(log.count(u"VEXIO::checkForInterrupt DAQ error reading interrupt line (polling continues): "
                        "extended text"_qs),
              1);
    unit.failFunction("");
    vexio->stopInterruptPolling();
    time.advance(450);
    EXPECT_EQ(unit.count("ReadDigitalLines"), 9U);
    EXPECT_EQ(traffic(), "") << "a look at the line is no transfer";
}

} // namespace vt::test
