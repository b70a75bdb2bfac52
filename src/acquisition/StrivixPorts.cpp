// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixPorts.h"

#include <QFileInfo>
#include <QSerialPortInfo>
#include <algorithm>

namespace vt {

QList<SerialPortEntry> serialPorts()
{
    QList<SerialPortEntry> entries;
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo& port : ports)
        entries.append({port.systemLocation(), port.description(), port.serialNumber(),
                        port.hasVendorIdentifier(), port.vendorIdentifier(), port.productIdentifier()});
    return entries;
}

QString portPath(const QString& portName)
{
    if (QFileInfo(portName).isAbsolute())
        return portName;
    QString location = QSerialPortInfo(portName).systemLocation();
    if (!location.isEmpty())
        return location;
    // A port that is not in the list can be opened by its name all the same.
    const QString path = QStringLiteral("/dev/") + portName;
    return QFileInfo::exists(path) ? path : portName;
}

bool isPortPresent(const QString& portName)
{
    const QList<QSerialPortInfo> ports = QSerialPortInfo::availablePorts();
    const bool isListed = std::any_of(ports.begin(), ports.end(), [&portName](const QSerialPortInfo& port) {
        return port.portName() == portName || port.systemLocation() == portName;
    });
    // A link whose target is gone does not exist.
    return isListed || (QFileInfo(portName).isAbsolute() && QFileInfo::exists(portName));
}

} // namespace vt
