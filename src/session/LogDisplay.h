// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "platform/DebuggerOutput.h"
#include "session/LogQueue.h"

#include <QThread>
#include <atomic>
#include <chrono>
#include <memory>
#include <string>

namespace vt {

/// Shows the log's records on the debugger output, on a thread of its own: a terminal that nobody reads, or
/// whose text is being selected, holds that thread and nothing else. Of the queue it keeps no record while it
/// waits, only a copy of the one that it shows.
class LogDisplay
{
public:
    LogDisplay(LogQueue& queue, DebuggerOutput output) : m_queue(queue), m_output(output) {}
    /// stop() has returned true, or start() was never called.
    ~LogDisplay() = default;
    LogDisplay(const LogDisplay&) = delete;
    LogDisplay& operator=(const LogDisplay&) = delete;

    void start();
    /// After the queue was closed. Shows what is queued and ends the thread; false when that has not happened
    /// by the deadline: the thread is held by the output, and the object has to outlive it.
    [[nodiscard]] bool stop(std::chrono::steady_clock::time_point deadline);

    /// Records before limit that are not shown yet are counted, and told before the next one that is shown.
    /// Any thread.
    void skipTo(LogQueue::Position limit) VT_EXCLUDES(m_mutex);

private:
    using Clock = std::chrono::steady_clock;

    void run();
    /// The next text to show; empty when there is none.
    [[nodiscard]] std::string take() VT_EXCLUDES(m_mutex);
    void show(const std::string& text);

    LogQueue& m_queue;
    DebuggerOutput m_output;
    std::unique_ptr<QThread> m_thread;
    std::atomic<bool> m_ended{false};                                     ///< the thread's last word
    std::atomic<Clock::time_point> m_showUntil{Clock::time_point::max()}; ///< set when stopping
    Mutex m_mutex;
    LogQueue::Position m_position VT_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_linesNotShown VT_GUARDED_BY(m_mutex) = 0;
};

} // namespace vt
