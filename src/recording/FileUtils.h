// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>
#include <QString>

namespace vt::FileUtils {

enum class OpenResult { Opened = 0, InUse = 1, Failed = 2 };

/// Opens path for writing (read access too, truncated, unbuffered) so that other processes may read but not
/// write it. A file that another process writes is left untouched and gives InUse.
/// Any thread; may block on the disk.
[[nodiscard]] OpenResult openExclusiveWrite(QFile& file, const QString& path);

} // namespace vt::FileUtils
