// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// Writes a crash report before the process dies of a fault of its own: bad memory access, division by zero,
/// illegal instruction, stack overflow, abort, an escaped C++ exception.
namespace vt::CrashHandler {

/// Where the user learns of a crash: on standard error, and in a box shown by a separate small process too.
enum class Notice { MessageBox, StandardError };

struct Options
{
    /// Exists; the report is "crash_<yyyyMMdd_hhmmss>.txt" in it, with the process id added for a second one.
    QString folder;
    Notice notice = Notice::StandardError;
    /// The program beside this one that adds names and lines to a report and shows the box; empty:
    /// "vellumtide-crash-report" in the folder of the running executable. Without it the report stands as
    /// written.
    QString reportProgram;
    /// Called by the handler while the process dies, to save what a log still holds in memory. Takes no lock,
    /// allocates nothing, calls only what a signal handler may. Null: none.
    void (*flushLog)() = nullptr;
};

/// Installs the handler for the rest of the process; later calls change the options. Main thread.
/// False, after a warning, when the system refused.
bool install(const Options& options);
/// Makes the calling thread's own stack overflow reportable (an alternate signal stack on Linux). The threads
/// that the program starts call it first; so does what others call on threads of theirs, where all but the
/// first call cost next to nothing.
void prepareThread();
/// Does not return while another thread writes a report: the process then ends of that thread's fault, and
/// not in the middle of the report with a status that means success. Returns at once otherwise. Called by
/// itself when the program exits.
void holdWhileDying();
/// How far local time is ahead of UTC, for the report's name and time: a dying process cannot look it up. Any
/// thread; install() does it once.
void noteUtcOffset(int secondsEastOfUtc);
/// "Windows" or "Linux".
[[nodiscard]] const char* systemName();

} // namespace vt::CrashHandler
