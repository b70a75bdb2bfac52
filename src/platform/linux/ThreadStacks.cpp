// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/ThreadStacks.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>
#include <unwind.h>

namespace vt::crash {

namespace {

constexpr long AnswerWithinNs = 100'000'000;
constexpr std::size_t HandlerFrames = 16; ///< at most so many before the interrupted one

int stackSignal() noexcept
{
    return SIGRTMAX - 1;
}

enum Request : int { None, Asked, Walking, Answered };
std::atomic<int> request{None};
std::atomic<pid_t> askedThread{0};
Stack answer;
static_assert(sizeof request == sizeof(int) && std::atomic<int>::is_always_lock_free);

long futex(int operation, int value, const timespec* timeout) noexcept
{
    return ::syscall(SYS_futex, &request, operation, value, timeout, nullptr, 0);
}

pid_t currentThread() noexcept
{
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

struct Walk
{
    Stack* stack;
    std::uintptr_t from;
    std::size_t skipped;
};

_Unwind_Reason_Code takeFrame(_Unwind_Context* context, void* argument) noexcept
{
    Walk& walk = *static_cast<Walk*>(argument);
    const std::uintptr_t address = _Unwind_GetIP(context);
    Stack& stack = *walk.stack;
    if (stack.count == 0 && address != walk.from)
        return ++walk.skipped < HandlerFrames ? _URC_NO_REASON : _URC_NORMAL_STOP;
    if (stack.count > 0 && address == 0)
        return _URC_NORMAL_STOP;
    if (stack.count == stack.frames.size())
        return _URC_NORMAL_STOP;
    stack.frames[stack.count++] = address;
    return _URC_NO_REASON;
}

void answerRequest(int, siginfo_t*, void* context)
{
    const int savedErrno = errno;
    int expected = Asked;
    if (askedThread.load() == currentThread() && request.compare_exchange_strong(expected, Walking)) {
        walkInterrupted(answer, programCounterOf(context));
        request = Answered;
        futex(FUTEX_WAKE_PRIVATE, INT_MAX, nullptr);
    }
    errno = savedErrno;
}

/// Returns when the request has left that state, or after the time.
void waitWhile(int state) noexcept
{
    const timespec limit{0, AnswerWithinNs};
    while (request.load() == state)
        if (futex(FUTEX_WAIT_PRIVATE, state, &limit) != 0 && errno == ETIMEDOUT)
            return;
}

} // namespace

std::uintptr_t programCounterOf(const void* context) noexcept
{
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(machine.gregs[REG_RIP]);
#elif defined(__aarch64__)
    return machine.pc;
#else
    return static_cast<void>(machine), 0;
#endif
}

std::uintptr_t stackPointerOf(const void* context) noexcept
{
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    return static_cast<std::uintptr_t>(machine.gregs[REG_RSP]);
#elif defined(__aarch64__)
    return machine.sp;
#else
    return static_cast<void>(machine), 0;
#endif
}

void walkInterrupted(Stack& stack, std::uintptr_t programCounter) noexcept
{
    stack.count = 0;
    Walk walk{&stack, programCounter, 0};
    _Unwind_Backtrace(&takeFrame, &walk);
    if (stack.count == 0)
        stack.frames[stack.count++] = programCounter;
}

bool prepareStackWalk()
{
    static Stack ignored;
    walkInterrupted(ignored, 1); // an address that is never met: walks over everything
    struct sigaction action
    {};
    action.sa_sigaction = &answerRequest;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_RESTART;
    sigemptyset(&action.sa_mask);
    return sigaction(stackSignal(), &action, nullptr) == 0;
}

OtherThreads::OtherThreads() noexcept
    : m_folder(::open("/proc/self/task", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
{}

OtherThreads::~OtherThreads()
{
    if (m_folder >= 0)
        ::close(m_folder);
}

pid_t OtherThreads::next() noexcept
{
    // struct linux_dirent64: inode 8, offset 8, record length 2, type 1, name
    constexpr std::size_t lengthAt = 16;
    constexpr std::size_t nameAt = 19;
    for (;;) {
        if (m_place >= m_filled) {
            const long count = ::syscall(SYS_getdents64, m_folder, m_entries.data(), m_entries.size());
            if (count <= 0)
                return 0;
            m_filled = static_cast<std::size_t>(count);
            m_place = 0;
        }
        unsigned short length = 0;
        std::memcpy(&length, m_entries.data() + m_place + lengthAt, sizeof length);
        pid_t thread = 0;
        for (const char* digit = m_entries.data() + m_place + nameAt; *digit >= '0' && *digit <= '9'; ++digit)
            thread = thread * 10 + (*digit - '0');
        m_place += length;
        if (thread != 0 && thread != currentThread())
            return thread;
    }
}

const Stack* OtherThreads::stackOf(pid_t thread) noexcept
{
    int free = None;
    askedThread = thread;
    if (!request.compare_exchange_strong(free, Asked))
        return nullptr; // an earlier thread hangs in its walk
    const bool sent = ::syscall(SYS_tgkill, ::getpid(), thread, stackSignal()) == 0;
    if (sent)
        waitWhile(Asked);
    int expected = Asked;
    if (request.compare_exchange_strong(expected, None))
        return nullptr;
    waitWhile(Walking);
    expected = Answered;
    return request.compare_exchange_strong(expected, None) ? &answer : nullptr;
}

} // namespace vt::crash
