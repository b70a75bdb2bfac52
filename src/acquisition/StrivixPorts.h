// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QString>

namespace vt {

/// A serial port of this computer.
struct SerialPortEntry
{
    QString path;         ///< as StrivixDevice::open takes it
    QString description;  ///< of the USB device, as it says; may be empty
    QString serialNumber; ///< of the USB device; may be empty
    bool isUsb = false;   ///< at a USB device, which a serial amplifier is
    quint16 vendorId = 0; ///< of the USB device; 0: not told
    quint16 productId = 0;
};

/// The system's list of serial ports. Any thread; a few milliseconds.
[[nodiscard]] QList<SerialPortEntry> serialPorts();

/// The path that the system has for a port's name ("/dev/ttyUSB0" for "ttyUSB0"). A path, or the name of a
/// port that does not exist, stays as it is. Any thread; a few milliseconds.
[[nodiscard]] QString portPath(const QString& portName);

/// Is there something at this port? A name or path from the system's list, or the path of a pseudo-terminal
/// or of a link to one, which that list does not show. Says nothing about what is there. Any thread.
[[nodiscard]] bool isPortPresent(const QString& portName);

} // namespace vt
