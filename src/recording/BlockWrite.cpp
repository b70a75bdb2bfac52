// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/BlockWrite.h"

#include <QFile>
#include <QFileInfo>
#include <QStorageInfo>
#include <algorithm>

namespace vt {

namespace {

/// Takes back the last bytes that went into a file. False for devices that cannot.
bool cutBack(QIODevice& device, qint64 bytes)
{
    auto* file = qobject_cast<QFileDevice*>(&device);
    if (!file || file->isSequential())
        return false;
    const qint64 start = file->pos() - bytes;
    return file->resize(start) && file->seek(start);
}

} // namespace

BlockWriteResult takeBackPart(QIODevice& device, qint64 taken)
{
    BlockWriteResult result;
    result.written = std::max<qint64>(taken, 0);
    result.remnant = result.written > 0 && !cutBack(device, result.written);
    return result;
}

BlockWriteResult writeBlock(QIODevice& device, const QByteArray& bytes)
{
    return writeBlock(device,
                      std::as_bytes(std::span(bytes.constData(), static_cast<std::size_t>(bytes.size()))));
}

bool isDiskFull(const QIODevice& device, qint64 size)
{
    const auto* file = qobject_cast<const QFileDevice*>(&device);
    if (!file)
        return false;
    if (file->error() == QFileDevice::ResourceError)
        return true;
    if (file->fileName().isEmpty() || file->isSequential())
        return false;
    const QStorageInfo disk(QFileInfo(file->fileName()).absolutePath());
    return disk.isValid() && disk.bytesAvailable() < size;
}

} // namespace vt
