// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <mutex>
#include <thread>

// Annotations that clang checks at compile time (-Wthread-safety); empty for other compilers.
#if defined(__clang__)
#define VT_ANNOTATE(x) __attribute__((x))
#else
#define VT_ANNOTATE(x)
#endif
#define VT_CAPABILITY(name) VT_ANNOTATE(capability(name))
#define VT_SCOPED_CAPABILITY VT_ANNOTATE(scoped_lockable)
#define VT_GUARDED_BY(mutex) VT_ANNOTATE(guarded_by(mutex))
#define VT_REQUIRES(...) VT_ANNOTATE(requires_capability(__VA_ARGS__))
#define VT_ACQUIRE(...) VT_ANNOTATE(acquire_capability(__VA_ARGS__))
#define VT_RELEASE(...) VT_ANNOTATE(release_capability(__VA_ARGS__))
#define VT_TRY_ACQUIRE(...) VT_ANNOTATE(try_acquire_capability(__VA_ARGS__))
#define VT_EXCLUDES(...) VT_ANNOTATE(locks_excluded(__VA_ARGS__))
#define VT_NO_THREAD_SAFETY_ANALYSIS VT_ANNOTATE(no_thread_safety_analysis)

namespace vt {

/// std::mutex whose use the compiler checks. Satisfies Lockable, so std::condition_variable_any and
/// std::unique_lock take it.
class VT_CAPABILITY("mutex") Mutex
{
public:
    void lock() VT_ACQUIRE() { m_mutex.lock(); }
    void unlock() VT_RELEASE() { m_mutex.unlock(); }
    [[nodiscard]] bool try_lock() VT_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

    /// Tries for up to the given time. Polls with yields instead of sleeping: meant for locks that are held
    /// for microseconds, by a caller that may not be descheduled for long.
    [[nodiscard]] bool tryLockFor(std::chrono::microseconds limit) VT_TRY_ACQUIRE(true)
    {
        if (m_mutex.try_lock())
            return true;
        const auto deadline = std::chrono::steady_clock::now() + limit;
        do {
            std::this_thread::yield();
            if (m_mutex.try_lock())
                return true;
        } while (std::chrono::steady_clock::now() < deadline);
        return false;
    }

private:
    std::mutex m_mutex;
};

/// Holds a Mutex for a scope.
class VT_SCOPED_CAPABILITY MutexLock
{
public:
    explicit MutexLock(Mutex& mutex) VT_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() VT_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

} // namespace vt
