// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>
#include <QString>

namespace vt::FileUtils {

enum class OpenResult { Opened = 0, InUse = 1, Failed = 2 };

enum class Content {
    Replace, ///< the file is emptied
    Append   ///< the file keeps its content and is positioned at its end
};

/// Opens path for writing (read access too, unbuffered) so that other processes may read but not
/// write it. A file that another writer has, of this process or another, is left untouched and gives InUse.
/// Only regular files can be opened. The file's own fileName() is empty afterwards, as for every file that
/// was opened by descriptor; a DataFile keeps its name. Failures are logged.
/// Any thread; may block on the disk.
[[nodiscard]] OpenResult openExclusiveWrite(QFile& file, const QString& path,
                                            Content content = Content::Replace);

/// There, and somebody wants it to stay as it is: no permission to write it, by its own bits even when an
/// administrator could write it all the same. Any thread; may block on the disk.
[[nodiscard]] bool isWriteProtected(const QString& path);

} // namespace vt::FileUtils
