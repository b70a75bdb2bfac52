// SPDX-License-Identifier: GPL-3.0-or-later
// The stimulation unit's test of its speakers, and its status registers.
#include "VexioFixture.h"

namespace vt::test {

TEST_F(VexioTest, DiagnosticsRunToTheThirdCycle)
{
    init();
    vexio->updateCageEnableConfig(0x0F);
    setRegister(0x32, 0xC2);
    setRegister(0x34, 254);
    setRegister(0x0C, 0xFF);
    QSignalSpy complete(vexio.get(), &VEXIO::diagnosticsComplete);
    QSignalSpy results(vexio.get(), &VEXIO::speakerDiagnosticsResults);
    forgetTraffic();
    vexio->runSpeakerDiagnostics();
    EXPECT_EQ(traffic(), joined({read("0A", "<00"), read("08", "<0F"), written("04+ FF"), written("0C+ 00"),
                                 written("0D+ 00"), read("34", "<FE"), read("32", "<C2"), written("32+ 82"),
                                 written("32+ C2")}));
    vexio->runSpeakerDiagnostics();
    traffic();
    EXPECT_FALSE(vexio->activateStimulation(1));
    vexio->stopStimulation(1);
    vexio->setCageDuration(1, 1);
    vexio->updateCageEnableConfig(0x33);
    EXPECT_EQ(traffic(), "") << "nothing cuts in on diagnostics";
    EXPECT_TRUE(log.hasInOrder(
        {u"VEXIO::activateStimulation - Blocked during diagnostics"_qs,
         u"VEXIO::stopStimulation - Blocked during diagnostics"_qs,
         u"VEXIO::setCageDuration - Blocked during diagnostics"_qs,
         u"VEXIO::updateCageEnableConfig - Blocked during diagnostics, saving for later: 0b00110011"_qs}));

    setRegister(0x34, 0); // two cycles
    time.advance(10);
    EXPECT_EQ(traffic(), read("34", "<00"));
    setSilent(true);
    time.advance(10);
    setSilent(false);
    traffic();
    setRegister(0x34, 1);
    setRegister(0x0D, 0x81); // cages 5 and 8
    time.advance(10);
    EXPECT_EQ(traffic(), joined({read("34", "<01"), written("32+ 82"), read("32", "<82"), read("08", "<0F"),
                                 written("08+ 33"), read("0C", "<00+ <81")}));
    EXPECT_TRUE(log.hasInOrder(
        {u"VEXIO::pollDiagnosticsCounter - Failed to read diagnostic counter, retrying..."_qs,
         u"Diagnostic counter incremented to 1 (+ 3 ) after 3 polls"_qs,
         u"VEXIO::finishDiagnostics - REG_BSCONFIG was updated during diagnostics, writing 0x33"_qs,
         u"=== Base Shaker Speaker Faults (All Cages) ==="_qs, u"Cage 1: OK (connected)"_qs,
         u"Cage 5: FAULT - Open speaker (disconnected)"_qs,
         u"Cage 8: FAULT - Shorted terminals (+ to -)"_qs}));
    ASSERT_EQ(complete.count(), 1);
    EXPECT_EQ(lastMessage(complete), Message(true, u"Diagnostics complete: 2 fault(s) detected"_qs));
    EXPECT_EQ(results.last()[1].value<std::uint8_t>(), 0x81);
    EXPECT_EQ(vexio->configMask(), 0x33);
    EXPECT_EQ(time.activeTimers(), 0);
    EXPECT_TRUE(vexio->activateStimulation(1));
}

TEST_F(VexioTest, DiagnosticsTimeOutAndStillWriteThePendingMask)
{
    init();
    vexio->updateCageEnableConfig(0x0F);
    QSignalSpy complete(vexio.get(), &VEXIO::diagnosticsComplete);
    setRegister(0x32, 0x05);
    vexio->runSpeakerDiagnostics();
    EXPECT_EQ(registerValue(0x32), 0x45);
    vexio->updateCageEnableConfig(0x30);
    setRegister(0x34, 2);
    time.advance(3990);
    EXPECT_EQ(complete.count(), 0);
    forgetTraffic();
    time.advance(10);
    EXPECT_EQ(traffic(),
              joined({read("34", "<02"), written("32+ 05"), read("08", "<0F"), written("08+ 30")}));
    EXPECT_EQ(lastMessage(complete), Message(false, u"Timeout waiting for diagnostics"_qs));
    EXPECT_EQ(vexio->configMask(), 0x30);
    EXPECT_EQ(time.activeTimers(), 0);
}

// Zeros that nobody had read stood in the log and took a known speaker fault back.
TEST_F(VexioTest, ActivationWithoutPowerTellsWhatWasReadLast)
{
    init();
    QSignalSpy status(vexio.get(), &VEXIO::diagnosticsStatusRead);
    setRegister(0x0B, 0x10);
    setRegister(0x0C, 0x29);
    vexio->readDiagnosticsStatus();
    setRegister(0x0A, 0x80);
    EXPECT_TRUE(vexio->activateStimulation(0x01));
    ASSERT_EQ(status.count(), 2);
    EXPECT_EQ(status[1], (QVariantList{QVariant::fromValue<std::uint8_t>(0x80), status[0][1], status[0][2],
                                       status[0][3]}));
}

TEST_F(VexioTest, DiagnosticsThatCannotStartSayWhy)
{
    init();
    QSignalSpy complete(vexio.get(), &VEXIO::diagnosticsComplete);
    QSignalSpy status(vexio.get(), &VEXIO::diagnosticsStatusRead);
    setRegister(0x0A, 0x80);
    vexio->runSpeakerDiagnostics();
    EXPECT_EQ(lastMessage(complete),
              Message(false, u"12V power not present - connect power supply to run diagnostics"_qs));
    setRegister(0x0A, 0x02);
    setRegister(0x0D, 0x40);
    vexio->runSpeakerDiagnostics();
    EXPECT_EQ(lastMessage(complete), Message(false, u"No cages enabled - enable at least one cage to run "
                                                    "speaker diagnostics (12V power present)"_qs));
    ASSERT_EQ(status.count(), 1);
    EXPECT_EQ(status.last()[3].value<std::uint8_t>(), 0x40);

    vexio->updateCageEnableConfig(0x01);
    struct Case
    {
        int trap; ///< the unit goes silent when this register is addressed
        const char* message;
    };
    for (const Case& c :
         {Case{0x34, "Failed to read diagnostic counter"}, Case{0x32, "Failed to read Reg50"}}) {
        unit.withVexio([&c](I2cSlave& slave) { slave.trapRegister = c.trap; });
        vexio->runSpeakerDiagnostics();
        EXPECT_EQ(lastMessage(complete), Message(false, QString::fromLatin1(c.message)));
        unit.withVexio([](I2cSlave& slave) {
            slave.trapRegister = -1;
            slave.isSilent = false;
        });
        EXPECT_EQ(time.activeTimers(), 0);
        EXPECT_TRUE(vexio->activateStimulation(1)) << "diagnostics are not active";
        time.advance(200);
    }
}

} // namespace vt::test
