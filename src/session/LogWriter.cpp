// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogWriter.h"

#include "platform/CrashHandler.h"
#include "session/LogLine.h"
#include "session/LogRotation.h"

#include <QFileInfo>
#include <algorithm>
#include <array>
#include <thread>

namespace vt {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t BatchBytes = std::size_t{64} << 10;
constexpr std::chrono::milliseconds UntilNews = 1h;
constexpr std::chrono::milliseconds BeforeRetry = 1s;
constexpr std::chrono::milliseconds LongestWaitWhileDying = 200ms;

} // namespace

LogWriter::LogWriter(LogQueue& queue, DebuggerOutput output) : LogWriter(queue, output, Limits()) {}

LogWriter::LogWriter(LogQueue& queue, DebuggerOutput output, Limits limits)
    : m_queue(queue), m_limits(limits), m_display(queue, output)
{}

bool LogWriter::open(const QString& path)
{
    m_path = path;
    return m_file.open(path);
}

AppendFile::Creation LogWriter::create(const QString& path)
{
    m_path = path;
    return m_file.create(path);
}

void LogWriter::start()
{
    m_thread.reset(QThread::create([this] {
        run();
        m_ended.store(true, std::memory_order_release);
    }));
    m_thread->setObjectName(QStringLiteral("log"));
    m_thread->start();
    m_display.start();
}

bool LogWriter::stop(int timeoutMs)
{
    const auto limit = std::chrono::milliseconds(timeoutMs);
    const auto begin = Clock::now();
    m_queue.close();
    const bool shown = m_display.stop(begin + limit / 2);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(begin + limit - Clock::now());
    if (m_thread && m_thread->wait(QDeadlineTimer(std::max(left, 0ms))) &&
        m_ended.load(std::memory_order_acquire))
        m_thread.reset();
    return shown && !m_thread;
}

void LogWriter::run()
{
    CrashHandler::prepareThread();
    m_writerThread = QThread::currentThreadId();
    do
        pass();
    while (waitForWork() == Ended::No);
}

LogWriter::Ended LogWriter::waitForWork()
{
    if (m_dying)
        return Ended::Yes;
    if (m_queue.isClosed())
        return m_filePosition == m_queue.end() || m_failing ? Ended::Yes : Ended::No;
    m_queue.waitForMore(m_seen, m_failing ? BeforeRetry : UntilNews);
    return Ended::No;
}

void LogWriter::pass()
{
    const LogQueue::Position end = m_queue.end();
    m_seen = end;
    // Either the thread is seen at work by the crash handler, or it sees that the handler has taken over.
    m_writing = true;
    if (!m_dying) {
        write(end);
        giveUpOldest(end);
    }
    m_writing = false;
    // Not under that sign: whoever died may hold the queue's lock.
    m_queue.release(LogQueue::Reader::File, m_filePosition);
    m_display.skipTo(keptFrom(end));
    publish(end);
}

void LogWriter::write(LogQueue::Position end)
{
    if (!m_file.isOpen()) {
        m_filePosition = end;
        return;
    }
    while (m_filePosition < end && !m_dying && writeBatch(end)) {
    }
}

bool LogWriter::writeBatch(LogQueue::Position end)
{
    m_batch.clear();
    m_batchEnds.clear();
    if (m_linesLost > 0)
        m_batch = logLine(QtWarningMsg, __FILE__, __LINE__,
                          "LogManager: Lines lost: " + std::to_string(m_linesLost));
    const std::size_t noticeBytes = m_batch.size();
    fillBatch(end);
    const LogQueue::Position before = m_filePosition;
    const bool complete = appendBatch();
    if (noticeBytes > 0 && m_filePosition > before)
        m_linesLost = 0;
    if (complete)
        m_failing = false;
    else
        noteFailure();
    m_saved = m_filePosition;
    return complete;
}

void LogWriter::fillBatch(LogQueue::Position end)
{
    for (LogQueue::Position at = m_filePosition; at < end && m_batch.size() < BatchBytes;) {
        const LogQueue::Record record = m_queue.at(at);
        if (isWanted(record))
            m_batch.append(record.text[0]).append(record.text[1]);
        at = record.next;
        m_batchEnds.push_back({m_batch.size(), at});
    }
}

/// Whether the run's limits leave room for a record. Tells before the first one without room that there is a
/// limit, at the place where the first line is missing.
bool LogWriter::isWanted(const LogQueue::Record& record)
{
    const std::size_t size = record.text[0].size() + record.text[1].size();
    if (!m_limitTold) {
        if (m_bytesWritten + m_batch.size() + size <= m_limits.everythingBytes)
            return true;
        m_limitTold = true;
        m_batch += logLine(QtWarningMsg, __FILE__, __LINE__,
                           "LogManager: Log file has reached its limit, only warnings and errors follow");
    }
    std::array<char, 64> head{}; // longer than a record's head
    std::size_t headSize = 0;
    for (const std::string_view piece : record.text)
        headSize += piece.copy(head.data() + headSize, head.size() - headSize);
    const char severity = severityOf({head.data(), headSize});
    return severity != 'D' && severity != 'I' &&
           m_bytesWritten + m_batch.size() + size <= m_limits.everythingBytes + m_limits.warningsBytes;
}

/// Moves m_filePosition behind the last record that is whole in the file.
bool LogWriter::appendBatch()
{
    std::size_t taken = m_file.append(m_batch);
    if (m_file.isGone()) {
        if (!makeOwnFolder(QFileInfo(m_path).path()) || !m_file.open(m_path))
            return false;
        taken = m_file.append(m_batch);
    }
    std::size_t whole = 0;
    for (const RecordEnd& record : m_batchEnds) {
        if (record.inBatch > taken)
            break;
        whole = record.inBatch;
        m_filePosition = record.inQueue;
    }
    if (whole < taken)
        m_file.cutBack(taken - whole);
    m_bytesWritten += whole;
    return taken == m_batch.size();
}

void LogWriter::noteFailure()
{
    if (!std::exchange(m_failing, true))
        m_queue.push(logLine(QtWarningMsg, __FILE__, __LINE__,
                             "LogManager: Failed to write log file: " + m_path.toStdString()));
}

/// Where the half of the queue begins that is kept for a reader who is late.
LogQueue::Position LogWriter::keptFrom(LogQueue::Position end) const
{
    const LogQueue::Position kept = m_queue.capacityBytes() / 2;
    return end > kept ? end - kept : 0;
}

void LogWriter::giveUpOldest(LogQueue::Position end)
{
    const LogQueue::Position limit = keptFrom(end);
    if (m_filePosition < limit && m_failing) {
        std::uint64_t lost = 0;
        for (; m_filePosition < limit; ++lost)
            m_filePosition = m_queue.at(m_filePosition).next;
        m_linesLost += lost;
        m_saved = m_filePosition;
        const MutexLock lock(m_mutex);
        m_givenUp += lost;
    }
}

void LogWriter::publish(LogQueue::Position end)
{
    {
        const MutexLock lock(m_mutex);
        m_written = m_filePosition;
        m_tried = end;
    }
    m_progress.notify_all();
}

bool LogWriter::waitUntilWritten(LogQueue::Position position, int timeoutMs)
{
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    m_mutex.lock();
    const std::uint64_t givenUp = m_givenUp;
    while (m_tried < position)
        if (m_progress.wait_until(m_mutex, deadline) == std::cv_status::timeout)
            break;
    const bool written = m_written >= position && m_givenUp == givenUp;
    m_mutex.unlock();
    return written && m_file.isOpen();
}

void LogWriter::saveWhileDying() noexcept
{
    m_dying = true;
    m_queue.freeze();
    const auto deadline = Clock::now() + LongestWaitWhileDying;
    while (m_writing && m_writerThread != QThread::currentThreadId()) {
        if (Clock::now() >= deadline)
            return;
        std::this_thread::yield();
    }
    const LogQueue::Position end = m_queue.end();
    for (LogQueue::Position at = m_saved; m_file.isOpen() && at < end;) {
        const LogQueue::Record record = m_queue.at(at);
        for (const std::string_view piece : record.text)
            if (m_file.appendWhileDying(piece) < piece.size())
                return;
        at = record.next;
        m_saved = at;
    }
}

} // namespace vt
