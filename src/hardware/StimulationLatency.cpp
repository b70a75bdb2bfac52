// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationLatency.h"

#include <algorithm>
#include <limits>

namespace vt {

namespace {

QString milliseconds(double microseconds)
{
    return QString::number(microseconds / 1000.0, 'f', 1) + QStringLiteral(" ms");
}

} // namespace

quint64 StimulationLatency::requestSent(std::optional<qint64> frameArrivalUs)
{
    if (m_outstanding.size() == MaxOutstanding) // nobody reports returns: do not grow for days
        m_outstanding.pop_front();
    m_outstanding.push_back({++m_requests, frameArrivalUs});
    return m_requests;
}

std::optional<qint64> StimulationLatency::requestReturned(quint64 request, std::optional<qint64> returnedUs)
{
    const auto found = std::ranges::find(m_outstanding, request, &Request::number);
    if (found == m_outstanding.end())
        return std::nullopt;
    const std::optional<qint64> arrivalUs = found->arrivalUs;
    m_outstanding.erase(found);
    if (!arrivalUs || !returnedUs)
        return std::nullopt;
    const qint64 latencyUs = *returnedUs - *arrivalUs;
    add(latencyUs);
    return latencyUs;
}

void StimulationLatency::add(qint64 microseconds)
{
    constexpr qint64 Most = std::numeric_limits<std::uint32_t>::max();
    m_valuesUs.push_back(static_cast<std::uint32_t>(std::clamp<qint64>(microseconds, 0, Most)));
}

QString StimulationLatency::summary() const
{
    if (m_valuesUs.empty())
        return QStringLiteral("no stimulation measured");
    std::vector<std::uint32_t> sorted = m_valuesUs;
    std::ranges::sort(sorted);
    const std::size_t count = sorted.size();
    const qint64 middleTwo = qint64{sorted[(count - 1) / 2]} + sorted[count / 2];
    const std::size_t rank = (count * 95 + 99) / 100; // 1 for the smallest
    return QStringLiteral("%1 stimulations: median %2, 95th percentile %3, maximum %4")
        .arg(QString::number(count), milliseconds(static_cast<double>(middleTwo) / 2.0),
             milliseconds(sorted[rank - 1]), milliseconds(sorted.back()));
}

void StimulationLatency::clear()
{
    m_outstanding.clear();
    m_valuesUs.clear();
}

} // namespace vt
