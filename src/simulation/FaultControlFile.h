// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QString>
#include <condition_variable>
#include <functional>
#include <thread>

namespace vt {

/// Follows a text file from an own thread, looking every 200 ms, and hands on each complete line once, those
/// already there included. A file that becomes shorter is read from its start again; one that does not
/// exist (yet) is waited for.
class FaultControlFile
{
public:
    /// apply runs on the watching thread, for what is in the file already before this returns.
    FaultControlFile(const QString& path, std::function<void(const QString& line)> apply);
    ~FaultControlFile();
    FaultControlFile(const FaultControlFile&) = delete;
    FaultControlFile& operator=(const FaultControlFile&) = delete;

private:
    void run();
    void readNewLines();

    const QString m_path;
    const std::function<void(const QString&)> m_apply;
    qint64 m_offset = 0; ///< watching thread only, once that runs
    Mutex m_mutex;
    std::condition_variable_any m_quitChanged;
    bool m_quit VT_GUARDED_BY(m_mutex) = false;
    std::thread m_thread;
};

} // namespace vt
