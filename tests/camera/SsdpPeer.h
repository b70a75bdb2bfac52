// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArrayList>
#include <QHostAddress>
#include <QNetworkDatagram>
#include <QNetworkInterface>
#include <QNetworkProxy>
#include <QUdpSocket>

namespace vt::test {

/// A camera's answer to the search. Lives in the network namespace in which it is made.
class SsdpPeer : public QObject
{
public:
    /// Listens on an interface, answers from an address.
    SsdpPeer(const QString& interface, const QString& address, int answers = 1) : m_answers(answers)
    {
        m_group.setProxy(QNetworkProxy::NoProxy);
        m_own.setProxy(QNetworkProxy::NoProxy);
        const QHostAddress group(QStringLiteral("239.255.255.250"));
        if (!m_group.bind(QHostAddress::AnyIPv4, 1900,
                          QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint) ||
            !m_group.joinMulticastGroup(group, QNetworkInterface::interfaceFromName(interface)) ||
            !m_own.bind(QHostAddress(address), 0))
            qFatal("the SSDP peer cannot listen");
        connect(&m_group, &QUdpSocket::readyRead, this, [this] {
            while (m_group.hasPendingDatagrams()) {
                const QNetworkDatagram query = m_group.receiveDatagram();
                queries << query.data();
                for (int answer = 0; answer < m_answers; ++answer)
                    m_own.writeDatagram("HTTP/1.1 200 OK\r\n\r\n", query.senderAddress(),
                                        static_cast<quint16>(query.senderPort()));
            }
        });
    }
    QByteArrayList queries;

private:
    const int m_answers;
    QUdpSocket m_group;
    QUdpSocket m_own;
};

} // namespace vt::test
