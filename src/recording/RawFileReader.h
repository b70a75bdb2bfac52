// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/VellumtideFile.h"

#include <cstdint>
#include <span>
#include <vector>

namespace vt {

/// Reads a raw data file (".bin", ".binfb"): its header, then frames of one 16-bit sample per channel. A
/// file that ends inside a frame, as a crash or a full disk leaves it, is read up to its last whole frame.
/// Thread of its owner; blocks on the disk.
class RawFileReader
{
public:
    [[nodiscard]] bool open(const QString& path);
    [[nodiscard]] const FileHeader& header() const { return m_file.header(); }
    [[nodiscard]] qint64 frameCount() const { return m_frameCount; }
    /// Bytes after the last whole frame.
    [[nodiscard]] qint64 trailingBytes() const { return m_trailingBytes; }
    /// Frames from firstFrame on, frame after frame, as many as out holds and the file has. Returns how
    /// many, -1 on a read error.
    [[nodiscard]] qint64 readFrames(qint64 firstFrame, std::span<std::int16_t> out);
    [[nodiscard]] double volts(std::int16_t sample) const;
    [[nodiscard]] QString lastError() const { return m_error; }

private:
    VellumtideFile m_file;
    std::vector<char> m_bytes;
    qint64 m_frameCount = 0;
    qint64 m_trailingBytes = 0;
    QString m_error;
};

} // namespace vt
