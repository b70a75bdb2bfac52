// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/CommandLine.h"
#include "session/AmplifierPort.h"

#include <memory>

namespace vt {

class AmplifierFaults;
class SimulatedAmplifier;
class TimeSource;

/// The serial ports that a run of the program offers as serial amplifiers: those at USB devices, the one that
/// --device names whatever it is, and a simulated amplifier where it was asked for, by --simulate or
/// --device strivix:sim, on systems that have pseudo-terminals. The simulated one always runs in real time;
/// the fault commands are for it when --device names it. Interface thread.
class AmplifierSetup
{
public:
    /// time outlives the object.
    AmplifierSetup(const CommandLine& line, TimeSource& time);
    ~AmplifierSetup();
    AmplifierSetup(const AmplifierSetup&) = delete;
    AmplifierSetup& operator=(const AmplifierSetup&) = delete;

    [[nodiscard]] static QString simulatedName() { return amplifierPrefix() + QStringLiteral("sim"); }

    /// As the system has them now.
    [[nodiscard]] std::vector<AmplifierPort> ports() const;
    /// For a session that this object outlives.
    [[nodiscard]] AmplifierPorts finder() const
    {
        return [this] { return ports(); };
    }

private:
    QString m_namedPort; ///< by --device
    std::unique_ptr<SimulatedAmplifier> m_simulated;
    std::unique_ptr<AmplifierFaults> m_faults;
};

} // namespace vt
