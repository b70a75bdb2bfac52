// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ChartTicks.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>
#include <iterator>

namespace vt::ticks {

namespace {

constexpr int MinutesPerDay = 24 * 60;
constexpr int StepMinutes[] = {5, 10, 15, 30, 60, 120, 180, 240, 360, 720};

} // namespace

double niceStep(double span, int most)
{
    if (!(span > 0.0) || most < 1)
        return 1.0;
    const double rough = span / most;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    // The tolerance keeps 0.1 from becoming 0.2 because of its last binary digit.
    for (const double factor : {1.0, 2.0, 5.0})
        if (factor * power >= rough * (1.0 - 1e-9))
            return factor * power;
    return 10.0 * power;
}

ValueTicks valueTicks(double low, double high, int most)
{
    ValueTicks result;
    if (!(high > low))
        return result;
    const double step = niceStep(high - low, most);
    result.decimals = std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9)));
    const double tolerance = step * 1e-6;
    const auto last = static_cast<qint64>(std::floor((high + tolerance) / step));
    for (auto number = static_cast<qint64>(std::ceil((low - tolerance) / step)); number <= last; ++number)
        result.values.push_back(static_cast<double>(number) * step);
    return result;
}

std::vector<qint64> timeTicks(qint64 fromMs, qint64 toMs, int most)
{
    std::vector<qint64> result;
    if (toMs <= fromMs || most < 1)
        return result;
    const double minutes = static_cast<double>(toMs - fromMs) / 60000.0;
    const auto* const step = std::ranges::find_if(
        StepMinutes, [&](int candidate) { return minutes / candidate <= static_cast<double>(most); });
    const int stepMinutes = step == std::end(StepMinutes) ? MinutesPerDay : *step;
    const QDate lastDay = QDateTime::fromMSecsSinceEpoch(toMs).date();
    for (QDate day = QDateTime::fromMSecsSinceEpoch(fromMs).date(); day <= lastDay; day = day.addDays(1)) {
        for (int minute = 0; minute < MinutesPerDay; minute += stepMinutes) {
            const QTime wanted(minute / 60, minute % 60);
            const QDateTime time(day, wanted);
            // In the hour that the clock skips there is no such time.
            if (!time.isValid() || time.time() != wanted)
                continue;
            const qint64 ms = time.toMSecsSinceEpoch();
            if (ms >= fromMs && ms <= toMs && (result.empty() || ms > result.back()))
                result.push_back(ms);
        }
    }
    return result;
}

} // namespace vt::ticks
