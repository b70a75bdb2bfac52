// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "envsens/EnviroSens.h"
#include "envsens/EnviroSensManager.h"
#include "envsens/WorkerThread.h"
#include "platform/SystemClaim.h"

namespace vt {

/// A sensor, its thread and its claim. Interface thread, which keeps it until its thread has ended.
struct EnviroSensManager::ManagedSensor
{
    ManagedSensor() : thread(QStringLiteral("environmental sensor")) {}

    std::unique_ptr<platform::SystemClaim> claim;
    std::unique_ptr<EnviroSens> sensor; ///< lives on thread
    QString portSerial;
    QString portName;      ///< that it was found at
    bool isAwaited = true; ///< it has not told yet who it is
    bool hasFailed = false;
    bool isPolling = false; ///< the poll has not come back
    bool isDue = false;     ///< a tick has passed over it since that poll began
    quint64 polls = 0;
    qint64 pollStartMs = 0;
    WorkerThread thread;
};

} // namespace vt
