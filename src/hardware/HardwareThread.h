// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/Mutex.h"
#include "hardware/HardwareSession.h"
#include "platform/CrashHandler.h"

#include <QThread>
#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
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
    enum class Lane {
        Ordinary,
        Stimulation, ///< overtakes ordinary work, also between the transfers of such work that is under way
        Halt         ///< overtakes stimulation as well: what ends it does not wait for it
    };

    /// Values and notices come back through answers, on the thread where that and receiver live.
    HardwareThread(DaqmxApi& driver, TimeSource& time, Inbox* answers, StimulationHardware* receiver)
        : m_time(time),
          m_session({driver, time, &m_inbox},
                    [this](std::function<void(StimulationHardware&)> step) { notify(std::move(step)); },
                    {[this] { runUrgent(); }, [this] { return m_isShuttingDown || isUrgentWaiting(); },
                     [this] { return m_isShuttingDown.load(); }}),
          m_answers(answers), m_receiver(receiver)
    {
        m_thread.setObjectName(QStringLiteral("hardware"));
        m_inbox.moveToThread(&m_thread);
        m_inbox.post(&CrashHandler::prepareThread);
        m_thread.start(QThread::InheritPriority);
    }
    ~HardwareThread() { m_thread.wait(); }
    HardwareThread(const HardwareThread&) = delete;
    HardwareThread& operator=(const HardwareThread&) = delete;

    [[nodiscard]] TimeSource& time() const { return m_time; }

    /// Runs work(session) on the hardware thread after all work that was posted before in the same lane,
    /// then done(value) where the answers go. Dropped after shutDown().
    template <typename Work, typename Done>
    void run(Work work, Done done, Lane lane = Lane::Ordinary)
    {
        std::function<void()> step = [this, work = std::move(work), done = std::move(done)]() mutable {
            if (m_isShuttingDown)
                return;
            using Value = std::invoke_result_t<Work, HardwareSession&>;
            auto value = std::make_shared<Value>(work(m_session));
            MutexLock lock(m_answersMutex);
            if (m_answers)
                m_answers->post([value, done = std::move(done)]() mutable { done(std::move(*value)); });
        };
        if (lane != Lane::Ordinary) {
            {
                MutexLock lock(m_urgentMutex);
                (lane == Lane::Halt ? m_halts : m_urgent).push_back(std::move(step));
            }
            m_inbox.post([this] { runUrgent(); });
            return;
        }
        m_inbox.post([this, step = std::move(step)] {
            runUrgent();
            step();
        });
    }

    /// Once. From here on nothing is delivered. True when the session is closed and the thread ends; false
    /// when a driver call held it up for longer than timeoutMs: keep the object.
    [[nodiscard]] bool shutDown(int timeoutMs)
    {
        {
            MutexLock lock(m_answersMutex);
            m_answers = nullptr;
        }
        m_isShuttingDown = true;
        auto closed = std::make_shared<std::promise<void>>();
        const std::future<void> whenClosed = closed->get_future();
        m_inbox.post([this, closed] {
            m_session.close();
            m_thread.quit();
            closed->set_value();
        });
        return whenClosed.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
    }

private:
    void notify(std::function<void(StimulationHardware&)> step)
    {
        MutexLock lock(m_answersMutex);
        if (m_answers)
            m_answers->post([receiver = m_receiver, step = std::move(step)] { step(*receiver); });
    }
    /// Does what waits in the lanes for stimulation and its end.
    void runUrgent()
    {
        while (const std::function<void()> step = takeUrgent())
            step();
    }
    [[nodiscard]] bool isUrgentWaiting()
    {
        MutexLock lock(m_urgentMutex);
        return !m_halts.empty() || !m_urgent.empty();
    }
    [[nodiscard]] std::function<void()> takeUrgent()
    {
        MutexLock lock(m_urgentMutex);
        auto& lane = m_halts.empty() ? m_urgent : m_halts;
        if (lane.empty())
            return {};
        std::function<void()> step = std::move(lane.front());
        lane.pop_front();
        return step;
    }

    TimeSource& m_time;
    HardwareSession m_session;
    Mutex m_answersMutex;
    Inbox* m_answers VT_GUARDED_BY(m_answersMutex);
    StimulationHardware* const m_receiver; ///< there as long as m_answers is
    Mutex m_urgentMutex;
    std::deque<std::function<void()>> m_halts VT_GUARDED_BY(m_urgentMutex);
    std::deque<std::function<void()>> m_urgent VT_GUARDED_BY(m_urgentMutex);
    std::atomic<bool> m_isShuttingDown{false};
    QThread m_thread;
    Inbox m_inbox; ///< lives on m_thread; context of the session's timers
};

} // namespace vt
