// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/CommandLine.h"

#include <QString>
#include <functional>
#include <memory>

namespace vt {

class DaqmxApi;
class DriverMux;
class SimulatedUnit;

/// The driver that a run of the program uses, chosen from its command line: the NI-DAQmx library where there
/// is one, the simulated unit where it was asked for or where there is nothing else, or both.
class DriverSetup
{
public:
    static constexpr const char* SimulatedName = "sim";

    explicit DriverSetup(const CommandLine& line);
    ~DriverSetup();

    /// Why there is no driver (an explicit library that cannot be loaded, a bad playback file), or empty.
    [[nodiscard]] QString error() const { return m_error; }
    [[nodiscard]] DaqmxApi& driver();
    /// The simulated unit waits for ready() before each block when it runs faster than real time.
    void setReadyForMore(std::function<bool()> ready);
    [[nodiscard]] bool hasSimulatedUnit() const { return m_simulated != nullptr; }

private:
    void makeSimulatedUnit(const CommandLine& line);
    [[nodiscard]] bool realUnitPresent() const;

    QString m_error;
    std::unique_ptr<DaqmxApi> m_real;
    std::unique_ptr<SimulatedUnit> m_simulated;
    std::unique_ptr<DriverMux> m_mux;
};

} // namespace vt
