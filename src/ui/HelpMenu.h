// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

class QMenu;
class QWidget;

namespace vt {

/// Fills the menu "Help": the sheet of keys, the folder of the logs, what the program is. F1 works in every
/// window of the program. logFile is this run's log; without one its entry is left out. menu belongs to
/// window. Interface thread.
void fillHelpMenu(QMenu& menu, QWidget& window, const QString& logFile);

} // namespace vt
