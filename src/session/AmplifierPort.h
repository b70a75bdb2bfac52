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

/// How the names of serial amplifiers begin.
[[nodiscard]] inline QString amplifierPrefix()
{
    return QStringLiteral("strivix:");
}

} // namespace vt
