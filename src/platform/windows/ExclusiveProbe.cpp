// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ExclusiveProbe.h"

#include <qt_windows.h>

namespace vt::platform {

bool isHeldByWriter(const QString& path)
{
    // Keeps a writer out for the moment that it takes; openExclusive() puts up with it.
    const HANDLE handle =
        CreateFileW(reinterpret_cast<const wchar_t*>(path.utf16()), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return GetLastError() == ERROR_SHARING_VIOLATION;
    CloseHandle(handle);
    return false;
}

} // namespace vt::platform
