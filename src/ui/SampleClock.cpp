// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SampleClock.h"

#include "session/StepHistory.h"

#include <algorithm>
#include <cmath>

namespace vt {

void SampleClock::beginSegment(quint64 firstSample, quint64 firstStep, qint64 startMs)
{
    constexpr std::size_t Most = 64; // far more pauses than fit into the traces that are kept
    if (m_segments.size() == Most)
        m_segments.erase(m_segments.begin());
    m_segments.push_back({firstSample, firstStep, startMs});
}

std::size_t SampleClock::segmentOf(quint64 sample) const
{
    const auto after =
        std::upper_bound(m_segments.begin(), m_segments.end(), sample,
                         [](quint64 number, const Segment& segment) { return number < segment.firstSample; });
    return after == m_segments.begin() ? m_segments.size()
                                       : static_cast<std::size_t>(after - m_segments.begin()) - 1;
}

std::optional<SampleClock::Place> SampleClock::placeOf(quint64 sample) const
{
    const std::size_t index = segmentOf(sample);
    if (index == m_segments.size())
        return std::nullopt;
    const Segment& segment = m_segments[index];
    const quint64 stepInSegment = (sample - segment.firstSample) / SamplesPerStep;
    const quint64 step = segment.firstStep + stepInSegment;
    const quint64 end = segment.firstSample + (stepInSegment + 1) * SamplesPerStep;
    if (index + 1 == m_segments.size())
        return Place{step, end};
    const Segment& next = m_segments[index + 1];
    if (step >= next.firstStep)
        return Place{std::nullopt, next.firstSample};
    return Place{step, std::min(end, next.firstSample)};
}

std::optional<qint64> SampleClock::timeMs(quint64 sample, const StepHistory* history) const
{
    const std::size_t index = segmentOf(sample);
    if (index == m_segments.size())
        return std::nullopt;
    const Segment& segment = m_segments[index];
    quint64 firstSample = segment.firstSample;
    qint64 firstMs = segment.startMs;
    const quint64 oldest = history ? history->firstNumber() : 0;
    quint64 endStep = oldest + (history ? history->size() : 0);
    if (index + 1 < m_segments.size())
        endStep = std::min(endStep, m_segments[index + 1].firstStep);
    if (history && endStep > std::max(segment.firstStep, oldest)) {
        // The step that the sample belongs to, or else the nearest one of the segment that is known.
        const quint64 wanted = segment.firstStep + (sample - segment.firstSample) / SamplesPerStep;
        const quint64 step = std::clamp(wanted, std::max(segment.firstStep, oldest), endStep - 1);
        firstSample = segment.firstSample + (step - segment.firstStep + 1) * SamplesPerStep;
        firstMs = history->timeMs(static_cast<std::size_t>(step - oldest));
    }
    const double seconds = (static_cast<double>(sample) - static_cast<double>(firstSample)) / SampleRateHz;
    return firstMs + std::llround(seconds * 1000.0);
}

} // namespace vt
