// SPDX-License-Identifier: GPL-3.0-or-later
// The program may be ended while the hardware thread is in the middle of anything.
#include "DAQInfoFixture.h"
#include "ForwardingDriver.h"
#include "hardware/HardwareThread.h"
#include "hardware/StimulationHardware.h"
#include "simulation/SimulatedUnit.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <future>
#include <iostream>
#include <random>
#include <thread>

namespace vt::test {

namespace {

/// Holds the n-th call until the end of the program has begun, and then for 0 to 3 turns of the scheduler.
class HoldingDriver final : public ForwardingDriver
{
public:
    using ForwardingDriver::ForwardingDriver;

    void holdCall(std::uint64_t callsFromNow, int yields)
    {
        const MutexLock lock(m_mutex);
        m_holdAt = m_calls + callsFromNow;
        m_yields = yields;
    }
    /// True when the call to be held is there; waits for it for a moment.
    [[nodiscard]] bool isHolding()
    {
        const MutexLock lock(m_mutex);
        if (!m_isHolding)
            m_changed.wait_for(m_mutex, std::chrono::microseconds(200));
        return m_isHolding;
    }
    void letGo()
    {
        const MutexLock lock(m_mutex);
        m_isLetGo = true;
        m_changed.notify_all();
    }
    [[nodiscard]] std::uint64_t calls() const
    {
        const MutexLock lock(m_mutex);
        return m_calls;
    }

private:
    std::int32_t before(const char*, daqmx::TaskHandle, const char*) override
    {
        int yields = 0;
        {
            const MutexLock lock(m_mutex);
            if (m_calls++ != m_holdAt)
                return 0;
            m_isHolding = true;
            m_changed.notify_all();
            while (!m_isLetGo)
                m_changed.wait(m_mutex);
            yields = m_yields;
        }
        for (int i = 0; i < yields; ++i)
            std::this_thread::yield();
        return 0;
    }

    mutable Mutex m_mutex;
    std::condition_variable_any m_changed;
    std::uint64_t m_calls VT_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_holdAt VT_GUARDED_BY(m_mutex) = UINT64_MAX;
    int m_yields VT_GUARDED_BY(m_mutex) = 0;
    bool m_isHolding VT_GUARDED_BY(m_mutex) = false;
    bool m_isLetGo VT_GUARDED_BY(m_mutex) = false;
};

/// One life of the hardware, ended at a point that random chooses.
class Life
{
public:
    explicit Life(std::mt19937& random) : m_random(random)
    {
        m_info->setBuildInfoCachePath(m_folder.filePath(u"builds.json"_qs));
    }

    void run()
    {
        const bool isEndedWhileSelecting = upTo(9) == 0;
        if (isEndedWhileSelecting) {
            m_driver.holdCall(static_cast<std::uint64_t>(upTo(1500)), upTo(3));
            m_info->selectDevice(u"sim"_qs, [this](bool) { noteAnswer(); });
        } else {
            ASSERT_EQ(answerOf<bool>([&](auto done) { m_info->selectDevice(u"sim"_qs, done); }), true);
            if (upTo(4) == 0)
                m_info->selectDevice(u"sim"_qs, [this](bool) { noteAnswer(); });
            m_driver.holdCall(static_cast<std::uint64_t>(upTo(2500)), upTo(3));
        }
        for (int i = upTo(5); i >= 0; --i)
            startSomething();
        // 6 s of the stepped time: what has been started is over by then, with or without the call to hold.
        for (int step = 0; step < 120 && !m_driver.isHolding(); ++step) {
            m_time.advance(50);
            QCoreApplication::sendPostedEvents();
            if (upTo(30) == 0)
                startSomething();
        }
        m_wasHeld = m_driver.isHolding();
        end();
    }
    [[nodiscard]] bool wasHeld() const { return m_wasHeld; }

private:
    int upTo(int most) { return std::uniform_int_distribution<int>(0, most)(m_random); }
    std::uint8_t mask() { return static_cast<std::uint8_t>(upTo(255)); }
    void noteAnswer() { EXPECT_FALSE(m_isEnded) << "an answer to nobody"; }

    void startSomething()
    {
        StimulationHardware& hardware = m_info->stimulation();
        switch (upTo(12)) {
        case 0:
            hardware.activateStimulation(mask(), [this](bool, qint64) { noteAnswer(); });
            break;
        case 1:
            hardware.writeAllCagesToHardware(QList<VEXIO_NS::CageConfig>(8, {68, 127, 4, 0, 0}));
            hardware.updateCageEnableConfig(mask());
            break;
        case 2:
        case 3:
            hardware.runSpeakerDiagnostics();
            break;
        case 4:
            hardware.pulseOutputs(mask());
            break;
        case 5:
            m_info->writeDataEE(2 * upTo(127), 77, [this](bool) { noteAnswer(); });
            break;
        case 6:
            m_info->readDataEE(2 * upTo(127), [this](auto) { noteAnswer(); });
            break;
        case 7:
        case 8:
            m_info->recoverI2CSession([this](bool) { noteAnswer(); });
            break;
        case 9:
            hardware.startVexioPolling();
            hardware.startDIORecording(8);
            break;
        case 10:
            hardware.readAllCages();
            hardware.clearAllActivationCounters();
            break;
        case 11:
            m_info->getMCUHeader([this](const auto&) { noteAnswer(); });
            break;
        default:
            m_info->toggleLEDCtrl();
            if (upTo(3) == 0)
                m_info->deselect();
            break;
        }
    }

    void end()
    {
        QElapsedTimer elapsed;
        elapsed.start();
        m_driver.letGo();
        m_info.reset();
        EXPECT_LT(elapsed.elapsed(), 3000);
        m_isEnded = true;
        const std::uint64_t calls = m_driver.calls();
        m_time.advance(5000);
        QCoreApplication::sendPostedEvents();
        EXPECT_EQ(m_driver.calls(), calls) << "nobody is left who calls the driver";
        EXPECT_EQ(m_unit.openTaskCount(), 0);
        EXPECT_EQ(m_unit.deadHandleCalls(), 0);
        EXPECT_EQ(m_time.activeTimers(), 0);
        EXPECT_FALSE(m_log.hasPart(u"hardware thread abandoned"_qs));
    }

    static SimulatedUnit::Config config(const FakeTimeSource& time)
    {
        SimulatedUnit::Config config;
        config.channels = 2;
        config.clock = SimulatedUnit::Clock::Manual;
        config.clockUs = [&time] { return time.monotonicUs(); };
        return config;
    }

    std::mt19937& m_random;
    const QTemporaryDir m_folder;
    LogCapture m_log;
    FakeTimeSource m_time;
    SimulatedUnit m_unit{config(m_time)};
    HoldingDriver m_driver{m_unit};
    std::unique_ptr<DAQInfo> m_info = std::make_unique<DAQInfo>(m_driver, m_time);
    bool m_wasHeld = false;
    bool m_isEnded = false;
};

} // namespace

// A driver call takes 1 to 4 ms with a real unit, a whole read of the register file 3187 of them, and the end
// of the program waits 5 s.
TEST(StopAnywhere, CutsALongReadShort)
{
    LogCapture log;
    FakeTimeSource time;
    SimulatedUnit unit{{}};
    HoldingDriver driver{unit};
    Inbox answers;
    StimulationHardware receiver;
    std::uint64_t before = 0;
    {
        HardwareThread thread(driver, time, &answers, &receiver);
        std::promise<bool> opened;
        thread.run(
            [&opened](HardwareSession& session) {
                opened.set_value(session.open(DAQDevice{u"sim"_qs, {}, {}, true}, 1));
                return true;
            },
            [](bool) {});
        ASSERT_TRUE(opened.get_future().get());
        driver.holdCall(1000, 0);
        thread.run([](HardwareSession& session) { return session.readHeader(); }, [](const auto&) {});
        while (!driver.isHolding()) {
        }
        EXPECT_FALSE(thread.shutDown(0)) << "the driver has not come back yet";
        before = driver.calls();
        driver.letGo();
    }
    EXPECT_LT(driver.calls() - before, 200U);
    EXPECT_EQ(unit.openTaskCount(), 0);
}

TEST(StopAnywhere, NeitherHangsNorCrashes)
{
    constexpr unsigned Lives = 200;
    const unsigned firstSeed = qEnvironmentVariableIntValue("VELLUMTIDE_TEST_SEED");
    std::cout << "seeds " << firstSeed << " to " << firstSeed + Lives - 1 << " (VELLUMTIDE_TEST_SEED)\n";
    int held = 0;
    for (unsigned seed = firstSeed; seed < firstSeed + Lives && !testing::Test::HasFailure(); ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        std::mt19937 random(seed);
        Life life(random);
        life.run();
        held += life.wasHeld() ? 1 : 0;
    }
    std::cout << held << " of " << Lives << " were ended inside a driver call\n";
    EXPECT_GT(held, static_cast<int>(Lives) / 2);
}

} // namespace vt::test
