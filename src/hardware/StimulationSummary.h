// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/StimulationSettings.h"
#include "recording/ConfigSummary.h"

namespace vt {

/// Whose settings a recording stimulates by.
enum class StimulationSource {
    None,
    Unit,   ///< the stimulation unit
    Outputs ///< the port expanders' digital outputs alone
};

/// Fills in what "_cnfg.csv" says about stimulation. "Activation Mode:" gets protocol, interval in minutes,
/// sleep duration in seconds; with the unit also the longest interval in minutes, 1 for random intervals
/// (else 0), and the activity threshold. Any thread.
void describeStimulation(ConfigSummary& summary, StimulationSource source, const VexioSettings& vexio,
                         const DioSettings& dio);

} // namespace vt
