// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/StrivixDevice.h"
#include "base/Inbox.h"
#include "base/Mutex.h"

#include <QThread>
#include <condition_variable>
#include <functional>
#include <memory>

namespace vt {

/// The thread of one serial amplifier, with the StrivixDevice on it. Used once.
class StrivixThread
{
public:
    /// time outlives the object.
    explicit StrivixThread(TimeSource& time);
    /// Waits for the thread. Call finish() first.
    ~StrivixThread();
    StrivixThread(const StrivixThread&) = delete;
    StrivixThread& operator=(const StrivixThread&) = delete;

    /// Starts the thread, makes the device there and hands it to setUp there. Does not wait. Once.
    void start(std::function<void(StrivixDevice&)> setUp);
    [[nodiscard]] bool isStarted() const { return m_isStarted; }
    /// Runs step on the thread; dropped after finish().
    void post(std::function<void(StrivixDevice&)> step);
    /// Closes the device and ends the thread. Any other thread. False when that took longer than timeoutMs:
    /// the system holds the port up; keep the object until isFinished().
    [[nodiscard]] bool finish(int timeoutMs);
    [[nodiscard]] bool isFinished() const;
    /// After start().
    void setPriority(QThread::Priority priority);

    [[nodiscard]] const StrivixCounters& counters() const { return m_counters; }

private:
    void closeDevice();

    TimeSource& m_time;
    StrivixCounters m_counters;
    bool m_isStarted = false;
    std::atomic<bool> m_isFinishing{false};
    std::unique_ptr<StrivixDevice> m_device; ///< on m_thread

    mutable Mutex m_finishedMutex;
    std::condition_variable_any m_finishedChanged;
    bool m_isFinished VT_GUARDED_BY(m_finishedMutex) = false;

    QThread m_thread;
    Inbox m_inbox; ///< lives on m_thread
};

} // namespace vt
