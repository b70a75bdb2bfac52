// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <deque>
#include <optional>

namespace vt {

/// What the binary files of a recording grow by in an hour, in bytes.
[[nodiscard]] qint64 recordedBytesPerHour(int channelCount, int animalType);

/// How fast a disk fills while a recording runs, by the free space that it told: films go to the same disk,
/// and whatever else is stored there. Plain values; thread of its owner.
class DiskForecast
{
public:
    static constexpr qint64 SpacingMs = 30'000;    ///< of the samples that are kept
    static constexpr qint64 ShortestMs = 600'000;  ///< measured for so long before there is a rate
    static constexpr qint64 LongestMs = 1'800'000; ///< older samples are forgotten

    /// nowMs: monotonic. Free space that is not known, below 0, is left out. With more cameras that film than
    /// before the measurement begins anew.
    void note(qint64 nowMs, qint64 freeBytes, int filmingCameras);
    /// By which free space falls in an hour, in bytes, 0 when it does not; empty before ShortestMs. The
    /// median over all pairs of samples: neither a film that is deleted meanwhile nor a file that is copied
    /// there at once is taken for what goes on.
    [[nodiscard]] std::optional<qint64> measuredBytesPerHour() const { return m_rate; }
    /// To reckon with: the larger of computed and measured. While cameras film and nothing has been measured
    /// yet it is the least that it can be.
    [[nodiscard]] qint64 bytesPerHour(qint64 computed) const;
    [[nodiscard]] bool isMeasured() const { return m_rate.has_value(); }

private:
    struct Sample
    {
        qint64 atMs = 0;
        qint64 freeBytes = 0;
    };
    [[nodiscard]] std::optional<qint64> medianFall() const;

    std::deque<Sample> m_samples; ///< oldest first
    std::optional<qint64> m_rate;
    int m_filmingCameras = 0;
};

} // namespace vt
