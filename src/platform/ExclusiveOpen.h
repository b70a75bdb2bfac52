// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt::platform {

/// What became of an attempt to open a file for writing by one writer only.
struct ExclusiveOpenResult
{
    enum class Outcome {
        Opened, ///< descriptor is valid and belongs to the caller
        InUse,  ///< another writer, of this process or another, has the file; it was left untouched
        Failed
    };
    Outcome outcome = Outcome::Failed;
    int descriptor = -1; ///< of the C run-time, read and write, at position 0 of the file
    QString failedCall;  ///< the system call that failed
    QString errorKind;   ///< what errorCode is: "errno" or "Win32 error"
    qint64 errorCode = 0;
    QString errorText; ///< the system's words for errorCode
};

/// What becomes of the content that a file has when it is opened.
enum class ExclusiveOpenMode { EmptyFile, KeepContent };

/// Creates or opens the regular file at path and keeps other writers out until the descriptor is closed.
/// Readers are let in. Anything but a regular file (folder, pipe, device) fails, and so does a file system
/// that cannot lock. A file in use is tried again for 20 ms: another instance may only have looked at it
/// (isHeldByWriter). The descriptor is not inherited by child processes. Any thread; may block on the disk.
[[nodiscard]] ExclusiveOpenResult openExclusive(const QString& path,
                                                ExclusiveOpenMode mode = ExclusiveOpenMode::EmptyFile);

} // namespace vt::platform
