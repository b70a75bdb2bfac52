// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/CommandLine.h"
#include "envsens/SerialPortList.h"

#include <memory>
#include <vector>

namespace vt {

class SimulatedEnviro;
class TimeSource;

/// The serial ports among which a run of the program looks for environmental sensors: the system's, those of
/// --extra-serial-port, and those of two simulated sensors where --simulate asks for them, on systems that
/// have pseudo-terminals. Interface thread; ports() from any.
class SensorPorts
{
public:
    /// time outlives the object.
    SensorPorts(const CommandLine& line, TimeSource& time);
    ~SensorPorts();
    SensorPorts(const SensorPorts&) = delete;
    SensorPorts& operator=(const SensorPorts&) = delete;

    [[nodiscard]] const SerialPortList& ports() const { return *m_ports; }

private:
    SystemSerialPorts m_system;
    std::vector<std::unique_ptr<SimulatedEnviro>> m_simulated;
    std::unique_ptr<ExtendedSerialPorts> m_ports;
};

} // namespace vt
