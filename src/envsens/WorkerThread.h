// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/Mutex.h"

#include <QThread>
#include <condition_variable>
#include <functional>
#include <memory>

namespace vt {

/// A thread with an inbox on it, for what may wait for a device or a disk. Used once.
class WorkerThread
{
public:
    explicit WorkerThread(const QString& name);
    /// Waits for the thread. Call finish() and wait() first.
    ~WorkerThread();
    WorkerThread(const WorkerThread&) = delete;
    WorkerThread& operator=(const WorkerThread&) = delete;

    void start() { m_thread.start(); }
    [[nodiscard]] QThread* thread() { return &m_thread; }
    /// Runs step on the thread, after those posted before. Any thread; does not wait. The inbox is there for
    /// as long as this object, whether the thread runs or not.
    void post(std::function<void()> step) { m_inbox.post(std::move(step)); }
    /// Ends the thread when it has run what was posted, and last then. Once, by the owner; does not wait.
    void finish(std::function<void()> last);
    /// True when the thread has run its last step; waits for that up to timeoutMs. After finish().
    [[nodiscard]] bool wait(int timeoutMs);

private:
    Mutex m_mutex;
    std::condition_variable_any m_changed;
    bool m_isFinished VT_GUARDED_BY(m_mutex) = false;
    QThread m_thread;
    Inbox m_inbox; ///< lives on m_thread
};

/// Keeps an object, such as a thread that the system does not give back, to the end of the process. Any
/// thread.
void keepToTheEnd(std::shared_ptr<void> object);

} // namespace vt
