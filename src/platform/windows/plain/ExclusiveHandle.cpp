// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/windows/plain/ExclusiveHandle.h"

#include <windows.h>

namespace vt::windows {

namespace {

ExclusiveHandle failure(const char* call, DWORD error, HANDLE handle)
{
    if (handle != INVALID_HANDLE_VALUE)
        ::CloseHandle(handle);
    ExclusiveHandle result;
    result.failedCall = call;
    result.error = error;
    return result;
}

} // namespace

ExclusiveHandle openExclusiveHandle(const wchar_t* path, FileContent content)
{
    // OPEN_ALWAYS and a truncation of its own: a sharing violation fails before anything is changed, and a
    // hidden file can be reused, which CREATE_ALWAYS refuses.
    const HANDLE handle = ::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        ExclusiveHandle result = failure("CreateFileW", ::GetLastError(), INVALID_HANDLE_VALUE);
        result.inUse = result.error == ERROR_SHARING_VIOLATION;
        return result;
    }
    if (::GetFileType(handle) != FILE_TYPE_DISK)
        return failure("CreateFileW", ERROR_BAD_FILE_TYPE, handle);
    if (content == FileContent::Emptied && !::SetEndOfFile(handle))
        return failure("SetEndOfFile", ::GetLastError(), handle);
    ExclusiveHandle result;
    result.handle = handle;
    return result;
}

} // namespace vt::windows
