// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/CrashReport.h"

#include "base/CivilTime.h"
#include "platform/windows/plain/CrashStacks.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string_view>
#include <tlhelp32.h>

namespace vt::crash {

namespace {

constexpr DWORD ReportWithinMs = 30'000;
constexpr DWORD LongestDeathMs = 40'000;         ///< report and notice
constexpr DWORD LanguageException = 0xE06D7363;  // a C++ exception
constexpr DWORD ProgramEndedItself = 0x40000015; // STATUS_FATAL_APP_EXIT
constexpr ULONG StackForFilterBytes = 64 * 1024;
constexpr std::string_view Rule = "========================================\n";

std::array<Settings, 2> settings; ///< two, so that a change never shows halfway
std::atomic<std::size_t> settingsInUse{0};
std::atomic<int> utcOffsetSeconds{0};

HANDLE crashed = nullptr;  ///< event: facts are set
HANDLE reported = nullptr; ///< event: report and notice are done
DWORD reporterThread = 0;

/// Of the first thread that crashed; written once.
struct Facts
{
    EXCEPTION_RECORD record{};
    CONTEXT context{};
    DWORD thread = 0;
    FixedText<511> uncaught;
};
Facts facts;
std::atomic<DWORD> dyingThread{0};
std::atomic<bool> told{false};
WidePath reportPath{};

using Line = FixedText<4095>;

class Output
{
public:
    explicit Output(HANDLE file) : m_file(file) {}
    ~Output() { CloseHandle(m_file); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void put(std::string_view text)
    {
        DWORD count = 0;
        const bool written = WriteFile(m_file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
        m_isEmpty = m_isEmpty && count == 0;
        if (!written || count < text.size())
            m_saved = GetLastError() == ERROR_DISK_FULL ? Saved::PartDiskFull : Saved::Part;
    }
    void put(const Line& line) { put(line.view()); }
    [[nodiscard]] Saved saved() const { return m_isEmpty ? Saved::Nothing : m_saved; }

private:
    HANDLE m_file;
    Saved m_saved = Saved::Whole;
    bool m_isEmpty = true;
};

void addWide(Line& line, const wchar_t* text)
{
    std::array<char, 3 * PathRoom> narrow{};
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                            nullptr))
        line.add(narrow.data());
}

/// Never one that exists: another instance may have died in the same second.
HANDLE openNew(std::string_view name, WidePath& path)
{
    const WidePath& folder = settings[settingsInUse.load()].folder;
    std::size_t length = wcsnlen(folder.data(), folder.size());
    if (length + name.size() >= path.size())
        return INVALID_HANDLE_VALUE;
    std::memcpy(path.data(), folder.data(), length * sizeof(wchar_t));
    for (const char letter : name)
        path[length++] = static_cast<wchar_t>(letter);
    path[length] = L'\0';
    HANDLE file = CreateFileW(path.data(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                              CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        path[0] = L'\0';
    return file;
}

HANDLE openReport(const CivilTime& time, WidePath& path)
{
    FixedText<63> name;
    name.add("\\crash_").addTimeForName(time);
    FixedText<63> another = name;
    HANDLE file = openNew(name.add(".txt").view(), path);
    if (file == INVALID_HANDLE_VALUE && GetLastError() == ERROR_FILE_EXISTS)
        file = openNew(another.add('_').addNumber(GetCurrentProcessId()).add(".txt").view(), path);
    return file;
}

void putHead(Output& output, const CivilTime& time)
{
    const EXCEPTION_RECORD& record = facts.record;
    Line line;
    line.add("Application crashed at: ").addTime(time).add(" UTC").addUtcOffset(utcOffsetSeconds.load());
    line.add("\nException code: 0x").addHex(record.ExceptionCode);
    line.add("\nException address: 0x").addHex(reinterpret_cast<std::uintptr_t>(record.ExceptionAddress));
    line.add("\nException type: ").add(nameOf(record.ExceptionCode)).add("\n");
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
        line.add("Access type: ").add(record.ExceptionInformation[0] == 1 ? "Write" : "Read");
        line.add("\nAddress: 0x").addHex(record.ExceptionInformation[1]).add("\n");
    }
    if (!facts.uncaught.view().empty())
        line.add("Uncaught exception: ").add(facts.uncaught.view()).add("\n");
    output.put(line);
}

/// What is known without debug help, which may wait for a lock that a thread holds for ever: the code that
/// the top of the stack points to, and where its module begins.
void putCodeOnStack(Output& output)
{
    constexpr std::size_t words = 512;
    static std::array<std::uintptr_t, words> top;
#if defined(__aarch64__) || defined(_M_ARM64)
    const DWORD64 stackPointer = facts.context.Sp;
#else
    const DWORD64 stackPointer = facts.context.Rsp;
#endif
    SIZE_T read = 0;
    ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(stackPointer), top.data(),
                      sizeof top, &read);
    output.put("Code addresses on the stack:");
    for (std::size_t i = 0; i < read / sizeof top[0]; ++i) {
        MEMORY_BASIC_INFORMATION place{};
        constexpr DWORD code = PAGE_EXECUTE | PAGE_EXECUTE_READ | PAGE_EXECUTE_READWRITE;
        if (!VirtualQuery(reinterpret_cast<const void*>(top[i]), &place, sizeof place) ||
            place.Type != MEM_IMAGE || (place.Protect & code) == 0)
            continue;
        const auto base = reinterpret_cast<std::uintptr_t>(place.AllocationBase);
        Line line;
        output.put(line.add(" 0x").addHex(base).add("+0x").addHex(top[i] - base));
    }
    output.put("\n");
}

void putFrames(Output& output, const Stack& stack)
{
    for (std::size_t i = 0; i < stack.count; ++i) {
        static Place place;
        describe(stack.frames[i], i, place);
        Line line;
        line.add("Frame ").addNumber(i).add(": 0x").addHex(stack.frames[i]).add(" [");
        addWide(line, place.module.data());
        line.add("] + 0x").addHex(place.offset);
        if (place.function[0] != L'\0') {
            line.add(' ');
            addWide(line, place.function.data());
        }
        if (place.file[0] != L'\0') {
            line.add(" (");
            addWide(line, place.file.data());
            line.add(':').addNumber(place.line).add(')');
        }
        output.put(line.add("\n"));
    }
}

void putDyingThread(Output& output)
{
    static Place place;
    describe(reinterpret_cast<std::uintptr_t>(facts.record.ExceptionAddress), 0, place);
    Line line;
    line.add("Crashing module: ");
    addWide(line, place.module.data());
    line.add("\n\n").add(Rule).add("CRASHING THREAD (ID: ").addNumber(facts.thread).add(")\n");
    output.put(line);
    HANDLE thread = OpenThread(THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, facts.thread);
    static Stack stack;
    walk(thread ? thread : GetCurrentThread(), facts.context, stack);
    if (thread)
        CloseHandle(thread);
    putFrames(output, stack);
}

/// Addresses are collected while the thread is held, and named when it goes on: it may hold what naming
/// needs.
void putThread(Output& output, DWORD id)
{
    Line line;
    output.put(line.add("\n--- Thread ID: ").addNumber(id).add(" ---\n"));
    static Stack stack;
    stack.count = 0;
    HANDLE thread =
        OpenThread(THREAD_SUSPEND_RESUME | THREAD_GET_CONTEXT | THREAD_QUERY_INFORMATION, FALSE, id);
    if (thread && SuspendThread(thread) != static_cast<DWORD>(-1)) {
        CONTEXT context{};
        context.ContextFlags = CONTEXT_FULL;
        if (GetThreadContext(thread, &context))
            walk(thread, context, stack);
        ResumeThread(thread);
    }
    if (thread)
        CloseHandle(thread);
    if (stack.count > 0)
        putFrames(output, stack);
    else
        output.put("(Could not open thread)\n");
}

void putOtherThreads(Output& output)
{
    Line line;
    output.put(line.add("\n").add(Rule).add("ALL THREADS\n"));
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return;
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
        const bool other = entry.th32ThreadID != facts.thread && entry.th32ThreadID != GetCurrentThreadId();
        if (entry.th32OwnerProcessID == GetCurrentProcessId() && other)
            putThread(output, entry.th32ThreadID);
    }
    CloseHandle(snapshot);
}

void tell(Saved saved)
{
    const Settings& own = settings[settingsInUse.load()];
    if (own.tell && !told.exchange(true))
        own.tell(reportPath.data(), saved, nameOf(facts.record.ExceptionCode));
}

Saved writeReport()
{
    const Settings& own = settings[settingsInUse.load()];
    const CivilTime time = CivilTime::from(wallClockMs(), utcOffsetSeconds.load());
    HANDLE file = openReport(time, reportPath);
    if (file == INVALID_HANDLE_VALUE) {
        if (own.flushLog)
            own.flushLog();
        return Saved::Nothing;
    }
    Output output(file);
    putHead(output, time);
    if (own.flushLog)
        own.flushLog();
    // Before "Crashing module", which asks the debug help already: if that hangs, this line is all that is
    // left.
    putCodeOnStack(output);
    loadSymbols();
    putDyingThread(output);
    putOtherThreads(output);
    if (own.flushLog)
        own.flushLog(); // what a slow disk did not take at first
    if (output.saved() == Saved::Nothing)
        DeleteFileW(reportPath.data()); // or it would push the report of another crash out
    return output.saved();
}

DWORD WINAPI runReporter(void*)
{
    WaitForSingleObject(crashed, INFINITE);
    tell(writeReport());
    SetEvent(reported);
    return 0;
}

/// True for the first thread that dies; the facts are then its own to fill in. Another one stays here, unless
/// it is the reporter, whose fault ends the process at once.
bool takeTurn()
{
    DWORD nobody = 0;
    if (dyingThread.compare_exchange_strong(nobody, GetCurrentThreadId()))
        return true;
    if (GetCurrentThreadId() != reporterThread)
        holdWhileDying();
    return false;
}

void haveReported()
{
    facts.thread = GetCurrentThreadId();
    SetEvent(crashed);
    if (WaitForSingleObject(reported, ReportWithinMs) != WAIT_OBJECT_0)
        tell(reportPath[0] == L'\0' ? Saved::Nothing : Saved::Part);
}

LONG WINAPI filterUnhandled(EXCEPTION_POINTERS* exception)
{
    if (takeTurn()) {
        facts.record = *exception->ExceptionRecord;
        facts.context = *exception->ContextRecord;
        haveReported();
    }
    return EXCEPTION_EXECUTE_HANDLER; // ends the process with the exception's code, without a box of the
                                      // system's
}

/// For an end that is no exception of the processor's.
[[noreturn]] void dieHere(DWORD code)
{
    if (takeTurn()) {
        RtlCaptureContext(&facts.context);
        facts.record.ExceptionCode = code;
#if defined(__x86_64__) || defined(_M_X64)
        facts.record.ExceptionAddress = reinterpret_cast<void*>(facts.context.Rip);
#endif
        haveReported();
    }
    TerminateProcess(GetCurrentProcess(), code);
    std::_Exit(EXIT_FAILURE);
}

void handleAbort(int)
{
    dieHere(ProgramEndedItself);
}

[[noreturn]] void handleTerminate()
{
    FixedText<511> text;
    if (const std::exception_ptr escaped = std::current_exception()) {
        try {
            std::rethrow_exception(escaped);
        } catch (const std::exception& exception) {
            text.add('"').add(exception.what()).add('"');
        } catch (...) {
            text.add("(no text)");
        }
    }
    if (dyingThread.load() == 0)
        facts.uncaught = text;
    dieHere(text.view().empty() ? ProgramEndedItself : LanguageException);
}

void handlePureCall()
{
    dieHere(ProgramEndedItself);
}

#if defined(_MSC_VER) || defined(_UCRT)
constexpr DWORD InvalidRuntimeParameter = 0xC0000417;

/// In place of the runtime's own, which ends the process without a word. (An older runtime goes on.)
void handleInvalidParameter(const wchar_t*, const wchar_t*, const wchar_t*, unsigned, std::uintptr_t)
{
    dieHere(InvalidRuntimeParameter);
}
#endif

bool startReporter()
{
    crashed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    reported = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (!crashed || !reported)
        return false;
    HANDLE thread = CreateThread(nullptr, 0, &runReporter, nullptr, 0, &reporterThread);
    if (!thread)
        return false;
    CloseHandle(thread);
    return true;
}

} // namespace

const char* nameOf(DWORD code)
{
    switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
        return "Access Violation";
    case EXCEPTION_DATATYPE_MISALIGNMENT:
        return "Datatype Misalignment";
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
        return "Array Bounds Exceeded";
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
        return "Float Divide by Zero";
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
        return "Integer Divide by Zero";
    case EXCEPTION_STACK_OVERFLOW:
        return "Stack Overflow";
    case EXCEPTION_ILLEGAL_INSTRUCTION:
        return "Illegal Instruction";
    default:
        return "Unknown";
    }
}

bool install(const Settings& fresh)
{
    const std::size_t next = 1 - settingsInUse.load();
    settings[next] = fresh;
    settingsInUse = next;
    static bool installed = false;
    if (installed)
        return true;
    if (!startReporter())
        return false;
    SetUnhandledExceptionFilter(&filterUnhandled);
    std::signal(SIGABRT, &handleAbort);
    _set_purecall_handler(&handlePureCall);
#if defined(_MSC_VER) || defined(_UCRT)
    _set_invalid_parameter_handler(&handleInvalidParameter);
#endif
    std::atexit(&holdWhileDying);
    installed = true;
    return prepareThread();
}

bool prepareThread()
{
    if (reporterThread != 0)
        std::set_terminate(&handleTerminate);
    ULONG bytes = StackForFilterBytes;
    return SetThreadStackGuarantee(&bytes) != 0;
}

void holdWhileDying()
{
    const DWORD dying = dyingThread.load();
    if (dying != 0 && dying != GetCurrentThreadId() && GetCurrentThreadId() != reporterThread)
        WaitForSingleObject(GetCurrentProcess(), LongestDeathMs);
}

void setUtcOffset(int seconds)
{
    utcOffsetSeconds = seconds;
}

} // namespace vt::crash
