// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EnvironmentHistory.h"

#include <algorithm>
#include <cmath>

namespace vt {

using envunits::Quantity;

namespace {

/// What a sensor's readings hold in place of a value that there is not.
constexpr double NoData = 1e15;

} // namespace

double EnvPoint::value(Quantity quantity) const
{
    const double all[] = {temperatureC, humidityPercent, lightLux, pressureHpa};
    const double value = all[static_cast<std::size_t>(quantity)];
    return std::isfinite(value) && value != NoData ? value : std::numeric_limits<double>::quiet_NaN();
}

bool EnvPoint::hasReading() const
{
    for (int quantity = 0; quantity < envunits::QuantityCount; ++quantity)
        if (!std::isnan(value(static_cast<Quantity>(quantity))))
            return true;
    return false;
}

EnvHistory::Bin& EnvHistory::binAt(qint64 startMs)
{
    if (m_bins.empty() || m_bins.back().startMs < startMs) {
        m_bins.push_back({startMs, {}, {}});
        while (m_bins.front().startMs <= startMs - KeptMs)
            m_bins.pop_front();
        return m_bins.back();
    }
    // Also after the clock was set back.
    const auto found = std::ranges::lower_bound(m_bins, startMs, {}, &Bin::startMs);
    return found->startMs == startMs ? *found : *m_bins.insert(found, {startMs, {}, {}});
}

void EnvHistory::add(const EnvPoint& point)
{
    const qint64 startMs = point.timeMs / BinMs * BinMs;
    const bool isTooOld = !m_bins.empty() && startMs <= m_bins.back().startMs - KeptMs;
    if (!point.hasReading() || isTooOld)
        return;
    m_newestMs = std::max(m_newestMs, point.timeMs);
    Bin& bin = binAt(startMs);
    for (std::size_t quantity = 0; quantity < envunits::QuantityCount; ++quantity) {
        const double value = point.value(static_cast<Quantity>(quantity));
        if (std::isnan(value))
            continue;
        bin.sum[quantity] += value;
        ++bin.count[quantity];
    }
}

std::vector<EnvCurve> EnvHistory::curves(Quantity quantity, qint64 fromMs, qint64 toMs, int columns) const
{
    std::vector<EnvCurve> result;
    if (toMs <= fromMs || columns < 1)
        return result;
    const auto which = static_cast<std::size_t>(quantity);
    const double columnMs = static_cast<double>(toMs - fromMs) / columns;
    qint64 lastMs = std::numeric_limits<qint64>::min();
    int lastColumn = -1;
    double sum = 0.0;
    double timeSum = 0.0;
    int bins = 0;
    const auto finishColumn = [&] {
        if (bins > 0)
            result.back().push_back({timeSum / bins, sum / bins});
        sum = timeSum = 0.0;
        bins = 0;
    };
    for (auto bin = std::ranges::lower_bound(m_bins, fromMs, {}, &Bin::startMs);
         bin != m_bins.end() && bin->startMs < toMs; ++bin) {
        if (bin->count[which] == 0)
            continue;
        const int column = static_cast<int>(static_cast<double>(bin->startMs - fromMs) / columnMs);
        const bool isAfterGap = result.empty() || bin->startMs - lastMs > GapMs;
        if (isAfterGap || column != lastColumn)
            finishColumn();
        if (isAfterGap)
            result.emplace_back();
        sum += bin->sum[which] / bin->count[which];
        timeSum += static_cast<double>(bin->startMs) + static_cast<double>(BinMs) / 2.0;
        ++bins;
        lastMs = bin->startMs;
        lastColumn = column;
    }
    finishColumn();
    return result;
}

} // namespace vt
