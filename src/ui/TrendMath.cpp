// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TrendMath.h"

#include "session/StepHistory.h"
#include "ui/SampleClock.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vt {

namespace {

constexpr double StepSeconds = StepHistory::StepSeconds;
constexpr double LongestStepSeconds = 1.5 * StepSeconds; ///< longer between two steps: data is missing

double valueOf(const StepHistory::Step& step, StepValue value, bool isActivityOnly)
{
    constexpr double None = std::numeric_limits<double>::quiet_NaN();
    switch (value) {
    case StepValue::BreathRate:
        return step.isDecided ? step.breathRate : None;
    case StepValue::Power:
        return step.isDecided || isActivityOnly ? step.power : None;
    case StepValue::DecisionStat:
        return step.isDecided ? step.decisionStat : None;
    }
    return None;
}

/// Collects points in bins and puts a gap between those that do not belong together.
class BinnedLine
{
public:
    BinnedLine(double gapSeconds, std::vector<TracePoint>& out) : m_gapSeconds(gapSeconds), m_out(out) {}

    void add(qint64 bin, const TracePoint& point)
    {
        if (m_isOpen && bin != m_bin)
            close();
        if (!m_isOpen) {
            m_isOpen = true;
            m_bin = bin;
            m_first = m_last = m_low = m_high = point;
            return;
        }
        m_last = point;
        if (point.value < m_low.value)
            m_low = point;
        if (point.value > m_high.value)
            m_high = point;
    }
    void finish()
    {
        if (m_isOpen)
            close();
        lengthenIfAlone();
    }

private:
    void close()
    {
        m_isOpen = false;
        if (!m_out.empty() && m_first.seconds - m_lastSeconds > m_gapSeconds) {
            lengthenIfAlone();
            m_out.push_back({m_lastSeconds, std::numeric_limits<double>::quiet_NaN()});
            m_pieceBegin = m_out.size();
        }
        const bool lowFirst = m_low.seconds <= m_high.seconds;
        m_out.push_back(lowFirst ? m_low : m_high);
        if (m_low.seconds != m_high.seconds)
            m_out.push_back(lowFirst ? m_high : m_low);
        m_lastSeconds = m_last.seconds;
    }
    void lengthenIfAlone()
    {
        if (m_out.size() != m_pieceBegin + 1)
            return;
        TracePoint start = m_out.back();
        start.seconds -= StepSeconds;
        m_out.insert(m_out.end() - 1, start);
    }

    double m_gapSeconds;
    std::vector<TracePoint>& m_out;
    bool m_isOpen = false;
    qint64 m_bin = 0;
    TracePoint m_first, m_last, m_low, m_high;
    double m_lastSeconds = 0.0;
    std::size_t m_pieceBegin = 0;
};

void addSpan(std::vector<TimeSpan>& spans, const TimeSpan& span, double closeEnough)
{
    if (!spans.empty() && span.from - spans.back().to <= closeEnough)
        spans.back().to = span.to;
    else
        spans.push_back(span);
}

} // namespace

void reduceSteps(const StepHistory& history, StepValue value, int channel, std::size_t begin, std::size_t end,
                 double binSeconds, Trend& out)
{
    out.points.clear();
    out.asleep.clear();
    if (begin >= end)
        return;
    const bool isActivityOnly = history.isActivityOnly();
    const qint64 endMs = history.timeMs(end - 1);
    const qint64 binMs = std::max<qint64>(std::llround(binSeconds * 1000.0), 1);
    BinnedLine line(std::max(LongestStepSeconds, binSeconds), out.points);
    for (std::size_t i = begin; i < end; ++i) {
        const qint64 timeMs = history.timeMs(i);
        const double seconds = static_cast<double>(timeMs - endMs) / 1000.0;
        const StepHistory::Step step = history.step(i, channel);
        const double shown = valueOf(step, value, isActivityOnly);
        if (std::isfinite(shown))
            line.add(timeMs / binMs, {seconds, shown});
        if (step.sleeping && step.isDecided)
            addSpan(out.asleep, {seconds - StepSeconds, seconds},
                    LongestStepSeconds - StepSeconds + binSeconds / 2);
    }
    line.finish();
}

std::vector<TimeSpan> asleepSpans(const StepHistory& history, const SampleClock& clock, int channel,
                                  quint64 end, quint64 count)
{
    std::vector<TimeSpan> spans;
    const quint64 oldest = history.firstNumber();
    const auto before = [end](quint64 sample) {
        return (static_cast<double>(sample) - static_cast<double>(end)) / SampleClock::SampleRateHz;
    };
    quint64 sample = end - std::min(end, count);
    while (sample < end) {
        const std::optional<SampleClock::Place> place = clock.placeOf(sample);
        if (!place)
            return spans;
        const quint64 next = std::min(place->endSample, end);
        if (place->step && *place->step >= oldest && *place->step < oldest + history.size()) {
            const StepHistory::Step step =
                history.step(static_cast<std::size_t>(*place->step - oldest), channel);
            if (step.sleeping && step.isDecided)
                addSpan(spans, {before(sample), before(next)}, 0.0);
        }
        sample = next;
    }
    return spans;
}

} // namespace vt
