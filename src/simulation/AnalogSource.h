// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>

namespace vt {

/// Where the samples of the simulated analog inputs come from: an endless stream at 600 Hz per channel.
/// Used by one thread at a time; read and skip allocate nothing.
class AnalogSource
{
public:
    virtual ~AnalogSource() = default;
    /// The next samplesPerChannel samples in volts of the listed channels, grouped by channel in the order of
    /// the list: out[i * samplesPerChannel + j]. Other channels stand still.
    virtual void read(std::span<const int> channels, int samplesPerChannel, double* out) = 0;
    /// Passes over samples that were acquired but never read.
    virtual void skip(std::span<const int> channels, std::uint64_t samplesPerChannel) = 0;
    /// Ground truth for a sample instant counted from the start of the stream.
    [[nodiscard]] virtual bool isAsleep(int channel, std::uint64_t sample) = 0;
};

} // namespace vt
