// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <windows.h>

/// The report of a dying process, over plain Windows types. A thread that was started beforehand writes it,
/// so that a thread that has used up its stack can die in good order.
namespace vt::crash {

constexpr std::size_t PathRoom = 1024;
using WidePath = std::array<wchar_t, PathRoom>;

/// How much of the report is on the disk.
enum class Saved { Nothing, Part, PartDiskFull, Whole };

struct Settings
{
    WidePath folder{};            ///< zero-terminated; exists
    void (*flushLog)() = nullptr; ///< saves what a log still holds; null: none
    /// Tells the user, also when the report is not ready after half a minute. Null: nobody is told.
    void (*tell)(const wchar_t* path, Saved saved, const char* typeName) = nullptr;
};

/// Installs the filter for exceptions that nobody handles, and what leads abort() and std::terminate to the
/// same report. Later calls change the settings. False when the system refused; GetLastError() says why.
[[nodiscard]] bool install(const Settings& settings);

/// Keeps enough of the calling thread's stack back that the filter can run when the stack has been used up,
/// and leads the thread's std::terminate to the report once that is installed: some runtimes keep it per
/// thread.
[[nodiscard]] bool prepareThread();

/// Does not return while another thread dies.
void holdWhileDying();

/// How far local time is ahead of UTC. Any thread.
void setUtcOffset(int seconds);

/// "Access Violation" and the like; "Unknown" for what has no name here.
[[nodiscard]] const char* nameOf(DWORD code);

} // namespace vt::crash
