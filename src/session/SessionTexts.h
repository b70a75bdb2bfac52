// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QCoreApplication>
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

[[nodiscard]] inline QString communicationFailedTitle()
{
    return QCoreApplication::translate("vt::SessionController", "DAQ Communication Failed");
}

[[nodiscard]] inline QString notRespondingText()
{
    return QCoreApplication::translate(
        "vt::SessionController", "DAQ not responding.\nMake sure the DAQ is connected and powered, then "
                                 "re-select it from the device list.");
}

/// Of the notice about markers that are not in their file.
[[nodiscard]] inline QString markersNoticeId()
{
    return QStringLiteral("markers");
}

} // namespace vt
