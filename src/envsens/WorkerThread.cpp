// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/WorkerThread.h"

#include "platform/CrashHandler.h"

#include <chrono>
#include <vector>

namespace vt {

WorkerThread::WorkerThread(const QString& name)
{
    m_thread.setObjectName(name);
    m_inbox.moveToThread(&m_thread);
    m_inbox.post(&CrashHandler::prepareThread);
}

WorkerThread::~WorkerThread()
{
    m_thread.wait();
}

void WorkerThread::finish(std::function<void()> last)
{
    m_inbox.post([this, last = std::move(last)] {
        last();
        m_thread.quit();
        const MutexLock lock(m_mutex);
        m_isFinished = true;
        m_changed.notify_all();
    });
}

bool WorkerThread::wait(int timeoutMs)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                              [this]() VT_REQUIRES(m_mutex) { return m_isFinished; });
}

void keepToTheEnd(std::shared_ptr<void> object)
{
    struct Kept
    {
        Mutex mutex;
        std::vector<std::shared_ptr<void>> objects VT_GUARDED_BY(mutex);
    };
    // Static destruction leaves it alone: its objects' threads may still run then.
    static auto* const kept = std::make_unique<Kept>().release();
    const MutexLock lock(kept->mutex);
    kept->objects.push_back(std::move(object));
}

} // namespace vt
