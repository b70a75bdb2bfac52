// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/CrashProgram.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <poll.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vt::crash {

namespace {

constexpr unsigned FirstInherited =
    3; ///< descriptors from here on hold locks and devices of the dying program
constexpr int ExecFailed = 127;

alignas(16) std::array<std::byte, std::size_t{64} << 10> childStack;
std::atomic<bool> started{false};

/// Runs in the memory of the dying process, which is held until the program is loaded.
int runProgram(void* argument) noexcept
{
    const auto* arguments = static_cast<char* const*>(argument);
#ifdef SYS_close_range
    ::syscall(SYS_close_range, FirstInherited, ~0U, 0U);
#endif
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    started = true;
    ::execve(arguments[0], arguments, environ);
    started = false;
    ::_exit(ExecFailed);
}

} // namespace

int startProgram(const char* const* arguments) noexcept
{
    if (::access(arguments[0], X_OK) != 0)
        return -1;
    // As vfork() does, with a stack of the child's own.
    const int child = ::clone(&runProgram, childStack.data() + childStack.size(),
                              CLONE_VM | CLONE_VFORK | SIGCHLD, const_cast<char**>(arguments));
    return child > 0 && started.load() ? child : -1;
}

void waitForProgram(int child, int timeoutMs) noexcept
{
    constexpr int stepMs = 5;
    const timespec step{0, 1'000'000L * stepMs};
    for (int waitedMs = 0; waitedMs < timeoutMs; waitedMs += stepMs) {
        const pid_t ended = ::waitpid(child, nullptr, WNOHANG);
        if (ended == child || (ended < 0 && errno != EINTR))
            return;
        ::ppoll(nullptr, 0, &step, nullptr);
    }
}

} // namespace vt::crash
