// SPDX-License-Identifier: GPL-3.0-or-later
// Stimulation inside a recording: what the simulated stimulation unit and port expanders did, against what
// the setup asked for and what the stimulation log says.
#include "LogCapture.h"
#include "SessionHarness.h"

#include "processing/DataManager.h"
#include "recording/DataFile.h"
#include "session/RecordingSummary.h"

#include <QDeadlineTimer>
#include <QFile>
#include <gmock/gmock.h>
#include <thread>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;
using testing::ElementsAre;

namespace {

using Kind = DeviceEvent::Kind;

constexpr int FramesPerDecision = 60;
/// Of a segment. Earlier decisions rest on no data, and stimulate nothing.
constexpr int FramesToFirstDecision = 240;

QStringList lines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
}

class StimulationSessionTest : public testing::Test
{
protected:
    StimulationSessionTest() : harness({.channels = 3, .autoResume = true, .devicesOnFakeTime = true})
    {
        vexio.enabled = true;
        vexio.cageEnableMask = 0b101;
        vexio.cages.fill({100, 100, 2, 0}); // 1.44 kHz, 3.9 V, 1 s
    }

    [[nodiscard]] bool begin(std::optional<DioSettings> dio = std::nullopt)
    {
        if (!harness.select())
            return false;
        harness.unit.clearDeviceEvents();
        RecordingSetup setup = harness.setup();
        setup.vexio = vexio;
        setup.dio = dio;
        harness.session->record(setup);
        return SessionHarness::waitUntil(
                   [this] { return harness.session->state() == SessionState::Recording; }) &&
               harness.waitForDevice();
    }
    void fault(const char* command) { ASSERT_TRUE(harness.unit.applyFaultCommand(QLatin1String(command))); }
    /// One decision, the frame that completes it included; the session hears of it lateMs later. One frame of
    /// the segment has gone in before.
    void decide(int lateMs)
    {
        ASSERT_EQ(harness.deliver(m_framesToDecision - 1), m_framesToDecision - 1);
        m_framesToDecision = FramesPerDecision;
        ASSERT_EQ(harness.unit.advanceFrames(1), 1);
        const auto processing = harness.session->processing();
        const QDeadlineTimer end(20'000); // in real time
        while (processing->framesProcessed() != harness.unit.framesDelivered()) {
            ASSERT_FALSE(end.hasExpired()) << "dropped " << harness.session->status().losses.framesDropped;
            std::this_thread::yield();
        }
        harness.time.advance(lateMs);
        SessionHarness::settle();
    }
    void interrupt()
    {
        harness.unit.unplug();
        harness.passTime(5100);
        ASSERT_TRUE(SessionHarness::waitUntil([this] { return harness.user.notices.contains(u"paused"_s); }));
        harness.unit.replug();
        ASSERT_TRUE(
            harness.passUntil([this] { return harness.session->state() == SessionState::Recording; }, 100));
        ASSERT_TRUE(harness.waitForDevice());
        m_framesToDecision = FramesToFirstDecision - 1;
    }
    /// Cages whose profile began, in order.
    [[nodiscard]] std::vector<int> begun() const
    {
        std::vector<int> cages;
        for (const DeviceEvent& event : harness.unit.deviceEvents())
            if (event.kind == Kind::StimulationStarted)
                cages.push_back(event.cage);
        return cages;
    }
    [[nodiscard]] bool waitForBegun(std::size_t count) const
    {
        return SessionHarness::waitUntil([&] { return begun().size() >= count; });
    }
    [[nodiscard]] quint64 stimulations() const { return harness.session->status().stimulation.stimulations; }
    /// Rows of a segment's stimulation log without header, time and date.
    [[nodiscard]] QStringList rows(const QString& base) const
    {
        QStringList all = lines(harness.path(base + u"_Stim.csv"_s)).mid(1);
        for (QString& row : all) {
            QStringList cells = row.split(u',');
            cells.removeAt(1);
            row = cells.join(u',');
        }
        return all;
    }
    /// Value cells of "_cnfg.csv" rows that begin with name.
    [[nodiscard]] QStringList configuration(const QString& name) const
    {
        QStringList found;
        for (const QString& line : lines(harness.path(u"run_cnfg.csv"_s)))
            if (line.startsWith(name))
                found << line.mid(name.size() + 1);
        return found;
    }

    LogCapture log;
    VexioSettings vexio;
    SessionHarness harness;

private:
    int m_framesToDecision = FramesToFirstDecision - 1;
};

const auto Cages1And3 = u"1/1.44/3.9,-/-/-,1/1.44/3.9"_s;
using State = StimulationStatus::State;

} // namespace

TEST_F(StimulationSessionTest, DecisionsStimulateAcrossAPauseAndTheLatencyIsKnown)
{
    vexio.protocol = StimulationProtocol::ActivityBased;
    vexio.activityThreshold = -1e9; // every decision
    ASSERT_TRUE(begin());
    EXPECT_EQ(harness.session->status().stimulation.state, State::Unit);
    // The latency has been taken when it is logged; until then time must not go on.
    const auto waitForLatencies = [&](qsizetype count) {
        return SessionHarness::waitUntil(
            [&] { return log.lines().filter(u"Latency from frame to register write:"_s).size() == count; });
    };
    decide(5);
    ASSERT_TRUE(waitForBegun(2) && waitForLatencies(1));
    decide(7);
    ASSERT_TRUE(waitForBegun(4) && waitForLatencies(2));
    interrupt();
    EXPECT_TRUE(log.contains("StimulationController stopped (pause)"));
    harness.unit.clearDeviceEvents();
    decide(6);
    ASSERT_TRUE(waitForBegun(2) && waitForLatencies(3));
    ASSERT_EQ(harness.deliver(45), 45);
    ASSERT_TRUE(harness.stopAndWaitIdle());

    // The unit was without power meanwhile: its profiles were written again.
    const qint64 startUs = harness.unit.deviceEvents().front().timeUs;
    EXPECT_THAT(harness.unit.deviceEvents(),
                ElementsAre(DeviceEvent{Kind::StimulationStarted, 1, false, startUs},
                            DeviceEvent{Kind::StimulationStarted, 3, false, startUs},
                            DeviceEvent{Kind::StimulationStopped, 1, false, startUs + 1'000'000},
                            DeviceEvent{Kind::StimulationStopped, 3, false, startUs + 1'000'000}));
    const QString row = u"Stim,ActivityBased,1,2,3,"_s + Cages1And3;
    EXPECT_EQ(rows(u"run"_s), (QStringList{row, row}));
    EXPECT_EQ(rows(u"run (1)"_s), QStringList{row});
    EXPECT_TRUE(
        log.hasInOrder({u"StimulationController started"_s,
                        u"StimulationController: Latency from frame to register write: 5.0 ms"_s,
                        u"StimulationController: Latency from frame to register write: 7.0 ms"_s,
                        u"StimulationController stopped (pause)"_s, u"StimulationController started"_s,
                        u"StimulationController: Latency from frame to register write: 6.0 ms"_s,
                        u"StimulationController stopped"_s,
                        u"StimulationController: Latency from frame to register write, 3 stimulations: "
                        "median 6.0 ms, 95th percentile 7.0 ms, maximum 7.0 ms"_s}));
    EXPECT_EQ(configuration(u"Activation Mode:"_s), QStringList{u"ActivityBased,1,2,2,0,-1e+09"_s});
    EXPECT_EQ(configuration(u"Stim Cages:"_s), QStringList{u"1,0,1,0,0,0,0,0"_s});
    EXPECT_EQ(configuration(u",Cage 8"_s), QStringList{u"1443,3.93,1.0"_s});
}

TEST_F(StimulationSessionTest, SleepersAreStimulatedAfterTheirTimeInTheSegment)
{
    vexio.protocol = StimulationProtocol::SleepBased;
    vexio.sleepDurationSec = 12;
    QStringList expected;
    QDateTime began;
    int decisions = 0; // of the segment
    int heldBack = 0;  // sleepers whose time would be up if what came before the pause counted
    QObject::connect(harness.session.get(), &SessionController::segmentStarted, harness.session.get(), [&] {
        began = harness.time.now();
        decisions = 0;
    });
    QObject::connect(
        harness.session.get(), &SessionController::sleepDecision, harness.session.get(),
        [&](const std::vector<bool>& sleeping, const std::vector<QDateTime>& since) {
            const bool isDecided = ++decisions > 3;
            const auto isDue = [&](std::size_t channel) {
                if (!sleeping[channel] || since[channel].secsTo(harness.time.now()) < 12)
                    return false;
                const bool isSeen =
                    isDecided && std::max(since[channel], began).secsTo(harness.time.now()) >= 12;
                heldBack += isDecided && !isSeen ? 1 : 0;
                return isSeen;
            };
            const auto cell = [](bool isStimulated) { return isStimulated ? u"1/1.44/3.9"_s : u"-/-/-"_s; };
            const bool isFirstDue = isDue(0);
            const bool isThirdDue = isDue(2);
            if (isFirstDue || isThirdDue)
                expected << u"Stim,Sleep-based,1,12,3,%1,-/-/-,%2"_s.arg(cell(isFirstDue), cell(isThirdDue));
        });
    ASSERT_TRUE(begin());
    quint64 total = 0;
    for (int segment = 0; segment < 2; ++segment) {
        if (segment == 1)
            interrupt();
        expected.clear();
        constexpr int TenMinutes = 10 * 60 * 30;
        for (int frame = 0; frame < TenMinutes && expected.size() < 3; ++frame)
            ASSERT_EQ(harness.deliver(1), 1);
        ASSERT_GE(expected.size(), 3);
        total += static_cast<quint64>(expected.size());
        ASSERT_TRUE(SessionHarness::waitUntil([&] { return stimulations() == total; }));
        const QString base = segment == 0 ? u"run"_s : u"run (1)"_s;
        const QStringList wanted = expected;
        ASSERT_TRUE(SessionHarness::waitUntil([&] { return rows(base) == wanted; }))
            << rows(base).join(u'\n').toStdString();
    }
    EXPECT_GT(heldBack, 0);
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST_F(StimulationSessionTest, OpenLoopGoesOnAfterABrownOutAndHoldsTheOutputs)
{
    vexio.protocol = StimulationProtocol::OpenLoop;
    vexio.minIntervalMs = 1000;
    DioSettings dio;
    dio.enabled = true;
    ASSERT_TRUE(begin(dio));
    ASSERT_EQ(harness.deliver(30), 30);
    ASSERT_TRUE(waitForBegun(2));
    fault("vexio brownout");
    ASSERT_EQ(harness.deliver(30), 30);
    ASSERT_TRUE(waitForBegun(4));
    EXPECT_TRUE(log.hasPart(u"HARDWARE CLEARED REG_BSCONFIG"_s));
    EXPECT_EQ(harness.session->stimulateNow(), ManualStimulation::Requested);
    ASSERT_TRUE(waitForBegun(6));
    const auto levels = [&] {
        std::map<int, bool> last;
        for (const DeviceEvent& event : harness.unit.deviceEvents())
            if (event.kind == Kind::OutputChanged)
                last[event.cage] = event.high;
        return last;
    };
    EXPECT_EQ(levels(), (std::map<int, bool>{{1, true}, {3, true}}));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_TRUE(SessionHarness::waitUntil([&] {
        return levels() == std::map<int, bool>{{1, false}, {3, false}};
    }));
    EXPECT_EQ(rows(u"run"_s), (QStringList{u"Stim,Open-loop timer,0.0166667,2,3,"_s + Cages1And3,
                                           u"Stim,Open-loop timer,0.0166667,2,3,"_s + Cages1And3,
                                           u"Stim,Manual trigger,0.0166667,2,3,"_s + Cages1And3}));
    EXPECT_EQ(harness.session->stimulateNow(), ManualStimulation::NotRunning);
}

// A profile went on for up to two minutes, and the cages stayed enabled until another unit was selected.
TEST_F(StimulationSessionTest, StopEndsWhatTheUnitPlays)
{
    vexio.cages.fill({100, 100, 100, 0}); // 50 s
    vexio.protocol = StimulationProtocol::OpenLoop;
    vexio.minIntervalMs = 1000;
    ASSERT_TRUE(begin());
    ASSERT_EQ(harness.deliver(30), 30);
    ASSERT_TRUE(waitForBegun(2));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_TRUE(SessionHarness::waitUntil([&] {
        return log.hasInOrder(
            {u"StimulationController: Stopped"_s, u"VEXIO::stopStimulation - Stopped cages: 0b00000101"_s,
             u"VEXIO::updateCageEnableConfig - Successfully wrote to REG_BSCONFIG, mask: 0b00000000"_s});
    }));
    EXPECT_EQ(std::ranges::count(harness.unit.deviceEvents(), Kind::StimulationStopped, &DeviceEvent::kind),
              2);
}

TEST_F(StimulationSessionTest, ATriggeredCageFollowsItsInput)
{
    vexio.extTriggerMask = 0b010;
    vexio.cages[1].duration = 20;
    fault("dio input 2 low");
    ASSERT_TRUE(begin());
    fault("dio input 2 high");
    ASSERT_TRUE(harness.passUntil([&] { return begun() == std::vector<int>{2}; }, 10));
    fault("dio input 2 low");
    ASSERT_TRUE(harness.passUntil(
        [&] { return harness.unit.deviceEvents().back().kind == Kind::StimulationStopped; }, 10));
    const std::vector<DeviceEvent> events = harness.unit.deviceEvents();
    EXPECT_LT(events.back().timeUs - events.front().timeUs, 5'000'000) << "not at the end of the profile";
    // The unit does not take the order to stop.
    const auto isTold = [&] { return harness.user.notices.contains(u"stimulationStop"_s); };
    fault("dio input 2 high");
    ASSERT_TRUE(harness.passUntil([&] { return begun().size() == 2; }, 10));
    fault("vexio absent");
    fault("dio input 2 low");
    ASSERT_TRUE(harness.passUntil(isTold, 10));
    EXPECT_TRUE(harness.user.notices[u"stimulationStop"_s].text.contains(u"to stop these cages: 2."_s));
    fault("vexio present");
    ASSERT_TRUE(harness.passUntil([&] { return !isTold(); }, 10));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(
        rows(u"run"_s),
        (QStringList{u"digInput,Ext.Trig_High,0,1,0"_s, u"Stim,ExtTrigger,1,2,3,-/-/-,10/1.44/3.9,-/-/-"_s,
                     u"digInput,Ext.Trig_Low,0,1,0"_s, u"digInput,Ext.Trig_High,0,1,0"_s,
                     u"Stim,ExtTrigger,1,2,3,-/-/-,10/1.44/3.9,-/-/-"_s, u"digInput,Ext.Trig_Low,0,1,0"_s}));
}

TEST_F(StimulationSessionTest, AnInputThatIsHighFromTheStartIsFollowedWithoutAnEdge)
{
    vexio.extTriggerMask = 0b110;
    fault("dio input 3 low");
    ASSERT_TRUE(begin());
    const auto pass = [&](const std::function<bool()>& condition) {
        return harness.passUntil([&] { return harness.deliver(1) == 1 && condition(); }, 1);
    };
    ASSERT_TRUE(pass([&] { return log.hasPart(u"inputs are high already, cages: 0b0000000000000010"_s); }));
    fault("dio input 3 high");
    ASSERT_TRUE(pass([&] { return begun() == std::vector<int>{3}; }));
    ASSERT_TRUE(pass([&] { return begun() == std::vector<int>{3, 2, 3}; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(rows(u"run"_s), (QStringList{u"digInput,Ext.Trig_High,0,0,1"_s,
                                           u"Stim,ExtTrigger,1,2,3,-/-/-,-/-/-,1/1.44/3.9"_s,
                                           u"Stim,ExtTrigger-Rekick,1,2,3,-/-/-,1/1.44/3.9,1/1.44/3.9"_s}));
}

// The port expanders die while an input is high. Its cage was stimulated every 9.5 s for ever.
TEST_F(StimulationSessionTest, ATriggerEndsWithItsInputAndGoesOnWithIt)
{
    vexio.extTriggerMask = 0b010;
    vexio.cages[1].duration = 255;
    fault("dio absent");
    ASSERT_TRUE(begin());
    EXPECT_EQ(
        harness.user.lastText(u"Stimulation"_s),
        u"Cages are set up to follow external triggers, but the digital inputs do not answer. As long as "
        "they do not, these cages are not stimulated."_s);
    const auto notice = [&](const QString& name) { return harness.user.notices.contains(name); };
    const auto pass = [&](const std::function<bool()>& condition) {
        return harness.passUntil([&] { return harness.deliver(1) == 1 && condition(); }, 1);
    };
    fault("dio input 2 low");
    fault("dio present");
    ASSERT_TRUE(pass([&] { return log.hasPart(u"DIO polling started"_s); })) << "found while it records";
    fault("dio input 2 high");
    ASSERT_TRUE(pass([&] { return begun() == std::vector<int>{2}; }));
    fault("dio absent");
    ASSERT_TRUE(pass([&] { return notice(u"stimulationTriggers"_s); }));
    ASSERT_TRUE(pass([&] { return harness.unit.deviceEvents().back().kind == Kind::StimulationStopped; }));
    ASSERT_TRUE(pass([&] { return notice(u"stimulationAway"_s); }));
    EXPECT_EQ(begun().size(), 1U);
    fault("dio present"); // with the registers of a power-up, and the input still high
    ASSERT_TRUE(pass([&] { return begun().size() == 2; }));
    ASSERT_TRUE(pass([&] { return !notice(u"stimulationTriggers"_s) && !notice(u"stimulationAway"_s); }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(
        rows(u"run"_s),
        (QStringList{u"digInput,Ext.Trig_High,0,1,0"_s, u"Stim,ExtTrigger,1,2,3,-/-/-,128/1.44/3.9,-/-/-"_s,
                     u"digInput,Ext.Trig_Low,0,1,0"_s, u"digInput,Ext.Trig_High,0,1,0"_s,
                     u"Stim,ExtTrigger,1,2,3,-/-/-,128/1.44/3.9,-/-/-"_s}));
}

TEST_F(StimulationSessionTest, AUnitThatGoesAwayIsToldUntilItIsBackAndThenFullySetUp)
{
    vexio.protocol = StimulationProtocol::OpenLoop;
    vexio.minIntervalMs = 1000;
    ASSERT_TRUE(begin());
    const auto notice = [&](const char* name) {
        return harness.user.notices.contains(QLatin1String("stimulation") + QLatin1String(name));
    };
    const auto pass = [&](const std::function<bool()>& condition) {
        return harness.passUntil([&] { return harness.deliver(1) == 1 && condition(); }, 1);
    };
    fault("vexio 12v off");
    fault("vexio overtemp on");
    ASSERT_TRUE(pass([&] { return notice("Power"); }));
    fault("vexio 12v on");
    ASSERT_TRUE(pass([&] { return !notice("Power") && notice("Temperature"); }));
    fault("vexio overtemp off");
    fault("vexio absent");
    ASSERT_TRUE(pass([&] { return notice("Away"); }));
    EXPECT_EQ(harness.session->status().stimulation.state, State::NoUnit);
    fault("vexio present"); // as after power-up: without profiles
    harness.unit.clearDeviceEvents();
    ASSERT_TRUE(pass([&] { return !notice("Away"); }));
    EXPECT_EQ(harness.session->status().stimulation.state, State::Unit);
    harness.unit.clearDeviceEvents();
    ASSERT_TRUE(pass([&] { return harness.unit.deviceEvents().size() >= 4; }));
    const std::vector<DeviceEvent> events = harness.unit.deviceEvents();
    EXPECT_EQ(std::ranges::count(events, Kind::StimulationStarted, &DeviceEvent::kind) > 0, true);

    // Gone at a resume, with a notice that was open.
    fault("vexio 12v off");
    ASSERT_TRUE(pass([&] { return notice("Power"); }));
    fault("vexio absent");
    interrupt();
    ASSERT_EQ(harness.deliver(2), 2);
    EXPECT_FALSE(notice("Power"));
    EXPECT_TRUE(harness.user.lastText(u"Stimulation"_s)
                    .startsWith(u"This recording is set up to stimulate, but the stimulation unit does not "
                                "answer. The recording goes on, and no cage is stimulated."_s));
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST_F(StimulationSessionTest, AMissingUnitIsToldOnceAndTheRecordingGoesOn)
{
    vexio.protocol = StimulationProtocol::ActivityBased;
    vexio.activityThreshold = -1e9;
    fault("vexio absent");
    ASSERT_TRUE(begin());
    decide(0);
    EXPECT_TRUE(
        harness.user.lastText(u"Stimulation"_s)
            .startsWith(u"This recording is set up to stimulate, but the stimulation unit does not answer. "
                        "The recording goes on, and no cage is stimulated."_s));
    EXPECT_EQ(harness.session->status().stimulation.state, State::NoUnit);
    EXPECT_EQ(harness.session->stimulateNow(), ManualStimulation::NotRunning);
    EXPECT_FALSE(QFile::exists(harness.path(u"run_Stim.csv"_s)));
    EXPECT_EQ(configuration(u"Stim Cages:"_s), QStringList{u"0,0,0,0,0,0,0,0"_s});

    // It is found when the devices are set up again.
    fault("vexio present");
    interrupt();
    decide(0);
    ASSERT_TRUE(waitForBegun(2));
    // And lost while it is in use: stimulation fails, recording does not.
    fault("vexio absent");
    decide(0);
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->status().stimulation.refused == 1; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(rows(u"run (1)"_s).size(), 2);
    EXPECT_EQ(harness.session->lastEndReason(), EndReason::UserStop);
    EXPECT_FALSE(harness.session->status().losses.any());
    EXPECT_EQ(std::ranges::count(harness.user.messages, u"Stimulation"_s, &RecordingUser::Message::title), 1);
}

TEST_F(StimulationSessionTest, RowsThatTheLogLacksAreToldAndCounted)
{
    vexio.protocol = StimulationProtocol::ManualTrigger;
    DataFile holder;
    ASSERT_EQ(holder.openForWriting(harness.path(u"run_Stim.csv"_s)), FileUtils::OpenResult::Opened);
    ASSERT_TRUE(begin());
    EXPECT_TRUE(harness.user.lastText(u"Stimulation"_s)
                    .endsWith(u"The recording goes on without a stimulation log."_s));
    EXPECT_EQ(harness.session->stimulateNow(), ManualStimulation::Requested);
    EXPECT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->status().losses.stimulationRowsLost == 1; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.session->lastReport().gaps,
              (QStringList{u"Lost: 1 stimulation log that could not be opened"_s,
                           u"Lost: 1 row of the stimulation log"_s}));
    EXPECT_TRUE(harness.session->status().losses.any());
    ASSERT_TRUE(begin());
    EXPECT_EQ(harness.session->status().losses.stimulationRowsLost, 0);
    holder.close();
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST_F(StimulationSessionTest, AUnitThatAnswersLaterIsTakenUpInTheMiddleOfASegment)
{
    vexio.protocol = StimulationProtocol::OpenLoop;
    vexio.minIntervalMs = 1000;
    DioSettings dio;
    dio.enabled = true;
    dio.openLoop = true;
    dio.stimIntervalMin = 1.0 / 60;
    fault("vexio absent");
    ASSERT_TRUE(begin(dio));
    const auto pass = [&](const std::function<bool()>& condition) {
        return harness.passUntil([&] { return harness.deliver(1) == 1 && condition(); }, 1);
    };
    ASSERT_TRUE(pass([&] { return stimulations() >= 2; }));
    EXPECT_EQ(harness.session->status().stimulation.state, State::Outputs);
    EXPECT_TRUE(begun().empty());
    fault("vexio present");
    ASSERT_TRUE(pass([&] { return begun().size() >= 2; }));
    EXPECT_EQ(harness.session->status().stimulation.state, State::Unit);
    ASSERT_TRUE(harness.stopAndWaitIdle());
    QStringList texts;
    for (const RecordingUser::Message& message : harness.user.messages)
        if (message.title == u"Stimulation"_s)
            texts << message.text;
    ASSERT_EQ(texts.size(), 2);
    EXPECT_TRUE(texts[0].contains(u"does not answer. Only the digital outputs are used"_s));
    EXPECT_EQ(texts[1], u"The stimulation unit answers now: cages are stimulated from now on."_s);
    const QStringList all = rows(u"run"_s);
    EXPECT_EQ(all.first(), u"digOutput,n/a,n/a,n/a,3,1,1,1"_s);
    EXPECT_EQ(all.last(), u"Stim,Open-loop timer,0.0166667,2,3,"_s + Cages1And3);
}

TEST_F(StimulationSessionTest, LostPowerIsToldInEveryRecordingUntilItIsBack)
{
    vexio.cageEnableMask = 0b11001;
    ASSERT_TRUE(begin());
    EXPECT_EQ(harness.user.lastText(u"Stimulation"_s),
              u"These cages are set up to be stimulated, but are not: 4, 5. A recording stimulates the cages "
              u"of its "
              "own channels, and the stimulation unit has eight cages."_s);
    const auto isTold = [&] { return harness.user.notices.contains(u"stimulationPower"_s); };
    fault("vexio 12v off");
    ASSERT_TRUE(harness.passUntil(isTold, 10));
    EXPECT_EQ(harness.session->status().stimulation.state, State::NoPower);
    harness.session->stimulateNow();
    EXPECT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->status().stimulation.refused == 1; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_FALSE(isTold());

    RecordingSetup again = harness.setup(u"again"_s);
    again.vexio = vexio;
    harness.session->record(again);
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    EXPECT_TRUE(isTold());
    fault("vexio 12v on");
    ASSERT_TRUE(harness.passUntil([&] { return !isTold(); }, 10));
    EXPECT_EQ(harness.session->status().stimulation.state, State::Unit);
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST_F(StimulationSessionTest, WithoutASetupNothingIsTouchedAndTheButtonMarks)
{
    vexio.enabled = false;
    ASSERT_TRUE(begin());
    decide(0);
    EXPECT_EQ(harness.session->status().stimulation.state, State::NotSetUp);
    fault("button");
    const auto marks = [&] { return lines(harness.path(u"run_Marks.csv"_s)).mid(1); };
    ASSERT_TRUE(harness.passUntil([&] { return marks().size() == 1; }, 10));
    EXPECT_TRUE(marks().front().endsWith(u",Push button"_s));
    fault("sensors 2");
    fault("shorted 1");
    ASSERT_TRUE(harness.passUntil(
        [&] {
            return harness.user.notices.contains(u"sensorCount"_s) &&
                   harness.user.notices.contains(u"sensorShorted"_s);
        },
        10));
    fault("shorted 0");
    ASSERT_TRUE(harness.passUntil([&] { return !harness.user.notices.contains(u"sensorShorted"_s); }, 10));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_TRUE(harness.unit.deviceEvents().empty());
    EXPECT_FALSE(log.hasPart(u"VEXIO::updateCageEnableConfig"_s));
    EXPECT_FALSE(QFile::exists(harness.path(u"run_Stim.csv"_s)));
    EXPECT_FALSE(log.hasPart(u"StimulationController started"_s));
}
