// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <cstddef>
#include <span>

namespace vt {

/// What became of a block.
struct BlockWriteResult
{
    qint64 written = 0;    ///< bytes that the device took, 0 when it took none
    bool complete = false; ///< all of them
    bool remnant = false;  ///< a part was written and could not be cut off again
};

/// Writes all of bytes or, as far as the device allows, nothing: what a full disk or an I/O error left of a
/// block is cut off again at the place where the block began, so that later 16-bit samples and doubles stay
/// in their channels. Files can be cut, other devices cannot. Only calls into the device; allocates nothing
/// by itself. On the thread that owns the device at the time; blocks as long as the device does.
[[nodiscard]] inline BlockWriteResult writeBlock(QIODevice& device, std::span<const std::byte> bytes);
[[nodiscard]] BlockWriteResult writeBlock(QIODevice& device, const QByteArray& bytes);

/// What is left to do for a block of which device.write took another number of bytes than all.
[[nodiscard]] BlockWriteResult takeBackPart(QIODevice& device, qint64 taken);

inline BlockWriteResult writeBlock(QIODevice& device, std::span<const std::byte> bytes)
{
    const auto size = static_cast<qint64>(bytes.size());
    const qint64 taken = device.write(reinterpret_cast<const char*>(bytes.data()), size);
    if (taken == size) [[likely]]
        return {size, true, false};
    return takeBackPart(device, taken);
}

/// Whether a block of size bytes failed because the disk is full: the file says so, or its disk has less
/// room than the block. (A write that still took a part of the block reports no error.)
[[nodiscard]] bool isDiskFull(const QIODevice& device, qint64 size);

} // namespace vt
