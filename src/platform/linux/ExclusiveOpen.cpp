// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ExclusiveOpen.h"
#include "platform/ShortRetry.h"

#include <QFile>
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vt::platform {

namespace {

/// The result for a call that failed with code; closes descriptor.
ExclusiveOpenResult failure(const char* call, int code, int descriptor)
{
    if (descriptor >= 0)
        ::close(descriptor);
    ExclusiveOpenResult result;
    result.outcome = ExclusiveOpenResult::Outcome::Failed;
    result.failedCall = QString::fromLatin1(call);
    result.errorKind = QStringLiteral("errno");
    result.errorCode = code;
    result.errorText = QString::fromStdString(std::generic_category().message(code));
    return result;
}

ExclusiveOpenResult openOnce(const QString& path, ExclusiveOpenMode mode)
{
    // Without O_TRUNC: a file that someone else is writing must not lose its content. O_NONBLOCK and
    // O_NOCTTY only matter for what is refused below, a pipe or a terminal.
    const QByteArray name = QFile::encodeName(path);
    const int descriptor =
        ::open(name.constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0666);
    if (descriptor < 0)
        return failure("open", errno, -1);

    struct stat status = {};
    if (::fstat(descriptor, &status) != 0)
        return failure("fstat", errno, descriptor);
    if (!S_ISREG(status.st_mode)) {
        ExclusiveOpenResult result = failure("open", EINVAL, descriptor);
        result.errorText = QStringLiteral("not a regular file");
        return result;
    }
    if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        ExclusiveOpenResult result = failure("flock", errno, descriptor);
        if (result.errorCode == EWOULDBLOCK)
            result.outcome = ExclusiveOpenResult::Outcome::InUse;
        return result;
    }
    if (mode == ExclusiveOpenMode::EmptyFile && ::ftruncate(descriptor, 0) != 0)
        return failure("ftruncate", errno, descriptor);

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
