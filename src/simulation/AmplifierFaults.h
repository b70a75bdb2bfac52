// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/FaultControlFile.h"

namespace vt {

class SimulatedAmplifier;

/// Lets a simulated amplifier misbehave on commands from a file as it grows. Of the fault language it knows:
///
///   unplug               the cable is pulled out
///   replug [serial N]    it is plugged in again, optionally as the amplifier "Strivix N"
///   stall on|off         it sends nothing; what the animals do meanwhile is lost
///
/// What else is in the file is logged and has no effect.
class AmplifierFaults
{
public:
    /// amplifier outlives the object.
    AmplifierFaults(SimulatedAmplifier& amplifier, const QString& path);

private:
    FaultControlFile m_file;
};

} // namespace vt
