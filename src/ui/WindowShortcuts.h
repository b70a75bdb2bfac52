// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/ShortcutSheet.h"

namespace vt {

/// The keys of the main window, as the sheet shows them: those of the menus, of the bar and of the pages.
[[nodiscard]] std::vector<ShortcutEntry> windowShortcuts();

} // namespace vt
