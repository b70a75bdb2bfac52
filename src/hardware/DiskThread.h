// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/ThreadCall.h"
#include "daqmx/KeepAlive.h"
#include "platform/CrashHandler.h"

#include <QDebug>
#include <QThread>
#include <memory>
#include <utility>

namespace vt {

/// A thread for the few things that may wait for the disk, so that neither the interface nor the hardware
/// does. It starts with the first work. Interface thread.
class DiskThread
{
public:
    DiskThread() = default;
    DiskThread(const DiskThread&) = delete;
    DiskThread& operator=(const DiskThread&) = delete;
    /// Waits for a moment; a thread that hangs in the disk is left to the end of the process.
    ~DiskThread()
    {
        if (!m_shared)
            return;
        m_shared->thread.quit();
        if (m_shared->thread.wait(StopWaitMs))
            return;
        qCritical("DiskThread: the disk does not return, thread abandoned");
        keepAliveForever(m_shared);
    }

    /// Runs work() there and done(value) where receiver lives; dropped when that is gone by then.
    template <typename Work, typename Done>
    void run(const Inbox& receiver, Work work, Done done)
    {
        if (!m_shared) {
            m_shared = std::make_shared<Shared>();
            m_shared->thread.setObjectName(QStringLiteral("unit's files"));
            m_shared->inbox.moveToThread(&m_shared->thread);
            m_shared->inbox.post(&CrashHandler::prepareThread);
            m_shared->thread.start();
        }
        callAsync(m_shared->inbox, receiver, std::move(work), std::move(done));
    }

private:
    static constexpr int StopWaitMs = 1000;
    struct Shared
    {
        QThread thread;
        Inbox inbox; ///< lives on thread
    };

    std::shared_ptr<Shared> m_shared;
};

} // namespace vt
