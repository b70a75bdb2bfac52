// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/RawFileReader.h"

#include "base/BigEndian.h"

#include <algorithm>

namespace vt {

namespace {

constexpr qint64 SampleBytes = 2;
constexpr double HalfRange = 32768.0;

} // namespace

bool RawFileReader::open(const QString& path)
{
    m_frameCount = 0;
    m_trailingBytes = 0;
    if (m_file.openFile(path, false) != VellumtideFile::Opened) {
        m_error = m_file.lastError();
        return false;
    }
    const qint64 bodyBytes = m_file.device()->size() - header().dataStart;
    const qint64 frameBytes = SampleBytes * header().channelCount;
    m_frameCount = bodyBytes / frameBytes;
    m_trailingBytes = bodyBytes % frameBytes;
    return true;
}

qint64 RawFileReader::readFrames(qint64 firstFrame, std::span<std::int16_t> out)
{
    if (firstFrame < 0 || firstFrame >= m_frameCount)
        return 0;
    const qint64 channels = header().channelCount;
    const qint64 frames = std::min(static_cast<qint64>(out.size()) / channels, m_frameCount - firstFrame);
    const qint64 bytes = frames * channels * SampleBytes;
    m_bytes.resize(static_cast<std::size_t>(bytes));
    QIODevice& file = *m_file.device();
    if (!file.seek(header().dataStart + firstFrame * channels * SampleBytes) ||
        file.read(m_bytes.data(), bytes) != bytes) {
        m_error = file.errorString();
        return -1;
    }
    const auto* in = reinterpret_cast<const std::byte*>(m_bytes.data());
    for (std::int16_t& sample : out.first(static_cast<std::size_t>(frames * channels))) {
        sample = static_cast<std::int16_t>(loadBigEndian<std::uint16_t>(in));
        in += SampleBytes;
    }
    return frames;
}

double RawFileReader::volts(std::int16_t sample) const
{
    return sample * header().maxAmplitude / HalfRange;
}

} // namespace vt
