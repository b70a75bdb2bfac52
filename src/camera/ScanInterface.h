// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QHostAddress>
#include <QNetworkInterface>
#include <QString>
#include <optional>
#include <vector>

namespace vt {

/// What the choice of a network interface depends on.
struct InterfaceFacts
{
    QString name;
    int index = 0; ///< the system's number of the interface
    bool isUp = false;
    bool isLoopback = false;
    QNetworkInterface::InterfaceType type = QNetworkInterface::Unknown;
    std::vector<QHostAddress> addresses; ///< IPv4 and IPv6, in the system's order
};

struct ScanInterface
{
    QString name;
    int index = 0;
    QHostAddress address; ///< IPv4
};

/// The interfaces of this computer, in the system's order.
[[nodiscard]] std::vector<InterfaceFacts> systemInterfaces();

/// The interface that cameras are searched on: the first Ethernet or Wi-Fi one that is up and has an IPv4
/// address.
[[nodiscard]] std::optional<ScanInterface> chooseScanInterface(const std::vector<InterfaceFacts>& interfaces);

} // namespace vt
