// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "platform/AppendFile.h"
#include "platform/DebuggerOutput.h"
#include "session/LogDisplay.h"
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

/// Takes the records out of the queue on a thread of its own and appends them to the log, unbuffered; a
/// LogDisplay shows them.
///
/// A log that takes no more (full disk, removed folder) is tried again with the next records and once a
/// second; a record that was written in part is cut off and written again. A removed file is made anew.
/// Meanwhile up to half of the queue is kept for the log; what is older is given up and counted, and the
/// first record that can be written again is preceded by one that tells how many were lost. A display that
/// takes no more loses records in the same way.
///
/// One run's log has a limit, which a record tells when it is reached: from then on warnings and worse are
/// appended up to a second limit, and the rest is only shown.
class LogWriter
{
public:
    struct Limits
    {
        std::uint64_t everythingBytes = std::uint64_t{256} << 20;
        std::uint64_t warningsBytes = std::uint64_t{64} << 20; ///< on top
    };
    explicit LogWriter(LogQueue& queue, DebuggerOutput output = DebuggerOutput());
    LogWriter(LogQueue& queue, DebuggerOutput output, Limits limits);
    /// stop() has returned true, or start() was never called.
    ~LogWriter() = default;
    LogWriter(const LogWriter&) = delete;
    LogWriter& operator=(const LogWriter&) = delete;

    /// False: records only go to the debugger output. Before start().
    [[nodiscard]] bool open(const QString& path);
    /// As open(), for a file that does not exist yet.
    [[nodiscard]] AppendFile::Creation create(const QString& path);
    void start();
    /// Writes and shows what is queued and ends the threads; half of the time goes to the display. False when
    /// that has not happened after timeoutMs: one is held by the disk or the output, and the object has to
    /// outlive it.
    [[nodiscard]] bool stop(int timeoutMs);

    /// Returns when the records before position are in the file, when that failed, or after the time. True
    /// only when they are in the file. Any thread.
    [[nodiscard]] bool waitUntilWritten(LogQueue::Position position, int timeoutMs) VT_EXCLUDES(m_mutex);

    /// Appends to the file what is still queued, for a crash handler: no lock, no allocation, 200 ms at most
    /// before it gives up on a disk that holds the writer. Nothing is written by the thread afterwards. May
    /// be called again, to go on where it gave up.
    void saveWhileDying() noexcept;

private:
    using Clock = std::chrono::steady_clock;
    enum class Ended { No, Yes };

    void run();
    [[nodiscard]] Ended waitForWork();
    void pass();
    void write(LogQueue::Position end);
    [[nodiscard]] bool writeBatch(LogQueue::Position end);
    void fillBatch(LogQueue::Position end);
    [[nodiscard]] bool isWanted(const LogQueue::Record& record);
    [[nodiscard]] bool appendBatch();
    void noteFailure();
    [[nodiscard]] LogQueue::Position keptFrom(LogQueue::Position end) const;
    void giveUpOldest(LogQueue::Position end);
    void publish(LogQueue::Position end) VT_EXCLUDES(m_mutex);

    LogQueue& m_queue;
    const Limits m_limits;
    LogDisplay m_display;
    QString m_path;
    AppendFile m_file;
    std::unique_ptr<QThread> m_thread;
    std::atomic<bool> m_ended{false}; ///< the thread's last word

    // The writer's thread only.
    LogQueue::Position m_seen = 0; ///< end of the queue at the last pass
    LogQueue::Position m_filePosition = 0;
    std::uint64_t m_linesLost = 0;
    std::uint64_t m_bytesWritten = 0; ///< of this run
    bool m_failing = false;
    bool m_limitTold = false;
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
