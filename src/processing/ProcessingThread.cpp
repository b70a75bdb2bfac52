// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/ProcessingThread.h"

#include "acquisition/AcquisitionFrame.h"
#include "platform/CrashHandler.h"
#include "processing/DataManager.h"

#include <QDeadlineTimer>
#include <tuple>

namespace vt {

ProcessingThread::ProcessingThread(DataManager& manager, QObject* parent)
    : QThread(parent), m_manager(manager)
{
    setObjectName(QStringLiteral("DataManager"));
}

ProcessingThread::~ProcessingThread()
{
    requestFinish();
    wait(QDeadlineTimer(QDeadlineTimer::Forever));
    std::ignore = m_finished.load(std::memory_order_acquire);
}

void ProcessingThread::notify()
{
    m_ticks.fetch_add(1, std::memory_order_release);
    m_events.fetch_add(1, std::memory_order_release);
    m_events.notify_one();
}

void ProcessingThread::requestFinish()
{
    m_finishing.store(true, std::memory_order_release);
    m_events.fetch_add(1, std::memory_order_release);
    m_events.notify_one();
}

bool ProcessingThread::finish(int timeoutMs)
{
    requestFinish();
    const bool ended = wait(QDeadlineTimer(timeoutMs));
    return m_finished.load(std::memory_order_acquire) || ended;
}

void ProcessingThread::run()
{
    CrashHandler::prepareThread();
    quint32 done = 0;
    for (;;) {
        const quint32 seen = m_events.load(std::memory_order_acquire);
        const bool finishing = m_finishing.load(std::memory_order_acquire);
        for (const quint32 due = m_ticks.load(std::memory_order_acquire); done != due; ++done)
            m_manager.handleNewDAQData(SamplesPerFrame);
        if (finishing && done == m_ticks.load(std::memory_order_acquire)) {
            m_finished.store(true, std::memory_order_release);
            return;
        }
        m_events.wait(seen, std::memory_order_acquire);
    }
}

} // namespace vt
