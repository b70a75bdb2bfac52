// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ClockText.h"

namespace vt::clocktext {

QString hoursMinutes(const QDateTime& when)
{
    return when.toString(QStringLiteral("HH:mm"));
}

QString clock(const QDateTime& when)
{
    return when.toString(QStringLiteral("HH:mm:ss"));
}

QString date(const QDate& date)
{
    return date.toString(Qt::ISODate);
}

QString moment(const QDateTime& when, const QDate& known)
{
    return when.date() == known ? clock(when) : date(when.date()) + QLatin1Char(' ') + clock(when);
}

} // namespace vt::clocktext
