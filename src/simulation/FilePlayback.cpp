// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/FilePlayback.h"

#include <QDebug>
#include <QFileInfo>
#include <QtEndian>
#include <algorithm>
#include <bit>

namespace vt {

namespace {

constexpr std::uint64_t BufferInstants = 2400; // 4 s
constexpr std::uint64_t MinimumInstants = 20;  // one block of the driver

} // namespace

FilePlayback::FilePlayback(const QString& path, int channelCount)
    : m_file(path), m_instantBytes(sizeof(double) * static_cast<std::size_t>(channelCount)),
      m_buffer(BufferInstants * m_instantBytes)
{}

std::unique_ptr<FilePlayback> FilePlayback::open(const QString& path, int channelCount, QString* error)
{
    std::unique_ptr<FilePlayback> playback(new FilePlayback(path, channelCount));
    const auto fail = [&](const QString& problem) {
        *error = QStringLiteral("Cannot play \"%1\": %2").arg(path, problem);
        return nullptr;
    };
    if (QFileInfo(path).isDir())
        return fail(QStringLiteral("it is a folder"));
    if (!playback->m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return fail(playback->m_file.errorString());
    const auto size = static_cast<std::uint64_t>(playback->m_file.size());
    if (size % playback->m_instantBytes != 0)
        return fail(
            QStringLiteral("its size of %1 bytes is not a multiple of %2 bytes (8 per sample, %3 channels)")
                .arg(size)
                .arg(playback->m_instantBytes)
                .arg(channelCount));
    playback->m_instantCount = size / playback->m_instantBytes;
    if (playback->m_instantCount < MinimumInstants)
        return fail(QStringLiteral("it holds %1 samples per channel, at least %2 are needed")
                        .arg(playback->m_instantCount)
                        .arg(MinimumInstants));
    playback->refill();
    if (playback->m_readFailed)
        return fail(playback->m_file.errorString());
    return playback;
}

void FilePlayback::refill()
{
    m_bufferStart = m_position;
    m_bufferedInstants = std::min(BufferInstants, m_instantCount - m_position);
    const auto instantBytes = static_cast<qint64>(m_instantBytes);
    const qint64 wanted = static_cast<qint64>(m_bufferedInstants) * instantBytes;
    qint64 have = -1;
    if (m_file.seek(static_cast<qint64>(m_position) * instantBytes))
        have = m_file.read(m_buffer.data(), wanted);
    while (have > 0 && have < wanted) {
        const qint64 more = m_file.read(m_buffer.data() + have, wanted - have);
        if (more <= 0)
            break;
        have += more;
    }
    if (have == wanted)
        return;
    // The stream must go on: what cannot be read any more is silence.
    std::fill(m_buffer.begin() + std::max<qint64>(have, 0), m_buffer.end(), '\0');
    if (!m_readFailed)
        qCritical().noquote() << "FilePlayback: reading" << m_file.fileName()
                              << "failed:" << m_file.errorString();
    m_readFailed = true;
}

const char* FilePlayback::nextInstant()
{
    if (m_position < m_bufferStart || m_position >= m_bufferStart + m_bufferedInstants)
        refill();
    const char* instant = m_buffer.data() + (m_position - m_bufferStart) * m_instantBytes;
    if (++m_position == m_instantCount) {
        m_position = 0;
        qInfo().noquote() << "FilePlayback: playback ended after" << m_instantCount
                          << "samples per channel, starting again:" << m_file.fileName();
    }
    return instant;
}

void FilePlayback::read(std::span<const int> channels, int samplesPerChannel, double* out)
{
    const auto samples = static_cast<std::size_t>(samplesPerChannel);
    for (std::size_t j = 0; j < samples; ++j) {
        const char* instant = nextInstant();
        for (std::size_t i = 0; i < channels.size(); ++i) {
            const char* value = instant + sizeof(double) * static_cast<std::size_t>(channels[i]);
            out[i * samples + j] = std::bit_cast<double>(qFromLittleEndian<quint64>(value));
        }
    }
}

void FilePlayback::skip(std::span<const int>, std::uint64_t samplesPerChannel)
{
    m_position = (m_position + samplesPerChannel) % m_instantCount;
}

} // namespace vt
