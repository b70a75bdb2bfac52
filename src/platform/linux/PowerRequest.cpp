// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/PowerRequest.h"
#include "platform/linux/SleepInhibitor.h"

#include <QCoreApplication>
#include <QDebug>
#include <utility>

namespace vt {

SleepInhibitor::SleepInhibitor(const QDBusConnection& bus)
    : m_bus(bus), m_inhibitor(bus, QStringLiteral("sleep:idle"), LogindInhibitor::Mode::Block)
{
    m_inhibitor.setAnswered([this](const QDBusError& error) { report(error); });
}

bool SleepInhibitor::acquire()
{
    if (!m_bus.isConnected()) {
        report(logind::noBus());
        return false;
    }
    m_inhibitor.take(QStringLiteral("%1 is recording").arg(QCoreApplication::applicationName()));
    return true;
}

void SleepInhibitor::release()
{
    m_inhibitor.drop();
    m_warned = false;
}

void SleepInhibitor::report(const QDBusError& error)
{
    if (!error.isValid())
        qDebug().noquote() << "PowerRequest: acquired ("
                           << "sleep:idle inhibitor"
                           << ") -";
    else if (!std::exchange(m_warned, true))
        (logind::isAbsent(error) ? qInfo() : qWarning()).noquote()
            << "PowerRequest: Inhibit failed, error:" << logind::errorText(error);
}

struct PowerRequest::Private
{
    SleepInhibitor inhibitor{QDBusConnection::systemBus()};
};

PowerRequest::PowerRequest() : d(std::make_unique<Private>()) {}

PowerRequest::~PowerRequest() = default;

bool PowerRequest::acquire()
{
    return d->inhibitor.acquire();
}

void PowerRequest::release()
{
    d->inhibitor.release();
}

} // namespace vt
