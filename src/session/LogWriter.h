// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "platform/AppendFile.h"
#include "platform/DebuggerOutput.h"
#include "session/LogQueue.h"

#include <QString>
#include <QThread>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <string>
#include <vector>

namespace vt {

/// Takes the records out of the queue on a thread of its own, shows them on the debugger output and appends
/// them to the log, unbuffered.
///
/// A log that takes no more (full disk, removed folder) is tried again with the next records and once a
/// second; a record that was written in part is cut off and written again. A removed file is made anew.
/// Meanwhile up to half of the queue is kept for the log; what is older is given up and counted, and the
/// first record that can be written again is preceded by one that tells how many were lost. The debugger
/// output is never waited for, and treated the same way.
class LogWriter
{
public:
    explicit LogWriter(LogQueue& queue, DebuggerOutput output = DebuggerOutput());
    /// stop() has returned true, or start() was never called.
    ~LogWriter() = default;
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// False: records only go to the debugger output. Before start().
    [[nodiscard]] bool open(const QString& path);
    /// As open(), for a file that does not exist yet.
    [[nodiscard]] AppendFile::Creation create(const QString& path);
    void start();
    /// Writes what is queued and ends the thread. False when that has not happened after timeoutMs: the
    /// thread is held by the disk, and the object has to outlive it.
    [[nodiscard]] bool stop(int timeoutMs);

    /// Returns when the records before position are in the file, when that failed, or after the time. True
    /// only when they are in the file. Any thread.
    [[nodiscard]] bool waitUntilWritten(LogQueue::Position position, int timeoutMs) VT_EXCLUDES(m_mutex);

    /// Appends to the file what is still queued, for a crash handler: no lock, no allocation, 200 ms at most
    /// before it gives up on a disk that holds the writer. Nothing is written by the thread afterwards.
    void saveWhileDying() noexcept;

private:
    using Clock = std::chrono::steady_clock;
    enum class Ended { No, Yes };

    void run();
    [[nodiscard]] Ended waitForWork();
    void pass();
    void show(LogQueue::Position end);
    [[nodiscard]] bool showRecord(const LogQueue::Record& record);
    void write(LogQueue::Position end);
    [[nodiscard]] bool writeBatch(LogQueue::Position end);
    [[nodiscard]] bool appendBatch();
    void noteFailure();
    void giveUpOldest(LogQueue::Position end);
    [[nodiscard]] std::uint64_t skip(LogQueue::Position& position, LogQueue::Position limit) const;
    void publish(LogQueue::Position end) VT_EXCLUDES(m_mutex);

    LogQueue& m_queue;
    DebuggerOutput m_output;
    QString m_path;
    AppendFile m_file;
    std::unique_ptr<QThread> m_thread;
    std::atomic<Clock::time_point> m_showUntil{Clock::time_point::max()}; ///< set when stopping

    // The writer's thread only.
    LogQueue::Position m_seen = 0; ///< end of the queue at the last pass
    LogQueue::Position m_filePosition = 0;
    LogQueue::Position m_shownPosition = 0;
    std::size_t m_shownBytes = 0; ///< of the record at m_shownPosition
    std::uint64_t m_linesLost = 0;
    std::uint64_t m_linesNotShown = 0;
    bool m_failing = false;
    bool m_outputBlocked = false;
    std::string m_batch;
    struct RecordEnd
    {
        std::size_t inBatch;
        LogQueue::Position inQueue;
    };
    std::vector<RecordEnd> m_batchEnds;

    // For the crash handler.
    std::atomic<LogQueue::Position> m_saved{0};
    std::atomic<Qt::HANDLE> m_writerThread{nullptr};
    std::atomic<bool> m_writing{false};
    std::atomic<bool> m_dying{false};

    Mutex m_mutex;
    std::condition_variable_any m_progress;
    LogQueue::Position m_written VT_GUARDED_BY(m_mutex) = 0;
    LogQueue::Position m_tried VT_GUARDED_BY(m_mutex) = 0; ///< a write of what lies before has been tried
    std::uint64_t m_givenUp VT_GUARDED_BY(m_mutex) = 0;
};

} // namespace vt
