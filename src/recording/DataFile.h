// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/FileUtils.h"

#include <QFile>

namespace vt {

/// A file of a recording. Written exclusively and unbuffered, so that one write is one system call and what
/// has been written survives a crash of the program. Unlike any other QFile that was opened by descriptor it
/// knows its name. Thread of its owner, or of the writer that it has been handed to.
class DataFile : public QFile
{
public:
    [[nodiscard]] FileUtils::OpenResult
    openForWriting(const QString& path, FileUtils::Content content = FileUtils::Content::Replace)
    {
        m_path = path;
        return FileUtils::openExclusiveWrite(*this, path, content);
    }
    [[nodiscard]] bool openForReading(const QString& path)
    {
        close();
        m_path = path;
        setFileName(path);
        return open(QIODevice::ReadOnly);
    }
    /// The path of the last attempt to open.
    [[nodiscard]] QString fileName() const override { return m_path; }

private:
    QString m_path;
};

} // namespace vt
