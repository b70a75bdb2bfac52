// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/LogindInhibitor.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>

namespace vt {

namespace logind {

namespace {

QString managerPath()
{
    return QStringLiteral("/org/freedesktop/login1");
}

QString managerInterface()
{
    return QStringLiteral("org.freedesktop.login1.Manager");
}

} // namespace

QString serviceName()
{
    return QStringLiteral("org.freedesktop.login1");
}

QDBusMessage managerCall(const QString& method)
{
    return QDBusMessage::createMethodCall(serviceName(), managerPath(), managerInterface(), method);
}

QDBusMessage propertyCall(const QString& property)
{
    QDBusMessage call = QDBusMessage::createMethodCall(serviceName(), managerPath(),
                                                       QStringLiteral("org.freedesktop.DBus.Properties"),
                                                       QStringLiteral("Get"));
    call << managerInterface() << property;
    return call;
}

QString errorText(const QDBusError& error)
{
    return QStringLiteral("%1 (%2)").arg(error.name(), error.message());
}

bool isAbsent(const QDBusError& error)
{
    return error.type() == QDBusError::Disconnected || error.type() == QDBusError::ServiceUnknown;
}

QDBusError noBus()
{
    return {QDBusError::Disconnected, QStringLiteral("no connection to the system bus")};
}

} // namespace logind

LogindInhibitor::LogindInhibitor(const QDBusConnection& bus, const QString& what, Mode mode)
    : m_bus(bus), m_what(what), m_mode(mode),
      m_service(logind::serviceName(), bus, QDBusServiceWatcher::WatchForRegistration)
{
    connect(&m_service, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        if (m_state != State::Dropped)
            ask(); // the lock of the one before means nothing to the new logind
    });
}

void LogindInhibitor::take(const QString& why)
{
    if (m_state == State::Held || m_state == State::Asked)
        return;
    m_why = why;
    ask();
}

void LogindInhibitor::drop()
{
    ++m_question;
    m_state = State::Dropped;
    m_lock = QDBusUnixFileDescriptor();
}

void LogindInhibitor::ask()
{
    m_state = State::Asked;
    QDBusMessage call = logind::managerCall(QStringLiteral("Inhibit"));
    call << m_what << QCoreApplication::applicationName() << m_why
         << (m_mode == Mode::Block ? QStringLiteral("block") : QStringLiteral("delay"));
    auto* watcher = new QDBusPendingCallWatcher(m_bus.asyncCall(call, logind::AnswerTimeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, question = ++m_question] {
        watcher->deleteLater();
        if (question == m_question)
            evaluate(watcher->reply());
    });
}

void LogindInhibitor::evaluate(const QDBusMessage& reply)
{
    QDBusError error;
    m_lock = QDBusUnixFileDescriptor();
    if (reply.type() == QDBusMessage::ErrorMessage)
        error = QDBusError(reply);
    else if (!reply.arguments().isEmpty())
        m_lock = qvariant_cast<QDBusUnixFileDescriptor>(reply.arguments().constFirst());
    if (!error.isValid() && !m_lock.isValid())
        error = QDBusError(QDBusError::InvalidSignature, QStringLiteral("no descriptor in the answer"));
    m_state = error.isValid() ? State::Refused : State::Held;
    if (m_answered)
        m_answered(error);
}

} // namespace vt
