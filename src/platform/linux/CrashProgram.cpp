// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/CrashProgram.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
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

struct Start
{
    char* const* arguments;
    Lifetime lifetime;
};

void detachFromTerminal() noexcept
{
    ::setsid();
    const int nowhere = ::open("/dev/null", O_RDWR);
    for (int standard = STDIN_FILENO; standard <= STDERR_FILENO && nowhere >= 0; ++standard)
        ::dup2(nowhere, standard);
    if (nowhere > STDERR_FILENO)
        ::close(nowhere);
}

/// What the dying program does on a signal is not to happen here.
void forgetHandlers() noexcept
{
    struct sigaction action
    {};
    action.sa_handler = SIG_DFL;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        sigaction(signal, &action, nullptr);
}

/// Runs in the memory of the dying process, which is held until the program is loaded.
int runProgram(void* argument) noexcept
{
    const Start& start = *static_cast<const Start*>(argument);
    forgetHandlers();
#ifdef SYS_close_range
    ::syscall(SYS_close_range, FirstInherited, ~0U, 0U);
#endif
    if (start.lifetime == Lifetime::Outlives)
        detachFromTerminal();
    started = true;
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr); // until here, all are held back
    ::execve(start.arguments[0], start.arguments, environ);
    started = false;
    ::_exit(ExecFailed);
}

} // namespace

int startProgram(const char* const* arguments, Lifetime lifetime) noexcept
{
    if (::access(arguments[0], X_OK) != 0)
        return -1;
    Start start{const_cast<char* const*>(arguments), lifetime};
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    started = false;
    // As vfork() does, with a stack of the child's own.
    const int child =
        ::clone(&runProgram, childStack.data() + childStack.size(), CLONE_VM | CLONE_VFORK | SIGCHLD, &start);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
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
