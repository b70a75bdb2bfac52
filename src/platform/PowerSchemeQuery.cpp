// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PowerSchemeQuery.h"

#include <QDebug>

namespace vt::PowerSchemeQuery {

void log(const Result& result)
{
    qDebug().noquote() << "PowerSchemeQuery: hasBattery=" << result.hasBattery
                       << "lidAC=" << lidActionText(result.lidAC) << "lidDC=" << lidActionText(result.lidDC)
                       << "queryFailed=" << result.queryFailed;
}

bool lidStopsRecording(const Result& result)
{
    return result.hasBattery &&
           (result.lidAC != LidAction::DoNothing || result.lidDC != LidAction::DoNothing);
}

QString lidActionText(LidAction action)
{
    switch (action) {
    case LidAction::DoNothing:
        return QStringLiteral("do nothing");
    case LidAction::Sleep:
        return QStringLiteral("sleep");
    case LidAction::Hibernate:
        return QStringLiteral("hibernate");
    case LidAction::ShutDown:
        return QStringLiteral("shut down");
    case LidAction::Other:
        break;
    }
    return QStringLiteral("take another action");
}

} // namespace vt::PowerSchemeQuery
