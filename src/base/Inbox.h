// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <deque>
#include <functional>
#include <memory>

namespace vt {

/// Runs functions on the thread that it lives on, in the order in which they were posted. What a function
/// carries is handed over under a lock of ours, so that ThreadSanitizer sees the hand-over, which it cannot
/// with Qt's queued calls. Functions that have not run when it is destroyed never do.
class Inbox : public QObject
{
public:
    /// Reaches an inbox for as long as it exists. Any thread.
    class Address
    {
    public:
        explicit Address(Inbox* inbox) : m_inbox(inbox) {}
        /// False when the inbox is gone; step is dropped then.
        bool post(std::function<void()> step)
        {
            const MutexLock lock(m_mutex);
            if (m_inbox)
                m_inbox->post(std::move(step));
            return m_inbox != nullptr;
        }

    private:
        friend class Inbox;
        /// Whoever destroys the inbox later, and so takes this lock, sees what the step before this has done.
        void handOver() { const MutexLock lock(m_mutex); }
        void forget()
        {
            const MutexLock lock(m_mutex);
            m_inbox = nullptr;
        }
        Mutex m_mutex;
        Inbox* m_inbox VT_GUARDED_BY(m_mutex);
    };

    Inbox() : m_address(std::make_shared<Address>(this)) {}
    /// After the thread that it lived on has ended, or on it.
    ~Inbox() override
    {
        m_address->forget();
        const MutexLock lock(m_mutex);
        m_steps.clear();
    }
    [[nodiscard]] std::shared_ptr<Address> address() const { return m_address; }

    /// Any thread; does not wait.
    void post(std::function<void()> step)
    {
        auto wake = std::make_unique<QEvent>(WakeType);
        {
            MutexLock lock(m_mutex);
            m_steps.push_back(std::move(step));
        }
#ifdef __SANITIZE_THREAD__
        // Qt grows a thread's list of events under a lock that ThreadSanitizer cannot see.
        static Mutex sharedList;
        const MutexLock lock(sharedList);
#endif
        QCoreApplication::postEvent(this, wake.release());
    }

protected:
    bool event(QEvent* event) override
    {
        std::function<void()> step;
        {
            MutexLock lock(m_mutex); // before the event is looked at: it comes from the other thread, too
            if (event->type() == WakeType && !m_steps.empty()) {
                step = std::move(m_steps.front());
                m_steps.pop_front();
            }
        }
        if (!step)
            return QObject::event(event);
        const std::shared_ptr<Address> address = m_address; // a step may end its inbox
        step();
        step = nullptr;
        address->handOver();
        return true;
    }

private:
    static constexpr QEvent::Type WakeType = QEvent::User;

    const std::shared_ptr<Address> m_address;
    Mutex m_mutex;
    std::deque<std::function<void()>> m_steps VT_GUARDED_BY(m_mutex);
};

} // namespace vt
