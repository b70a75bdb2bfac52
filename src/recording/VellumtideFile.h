// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/FileHeader.h"
#include "recording/FileUtils.h"

#include <QFile>
#include <QString>
#include <memory>
#include <span>

namespace vt {

class FileWriter;

/// One binary file of a recording: its header and its body. Opened and closed by the session; between
/// attaching a writer and its shutdown the write calls come from the processing thread and go through the
/// writer's queues, without one straight to the disk.
class VellumtideFile
{
public:
    enum OpenCode { Opened = 0, InUse = 1, Failed = 2 };

    VellumtideFile();
    ~VellumtideFile();
    VellumtideFile(const VellumtideFile&) = delete;
    VellumtideFile& operator=(const VellumtideFile&) = delete;

    /// Closes any open file. For writing: exclusive, unbuffered, truncated unless content says otherwise. For
    /// reading: reads the header.
    [[nodiscard]] int openFile(const QString& path, bool forWriting,
                               FileUtils::Content content = FileUtils::Content::Replace);
    void close();

    /// The whole header in one write straight to the disk, before anything goes through a writer.
    [[nodiscard]] bool writeHeader();
    /// Writes another file's header bytes unchanged.
    [[nodiscard]] bool writeHeaderBytes(const QByteArray& bytes);
    /// The header as it stands on disk, length word included; empty on failure.
    [[nodiscard]] QByteArray headerBytesOnDisk();

    /// values: channel-major, channel c's samples at c * count + i; writes count frames of 16-bit samples.
    /// At most 16 channels x 64 samples per call. Allocates nothing. False when not accepted.
    bool writeSamples(const double* values, int count, bool suppressed = false);
    bool writeValue(double value);
    /// All values as one write: they are recorded together or not at all. At most 256 values.
    bool writeValues(std::span<const double> values);

    /// Routes later samples and values through writer, which outlives the recording into this file; null
    /// writes straight to the disk. close() forgets the writer.
    void setFileWriter(FileWriter* writer);
    [[nodiscard]] QIODevice* device();
    /// The open path, or "NONE".
    [[nodiscard]] QString fileName() const;
    [[nodiscard]] QString lastError() const;
    [[nodiscard]] FileHeader& header();
    [[nodiscard]] const FileHeader& header() const;

private:
    struct Private;
    std::unique_ptr<Private> d;
};

/// volts * 32768 / maxAmplitude truncated toward zero, low 16 bits: values at or beyond full scale wrap.
/// A result that is not finite (NaN, infinity, overflow) is stored as 0. Any thread.
[[nodiscard]] std::int16_t encodeSample(double volts, double maxAmplitude);

} // namespace vt
