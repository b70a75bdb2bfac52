// SPDX-License-Identifier: GPL-3.0-or-later
// Which faults of the unit and its hardware are told while a recording runs, and that they go with their
// cause.
#include "session/UnitHealth.h"
#include "SessionHarness.h"

#include <QSignalSpy>
#include <algorithm>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

class UnitHealthTest : public testing::Test
{
protected:
    explicit UnitHealthTest(bool autoResume = true)
        : harness({.channels = 2, .autoResume = autoResume, .devicesOnFakeTime = true})
    {}
    [[nodiscard]] bool begin(bool isStimulating, bool usesOutputs = false)
    {
        if (!harness.select())
            return false;
        RecordingSetup setup = harness.setup();
        setup.vexio = VexioSettings{};
        setup.vexio->enabled = isStimulating;
        setup.vexio->cageEnableMask = 0b01;
        setup.dio = DioSettings{};
        setup.dio->enabled = usesOutputs;
        harness.session->record(setup);
        return SessionHarness::waitUntil(
                   [this] { return harness.session->state() == SessionState::Recording; }) &&
               harness.waitForDevice();
    }
    void fault(const char* command) { ASSERT_TRUE(harness.unit.applyFaultCommand(QLatin1String(command))); }
    [[nodiscard]] std::vector<HardwareFault> told() const
    {
        std::vector<HardwareFault> faults;
        for (const HardwareProblem& problem : harness.session->unitHealth().problems())
            faults.push_back(problem.fault);
        return faults;
    }
    /// Lets the recording go on until exactly these are told.
    [[nodiscard]] bool tells(const std::vector<HardwareFault>& faults)
    {
        return harness.passUntil([&] { return harness.deliver(1) == 1 && told() == faults; }, 1);
    }

    SessionHarness harness;
};

class LostUnitTest : public UnitHealthTest
{
protected:
    LostUnitTest() : UnitHealthTest(false) {}
};

} // namespace

using enum HardwareFault;

TEST_F(UnitHealthTest, FaultsComeAndGoWithTheirCauseTheWorstFirst)
{
    ASSERT_TRUE(begin(true));
    ASSERT_TRUE(tells({}));
    const QSignalSpy changed(&harness.session->unitHealth(), &UnitHealth::changed);
    fault("shorted 2");
    ASSERT_TRUE(tells({SensorShorted}));
    EXPECT_GE(changed.count(), 1);
    const QDateTime since = harness.session->unitHealth().problems()[0].since;
    fault("vexio overtemp on");
    ASSERT_TRUE(tells({TooHot, SensorShorted}));
    EXPECT_EQ(harness.session->unitHealth().problems()[1].since, since);
    EXPECT_TRUE(harness.session->unitHealth().problems()[1].isWarning);
    fault("vexio 12v off");
    ASSERT_TRUE(tells({NoPower, SensorShorted})) << "without 12 V nothing is known of the temperature";
    fault("vexio 12v on");
    ASSERT_TRUE(tells({TooHot, SensorShorted}));
    fault("shorted 0");
    ASSERT_TRUE(tells({TooHot}));
    fault("vexio overtemp off");
    fault("vexio absent");
    ASSERT_TRUE(tells({StimulationSilent, TooHot})) << "the unit keeps its mark";
    fault("vexio present"); // as after power-up
    ASSERT_TRUE(tells({}));
    fault("vexio absent");
    ASSERT_TRUE(tells({StimulationSilent}));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_TRUE(told().empty()) << "nobody misses it any more";
}

// A data line that is held low acknowledges everything: nothing was told, and nothing was stimulated.
TEST_F(UnitHealthTest, LinesThatAreHeldLowAreToldOnceAndUntilTheyAreReleased)
{
    ASSERT_TRUE(begin(true, true));
    ASSERT_TRUE(tells({}));
    const auto shown = [&] { return harness.user.shown.count(u"stimulationAway"_s); };
    fault("hold dio 1000000000");
    ASSERT_TRUE(tells({OutputsSilent}));
    fault("hold vexio 1000000000");
    ASSERT_TRUE(tells({StimulationSilent, OutputsSilent}));
    EXPECT_EQ(harness.session->status().stimulation.state, StimulationStatus::State::NoUnit);
    const qsizetype told = shown();
    EXPECT_EQ(harness.deliver(30 * 60), 30 * 60);
    EXPECT_EQ(shown(), told);
    fault("hold vexio 0");
    ASSERT_TRUE(tells({OutputsSilent}));
    EXPECT_EQ(harness.session->status().stimulation.state, StimulationStatus::State::Unit);
    fault("hold dio 0");
    ASSERT_TRUE(tells({}));
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST_F(UnitHealthTest, AUnitThatIsAwayIsTheOnlyFaultUntilItIsBack)
{
    fault("vexio absent");
    ASSERT_TRUE(begin(true));
    fault("shorted 1");
    ASSERT_TRUE(tells({StimulationMissing, SensorShorted}));
    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(SessionHarness::waitUntil([this] { return told() == std::vector{UnitAway}; }));
    fault("shorted 0");
    fault("vexio present");
    harness.unit.replug();
    ASSERT_TRUE(
        harness.passUntil([this] { return harness.session->state() == SessionState::Recording; }, 100));
    ASSERT_TRUE(harness.waitForDevice());
    EXPECT_TRUE(tells({}));
}

TEST_F(LostUnitTest, EndedItsRecordingAndIsAwayUntilItIsChosenAgain)
{
    ASSERT_TRUE(begin(true));
    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(harness.passUntil([this] { return harness.session->state() == SessionState::Idle; }, 100));
    EXPECT_EQ(told(), std::vector{UnitAway}) << "not what hangs on it";
    harness.unit.replug();
    ASSERT_TRUE(harness.select());
    EXPECT_TRUE(told().empty());
}

TEST_F(UnitHealthTest, WhatTheRecordingDoesNotAskForIsNotMissedAndTheLightShowsWhatTheUnitTook)
{
    fault("vexio absent");
    ASSERT_TRUE(begin(false));
    fault("sensors 1");
    ASSERT_TRUE(tells({SensorCountChanged}));
    UnitHealth& health = harness.session->unitHealth();
    EXPECT_FALSE(health.isLightOn());
    health.toggleLight();
    EXPECT_FALSE(health.isLightOn()) << "not before the unit has taken it";
    ASSERT_TRUE(harness.passUntil([&] { return harness.deliver(1) == 1 && health.isLightOn(); }, 1));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    ASSERT_TRUE(harness.select());
    EXPECT_FALSE(health.isLightOn()) << "the selection has reset the unit";
}
