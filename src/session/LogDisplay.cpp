// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogDisplay.h"

#include "platform/CrashHandler.h"
#include "session/LogLine.h"

#include <algorithm>

namespace vt {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::milliseconds UntilNews = 1h;
constexpr int BeforeNextLookMs = 20; ///< at whether the end has come, while there is no room

} // namespace

void LogDisplay::start()
{
    m_thread.reset(QThread::create([this] {
        run();
        m_ended.store(true, std::memory_order_release);
    }));
    m_thread->setObjectName(QStringLiteral("log display"));
    m_thread->start();
}

bool LogDisplay::stop(Clock::time_point deadline)
{
    m_showUntil = deadline;
    if (!m_thread)
        return true;
    // The thread sees the deadline itself, unless a write holds it.
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (!m_thread->wait(
            QDeadlineTimer(std::max(left, 0ms) + 5 * std::chrono::milliseconds(BeforeNextLookMs))) ||
        !m_ended.load(std::memory_order_acquire))
        return false;
    m_thread.reset();
    return true;
}

void LogDisplay::run()
{
    CrashHandler::prepareThread();
    while (Clock::now() < m_showUntil.load()) {
        const LogQueue::Position end = m_queue.end();
        if (const std::string text = take(); !text.empty())
            show(text);
        else if (m_queue.isClosed() && m_queue.end() == end)
            return;
        else
            m_queue.waitForMore(end, UntilNews);
    }
}

std::string LogDisplay::take()
{
    const MutexLock lock(m_mutex);
    if (m_linesNotShown > 0)
        return logLine(QtWarningMsg, __FILE__, __LINE__,
                       "LogManager: Lines not shown: " + std::to_string(std::exchange(m_linesNotShown, 0)));
    if (m_position >= m_queue.end())
        return {};
    const LogQueue::Record record = m_queue.at(m_position);
    std::string text;
    text.reserve(record.text[0].size() + record.text[1].size());
    text.append(record.text[0]).append(record.text[1]);
    m_position = record.next;
    m_queue.release(LogQueue::Reader::Display, m_position);
    return text;
}

void LogDisplay::show(const std::string& text)
{
    std::string_view rest = text;
    rest.remove_prefix(m_output.write(rest));
    while (!rest.empty() && Clock::now() < m_showUntil.load()) {
        m_output.waitForRoom(BeforeNextLookMs);
        rest.remove_prefix(m_output.write(rest));
    }
}

void LogDisplay::skipTo(LogQueue::Position limit)
{
    const MutexLock lock(m_mutex);
    for (; m_position < limit; ++m_linesNotShown)
        m_position = m_queue.at(m_position).next;
    m_queue.release(LogQueue::Reader::Display, m_position);
}

} // namespace vt
