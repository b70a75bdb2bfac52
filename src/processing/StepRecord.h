// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureSet.h"

#include <QDateTime>
#include <limits>
#include <vector>

namespace vt {

/// What one 2-s step found out about one channel.
struct ChannelStep
{
    FeatureSet features;
    double decisionStat = 0.0; ///< above 0: asleep
    /// What the day profile adds up; NaN in the first steps, which have no baseline yet.
    double activityIndex = std::numeric_limits<double>::quiet_NaN();
    double shownBreathRate = std::numeric_limits<double>::quiet_NaN(); ///< Hz; NaN while awake
    bool sleeping = false;
    bool noSignal = false;
};

/// One 2-s step of a recording, for displays. A plain value; made on the processing thread.
struct StepRecord
{
    QDateTime time;                    ///< local
    std::vector<ChannelStep> channels; ///< in order
    bool isDecided = false;      ///< from data of this segment; else values from before a pause, or none
    bool isActivityOnly = false; ///< sleep is not scored at all
};

} // namespace vt
