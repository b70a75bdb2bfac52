// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TrendMath.h"

#include <QString>
#include <vector>

/// What a page of channels can show, with its units, scales and time bases. Plain functions.
namespace vt::traceview {

enum class View { Signal, BreathRate, Power };
inline constexpr View Views[] = {View::Signal, View::BreathRate, View::Power};

/// What fixes the height of a trace.
enum class ScaleRule {
    Auto,       ///< each trace finds its own
    AutoCommon, ///< all traces of the page share the largest
    Fixed,
    AsPage ///< of one channel only: whatever holds for the page
};
struct Scale
{
    ScaleRule rule = ScaleRule::Auto;
    double range = 0.0; ///< of Fixed: V or Hz
    bool operator==(const Scale&) const = default;
};

[[nodiscard]] QString name(View view);
/// Seconds, shortest first.
[[nodiscard]] std::vector<int> timeBases(View view);
[[nodiscard]] int defaultTimeBase(View view);
/// "8 s", "10 min", "6 h".
[[nodiscard]] QString timeBaseText(int seconds);
/// Distance of a time axis' ticks for a picture of so many seconds.
[[nodiscard]] int tickSeconds(int seconds);
/// Ranges to choose from, smallest first.
[[nodiscard]] std::vector<double> ranges(View view);
/// Smallest range that a trace finds for itself.
[[nodiscard]] double smallestRange(View view);
/// Signals go to both sides of 0, rates and powers begin there.
[[nodiscard]] bool isAroundZero(View view);
/// "±0.2 V", "±50 mV", "0–5 Hz".
[[nodiscard]] QString rangeText(View view, double range);
[[nodiscard]] QString scaleText(View view, const Scale& scale);
/// Of a view that shows steps.
[[nodiscard]] StepValue stepValue(View view);

} // namespace vt::traceview
