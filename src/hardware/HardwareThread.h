// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "hardware/HardwareSession.h"

#include <QMetaObject>
#include <QObject>
#include <QThread>
#include <atomic>
#include <future>
#include <memory>
#include <type_traits>
#include <utility>

namespace vt {

/// The thread that makes all slow driver calls of the selected device, one after another. Handed around by
/// shared_ptr: when a driver call does not return, the thread and its session outlive their owner.
class HardwareThread
{
public:
    /// Values come back on receiver's thread.
    HardwareThread(DaqmxApi& driver, QObject* receiver) : m_session(driver), m_receiver(receiver)
    {
        m_thread.setObjectName(QStringLiteral("hardware"));
        m_anchor.moveToThread(&m_thread);
        m_thread.start(QThread::InheritPriority);
    }
    ~HardwareThread() { m_thread.wait(); }
    HardwareThread(const HardwareThread&) = delete;
    HardwareThread& operator=(const HardwareThread&) = delete;

    /// Runs work(session) on the hardware thread after all work that was posted before, then done(value) on
    /// the receiver's thread. Dropped after shutDown().
    template <typename Work, typename Done>
    void run(Work work, Done done)
    {
        QMetaObject::invokeMethod(
            &m_anchor,
            [this, work = std::move(work), done = std::move(done)]() mutable {
                if (m_isShuttingDown)
                    return;
                using Value = std::invoke_result_t<Work, HardwareSession&>;
                auto value = std::make_shared<Value>(work(m_session));
                MutexLock lock(m_receiverMutex);
                if (m_receiver)
                    QMetaObject::invokeMethod(
                        m_receiver, [value, done = std::move(done)]() mutable { done(std::move(*value)); },
                        Qt::QueuedConnection);
            },
            Qt::QueuedConnection);
    }

    /// Receiver's thread; once. From here on nothing is delivered. True when the session is closed and the
    /// thread has ended; false when a driver call held it up for longer than timeoutMs: keep the object.
    [[nodiscard]] bool shutDown(int timeoutMs)
    {
        {
            MutexLock lock(m_receiverMutex);
            m_receiver = nullptr;
        }
        m_isShuttingDown = true;
        auto closed = std::make_shared<std::promise<void>>();
        const std::future<void> whenClosed = closed->get_future();
        QMetaObject::invokeMethod(
            &m_anchor,
            [this, closed] {
                m_session.close();
                m_thread.quit();
                closed->set_value();
            },
            Qt::QueuedConnection);
        return whenClosed.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
    }

private:
    HardwareSession m_session;
    Mutex m_receiverMutex;
    QObject* m_receiver VT_GUARDED_BY(m_receiverMutex);
    std::atomic<bool> m_isShuttingDown{false};
    QThread m_thread;
    QObject m_anchor; ///< lives on m_thread; work is posted to it
};

} // namespace vt
