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

struct FileWriterQueues;

/// Takes every write of a recording's binary files off the threads that produce data.
///
/// Producers copy a small write into the main queue (2000 operations) by try-lock; a busy or full main queue
/// diverts it into the emergency queue (100 operations, blocking lock); when that is full too the write is
/// dropped, counted and reported. One background thread performs the writes in batches of 50, emergency
/// operations first. Nothing is allocated on the way for blocks of up to InlineBytes.
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
    static constexpr int InlineBytes = 128; ///< 16 channels x 4 samples x 2 bytes

    struct Statistics
    {
        quint64 totalWrites = 0;   ///< offered by producers
        quint64 droppedWrites = 0; ///< refused: both queues full
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
    ~FileWriter() override;

    /// Starts the worker thread at the given priority. Interface thread.
    void start(QThread::Priority priority = QThread::LowPriority);

    /// Producer side; never waits for the disk. target is not owned and outlives the writer's work.
    /// False when the operation was not accepted (not running, or both queues full).
    bool queueWrite(QIODevice* target, std::span<const std::byte> bytes);
    bool queueWrite(QIODevice* target, const QByteArray& bytes);
    bool queueWrite(QIODevice* target, double value);
    bool queueWrite(QIODevice* target, qint16 value);
    bool queueWrite(QIODevice* target, qint32 value);
    bool queueFlush(QIODevice* target);

    /// Performs what is queued and stops the thread. Waits up to max(timeoutMs, (pending + 250) x 20) ms;
    /// past that the thread is terminated and false returned.
    bool shutdown(int timeoutMs);

    [[nodiscard]] Statistics statistics() const;
    [[nodiscard]] bool isRunning() const;
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
    std::unique_ptr<FileWriterQueues> m_queues;
};

} // namespace vt

Q_DECLARE_METATYPE(vt::FileWriter::Statistics)
