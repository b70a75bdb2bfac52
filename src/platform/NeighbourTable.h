// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// Which hardware address answers for an IPv4 address on the local network.
namespace vt::platform {

struct NeighbourAnswer
{
    QString mac;             ///< six upper-case pairs joined by "-"; empty: none
    bool isTimedOut = false; ///< the system did not know it within the time
};

/// Asks the system; blocks for NeighbourTimeoutMs at most. ipv4 in host byte order. Any thread.
[[nodiscard]] NeighbourAnswer lookUpNeighbour(quint32 ipv4);
inline constexpr int NeighbourTimeoutMs = 3000;

/// The first hardware address in text, in the form above; empty when there is none.
[[nodiscard]] QString firstMac(const QString& text);
/// The hardware address in what "arp -a <address>" prints; empty when it has no entry.
[[nodiscard]] QString macFromArpOutput(const QString& output);
/// The complete entry of an address in a table of the form of /proc/net/arp; empty when there is none.
[[nodiscard]] QString macFromNeighbourTable(const QString& table, quint32 ipv4);

} // namespace vt::platform
