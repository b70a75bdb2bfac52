// SPDX-License-Identifier: GPL-3.0-or-later
// A bus of the unit's digital lines dies while a recording runs: the recording goes on, the user is told, and
// the bus is set up again as soon as that works, with all that hangs on it.
#include "ForwardingDriver.h"
#include "LogCapture.h"
#include "SessionHarness.h"
#include "session/UnitHealth.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string_view>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

/// Fails the transfers of one bus until it is mended; tasks that were open before stay dead.
class BusBreakingDriver final : public ForwardingDriver
{
public:
    using ForwardingDriver::ForwardingDriver;

    /// lines: channels of its two tasks, e.g. "Dev1/port1/line0" and "Dev1/port1/line1:2".
    void breakBus(const std::set<std::string>& lines)
    {
        const MutexLock lock(m_mutex);
        m_broken = lines;
        for (const auto& [task, name] : m_lines)
            if (lines.contains(name))
                m_dead.insert(task);
    }
    void mend()
    {
        const MutexLock lock(m_mutex);
        m_broken.clear();
    }
    [[nodiscard]] std::size_t refused() const
    {
        const MutexLock lock(m_mutex);
        return m_refused;
    }

private:
    std::int32_t before(const char* function, daqmx::TaskHandle task, const char* lines) override
    {
        const std::string_view name(function);
        const MutexLock lock(m_mutex);
        if (name == "CreateDIChan" || name == "CreateDOChan") {
            m_lines[task] = lines;
            if (m_broken.contains(lines))
                m_dead.insert(task);
        }
        if (name == "ClearTask") {
            m_lines.erase(task);
            m_dead.erase(task);
        }
        if (!m_dead.contains(task) || !name.ends_with("U32"))
            return 0;
        ++m_refused;
        return daqmx::ErrorDeviceNotFound;
    }

    mutable Mutex m_mutex;
    std::map<daqmx::TaskHandle, std::string> m_lines VT_GUARDED_BY(m_mutex);
    std::set<daqmx::TaskHandle> m_dead VT_GUARDED_BY(m_mutex);
    std::set<std::string> m_broken VT_GUARDED_BY(m_mutex);
    std::size_t m_refused VT_GUARDED_BY(m_mutex) = 0;
};

using State = StimulationStatus::State;

struct LostBus
{
    const char* name;
    std::set<std::string> lines; ///< of its two tasks
    QString told;                ///< how the message begins
    QString toldBack;            ///< when it works again
    State state;                 ///< of stimulation, until then
    HardwareFault fault;         ///< on the list of what is wrong, until then
};

const LostBus lostBuses[]{
    {"Microcontroller",
     {"Dev1/port0/line0", "Dev1/port0/line1:2"},
     u"The connection to the push button and to the supervision of the sensors has failed: neither is noticed."_s,
     u"The connection to the push button and to the supervision of the sensors works again."_s,
     State::Unit,
     HardwareFault::McuBus},
    {"StimulationUnit",
     {"Dev1/port0/line4", "Dev1/port0/line5:6"},
     u"The connection to the stimulation unit has failed: it stimulates no cage."_s,
     u"The connection to the stimulation unit works again."_s,
     State::NoUnit,
     HardwareFault::StimulationBus},
    {"PortExpanders",
     {"Dev1/port1/line0", "Dev1/port1/line1:2"},
     u"The connection to the digital outputs and inputs has failed: outputs keep the state that they have, "
     u"and "
     "inputs are not noticed."_s,
     u"The connection to the digital outputs and inputs works again."_s,
     State::Unit,
     HardwareFault::OutputsBus},
};

class StimulationBusTest : public testing::Test
{
protected:
    StimulationBusTest()
    {
        SessionController::Options options;
        options.autoResume = true;
        harness.session = std::make_unique<SessionController>(driver, harness.time, harness.user, options);
    }
    ~StimulationBusTest() override { harness.session.reset(); }

    /// A recording that stimulates every second with unit and outputs.
    [[nodiscard]] bool record(const QString& name)
    {
        RecordingSetup setup = harness.setup(name);
        setup.vexio = VexioSettings{};
        setup.vexio->enabled = true;
        setup.vexio->cageEnableMask = 0b001;
        setup.vexio->cages.fill({100, 100, 1, 0}); // the outputs go off in between
        setup.vexio->protocol = StimulationProtocol::OpenLoop;
        setup.vexio->minIntervalMs = 1000;
        setup.dio = DioSettings{};
        setup.dio->enabled = true;
        harness.session->record(setup);
        return SessionHarness::waitUntil(
                   [this] { return harness.session->state() == SessionState::Recording; }) &&
               harness.waitForDevice();
    }
    /// Recording for some seconds; every block has to go in.
    void deliver(int seconds) { ASSERT_EQ(harness.deliver(30 * seconds), 30 * seconds); }
    [[nodiscard]] std::vector<QString> told() const
    {
        std::vector<QString> texts;
        for (const RecordingUser::Message& message : harness.user.messages)
            if (message.title == u"Acquisition Unit"_s)
                texts.push_back(message.text);
        return texts;
    }
    [[nodiscard]] bool isListed(HardwareFault fault) const
    {
        const std::vector<HardwareProblem> problems = harness.session->unitHealth().problems();
        return std::ranges::count(problems, fault, &HardwareProblem::fault) == 1;
    }
    [[nodiscard]] std::set<DeviceEvent::Kind> seen()
    {
        std::set<DeviceEvent::Kind> kinds;
        for (const DeviceEvent& event : harness.unit.deviceEvents())
            kinds.insert(event.kind);
        return kinds;
    }

    LogCapture log;
    SessionHarness harness{{.channels = 2, .autoResume = true, .devicesOnFakeTime = true}};
    BusBreakingDriver driver{harness.unit};
};

class LostBusTest : public StimulationBusTest, public testing::WithParamInterface<LostBus>
{};

} // namespace

TEST_P(LostBusTest, CostsWhatHangsOnItUntilItWorksAgain)
{
    const LostBus& lost = GetParam();
    ASSERT_TRUE(harness.select());
    ASSERT_TRUE(record(u"first"_s));
    deliver(2);
    driver.breakBus(lost.lines);
    ASSERT_TRUE(harness.passUntil(
        [&] {
            harness.deliver(1);
            return log.hasPart(u"has failed"_s);
        },
        1));
    EXPECT_TRUE(told().empty()) << "it may be the first sign of an unplugged unit";
    deliver(12);
    ASSERT_EQ(told().size(), 1U);
    EXPECT_TRUE(told()[0].startsWith(lost.told)) << told()[0].toStdString();
    EXPECT_TRUE(isListed(lost.fault));
    EXPECT_EQ(harness.session->status().stimulation.state, lost.state);
    deliver(30);
    EXPECT_EQ(told().size(), 1U);
    EXPECT_LE(driver.refused(), 6U) << "tried after 1, 2, 4, 8 and 16 s";
    EXPECT_EQ(harness.session->status().stimulation.state, lost.state);

    driver.mend();
    using Kind = DeviceEvent::Kind;
    ASSERT_TRUE(harness.unit.applyFaultCommand(u"shorted 1"_s));
    harness.unit.clearDeviceEvents();
    const auto isAllThere = [&] {
        return harness.deliver(1) == 1 && told().size() == 2 && seen().contains(Kind::StimulationStarted) &&
               seen().contains(Kind::OutputChanged) && harness.user.notices.contains(u"sensorShorted"_s);
    };
    ASSERT_TRUE(harness.passUntil(isAllThere, 1));
    EXPECT_EQ(told()[1], lost.toldBack);
    EXPECT_FALSE(isListed(lost.fault));
    EXPECT_EQ(harness.session->status().stimulation.state, State::Unit);
    EXPECT_EQ(harness.session->state(), SessionState::Recording);
    EXPECT_EQ(harness.session->status().restarts, 0U);
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::UserStop);
    EXPECT_FALSE(harness.session->status().losses.any()) << harness.session->lastSummary().toStdString();
    harness.session.reset();
    EXPECT_EQ(harness.unit.openTaskCount(), 0);
    EXPECT_EQ(harness.unit.deadHandleCalls(), 0);
}

// The bus died while an output was on, and the recording ended meanwhile: a light would burn until the next
// one.
TEST_F(StimulationBusTest, OutputsThatWereOnGoOffWhenTheBusIsBack)
{
    ASSERT_TRUE(harness.select());
    ASSERT_TRUE(record(u"run"_s));
    const auto isOn = [this] {
        bool last = false;
        for (const DeviceEvent& event : harness.unit.deviceEvents())
            if (event.kind == DeviceEvent::Kind::OutputChanged && event.cage == 1)
                last = event.high;
        return last;
    };
    ASSERT_TRUE(harness.passUntil([&] { return harness.deliver(1) == 1 && isOn(); }, 1));
    driver.breakBus(lostBuses[2].lines);
    ASSERT_TRUE(harness.stopAndWaitIdle());
    ASSERT_TRUE(
        harness.passUntil([&] { return log.hasPart(u"the bus of the port expanders has failed"_s); }, 1));
    EXPECT_TRUE(isOn());
    driver.mend();
    EXPECT_TRUE(harness.passUntil([&] { return !isOn(); }, 10));
}

// A bus that fails between the preparation and the start is found by the probe.
TEST_F(StimulationBusTest, IsSetUpAgainBeforeAPreparedRecordingStarts)
{
    ASSERT_TRUE(harness.select());
    harness.session->prepare(harness.setup());
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Prepared; }));
    driver.breakBus(lostBuses[0].lines);
    driver.mend(); // for new tasks
    harness.session->start();
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    ASSERT_TRUE(harness.waitForDevice());
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

// A unit that is unplugged loses its buses before anything else; that is told as a pause only.
TEST_F(StimulationBusTest, AnUnpluggedUnitIsNoLostBus)
{
    ASSERT_TRUE(harness.select());
    ASSERT_TRUE(record(u"run"_s));
    deliver(2);
    harness.unit.unplug();
    harness.passTime(5100);
    ASSERT_TRUE(SessionHarness::waitUntil([this] { return harness.user.notices.contains(u"paused"_s); }));
    ASSERT_TRUE(log.hasPart(u"has failed"_s));
    harness.unit.replug();
    ASSERT_TRUE(
        harness.passUntil([this] { return harness.session->state() == SessionState::Recording; }, 100));
    ASSERT_TRUE(harness.waitForDevice());
    deliver(12);
    EXPECT_TRUE(told().empty());
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

INSTANTIATE_TEST_SUITE_P(Each, LostBusTest, testing::ValuesIn(lostBuses),
                         [](const testing::TestParamInfo<LostBus>& lost) { return lost.param.name; });
