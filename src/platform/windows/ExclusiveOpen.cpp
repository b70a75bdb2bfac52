// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ExclusiveOpen.h"
#include "platform/ShortRetry.h"
#include "platform/windows/plain/ExclusiveHandle.h"

#include <QDir>
#include <fcntl.h>
#include <io.h>
#include <system_error>

#include <qt_windows.h>

namespace vt::platform {

namespace {

ExclusiveOpenResult failure(const char* call, unsigned long code)
{
    ExclusiveOpenResult result;
    result.outcome = ExclusiveOpenResult::Outcome::Failed;
    result.failedCall = QString::fromLatin1(call);
    result.errorKind = QStringLiteral("Win32 error");
    result.errorCode = code;
    result.errorText = QString::fromLocal8Bit(std::system_category().message(static_cast<int>(code)).c_str());
    return result;
}

ExclusiveOpenResult openOnce(const QString& path, ExclusiveOpenMode mode)
{
    const std::wstring name = QDir::toNativeSeparators(path).toStdWString();
    const windows::ExclusiveHandle opened = windows::openExclusiveHandle(
        name.c_str(),
        mode == ExclusiveOpenMode::EmptyFile ? windows::FileContent::Emptied : windows::FileContent::Kept);
    if (!opened.handle) {
        ExclusiveOpenResult result = failure(opened.failedCall, opened.error);
        if (opened.inUse)
            result.outcome = ExclusiveOpenResult::Outcome::InUse;
        if (opened.error == ERROR_BAD_FILE_TYPE)
            result.errorText = QStringLiteral("not a regular file");
        return result;
    }
    const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(opened.handle), _O_RDWR | _O_BINARY);
    if (descriptor < 0) {
        ::CloseHandle(opened.handle);
        return failure("_open_osfhandle", ERROR_TOO_MANY_OPEN_FILES);
    }
    ExclusiveOpenResult result;
    result.outcome = ExclusiveOpenResult::Outcome::Opened;
    result.descriptor = descriptor;
    return result;
}

} // namespace

ExclusiveOpenResult openExclusive(const QString& path, ExclusiveOpenMode mode)
{
    return openDespiteProbes([&] { return openOnce(path, mode); });
}

} // namespace vt::platform
