// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>

#include <span>
#include <vector>

namespace vt {

/// One point of a drawn trace.
struct TracePoint
{
    double seconds = 0.0; ///< before the newest sample: <= 0
    double value = 0.0;
};

/// Reduces a trace to what pixels can show: the smallest and the largest value of every bin of
/// samplesPerBin samples, in the order in which they occur. Bins are aligned to the running sample number,
/// not to the window, so that a scrolling trace keeps its shape instead of shimmering.
///
/// samples: oldest first. endNumber: how many samples were ever pushed to the trace, the last one of samples
/// has the number endNumber - 1; when fewer were pushed than samples holds, the first ones are padding and
/// are left out. out is cleared first; its capacity is kept. Values that are not finite are left out.
void decimateTrace(std::span<const float> samples, quint64 endNumber, int samplesPerBin, double rateHz,
                   std::vector<TracePoint>& out);

/// Vertical range of a trace, symmetrical around 0, in steps of 1, 2 and 5. It grows at once and shrinks only
/// when the next smaller step leaves a quarter to spare, so that it does not flicker.
class AutoRange
{
public:
    explicit AutoRange(double smallest = 0.01) : m_smallest(smallest), m_range(smallest) {}
    /// peak: largest absolute value in view. Returns the range to show, >= peak.
    double update(double peak);
    [[nodiscard]] double range() const { return m_range; }

private:
    double m_smallest;
    double m_range;
};

/// The smallest of 1, 2, 5 x 10^n that is not below value; value > 0.
[[nodiscard]] double niceCeiling(double value);

} // namespace vt
