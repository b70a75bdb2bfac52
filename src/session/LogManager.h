// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "platform/CrashHandler.h"

#include <QDateTime>
#include <QString>
#include <memory>

namespace vt {

/// Routes every diagnostic message of the program into one text file per run, passes it on to the debugger
/// output (standard error on Linux), keeps the folders of logs and crash reports small, and installs the
/// crash handler. Made first after the application object, on the main thread; at its end messages go where
/// they went before. One at a time.
///
/// Messages may come from any thread. Lines arrive whole and in order per thread. A caller waits neither for
/// the disk nor for the terminal: a line is formatted and queued, one thread of the log appends it to the
/// file and another shows it. Only a fatal message, after which the program ends, waits up to 200 ms for the
/// file. A full disk, a folder that is gone, a terminal that nobody reads or lack of memory cost lines, which
/// are counted where the next one can be written, and nothing else. Messages that repeat are counted
/// (LogRepeats), and one run's log has a limit (LogWriter). The end of the LogManager waits up to 2 s for
/// what is queued; while another thread writes a crash report it waits for the end of the process.
class LogManager
{
public:
    struct Options
    {
        QString dataFolder;      ///< holds "logs" and "crash_logs"; empty: the user's local application data
        QString applicationName; ///< empty: the application object's; "Application" when that is empty too
        QDateTime startTime;     ///< invalid: now
        CrashHandler::Notice crashNotice = CrashHandler::Notice::StandardError;
        QString crashReportProgram; ///< CrashHandler::Options::reportProgram
        bool handleCrashes = true;
    };
    explicit LogManager(const Options& options);
    ~LogManager();
    LogManager(const LogManager&) = delete;
    LogManager& operator=(const LogManager&) = delete;

    /// Path of this run's log; empty when it could not be created.
    [[nodiscard]] QString logFilePath() const;
    [[nodiscard]] QString crashFolder() const;
    /// Returns when all lines logged so far are in the file, or after timeoutMs: false then. Any thread.
    bool flush(int timeoutMs);

private:
    struct Private;
    std::unique_ptr<Private> d;
};

} // namespace vt
