// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/NeighbourTable.h"

#include <QFile>
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vt::platform {

namespace {

class Socket
{
public:
    Socket(int family, int type, int protocol) : m_descriptor(::socket(family, type | SOCK_CLOEXEC, protocol))
    {}
    ~Socket()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    [[nodiscard]] int descriptor() const { return m_descriptor; }

private:
    int m_descriptor;
};

QString tableEntry(quint32 ipv4)
{
    QFile table(QStringLiteral("/proc/net/arp"));
    if (!table.open(QIODevice::ReadOnly))
        return {};
    return macFromNeighbourTable(QString::fromLatin1(table.readAll()), ipv4);
}

/// Makes the kernel ask the network who has the address. Nobody needs to listen at the port (discard). False:
/// no route leads there.
bool provokeEntry(quint32 ipv4)
{
    constexpr std::uint16_t DiscardPort = 9;
    const Socket socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(DiscardPort);
    to.sin_addr.s_addr = htonl(ipv4);
    const char nothing = 0;
    // What cannot be sent for other reasons provokes nothing, which the table shows.
    return ::sendto(socket.descriptor(), &nothing, 1, 0, reinterpret_cast<const sockaddr*>(&to),
                    sizeof(to)) >= 0 ||
           errno != ENETUNREACH;
}

/// Tells of changes of the table from its creation on; without rights or kernel support it tells nothing.
class TableChanges
{
public:
    TableChanges()
    {
        sockaddr_nl local{};
        local.nl_family = AF_NETLINK;
        local.nl_groups = RTMGRP_NEIGH;
        m_isBound =
            ::bind(m_socket.descriptor(), reinterpret_cast<const sockaddr*>(&local), sizeof(local)) == 0;
    }
    /// Returns on a change, and at the latest after timeoutMs.
    void wait(int timeoutMs)
    {
        pollfd waiting{m_isBound ? m_socket.descriptor() : -1, POLLIN, 0}; // poll() passes over -1
        if (::poll(&waiting, 1, timeoutMs) <= 0)
            return;
        std::array<char, 8192> news{};
        while (::recv(m_socket.descriptor(), news.data(), news.size(), MSG_DONTWAIT) > 0) {
        }
    }

private:
    Socket m_socket{AF_NETLINK, SOCK_RAW, NETLINK_ROUTE};
    bool m_isBound = false;
};

} // namespace

NeighbourAnswer lookUpNeighbour(quint32 ipv4)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds LookAgain{200}; // should no change be told
    const auto deadline = Clock::now() + std::chrono::milliseconds(NeighbourTimeoutMs);
    TableChanges changes;
    // Also when there is an entry: the system finds out, within some seconds, whether it is still true.
    const bool isReachable = provokeEntry(ipv4);
    QString mac = tableEntry(ipv4);
    if (!mac.isEmpty())
        return {mac, false};
    if (!isReachable)
        return {};
    while (mac.isEmpty()) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return {{}, true};
        changes.wait(static_cast<int>(std::min(left, LookAgain).count()));
        mac = tableEntry(ipv4);
    }
    return {mac, false};
}

} // namespace vt::platform
