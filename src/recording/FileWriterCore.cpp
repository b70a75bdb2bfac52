// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/FileWriterCore.h"

#include "platform/CrashHandler.h"
#include "recording/BlockWrite.h"
#include "recording/WriterThread.h"

#include <QDebug>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <thread>

namespace vt {

namespace {

constexpr std::chrono::milliseconds IdleWait{100};
constexpr quint64 StatisticsEvery = 1000;
constexpr quint32 WarningPercent = 80;
constexpr quint64 BatchGivenUp = ~quint64{0};

constexpr quint64 batchState(int next, int size)
{
    return (static_cast<quint64>(next) << 32U) | static_cast<quint64>(size);
}

/// For counters that only the worker changes: spares the locked instruction.
void addAsOnlyWriter(std::atomic<quint64>& counter, quint64 amount)
{
    counter.store(counter.load(std::memory_order_relaxed) + amount, std::memory_order_relaxed);
}

void fill(WriteOperation& slot, const FileWriterCore::Request& request, TargetAccount& account,
          const FileWriterCore::Place& place)
{
    slot.type = request.type;
    slot.target = request.target;
    slot.account = &account;
    slot.order = place.order;
    slot.wasDivertedWhileBusy = place.mainWasBusy;
    if (!request.large.isEmpty()) {
        slot.large = request.large;
        slot.inlineSize = 0;
        return;
    }
    slot.inlineSize = static_cast<quint32>(request.bytes.size());
    std::copy(request.bytes.begin(), request.bytes.end(), slot.inlineBytes.begin());
}

quint64 payloadSize(const FileWriterCore::Request& request)
{
    return request.large.isEmpty() ? request.bytes.size() : static_cast<quint64>(request.large.size());
}

} // namespace

FileWriterCore::FileWriterCore(FileWriter* owner, int maxQueueSize)
    : m_owner(owner), m_warningDepth(static_cast<quint32>(maxQueueSize) * WarningPercent / 100),
      m_mainQueue(maxQueueSize), m_emergencyQueue(FileWriter::EmergencyQueueSize)
{}

// ---- producers

FileWriterCore::Answer FileWriterCore::enqueue(const Request& request)
{
    if (!m_running || m_shutdownRequested) {
        qWarning().noquote() << "FileWriter: Cannot queue write - not running or shutdown requested";
        return Answer::NotRunning;
    }
    Place place{countOffered(), false};
    TargetAccount& account = m_accounts.of(request.target);
    account.queued.fetch_add(payloadSize(request), std::memory_order_relaxed);

    const std::optional<Answer> answer = tryMainQueue(request, account, place);
    const Answer final = answer ? *answer : tryEmergencyQueue(request, account, place);
    if (final == Answer::Accepted) {
        m_wake.notify_one();
        return final;
    }
    countDropped(account, payloadSize(request));
    if (final == Answer::Overflow) {
        qCritical().noquote() << "FileWriter: CRITICAL - Both buffers full! Dropped write.";
        qCritical().noquote() << "FileWriter: Main queue:" << m_currentDepth
                              << "Emergency:" << m_emergencyDepth;
    } else {
        qWarning().noquote() << "FileWriter: Cannot queue write - not running or shutdown requested";
    }
    return final;
}

/// The number of operations offered before. Says when the worker has to look at it: it changes all the time,
/// and looking after every operation would slow both sides down.
quint64 FileWriterCore::countOffered()
{
    const quint64 before = m_totalWrites.fetch_add(1, std::memory_order_relaxed);
    if ((before + 1) % StatisticsEvery <= 1)
        m_statisticsMayBeDue.store((before + 1) % StatisticsEvery == 0, std::memory_order_relaxed);
    return before;
}

bool FileWriterCore::statisticsAreDue() const
{
    return m_statisticsMayBeDue.load(std::memory_order_relaxed) &&
           m_totalWrites.load(std::memory_order_relaxed) % StatisticsEvery == 0;
}

/// Empty when the queue is busy or full.
std::optional<FileWriterCore::Answer> FileWriterCore::tryMainQueue(const Request& request,
                                                                   TargetAccount& account, Place& place)
{
    if (!m_mainMutex.try_lock()) {
        place.mainWasBusy = true;
        return std::nullopt;
    }
    std::optional<Answer> answer;
    if (m_mainClosed) {
        answer = Answer::NotRunning;
    } else if (!m_mainQueue.full()) {
        fill(m_mainQueue.append(), request, account, place);
        const quint32 depth = m_mainQueue.depth();
        m_currentDepth = depth;
        quint32 peak = m_peakDepth;
        while (depth > peak && !m_peakDepth.compare_exchange_weak(peak, depth)) {
        }
        answer = Answer::Accepted;
    }
    m_mainMutex.unlock();
    return answer;
}

FileWriterCore::Answer FileWriterCore::tryEmergencyQueue(const Request& request, TargetAccount& account,
                                                         const Place& place)
{
    MutexLock lock(m_emergencyMutex);
    if (m_emergencyClosed)
        return Answer::NotRunning;
    if (m_emergencyQueue.full())
        return Answer::Overflow;
    fill(m_emergencyQueue.append(), request, account, place);
    m_emergencyHits.fetch_add(1, std::memory_order_relaxed);
    m_emergencyDepth = m_emergencyQueue.depth();
    return Answer::Accepted;
}

void FileWriterCore::countDropped(TargetAccount& account, quint64 bytes)
{
    m_droppedWrites.fetch_add(1, std::memory_order_relaxed);
    account.dropped.fetch_add(bytes, std::memory_order_relaxed);
}

// ---- worker

void FileWriterCore::run()
{
    WriterThread::forbidTermination();
    CrashHandler::prepareThread();
    qDebug().noquote() << "FileWriter: Processing loop started on thread" << QThread::currentThread();
    while (m_running && !m_stopPerforming) {
        if (m_shutdownRequested && closeWhenDrained()) {
            qDebug().noquote() << "FileWriter: Shutdown requested with empty queues - exiting";
            break;
        }
        const Next next = takeBatch();
        if (next == Next::Leave)
            break;
        if (next == Next::Close && closeWhenDrained()) {
            qDebug().noquote() << "FileWriter: Shutdown requested with empty queue - exiting";
            break;
        }
        if (next == Next::Perform)
            performBatch(static_cast<int>(m_batchState & 0xFFFFFFFFU));
    }
    qDebug().noquote() << "FileWriter: Processing loop exited, stopping thread event loop";
    QThread::currentThread()->quit();
}

/// When nothing is queued, closes both queues, so that no late write is left in one that nobody drains any
/// more.
bool FileWriterCore::closeWhenDrained()
{
    lockQueues();
    const bool drained = m_mainQueue.empty() && m_emergencyQueue.empty();
    if (drained) {
        m_mainClosed = true;
        m_emergencyClosed = true;
    }
    m_mainMutex.unlock();
    m_emergencyMutex.unlock();
    return drained;
}

/// Both locks, without holding one while waiting for the other: a producer that waits for the emergency lock
/// then would wait for whoever holds the main one.
void FileWriterCore::lockQueues()
{
    for (;;) {
        m_emergencyMutex.lock();
        if (m_mainMutex.try_lock())
            return;
        m_emergencyMutex.unlock();
        std::this_thread::yield();
    }
}

/// Takes the emergency operations, then fills the batch up from the main queue; waits when there is nothing
/// at all to do.
FileWriterCore::Next FileWriterCore::takeBatch()
{
    lockQueues();
    const int taken = m_stopPerforming ? 0 : takeEmergency();
    m_emergencyMutex.unlock();
    const Next next = fillFromMain(taken);
    const quint32 remaining = m_mainQueue.depth();
    m_mainMutex.unlock();
    if (next == Next::Perform && remaining > m_warningDepth)
        withOwner(
            [remaining](FileWriter& owner) { emit owner.queueOverflowWarning(static_cast<int>(remaining)); });
    return next;
}

/// Emergency operations go first. One that only came here because the main queue was busy for a moment lets
/// the older ones of the main queue go before it: otherwise a file's order would depend on luck.
int FileWriterCore::takeEmergency()
{
    int taken = 0;
    for (; taken < FileWriter::BatchSize && !m_emergencyQueue.empty(); ++taken) {
        const WriteOperation& next = m_emergencyQueue.at(0);
        const bool waits =
            next.wasDivertedWhileBusy && !m_mainQueue.empty() && m_mainQueue.at(0).order < next.order;
        (waits ? m_mainQueue : m_emergencyQueue).take(1, &m_batch[static_cast<std::size_t>(taken)]);
    }
    m_emergencyDepth = m_emergencyQueue.depth();
    m_batchState = batchState(0, taken);
    return taken;
}

FileWriterCore::Next FileWriterCore::fillFromMain(int alreadyTaken)
{
    // An emergency operation that arrives meanwhile ends the wait: it must not lie there until the next one
    // for the main queue.
    while (m_mainQueue.empty() && !m_shutdownRequested && alreadyTaken == 0 && m_emergencyDepth == 0)
        m_wake.wait_for(m_mainMutex, IdleWait);
    if (m_stopPerforming)
        return Next::Leave;
    if (alreadyTaken == 0 && m_emergencyDepth > 0)
        return Next::TakeAgain;
    if (m_mainQueue.empty() && alreadyTaken == 0)
        return Next::Close;
    const int taken = m_mainQueue.take(FileWriter::BatchSize - alreadyTaken,
                                       &m_batch[static_cast<std::size_t>(alreadyTaken)]);
    m_currentDepth = m_mainQueue.depth();
    m_batchState = batchState(0, alreadyTaken + taken);
    return Next::Perform;
}

void FileWriterCore::performBatch(int size)
{
    WriterThread::allowTermination();
    for (int i = 0; i < size; ++i) {
        const WriteOperation& operation = *m_batch[static_cast<std::size_t>(i)];
        const WriteOperationResult result = performOperation(operation);
        quint64 expected = batchState(i, size);
        if (!m_batchState.compare_exchange_strong(expected, batchState(i + 1, size))) {
            // The operation has been counted as dropped meanwhile; its target may be gone.
            WriterThread::forbidTermination();
            return;
        }
        countPerformed(operation, result);
        const bool failed = result.kind != WriteOperationResult::Kind::Done;
        if (!failed && !statisticsAreDue())
            continue;
        WriterThread::forbidTermination();
        if (failed)
            reportFailure(operation, result);
        if (statisticsAreDue())
            withOwner([this](FileWriter& owner) { emit owner.statisticsUpdated(statistics()); });
        WriterThread::allowTermination();
    }
    WriterThread::forbidTermination();
    for (int i = 0; i < size; ++i)
        if (QByteArray& large = m_batch[static_cast<std::size_t>(i)]->large; !large.isEmpty())
            QByteArray().swap(large);
}

void FileWriterCore::countPerformed(const WriteOperation& operation, const WriteOperationResult& result)
{
    TargetAccount& account = *operation.account;
    const quint64 bytes = operation.payload().size();
    if (result.kind == WriteOperationResult::Kind::Done) {
        addAsOnlyWriter(account.written, bytes);
    } else {
        addAsOnlyWriter(account.failed, bytes);
        addAsOnlyWriter(m_errors, 1);
    }
    if (operation.order < account.youngestPerformed)
        addAsOnlyWriter(m_reorderedWrites, 1);
    else
        account.youngestPerformed = operation.order;
}

void FileWriterCore::reportFailure(const WriteOperation& operation, const WriteOperationResult& result)
{
    using Kind = WriteOperationResult::Kind;
    const QString text = operationErrorText(operation, result);
    withOwner([&text](FileWriter& owner) { emit owner.writeError(text); });
    if (result.remnant)
        qWarning().noquote() << "FileWriter: Part of a block could not be cut off again:" << result.written
                             << "bytes";
    const bool fromDevice = result.kind == Kind::Incomplete || result.kind == Kind::FlushFailed;
    if (!fromDevice || !isDiskFull(*operation.target, static_cast<qint64>(operation.payload().size())))
        return;
    qCritical().noquote() << "FileWriter: DISK FULL - Data loss imminent!";
    withOwner([](FileWriter& owner) { emit owner.writeError(QStringLiteral("CRITICAL: Disk full")); });
}

template <typename Call>
void FileWriterCore::withOwner(Call call)
{
    MutexLock lock(m_ownerMutex);
    if (m_owner && !m_stopPerforming)
        call(*m_owner);
}

// ---- life

void FileWriterCore::markStarted()
{
    m_running = true;
    m_shutdownRequested = false;
}

void FileWriterCore::requestShutdown()
{
    {
        MutexLock lock(m_mainMutex);
        m_shutdownRequested = true;
    }
    m_wake.notify_all();
}

void FileWriterCore::countLeftovers()
{
    lockQueues();
    m_mainClosed = true;
    m_emergencyClosed = true;
    for (OperationRing* queue : {&m_mainQueue, &m_emergencyQueue})
        for (quint32 place = 0; place < queue->depth(); ++place) {
            const WriteOperation& operation = queue->at(place);
            countDropped(*operation.account, operation.payload().size());
        }
    m_mainMutex.unlock();
    m_emergencyMutex.unlock();
    const quint64 state = m_batchState.exchange(BatchGivenUp);
    if (state == BatchGivenUp)
        return;
    const auto size = static_cast<std::size_t>(state & 0xFFFFFFFFU);
    for (auto i = static_cast<std::size_t>(state >> 32U); i < size; ++i)
        countDropped(*m_batch[i]->account, m_batch[i]->payload().size());
}

void FileWriterCore::disown()
{
    MutexLock lock(m_ownerMutex);
    m_owner = nullptr;
}

FileWriter::Statistics FileWriterCore::statistics() const
{
    FileWriter::Statistics all;
    all.totalWrites = m_totalWrites;
    all.droppedWrites = m_droppedWrites;
    all.errors = m_errors;
    all.emergencyHits = m_emergencyHits;
    all.reorderedWrites = m_reorderedWrites;
    all.currentDepth = m_currentDepth;
    all.peakDepth = m_peakDepth;
    all.emergencyDepth = m_emergencyDepth;
    for (const TargetAccount& account : m_accounts.all()) {
        all.bytesQueued += account.queued;
        all.bytesWritten += account.written;
        all.bytesDropped += account.dropped;
        all.bytesFailed += account.failed;
    }
    return all;
}

FileWriter::TargetBytes FileWriterCore::targetBytes(const QIODevice* target) const
{
    const TargetAccount* account = m_accounts.find(target);
    if (!account)
        return {};
    return {account->queued, account->written, account->dropped, account->failed};
}

} // namespace vt
