// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ProcessIdentity.h"

#include <QCoreApplication>

namespace vt::platform {

QString ownProcessIdentity()
{
    return processIdentity(QCoreApplication::applicationPid());
}

bool isProcessRunning(const QString& identity)
{
    const qint64 processId = identity.section(QLatin1Char('-'), 0, 0).toLongLong();
    return processId > 0 && processIdentity(processId) == identity;
}

} // namespace vt::platform
