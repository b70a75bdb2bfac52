// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "camera/ScanInterface.h"
#include "platform/NeighbourTable.h"

#include <QHostAddress>
#include <QSet>
#include <QString>
#include <QUdpSocket>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

/// What a scan sees of the computer that it runs on.
struct ScanSurroundings
{
    std::function<std::vector<InterfaceFacts>()> interfaces = systemInterfaces;
    std::function<platform::NeighbourAnswer(quint32)> lookUp = platform::lookUpNeighbour;
};

/// Finds the Axis cameras of the local network: asks by SSDP, collects answers for 10 s, and turns the
/// address that each came from into a MAC address. Lives on the cameras' thread, and blocks it for 3 s at
/// most per address that answers and that the system does not know.
class AxisDiscovery : public QObject
{
    Q_OBJECT

public:
    static constexpr int ScanMs = 10000;

    struct Camera
    {
        QString mac; ///< upper-case pairs joined by "-"
        QHostAddress address;
    };

    explicit AxisDiscovery(TimeSource& time, ScanSurroundings surroundings = {});
    ~AxisDiscovery() override;

    /// Starts a scan, which ends by itself; does nothing while one runs.
    void startDiscovery();
    /// Ends a running scan at once, without a report.
    void stopDiscovery();
    [[nodiscard]] bool isDiscovering() const { return m_isDiscovering; }
    /// An answer from there to the running scan; blocks for the look-up of an address that is new to the
    /// scan.
    void handleAnswer(const QHostAddress& sender);
    /// Found by the present or the last scan, each MAC once.
    [[nodiscard]] const std::vector<Camera>& found() const { return m_found; }
    /// The search, as it goes over the network.
    [[nodiscard]] static QByteArray query();

    // Slots.
    void sendDiscoveryQuery();
    void processPendingDatagrams();
    void onDiscoveryTimeout();

signals:
    void discoveryStarted();
    void cameraFound(QString macAddress, QHostAddress address);
    /// error: why nothing could be searched; empty after an ordinary scan.
    void discoveryFinished(int found, QString error);

private:
    void finish(const QString& error);
    void closeSocket();

    TimeSource& m_time;
    ScanSurroundings m_surroundings;
    Inbox m_turns; ///< runs what has to wait for its turn on this thread, and the timer
    std::unique_ptr<Timer> m_timeout;
    std::unique_ptr<QUdpSocket> m_socket;
    std::optional<ScanInterface> m_interface;
    bool m_isDiscovering = false;
    bool m_isNextTurnPosted = false;
    qint64 m_startedMs = 0;   ///< monotonic
    QSet<quint32> m_answered; ///< addresses that have been looked up in this scan
    std::vector<Camera> m_found;
};

} // namespace vt
