// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/ThreadCall.h"
#include "daqmx/KeepAlive.h"
#include "platform/CrashHandler.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QString>
#include <QThread>
#include <functional>
#include <memory>
#include <utility>

namespace vt {

/// A thread for the few things that may wait for the disk, so that neither the interface nor the hardware
/// does. It starts with the first work, and does one after the other. Interface thread.
class DiskThread
{
public:
    /// name as debuggers and crash reports show it; stopWaitMs is the longest that the end waits for the
    /// disk.
    explicit DiskThread(QString name, int stopWaitMs = 1000)
        : m_name(std::move(name)), m_stopWaitMs(stopWaitMs)
    {}
    DiskThread(const DiskThread&) = delete;
    DiskThread& operator=(const DiskThread&) = delete;
    /// Does what was given to it; a thread that hangs in the disk is left to the end of the process.
    ~DiskThread()
    {
        if (!m_shared)
            return;
        m_shared->inbox.post([thread = &m_shared->thread] { thread->quit(); });
        if (m_shared->thread.wait(QDeadlineTimer(m_stopWaitMs)))
            return;
        qCritical("DiskThread: the disk does not return, thread abandoned");
        keepAliveForever(m_shared);
    }

    /// Runs work() there and done(value) where receiver lives; dropped when that is gone by then.
    template <typename Work, typename Done>
    void run(const Inbox& receiver, Work work, Done done)
    {
        callAsync(inbox(), receiver, std::move(work), std::move(done));
    }
    /// Runs work() there, which has nobody to answer to.
    void post(std::function<void()> work) { inbox().post(std::move(work)); }

private:
    struct Shared
    {
        QThread thread;
        Inbox inbox; ///< lives on thread
    };

    Inbox& inbox()
    {
        if (!m_shared) {
            m_shared = std::make_shared<Shared>();
            m_shared->thread.setObjectName(m_name);
            m_shared->inbox.moveToThread(&m_shared->thread);
            m_shared->inbox.post(&CrashHandler::prepareThread);
            m_shared->thread.start();
        }
        return m_shared->inbox;
    }

    const QString m_name;
    const int m_stopWaitMs;
    std::shared_ptr<Shared> m_shared;
};

} // namespace vt
