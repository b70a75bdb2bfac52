// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/LogindEvents.h"
#include "base/TimeSource.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

QString blockReason()
{
    return QStringLiteral("%1 is running — reboot would interrupt operation.")
        .arg(QCoreApplication::applicationName());
}

QString delayReason()
{
    return QStringLiteral("%1 closes its recording first").arg(QCoreApplication::applicationName());
}

} // namespace

std::unique_ptr<PowerEvents> PowerEvents::create()
{
    static SystemTimeSource time;
    return std::make_unique<LogindEvents>(QDBusConnection::systemBus(), time);
}

LogindEvents::LogindEvents(const QDBusConnection& bus, TimeSource& time)
    : m_bus(bus), m_service(logind::serviceName(), bus, QDBusServiceWatcher::WatchForRegistration),
      m_delay(bus, QStringLiteral("shutdown:sleep"), LogindInhibitor::Mode::Delay),
      m_block(bus, QStringLiteral("shutdown"), LogindInhibitor::Mode::Block),
      m_deadline(time.createTimer(this, [this] {
          qWarning("PowerEvents: the recording is not closed yet, and the system waits no longer");
          letGo();
      }))
{
    if (!m_bus.isConnected()) {
        complain(QStringLiteral("no connection to the system bus"));
        return;
    }
    m_delay.setAnswered([this](const QDBusError& error) { reportDelay(error); });
    m_block.setAnswered([this](const QDBusError& error) { reportBlock(error); });
    subscribe();
    connect(&m_service, &QDBusServiceWatcher::serviceRegistered, this, &LogindEvents::followLogind);
    m_delay.take(delayReason());
    readDelay();
    qDebug("PowerEvents: Initialized - monitoring system power and shutdown events");
}

LogindEvents::~LogindEvents()
{
    if (m_bus.isConnected())
        qDebug("PowerEvents: Shutting down event monitor");
}

void LogindEvents::subscribe()
{
    const QDBusMessage manager = logind::managerCall(QString());
    const bool both =
        m_bus.connect(manager.service(), manager.path(), manager.interface(),
                      QStringLiteral("PrepareForShutdown"), this, SLOT(prepareForShutdown(bool))) &&
        m_bus.connect(manager.service(), manager.path(), manager.interface(),
                      QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
    if (!both)
        complain(QStringLiteral("no subscription to the signals of logind"));
}

// The inhibitors ask the new logind by themselves; what the old one was about to do is void.
void LogindEvents::followLogind()
{
    qDebug("PowerEvents: logind has started, inhibitors are taken again");
    becomeQuiet();
    readDelay();
}

void LogindEvents::readDelay()
{
    auto* watcher = new QDBusPendingCallWatcher(
        m_bus.asyncCall(logind::propertyCall(QStringLiteral("InhibitDelayMaxUSec")), logind::AnswerTimeoutMs),
        this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isError())
            return complain(logind::errorText(reply.error()));
        constexpr qulonglong LongestMs = 24LL * 3600 * 1000;
        if (const qulonglong delayMs = reply.value().variant().toULongLong() / 1000; delayMs > 0)
            m_delayMs = static_cast<int>(std::min(delayMs, LongestMs));
        qDebug("PowerEvents: logind waits %d ms for the delay inhibitor", m_delayMs);
    });
}

void LogindEvents::setAcquiring(bool acquiring)
{
    if (acquiring == m_acquiring)
        return;
    m_acquiring = acquiring;
    if (!m_bus.isConnected())
        return;
    if (acquiring) {
        m_block.take(blockReason());
        return;
    }
    const bool held = m_block.state() == LogindInhibitor::State::Held;
    m_block.drop();
    if (held) {
        qDebug("PowerEvents: shutdown inhibitor released");
        qDebug("PowerEvents: Shutdown blocking DISABLED");
    }
}

void LogindEvents::readyForSystemEvent()
{
    if (m_phase != Phase::Pending)
        return;
    qDebug("PowerEvents: delay inhibitor released - application ready");
    letGo();
}

void LogindEvents::prepareForShutdown(bool starting)
{
    if (!starting) {
        qDebug("PowerEvents: PrepareForShutdown - Shutdown cancelled");
        becomeQuiet();
        return;
    }
    qWarning("PowerEvents: PrepareForShutdown received - Shutdown confirmed");
    becomePending();
    emit shutdownConfirmed(0);
}

void LogindEvents::prepareForSleep(bool starting)
{
    if (!starting) {
        qDebug("PowerEvents: PrepareForSleep - System resumed from sleep");
        becomeQuiet();
        emit resumed();
        return;
    }
    qDebug("PowerEvents: PrepareForSleep received - System is suspending (sleep/hibernate)");
    becomePending();
    emit suspending(0);
}

void LogindEvents::becomePending()
{
    qDebug("  Application has ~%d seconds to stop critical operations", m_delayMs / 1000);
    m_phase = Phase::Pending;
    constexpr int LongestMarginMs = 500;
    m_deadline->start(m_delayMs - std::min(LongestMarginMs, m_delayMs / 10), TimerMode::SingleShot);
}

void LogindEvents::letGo()
{
    m_deadline->stop();
    m_phase = Phase::Released;
    m_delay.drop();
}

void LogindEvents::becomeQuiet()
{
    m_deadline->stop();
    m_phase = Phase::Quiet;
    m_delay.take(delayReason());
}

void LogindEvents::reportDelay(const QDBusError& error)
{
    if (error.isValid())
        complain(logind::errorText(error));
    else
        qDebug("PowerEvents: delay inhibitor registered");
}

void LogindEvents::reportBlock(const QDBusError& error)
{
    if (error.isValid())
        return complain(logind::errorText(error));
    qDebug("PowerEvents: shutdown inhibitor registered");
    qDebug("PowerEvents: Shutdown blocking ENABLED — system reboots will be denied");
}

// Without logind every step fails the same way: the first failure is the warning, the others are for the
// record.
void LogindEvents::complain(const QString& what)
{
    QDebug line = std::exchange(m_warned, true) ? qDebug() : qWarning();
    line.noquote() << "PowerEvents: logind failed, error:" << what;
}

} // namespace vt
