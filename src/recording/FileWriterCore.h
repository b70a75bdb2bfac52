// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "recording/FileWriter.h"
#include "recording/WriteOperation.h"

#include <array>
#include <atomic>
#include <condition_variable>
#include <optional>
#include <span>

namespace vt {

/// Queues, counters and worker loop of a FileWriter. Shared between the FileWriter and its thread: when the
/// thread hangs in a write for good, it keeps this object and the FileWriter can still be destroyed.
///
/// Locks: emergency, then main, where both are taken. Producers take the main one by try-lock only. The
/// worker holds neither while it writes or emits a signal.
///
/// A batch that has been taken but not performed is described by m_batchState, so that after a terminated
/// shutdown every operation is counted exactly once, by the worker or by the one who gave it up.
class FileWriterCore
{
public:
    FileWriterCore(FileWriter* owner, int maxQueueSize);

    /// What a producer wants written.
    struct Request
    {
        QIODevice* target = nullptr;
        WriteOperationType type = WriteOperationType::Bytes;
        std::span<const std::byte> bytes; ///< copied, when there are at most FileWriter::InlineBytes
        QByteArray large;                 ///< shared, in place of bytes, when there are more
    };
    /// Where a write stands among all that were offered.
    struct Place
    {
        quint64 order = 0;
        bool mainWasBusy = false; ///< diverted because the main queue's lock was taken
    };
    enum class Answer { Accepted, NotRunning, Overflow };
    /// Producer side; allocates nothing.
    [[nodiscard]] Answer enqueue(const Request& request);

    /// Worker loop: returns when shutdown was requested and all is written, or after stopPerforming().
    void run();

    void markStarted();
    void markStopped() { m_running = false; }
    void requestShutdown();
    /// From now on the worker begins no further operation. Follow with countLeftovers().
    void stopPerforming() { m_stopPerforming = true; }
    /// Counts what is left in the queues and in the worker's batch as dropped. The depths keep showing it.
    void countLeftovers();
    /// The FileWriter is going away while its thread still hangs: no more signals.
    void disown();

    [[nodiscard]] bool isRunning() const { return m_running; }
    [[nodiscard]] quint32 mainDepth() const { return m_currentDepth; }
    [[nodiscard]] quint32 emergencyDepth() const { return m_emergencyDepth; }
    [[nodiscard]] FileWriter::Statistics statistics() const;
    [[nodiscard]] FileWriter::TargetBytes targetBytes(const QIODevice* target) const;

private:
    friend struct FileWriterPeer; ///< tests

    enum class Next { Perform, TakeAgain, Close, Leave };

    [[nodiscard]] std::optional<Answer> tryMainQueue(const Request& request, TargetAccount& account,
                                                     Place& place);
    [[nodiscard]] Answer tryEmergencyQueue(const Request& request, TargetAccount& account,
                                           const Place& place);
    [[nodiscard]] quint64 countOffered();
    [[nodiscard]] bool statisticsAreDue() const;
    void countDropped(TargetAccount& account, quint64 bytes);

    [[nodiscard]] bool closeWhenDrained();
    void lockQueues() VT_ACQUIRE(m_emergencyMutex, m_mainMutex);
    [[nodiscard]] Next takeBatch();
    [[nodiscard]] int takeEmergency() VT_REQUIRES(m_emergencyMutex, m_mainMutex);
    [[nodiscard]] Next fillFromMain(int alreadyTaken) VT_REQUIRES(m_mainMutex);
    void performBatch(int size);
    void countPerformed(const WriteOperation& operation, const WriteOperationResult& result);
    void reportFailure(const WriteOperation& operation, const WriteOperationResult& result);
    template <typename Call>
    void withOwner(Call call);

    // What different threads change stands on cache lines of its own.
    static constexpr std::size_t CacheLine = 64;

    Mutex m_ownerMutex;
    FileWriter* m_owner VT_GUARDED_BY(m_ownerMutex);
    const quint32 m_warningDepth;
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_shutdownRequested{false};
    std::atomic<bool> m_stopPerforming{false};
    std::atomic<bool> m_statisticsMayBeDue{false};

    alignas(CacheLine) Mutex m_mainMutex;
    OperationRing m_mainQueue VT_GUARDED_BY(m_mainMutex);
    bool m_mainClosed VT_GUARDED_BY(m_mainMutex) = false;
    std::atomic<quint32> m_currentDepth{0};
    std::atomic<quint32> m_peakDepth{0};

    std::condition_variable_any m_wake;

    alignas(CacheLine) Mutex m_emergencyMutex;
    OperationRing m_emergencyQueue VT_GUARDED_BY(m_emergencyMutex);
    bool m_emergencyClosed VT_GUARDED_BY(m_emergencyMutex) = false;
    std::atomic<quint32> m_emergencyDepth{0};

    alignas(CacheLine) std::atomic<quint64> m_totalWrites{0}; // producers, from here on
    std::atomic<quint64> m_droppedWrites{0};
    std::atomic<quint64> m_emergencyHits{0};

    alignas(CacheLine) std::atomic<quint64> m_errors{0}; // worker, from here on
    std::atomic<quint64> m_reorderedWrites{0};
    /// Next operation of the batch to perform in the upper half, size of the batch in the lower.
    std::atomic<quint64> m_batchState{0};
    std::array<WriteOperation*, FileWriter::BatchSize> m_batch{};

    TargetAccounts m_accounts;
};

} // namespace vt
