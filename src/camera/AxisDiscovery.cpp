// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/AxisDiscovery.h"

#include <QDebug>
#include <QNetworkDatagram>
#include <QNetworkProxy>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

constexpr quint16 SsdpPort = 1900;

QHostAddress ssdpGroup()
{
    return QHostAddress(QStringLiteral("239.255.255.250"));
}

} // namespace

AxisDiscovery::AxisDiscovery(TimeSource& time, ScanSurroundings surroundings)
    : m_time(time), m_surroundings(std::move(surroundings)),
      m_timeout(time.createTimer(&m_turns, [this] { onDiscoveryTimeout(); }))
{}

AxisDiscovery::~AxisDiscovery()
{
    closeSocket();
}

QByteArray AxisDiscovery::query()
{
    return QStringLiteral("M-SEARCH * HTTP/1.1\r\nHost:239.255.255.250:1900\r\nST:%1\r\n"
                          "Man:\"ssdp:discover\"\r\nMX:3\r\n\r\n")
        .arg(QStringLiteral("urn:axis-com:service:BasicService:1"))
        .toLatin1();
}

void AxisDiscovery::startDiscovery()
{
    if (m_isDiscovering) {
        qDebug() << "AxisDiscovery: Already discovering";
        return;
    }
    qDebug() << "AxisDiscovery: Starting discovery";
    m_isDiscovering = true;
    m_startedMs = m_time.monotonicMs();
    m_found.clear();
    m_answered.clear();
    emit discoveryStarted();

    m_interface = chooseScanInterface(m_surroundings.interfaces());
    if (!m_interface) {
        qWarning() << "AxisDiscovery: No active network interfaces found";
        finish(QStringLiteral("No active network interfaces found"));
        return;
    }
    qDebug().noquote() << "AxisDiscovery: Using interface" << m_interface->name
                       << m_interface->address.toString();

    m_socket = std::make_unique<QUdpSocket>();
    m_socket->setProxy(QNetworkProxy::NoProxy); // the laboratory's own network
    if (!m_socket->bind(QHostAddress::AnyIPv4, 0,
                        QAbstractSocket::ShareAddress | QAbstractSocket::ReuseAddressHint)) {
        const QString error = m_socket->errorString();
        qWarning().noquote() << "AxisDiscovery: Failed to bind socket:" << error;
        finish(error);
        return;
    }
    connect(m_socket.get(), &QUdpSocket::readyRead, this, &AxisDiscovery::processPendingDatagrams);
    m_timeout->start(ScanMs, TimerMode::SingleShot);
    sendDiscoveryQuery();
}

void AxisDiscovery::stopDiscovery()
{
    if (!m_isDiscovering)
        return;
    qDebug() << "AxisDiscovery: Stopping discovery";
    m_timeout->stop();
    closeSocket();
    m_isDiscovering = false;
}

void AxisDiscovery::sendDiscoveryQuery()
{
    if (!m_socket || m_socket->state() != QAbstractSocket::BoundState || !m_interface) {
        qWarning() << "AxisDiscovery: Socket not initialized";
        return;
    }
    m_socket->setMulticastInterface(QNetworkInterface::interfaceFromIndex(m_interface->index));
    const QByteArray text = query();
    if (m_socket->writeDatagram(text, ssdpGroup(), SsdpPort) != text.size())
        qWarning().noquote() << "AxisDiscovery: Failed to send datagram on" << m_interface->name
                             << m_socket->errorString();
}

void AxisDiscovery::processPendingDatagrams()
{
    // A look-up blocks: answers that come when the scan should be over are left where they are.
    if (!m_isDiscovering || !m_socket || !m_socket->hasPendingDatagrams() ||
        m_time.monotonicMs() - m_startedMs >= ScanMs)
        return;
    handleAnswer(m_socket->receiveDatagram(0).senderAddress());
    // Between two look-ups whatever else waits on this thread has its turn: the end of a recording, for one.
    if (std::exchange(m_isNextTurnPosted, true))
        return;
    m_turns.post([this] {
        m_isNextTurnPosted = false;
        processPendingDatagrams();
    });
}

void AxisDiscovery::handleAnswer(const QHostAddress& sender)
{
    if (!m_isDiscovering || sender.isNull())
        return;
    bool isIpv4 = false;
    const QHostAddress address(sender.toIPv4Address(&isIpv4)); // maps ::ffff:a.b.c.d, too
    if (!isIpv4) {
        qWarning().noquote() << "IPv6 address is not IPv4-mapped:" << sender.toString();
        return;
    }
    if (m_answered.contains(address.toIPv4Address()))
        return;
    m_answered.insert(address.toIPv4Address());

    const platform::NeighbourAnswer neighbour = m_surroundings.lookUp(address.toIPv4Address());
    if (neighbour.isTimedOut)
        qWarning().noquote() << "AxisDiscovery: ARP lookup timeout for" << address.toString();
    if (neighbour.mac.isEmpty()) {
        qWarning().noquote() << "AxisDiscovery: Could not get MAC for" << address.toString();
        return;
    }
    const bool isKnown = std::any_of(m_found.begin(), m_found.end(),
                                     [&](const Camera& camera) { return camera.mac == neighbour.mac; });
    if (isKnown || neighbour.mac == QStringLiteral("FF-FF-FF-FF-FF-FF"))
        return;
    m_found.push_back({neighbour.mac, address});
    emit cameraFound(neighbour.mac, address);
}

void AxisDiscovery::onDiscoveryTimeout()
{
    if (!m_isDiscovering)
        return;
    finish({});
}

void AxisDiscovery::finish(const QString& error)
{
    m_timeout->stop();
    closeSocket();
    m_isDiscovering = false;
    const int count = static_cast<int>(m_found.size());
    if (error.isEmpty())
        qDebug().noquote() << "AxisDiscovery: Scan complete, found" << count << "cameras";
    emit discoveryFinished(count, error);
}

void AxisDiscovery::closeSocket()
{
    if (!m_socket)
        return;
    m_socket->disconnect(this);
    m_socket->close();
    m_socket.release()->deleteLater(); // this may run in one of its signals
}

} // namespace vt
