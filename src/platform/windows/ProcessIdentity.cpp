// SPDX-License-Identifier: GPL-3.0-or-later
// "<process id>-<start>": no two processes with the same id have been started in the same 100 ns.
#include "platform/ProcessIdentity.h"
#include "platform/windows/plain/ProcessStart.h"

namespace vt::platform {

QString processIdentity(qint64 processId)
{
    const auto start = windows::processStart(static_cast<unsigned long>(processId));
    return start ? QStringLiteral("%1-%2").arg(processId).arg(*start) : QString();
}

} // namespace vt::platform
