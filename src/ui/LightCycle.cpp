// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/LightCycle.h"

#include "ui/Theme.h"

#include <QDateTime>

#include <algorithm>

namespace vt {

std::vector<std::pair<double, double>> LightCycle::darkHours() const
{
    if (!isKnown())
        return {};
    constexpr double MsPerHour = 3'600'000.0;
    const double on = lightOn.msecsSinceStartOfDay() / MsPerHour;
    const double off = darkOn.msecsSinceStartOfDay() / MsPerHour;
    if (off < on)
        return {{off, on}};
    std::vector<std::pair<double, double>> spans;
    if (on > 0.0)
        spans.emplace_back(0.0, on);
    spans.emplace_back(off, 24.0);
    return spans;
}

std::vector<std::pair<qint64, qint64>> LightCycle::darkPeriods(qint64 fromMs, qint64 toMs) const
{
    std::vector<std::pair<qint64, qint64>> periods;
    if (!isKnown())
        return periods;
    const QDate last = QDateTime::fromMSecsSinceEpoch(toMs).date();
    // The dark phase of the evening before may still last.
    for (QDate day = QDateTime::fromMSecsSinceEpoch(fromMs).date().addDays(-1); day <= last;
         day = day.addDays(1)) {
        const QDate endDay = darkOn < lightOn ? day : day.addDays(1);
        const qint64 begin = std::max(QDateTime(day, darkOn).toMSecsSinceEpoch(), fromMs);
        const qint64 end = std::min(QDateTime(endDay, lightOn).toMSecsSinceEpoch(), toMs);
        if (begin < end)
            periods.emplace_back(begin, end);
    }
    return periods;
}

LightColors LightColors::of(const Theme& theme)
{
    return theme.dark ? LightColors{theme.text, theme.window} : LightColors{theme.surface, theme.text};
}

} // namespace vt
