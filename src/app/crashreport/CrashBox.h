// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt::crash {

/// Tells the user that the program has crashed and where its report is (empty: there is none); returns the
/// exit status when the box has been closed. Without a screen the text goes to standard error.
int showCrashBox(int argc, char** argv, const QString& report, const QString& exception);

} // namespace vt::crash
