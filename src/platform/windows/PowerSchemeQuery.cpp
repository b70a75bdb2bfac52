// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PowerSchemeQuery.h"
#include "platform/windows/plain/LidScheme.h"

#include <QDebug>

namespace vt::PowerSchemeQuery {

namespace {

LidAction lidAction(unsigned long index)
{
    switch (index) {
    case 0:
        return LidAction::DoNothing;
    case 1:
        return LidAction::Sleep;
    case 2:
        return LidAction::Hibernate;
    case 3:
        return LidAction::ShutDown;
    default:
        return LidAction::Other;
    }
}

} // namespace

void query(QObject*, std::function<void(const Result&)> answered)
{
    const windows::LidScheme scheme = windows::readLidScheme();
    if (scheme.failedCall)
        qWarning("PowerSchemeQuery: %s failed, error: %lu", scheme.failedCall, scheme.error);
    Result result;
    result.hasBattery = scheme.hasBattery;
    result.lidAC = lidAction(scheme.onMains);
    result.lidDC = lidAction(scheme.onBattery);
    result.queryFailed = scheme.failedCall != nullptr;
    log(result);
    answered(result);
}

bool openPowerSettings()
{
    const unsigned long error = windows::openByDesktop(L"ms-settings:powersleep");
    if (error != 0)
        qWarning("PowerSchemeQuery: ShellExecuteW failed, error: %lu", error);
    return error == 0;
}

} // namespace vt::PowerSchemeQuery
