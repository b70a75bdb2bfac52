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
constexpr DWORD LanguageException = 0xE06D7363;  // a C++ exception
constexpr DWORD ProgramEndedItself = 0x40000015; // STATUS_FATAL_APP_EXIT
constexpr ULONG StackForFilterBytes = 64 * 1024;
constexpr std::string_view Rule = "========================================\r\n";

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
std::atomic<bool> taken{false};

using Line = FixedText<4095>;

class Output
{
public:
    explicit Output(HANDLE file) : m_file(file) {}
    ~Output() { CloseHandle(m_file); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void put(std::string_view text) const
    {
        DWORD count = 0;
        WriteFile(m_file, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
    }
    void put(const Line& line) const { put(line.view()); }

private:
    HANDLE m_file;
};

void addWide(Line& line, const wchar_t* text)
{
    std::array<char, 3 * PathRoom> narrow{};
    if (WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                            nullptr))
        line.add(narrow.data());
}

HANDLE openReport(const CivilTime& time, WidePath& path)
{
    FixedText<31> name;
    name.add("\\crash_").addTimeForName(time).add(".txt");
    const WidePath& folder = settings[settingsInUse.load()].folder;
    std::size_t length = wcsnlen(folder.data(), folder.size());
    if (length + name.view().size() >= path.size())
        return INVALID_HANDLE_VALUE;
    std::memcpy(path.data(), folder.data(), length * sizeof(wchar_t));
    for (const char letter : name.view())
        path[length++] = static_cast<wchar_t>(letter);
    path[length] = L'\0';
    HANDLE file = CreateFileW(path.data(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        path[0] = L'\0';
    return file;
}

void putHead(const Output& output, const CivilTime& time)
{
    const EXCEPTION_RECORD& record = facts.record;
    Line line;
    line.add("Application crashed at: ").addTime(time).add(" UTC").addUtcOffset(utcOffsetSeconds.load());
    line.add("\r\nException code: 0x").addHex(record.ExceptionCode);
    line.add("\r\nException address: 0x").addHex(reinterpret_cast<std::uintptr_t>(record.ExceptionAddress));
    line.add("\r\nException type: ").add(nameOf(record.ExceptionCode)).add("\r\n");
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2) {
        line.add("Access type: ").add(record.ExceptionInformation[0] == 1 ? "Write" : "Read");
        line.add("\r\nAddress: 0x").addHex(record.ExceptionInformation[1]).add("\r\n");
    }
    if (!facts.uncaught.view().empty())
        line.add("Uncaught exception: ").add(facts.uncaught.view()).add("\r\n");
    output.put(line);
}

void putFrames(const Output& output, const Stack& stack)
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
        output.put(line.add("\r\n"));
    }
}

void putDyingThread(const Output& output)
{
    static Place place;
    describe(reinterpret_cast<std::uintptr_t>(facts.record.ExceptionAddress), 0, place);
    Line line;
    line.add("Crashing module: ");
    addWide(line, place.module.data());
    line.add("\r\n\r\n").add(Rule).add("CRASHING THREAD (ID: ").addNumber(facts.thread).add(")\r\n");
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
void putThread(const Output& output, DWORD id)
{
    Line line;
    output.put(line.add("\r\n--- Thread ID: ").addNumber(id).add(" ---\r\n"));
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
        output.put("(Could not open thread)\r\n");
}

void putOtherThreads(const Output& output)
{
    Line line;
    output.put(line.add("\r\n").add(Rule).add("ALL THREADS\r\n"));
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

void report()
{
    const Settings& own = settings[settingsInUse.load()];
    static WidePath path;
    const CivilTime time = CivilTime::from(wallClockMs(), utcOffsetSeconds.load());
    HANDLE file = openReport(time, path);
    if (file == INVALID_HANDLE_VALUE) {
        if (own.flushLog)
            own.flushLog();
    } else {
        const Output output(file);
        putHead(output, time);
        if (own.flushLog)
            own.flushLog();
        loadSymbols();
        putDyingThread(output);
        putOtherThreads(output);
    }
    if (own.tell)
        own.tell(path.data(), nameOf(facts.record.ExceptionCode));
}

DWORD WINAPI runReporter(void*)
{
    WaitForSingleObject(crashed, INFINITE);
    report();
    SetEvent(reported);
    return 0;
}

/// True for the first thread that dies; the facts are then its own to fill in. Another one stays here, unless
/// it is the reporter, whose fault ends the process at once.
bool takeTurn()
{
    if (!taken.exchange(true))
        return true;
    if (GetCurrentThreadId() == reporterThread)
        return false;
    WaitForSingleObject(GetCurrentProcess(), INFINITE);
    return false;
}

void haveReported()
{
    facts.thread = GetCurrentThreadId();
    SetEvent(crashed);
    WaitForSingleObject(reported, ReportWithinMs);
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
    if (!taken.load())
        facts.uncaught = text;
    dieHere(text.view().empty() ? ProgramEndedItself : LanguageException);
}

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
    if (!startReporter() || !keepStackForFilter())
        return false;
    SetUnhandledExceptionFilter(&filterUnhandled);
    std::signal(SIGABRT, &handleAbort);
    std::set_terminate(&handleTerminate);
    installed = true;
    return true;
}

bool keepStackForFilter()
{
    ULONG bytes = StackForFilterBytes;
    return SetThreadStackGuarantee(&bytes) != 0;
}

void setUtcOffset(int seconds)
{
    utcOffsetSeconds = seconds;
}

} // namespace vt::crash
