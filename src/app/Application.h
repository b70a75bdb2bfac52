// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt {

/// True when these arguments need no window, so that no display is needed either.
[[nodiscard]] bool isConsoleRun(int argc, char** argv);

/// Builds the services, wires them and runs until the end. The application object exists.
/// Returns the process's exit status: 0 recorded and closed; 1 could not start or ended by a fault; 2 bad
/// arguments.
[[nodiscard]] int runConsole();
[[nodiscard]] int runWindow();

} // namespace vt
