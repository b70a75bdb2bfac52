// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PowerRequest.h"
#include "platform/windows/plain/SleepRequest.h"

#include <QCoreApplication>
#include <QDebug>

namespace vt {

struct PowerRequest::Private
{
    windows::SleepRequest request;
};

PowerRequest::PowerRequest() : d(std::make_unique<Private>()) {}

PowerRequest::~PowerRequest() = default;

bool PowerRequest::acquire()
{
    if (d->request.isHeld())
        return true;
    const std::wstring reason =
        QStringLiteral("%1 is recording").arg(QCoreApplication::applicationName()).toStdWString();
    const windows::SleepRequest::Outcome outcome = d->request.acquire(reason.c_str());
    if (outcome.failedCall) {
        qWarning("PowerRequest: %s failed, error: %lu", outcome.failedCall, outcome.error);
        return false;
    }
    if (!outcome.executionRequired)
        qWarning().noquote() << "PowerRequest: ExecutionRequired not set (error:" << outcome.executionError
                             << ") - SystemRequired still held";
    qDebug().noquote() << "PowerRequest: acquired ("
                       << (outcome.executionRequired ? "SystemRequired + ExecutionRequired"
                                                     : "SystemRequired only")
                       << ") -";
    return true;
}

void PowerRequest::release()
{
    d->request.release();
}

} // namespace vt
