// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/AnalogSource.h"

#include <QFile>
#include <QString>
#include <memory>
#include <vector>

namespace vt {

/// Plays a recording of raw little-endian 64-bit floats in volts, 600 Hz, channels interleaved (one value per
/// channel, then the next instant). The first pass is exact; at the end of the file it starts again without
/// a gap, so that a demonstration goes on, and says so in the log once per pass. Holds one small read buffer,
/// never the file. All channels advance together.
class FilePlayback final : public AnalogSource
{
public:
    /// Opens and checks the file: readable, a whole number of instants, at least 20 of them. On failure
    /// returns null and sets *error to a text that names the file and the problem.
    [[nodiscard]] static std::unique_ptr<FilePlayback> open(const QString& path, int channelCount,
                                                            QString* error);

    void read(std::span<const int> channels, int samplesPerChannel, double* out) override;
    void skip(std::span<const int> channels, std::uint64_t samplesPerChannel) override;
    [[nodiscard]] bool isAsleep(int, std::uint64_t) override { return false; }

    /// Instants in the file (samples per channel).
    [[nodiscard]] std::uint64_t instantCount() const { return m_instantCount; }

private:
    FilePlayback(const QString& path, int channelCount);
    /// The values of one instant; they stay valid until the next call.
    [[nodiscard]] const char* nextInstant();
    void refill();

    QFile m_file;
    const std::size_t m_instantBytes;
    std::uint64_t m_instantCount = 0;
    std::uint64_t m_position = 0;    ///< next instant to hand out, within the file
    std::uint64_t m_bufferStart = 0; ///< instant at the buffer's start
    std::uint64_t m_bufferedInstants = 0;
    std::vector<char> m_buffer;
    bool m_readFailed = false;
};

} // namespace vt
