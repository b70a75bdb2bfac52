// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogQueue.h"

#include "session/LogLine.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace vt {

namespace {

constexpr std::size_t Alignment = 8; // a record's length never runs over the ring's end

std::size_t roomOf(std::size_t textBytes)
{
    return Alignment + (textBytes + Alignment - 1) / Alignment * Alignment;
}

} // namespace

LogQueue::LogQueue(std::size_t capacityBytes)
    : m_capacity(capacityBytes), m_ring(std::make_unique_for_overwrite<char[]>(capacityBytes))
{}

LogQueue::Position LogQueue::push(std::string_view record)
{
    bool wake = false;
    Position behind = 0;
    {
        const MutexLock lock(m_mutex);
        std::string notice;
        if (m_lost > 0)
            notice = logLine(QtWarningMsg, __FILE__, __LINE__,
                             "LogManager: Lines lost: " + std::to_string(m_lost));
        if (hasRoomFor(roomOf(record.size()) + (notice.empty() ? 0 : roomOf(notice.size())))) {
            if (!notice.empty())
                append(notice);
            m_lost = 0;
            append(record);
        } else {
            ++m_lost;
        }
        behind = m_end.load(std::memory_order_relaxed);
        wake = m_waitingReaders > 0;
    }
    if (wake)
        m_wake.notify_all();
    return behind;
}

void LogQueue::noteLost() noexcept
{
    const MutexLock lock(m_mutex);
    ++m_lost;
}

bool LogQueue::hasRoomFor(std::size_t bytes) const
{
    return m_end.load(std::memory_order_relaxed) - m_begin + bytes <= m_capacity;
}

void LogQueue::append(std::string_view record)
{
    const Position end = m_end.load(std::memory_order_relaxed);
    const std::uint64_t size = record.size();
    std::memcpy(m_ring.get() + end % m_capacity, &size, sizeof size);
    copyIn(end + Alignment, record);
    m_end.store(end + roomOf(record.size()), std::memory_order_release);
}

void LogQueue::copyIn(Position position, std::string_view bytes)
{
    const std::size_t place = position % m_capacity;
    const std::size_t first = std::min(bytes.size(), m_capacity - place);
    std::memcpy(m_ring.get() + place, bytes.data(), first);
    std::memcpy(m_ring.get(), bytes.data() + first, bytes.size() - first);
}

LogQueue::Record LogQueue::at(Position position) const noexcept
{
    std::uint64_t size = 0;
    std::memcpy(&size, m_ring.get() + position % m_capacity, sizeof size);
    const Position behind = end();
    if (position + Alignment > behind || size > behind - position - Alignment ||
        size > m_capacity - Alignment)
        return {{}, behind};
    const std::size_t place = (position + Alignment) % m_capacity;
    const std::size_t first = std::min<std::size_t>(size, m_capacity - place);
    return {{std::string_view(m_ring.get() + place, first), std::string_view(m_ring.get(), size - first)},
            position + roomOf(size)};
}

void LogQueue::release(Reader reader, Position position)
{
    const MutexLock lock(m_mutex);
    m_released[static_cast<std::size_t>(reader)] = position;
    if (!m_frozen)
        m_begin = std::min(m_released[0], m_released[1]);
}

void LogQueue::waitForMore(Position seen, std::chrono::milliseconds limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    m_mutex.lock();
    ++m_waitingReaders;
    while (m_end.load(std::memory_order_relaxed) == seen && !m_closed) {
        if (m_wake.wait_until(m_mutex, deadline) == std::cv_status::timeout)
            break;
    }
    --m_waitingReaders;
    m_mutex.unlock();
}

void LogQueue::close()
{
    {
        const MutexLock lock(m_mutex);
        m_closed = true;
    }
    m_wake.notify_all();
}

bool LogQueue::isClosed() const
{
    const MutexLock lock(m_mutex);
    return m_closed;
}

} // namespace vt
