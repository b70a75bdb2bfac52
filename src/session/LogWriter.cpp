// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogWriter.h"

#include "platform/CrashHandler.h"
#include "session/LogLine.h"

#include <QDir>
#include <QFileInfo>
#include <algorithm>
#include <thread>

namespace vt {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t BatchBytes = std::size_t{64} << 10;
constexpr std::chrono::milliseconds UntilNews = 1h;
constexpr std::chrono::milliseconds BeforeRetry = 1s;
constexpr std::chrono::milliseconds BeforeNextLook = 20ms; ///< at a debugger output without room
constexpr std::chrono::milliseconds LongestWaitWhileDying = 200ms;

} // namespace

LogWriter::LogWriter(LogQueue& queue, DebuggerOutput output) : m_queue(queue), m_output(output) {}

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
    m_thread.reset(QThread::create([this] { run(); }));
    m_thread->setObjectName(QStringLiteral("log"));
    m_thread->start();
}

bool LogWriter::stop(int timeoutMs)
{
    const auto limit = std::chrono::milliseconds(timeoutMs);
    m_showUntil = Clock::now() + limit / 2;
    m_queue.close();
    if (!m_thread || !m_thread->wait(QDeadlineTimer(limit)))
        return !m_thread;
    m_thread.reset();
    return true;
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
    const LogQueue::Position end = m_queue.end();
    if (!m_queue.isClosed()) {
        m_queue.waitForMore(m_seen, m_outputBlocked ? BeforeNextLook : m_failing ? BeforeRetry : UntilNews);
        return Ended::No;
    }
    const bool shown = m_shownPosition == end || Clock::now() >= m_showUntil.load();
    if (shown && (m_filePosition == end || m_failing))
        return Ended::Yes;
    if (m_outputBlocked)
        m_output.waitForRoom(static_cast<int>(BeforeNextLook.count()));
    return Ended::No;
}

void LogWriter::pass()
{
    const LogQueue::Position end = m_queue.end();
    m_seen = end;
    show(end); // first: it waits for nothing
    write(end);
    giveUpOldest(end);
    publish(end);
}

void LogWriter::show(LogQueue::Position end)
{
    m_outputBlocked = false;
    while (m_shownPosition < end) {
        if (m_linesNotShown > 0 && m_shownBytes == 0) {
            const std::string notice =
                logLine(QtWarningMsg, __FILE__, __LINE__,
                        "LogManager: Lines not shown: " + std::to_string(m_linesNotShown));
            if (m_output.write(notice) == 0) {
                m_outputBlocked = true;
                return;
            }
            m_linesNotShown = 0;
        }
        const LogQueue::Record record = m_queue.at(m_shownPosition);
        if (!showRecord(record))
            return;
        m_shownPosition = record.next;
        m_shownBytes = 0;
    }
}

/// Shows what is still to be shown of a record; false when there was no room for all of it.
bool LogWriter::showRecord(const LogQueue::Record& record)
{
    std::size_t before = 0;
    for (const std::string_view piece : record.text) {
        const std::string_view rest = piece.substr(std::min(m_shownBytes - before, piece.size()));
        const std::size_t taken = m_output.write(rest);
        m_shownBytes += taken;
        if (taken < rest.size()) {
            m_outputBlocked = true;
            return false;
        }
        before += piece.size();
    }
    return true;
}

void LogWriter::write(LogQueue::Position end)
{
    if (!m_file.isOpen()) {
        m_filePosition = end;
        return;
    }
    // Either the thread is seen writing by the crash handler, or it sees that the handler has taken over.
    m_writing = true;
    while (m_filePosition < end && !m_dying && writeBatch(end)) {
    }
    m_writing = false;
}

bool LogWriter::writeBatch(LogQueue::Position end)
{
    m_batch.clear();
    m_batchEnds.clear();
    if (m_linesLost > 0)
        m_batch = logLine(QtWarningMsg, __FILE__, __LINE__,
                          "LogManager: Lines lost: " + std::to_string(m_linesLost));
    const std::size_t noticeBytes = m_batch.size();
    for (LogQueue::Position at = m_filePosition; at < end && m_batch.size() < BatchBytes;) {
        const LogQueue::Record record = m_queue.at(at);
        m_batch.append(record.text[0]).append(record.text[1]);
        at = record.next;
        m_batchEnds.push_back({m_batch.size(), at});
    }
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

/// Moves m_filePosition behind the last record that is whole in the file.
bool LogWriter::appendBatch()
{
    std::size_t taken = m_file.append(m_batch);
    if (m_file.isGone()) {
        if (!QDir().mkpath(QFileInfo(m_path).path()) || !m_file.open(m_path))
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
    return taken == m_batch.size();
}

void LogWriter::noteFailure()
{
    if (!std::exchange(m_failing, true))
        m_queue.push(logLine(QtWarningMsg, __FILE__, __LINE__,
                             "LogManager: Failed to write log file: " + m_path.toStdString()));
}

void LogWriter::giveUpOldest(LogQueue::Position end)
{
    const LogQueue::Position kept = m_queue.capacityBytes() / 2;
    const LogQueue::Position limit = end > kept ? end - kept : 0;
    if (m_filePosition < limit && m_failing) {
        const std::uint64_t lost = skip(m_filePosition, limit);
        m_linesLost += lost;
        m_saved = m_filePosition;
        const MutexLock lock(m_mutex);
        m_givenUp += lost;
    }
    if (m_shownPosition < limit && m_outputBlocked) {
        m_linesNotShown += skip(m_shownPosition, limit);
        m_shownBytes = 0;
    }
}

std::uint64_t LogWriter::skip(LogQueue::Position& position, LogQueue::Position limit) const
{
    std::uint64_t count = 0;
    for (; position < limit; ++count)
        position = m_queue.at(position).next;
    return count;
}

void LogWriter::publish(LogQueue::Position end)
{
    m_queue.release(std::min(m_filePosition, m_shownPosition));
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
    }
}

} // namespace vt
