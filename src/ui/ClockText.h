// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDateTime>
#include <QString>

namespace vt::clocktext {

/// The same in all pages, tool tips and reports of the window, whatever the desktop's habit: hours 0 to 23,
/// as the light cycle and the files have them, and dates that cannot be read as another day. Local time; any
/// thread.

[[nodiscard]] QString hoursMinutes(const QDateTime& when); ///< "14:03"
[[nodiscard]] QString clock(const QDateTime& when);        ///< "14:03:10"
[[nodiscard]] QString date(const QDate& date);             ///< "2026-03-05"
/// clock(), behind the date where that is not the known one.
[[nodiscard]] QString moment(const QDateTime& when, const QDate& known = QDate::currentDate());

/// Of a time in ms since the epoch.
[[nodiscard]] inline QDateTime at(qint64 timeMs)
{
    return QDateTime::fromMSecsSinceEpoch(timeMs);
}

} // namespace vt::clocktext
