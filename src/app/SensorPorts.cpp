// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/SensorPorts.h"

#include "simulation/SimulatedEnviro.h"

#include <QDebug>

namespace vt {

namespace {

constexpr int SimulatedCount = 2;

} // namespace

SensorPorts::SensorPorts(const CommandLine& line, TimeSource& time)
{
    QList<SerialPortFacts> extra = line.extraSerialPorts;
    if (line.simulate && line.action == CommandLine::Action::Run)
        m_simulated = makeSimulatedEnviros(time, SimulatedCount);
    for (const auto& sensor : m_simulated) {
        QString error = sensor->errorText();
        if (const auto port = error.isEmpty() ? parseExtraPort(sensor->portEntry(), &error) : std::nullopt)
            extra << *port;
        else
            qInfo().noquote() << "No simulated environmental sensor:" << error;
    }
    m_ports = std::make_unique<ExtendedSerialPorts>(m_system, extra);
}

SensorPorts::~SensorPorts() = default;

} // namespace vt
