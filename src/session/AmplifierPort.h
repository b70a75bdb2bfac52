// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <functional>
#include <vector>

namespace vt {

/// A serial port that a serial amplifier may be at.
struct AmplifierPort
{
    QString name;        ///< as the user chooses it: "strivix:" and the port, or "strivix:sim"
    QString port;        ///< what the system opens
    QString description; ///< of the USB device, as it says; may be empty
    QString serial;      ///< of the USB device; may be empty
    bool simulated = false;
    quint16 vendorId = 0; ///< of the USB device; 0: not known
    quint16 productId = 0;
};

/// The ports that are offered at this moment. Interface thread; a few milliseconds.
using AmplifierPorts = std::function<std::vector<AmplifierPort>()>;

/// At the same USB device, as far as that says who it is?
[[nodiscard]] inline bool isSameUsbDevice(const AmplifierPort& a, const AmplifierPort& b)
{
    return a.vendorId == b.vendorId && a.productId == b.productId && a.serial == b.serial;
}

/// Where the USB device of a port that was chosen is now: at the port's name, as long as that is listed with
/// that device, else at the one other port with it. Null: nowhere, or nobody can tell, because the device has
/// no serial number or two ports have it. Points into listed.
[[nodiscard]] const AmplifierPort* presentPort(const AmplifierPort& chosen,
                                               const std::vector<AmplifierPort>& listed);

/// How the names of serial amplifiers begin.
[[nodiscard]] inline QString amplifierPrefix()
{
    return QStringLiteral("strivix:");
}

} // namespace vt
