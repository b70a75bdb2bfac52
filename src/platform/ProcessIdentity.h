// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt::platform {

/// Tells running programs of this computer apart from all that ran before: process ids are used again, soon
/// after a restart. Any thread; nothing waits.

/// Names a process that runs, beginning with its id and a "-"; empty when none has that id. The system's own.
[[nodiscard]] QString processIdentity(qint64 processId);
/// Names this process for as long as it runs, to be kept where others can read it. Empty when the system
/// does not tell.
[[nodiscard]] QString ownProcessIdentity();
/// True when the process of that name runs on this computer at this moment; false also for an empty name.
[[nodiscard]] bool isProcessRunning(const QString& identity);

} // namespace vt::platform
