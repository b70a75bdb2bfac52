// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>
#include <vector>

/// Where the axes of the charts carry a line and a number. Plain functions.
namespace vt::ticks {

struct ValueTicks
{
    std::vector<double> values; ///< ascending, within the range
    int decimals = 0;           ///< that tell them apart
};

/// 1, 2 or 5 times a power of ten; at most so many of it fit into the span.
[[nodiscard]] double niceStep(double span, int most);
/// Empty when there is no range.
[[nodiscard]] ValueTicks valueTicks(double low, double high, int most);
/// Milliseconds since the epoch at which the local clock shows a round time (5 minutes to 12 hours apart). On
/// a day on which the clock is changed the distances are not all the same.
[[nodiscard]] std::vector<qint64> timeTicks(qint64 fromMs, qint64 toMs, int most);

} // namespace vt::ticks
