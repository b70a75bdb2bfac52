// SPDX-License-Identifier: GPL-3.0-or-later
// Dies in the way that its first argument names; the second is the folder for the report, the third the
// program that annotates it.
#include "platform/CrashHandler.h"
#include "session/LogManager.h"

#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <map>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

#define VT_KEPT __attribute__((noinline))

extern "C" void* __libc_malloc(std::size_t size) noexcept;

namespace {

/// Held for ever by whoever dies with it: a handler that allocates then hangs.
std::atomic<bool> allocatorHeld{false};
std::binary_semaphore threadRuns(0);

void keepInPlace()
{
    asm("" ::: "memory");
}

} // namespace

// In place of the library's, so that a test can hold it.
extern "C" void* malloc(std::size_t size) noexcept
{
    while (allocatorHeld.load(std::memory_order_relaxed))
        std::this_thread::yield();
    return __libc_malloc(size);
}

VT_KEPT void readWhereNothingIs(const int* place)
{
    const int value = *place;
    asm("" ::"r"(value));
}

VT_KEPT void writeWhereNothingIs(int* place)
{
    *place = 1;
    keepInPlace();
}

VT_KEPT void divideByZero(int divisor)
{
    const int quotient = 7 / divisor;
    asm("" ::"r"(quotient));
}

VT_KEPT void callNothing(void (*function)())
{
    function();
    keepInPlace();
}

VT_KEPT void runIllegalInstruction()
{
    asm("ud2");
}

VT_KEPT int useUpTheStack(int depth)
{
    char room[1000];
    std::memset(room, depth, sizeof room);
    asm("" ::"r"(room) : "memory");
    return depth < 0 ? depth : useUpTheStack(depth + 1) + room[depth % 10];
}

VT_KEPT void throwWithoutCatch()
{
    throw std::runtime_error("nobody catches this");
}

VT_KEPT void giveUp()
{
    std::abort();
}

/// Leads whoever walks the stack from here to nowhere: the frame is found by a register that is spoilt.
VT_KEPT void smashTheStack(std::size_t bytes)
{
    asm("" ::"r"(__builtin_alloca(bytes)) : "memory");
    asm("mov $16, %rbp\n\tmovl $1, 64");
}

VT_KEPT void waitOnASmashedStack(std::size_t bytes)
{
    asm("" ::"r"(__builtin_alloca(bytes)) : "memory");
    threadRuns.release();
    asm("mov $16, %rbp\n1:\n\tpause\n\tjmp 1b");
}

VT_KEPT void waitForEver()
{
    threadRuns.release();
    for (;;)
        ::pause();
}

namespace {

// Out of the compiler's sight, which would make a trap of what it can see.
std::atomic<std::uintptr_t> badAddress{64};
std::atomic<int> zero{0};
std::atomic<void (*)()> nothing{nullptr};

int* nowhere()
{
    return reinterpret_cast<int*>(badAddress.load());
}

void dieHoldingTheAllocator()
{
    allocatorHeld = true;
    writeWhereNothingIs(nowhere());
}

void logForEver()
{
    for (;;)
        qDebug("a line of another thread");
}

/// The other thread holds the log's lock every now and then; this one leaves lines that are not written yet.
void dieWithQueuedLines()
{
    std::thread(&logForEver).detach();
    for (int i = 0; i < 2000; ++i)
        qDebug("queued line %d", i);
    writeWhereNothingIs(nowhere());
}

void onAnotherThread(void (*function)())
{
    std::thread([function] {
        vt::CrashHandler::prepareThread();
        function();
    }).join();
}

std::atomic<std::size_t> someBytes{100};

void dieOnASmashedStack()
{
    std::thread([] { waitOnASmashedStack(someBytes); }).detach();
    threadRuns.acquire();
    std::thread(&waitForEver).detach(); // comes later in the report than the one above
    threadRuns.acquire();
    smashTheStack(someBytes);
}

QString reportFolder;

/// The main function returns while another thread's report is being written.
void endWhileDying()
{
    std::thread([] { writeWhereNothingIs(nowhere()); }).detach();
    while (QDir(reportFolder).isEmpty(QDir::Files))
        std::this_thread::yield();
}

/// Files may not grow beyond that, as on a full disk.
void dieWithoutRoom(rlim_t bytes)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit full{bytes, bytes};
    if (setrlimit(RLIMIT_FSIZE, &full) == 0)
        writeWhereNothingIs(nowhere());
}

struct DiesOfItsText : std::exception
{
    const char* what() const noexcept override
    {
        writeWhereNothingIs(nowhere());
        return "";
    }
};

const std::map<std::string, void (*)()> ways{
    {"read", [] { readWhereNothingIs(nowhere()); }},
    {"write", [] { writeWhereNothingIs(nowhere()); }},
    {"divide", [] { divideByZero(zero); }},
    {"call", [] { callNothing(nothing); }},
    {"illegal", [] { runIllegalInstruction(); }},
    {"overflow", [] { useUpTheStack(zero); }},
    {"thread-overflow", [] { onAnotherThread([] { useUpTheStack(zero); }); }},
    {"exception", [] { throwWithoutCatch(); }},
    {"thread-exception", [] { onAnotherThread([] { throwWithoutCatch(); }); }},
    {"abort", [] { giveUp(); }},
    {"allocator", [] { dieHoldingTheAllocator(); }},
    {"log", [] { dieWithQueuedLines(); }},
    {"smashed", &dieOnASmashedStack},
    {"end", &endWhileDying},
    {"full", [] { dieWithoutRoom(0); }},
    {"almost-full", [] { dieWithoutRoom(100); }},
    {"what", [] { throw DiesOfItsText(); }},
    {"fatal", [] { qFatal("the last words"); }},
};

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    if (argc != 4 || !ways.contains(argv[1]))
        return 2;
    vt::LogManager::Options options;
    options.dataFolder = QString::fromLocal8Bit(argv[2]);
    options.applicationName = QStringLiteral("Crashing");
    options.crashNotice = vt::CrashHandler::Notice::MessageBox; // standard error is written to all the same
    options.crashReportProgram = QString::fromLocal8Bit(argv[3]);
    const vt::LogManager log(options);
    reportFolder = log.crashFolder();
    std::thread(&waitForEver).detach();
    threadRuns.acquire();
    ways.at(argv[1])();
    return 0;
}
