// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QObject>
#include <QThread>
#include <atomic>
#include <cstddef>
#include <memory>
#include <span>

namespace vt {

class FileWriterCore;

/// Takes every write of a recording's binary files off the threads that produce data.
///
/// Producers copy a small write into the main queue (2000 operations) by try-lock; a busy or full main queue
/// diverts it into the emergency queue (100 operations, blocking lock); when that is full too the write is
/// dropped, counted and reported. One background thread performs the writes in batches of 50, emergency
/// operations first; one that only met a busy main queue lets the older operations of that queue go before
/// it. Nothing is allocated on the way for blocks of up to InlineBytes.
///
/// A failed write is counted, reported and not retried; what a full disk took of a block is cut off again.
///
/// Construct on the interface thread; queueWrite from any producer thread; shutdown from any thread but the
/// writer's own. Not restarted after shutdown.
class FileWriter : public QObject
{
    Q_OBJECT
public:
    static constexpr int MaxQueueSize = 2000;
    static constexpr int EmergencyQueueSize = 100;
    static constexpr int BatchSize = 50;
    /// 16 channels x 6 features x 8 bytes; a block of raw samples, 16 channels x 4 x 2 bytes, is smaller.
    static constexpr int InlineBytes = 768;

    struct Statistics
    {
        quint64 totalWrites = 0;   ///< offered by producers while running
        quint64 droppedWrites = 0; ///< refused, both queues full, or left behind by a terminated shutdown
        quint64 bytesWritten = 0;  ///< payload bytes of complete writes
        quint64 errors = 0;        ///< failed operations
        quint64 emergencyHits = 0; ///< operations that went through the emergency queue
        quint64 bytesQueued = 0;   ///< payload bytes offered; = written + dropped + failed once drained
        quint64 bytesDropped = 0;
        quint64 bytesFailed = 0;
        quint64 reorderedWrites = 0; ///< performed after a younger write to the same target
        quint32 currentDepth = 0;
        quint32 peakDepth = 0;
        quint32 emergencyDepth = 0;
    };

    explicit FileWriter(int maxQueueSize = MaxQueueSize, QObject* parent = nullptr);
    /// Shuts a running writer down first, waiting for it.
    ~FileWriter() override;

    /// Starts the worker thread at the given priority. Interface thread.
    void start(QThread::Priority priority = QThread::LowPriority);

    /// Producer side; never waits for the disk. target is not owned and outlives the writer's work.
    /// False when the operation was not accepted (not running, or both queues full). Numbers are written
    /// big-endian. Bytes are copied up to InlineBytes; a larger span is copied to the heap, a larger
    /// QByteArray is shared.
    bool queueWrite(QIODevice* target, std::span<const std::byte> bytes);
    bool queueWrite(QIODevice* target, const QByteArray& bytes);
    bool queueWrite(QIODevice* target, double value);
    bool queueWrite(QIODevice* target, qint16 value);
    bool queueWrite(QIODevice* target, qint32 value);
    bool queueFlush(QIODevice* target);

    /// Performs what is queued and stops the thread. Waits up to effectiveShutdownTimeoutMs; past that the
    /// thread is terminated, what is left is counted as dropped, and false returned. currentDepth and
    /// emergencyDepth then show what was left. Once stopped, every byte offered while the writer was running
    /// is counted as written, dropped or failed.
    bool shutdown(int timeoutMs);

    [[nodiscard]] Statistics statistics() const;
    [[nodiscard]] bool isRunning() const;
    /// True when the worker's thread has ended (or never began): no target is touched any more.
    [[nodiscard]] bool isFinished() const;
    /// Counters for one target: payload bytes queued, written, dropped, failed.
    struct TargetBytes
    {
        quint64 queued = 0;
        quint64 written = 0;
        quint64 dropped = 0;
        quint64 failed = 0;
    };
    [[nodiscard]] TargetBytes targetBytes(const QIODevice* target) const;

signals:
    void queueOverflowWarning(int currentDepth);
    void criticalOverflow();
    void writeError(QString errorMsg);
    void statisticsUpdated(vt::FileWriter::Statistics stats);

public slots:
    void processQueue();

private:
    friend struct FileWriterPeer; ///< tests

    bool report(int answer);
    void logShutdownTimeout(int waitedMs, quint32 pendingAtStart) const;

    std::shared_ptr<FileWriterCore> m_core;
    std::unique_ptr<QThread> m_thread;
};

/// How long a shutdown waits with pending operations queued: 20 ms for each of them and for 250 more, but not
/// less than requested.
[[nodiscard]] constexpr int effectiveShutdownTimeoutMs(int requestedMs, quint32 pending)
{
    const qint64 neededMs = (qint64{pending} + 250) * 20;
    return static_cast<int>(neededMs > requestedMs ? neededMs : requestedMs);
}

} // namespace vt

Q_DECLARE_METATYPE(vt::FileWriter::Statistics)
