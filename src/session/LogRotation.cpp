// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LogRotation.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>

namespace vt {

QStringList namesToRemove(QStringList names, int limit)
{
    std::sort(names.begin(), names.end());
    return names.mid(0, std::max<qsizetype>(0, names.size() - limit + 1));
}

bool makeOwnFolder(const QString& path)
{
    const QFileInfo info(path);
    return info.isDir() || (QDir().mkpath(info.path()) &&
                            QDir().mkdir(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
}

} // namespace vt
