// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/VellumtideFile.h"

#include "base/BigEndian.h"
#include "recording/BlockWrite.h"
#include "recording/DataFile.h"
#include "recording/FileWriter.h"

#include <QDebug>
#include <array>
#include <cmath>

namespace vt {

namespace {

constexpr int MaxChannels = 16;
constexpr int MaxFramesPerCall = 64;
constexpr std::size_t MaxValuesPerCall = 256;
constexpr double HalfRange = 32768.0; ///< of a 16-bit sample

} // namespace

struct VellumtideFile::Private
{
    DataFile file;
    FileHeader header;
    FileWriter* writer = nullptr;
    QString lastError;

    /// Hands one block to the writer, or to the disk when there is none.
    [[nodiscard]] bool write(std::span<const std::byte> bytes)
    {
        if (writer)
            return writer->queueWrite(&file, bytes);
        if (!file.isOpen()) {
            lastError = QStringLiteral("No File Open");
            return false;
        }
        if (writeBlock(file, bytes).complete)
            return true;
        lastError = file.errorString();
        return false;
    }
};

VellumtideFile::VellumtideFile() : d(std::make_unique<Private>()) {}
VellumtideFile::~VellumtideFile() = default;

int VellumtideFile::openFile(const QString& path, bool forWriting, FileUtils::Content content)
{
    close();
    d->lastError.clear();
    if (path.isEmpty()) {
        d->lastError = QStringLiteral("No file selected");
        return Failed;
    }
    if (forWriting) {
        switch (d->file.openForWriting(path, content)) {
        case FileUtils::OpenResult::Opened:
            return Opened;
        case FileUtils::OpenResult::InUse:
            d->lastError =
                QStringLiteral("File is in use by another application — choose a different file or "
                               "close the other application.");
            return InUse;
        case FileUtils::OpenResult::Failed:
            break;
        }
        d->lastError = QStringLiteral("Could not open file");
        return Failed;
    }
    if (!d->file.openForReading(path)) {
        d->lastError = QStringLiteral("Could not open file");
        return Failed;
    }
    QString reason;
    if (d->header.readHeader(d->file, &reason))
        return Opened;
    qWarning().noquote().nospace() << "Could not read header from file: " << path;
    qWarning().noquote() << "FileHeader:" << reason;
    d->lastError = QStringLiteral("Unsupported file type");
    d->file.close();
    return Failed;
}

void VellumtideFile::close()
{
    d->writer = nullptr;
    d->file.close();
}

bool VellumtideFile::writeHeader()
{
    return writeHeaderBytes(d->header.encode());
}

bool VellumtideFile::writeHeaderBytes(const QByteArray& bytes)
{
    if (!d->file.isOpen()) {
        d->lastError = d->file.fileName().isEmpty() ? QStringLiteral("No File Selected")
                                                    : QStringLiteral("No File Open");
        return false;
    }
    // Straight to the disk even with a writer: nothing has been queued for this file yet, and the caller
    // reads the header back at once.
    if (!bytes.isEmpty() && writeBlock(d->file, bytes).complete)
        return true;
    d->lastError = QStringLiteral("Could not write header: %1").arg(d->file.errorString());
    return false;
}

QByteArray VellumtideFile::headerBytesOnDisk()
{
    if (!d->file.isOpen())
        return {};
    const qint64 position = d->file.pos();
    FileHeader onDisk;
    QByteArray bytes;
    if (onDisk.readHeader(d->file, &d->lastError) && d->file.seek(0))
        bytes = d->file.read(onDisk.dataStart);
    if (!d->file.seek(position) || bytes.size() != onDisk.dataStart)
        return {};
    return bytes;
}

bool VellumtideFile::writeSamples(const double* values, int count, bool suppressed)
{
    if (suppressed)
        return true;
    const int channels = d->header.channelCount;
    if (channels < 1 || channels > MaxChannels || count < 0 || count > MaxFramesPerCall) {
        d->lastError =
            QStringLiteral("%1 channels x %2 samples do not fit one block").arg(channels).arg(count);
        return false;
    }
    if (count == 0)
        return true;
    std::array<std::byte, sizeof(std::int16_t) * MaxChannels * MaxFramesPerCall> block;
    std::byte* out = block.data();
    const double fullScale = d->header.maxAmplitude;
    for (int frame = 0; frame < count; ++frame) {
        for (int channel = 0; channel < channels; ++channel) {
            const std::int16_t sample = encodeSample(values[channel * count + frame], fullScale);
            storeBigEndian(static_cast<std::uint16_t>(sample), out);
            out += sizeof(sample);
        }
    }
    return d->write(std::span(block.data(), out));
}

bool VellumtideFile::writeValue(double value)
{
    if (d->writer)
        return d->writer->queueWrite(&d->file, value);
    return writeValues(std::span(&value, 1));
}

bool VellumtideFile::writeValues(std::span<const double> values)
{
    if (values.size() > MaxValuesPerCall) {
        d->lastError = QStringLiteral("%1 values do not fit one block").arg(values.size());
        return false;
    }
    if (values.empty())
        return true;
    std::array<std::byte, MaxValuesPerCall * sizeof(double)> block;
    std::byte* out = block.data();
    for (const double value : values) {
        storeBigEndianDouble(value, out);
        out += sizeof(value);
    }
    return d->write(std::span(block.data(), out));
}

void VellumtideFile::setFileWriter(FileWriter* writer)
{
    d->writer = writer;
}

QIODevice* VellumtideFile::device()
{
    return &d->file;
}

QString VellumtideFile::fileName() const
{
    return d->file.isOpen() ? d->file.fileName() : QStringLiteral("NONE");
}

QString VellumtideFile::lastError() const
{
    return d->lastError;
}

FileHeader& VellumtideFile::header()
{
    return d->header;
}

const FileHeader& VellumtideFile::header() const
{
    return d->header;
}

std::int16_t encodeSample(double volts, double maxAmplitude)
{
    constexpr double IntMin = -2147483648.0;
    constexpr double IntMax = 2147483647.0;
    const double scaled = volts * HalfRange / maxAmplitude;
    if (scaled >= IntMin && scaled <= IntMax) [[likely]]
        return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::int32_t>(scaled)));
    if (!std::isfinite(scaled))
        return 0;
    const double wrapped = std::fmod(std::trunc(scaled), 2.0 * HalfRange);
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::int32_t>(wrapped)));
}

} // namespace vt
