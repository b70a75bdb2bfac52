// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt {

class SessionController;
class StimulationTab;

/// Lets the setup's stimulation tab read and write the stimulation unit of the chosen device, and test its
/// speakers. Both live on the interface thread; the session outlives the tab.
void connectStimulationTab(StimulationTab& tab, SessionController& session);

} // namespace vt
