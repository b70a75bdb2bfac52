// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/ThreadStacks.h"

#include <atomic>
#include <cerrno>
#include <climits>
#include <csetjmp>
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

/// One question to one thread. Who walks too long keeps it, and the next thread is asked with another.
struct Question
{
    enum State : int { None, Asked, Walking, Answered };
    std::atomic<int> state{None};
    std::atomic<pid_t> thread{0};
    Stack answer;
};
constexpr std::size_t MostQuestions = 16;
std::array<Question, MostQuestions> questions;
static_assert(sizeof(std::atomic<int>) == sizeof(int) && std::atomic<int>::is_always_lock_free);

/// Where a walk that faults goes on.
struct WayOut
{
    std::atomic<pid_t> thread{0}; ///< the walking one; 0: nobody
    sigjmp_buf place{};
};
std::array<WayOut, MostQuestions + 1> waysOut; // the dying thread walks, too

long futex(std::atomic<int>& word, int operation, int value, const timespec* timeout) noexcept
{
    return ::syscall(SYS_futex, &word, operation, value, timeout, nullptr, 0);
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

WayOut* wayOutFor(pid_t thread) noexcept
{
    for (WayOut& way : waysOut) {
        pid_t nobody = 0;
        if (way.thread.compare_exchange_strong(nobody, thread))
            return &way;
    }
    return nullptr;
}

void setFaultsBlocked(int how, sigset_t* before) noexcept
{
    sigset_t faults;
    sigemptyset(&faults);
    sigaddset(&faults, SIGSEGV);
    sigaddset(&faults, SIGBUS);
    pthread_sigmask(how, &faults, before);
}

void walkWithWayOut(WayOut& way, Walk& walk) noexcept
{
    sigset_t before;
    setFaultsBlocked(SIG_UNBLOCK, &before);
    if (sigsetjmp(way.place, 0) == 0)
        _Unwind_Backtrace(&takeFrame, &walk);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void answerRequest(int, siginfo_t*, void* context)
{
    const int savedErrno = errno;
    for (Question& question : questions) {
        int expected = Question::Asked;
        if (question.thread.load() != currentThread() ||
            !question.state.compare_exchange_strong(expected, Question::Walking))
            continue;
        walkInterrupted(question.answer, programCounterOf(context));
        question.state = Question::Answered;
        futex(question.state, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr);
    }
    errno = savedErrno;
}

/// Returns when the question has left that state, or after the time.
void waitWhile(Question& question, int state) noexcept
{
    const timespec limit{0, AnswerWithinNs};
    while (question.state.load() == state)
        if (futex(question.state, FUTEX_WAIT_PRIVATE, state, &limit) != 0 && errno == ETIMEDOUT)
            return;
}

/// Null when as many threads as that hang in their walks.
Question* nextQuestion() noexcept
{
    for (Question& question : questions) {
        int late = Question::Answered;
        question.state.compare_exchange_strong(late, Question::None);
        if (question.state.load() == Question::None)
            return &question;
    }
    return nullptr;
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
    if (WayOut* way = wayOutFor(currentThread())) {
        walkWithWayOut(*way, walk);
        way->thread = 0;
    }
    if (stack.count == 0)
        stack.frames[stack.count++] = programCounter;
}

void leaveWalk() noexcept
{
    for (WayOut& way : waysOut)
        if (way.thread.load() == currentThread())
            siglongjmp(way.place, 1);
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
    Question* question = nextQuestion();
    if (!question)
        return nullptr;
    question->thread = thread;
    question->state = Question::Asked;
    if (::syscall(SYS_tgkill, ::getpid(), thread, stackSignal()) == 0)
        waitWhile(*question, Question::Asked);
    int expected = Question::Asked;
    if (question->state.compare_exchange_strong(expected, Question::None))
        return nullptr;
    waitWhile(*question, Question::Walking);
    return question->state.load() == Question::Answered ? &question->answer : nullptr;
}

} // namespace vt::crash
