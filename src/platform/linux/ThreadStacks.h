// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <sys/types.h>

namespace vt::crash {

/// Return addresses of one thread, innermost first.
struct Stack
{
    std::array<std::uintptr_t, 100> frames{};
    std::size_t count = 0;
};

/// Where a signal handler's context was interrupted; 0 on a processor that is not known here.
[[nodiscard]] std::uintptr_t programCounterOf(const void* context) noexcept;
[[nodiscard]] std::uintptr_t stackPointerOf(const void* context) noexcept;

/// Fills in the calling thread's stack from the interrupted place on, inside a signal handler. Takes no lock
/// and allocates nothing once prepareStackWalk() has run. Where the stack has been smashed, the walk itself
/// may fault: then it ends, with the frames that it has.
void walkInterrupted(Stack& stack, std::uintptr_t programCounter) noexcept;
/// For the handler of SIGSEGV and SIGBUS, first of all: ends the walk that the calling thread is in, and then
/// does not return; else does nothing.
void leaveWalk() noexcept;

/// Walks once, so that the unwinder is loaded and bound, and installs the signal that asks a thread for its
/// stack. False when the system refused.
[[nodiscard]] bool prepareStackWalk();

/// Asks the other threads of the process, one after the other. The threads go on; memory of its own, one
/// caller.
class OtherThreads
{
public:
    OtherThreads() noexcept;
    ~OtherThreads();
    OtherThreads(const OtherThreads&) = delete;
    OtherThreads& operator=(const OtherThreads&) = delete;

    /// Id of the next thread that is not the calling one; 0 at the end.
    [[nodiscard]] pid_t next() noexcept;
    /// Its stack, or null when it has not answered in time: it holds signals back, or the kernel holds it.
    /// Valid until the next call. A thread that answers too late does not keep others from being asked.
    [[nodiscard]] static const Stack* stackOf(pid_t thread) noexcept;

private:
    int m_folder;
    std::array<char, 2048> m_entries{};
    std::size_t m_filled = 0;
    std::size_t m_place = 0;
};

} // namespace vt::crash
