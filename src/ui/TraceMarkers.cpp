// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceMarkers.h"

#include "ui/SampleClock.h"

#include <algorithm>

namespace vt {

namespace {

constexpr std::size_t MostMarkers = 1000;

bool isShown(double seconds, int pictureSeconds)
{
    return seconds <= 0.0 && seconds >= -pictureSeconds;
}

} // namespace

void TraceMarkers::add(int event, quint64 sample, qint64 timeMs, const QString& label)
{
    if (m_markers.size() == MostMarkers)
        m_markers.erase(m_markers.begin());
    m_markers.push_back({event, sample, timeMs, label});
}

void TraceMarkers::relabel(int event, const QString& label)
{
    const auto marker = std::ranges::find(m_markers, event, &Marker::event);
    if (marker != m_markers.end())
        marker->label = label;
}

std::vector<TimeMark> TraceMarkers::bySample(quint64 endSample, int seconds) const
{
    std::vector<TimeMark> marks;
    for (const Marker& marker : m_markers) {
        const double at =
            (static_cast<double>(marker.sample) - static_cast<double>(endSample)) / SampleClock::SampleRateHz;
        if (isShown(at, seconds))
            marks.push_back({at, marker.label});
    }
    return marks;
}

std::vector<TimeMark> TraceMarkers::byTime(qint64 endMs, int seconds) const
{
    std::vector<TimeMark> marks;
    for (const Marker& marker : m_markers) {
        const double at = static_cast<double>(marker.timeMs - endMs) / 1000.0;
        if (isShown(at, seconds))
            marks.push_back({at, marker.label});
    }
    return marks;
}

} // namespace vt
