// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationController.h"
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "hardware/StimulationRows.h"

#include <QTemporaryDir>
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>

namespace vt {
namespace {

/// Ten o'clock on a Monday; a controller whose signals are written down as texts, "name mask [...]".
class Stimulation : public testing::Test
{
protected:
    Stimulation()
    {
        using C = StimulationController;
        const auto masks = [this](const char* name) {
            return
                [this, name](std::uint16_t mask) { note(QStringLiteral("%1 %2").arg(text(name)).arg(mask)); };
        };
        QObject::connect(&controller, &C::activateVexioStimulation, masks("activate"));
        QObject::connect(&controller, &C::updateVexioCageEnable, masks("enable"));
        QObject::connect(&controller, &C::stopVexioStimulation, masks("stop"));
        QObject::connect(&controller, &C::pulseDioOutput, masks("pulse"));
        QObject::connect(&controller, &C::setDioOutputHold, masks("hold"));
        QObject::connect(&controller, &C::clearDioOutput, masks("clear"));
        QObject::connect(&controller, &C::outsideStimulationPeriod, [this] { note(text("outside")); });
        QObject::connect(&controller, &C::setVexioCageDuration, [this](int mask, int duration) {
            note(QStringLiteral("duration %1 %2").arg(mask).arg(duration));
        });
        QObject::connect(&controller, &C::writeVexioCageConfigs, [this](const auto& configs) {
            note(QStringLiteral("write %1").arg(configs.size()));
        });
        QObject::connect(&controller, &C::stimulationTriggered, [this](int mask, const QString& reason) {
            note(QStringLiteral("triggered %1 %2").arg(mask).arg(reason));
        });
        QObject::connect(&controller, &C::extTriggerInputsLost, masks("lost"));
        QObject::connect(&controller, &C::extTriggerInputsRestored, [this] { note(text("restored")); });
        QObject::connect(&controller, &C::watchDioInputs, [this](bool on) { isWatching = on; });
    }

    static QString text(const char* latin1) { return QString::fromLatin1(latin1); }
    void note(const QString& event) { m_events << event; }
    /// What has been signalled since the last call, joined by ", ".
    std::string events() { return std::exchange(m_events, {}).join(QStringLiteral(", ")).toStdString(); }

    void run(StimulationProtocol protocol, std::uint16_t enabled)
    {
        controller.setProtocol(protocol);
        controller.setCageEnableMask(enabled);
        controller.start();
        m_events.clear();
    }
    void decide(const std::vector<bool>& sleeping, const std::vector<double>& statistics = {})
    {
        controller.handleNewSleepDecision(sleeping, {}, statistics);
    }
    /// Allows stimulation on Mondays from 10:00 on, or from another minute, for a minute only.
    void openWindowForAMinute(int minute = 0)
    {
        controller.setScheduleEntries({{{text("days"), QVariantHash{{text("monday"), true}}},
                                        {text("startTime"), QTime(10, minute)},
                                        {text("endTime"), QTime(10, minute + 1)}}});
    }
    /// Time passes while the inputs are read every 500 ms; those of the second port expander only when told.
    void pass(int milliseconds, std::uint16_t inputs, std::uint16_t readMask = 0xFFFF)
    {
        for (int passed = 0; passed < milliseconds; passed += 500) {
            time.advance(500);
            controller.handleDioInputsRead(inputs, readMask);
        }
    }
    [[nodiscard]] bool logged(const char* line) const { return log.has(text(line)); }
    void openLog() { controller.initStimFile(m_logPath); }
    /// The log's rows without header, date and line ends.
    [[nodiscard]] std::vector<std::string> rows() const
    {
        QFile file(m_logPath);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        std::vector<std::string> rows;
        for (const QByteArray& line : file.readAll().split('\n').mid(1)) {
            QList<QByteArray> cells = line.split(',');
            cells.remove(cells.size() > 1 ? 1 : 0);
            if (!cells.isEmpty())
                rows.push_back(cells.join(',').toStdString());
        }
        return rows;
    }

    test::LogCapture log;
    test::FakeTimeSource time;
    bool isWatching = false;
    StimulationController controller{time, nullptr, 5489};

private:
    QTemporaryDir m_folder;
    const QString m_logPath = m_folder.filePath(QStringLiteral("r_Stim.csv"));
    QStringList m_events;
};

TEST_F(Stimulation, SleepersAreStimulatedAtEveryDecisionPastTheThreshold)
{
    controller.setVexioPresent(true);
    controller.setExtTriggerMask(0b100);
    decide({true, true, true}); // not running
    run(StimulationProtocol::SleepBased, 0b101);
    decide({true, true, true});
    EXPECT_EQ(events(), "");
    time.advance(2000);
    decide({true, true, true});
    time.advance(2000);
    decide({true, true, true});
    EXPECT_EQ(events(), "activate 1, triggered 1 Sleep-based, activate 1, triggered 1 Sleep-based");
    controller.stop();
    time.advance(2000);
    decide({true});
    controller.start(); // who sleeps is learned anew
    decide({true});
    EXPECT_EQ(events(), "enable 5"); // and no profiles are known to write
}

TEST_F(Stimulation, ActivityIsTheDecisionStatistic)
{
    controller.setVexioPresent(true);
    controller.setActivityThreshold(1.5);
    run(StimulationProtocol::ActivityBased, 0xFF);
    controller.handleActivityData(std::vector<double>(20, 100.0));
    EXPECT_EQ(controller.activityLevels().size(), 16U);
    decide({false, true, false}, {1.5, 1.6, -3.0});
    EXPECT_EQ(events(), "activate 2, triggered 2 ActivityBased");
}

TEST_F(Stimulation, OutsideTheScheduleDecisionsStimulateNothing)
{
    openWindowForAMinute();
    run(StimulationProtocol::ActivityBased, 0xFF);
    time.advance(60000);
    for (int i = 0; i < 3; ++i)
        decide({true}, {1.0});
    decide({true}, {-1.0}); // nobody due
    EXPECT_EQ(events(), "outside, outside, outside");
    EXPECT_EQ(log.count(text("StimulationController: ActivityBased stimulation due but outside stim period")),
              1);
    controller.triggerManualStimulation();
    EXPECT_TRUE(logged("StimulationController: Manual stim requested but outside stim period"));
}

TEST_F(Stimulation, OpenLoopKeepsItsInterval)
{
    controller.setVexioPresent(true);
    openWindowForAMinute();
    controller.setOpenLoopConfig(20000, 40000, false);
    run(StimulationProtocol::OpenLoop, 0);
    EXPECT_TRUE(
        logged("StimulationController: Open-loop config - min: 20000 ms, max: 40000 ms, random: false"));
    EXPECT_TRUE(logged("StimulationController: Open-loop timer started, interval: 20000 ms"));
    time.advance(20000);
    EXPECT_TRUE(logged("StimulationController: Open-loop timeout but no cages enabled"));
    controller.setCageEnableMask(0b11);
    time.advance(10000);
    controller.setOpenLoopConfig(20000, 50000, false); // already runs at 20 s: is not restarted
    time.advance(10000);
    EXPECT_EQ(events(), "enable 3, activate 3, triggered 3 Open-loop timer");
    time.advance(20000); // 10:01
    EXPECT_TRUE(logged("StimulationController: Open-loop timeout but outside stim period"));
    EXPECT_EQ(events(), "outside");
    controller.setScheduleEntries({});
    controller.setOpenLoopConfig(5000, 5000, false);
    time.advance(5000);
    EXPECT_EQ(events(), "activate 3, triggered 3 Open-loop timer");
    controller.setProtocol(StimulationProtocol::SleepBased);
    EXPECT_TRUE(logged("StimulationController: Open-loop timer stopped"));
    EXPECT_EQ(time.activeTimers(), 0);
    controller.setProtocol(StimulationProtocol::OpenLoop);
    controller.setOpenLoopConfig(0, 5000, false);
    EXPECT_EQ(time.activeTimers(), 0);
}

TEST_F(Stimulation, OpenLoopDrawsItsIntervals)
{
    controller.setVexioPresent(true);
    EXPECT_TRUE(logged("StimulationController: Random seed 5489"));
    controller.setOpenLoopConfig(60000, 120000, true);
    run(StimulationProtocol::OpenLoop, 1);
    time.advance(60000); // the first one is the minimum
    EXPECT_EQ(events(), "activate 1, triggered 1 Open-loop timer");
    // 60000 + floor(60001 u / 2^32) for the Mersenne Twister's first outputs 3499211612 and 581869302
    EXPECT_TRUE(logged("StimulationController: Next random interval: 108884 ms (range: 60000 - 120000)"));
    time.advance(108883);
    EXPECT_EQ(events(), "");
    time.advance(1);
    EXPECT_EQ(controller.openLoopIntervalMs(), 68128);
    EXPECT_EQ(events(), "activate 1, triggered 1 Open-loop timer");
    controller.setOpenLoopConfig(60000, 50000, true); // no range
    time.advance(60000);
    time.advance(60000);
    EXPECT_EQ(events(), "activate 1, triggered 1 Open-loop timer, activate 1, triggered 1 Open-loop timer");
}

TEST_F(Stimulation, TriggeredCagesAreLeftOutOfTheProtocols)
{
    controller.setVexioPresent(true);
    controller.setDioPresent(true);
    controller.triggerManualStimulation();
    EXPECT_TRUE(logged("StimulationController: Manual stim requested but no cages enabled"));
    controller.setCageEnableMask(0b0110);
    controller.setExtTriggerMask(0b1100);
    EXPECT_EQ(events(), "enable 6, enable 14"); // a triggered cage must be enabled in the unit, too
    EXPECT_TRUE(
        logged("StimulationController::setExtTriggerMask - Ext trigger mask set to 0b0000000000001100 "
               "cageEnableMask: 0b0000000000000110"));
    openLog();
    controller.triggerManualStimulation();
    EXPECT_EQ(events(), "activate 2, pulse 2, hold 2, triggered 2 Manual trigger");
    EXPECT_TRUE(logged("StimulationController: Manual trigger stimulation of cages: 0b0000000000000010"
                       "  (ext-trig excluded: 0b0000000000000100)"));
    controller.setExtTriggerMask(0b0110);
    events();
    controller.triggerManualStimulation();
    EXPECT_EQ(events(), "");
    EXPECT_EQ(rows().size(), 1U);
}

TEST_F(Stimulation, ExternalTriggersStartRekickAndStopTheirCages)
{
    controller.setVexioPresent(true);
    controller.setActiveChannelCount(3);
    controller.setExtTriggerMask(0b011);
    run(StimulationProtocol::ManualTrigger, 0);
    openLog();
    controller.handleDioInputState(0b101); // input 3 is not a trigger
    controller.handleDioInputState(0b001); // no edge
    EXPECT_EQ(events(), "activate 1, triggered 1 ExtTrigger");
    EXPECT_TRUE(logged("StimulationController: Ext trigger RISING EDGE for cages: 0b0000000000000001"));
    pass(5000, 0b001);
    controller.handleDioInputState(0b011);
    EXPECT_EQ(events(), "activate 2, triggered 2 ExtTrigger");
    pass(4500, 0b011);
    EXPECT_EQ(events(), "activate 3, triggered 3 ExtTrigger-Rekick");
    EXPECT_TRUE(logged("StimulationController: Ext trigger RE-KICK for cages: 0b0000000000000011"));
    controller.handleDioInputState(0b010);
    EXPECT_EQ(events(), "stop 1");
    pass(9500, 0b010);
    EXPECT_EQ(events(), "activate 2, triggered 2 ExtTrigger-Rekick");
    controller.handleDioInputState(0);
    EXPECT_TRUE(
        logged("StimulationController: Ext trigger FALLING EDGE, stopping cages: 0b0000000000000010"));
    EXPECT_TRUE(logged("StimulationController: All ext trigger inputs LOW, stopping re-kick timer"));
    EXPECT_EQ(time.activeTimers(), 0);
    const std::vector<std::string> wanted{
        "digInput,Ext.Trig_High,1,0,0",
        "Stim,ExtTrigger,1,2,3,0/0.00/0.0,-/-/-,-/-/-",
        "digInput,Ext.Trig_High,0,1,0",
        "Stim,ExtTrigger,1,2,3,-/-/-,0/0.00/0.0,-/-/-",
        "Stim,ExtTrigger-Rekick,1,2,3,0/0.00/0.0,0/0.00/0.0,-/-/-",
        "digInput,Ext.Trig_Low,1,0,0",
        "Stim,ExtTrigger-Rekick,1,2,3,-/-/-,0/0.00/0.0,-/-/-",
        "digInput,Ext.Trig_Low,0,1,0",
    };
    EXPECT_EQ(rows(), wanted);
    controller.handleDioInputState(0b01);
    controller.stop();
    events();
    EXPECT_EQ(time.activeTimers(), 0);
    controller.handleDioInputState(0b10); // stopped: nobody reacts
    EXPECT_EQ(events(), "");
}

TEST_F(Stimulation, ExternalTriggersKeepToTheSchedule)
{
    controller.setVexioPresent(true);
    openWindowForAMinute();
    controller.setExtTriggerMask(0b011);
    run(StimulationProtocol::ManualTrigger, 0);
    openLog();
    time.advance(55000);
    controller.handleDioInputState(0b001);
    events();
    pass(19000, 0b001); // 10:01:14
    EXPECT_TRUE(logged("StimulationController: Re-kick timer - outside stim period, stopping"));
    EXPECT_EQ(events(), "");
    controller.handleDioInputState(0b010); // the end of a trigger stops its cage all the same
    EXPECT_EQ(events(), "stop 1, outside");
    EXPECT_EQ(time.activeTimers(), 1) << "to see a window open";
    EXPECT_TRUE(logged("StimulationController: Outside stim period, clearing ext trigger tracking"));
    openWindowForAMinute(2);
    pass(46'000 + 9000, 0b010); // the window opens with the input still high
    EXPECT_EQ(events(), "");
    pass(1000, 0b010);
    EXPECT_EQ(events(), "activate 2, triggered 2 ExtTrigger-Rekick");
    EXPECT_EQ(std::ranges::count(rows(), "digInput,Ext.Trig_High,0,1,0"), 0);
    controller.handleDioInputState(0);
    EXPECT_EQ(events(), "stop 2");
}

// It was taken for an edge as soon as another input moved.
TEST_F(Stimulation, AnInputThatIsHighFromTheStartHasNotRisen)
{
    controller.setVexioPresent(true);
    controller.setActiveChannelCount(3);
    controller.setExtTriggerMask(0b011);
    controller.handleDioInputsRead(0b010, 0xFFFF); // before the start, or right after it
    run(StimulationProtocol::ManualTrigger, 0);
    openLog();
    pass(5000, 0b010);
    EXPECT_EQ(events(), "");
    controller.handleDioInputState(0b011);
    EXPECT_EQ(events(), "activate 1, triggered 1 ExtTrigger");
    pass(4500, 0b011);
    EXPECT_EQ(events(), "activate 3, triggered 3 ExtTrigger-Rekick");
    controller.handleDioInputState(0b001);
    EXPECT_EQ(events(), "stop 2");
    EXPECT_EQ(rows().front(), "digInput,Ext.Trig_High,1,0,0");
    controller.stop();
    run(StimulationProtocol::ManualTrigger, 0);
    pass(10'000, 0b001);
    EXPECT_EQ(events(), "activate 1, triggered 1 ExtTrigger-Rekick");
}

// An input was high when its port expander died: its cage was stimulated every 9.5 s for the rest of the
// night.
TEST_F(Stimulation, TriggersWhoseInputsCannotBeReadEndAndComeBack)
{
    struct Case
    {
        const char* name;
        std::function<void()> loss;
        const char* events;
    };
    constexpr std::uint16_t UpperInput = 0x0200;
    const Case cases[]{
        {"nobody answers", [&] { time.advance(2000); }, "stop 1, clear 513, lost 513"},
        {"the second port expander does not", [&] { pass(2000, 1, 0x00FF); }, "clear 512, lost 512"},
        {"the expanders are gone", [&] { controller.setDioPresent(false); }, "stop 1, clear 513, lost 513"},
    };
    controller.setVexioPresent(true);
    controller.setActiveChannelCount(10);
    controller.setExtTriggerMask(0x0203);
    controller.setCageDuration(0, 60000);
    controller.setCageDuration(9, 60000);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        controller.setDioPresent(true);
        run(StimulationProtocol::ManualTrigger, 0);
        openLog();
        controller.handleDioInputState(UpperInput | 1);
        EXPECT_TRUE(isWatching);
        pass(1500, UpperInput | 1);
        events();
        c.loss();
        EXPECT_EQ(events(), c.events);
        EXPECT_EQ(rows().back().substr(0, 21), "digInput,Ext.Trig_Low");
        EXPECT_TRUE(isWatching) << "or nobody would see them come back";
        controller.handleDioInputsRead(UpperInput | 1, 0x00FF);
        events();
        controller.handleDioInputState(UpperInput |
                                       1); // of a lost input only what was read long ago is known
        pass(20000, UpperInput | 1, 0x00FF);
        EXPECT_EQ(events().find("513"), std::string::npos);
        controller.setDioPresent(true);
        controller.handleDioInputsRead(UpperInput | 1, 0xFFFF);
        EXPECT_EQ(events(), "pulse 512, hold 512, triggered 512 ExtTrigger, restored");
        controller.handleDioInputsRead(0, 0xFFFF);
        controller.handleDioInputState(0);
        EXPECT_FALSE(isWatching);
        controller.stop();
        EXPECT_EQ(time.activeTimers(), 0);
        controller.closeStimFile();
        events();
    }
    // A cage that is taken from its trigger is let go, too.
    run(StimulationProtocol::ManualTrigger, 0);
    controller.handleDioInputState(0b11);
    events();
    controller.setExtTriggerMask(0b10);
    EXPECT_EQ(events(), "stop 1, clear 1, enable 2");
}

TEST_F(Stimulation, OutputsStayOnForTheCagesDurationAndGoOffWithTheNextTick)
{
    controller.setDioPresent(true);
    controller.setCageDuration(0, 120);
    controller.setCageDuration(9, 1000);
    controller.setCageDuration(16, 1000);
    EXPECT_TRUE(logged("StimulationController::setCageDuration - Invalid cage number: 16"));
    controller.setActiveChannelCount(10);
    run(StimulationProtocol::ManualTrigger, 0b1000000001);
    openLog();
    EXPECT_TRUE(log.hasPart(text("_Stim.csv (mode: DIO-only)")));
    controller.triggerManualStimulation();
    EXPECT_EQ(events(), "pulse 513, hold 513, triggered 513 Manual trigger");
    time.advance(149);
    EXPECT_EQ(events(), "");
    time.advance(1);
    EXPECT_EQ(events(), "clear 1");
    controller.triggerManualStimulation(); // stimulated again: stays on
    events();
    time.advance(900);
    EXPECT_EQ(events(), "clear 1");
    time.advance(200);
    EXPECT_EQ(events(), "clear 512");
    EXPECT_EQ(time.activeTimers(), 0);
    controller.triggerManualStimulation();
    events();
    controller.stop();
    EXPECT_EQ(events(), "clear 513");
    EXPECT_EQ(time.activeTimers(), 0);
    EXPECT_EQ(rows().front(), "digOutput,n/a,n/a,n/a,10,1,0,0,0,0,0,0,0,0,1");
}

TEST_F(Stimulation, SettingsReachTheUnitWithWhatWasDrawn)
{
    VexioSettings vexio;
    vexio.enabled = true;
    vexio.protocol = StimulationProtocol::OpenLoop;
    vexio.minIntervalMs = 90000;
    vexio.sleepDurationSec = 7;
    vexio.cageEnableMask = 0b001;
    vexio.extTriggerMask = 0b100;
    vexio.cages[0] = {100, 100, 20, 0, true, false, false};
    controller.setVexioPresent(true);
    controller.setActiveChannelCount(3);
    controller.applySettings(vexio, {});
    EXPECT_EQ(controller.cageConfigs()[0].frequency, 208); // 3499211612 / 2^24
    EXPECT_EQ(events(), "enable 4, enable 5");
    openLog();
    EXPECT_TRUE(log.hasPart(text("_Stim.csv (mode: OpenLoop)")));
    controller.start();
    EXPECT_EQ(events(), "write 8, enable 5");
    controller.setCageDuration(0, 3000);
    EXPECT_EQ(events(), "duration 1 6");
    time.advance(90000);
    controller.writeDiagRow(0x80, 1, 2, 3);
    EXPECT_EQ(rows(), (std::vector<std::string>{"Stim,Open-loop timer,1.5,7,3,3/2.96/3.9,-/-/-,-/-/-",
                                                "Diag,0x80,0x01,0x02,0x03"}));
    events();
    controller.applySettings(vexio, {});                  // while running: drawn anew, written at once
    EXPECT_EQ(controller.cageConfigs()[0].frequency, 34); // 581869302 / 2^24
    EXPECT_EQ(events(), "write 8, enable 5, enable 5");
    controller.setVexioPresent(false);
    controller.setVexioPresent(true); // was unplugged
    EXPECT_EQ(events(), "write 8, enable 5");
    vexio.enabled = false;
    controller.applySettings(vexio, {});
    EXPECT_EQ(controller.protocol(), StimulationProtocol::ManualTrigger);
    EXPECT_EQ(controller.cageEnableMask() | controller.extTriggerMask(), 0);
}

TEST_F(Stimulation, CagesThatNobodyRecordsOrNothingDrivesAreLeftAlone)
{
    VexioSettings vexio;
    vexio.enabled = true;
    vexio.cageEnableMask = 0xFF0F;
    vexio.extTriggerMask = 0x00F0;
    controller.setVexioPresent(true);
    controller.setActiveChannelCount(10);
    DioSettings dio;
    controller.applySettings(vexio, dio);
    EXPECT_EQ(controller.cageEnableMask(), 0x000F) << "the unit has eight cages";
    EXPECT_EQ(controller.extTriggerMask(), 0x00F0);
    dio.enabled = true;
    controller.applySettings(vexio, dio);
    EXPECT_EQ(controller.cageEnableMask(), 0x030F) << "outputs reach all that are recorded";
    controller.setActiveChannelCount(5);
    controller.applySettings(vexio, dio);
    EXPECT_EQ(controller.cageEnableMask(), 0x000F);
    EXPECT_EQ(controller.extTriggerMask(), 0x0010);

    // The outputs do not answer: a row for cage 9 would name a stimulation that nothing has driven.
    controller.setActiveChannelCount(10);
    controller.setCageEnableMask(0x0100);
    openLog();
    controller.start();
    events();
    controller.triggerManualStimulation();
    EXPECT_EQ(events(), "");
    controller.setCageEnableMask(0x0101);
    events();
    controller.triggerManualStimulation();
    EXPECT_EQ(events(), "activate 1, triggered 1 Manual trigger");
    EXPECT_EQ(rows(),
              std::vector<std::string>{"Stim,Manual trigger,1,2,10,0/0.04/0.0,-/-/-,-/-/-,-/-/-,-/-/-,-/-/-,"
                                       "-/-/-,-/-/-,-/-/-,-/-/-"});
}

TEST_F(Stimulation, DigitalOutputsAloneStimulateAllChannels)
{
    DioSettings dio;
    dio.enabled = true;
    dio.openLoop = true;
    dio.stimIntervalMin = 0.5;
    VexioSettings absentUnit;
    absentUnit.enabled = true;
    absentUnit.cageEnableMask = 1;
    controller.setDioPresent(true);
    controller.setActiveChannelCount(16);
    controller.start();
    controller.applySettings(absentUnit, dio);
    EXPECT_TRUE(logged("StimulationController: Standalone DIO mode, enabling all 16 channels"));
    EXPECT_TRUE(
        logged("StimulationController::handleDioConfigChanged - enabled: true openLoop: true interval: 0.5 "
               "sleepDuration: 2"));
    EXPECT_EQ(controller.cageEnableMask(), 0xFFFF);
    events();
    time.advance(30000);
    EXPECT_EQ(events(), "pulse 65535, hold 65535, triggered 65535 Open-loop timer");
    time.advance(30);
    controller.triggerManualStimulation();
    events();
    time.advance(69); // a tick in between does not cut the second pulse short
    EXPECT_EQ(events(), "");
    time.advance(1);
    EXPECT_EQ(events(), "clear 65535");
    controller.handleDioConfigChanged(true, false, 0.5, 9);
    EXPECT_EQ(controller.protocol(), StimulationProtocol::SleepBased);
    controller.handleDioConfigChanged(false, false, 0.5, 9);
    EXPECT_TRUE(logged("StimulationController: DIO disabled, switching to ManualTrigger protocol"));
    EXPECT_EQ(controller.protocol(), StimulationProtocol::ManualTrigger);
}

TEST_F(Stimulation, ConfigurationChangesOnlyTakeBackTheirOwnProtocol)
{
    const auto protocolAfter = [this](StimulationProtocol before, const auto& change) {
        controller.setProtocol(before);
        change();
        return controller.protocol();
    };
    using P = StimulationProtocol;
    const auto openLoop = [this](bool enabled) {
        return [this, enabled] { controller.handleOpenLoopConfigChanged(enabled, 7, 8, false, {}); };
    };
    const auto sleepBased = [this](bool enabled) {
        return [this, enabled] { controller.handleSleepBasedConfigChanged(enabled, 3, {}); };
    };
    EXPECT_EQ(protocolAfter(P::SleepBased, openLoop(true)), P::OpenLoop);
    EXPECT_EQ(protocolAfter(P::OpenLoop, openLoop(false)), P::ManualTrigger);
    EXPECT_EQ(protocolAfter(P::SleepBased, openLoop(false)), P::SleepBased);
    EXPECT_EQ(protocolAfter(P::OpenLoop, sleepBased(true)), P::SleepBased);
    EXPECT_EQ(protocolAfter(P::SleepBased, sleepBased(false)), P::ManualTrigger);
    EXPECT_EQ(protocolAfter(P::ActivityBased, sleepBased(false)), P::ActivityBased);
}

TEST_F(Stimulation, LatencyRunsFromTheFrameToTheRegisterWrite)
{
    controller.setVexioPresent(true);
    run(StimulationProtocol::ActivityBased, 0xFF);
    controller.noteDecisionFrameArrival(time.monotonicUs());
    decide({true}, {-1.0}); // nobody due: this arrival is over
    decide({true}, {1.0});
    controller.noteActivationReturned(controller.activationRequest(), time.monotonicUs());
    controller.noteDecisionFrameArrival(time.monotonicUs());
    time.advance(12);
    decide({true}, {1.0});
    time.advance(30);
    controller.noteActivationReturned(controller.activationRequest(), time.monotonicUs());
    EXPECT_TRUE(logged("StimulationController: Latency from frame to register write: 42.0 ms"));
    controller.logLatencySummary();
    EXPECT_TRUE(
        logged("StimulationController: Latency from frame to register write, 1 stimulations: median 42.0 ms, "
               "95th percentile 42.0 ms, maximum 42.0 ms"));
}

} // namespace
} // namespace vt
