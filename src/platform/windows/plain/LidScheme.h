// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt::windows {

/// The active power scheme's lid-close actions and whether there is a battery.
struct LidScheme
{
    bool hasBattery = false;
    unsigned long onMains = 0; ///< 0 nothing, 1 sleep, 2 hibernate, 3 shut down
    unsigned long onBattery = 0;
    const char* failedCall = nullptr; ///< the first call that failed, null without one
    unsigned long error = 0;          ///< its Win32 error
};

[[nodiscard]] LidScheme readLidScheme();
/// Opens a settings page ("ms-settings:...") or a document as the desktop does; 0 or an error code.
[[nodiscard]] unsigned long openByDesktop(const wchar_t* target);

} // namespace vt::windows
