// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

namespace vt::windows {

/// Hands every request of the console's to end the program (Ctrl-C, a closed console window, logoff,
/// shutdown) to request, on a thread of the system's, until stopConsoleEvents() has returned. After that a
/// request has no effect any more. Returns the error, 0 for none.
[[nodiscard]] unsigned long startConsoleEvents(std::function<void()> request);
void stopConsoleEvents();

/// What the system calls with each event. The system ends the process as soon as this returns from a closed
/// console, a logoff or a shutdown (and about 5 s after the event in any case): it returns from these when
/// the process has ended by itself, or after closeWaitMs. From Ctrl-C and Ctrl-Break it returns at once.
int __stdcall handleConsoleEvent(unsigned long event);
constexpr unsigned long closeWaitMs = 4500;

/// Leaves the console that the program was started from or was given, so that closing it does not end the
/// program.
void leaveConsole();

} // namespace vt::windows
