// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DebuggerOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace vt {

namespace {

enum class Room { None, Some, NobodyReads };

Room roomIn(int descriptor, int timeoutMs)
{
    pollfd entry{descriptor, POLLOUT, 0};
    if (poll(&entry, 1, timeoutMs) <= 0)
        return Room::None;
    return (entry.revents & (POLLERR | POLLNVAL)) != 0 ? Room::NobodyReads : Room::Some;
}

} // namespace

std::size_t DebuggerOutput::write(std::string_view text)
{
    std::size_t taken = 0;
    // A pipe with room takes that much without waiting. The descriptor itself may be shared with other
    // programs and stays as it is.
    while (taken < text.size()) {
        const Room room = roomIn(m_descriptor, 0);
        if (room == Room::None)
            break;
        if (room == Room::NobodyReads)
            return text.size(); // and a write would be answered with a signal
        const std::size_t piece = std::min<std::size_t>(text.size() - taken, PIPE_BUF);
        const ssize_t count = ::write(m_descriptor, text.data() + taken, piece);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            break;
        if (count <= 0)
            return text.size(); // closed, or a disk that takes no more
        taken += static_cast<std::size_t>(count);
    }
    return taken;
}

void DebuggerOutput::waitForRoom(int timeoutMs)
{
    roomIn(m_descriptor, timeoutMs);
}

} // namespace vt
