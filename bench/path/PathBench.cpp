// SPDX-License-Identifier: GPL-3.0-or-later
// The whole path, from the simulated unit to closed files, as a multiple of real time.
#include "acquisition/AcquisitionFrame.h"
#include "base/TimeSource.h"
#include "session/SessionController.h"
#include "session/UserInteraction.h"
#include "simulation/SimulatedUnit.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTemporaryDir>
#include <benchmark/benchmark.h>

using namespace vt;

namespace {

class SilentUser final : public UserInteraction
{
public:
    void notify(Severity, const QString&, const QString&) override {}
    void ask(const Question&, std::function<void(int)> answered) override { answered(0); }
    void showNotice(const QString&, const QString&, const QString&, const QString&,
                    std::function<void()>) override
    {}
    void closeNotice(const QString&) override {}
    void setRecordingIndicator(const QString&) override {}
    void fatalError(const QString&, const QString&) override {}
};

/// Records that many seconds of signal as fast as it goes; false when something was lost.
bool record(int channels, int animalType, quint64 seconds)
{
    SimulatedUnit::Config config;
    config.channels = channels;
    config.animalType = animalType;
    config.clock = SimulatedUnit::Clock::AsReady;
    config.speed = 1e6;
    SimulatedUnit unit(config);
    SystemTimeSource time;
    SilentUser user;
    SessionController session(unit, time, user, {});
    unit.setReadyForMore([&session] { return session.readyForMoreData(); });
    const QTemporaryDir folder;
    QEventLoop loop;
    QObject::connect(&session, &SessionController::deviceSelected, &loop, [&](const DeviceDetails& device) {
        if (session.state() != SessionState::Idle)
            return;
        RecordingSetup setup;
        setup.basePath = folder.filePath(QStringLiteral("bench"));
        setup.channelCount = device.offeredChannels;
        setup.frameLimit = seconds * FramesPerSecond;
        session.record(setup);
    });
    QObject::connect(&session, &SessionController::recordingEnded, &loop, &QEventLoop::quit);
    session.refreshDevices();
    session.selectDevice(config.deviceName);
    loop.exec();
    return session.lastEndReason() == EndReason::DurationReached && !session.status().losses.any();
}

void wholePath(benchmark::State& state)
{
    const auto channels = static_cast<int>(state.range(0));
    const auto animalType = static_cast<int>(state.range(1));
    constexpr quint64 seconds = 3600;
    for (auto _ : state)
        if (!record(channels, animalType, seconds))
            state.SkipWithError("the recording was not complete");
    state.counters["times_real_time"] =
        benchmark::Counter(static_cast<double>(seconds), benchmark::Counter::kIsIterationInvariantRate);
}

BENCHMARK(wholePath)
    ->ArgNames({"channels", "animal"})
    ->ArgsProduct({{1, 8, 16}, {AnimalMouse, AnimalRat}})
    ->Unit(benchmark::kSecond)
    ->UseRealTime();

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_LOGGING_RULES", "*.debug=false;*.info=false");
    const QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
