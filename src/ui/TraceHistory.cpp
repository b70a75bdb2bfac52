// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceHistory.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vt {

void TraceHistory::begin(int traces, quint64 endNumber)
{
    clear();
    m_traces.resize(static_cast<std::size_t>(traces));
    m_end = endNumber;
}

void TraceHistory::clear()
{
    m_traces.clear();
    m_held = 0;
    m_end = 0;
}

void TraceHistory::hold(int trace, const TraceSource& source)
{
    Trace& target = m_traces.at(static_cast<std::size_t>(trace));
    if (target.isHeld)
        return;
    target.isHeld = true;
    ++m_held;
    std::vector<float> values(Capacity);
    const quint64 count = source(trace, values);
    const auto later = static_cast<std::size_t>(std::min<quint64>(Capacity, count - std::min(count, m_end)));
    values.resize(Capacity - later);
    const auto present =
        std::find_if(values.begin(), values.end(), [](float value) { return !std::isnan(value); });
    const auto known = static_cast<quint64>(values.end() - present);
    // A source that pads with numbers instead of NaN knows no more values than it has counted.
    const quint64 kept = std::min(known, std::min(count, m_end));
    target.first = std::min(count, m_end) - kept;
    target.values.assign(values.end() - static_cast<std::ptrdiff_t>(kept), values.end());
}

void TraceHistory::holdSome(int most, const TraceSource& source)
{
    for (std::size_t trace = 0; trace < m_traces.size() && most > 0; ++trace) {
        if (m_traces[trace].isHeld)
            continue;
        hold(static_cast<int>(trace), source);
        --most;
    }
}

bool TraceHistory::isHeld(int trace) const
{
    const auto index = static_cast<std::size_t>(trace);
    return index < m_traces.size() && m_traces[index].isHeld;
}

quint64 TraceHistory::firstNumber(int trace) const
{
    const auto index = static_cast<std::size_t>(trace);
    return isHeld(trace) && !m_traces[index].values.empty() ? m_traces[index].first : m_end;
}

void TraceHistory::read(int trace, quint64 end, std::span<float> out) const
{
    std::fill(out.begin(), out.end(), std::numeric_limits<float>::quiet_NaN());
    if (!isHeld(trace))
        return;
    const Trace& held = m_traces[static_cast<std::size_t>(trace)];
    const quint64 heldEnd = held.first + held.values.size();
    const quint64 wanted = end - std::min<quint64>(end, out.size());
    const quint64 from = std::max(wanted, held.first);
    const quint64 to = std::min(end, heldEnd);
    if (from >= to)
        return;
    const auto at = static_cast<std::size_t>(out.size() - (end - from));
    std::copy_n(held.values.begin() + static_cast<std::ptrdiff_t>(from - held.first), to - from,
                out.begin() + static_cast<std::ptrdiff_t>(at));
}

} // namespace vt
