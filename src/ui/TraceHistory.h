// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>

#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace vt {

/// Where traces come from: copies the newest out.size() values of a channel (counted from 0), oldest first,
/// and returns how many were ever pushed, also for an empty out. Called on the interface thread; must not
/// block.
using TraceSource = std::function<quint64(int channel, std::span<float> out)>;

/// Traces as they were at one moment, copied out of rings that go on being overwritten. They are copied one
/// by one, so that the caller decides how much of it happens at once: half a megabyte each, a fraction of a
/// millisecond.
class TraceHistory
{
public:
    /// Values that are kept of each trace: 18 minutes at 120 Hz.
    static constexpr std::size_t Capacity = std::size_t{18} * 60 * 120;

    /// The moment: values up to number endNumber - 1 are kept, later ones are left out.
    void begin(int traces, quint64 endNumber);
    /// Forgets everything.
    void clear();

    [[nodiscard]] bool isHolding() const { return !m_traces.empty(); }
    [[nodiscard]] quint64 endNumber() const { return m_end; }
    /// Copies one trace, unless it is held already.
    void hold(int trace, const TraceSource& source);
    /// Copies the next so many of those that are not held yet.
    void holdSome(int most, const TraceSource& source);
    [[nodiscard]] bool isHeld(int trace) const;
    [[nodiscard]] bool isComplete() const { return m_held == m_traces.size(); }
    /// Number of the first value kept; endNumber() when none is.
    [[nodiscard]] quint64 firstNumber(int trace) const;

    /// The values before number end, oldest first; NaN where there are none.
    void read(int trace, quint64 end, std::span<float> out) const;

private:
    struct Trace
    {
        bool isHeld = false;
        quint64 first = 0; ///< number of values[0]
        std::vector<float> values;
    };
    std::vector<Trace> m_traces;
    std::size_t m_held = 0;
    quint64 m_end = 0;
};

} // namespace vt
