// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>

#include <optional>
#include <vector>

namespace vt {

class StepHistory;

/// Which step, and with it which time of day, a sample of the display traces belongs to. Samples are numbered
/// through the whole recording; within a segment every 240 of them make a step, so that the times of steps
/// give the times of samples, whatever was lost in between and however the clocks of unit and computer drift.
class SampleClock
{
public:
    static constexpr quint64 SamplesPerStep = 240;
    static constexpr double SampleRateHz = 120.0;

    /// A recording begins.
    void clear() { m_segments.clear(); }
    /// firstSample and firstStep: running numbers (StepHistory::firstNumber() + index) of the first ones of
    /// the segment; startMs: milliseconds since the epoch, used until the segment's first step.
    void beginSegment(quint64 firstSample, quint64 firstStep, qint64 startMs);

    /// Where the sample lies: a step of the history, or the samples between two steps' ends.
    struct Place
    {
        std::optional<quint64> step; ///< running number; none behind the last whole step of a past segment
        quint64 endSample = 0;       ///< number of the first sample that lies elsewhere
    };
    /// Nothing for samples from before the first segment. A step may not have come yet.
    [[nodiscard]] std::optional<Place> placeOf(quint64 sample) const;
    /// Milliseconds since the epoch.
    [[nodiscard]] std::optional<qint64> timeMs(quint64 sample, const StepHistory* history) const;

private:
    struct Segment
    {
        quint64 firstSample;
        quint64 firstStep;
        qint64 startMs;
    };
    [[nodiscard]] std::size_t segmentOf(quint64 sample) const; ///< size() when before all

    std::vector<Segment> m_segments;
};

} // namespace vt
