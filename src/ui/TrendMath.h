// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TraceMath.h"

#include <QtGlobal>
#include <cstddef>
#include <vector>

namespace vt {

class SampleClock;
class StepHistory;

/// What is drawn of the steps of a recording.
enum class StepValue { BreathRate, Power, DecisionStat };

/// A stretch of time, in seconds before the end of the picture.
struct TimeSpan
{
    double from = 0.0;
    double to = 0.0;
};

/// One channel's steps as points and the stretches in which the animal slept.
struct Trend
{
    std::vector<TracePoint> points; ///< NaN values between pieces of line
    std::vector<TimeSpan> asleep;
};

/// Reduces steps [begin, end) of the history to what pixels can show: smallest and largest value of every bin
/// of binSeconds (aligned to the clock, so that the trend does not shimmer as it moves), gaps where the
/// recording stood still, where a step was not scored, and where there is no value. A value between two gaps
/// becomes a line as long as a step. Times count from the last step, which is at 0. out is cleared first.
void reduceSteps(const StepHistory& history, StepValue value, int channel, std::size_t begin, std::size_t end,
                 double binSeconds, Trend& out);

/// Stretches in which the animal slept among the samples [end - count, end), as far as they are scored.
[[nodiscard]] std::vector<TimeSpan> asleepSpans(const StepHistory& history, const SampleClock& clock,
                                                int channel, quint64 end, quint64 count);

} // namespace vt
