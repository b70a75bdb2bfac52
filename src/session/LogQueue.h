// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vt {

/// The records of the log between the threads that log and the two that read, one for the file and one for
/// the display: a ring of fixed size, in the order of push. Positions are byte counts that only grow; the
/// record at a position stays readable until both readers have released it.
///
/// The lock is held for one copy of a record. A crash handler reads without it: what lies between a position
/// that was not released and end() is complete and does not move.
class LogQueue
{
public:
    using Position = std::uint64_t;

    /// A power of two. Records take their length rounded up to 8, plus 8.
    static constexpr std::size_t DefaultCapacityBytes = std::size_t{16} << 20;
    explicit LogQueue(std::size_t capacityBytes = DefaultCapacityBytes);

    /// Appends a record; any thread, never waits for the reader. A record without room is lost and counted;
    /// the next one with room is preceded by a record that tells how many were. Returns the position behind
    /// it, or of the end when it was lost.
    Position push(std::string_view record) VT_EXCLUDES(m_mutex);
    /// Counts a record that its thread could not even put together.
    void noteLost() noexcept VT_EXCLUDES(m_mutex);

    /// A record, in two pieces where it runs over the ring's end.
    struct Record
    {
        std::array<std::string_view, 2> text;
        Position next = 0;
    };
    /// The record at a position below end(). Takes no lock; a length that memory errors have spoilt is cut to
    /// what there is.
    [[nodiscard]] Record at(Position position) const noexcept;
    [[nodiscard]] Position end() const noexcept { return m_end.load(std::memory_order_acquire); }
    [[nodiscard]] std::size_t capacityBytes() const noexcept { return m_capacity; }

    enum class Reader { File, Display };
    /// The reader is done with what lies before position; room that both are done with is used again.
    void release(Reader reader, Position position) VT_EXCLUDES(m_mutex);
    /// Nothing is released from here on. For a crash handler: takes no lock.
    void freeze() noexcept { m_frozen = true; }
    /// Returns when end() has left the seen position, after the time, or at once when closed. Readers'
    /// threads.
    void waitForMore(Position seen, std::chrono::milliseconds limit) VT_EXCLUDES(m_mutex);
    /// Wakes the readers for the last time.
    void close() VT_EXCLUDES(m_mutex);
    [[nodiscard]] bool isClosed() const VT_EXCLUDES(m_mutex);

private:
    [[nodiscard]] bool hasRoomFor(std::size_t bytes) const VT_REQUIRES(m_mutex);
    void append(std::string_view record) VT_REQUIRES(m_mutex);
    void copyIn(Position position, std::string_view bytes);

    const std::size_t m_capacity;
    const std::unique_ptr<char[]> m_ring;
    mutable Mutex m_mutex;
    std::condition_variable_any m_wake;
    std::atomic<Position> m_end{0};
    std::atomic<bool> m_frozen{false};
    std::array<Position, 2> m_released VT_GUARDED_BY(m_mutex){};
    Position m_begin VT_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_lost VT_GUARDED_BY(m_mutex) = 0;
    int m_waitingReaders VT_GUARDED_BY(m_mutex) = 0;
    bool m_closed VT_GUARDED_BY(m_mutex) = false;
};

} // namespace vt
