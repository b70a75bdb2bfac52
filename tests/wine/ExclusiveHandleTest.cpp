// SPDX-License-Identifier: GPL-3.0-or-later
// sources: src/platform/windows/plain/ExclusiveHandle.cpp
#include "platform/windows/plain/ExclusiveHandle.h"
#include "Child.h"
#include "Report.h"

#include <string>
#include <windows.h>

namespace {

using vt::test::Child;
using vt::test::Report;
using vt::windows::ExclusiveHandle;
using vt::windows::FileContent;
using vt::windows::openExclusiveHandle;

constexpr wchar_t Path[] = L"exclusive.bin";
constexpr DWORD Opened = 10;
constexpr DWORD InUse = 11;
constexpr DWORD Failed = 12;

/// What another process is told about the file.
DWORD outcomeHere()
{
    const ExclusiveHandle file = openExclusiveHandle(Path, FileContent::Emptied);
    if (file.handle)
        return Opened;
    return file.inUse ? InUse : Failed;
}

std::string content()
{
    const HANDLE reader = ::CreateFileW(Path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (reader == INVALID_HANDLE_VALUE)
        return "no reader let in";
    char bytes[64] = {};
    DWORD size = 0;
    ::ReadFile(reader, bytes, sizeof(bytes), &size, nullptr);
    ::CloseHandle(reader);
    return {bytes, size};
}

void write(HANDLE file, const char* text)
{
    DWORD written = 0;
    ::WriteFile(file, text, static_cast<DWORD>(std::string(text).size()), &written, nullptr);
}

void oneWriter()
{
    Report report("exclusive open");
    ::DeleteFileW(Path);
    ExclusiveHandle file = openExclusiveHandle(Path, FileContent::Emptied);
    if (!report.check(file.handle != nullptr, "not opened"))
        return;
    write(file.handle, "first");
    report.equal(Child(L"open").exitCode(), InUse, "another writer");
    report.check(content() == "first", "a reader sees: " + content());
    ::CloseHandle(file.handle);

    file = openExclusiveHandle(Path, FileContent::Kept);
    report.check(content() == "first", "kept content: " + content());
    write(file.handle, "FI");
    report.check(content() == "FIrst", "written from position 0: " + content());
    ::CloseHandle(file.handle);
    report.equal(Child(L"open").exitCode(), Opened, "another writer later");
    report.check(content().empty(), "emptied content: " + content());
    ::DeleteFileW(Path);
}

void noRegularFile()
{
    Report report("exclusive open of what is no file");
    for (const wchar_t* path : {L".", L"NUL", L"no\\such\\file"}) {
        const ExclusiveHandle file = openExclusiveHandle(path, FileContent::Emptied);
        report.check(!file.handle && !file.inUse && file.failedCall && file.error != 0, "opened");
    }
}

} // namespace

int main(int argc, char**)
{
    if (argc > 1)
        return static_cast<int>(outcomeHere());
    oneWriter();
    noRegularFile();
    return Report::exitCode();
}
