// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceMath.h"

#include <algorithm>
#include <cmath>

namespace vt {

void decimateTrace(std::span<const float> samples, quint64 endNumber, int samplesPerBin, double rateHz,
                   std::vector<TracePoint>& out)
{
    out.clear();
    const auto valid = static_cast<std::size_t>(std::min<quint64>(endNumber, samples.size()));
    samples = samples.last(valid);
    const auto bin = static_cast<quint64>(std::max(samplesPerBin, 1));
    const quint64 firstNumber = endNumber - valid;
    const auto pointAt = [&](std::size_t index) {
        const auto age = static_cast<double>(valid - 1 - index);
        return TracePoint{-age / rateHz, static_cast<double>(samples[index])};
    };
    std::size_t begin = 0;
    while (begin < valid) {
        const quint64 number = firstNumber + begin;
        const auto end = std::min<std::size_t>(valid, begin + static_cast<std::size_t>(bin - number % bin));
        std::size_t lowest = valid;
        std::size_t highest = valid;
        for (std::size_t i = begin; i < end; ++i) {
            if (!std::isfinite(samples[i]))
                continue;
            if (lowest == valid || samples[i] < samples[lowest])
                lowest = i;
            if (highest == valid || samples[i] > samples[highest])
                highest = i;
        }
        if (lowest != valid) {
            out.push_back(pointAt(std::min(lowest, highest)));
            if (lowest != highest)
                out.push_back(pointAt(std::max(lowest, highest)));
        }
        begin = end;
    }
}

double niceCeiling(double value)
{
    const double decade = std::pow(10.0, std::floor(std::log10(value)));
    for (const double step : {1.0, 2.0, 5.0})
        if (value <= step * decade * (1.0 + 1e-9))
            return step * decade;
    return 10.0 * decade;
}

double AutoRange::update(double peak)
{
    constexpr double Spare = 1.25;
    if (!std::isfinite(peak))
        return m_range;
    if (peak > m_range)
        m_range = niceCeiling(peak);
    else
        m_range = std::min(m_range, niceCeiling(std::max(peak * Spare, m_smallest)));
    return m_range;
}

} // namespace vt
