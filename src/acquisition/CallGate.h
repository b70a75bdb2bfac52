// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <optional>

namespace vt {

/// Lets calls of one generation in and counts who is inside; closing it keeps everyone else out, and
/// whoever closed it can wait for the last one to leave. enter and leave take no lock while it is open.
///
/// A gate must outlive every thread that may call leave(): the last one to leave still wakes the waiters.
class CallGate
{
public:
    /// Generations are 1 .. 2^48 - 1; 0 means closed.
    static constexpr std::uint64_t MaxGeneration = (std::uint64_t{1} << 48) - 1;

    /// The gate must be closed and quiet.
    void open(std::uint64_t generation) noexcept { m_word.store(generation << CountBits); }

    /// False when the gate is closed or open for another generation.
    [[nodiscard]] bool enter(std::uint64_t generation) noexcept
    {
        std::uint64_t word = m_word.load();
        do {
            if (generation == 0 || word >> CountBits != generation)
                return false;
        } while (!m_word.compare_exchange_weak(word, word + 1));
        return true;
    }

    void leave() noexcept
    {
        // Only the last one out of a closed gate has somebody to wake.
        if (m_word.fetch_sub(1) != 1)
            return;
        MutexLock lock(m_mutex);
        m_quiet.notify_all();
    }

    /// Nobody enters any more. May be called from inside.
    void close() noexcept { m_word.fetch_and(CountMask); }

    /// Closed, and nobody is inside.
    [[nodiscard]] bool isQuiet() const noexcept { return m_word.load() == 0; }

    /// Waits until a closed gate is quiet, without a limit.
    void waitQuiet()
    {
        std::unique_lock lock(m_mutex);
        m_quiet.wait(lock, [this] { return isQuiet(); });
    }
    /// The same; false when timeoutMs passed first.
    [[nodiscard]] bool waitQuietFor(int timeoutMs)
    {
        std::unique_lock lock(m_mutex);
        return m_quiet.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return isQuiet(); });
    }

private:
    static constexpr unsigned CountBits = 16;
    static constexpr std::uint64_t CountMask = (std::uint64_t{1} << CountBits) - 1;

    std::atomic<std::uint64_t> m_word{0}; ///< generation << 16 | calls inside
    Mutex m_mutex;                        ///< only for the wait
    std::condition_variable_any m_quiet;
};

} // namespace vt
