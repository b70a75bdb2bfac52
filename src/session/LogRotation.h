// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QStringList>

namespace vt {

/// What has to go, oldest first, so that fewer than limit of the given files remain. The names differ only in
/// the time that they carry ("..._yyyyMMdd_hhmmss.txt"), so their order is that of time; copying or touching
/// a file does not change it.
[[nodiscard]] QStringList namesToRemove(QStringList names, int limit);

/// Makes what is missing of a folder; the last part of its path is then for the user alone. False when there
/// is no folder of that name afterwards.
bool makeOwnFolder(const QString& path);

} // namespace vt
