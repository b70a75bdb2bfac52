// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/CrashHandler.h"

#include "base/CivilTime.h"
#include "platform/windows/plain/CrashReport.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <algorithm>
#include <array>
#include <cwchar>

#include <qt_windows.h>

namespace vt::CrashHandler {

namespace {

crash::WidePath reportProgram{};
Notice noticeWanted = Notice::StandardError;

void copyPath(crash::WidePath& to, const QString& path)
{
    const std::wstring native = QDir::toNativeSeparators(path).toStdWString();
    const std::size_t length = std::min(native.size(), to.size() - 1);
    std::copy_n(native.begin(), length, to.begin());
    to[length] = L'\0';
}

bool startBox(const wchar_t* path, const char* typeName)
{
    static std::array<wchar_t, 3 * crash::PathRoom> command{};
    if (std::swprintf(command.data(), command.size(), L"\"%ls\" --box \"%ls\" \"%hs\"", reportProgram.data(),
                      path, typeName) < 0)
        return false;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(reportProgram.data(), command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return false;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return true;
}

void writeNotice(const wchar_t* path, const char* typeName)
{
    std::array<char, 3 * crash::PathRoom> narrow{};
    WideCharToMultiByte(CP_UTF8, 0, path, -1, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                        nullptr);
    FixedText<4095> text;
    text.add("Application crashed!\nCrash log saved to:\n")
        .add(path[0] == L'\0' ? "(not saved)" : narrow.data());
    text.add("\n\nException: ").add(typeName).add('\n');
    DWORD count = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.view().data(), static_cast<DWORD>(text.view().size()),
              &count, nullptr);
}

/// In the dying process, on the thread that wrote the report.
void tell(const wchar_t* path, const char* typeName)
{
    if (noticeWanted == Notice::StandardError || !startBox(path, typeName))
        writeNotice(path, typeName);
}

} // namespace

bool install(const Options& options)
{
    noticeWanted = options.notice;
    copyPath(reportProgram,
             options.reportProgram.isEmpty()
                 ? QCoreApplication::applicationDirPath() + QStringLiteral("/vellumtide-crash-report.exe")
                 : options.reportProgram);
    noteUtcOffset(QDateTime::currentDateTime().offsetFromUtc());
    crash::Settings settings;
    copyPath(settings.folder, options.folder);
    settings.flushLog = options.flushLog;
    settings.tell = &tell;
    if (crash::install(settings))
        return true;
    qWarning("CrashHandler: the system refused the handler, error: %lu", GetLastError());
    return false;
}

void prepareThread()
{
    if (!crash::keepStackForFilter())
        qWarning("CrashHandler: no stack kept back for this thread, error: %lu", GetLastError());
}

void noteUtcOffset(int secondsEastOfUtc)
{
    crash::setUtcOffset(secondsEastOfUtc);
}

const char* systemName()
{
    return "Windows";
}

} // namespace vt::CrashHandler
