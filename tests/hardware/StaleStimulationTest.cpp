// SPDX-License-Identifier: GPL-3.0-or-later
// Stimulation that waited for a slow driver: what has become too old, or was stopped meanwhile, is never
// carried out.
#include "DAQInfoFixture.h"
#include "hardware/StimulationHardware.h"

#include <QRegularExpression>
#include <gmock/gmock.h>

namespace vt::test {

namespace {

using testing::ElementsAre;

class StaleStimulationTest : public DAQInfoTest
{
protected:
    StaleStimulationTest()
    {
        unit.attachVexio();
        unit.attachExpanders();
        EXPECT_TRUE(select(u"Dev1"_qs));
        hardware.updateCageEnableConfig(0x0F);
        settle();
        forgetTraffic();
    }
    void forgetTraffic()
    {
        std::ignore = vexioTraffic();
        unit.withExpander(0, [](I2cSlave& slave) { slave.forgetTranscript(); });
    }
    std::string vexioTraffic()
    {
        return unit.withVexio([](I2cSlave& slave) {
            const std::string seen = slave.transcript();
            slave.forgetTranscript();
            return seen;
        });
    }
    std::string expanderTraffic()
    {
        return unit.withExpander(0, [](I2cSlave& slave) { return slave.transcript(); });
    }
    /// Masks that were written to the registers that start and stop cages, in order: "start 03", "stop 01".
    std::vector<std::string> commands()
    {
        static const QRegularExpression command(u"S 10\\+ 0([04])\\+ (..)\\+ P"_qs);
        std::vector<std::string> found;
        for (const auto& match : command.globalMatch(QString::fromStdString(vexioTraffic())))
            found.push_back((match.captured(1) == u'0' ? "start " : "stop ") +
                            match.captured(2).toStdString());
        return found;
    }
    /// Blocks the hardware thread in a transfer of the microcontroller.
    void block()
    {
        unit.hangFunction("ReadDigitalU32");
        info->probeI2C([](bool) {});
        ASSERT_TRUE(unit.waitForHang());
    }
    void release()
    {
        unit.release();
        settle();
    }
    void activate(std::uint8_t cageMask)
    {
        hardware.activateStimulation(cageMask, [this](bool success, qint64) { answers.push_back(success); });
    }

    StimulationHardware& hardware = info->stimulation();
    std::vector<bool> answers;
};

const auto droppedLine = u"StimulationHardware: activation dropped, older than 1000 ms"_qs;

} // namespace

TEST_F(StaleStimulationTest, IsDroppedAfterASecondAndToldOncePerRun)
{
    block();
    activate(0x01);
    hardware.pulseOutputs(0x0001);
    hardware.setOutputHold(0x0001);
    activate(0x02);
    time.advance(1);
    activate(0x04);
    time.advance(1000);
    release();
    EXPECT_THAT(answers, ElementsAre(false, false, true));
    EXPECT_THAT(commands(), ElementsAre("start 04")) << "1000 ms old: just in time";
    EXPECT_EQ(expanderTraffic(), "");
    EXPECT_EQ(log.count(droppedLine), 1);

    block();
    activate(0x01);
    time.advance(1001);
    release();
    EXPECT_THAT(commands(), ElementsAre());
    EXPECT_EQ(log.count(droppedLine), 2);
}

TEST_F(StaleStimulationTest, WhatEndsItOvertakesItAndTakesItsCages)
{
    block();
    activate(0x03);
    hardware.pulseOutputs(0x0003);
    activate(0x05);
    hardware.stopStimulation(0x05);
    hardware.clearOutput(0x0003);
    activate(0x0C);
    hardware.updateCageEnableConfig(0x06);
    activate(0x01);
    release();
    EXPECT_THAT(answers, ElementsAre(true, false, true, true));
    EXPECT_THAT(commands(), ElementsAre("stop 05", "start 02", "start 04", "start 01"))
        << "what was asked for after the stop counts";
    EXPECT_EQ(log.count(droppedLine), 0);
    EXPECT_THAT(expanderTraffic(), testing::MatchesRegex("S 40. 14. FF. P.*")) << "off";
    EXPECT_THAT(expanderTraffic(), testing::Not(testing::HasSubstr("14+ FC+")));
}

// A profile may be shorter than the activation of the unit that its pulse waits for.
TEST_F(StaleStimulationTest, AnOutputWhoseTimeIsOverIsPulsedAllTheSame)
{
    block();
    activate(0x01);
    hardware.pulseOutputs(0x0001);
    hardware.setOutputHold(0x0001);
    hardware.endOutputHold(0x0001);
    release();
    EXPECT_EQ(expanderTraffic(), "S 40+ 14+ FE+ P S 40+ 14+ FE+ P S 4E- P S 40+ 14+ FE+ P S 4E- P");
    unit.withExpander(0, [](I2cSlave& slave) { slave.forgetTranscript(); });
    time.advance(50);
    settle();
    EXPECT_EQ(expanderTraffic(), "S 40+ 14+ FF+ P S 4E- P");
}

TEST_F(StaleStimulationTest, NothingThatWaitsOutlivesAPauseOrTheSelection)
{
    block();
    activate(0x03);
    hardware.pulseOutputs(0x0003);
    hardware.setOutputHold(0x0003);
    hardware.cancelPending();
    activate(0x04);
    release();
    EXPECT_THAT(answers, ElementsAre(false, true));
    EXPECT_THAT(commands(), ElementsAre("start 04"));
    EXPECT_EQ(expanderTraffic(), "");

    block();
    activate(0x03);
    info->deselect();
    release();
    EXPECT_THAT(answers, ElementsAre(false, true, false));
    EXPECT_THAT(commands(), ElementsAre());
}

// The driver can hang in the transfers before the one that starts the cages.
TEST_F(StaleStimulationTest, IsLookedAtAgainRightBeforeTheCagesStart)
{
    struct Case
    {
        const char* name;
        std::function<void()> meanwhile;
        std::string end; ///< of the traffic, after what comes before every activation
    };
    const Case cases[]{
        {"in time", [&] { time.advance(1000); }, " S 10+ 00+ 03+ P"},
        {"too late", [&] { time.advance(1001); }, ""},
        {"paused", [&] { hardware.cancelPending(); }, ""},
        {"stopped", [&] { hardware.stopStimulation(0x07); }, " S 10+ 04+ 07+ P"},
        {"one cage stopped", [&] { hardware.stopStimulation(0x01); }, " S 10+ 00+ 02+ P S 10+ 04+ 01+ P"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        unit.hangFunction("WriteDigitalU32");
        activate(0x03);
        ASSERT_TRUE(unit.waitForHang());
        c.meanwhile();
        release();
        EXPECT_EQ(vexioTraffic(), "S 10+ 32+ S 11+ <00- P S 10+ 08+ S 11+ <0F- P S 10+ 08+ 0F+ P "
                                  "S 10+ 0A+ S 11+ <79- P" +
                                      c.end);
        time.advance(1000); // the cages' data have been read again
        settle();
        forgetTraffic();
    }
    EXPECT_THAT(answers, ElementsAre(true, false, false, false, true));
}

} // namespace vt::test
