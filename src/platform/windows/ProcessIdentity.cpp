// SPDX-License-Identifier: GPL-3.0-or-later
// "<process id>-<start>": no two processes with the same id have been started in the same 100 ns.
#include "platform/ProcessIdentity.h"
#include "platform/windows/plain/ProcessStart.h"

#include <QCoreApplication>

namespace vt::platform {

namespace {

/// Empty when no such process runs.
QString identityOf(qint64 processId)
{
    const auto start = windows::processStart(static_cast<unsigned long>(processId));
    return start ? QStringLiteral("%1-%2").arg(processId).arg(*start) : QString();
}

} // namespace

QString ownProcessIdentity()
{
    return identityOf(QCoreApplication::applicationPid());
}

bool isProcessRunning(const QString& identity)
{
    const qint64 processId = identity.section(QLatin1Char('-'), 0, 0).toLongLong();
    return processId > 0 && identityOf(processId) == identity;
}

} // namespace vt::platform
