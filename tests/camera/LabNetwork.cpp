// SPDX-License-Identifier: GPL-3.0-or-later
#include "LabNetwork.h"

#include <QCoreApplication>
#include <QProcess>
#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

namespace vt::test {

namespace {

const QStringList Nodes{QStringLiteral("switch"), QStringLiteral("pc"), QStringLiteral("camera0"),
                        QStringLiteral("camera1")};

} // namespace

LabNetwork::LabNetwork() : m_home(::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC))
{
    m_isEntered = build() && enter(Nodes[1]);
    if (!m_isEntered && m_problem.isEmpty())
        m_problem = QStringLiteral("the namespace cannot be entered");
}

LabNetwork::~LabNetwork()
{
    if (m_isEntered && ::setns(m_home, CLONE_NEWNET) != 0)
        qFatal("the way back from the test's network is lost");
    ::close(m_home);
    for (const QString& node : std::as_const(m_made))
        (void)ip(QStringLiteral("netns del %1").arg(nameOf(node)));
}

QString LabNetwork::nameOf(const QString& node) const
{
    return QStringLiteral("vt%1-%2").arg(QCoreApplication::applicationPid()).arg(node);
}

bool LabNetwork::ip(const QString& command)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral("ip"), command.split(QLatin1Char(' ')));
    if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0)
        return true;
    const QString output = QString::fromLocal8Bit(process.readAll()).trimmed();
    m_problem =
        QStringLiteral("\"ip %1\": %2").arg(command, output.isEmpty() ? process.errorString() : output);
    return false;
}

bool LabNetwork::build()
{
    for (const QString& node : Nodes) {
        if (!ip(QStringLiteral("netns add %1").arg(nameOf(node))))
            return false;
        m_made << node;
    }
    const QString hub = nameOf(Nodes[0]);
    if (!ip(QStringLiteral("-n %1 link add hub type bridge").arg(hub)) ||
        !ip(QStringLiteral("-n %1 link set hub up").arg(hub)))
        return false;
    const QStringList addresses{{}, QStringLiteral("192.0.2.1"), cameraAddress(0), cameraAddress(1)};
    for (qsizetype node = 1; node < Nodes.size(); ++node) {
        const QString name = nameOf(Nodes[node]);
        const QString mac =
            node == 1 ? QStringLiteral("02:00:00:00:00:01")
                      : cameraMac(static_cast<int>(node) - 2).replace(QLatin1Char('-'), QLatin1Char(':'));
        for (const QString& command :
             {QStringLiteral("-n %1 link add port%2 type veth peer name lan0 netns %3")
                  .arg(hub)
                  .arg(node)
                  .arg(name),
              QStringLiteral("-n %1 link set port%2 master hub up").arg(hub).arg(node),
              QStringLiteral("-n %1 link set lan0 address %2 up").arg(name, mac),
              QStringLiteral("-n %1 addr add %2/24 dev lan0").arg(name, addresses[node])})
            if (!ip(command))
                return false;
    }
    return true;
}

bool LabNetwork::enter(const QString& node) const
{
    const QByteArray path = "/run/netns/" + nameOf(node).toLatin1();
    const int descriptor = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    const bool isEntered = descriptor >= 0 && ::setns(descriptor, CLONE_NEWNET) == 0;
    if (descriptor >= 0)
        ::close(descriptor);
    return isEntered;
}

LabNetwork::AtCamera::AtCamera(const LabNetwork& network, int camera) : m_network(network)
{
    if (!m_network.enter(Nodes[camera + 2]))
        qFatal("the camera's namespace cannot be entered");
}

LabNetwork::AtCamera::~AtCamera()
{
    if (!m_network.enter(Nodes[1]))
        qFatal("the way back from the camera's namespace is lost");
}

} // namespace vt::test
