// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/FileUtils.h"

#include "platform/ExclusiveOpen.h"

#include <QDebug>
#include <QFileInfo>

namespace vt::FileUtils {

OpenResult openExclusiveWrite(QFile& file, const QString& path, Content content)
{
    using Outcome = platform::ExclusiveOpenResult::Outcome;
    file.close();
    if (path.isEmpty()) {
        qWarning().noquote() << "FileUtils::openExclusiveWrite: empty file name";
        return OpenResult::Failed;
    }
    const platform::ExclusiveOpenResult opened =
        platform::openExclusive(path, content == Content::Append ? platform::ExclusiveOpenMode::KeepContent
                                                                 : platform::ExclusiveOpenMode::EmptyFile);
    if (opened.outcome == Outcome::InUse) {
        qWarning().noquote() << "FileUtils::openExclusiveWrite:" << path
                             << "is held by another process (ERROR_SHARING_VIOLATION)";
        return OpenResult::InUse;
    }
    if (opened.outcome == Outcome::Failed) {
        qWarning().noquote() << "FileUtils::openExclusiveWrite:" << opened.failedCall << "failed for" << path
                             << "with" << opened.errorKind << opened.errorCode;
        qWarning().noquote() << "FileUtils::openExclusiveWrite:" << opened.errorText;
        return OpenResult::Failed;
    }
    file.setFileName(path);
    QIODevice::OpenMode flags = QIODevice::ReadWrite | QIODevice::Unbuffered;
    if (content == Content::Replace)
        flags |= QIODevice::Truncate;
    if (!file.open(opened.descriptor, flags, QFileDevice::AutoCloseHandle)) {
        qWarning().noquote() << "FileUtils::openExclusiveWrite: QFile::open failed for" << path << "-"
                             << file.errorString();
        QFile closer; // takes the descriptor only to close it: there is no portable close
        if (!closer.open(opened.descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
            qWarning().noquote() << "FileUtils::openExclusiveWrite: descriptor of" << path << "not closed";
        return OpenResult::Failed;
    }
    if (content == Content::Append && !file.seek(file.size())) {
        qWarning().noquote() << "FileUtils::openExclusiveWrite: no end found in" << path << "-"
                             << file.errorString();
        file.close();
        return OpenResult::Failed;
    }
    return OpenResult::Opened;
}

bool isWriteProtected(const QString& path)
{
    const QFileInfo info(path);
    constexpr auto writeBits = QFileDevice::WriteOwner | QFileDevice::WriteGroup | QFileDevice::WriteOther;
    return info.exists() &&
           ((info.permissions() & writeBits) == QFileDevice::Permissions{} || !info.isWritable());
}

} // namespace vt::FileUtils
