// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/RecordedFiles.h"

#include "recording/MarkerFile.h"
#include "recording/SegmentPaths.h"
#include "recording/VellumtideFile.h"

#include <QFile>
#include <QFileInfo>

namespace vt {

namespace {

/// A folder or a pipe of that name is none.
bool isFilled(const QString& path)
{
    const QFileInfo info(path);
    return info.isFile() && info.size() > 0;
}

bool holdsBody(const QString& path)
{
    if (!isFilled(path))
        return false;
    VellumtideFile file;
    return file.openFile(path, false) != VellumtideFile::Opened ||
           file.device()->size() > file.header().dataStart;
}

/// More than the header line, or the beginning of it that a full disk leaves.
bool holdsRows(const QString& path)
{
    if (!isFilled(path))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return true;
    const QByteArray& headerLine = MarkerFile::headerLine();
    return !headerLine.startsWith(file.read(headerLine.size() + 1));
}

} // namespace

QString recordedFile(const QString& base, const QString& agreedRaw)
{
    constexpr int mouse = 1;
    constexpr int rat = 2;
    bool isSharedAgreed = false;
    for (const int animalType : {mouse, rat}) {
        const SegmentPaths paths = segmentPaths(base, animalType);
        if (!agreedRaw.isEmpty() && paths.raw == agreedRaw) {
            isSharedAgreed = true;
            continue;
        }
        for (const QString& path : {paths.raw, paths.featureVector, paths.activity, paths.breathRate})
            if (holdsBody(path))
                return path;
    }
    const SegmentPaths shared = segmentPaths(base, mouse);
    if (isSharedAgreed)
        return {};
    if (isFilled(shared.timeStamps))
        return shared.timeStamps;
    return holdsRows(shared.markers) ? shared.markers : QString();
}

} // namespace vt
