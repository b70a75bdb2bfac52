// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/EnvironmentUnits.h"

#include <array>
#include <deque>
#include <limits>
#include <vector>

namespace vt {

/// One reading. A value of 1e15 or one that is not finite means that there is none.
struct EnvPoint
{
    qint64 timeMs = 0; ///< since the epoch
    double temperatureC = std::numeric_limits<double>::quiet_NaN();
    double humidityPercent = std::numeric_limits<double>::quiet_NaN();
    double lightLux = std::numeric_limits<double>::quiet_NaN();
    double pressureHpa = std::numeric_limits<double>::quiet_NaN();

    /// NaN when there is none.
    [[nodiscard]] double value(envunits::Quantity quantity) const;
    [[nodiscard]] bool hasReading() const;
};

/// What a chart draws of a stretch without a gap: the mean of each pixel column that has readings.
struct EnvCurvePoint
{
    double timeMs = 0.0;
    double value = 0.0;
};
using EnvCurve = std::vector<EnvCurvePoint>;

/// A day of readings of one sensor as means of 10 s (at most half a megabyte). Interface thread.
class EnvHistory
{
public:
    static constexpr qint64 BinMs = 10'000;
    static constexpr qint64 KeptMs = qint64{24} * 3600 * 1000;
    /// Readings further apart than this are not joined.
    static constexpr qint64 GapMs = 30'000;

    /// In any order. One without readings is no data.
    void add(const EnvPoint& point);
    [[nodiscard]] std::size_t binCount() const { return m_bins.size(); }
    /// Time of the newest reading, ms since the epoch; 0: none.
    [[nodiscard]] qint64 newestMs() const { return m_newestMs; }
    /// The stretches between gaps, reduced to at most so many points in all.
    [[nodiscard]] std::vector<EnvCurve> curves(envunits::Quantity quantity, qint64 fromMs, qint64 toMs,
                                               int columns) const;

private:
    struct Bin
    {
        qint64 startMs = 0;
        std::array<double, envunits::QuantityCount> sum{};
        std::array<int, envunits::QuantityCount> count{};
    };
    [[nodiscard]] Bin& binAt(qint64 startMs);

    std::deque<Bin> m_bins; ///< ascending
    qint64 m_newestMs = 0;
};

} // namespace vt
