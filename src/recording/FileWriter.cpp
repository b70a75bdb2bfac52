// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/FileWriter.h"

#include "base/BigEndian.h"
#include "recording/FileWriterCore.h"
#include "recording/WriterThread.h"

#include <QDebug>
#include <array>

namespace vt {

namespace {

constexpr int DestructorTimeoutMs = 5000;
constexpr int TerminationWaitMs = 1000;

} // namespace

FileWriter::FileWriter(int maxQueueSize, QObject* parent)
    : QObject(parent), m_core(std::make_shared<FileWriterCore>(this, maxQueueSize))
{
    qRegisterMetaType<vt::FileWriter::Statistics>();
    qDebug().noquote() << "FileWriter: Created";
}

FileWriter::~FileWriter()
{
    if (isRunning()) {
        qWarning().noquote() << "FileWriter: Destructor called while still running - forcing stop";
        (void)shutdown(DestructorTimeoutMs);
    }
    if (m_thread && m_thread->isRunning()) {
        // It hangs in a call that even termination could not end. The thread object must outlive it; the
        // core is kept by the thread itself.
        m_core->disown();
        QThread* hanging = m_thread.release();
        connect(hanging, &QThread::finished, hanging, &QObject::deleteLater);
    }
    m_thread.reset();
    qDebug().noquote() << "FileWriter: Destroyed";
}

void FileWriter::start(QThread::Priority priority)
{
    if (isRunning()) {
        qWarning().noquote() << "FileWriter: Already running";
        return;
    }
    if (m_thread) {
        qWarning().noquote() << "FileWriter: Not restarted after a shutdown";
        return;
    }
    qDebug().noquote() << "FileWriter: Starting background thread with priority"
                       << static_cast<int>(priority);
    m_thread = std::make_unique<WriterThread>();
    m_thread->setObjectName(QStringLiteral("FileWriter"));
    if (!parent())
        moveToThread(m_thread.get());
    // Direct: the loop runs on the new thread even when a parent keeps this object on its own.
    connect(m_thread.get(), &QThread::started, this, &FileWriter::processQueue, Qt::DirectConnection);
    m_core->markStarted();
    m_thread->start(priority);
    qDebug().noquote() << "FileWriter: Background thread started";
}

bool FileWriter::report(int answer)
{
    if (answer == static_cast<int>(FileWriterCore::Answer::Overflow))
        emit criticalOverflow();
    return answer == static_cast<int>(FileWriterCore::Answer::Accepted);
}

bool FileWriter::queueWrite(QIODevice* target, std::span<const std::byte> bytes)
{
    FileWriterCore::Request request{target, WriteOperationType::Bytes, bytes, {}};
    if (bytes.size() > static_cast<std::size_t>(InlineBytes))
        request.large =
            QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
    return report(static_cast<int>(m_core->enqueue(request)));
}

bool FileWriter::queueWrite(QIODevice* target, const QByteArray& bytes)
{
    FileWriterCore::Request request{target, WriteOperationType::Bytes, {}, {}};
    if (bytes.size() > InlineBytes)
        request.large = bytes;
    else
        request.bytes = std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size())));
    return report(static_cast<int>(m_core->enqueue(request)));
}

bool FileWriter::queueWrite(QIODevice* target, double value)
{
    std::array<std::byte, sizeof(value)> bytes;
    storeBigEndianDouble(value, bytes.data());
    return report(static_cast<int>(m_core->enqueue({target, WriteOperationType::Double, bytes, {}})));
}

bool FileWriter::queueWrite(QIODevice* target, qint16 value)
{
    std::array<std::byte, sizeof(value)> bytes;
    storeBigEndian(static_cast<quint16>(value), bytes.data());
    return report(static_cast<int>(m_core->enqueue({target, WriteOperationType::Int16, bytes, {}})));
}

bool FileWriter::queueWrite(QIODevice* target, qint32 value)
{
    std::array<std::byte, sizeof(value)> bytes;
    storeBigEndian(static_cast<quint32>(value), bytes.data());
    return report(static_cast<int>(m_core->enqueue({target, WriteOperationType::Int32, bytes, {}})));
}

bool FileWriter::queueFlush(QIODevice* target)
{
    return report(static_cast<int>(m_core->enqueue({target, WriteOperationType::Flush, {}, {}})));
}

bool FileWriter::shutdown(int timeoutMs)
{
    if (!isRunning())
        return true;
    if (QThread::currentThread() == m_thread.get()) {
        qWarning().noquote() << "FileWriter: shutdown called on the writer's own thread";
        return false;
    }
    const quint32 mainPending = m_core->mainDepth();
    const quint32 emergencyPending = m_core->emergencyDepth();
    const quint32 pending = mainPending + emergencyPending;
    qDebug().noquote() << "FileWriter: Shutdown requested, flushing" << mainPending << "main queue writes and"
                       << emergencyPending << "emergency writes" << pending;
    const int waitMs = effectiveShutdownTimeoutMs(timeoutMs, pending);
    if (waitMs > timeoutMs) {
        qDebug().noquote() << "FileWriter: Requested timeout" << timeoutMs << "ms insufficient for" << pending
                           << "pending writes";
        qDebug().noquote() << "FileWriter: Using extended timeout" << waitMs << "ms";
    }
    m_core->requestShutdown();
    qDebug().noquote() << "FileWriter: Waiting for worker thread to finish (timeout:" << waitMs << "ms)";

    if (!m_thread->wait(static_cast<unsigned long>(waitMs))) {
        logShutdownTimeout(waitMs, pending);
        m_core->stopPerforming();
        m_thread->terminate();
        m_thread->wait(TerminationWaitMs);
        m_core->countLeftovers();
        m_core->markStopped();
        return false;
    }
    m_core->markStopped();
    const Statistics all = statistics();
    qDebug().noquote() << "FileWriter: Shutdown complete after flushing" << pending << "writes";
    qDebug().noquote() << "FileWriter: Statistics:"
                       << "total=" << all.totalWrites << "bytes=" << all.bytesWritten
                       << "dropped=" << all.droppedWrites << "emergency_hits=" << all.emergencyHits
                       << "errors=" << all.errors << "peak_depth=" << all.peakDepth;
    return true;
}

void FileWriter::logShutdownTimeout(int waitedMs, quint32 pendingAtStart) const
{
    const quint32 mainLeft = m_core->mainDepth();
    const quint32 emergencyLeft = m_core->emergencyDepth();
    qWarning().noquote() << "FileWriter: Timeout after" << waitedMs
                         << "ms waiting for flush, forcing shutdown";
    qWarning().noquote() << "FileWriter: Started with" << pendingAtStart << "pending, still have"
                         << mainLeft + emergencyLeft << "remaining (main:" << mainLeft
                         << "emergency:" << emergencyLeft;
    qWarning().noquote() << "FileWriter: This may indicate disk I/O is extremely slow!";
}

FileWriter::Statistics FileWriter::statistics() const
{
    return m_core->statistics();
}

FileWriter::TargetBytes FileWriter::targetBytes(const QIODevice* target) const
{
    return m_core->targetBytes(target);
}

bool FileWriter::isRunning() const
{
    return m_core->isRunning();
}

bool FileWriter::isFinished() const
{
    return !m_thread || m_thread->isFinished();
}

void FileWriter::processQueue()
{
    const std::shared_ptr<FileWriterCore> core = m_core;
    core->run();
}

} // namespace vt
