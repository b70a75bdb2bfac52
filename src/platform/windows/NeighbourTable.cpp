// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/NeighbourTable.h"

#include <QProcess>
#include <QStringList>

namespace vt::platform {

NeighbourAnswer lookUpNeighbour(quint32 ipv4)
{
    const QString address = QStringLiteral("%1.%2.%3.%4")
                                .arg(ipv4 >> 24U)
                                .arg((ipv4 >> 16U) & 0xFFU)
                                .arg((ipv4 >> 8U) & 0xFFU)
                                .arg(ipv4 & 0xFFU);
    QProcess arp;
    arp.start(QStringLiteral("arp"), {QStringLiteral("-a"), address}, QIODevice::ReadOnly);
    if (!arp.waitForFinished(NeighbourTimeoutMs)) {
        const bool isTimedOut = arp.state() != QProcess::NotRunning;
        arp.kill();
        arp.waitForFinished(1000);
        return {{}, isTimedOut};
    }
    return {macFromArpOutput(QString::fromLocal8Bit(arp.readAllStandardOutput())), false};
}

} // namespace vt::platform
