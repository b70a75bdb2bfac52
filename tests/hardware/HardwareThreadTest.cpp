// SPDX-License-Identifier: GPL-3.0-or-later
// Which thread does what: driver calls on the hardware thread, everything that is told on the interface
// thread.
#include "DAQInfoFixture.h"
#include "ForwardingDriver.h"
#include "hardware/StimulationHardware.h"
#include "simulation/SimulatedUnit.h"

#include <QThread>
#include <gmock/gmock.h>
#include <map>
#include <set>

namespace vt::test {

namespace {

/// Notes on which thread each function is called.
class ThreadNotingDriver final : public ForwardingDriver
{
public:
    using ForwardingDriver::ForwardingDriver;

    /// Threads that called since the last take, by their names, and the functions that they called.
    std::map<QString, std::set<std::string>> take()
    {
        const MutexLock lock(m_mutex);
        return std::exchange(m_seen, {});
    }
    /// All threads that ever called.
    std::set<const QThread*> threads() const
    {
        const MutexLock lock(m_mutex);
        return m_threads;
    }

private:
    std::int32_t before(const char* function, daqmx::TaskHandle, const char*) override
    {
        const QThread* thread = QThread::currentThread();
        const MutexLock lock(m_mutex);
        m_threads.insert(thread);
        m_seen[thread->objectName()].insert(function);
        return 0;
    }

    mutable Mutex m_mutex;
    std::map<QString, std::set<std::string>> m_seen VT_GUARDED_BY(m_mutex);
    std::set<const QThread*> m_threads VT_GUARDED_BY(m_mutex);
};

class HardwareThreadTest : public testing::Test
{
protected:
    HardwareThreadTest()
    {
        info.setBuildInfoCachePath(folder.filePath(u"builds.json"_qs));
        const StimulationHardware* from = &hardware;
        note(from, &StimulationHardware::presenceChanged, "presenceChanged");
        note(from, &StimulationHardware::busLost, "busLost");
        note(from, &StimulationHardware::cageDataRead, "cageDataRead");
        note(from, &StimulationHardware::operationComplete, "operationComplete");
        note(from, &StimulationHardware::cageStatusRead, "cageStatusRead");
        note(from, &StimulationHardware::diagnosticsStatusRead, "diagnosticsStatusRead");
        note(from, &StimulationHardware::diagnosticsComplete, "diagnosticsComplete");
        note(from, &StimulationHardware::powerFaultDetected, "powerFaultDetected");
        note(from, &StimulationHardware::powerRestored, "powerRestored");
        note(from, &StimulationHardware::systemStatusChanged, "systemStatusChanged");
        note(from, &StimulationHardware::speakerDiagnosticsResults, "speakerDiagnosticsResults");
        note(from, &StimulationHardware::dioInputStateChanged, "dioInputStateChanged");
        note(from, &StimulationHardware::pushButtonPressed, "pushButtonPressed");
        note(from, &StimulationHardware::sensorCountChanged, "sensorCountChanged");
        note(from, &StimulationHardware::sensorShorted, "sensorShorted");
        note(from, &StimulationHardware::ledStateChanged, "ledStateChanged");
    }
    SimulatedUnit::Config config()
    {
        SimulatedUnit::Config config;
        config.channels = 16;
        config.clock = SimulatedUnit::Clock::Manual;
        config.clockUs = [this] { return time.monotonicUs(); };
        return config;
    }
    /// Direct connection: the slot runs where the signal is emitted.
    template <typename Signal>
    void note(const StimulationHardware* from, Signal signal, const char* name)
    {
        QObject::connect(
            from, signal, from,
            [this, name] {
                EXPECT_EQ(QThread::currentThread(), here) << name;
                told.insert(name);
            },
            Qt::DirectConnection);
    }
    void settle()
    {
        std::ignore = answerOf<bool>([&](auto done) { info.probeI2C(done); });
    }
    void pass(int milliseconds)
    {
        for (int passed = 0; passed < milliseconds; passed += 50) {
            time.advance(50);
            settle();
        }
    }
    void fault(const char* command) { ASSERT_TRUE(unit.applyFaultCommand(QLatin1String(command))); }

    const QThread* const here = QThread::currentThread();
    const QTemporaryDir folder;
    LogCapture log;
    FakeTimeSource time;
    SimulatedUnit unit{config()};
    ThreadNotingDriver driver{unit};
    DAQInfo info{driver, time};
    StimulationHardware& hardware = info.stimulation();
    std::set<std::string> told;
};

} // namespace

TEST_F(HardwareThreadTest, CallsTheDriverAndTheInterfaceThreadHears)
{
    using testing::IsSupersetOf;
    struct Step
    {
        const char* name;
        std::function<void()> run;
        std::set<std::string> calls; ///< among others
    };
    const std::set<std::string> transfer{"WriteDigitalU32", "ReadDigitalU32"};
    const std::set<std::string> setUp{"GetSysDevNames",  "GetDevSerialNum", "ResetDevice",
                                      "CreateTask",      "CreateDIChan",    "CreateDOChan",
                                      "WriteDigitalU32", "ReadDigitalU32"};
    const Step steps[]{
        {"selection",
         [&] { EXPECT_EQ(answerOf<bool>([&](auto done) { info.selectDevice(u"sim"_qs, done); }), true); },
         setUp},
        {"look",
         [&] { EXPECT_EQ(answerOf<bool>([&](auto done) { info.isDevicePresent(done); }), true); },
         {"GetSysDevNames", "GetDevSerialNum"}},
        {"header", [&] { info.getMCUHeader([](const auto&) {}); }, transfer},
        {"EEPROM",
         [&] {
             info.writeDataEE(2, 7, [](bool) {});
             info.readDataEE(2, [](auto) {});
         },
         transfer},
        {"cages",
         [&] {
             hardware.writeAllCagesToHardware(QList<VEXIO_NS::CageConfig>(8, {68, 127, 4, 0, 0}));
             hardware.updateCageEnableConfig(0xFF);
             hardware.setCageDuration(0xFF, 4);
             hardware.readAllCages();
             hardware.readCageStatus();
             hardware.clearAllActivationCounters();
             hardware.readDiagnosticsStatus();
         },
         transfer},
        {"activation",
         [&] {
             hardware.activateStimulation(0x03);
             hardware.stopStimulation(0x01);
         },
         transfer},
        {"refresh of the cages' data by its timer", [&] { pass(250); }, transfer},
        {"polling",
         [&] {
             info.startVexioPolling();
             info.startDIORecording(16);
             settle();
             fault("vexio 12v off");
             fault("dio input 3 low");
             fault("button");
             fault("sensors 12");
             fault("shorted 5");
             pass(1000);
             fault("vexio 12v on");
             pass(1600);
         },
         {"WriteDigitalU32", "ReadDigitalU32", "ReadDigitalLines"}},
        {"diagnostics",
         [&] {
             hardware.runSpeakerDiagnostics();
             pass(4500);
         },
         transfer},
        {"outputs",
         [&] {
             info.pulseDioOutputs(0x0201);
             hardware.setOutputHold(0x0002);
             hardware.clearOutput(0x0002);
             pass(100);
         },
         {"WriteDigitalU32"}},
        {"light", [&] { info.toggleLEDCtrl(); }, {"WriteDigitalU32"}},
        {"recovery",
         [&] { EXPECT_EQ(answerOf<bool>([&](auto done) { info.recoverI2CSession(done); }), true); }, setUp},
        {"end", [&] { info.deselect(); }, {"StopTask", "ClearTask"}},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.name);
        settle();
        std::ignore = driver.take();
        step.run();
        settle();
        const auto seen = driver.take();
        ASSERT_EQ(seen.size(), 1U);
        EXPECT_EQ(seen.begin()->first, u"hardware"_qs);
        EXPECT_THAT(seen.begin()->second, IsSupersetOf(step.calls));
    }
    EXPECT_EQ(driver.threads().size(), 1U) << "one thread of that name";
    EXPECT_FALSE(driver.threads().contains(here));
    EXPECT_THAT(told,
                testing::UnorderedElementsAre(
                    "presenceChanged", "cageDataRead", "operationComplete", "cageStatusRead",
                    "diagnosticsStatusRead", "diagnosticsComplete", "powerFaultDetected", "powerRestored",
                    "systemStatusChanged", "speakerDiagnosticsResults", "dioInputStateChanged",
                    "pushButtonPressed", "sensorCountChanged", "sensorShorted", "ledStateChanged"));
}

} // namespace vt::test
