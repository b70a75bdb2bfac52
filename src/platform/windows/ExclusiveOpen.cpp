// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ExclusiveOpen.h"

#include <QDir>
#include <fcntl.h>
#include <io.h>
#include <system_error>
#include <windows.h>

namespace vt::platform {

namespace {

/// The result for a call that failed with code; closes handle.
ExclusiveOpenResult failure(const char* call, DWORD code, HANDLE handle)
{
    if (handle != INVALID_HANDLE_VALUE)
        ::CloseHandle(handle);
    ExclusiveOpenResult result;
    result.outcome = ExclusiveOpenResult::Outcome::Failed;
    result.failedCall = QString::fromLatin1(call);
    result.errorKind = QStringLiteral("Win32 error");
    result.errorCode = code;
    result.errorText = QString::fromLocal8Bit(std::system_category().message(static_cast<int>(code)).c_str());
    return result;
}

} // namespace

ExclusiveOpenResult openExclusive(const QString& path)
{
    // OPEN_ALWAYS and a truncation of its own: a sharing violation fails before anything is changed, and a
    // hidden file can be reused, which CREATE_ALWAYS refuses.
    const std::wstring name = QDir::toNativeSeparators(path).toStdWString();
    const HANDLE handle = ::CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                        OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        ExclusiveOpenResult result = failure("CreateFileW", ::GetLastError(), INVALID_HANDLE_VALUE);
        if (result.errorCode == ERROR_SHARING_VIOLATION)
            result.outcome = ExclusiveOpenResult::Outcome::InUse;
        return result;
    }
    if (::GetFileType(handle) != FILE_TYPE_DISK) {
        ExclusiveOpenResult result = failure("CreateFileW", ERROR_BAD_FILE_TYPE, handle);
        result.errorText = QStringLiteral("not a regular file");
        return result;
    }
    if (!::SetEndOfFile(handle))
        return failure("SetEndOfFile", ::GetLastError(), handle);

    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDWR | _O_BINARY);
    if (descriptor < 0)
        return failure("_open_osfhandle", ERROR_TOO_MANY_OPEN_FILES, handle);

    ExclusiveOpenResult result;
    result.outcome = ExclusiveOpenResult::Outcome::Opened;
    result.descriptor = descriptor;
    return result;
}

} // namespace vt::platform
