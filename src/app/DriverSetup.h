// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/CommandLine.h"

#include <QString>
#include <functional>
#include <memory>
#include <vector>

namespace vt {

class DaqmxApi;
class DriverMux;
class SimulatedUnit;

/// The driver that a run of the program uses, chosen from its command line: the NI-DAQmx library where there
/// is one, and simulated units where they were asked for. --simulate offers one with eight channels and one
/// with sixteen, --device the one that it names; without either and without a real unit there is the one
/// with eight channels. Number of channels, playback file and fault commands are for one of them: the
/// one with sixteen when --device names it (the playback file never), else the other.
class DriverSetup
{
public:
    static constexpr const char* SimulatedName = "sim";
    static constexpr const char* Simulated16Name = "sim16";

    explicit DriverSetup(const CommandLine& line);
    ~DriverSetup();

    /// Why there is no driver (an explicit library that cannot be loaded, a bad playback file), or empty.
    [[nodiscard]] QString error() const { return m_error; }
    [[nodiscard]] DaqmxApi& driver();
    /// Simulated units wait for ready() before each block when they run faster than real time.
    void setReadyForMore(const std::function<bool()>& ready);
    [[nodiscard]] bool hasSimulatedUnit() const { return !m_simulated.empty(); }

private:
    void makeSimulatedUnits(const CommandLine& line);
    [[nodiscard]] bool realUnitPresent() const;

    QString m_error;
    std::unique_ptr<DaqmxApi> m_real;
    std::vector<std::unique_ptr<SimulatedUnit>> m_simulated;
    std::unique_ptr<DriverMux> m_mux;
};

} // namespace vt
