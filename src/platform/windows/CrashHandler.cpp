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
#include <string_view>

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

using ReportName = FixedText<4095>; ///< as the user is told it, in UTF-8

void nameReport(ReportName& name, const wchar_t* path, crash::Saved saved)
{
    std::array<char, 3 * crash::PathRoom> narrow{};
    WideCharToMultiByte(CP_UTF8, 0, path, -1, narrow.data(), static_cast<int>(narrow.size()), nullptr,
                        nullptr);
    name.add(saved == crash::Saved::Nothing ? "(not saved)" : narrow.data());
    if (saved == crash::Saved::PartDiskFull)
        name.add(" (incomplete: disk full)");
    else if (saved == crash::Saved::Part)
        name.add(" (incomplete)");
}

void startBox(ReportName& name, const char* typeName)
{
    static std::array<wchar_t, 4096> wideName{};
    static std::array<wchar_t, 3 * crash::PathRoom + wideName.size()> command{};
    if (MultiByteToWideChar(CP_UTF8, 0, name.text(), -1, wideName.data(),
                            static_cast<int>(wideName.size())) == 0 ||
        std::swprintf(command.data(), command.size(), L"\"%ls\" --box \"%ls\" \"%hs\"", reportProgram.data(),
                      wideName.data(), typeName) < 0)
        return;
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(reportProgram.data(), command.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS,
                        nullptr, nullptr, &startup, &process))
        return;
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

void writeNotice(std::string_view name, const char* typeName)
{
    FixedText<4351> text;
    text.add("Application crashed!\nCrash log saved to:\n").add(name);
    text.add("\n\nException: ").add(typeName).add('\n');
    DWORD count = 0;
    WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.view().data(), static_cast<DWORD>(text.view().size()),
              &count, nullptr);
}

/// In the dying process, on the thread that wrote the report, or on the one that dies.
void tell(const wchar_t* path, crash::Saved saved, const char* typeName)
{
    static ReportName name;
    nameReport(name, path, saved);
    if (noticeWanted != Notice::StandardError) // the other name is a macro of Windows
        startBox(name, typeName);
    writeNotice(name.view(), typeName); // last: a console may hold it
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
    if (!crash::prepareThread())
        qWarning("CrashHandler: no stack kept back for this thread, error: %lu", GetLastError());
}

void holdWhileDying()
{
    crash::holdWhileDying();
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
