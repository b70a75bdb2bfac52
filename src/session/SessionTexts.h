// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt {

/// The line that frames important events in the log.
[[nodiscard]] inline QString banner()
{
    return QString(60, QChar(u'='));
}

/// How messages to the user write a time of day.
[[nodiscard]] inline QString messageTimeFormat()
{
    return QStringLiteral("h:mm:ss AP");
}

/// Of the notice about markers that are not in their file.
[[nodiscard]] inline QString markersNoticeId()
{
    return QStringLiteral("markers");
}

} // namespace vt
