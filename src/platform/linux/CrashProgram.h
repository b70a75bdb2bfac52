// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// Starts the program that works on a report, from a signal handler: no lock, no allocation, no copy of the
/// process. One caller at a time.
namespace vt::crash {

/// Whether the program is one that the caller waits for, or one that outlives it: the latter gets a session
/// of its own and nothing of the caller's input and output, whose end others may wait for.
enum class Lifetime { Awaited, Outlives };

/// arguments: the program's path first, a null pointer last. Returns the child's id, or -1 when the program
/// could not be started.
[[nodiscard]] int startProgram(const char* const* arguments, Lifetime lifetime) noexcept;

/// Returns when the child has ended, or after the time.
void waitForProgram(int child, int timeoutMs) noexcept;

} // namespace vt::crash
