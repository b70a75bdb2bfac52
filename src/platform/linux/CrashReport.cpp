// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/linux/CrashReport.h"

#include "platform/linux/ModuleTable.h"
#include "platform/linux/ThreadStacks.h"

#include <bit>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <ucontext.h>
#include <unistd.h>

namespace vt::crash {

namespace {

constexpr std::uintptr_t NearStackBytes = std::uintptr_t{64} << 10;
constexpr std::string_view Rule = "========================================\n";

constexpr std::uint32_t AccessViolation = 0xC0000005;
constexpr std::uint32_t InPageError = 0xC0000006;
constexpr std::uint32_t Misalignment = 0x80000002;
constexpr std::uint32_t IntegerDivision = 0xC0000094;
constexpr std::uint32_t FloatDivision = 0xC000008E;
constexpr std::uint32_t StackOverflow = 0xC00000FD;
constexpr std::uint32_t IllegalInstruction = 0xC000001D;
constexpr std::uint32_t ProgramEndedItself = 0x40000015;

ModuleTable modules;

using Line = FixedText<1023>;

/// Lines of the report on their way to the disk; each is written at once, in case the next is never reached.
class Output
{
public:
    explicit Output(int descriptor) noexcept : m_descriptor(descriptor) {}
    ~Output() { ::close(m_descriptor); }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void put(std::string_view text) noexcept
    {
        while (!text.empty()) {
            const ssize_t count = ::write(m_descriptor, text.data(), text.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count <= 0) {
                const bool full = count < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG);
                m_saved = full ? Saved::PartDiskFull : Saved::Part;
                return;
            }
            m_isEmpty = false;
            text.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    void put(const Line& line) noexcept { put(line.view()); }
    [[nodiscard]] Saved saved() const noexcept { return m_isEmpty ? Saved::Nothing : m_saved; }

private:
    int m_descriptor;
    Saved m_saved = Saved::Whole;
    bool m_isEmpty = true;
};

int openNew(ReportPath& path) noexcept
{
    return ::open(path.text(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
}

int openReport(const ReportOptions& options, const CivilTime& time, ReportPath& path) noexcept
{
    path.clear();
    path.add(options.folder).add("/crash_").addTimeForName(time).add(".txt");
    int descriptor = openNew(path);
    if (descriptor < 0 && errno == EEXIST) { // another process, in the same second
        path.clear();
        path.add(options.folder).add("/crash_").addTimeForName(time).add('_');
        path.addDigits(::getpid(), 1).add(".txt");
        descriptor = openNew(path);
    }
    if (descriptor < 0)
        path.clear();
    return descriptor;
}

Access accessOf(const siginfo_t& info, const void* context) noexcept
{
    if (info.si_code == SI_KERNEL) // no page fault: the processor does not say what was accessed
        return Access::Unknown;
#if defined(__x86_64__)
    constexpr greg_t writeBit = 2;
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
    return (machine.gregs[REG_ERR] & writeBit) != 0 ? Access::Write : Access::Read;
#else
    return static_cast<void>(context), Access::Unknown;
#endif
}

bool isNear(std::uintptr_t address, std::uintptr_t place) noexcept
{
    return address + NearStackBytes >= place && address <= place + NearStackBytes;
}

void describeMemoryFault(Fault& fault, const siginfo_t& info, const void* context) noexcept
{
    fault.access = accessOf(info, context);
    fault.accessAddress = fault.access == Access::Unknown && info.si_code == SI_KERNEL
                              ? ~std::uintptr_t{0}
                              : reinterpret_cast<std::uintptr_t>(info.si_addr);
    // What lies around the stack pointer is mapped unless the stack has run out: into its guard page, or
    // below the main thread's limit. (An instruction fetched from the stack itself is another matter.)
    if (isNear(fault.accessAddress, stackPointerOf(context)) && fault.accessAddress != fault.address) {
        fault.code = StackOverflow;
        fault.typeName = "Stack Overflow";
        fault.access = Access::None;
        return;
    }
    fault.code = AccessViolation;
    fault.typeName = "Access Violation";
}

void putHead(Output& output, const Fault& fault, const ReportOptions& options, const CivilTime& time) noexcept
{
    Line line;
    line.add("Application crashed at: ").addTime(time).add(" UTC").addUtcOffset(options.utcOffsetSeconds);
    line.add("\nException code: 0x").addHex(fault.code);
    line.add("\nException address: 0x").addHex(fault.address);
    line.add("\nException type: ").add(fault.typeName).add('\n');
    if (fault.access != Access::None) {
        line.add("Access type: ");
        line.add(fault.access == Access::Read ? "Read" : fault.access == Access::Write ? "Write" : "Unknown");
        line.add("\nAddress: 0x").addHex(fault.accessAddress).add('\n');
    }
    output.put(line);
    line.clear();
    if (!options.uncaught.empty())
        line.add("Uncaught exception: ").add(options.uncaught).add('\n');
    else if (fault.typeName == "Unknown")
        line.add("Signal: ").addDigits(fault.signal, 1).add('\n');
    output.put(line);
}

void putFrames(Output& output, const Stack& stack) noexcept
{
    for (std::size_t i = 0; i < stack.count; ++i) {
        const std::uintptr_t address = stack.frames[i];
        const ModuleTable::Module* module = modules.find(address);
        Line line;
        line.add("Frame ").addNumber(i).add(": 0x").addHex(address).add(" [");
        line.add(module ? module->path.view() : "?").add("] + 0x");
        line.addHex(module ? address - module->base : address).add('\n');
        output.put(line);
    }
}

/// A call through a bad pointer leads nowhere that could be walked from; who called is on top of the stack.
void addCaller(Stack& stack, std::uintptr_t stackPointer) noexcept
{
    std::uintptr_t caller = 0;
    const iovec here{&caller, sizeof caller};
    const iovec there{std::bit_cast<void*>(stackPointer), sizeof caller};
    // Unlike a plain read, this one may fail.
    if (::process_vm_readv(::getpid(), &here, 1, &there, 1, 0) == sizeof caller && modules.find(caller))
        stack.frames[stack.count++] = caller;
}

void putDyingThread(Output& output, const Fault& fault) noexcept
{
    static Stack stack;
    Line line;
    line.add(Rule).add("CRASHING THREAD (ID: ").addNumber(static_cast<std::uint64_t>(::syscall(SYS_gettid)));
    line.add(")\n");
    output.put(line);
    walkInterrupted(stack, fault.address);
    if (stack.count == 1 && !modules.find(fault.address))
        addCaller(stack, fault.stackPointer);
    putFrames(output, stack);
}

void putOtherThreads(Output& output) noexcept
{
    constexpr std::int64_t longestMs = 3000;
    const std::int64_t begin = wallClockMs();
    Line line;
    output.put(line.add('\n').add(Rule).add("ALL THREADS\n"));
    OtherThreads threads;
    while (const pid_t thread = threads.next()) {
        line.clear();
        output.put(line.add("\n--- Thread ID: ").addDigits(thread, 1).add(" ---\n"));
        const Stack* stack = wallClockMs() - begin < longestMs ? OtherThreads::stackOf(thread) : nullptr;
        if (stack)
            putFrames(output, *stack);
        else
            output.put("(Could not open thread)\n");
    }
}

} // namespace

Fault faultOf(int signal, const siginfo_t& info, const void* context) noexcept
{
    Fault fault;
    fault.signal = signal;
    fault.address = programCounterOf(context);
    fault.stackPointer = stackPointerOf(context);
    fault.code = ProgramEndedItself;
    if (info.si_code <= 0) // sent by a process: kill() and the like, abort() among them
        return fault;
    if (signal == SIGSEGV) {
        describeMemoryFault(fault, info, context);
    } else if (signal == SIGBUS) {
        fault.code = info.si_code == BUS_ADRALN ? Misalignment : InPageError;
        fault.typeName = info.si_code == BUS_ADRALN ? "Datatype Misalignment" : "Unknown";
    } else if (signal == SIGFPE) {
        const bool integer = info.si_code == FPE_INTDIV || info.si_code == FPE_INTOVF;
        fault.code = integer ? IntegerDivision : FloatDivision;
        fault.typeName = integer ? "Integer Divide by Zero" : "Float Divide by Zero";
    } else if (signal == SIGILL) {
        fault.code = IllegalInstruction;
        fault.typeName = "Illegal Instruction";
    }
    return fault;
}

Saved writeReport(const Fault& fault, const ReportOptions& options, ReportPath& path) noexcept
{
    const CivilTime time = CivilTime::from(wallClockMs(), options.utcOffsetSeconds);
    const int descriptor = openReport(options, time, path);
    if (descriptor < 0) {
        if (options.flushLog)
            options.flushLog();
        return Saved::Nothing;
    }
    Output output(descriptor);
    putHead(output, fault, options, time);
    if (options.flushLog)
        options.flushLog();
    modules.read();
    const ModuleTable::Module* module = modules.find(fault.address);
    Line line;
    output.put(line.add("Crashing module: ").add(module ? module->path.view() : "?").add("\n\n"));
    putDyingThread(output, fault);
    putOtherThreads(output);
    if (options.flushLog)
        options.flushLog(); // what a slow disk did not take at first
    if (output.saved() == Saved::Nothing) {
        ::unlink(path.text()); // or it would push the report of another crash out
        path.clear();
    }
    return output.saved();
}

} // namespace vt::crash
