// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/AmplifierSetup.h"

#include "acquisition/StrivixPorts.h"
#include "simulation/AmplifierFaults.h"
#include "simulation/SimulatedAmplifier.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace vt {

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("AmplifierSetup", source);
}

/// A port as people call it, without what begins the path of a port on Windows.
QString shownPort(const QString& path)
{
    const QLatin1String devicePrefix("\\\\.\\");
    return path.startsWith(devicePrefix) ? path.mid(devicePrefix.size()) : path;
}

bool isLinkTo(const QString& link, const QString& path)
{
    return link != path && QFileInfo(link).isSymLink() && QFileInfo(link).canonicalFilePath() == path;
}

} // namespace

AmplifierSetup::AmplifierSetup(const CommandLine& line, TimeSource& time)
{
    const bool isSimulatedNamed = line.device == simulatedName();
    if (line.device.startsWith(amplifierPrefix()) && !isSimulatedNamed)
        m_namedPort = line.device.mid(amplifierPrefix().size());
    if ((!line.simulate && !isSimulatedNamed) || !SimulatedAmplifier::isAvailable())
        return;
    SimulatedAmplifier::Options options;
    options.seed = line.simulateSeed;
    if (line.animalType > 0)
        options.animalType = line.animalType;
    m_simulated = std::make_unique<SimulatedAmplifier>(time, options);
    if (isSimulatedNamed && !line.simulateFaults.isEmpty())
        m_faults = std::make_unique<AmplifierFaults>(*m_simulated, line.simulateFaults);
}

AmplifierSetup::~AmplifierSetup() = default;

std::vector<AmplifierPort> AmplifierSetup::ports() const
{
    std::vector<AmplifierPort> offered;
    bool isNamedListed = m_namedPort.isEmpty();
    for (const SerialPortEntry& port : serialPorts()) {
        const QString shown = shownPort(port.path);
        const bool isLinked = isLinkTo(m_namedPort, port.path);
        const bool isNamed = isLinked || port.path == m_namedPort || shown == m_namedPort;
        if (!port.isUsb && !isNamed)
            continue;
        isNamedListed = isNamedListed || isNamed;
        const QString description = port.description.isEmpty()
                                        ? text("USB serial port")
                                        : text("USB serial port (%1)").arg(port.description);
        // A link leads to the device wherever that comes back.
        offered.push_back({amplifierPrefix() + (isNamed ? m_namedPort : shown),
                           isLinked ? m_namedPort : port.path, description, port.serialNumber, false,
                           port.vendorId, port.productId});
    }
    if (!isNamedListed)
        offered.push_back({amplifierPrefix() + m_namedPort, m_namedPort, text("Serial port"), {}, false});
    if (m_simulated)
        offered.push_back(
            {simulatedName(), m_simulated->portName(), text("Serial amplifier"), QString(), true});
    return offered;
}

} // namespace vt
