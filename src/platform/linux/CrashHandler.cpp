// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/CrashHandler.h"

#include "base/CivilTime.h"
#include "platform/DebuggerOutput.h"
#include "platform/linux/CrashProgram.h"
#include "platform/linux/CrashReport.h"
#include "platform/linux/ThreadStacks.h"

#include <QDateTime>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cxxabi.h>
#include <exception>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <typeinfo>
#include <unistd.h>

namespace vt::CrashHandler {

namespace {

constexpr std::array<int, 5> CrashSignals{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
#ifdef VELLUMTIDE_SANITIZED
constexpr bool LeftToSanitizer = true;
#else
constexpr bool LeftToSanitizer = false;
#endif
constexpr int ReportProgramWaitMs = 5000;
constexpr int ErrorOutputWaitMs = 1000;
constexpr unsigned LongestDeathSeconds = 30;

/// What a dying process reads. Two, so that a change never shows halfway.
struct Settings
{
    FixedText<1023> folder;
    FixedText<1023> reportProgram;
    Notice notice = Notice::StandardError;
    void (*flushLog)() = nullptr;
};
std::array<Settings, 2> settings;
std::atomic<std::size_t> settingsInUse{0};
std::atomic<int> utcOffsetSeconds{0};

std::atomic<pid_t> dyingThread{0};
std::atomic<pid_t> terminatingThread{0};
FixedText<1023> uncaughtException; ///< written by the terminating thread only

pid_t currentThread() noexcept
{
    return static_cast<pid_t>(::syscall(SYS_gettid));
}

/// Ends the process the way the signal would have without a handler.
void dieOf(int signal) noexcept
{
    struct sigaction action
    {};
    action.sa_handler = SIG_DFL;
    sigaction(signal, &action, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, signal);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::syscall(SYS_tgkill, ::getpid(), currentThread(), signal);
    constexpr int signalStatus = 128; // as shells number it
    ::_exit(signalStatus + signal);
}

/// A disk or terminal that hangs does not hold a dying process for ever: it is ended where it is then.
void limitDeath() noexcept
{
    struct sigaction action
    {};
    action.sa_handler = SIG_DFL;
    sigaction(SIGALRM, &action, nullptr);
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &one, nullptr);
    ::alarm(LongestDeathSeconds);
}

using ReportName = FixedText<1151>; ///< as the user is told it

void nameReport(ReportName& name, const crash::ReportPath& report, crash::Saved saved) noexcept
{
    if (saved == crash::Saved::Nothing)
        name.add("(not saved)");
    else
        name.add(report.view());
    if (saved == crash::Saved::PartDiskFull)
        name.add(" (incomplete: disk full)");
    else if (saved == crash::Saved::Part)
        name.add(" (incomplete)");
}

void writeNotice(std::string_view report, std::string_view exception) noexcept
{
    FixedText<2047> text;
    text.add("Application crashed!\nCrash log saved to:\n").add(report);
    text.add("\n\nException: ").add(exception).add('\n');
    // A terminal would hold a write for which it has too little room; the descriptor itself may be shared.
    const int terminal = ::isatty(STDERR_FILENO) != 0
                             ? ::open("/proc/self/fd/2", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC)
                             : -1;
    DebuggerOutput error(terminal >= 0 ? terminal : STDERR_FILENO);
    error.waitForRoom(ErrorOutputWaitMs);
    std::ignore = error.write(text.view()); // nobody is left to be told that nobody reads
}

/// Has names and lines added to the report, then tells the user.
void tell(Settings& own, crash::ReportPath& report, crash::Saved saved, std::string_view typeName) noexcept
{
    const char* program = own.reportProgram.text();
    if (saved != crash::Saved::Nothing) {
        const std::array<const char*, 4> annotate{program, "--annotate", report.text(), nullptr};
        if (const int child = crash::startProgram(annotate.data(), crash::Lifetime::Awaited); child > 0)
            crash::waitForProgram(child, ReportProgramWaitMs);
    }
    static ReportName name;
    nameReport(name, report, saved);
    if (own.notice == Notice::MessageBox) {
        FixedText<127> type;
        type.add(typeName);
        const std::array<const char*, 5> box{program, "--box", name.text(), type.text(), nullptr};
        std::ignore = crash::startProgram(box.data(), crash::Lifetime::Outlives);
    }
    writeNotice(name.view(), typeName);
}

void handleCrash(int signal, siginfo_t* info, void* context)
{
    crash::leaveWalk();
    pid_t nobody = 0;
    if (!dyingThread.compare_exchange_strong(nobody, currentThread())) {
        if (nobody == currentThread()) // a fault of the handler's own
            dieOf(signal);
        holdWhileDying();
    }
    limitDeath();
    static crash::ReportPath report;
    Settings& own = settings[settingsInUse.load()];
    crash::Fault fault = crash::faultOf(signal, *info, context);
    crash::ReportOptions options;
    options.folder = own.folder.text();
    options.utcOffsetSeconds = utcOffsetSeconds.load();
    options.flushLog = own.flushLog;
    // Another signal is a fault on the way from the exception to abort().
    if (signal == SIGABRT && terminatingThread.load() == currentThread()) {
        constexpr std::uint32_t languageException = 0xE06D7363; // the code of a C++ exception on Windows
        fault.code = languageException;
        options.uncaught = uncaughtException.view();
    }
    const crash::Saved saved = crash::writeReport(fault, options, report);
    tell(own, report, saved, fault.typeName);
    dieOf(signal);
}

/// Keeps what is known of the exception, then dies where the stack still shows who threw it. The type stays
/// in the compiler's spelling here, since spelling it out would allocate.
[[noreturn]] void handleTerminate()
{
    pid_t nobody = 0;
    if (terminatingThread.compare_exchange_strong(nobody, currentThread())) {
        const std::type_info* type = abi::__cxa_current_exception_type();
        uncaughtException.add(type ? type->name() : "none: std::terminate");
        try {
            if (type)
                throw;
        } catch (const std::exception& exception) {
            uncaughtException.add(" \"").add(exception.what()).add('"');
        } catch (...) {
            uncaughtException.add(" (no text)");
        }
    }
    std::abort();
}

/// A signal stack of the calling thread, with a page below it that faults.
class SignalStack
{
public:
    SignalStack()
    {
        const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        constexpr std::size_t room = std::size_t{128}
                                     << 10; // the unwinder needs about 10 kB, the report's lines 10 kB
        m_bytes = page + room;
        m_memory =
            ::mmap(nullptr, m_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
        if (m_memory == MAP_FAILED)
            return;
        ::mprotect(m_memory, page, PROT_NONE);
        stack_t stack{};
        stack.ss_sp = static_cast<std::byte*>(m_memory) + page;
        stack.ss_size = room;
        m_installed = ::sigaltstack(&stack, nullptr) == 0;
    }
    ~SignalStack()
    {
        if (m_installed) {
            stack_t none{};
            none.ss_flags = SS_DISABLE;
            ::sigaltstack(&none, nullptr);
        }
        if (m_memory != MAP_FAILED)
            ::munmap(m_memory, m_bytes);
    }
    SignalStack(const SignalStack&) = delete;
    SignalStack& operator=(const SignalStack&) = delete;

    [[nodiscard]] bool isInstalled() const { return m_installed; }

private:
    void* m_memory = MAP_FAILED;
    std::size_t m_bytes = 0;
    bool m_installed = false;
};

bool installHandlers()
{
    struct sigaction action
    {};
    action.sa_sigaction = &handleCrash;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    for (const int signal : CrashSignals)
        sigaddset(&action.sa_mask, signal); // a fault inside the handler ends the process at once
    const bool installed = std::all_of(CrashSignals.begin(), CrashSignals.end(), [&action](int signal) {
        return sigaction(signal, &action, nullptr) == 0;
    });
    std::set_terminate(&handleTerminate);
    return crash::prepareStackWalk() && installed;
}

void store(const Options& options)
{
    const QString self = QFileInfo(QStringLiteral("/proc/self/exe")).symLinkTarget();
    const QString program = options.reportProgram.isEmpty()
                                ? QFileInfo(self).path() + QStringLiteral("/vellumtide-crash-report")
                                : options.reportProgram;
    const std::size_t next = 1 - settingsInUse.load();
    Settings& fresh = settings[next];
    fresh.folder.clear();
    fresh.folder.add(QFile::encodeName(options.folder).toStdString());
    fresh.reportProgram.clear();
    fresh.reportProgram.add(QFile::encodeName(program).toStdString());
    fresh.notice = options.notice;
    fresh.flushLog = options.flushLog;
    settingsInUse = next;
}

} // namespace

bool install(const Options& options)
{
    store(options);
    noteUtcOffset(QDateTime::currentDateTime().offsetFromUtc());
    if constexpr (LeftToSanitizer) {
        qDebug("CrashHandler: crashes are left to the sanitizer");
        return false;
    }
    static bool installed = false;
    if (!installed) {
        prepareThread();
        installed = installHandlers();
        std::atexit(&holdWhileDying);
        if (!installed)
            qWarning("CrashHandler: the system refused the handlers, error: %d", errno);
    }
    return installed;
}

void prepareThread()
{
    if constexpr (LeftToSanitizer)
        return; // it has a signal stack of its own
    thread_local const SignalStack stack;
    if (!stack.isInstalled())
        qWarning("CrashHandler: no signal stack for this thread, error: %d", errno);
}

void holdWhileDying()
{
    const pid_t dying = dyingThread.load();
    while (dying != 0 && dying != currentThread())
        ::pause();
}

void noteUtcOffset(int secondsEastOfUtc)
{
    utcOffsetSeconds = secondsEastOfUtc;
}

const char* systemName()
{
    return "Linux";
}

} // namespace vt::CrashHandler
