// SPDX-License-Identifier: GPL-3.0-or-later
// What logind does when the lid is closed. A docked machine's own setting is left out: without its dock, on a
// table, it behaves like any other.
#include "platform/PowerSchemeQuery.h"
#include "platform/linux/LidQuery.h"
#include "platform/linux/LogindInhibitor.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <array>
#include <memory>

namespace vt::PowerSchemeQuery {

namespace {

QByteArray attribute(const QString& supply, const char* name)
{
    QFile file(supply + u'/' + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

/// A battery that runs the computer: not one of a mouse or a head set, and not an empty bay.
bool hasBattery(const QString& folder)
{
    const QDir supplies(folder);
    for (const QString& name : supplies.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString supply = supplies.filePath(name);
        if (attribute(supply, "type") == "Battery" && attribute(supply, "scope") != "Device" &&
            attribute(supply, "present") != "0")
            return true;
    }
    return false;
}

LidAction lidAction(const QString& value)
{
    if (value == u"ignore")
        return LidAction::DoNothing;
    if (value == u"suspend" || value == u"hybrid-sleep" || value == u"suspend-then-hibernate" ||
        value == u"sleep")
        return LidAction::Sleep;
    if (value == u"hibernate")
        return LidAction::Hibernate;
    if (value == u"poweroff" || value == u"halt")
        return LidAction::ShutDown;
    return LidAction::Other;
}

/// Collects the answers to both questions; the last one to come ends it.
struct Answers
{
    Result result;
    std::function<void(const Result&)> answered;
    QString lid;
    QString lidOnMains;
    QDBusError failure;
    int missing = 2;

    void finish()
    {
        result.queryFailed = failure.isValid();
        if (result.queryFailed) {
            (logind::isAbsent(failure) ? qInfo() : qWarning()).noquote()
                << "PowerSchemeQuery: logind failed, error:" << logind::errorText(failure);
        } else {
            result.lidDC = lidAction(lid);
            result.lidAC = lidOnMains.isEmpty() ? result.lidDC : lidAction(lidOnMains);
        }
        log(result);
        answered(result);
    }
};

void ask(const QDBusConnection& bus, const QString& property, QString Answers::*target, QObject* receiver,
         const std::shared_ptr<Answers>& answers)
{
    auto* watcher = new QDBusPendingCallWatcher(
        bus.asyncCall(logind::propertyCall(property), logind::AnswerTimeoutMs), receiver);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, receiver, [watcher, target, answers] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isError())
            answers->failure = reply.error();
        else
            (*answers).*target = reply.value().variant().toString();
        if (--answers->missing == 0)
            answers->finish();
    });
}

} // namespace

void queryLid(const QDBusConnection& bus, const QString& powerSupplyFolder, QObject* receiver,
              std::function<void(const Result&)> answered)
{
    auto answers = std::make_shared<Answers>();
    answers->result.hasBattery = hasBattery(powerSupplyFolder);
    answers->answered = std::move(answered);
    if (!bus.isConnected()) {
        answers->failure = logind::noBus();
        answers->finish();
        return;
    }
    ask(bus, QStringLiteral("HandleLidSwitch"), &Answers::lid, receiver, answers);
    ask(bus, QStringLiteral("HandleLidSwitchExternalPower"), &Answers::lidOnMains, receiver, answers);
}

void query(QObject* receiver, std::function<void(const Result&)> answered)
{
    queryLid(QDBusConnection::systemBus(), QStringLiteral("/sys/class/power_supply"), receiver,
             std::move(answered));
}

bool openPowerSettings()
{
    struct Program
    {
        QString name;
        QStringList arguments;
    };
    const std::array<Program, 3> programs = {
        {{QStringLiteral("gnome-control-center"), {QStringLiteral("power")}},
         {QStringLiteral("systemsettings"), {QStringLiteral("kcm_powerdevilprofilesconfig")}},
         {QStringLiteral("xfce4-power-manager-settings"), {}}}};
    for (const Program& program : programs) {
        const QString path = QStandardPaths::findExecutable(program.name);
        if (!path.isEmpty())
            return QProcess::startDetached(path, program.arguments);
    }
    qWarning("PowerSchemeQuery: no program for power settings found");
    return false;
}

} // namespace vt::PowerSchemeQuery
