// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace vt::windows {

/// A named mutex owned by one process, with that process's id in a small named file mapping beside it. The
/// mutex belongs to the thread that took it, which also releases it. No call waits.
class ClaimMutex
{
public:
    enum class Outcome { Claimed, ClaimedAbandoned, HeldElsewhere, Failed };

    ClaimMutex() = default;
    ~ClaimMutex() { release(); }
    ClaimMutex(const ClaimMutex&) = delete;
    ClaimMutex& operator=(const ClaimMutex&) = delete;

    /// name with its namespace: "Local\..." for the user's session. Failed: error() is CreateMutexW's.
    [[nodiscard]] Outcome take(const std::wstring& name);
    void release();
    [[nodiscard]] unsigned long error() const { return m_error; }

    /// Process id of the one that holds the mutex, 0 when it cannot be read, nothing when nobody does. An
    /// owner closes the mutex when it gives it up, and a mutex that nobody has open is gone: that one exists
    /// is enough to tell, without taking it from under someone who claims it.
    [[nodiscard]] static std::optional<unsigned long> holder(const std::wstring& name);

private:
    void publishOwner(const std::wstring& name);

    void* m_mutex = nullptr;
    void* m_mapping = nullptr;
    long* m_owner = nullptr; ///< in the mapping; written by interlocked calls
    unsigned long m_error = 0;
};

} // namespace vt::windows
