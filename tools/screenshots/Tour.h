// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt {

class Studio;

/// The pictures, in the order in which a user may see them. Each ends with its recording, if any, stopped,
/// and is false when a step did not come about, which has been said by then. The first look, the setup and
/// what it asks and tells.
[[nodiscard]] bool tourSetup(Studio& studio);
/// A recording of some days and its summaries.
[[nodiscard]] bool tourDays(Studio& studio, int days);
/// A recording: pages, markers, faults, pause and end, on the unit that tourSetup has chosen.
[[nodiscard]] bool tourRecording(Studio& studio);
/// What can keep a recording from starting, or end it.
[[nodiscard]] bool tourRefusals(Studio& studio);
/// A unit that goes without having been allowed to come back; made with autoResume off.
[[nodiscard]] bool tourDeviceLost(Studio& studio);

} // namespace vt
