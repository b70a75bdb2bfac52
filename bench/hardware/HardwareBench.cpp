// SPDX-License-Identifier: GPL-3.0-or-later
// What a byte on an I2C bus and an activation of the stimulation unit cost: driver calls, and time. On a real
// unit a driver call takes about a millisecond, so the calls decide; our own share per byte is to stay below
// 2 microseconds.
#include "base/TimeSource.h"
#include "hardware/I2C.h"
#include "hardware/VEXIO.h"
#include "simulation/SimulatedUnit.h"

#include <QCoreApplication>
#include <array>
#include <benchmark/benchmark.h>

using namespace vt;

namespace {

/// A simulated unit whose digital transfers can be answered at once: everything reads as acknowledged.
class CountingUnit final : public SimulatedUnit
{
public:
    using SimulatedUnit::SimulatedUnit;

    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                     daqmx::Bool32 fillMode, std::uint32_t* values, std::uint32_t size,
                                     std::int32_t* samplesRead, daqmx::Bool32* reserved) override
    {
        ++calls;
        if (!isNull)
            return SimulatedUnit::DAQmxReadDigitalU32(task, samples, timeoutSeconds, fillMode, values, size,
                                                      samplesRead, reserved);
        values[0] = 0;
        *samplesRead = 1;
        return 0;
    }
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samples, daqmx::Bool32 autoStart,
                                      double timeoutSeconds, daqmx::Bool32 layout,
                                      const std::uint32_t* values, std::int32_t* written,
                                      daqmx::Bool32* reserved) override
    {
        ++calls;
        if (!isNull)
            return SimulatedUnit::DAQmxWriteDigitalU32(task, samples, autoStart, timeoutSeconds, layout,
                                                       values, written, reserved);
        *written = samples;
        return 0;
    }

    bool isNull = false;
    std::uint64_t calls = 0;
};

SimulatedUnit::Config manualUnit()
{
    SimulatedUnit::Config config;
    config.deviceName = QStringLiteral("sim");
    config.clock = SimulatedUnit::Clock::Manual;
    return config;
}

enum class Direction { Write, Read };

/// 64 data bytes per transfer; address and register are part of the cost, STOP as well.
void busBytes(benchmark::State& state, Direction direction)
{
    constexpr int Length = 64;
    CountingUnit unit(manualUnit());
    I2C bus(unit, QStringLiteral("sim"), 0, 4, 5, 6);
    unit.isNull = true;
    unit.calls = 0;
    std::array<std::uint8_t, Length> bytes{};
    for (auto _ : state) {
        const bool isDone = direction == Direction::Write ? bus.i2cWrite(0x10, 0x38, bytes.data(), Length)
                                                          : bus.i2cRead(0x10, 0x38, bytes.data(), Length);
        if (!isDone)
            state.SkipWithError("transfer failed");
        benchmark::DoNotOptimize(bytes);
    }
    const double transferred = static_cast<double>(state.iterations()) * Length;
    state.counters["driver calls per byte"] = static_cast<double>(unit.calls) / transferred;
    state.counters["seconds per byte"] =
        benchmark::Counter(transferred, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void activation(benchmark::State& state)
{
    SystemTimeSource time;
    CountingUnit unit(manualUnit());
    I2C bus(unit, QStringLiteral("sim"), 0, 4, 5, 6);
    VEXIO vexio(HardwareContext{unit, time, QCoreApplication::instance()});
    if (!vexio.initVexio(&bus, 8))
        state.SkipWithError("no stimulation unit");
    vexio.updateCageEnableConfig(0xFF);
    unit.calls = 0;
    for (auto _ : state)
        if (!vexio.activateStimulation(0x01))
            state.SkipWithError("not activated");
    state.counters["driver calls"] =
        static_cast<double>(unit.calls) / static_cast<double>(state.iterations());
}

BENCHMARK_CAPTURE(busBytes, write, Direction::Write);
BENCHMARK_CAPTURE(busBytes, read, Direction::Read);
BENCHMARK(activation)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
