// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// Starts the program that works on a report, from a signal handler: no lock, no allocation, no copy of the
/// process. One caller at a time.
namespace vt::crash {

/// arguments: the program's path first, a null pointer last. Returns the child's id, or -1 when the program
/// could not be started.
[[nodiscard]] int startProgram(const char* const* arguments) noexcept;

/// Returns when the child has ended, or after the time.
void waitForProgram(int child, int timeoutMs) noexcept;

} // namespace vt::crash
