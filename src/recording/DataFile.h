// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/FileUtils.h"

#include <QFile>

namespace vt {

/// The file under a VellumtideFile. Written exclusively and unbuffered, so that one write is one system call
/// and what has been written survives a crash of the program. Thread of its owner, or of the writer that it
/// has been handed to.
class DataFile : public QFile
{
public:
    [[nodiscard]] FileUtils::OpenResult openForWriting(const QString& path)
    {
        return FileUtils::openExclusiveWrite(*this, path);
    }
    [[nodiscard]] bool openForReading(const QString& path)
    {
        close();
        setFileName(path);
        return open(QIODevice::ReadOnly);
    }
};

} // namespace vt
