// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/ScanInterface.h"

#include <algorithm>

namespace vt {

std::vector<InterfaceFacts> systemInterfaces()
{
    std::vector<InterfaceFacts> all;
    for (const QNetworkInterface& interface : QNetworkInterface::allInterfaces()) {
        InterfaceFacts facts;
        facts.name = interface.name();
        facts.index = interface.index();
        facts.isUp = interface.flags().testFlag(QNetworkInterface::IsUp);
        facts.isLoopback = interface.flags().testFlag(QNetworkInterface::IsLoopBack);
        facts.type = interface.type();
        for (const QNetworkAddressEntry& entry : interface.addressEntries())
            facts.addresses.push_back(entry.ip());
        all.push_back(std::move(facts));
    }
    return all;
}

std::optional<ScanInterface> chooseScanInterface(const std::vector<InterfaceFacts>& interfaces)
{
    for (const InterfaceFacts& facts : interfaces) {
        const bool isLan = facts.type == QNetworkInterface::Ethernet || facts.type == QNetworkInterface::Wifi;
        if (!facts.isUp || facts.isLoopback || !isLan)
            continue;
        const auto ipv4 =
            std::find_if(facts.addresses.begin(), facts.addresses.end(), [](const QHostAddress& address) {
                return address.protocol() == QAbstractSocket::IPv4Protocol;
            });
        if (ipv4 != facts.addresses.end())
            return ScanInterface{facts.name, facts.index, *ipv4};
    }
    return std::nullopt;
}

} // namespace vt
