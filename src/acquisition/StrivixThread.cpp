// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixThread.h"
#include "platform/CrashHandler.h"

namespace vt {

StrivixThread::StrivixThread(TimeSource& time) : m_time(time)
{
    m_thread.setObjectName(QStringLiteral("serial amplifier"));
    m_inbox.moveToThread(&m_thread);
    m_inbox.post(&CrashHandler::prepareThread);
}

StrivixThread::~StrivixThread()
{
    if (m_isStarted)
        m_thread.wait();
}

void StrivixThread::start(std::function<void(StrivixDevice&)> setUp)
{
    if (m_isStarted)
        return;
    m_isStarted = true;
    m_thread.start();
    m_inbox.post([this, setUp = std::move(setUp)] {
        if (m_isFinishing)
            return;
        m_device = std::make_unique<StrivixDevice>(m_time, m_counters);
        setUp(*m_device);
    });
}

void StrivixThread::post(std::function<void(StrivixDevice&)> step)
{
    m_inbox.post([this, step = std::move(step)] {
        if (m_device && !m_isFinishing)
            step(*m_device);
    });
}

bool StrivixThread::finish(int timeoutMs)
{
    if (!m_isStarted)
        return true;
    if (!m_isFinishing.exchange(true))
        m_inbox.post([this] { closeDevice(); });
    std::unique_lock lock(m_finishedMutex);
    return m_finishedChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                      [this]() VT_REQUIRES(m_finishedMutex) { return m_isFinished; });
}

bool StrivixThread::isFinished() const
{
    if (!m_isStarted)
        return true;
    const MutexLock lock(m_finishedMutex);
    return m_isFinished;
}

void StrivixThread::setPriority(QThread::Priority priority)
{
    if (m_thread.isRunning())
        m_thread.setPriority(priority);
}

void StrivixThread::closeDevice()
{
    m_device.reset();
    m_thread.quit();
    const MutexLock lock(m_finishedMutex);
    m_isFinished = true;
    m_finishedChanged.notify_all();
}

} // namespace vt
