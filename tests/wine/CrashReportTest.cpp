// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/CrashReport.cpp src/platform/windows/plain/CrashStacks.cpp
// libraries: dbghelp
// Starts itself as a child that dies, and reads the report that the child has left.
#include "platform/windows/plain/CrashReport.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <windows.h>

namespace {

struct Way
{
    const char* name;
    DWORD exitCode;
    std::array<const char*, 4> lines; ///< each of which the report holds
};

constexpr std::array<Way, 8> ways{{
    {"read",
     0xC0000005,
     {"Exception code: 0xC0000005\n", "Exception type: Access Violation\n", "Access type: Read\n",
      "Address: 0x40\n"}},
    {"write",
     0xC0000005,
     {"Exception type: Access Violation\n", "Access type: Write\n", "Address: 0x40\n", ""}},
    {"divide",
     0xC0000094,
     {"Exception code: 0xC0000094\n", "Exception type: Integer Divide by Zero\n", "", ""}},
    {"illegal",
     0xC000001D,
     {"Exception code: 0xC000001D\n", "Exception type: Illegal Instruction\n", "", ""}},
    {"overflow", 0xC00000FD, {"Exception code: 0xC00000FD\n", "Exception type: Stack Overflow\n", "", ""}},
    {"end",
     0xC0000005,
     {"Exception type: Access Violation\n", "Access type: Write\n", "Code addresses on the stack: 0x", ""}},
    {"abort", 0x40000015, {"Exception code: 0x40000015\n", "Exception type: Unknown\n", "", ""}},
    {"exception",
     0xE06D7363,
     {"Exception code: 0xE06D7363\n", "Uncaught exception: \"nobody catches this\"\n", "", ""}},
}};

DWORD WINAPI waitForEver(void*)
{
    WaitForSingleObject(GetCurrentProcess(), INFINITE);
    return 0;
}

__attribute__((noinline)) int useUpTheStack(int depth)
{
    char room[1000];
    asm("" ::"r"(room) : "memory");
    const int deeper = depth < 0 ? depth : useUpTheStack(depth + 1);
    asm("" ::"r"(room) : "memory"); // the room is in use until here
    return deeper;
}

__attribute__((noinline)) void die(const std::string& way, int* place, int zero)
{
    if (way == "read")
        zero = *place;
    else if (way == "write")
        *place = zero;
    else if (way == "divide")
        zero = 7 / zero;
    else if (way == "illegal")
        asm("ud2");
    else if (way == "overflow")
        zero = useUpTheStack(zero);
    else if (way == "abort")
        std::abort();
    else
        throw std::runtime_error("nobody catches this");
    asm("" ::"r"(zero) : "memory");
}

HANDLE dying = CreateEventW(nullptr, TRUE, FALSE, nullptr);

DWORD WINAPI dieOnAThread(void*)
{
    die("write", reinterpret_cast<int*>(std::uintptr_t{64}), 0);
    return 0;
}

int runChild(const std::string& way, const std::string& folder)
{
    vt::crash::Settings settings;
    MultiByteToWideChar(CP_ACP, 0, folder.c_str(), -1, settings.folder.data(),
                        static_cast<int>(settings.folder.size()));
    settings.flushLog = [] {
        std::puts("log flushed");
        SetEvent(dying);
    };
    settings.tell = [](const wchar_t* path, vt::crash::Saved saved, const char* type) {
        std::printf("told %ls %d %s\n", path, static_cast<int>(saved), type);
        std::fflush(stdout);
    };
    if (!vt::crash::install(settings))
        return 3;
    CloseHandle(CreateThread(nullptr, 0, &waitForEver, nullptr, 0, nullptr));
    if (way == "end") {
        CloseHandle(CreateThread(nullptr, 0, &dieOnAThread, nullptr, 0, nullptr));
        WaitForSingleObject(dying, INFINITE);
        return 0; // while the report is being written
    }
    die(way, reinterpret_cast<int*>(std::uintptr_t{64}), 0);
    return 0;
}

bool runsUnderWine()
{
    return GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version") != nullptr;
}

DWORD exitCodeOf(const std::string& self, const Way& way, const std::string& folder)
{
    std::string command = "\"" + self + "\" " + way.name + " \"" + folder + "\"";
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    DWORD code = 0;
    constexpr DWORD longestMs = 40'000;
    if (!CreateProcessA(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup,
                        &process))
        return code;
    if (WaitForSingleObject(process.hProcess, longestMs) == WAIT_OBJECT_0)
        GetExitCodeProcess(process.hProcess, &code);
    else
        TerminateProcess(process.hProcess, 1);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

/// Reads and removes the one report of the folder.
std::string takeReport(const std::string& folder)
{
    WIN32_FIND_DATAA found{};
    HANDLE search = FindFirstFileA((folder + "\\crash_????????_??????.txt").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE)
        return {};
    FindClose(search);
    const std::string path = folder + "\\" + found.cFileName;
    std::string text;
    {
        std::ifstream file(path, std::ios::binary);
        text.assign(std::istreambuf_iterator<char>(file), {});
    }
    DeleteFileA(path.c_str());
    return text;
}

std::string missingIn(const std::string& report, const Way& way)
{
    for (const char* line : way.lines)
        if (report.find(line) == std::string::npos)
            return line;
    const std::array<std::string, 6> always{"Application crashed at: ",
                                            "Crashing module: ",
                                            "\n" + std::string(40, '=') + "\nCRASHING THREAD (ID: ",
                                            "Frame 0: 0x",
                                            "ALL THREADS\n",
                                            "--- Thread ID: "};
    for (const std::string& piece : always)
        if (report.find(piece) == std::string::npos)
            return piece;
    const std::size_t others = report.find("ALL THREADS");
    if (report.find("Frame 1: 0x") > others)
        return "a second frame of the crashing thread";
    if (report.find("Frame 0: 0x", others) == std::string::npos)
        return "a frame of the other thread";
    return {};
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 3)
        return runChild(argv[1], argv[2]);
    std::array<char, MAX_PATH> folder{};
    GetTempPathA(static_cast<DWORD>(folder.size()), folder.data());
    std::string name = std::string(folder.data()) + "crash_report_test";
    CreateDirectoryA(name.c_str(), nullptr);
    int failures = 0;
    for (const Way& way : ways) {
        if (std::string(way.name) == "overflow" && runsUnderWine()) {
            std::printf(
                "not run CrashReport.overflow: wine ends the thread instead of raising the exception\n");
            continue;
        }
        const DWORD code = exitCodeOf(argv[0], way, name);
        const std::string report = takeReport(name);
        const std::string missing = report.empty() ? "the report" : missingIn(report, way);
        if (code == way.exitCode && missing.empty()) {
            std::printf("ok CrashReport.%s\n", way.name);
            continue;
        }
        ++failures;
        std::printf("FAILED CrashReport.%s: exit 0x%lX, missing: %s\n%s\n", way.name, code, missing.c_str(),
                    report.substr(0, 3000).c_str());
    }
    RemoveDirectoryA(name.c_str());
    return failures == 0 ? 0 : 1;
}
