// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/DebuggerOutput.h"

#include <QString>

#include <qt_windows.h>

namespace vt {

std::size_t DebuggerOutput::write(std::string_view text)
{
    const QString wide = QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
    OutputDebugStringW(reinterpret_cast<const wchar_t*>(wide.utf16()));

    HANDLE error = GetStdHandle(STD_ERROR_HANDLE);
    DWORD mode = 0;
    DWORD count = 0;
    if (GetConsoleMode(error, &mode))
        WriteConsoleW(error, wide.utf16(), static_cast<DWORD>(wide.size()), &count, nullptr);
    else if (GetFileType(error) == FILE_TYPE_DISK)
        WriteFile(error, text.data(), static_cast<DWORD>(text.size()), &count, nullptr);
    return text.size();
}

void DebuggerOutput::waitForRoom(int) {}

} // namespace vt
