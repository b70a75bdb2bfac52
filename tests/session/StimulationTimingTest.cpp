// SPDX-License-Identifier: GPL-3.0-or-later
// In real time: stimulation over driver calls as slow as a real unit's does not hold up the acquisition.
#include "LogCapture.h"
#include "SessionHarness.h"

#include "session/StimulationSession.h"

#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

TEST(StimulationTiming, SixteenChannelsStimulatedEverySecondLoseNothingAndNoTickIsLate)
{
    LogCapture log;
    const QTemporaryDir folder;
    SystemTimeSource time;
    SimulatedUnit::Config config;
    config.deviceName = u"Dev1"_s;
    config.channels = 16;
    SimulatedUnit unit(config);
    RecordingUser user;
    SessionController session(unit, time, user, {});
    const auto waitFor = [&session](SessionState state) {
        return SessionHarness::waitUntil([&] { return session.state() == state; });
    };

    session.refreshDevices();
    session.selectDevice(u"Dev1"_s);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return session.status().device.usable; }));
    unit.clearDeviceEvents();
    unit.slowLineCalls(1);
    RecordingSetup setup;
    setup.basePath = folder.filePath(u"run"_s);
    setup.channelCount = 16;
    constexpr quint64 TwelveSeconds = 12 * 30;
    setup.frameLimit = TwelveSeconds;
    setup.vexio.emplace();
    setup.vexio->enabled = true;
    setup.vexio->protocol = StimulationProtocol::OpenLoop;
    setup.vexio->minIntervalMs = 1000;
    setup.vexio->cageEnableMask = 0xFF;
    setup.vexio->extTriggerMask = 0x8000; // the inputs are watched, too
    setup.vexio->cages.fill({100, 100, 1, 0});
    setup.dio.emplace();
    setup.dio->enabled = true;
    session.record(setup);
    ASSERT_TRUE(waitFor(SessionState::Recording));
    ASSERT_TRUE(waitFor(SessionState::Idle));

    EXPECT_EQ(session.lastEndReason(), EndReason::DurationReached);
    const SessionStatus status = session.status();
    EXPECT_EQ(status.framesProcessed, TwelveSeconds);
    EXPECT_FALSE(status.losses.any());
    std::vector<std::int64_t> startsUs;
    for (const DeviceEvent& event : unit.deviceEvents())
        if (event.kind == DeviceEvent::Kind::StimulationStarted && event.cage == 1)
            startsUs.push_back(event.timeUs);
    EXPECT_GE(startsUs.size(), 9U);
    for (std::size_t i = 1; i < startsUs.size(); ++i)
        EXPECT_LT(startsUs[i] - startsUs[i - 1], 1'500'000) << "stimulation " << i << " had to wait";
    for (const QString& line : log.lines()) {
        EXPECT_FALSE(line.startsWith(u"Data processing delay"_s)) << qPrintable(line);
        EXPECT_FALSE(line.startsWith(u"callback "_s)) << qPrintable(line);
    }
}
