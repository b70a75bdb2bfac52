// SPDX-License-Identifier: GPL-3.0-or-later
#include "MockLogind.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QTest>
#include <csignal>
#include <gtest/gtest.h>

namespace vt::test {

namespace {

const QString Service = QStringLiteral("org.freedesktop.login1");
const QString Path = QStringLiteral("/org/freedesktop/login1");
const QString Manager = QStringLiteral("org.freedesktop.login1.Manager");
const QString Mock = QStringLiteral("org.freedesktop.DBus.Mock");
constexpr int PatienceMs = 10000;

} // namespace

MockLogind::MockLogind(Kind kind) : m_kind(kind), m_bus(QString()), m_control(QString())
{
    QFile config(m_folder.filePath(QStringLiteral("bus.conf")));
    EXPECT_TRUE(config.open(QIODevice::WriteOnly));
    config.write("<busconfig><type>system</type><listen>unix:path=" + QFile::encodeName(m_folder.path()) +
                 "/bus</listen><policy context=\"default\"><allow user=\"*\"/><allow own=\"*\"/>"
                 "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
                 "</policy></busconfig>");
    config.close();
    m_daemon.setStandardErrorFile(QProcess::nullDevice());
    m_daemon.start(QStringLiteral("dbus-daemon"),
                   {QStringLiteral("--config-file=") + config.fileName(), QStringLiteral("--nofork"),
                    QStringLiteral("--print-address=1")});
    while (!m_daemon.canReadLine() && m_daemon.waitForReadyRead(PatienceMs)) {
    }
    const QString address = QString::fromLatin1(m_daemon.readLine()).trimmed();
    EXPECT_FALSE(address.isEmpty()) << "dbus-daemon does not run";
    m_bus = QDBusConnection::connectToBus(address, QStringLiteral("tested"));
    m_control = QDBusConnection::connectToBus(address, QStringLiteral("control"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"), address);
    m_mock.setProcessEnvironment(environment);
    m_mock.setStandardOutputFile(QProcess::nullDevice());
    if (kind != Kind::Missing)
        start();
}

MockLogind::~MockLogind()
{
    kill();
    QDBusConnection::disconnectFromBus(QStringLiteral("tested"));
    QDBusConnection::disconnectFromBus(QStringLiteral("control"));
    m_daemon.kill();
    EXPECT_TRUE(m_daemon.waitForFinished(PatienceMs));
}

void MockLogind::start()
{
    QStringList arguments = {QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--system")};
    if (m_kind == Kind::Working)
        arguments << QStringLiteral("--template") << QStringLiteral("logind");
    else
        arguments << Service << Path << Manager;
    // Debian's own interpreter: the mock is one of its packages.
    m_mock.start(QStringLiteral("/usr/bin/python3"), arguments);
    EXPECT_TRUE(QTest::qWaitFor(
        [this] { return m_control.interface()->isServiceRegistered(Service).value(); }, PatienceMs))
        << "dbusmock does not run";
    if (m_kind != Kind::Working)
        return;
    const auto add = [this](const char* name, const QVariant& value) {
        call(Mock, QStringLiteral("AddProperty"),
             {Manager, QString::fromLatin1(name), QVariant::fromValue(QDBusVariant(value))});
    };
    add("InhibitDelayMaxUSec", QVariant::fromValue<qulonglong>(5'000'000));
    add("HandleLidSwitch", QStringLiteral("suspend"));
    add("HandleLidSwitchExternalPower", QString());
}

void MockLogind::kill()
{
    if (m_mock.state() == QProcess::NotRunning)
        return;
    m_mock.kill();
    EXPECT_TRUE(m_mock.waitForFinished(PatienceMs));
}

void MockLogind::freeze()
{
    EXPECT_EQ(::kill(static_cast<pid_t>(m_mock.processId()), SIGSTOP), 0);
}

void MockLogind::thaw()
{
    EXPECT_EQ(::kill(static_cast<pid_t>(m_mock.processId()), SIGCONT), 0);
}

QVariant MockLogind::call(const QString& interface, const QString& method,
                          const QVariantList& arguments) const
{
    QDBusMessage message = QDBusMessage::createMethodCall(Service, Path, interface, method);
    message.setArguments(arguments);
    const QDBusMessage reply = m_control.call(message, QDBus::Block, PatienceMs);
    EXPECT_EQ(reply.type(), QDBusMessage::ReplyMessage) << reply.errorMessage().toStdString();
    return reply.arguments().value(0);
}

QStringList MockLogind::inhibitors() const
{
    QStringList list;
    const auto argument = call(Manager, QStringLiteral("ListInhibitors"), {}).value<QDBusArgument>();
    argument.beginArray();
    while (!argument.atEnd()) {
        QString what;
        QString who;
        QString why;
        QString mode;
        uint user = 0;
        uint process = 0;
        argument.beginStructure();
        argument >> what >> who >> why >> mode >> user >> process;
        argument.endStructure();
        list << QStringLiteral("%1 %2: %3").arg(what, mode, why);
    }
    argument.endArray();
    list.sort();
    return list;
}

bool MockLogind::waitForInhibitors(const QStringList& wanted) const
{
    const bool met = QTest::qWaitFor([&] { return inhibitors() == wanted; }, PatienceMs);
    if (!met)
        ADD_FAILURE() << "in force: " << inhibitors().join(QStringLiteral(", ")).toStdString();
    return met;
}

void MockLogind::setProperty(const QString& name, const QVariant& value) const
{
    call(QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Set"),
         {Manager, name, QVariant::fromValue(QDBusVariant(value))});
}

void MockLogind::emitPrepare(const QString& signal, bool starting) const
{
    call(Mock, QStringLiteral("EmitSignal"), {Manager, signal, QStringLiteral("b"), QVariantList{starting}});
}

} // namespace vt::test
