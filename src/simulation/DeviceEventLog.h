// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

namespace vt {

/// Something that a device on the simulated unit's lines did to the cages.
struct DeviceEvent
{
    enum class Kind {
        StimulationStarted,
        StimulationStopped, ///< the profile ended, was stopped, was begun anew, or the power went
        OutputChanged       ///< an expander's output line; high says the level on the line
    };
    Kind kind = Kind::StimulationStarted;
    int cage = 0; ///< 1..16
    bool high = false;
    std::int64_t timeUs = 0; ///< the unit's clock
    bool operator==(const DeviceEvent&) const = default;
};

/// The events of a unit in order, the newest EventLimit of them. Not thread-safe: its owner serialises.
class DeviceEventLog
{
public:
    static constexpr std::size_t EventLimit = 100'000;

    void add(const DeviceEvent& event)
    {
        m_events.push_back(event);
        if (m_events.size() > EventLimit)
            m_events.pop_front();
    }
    void clear() { m_events.clear(); }
    [[nodiscard]] std::vector<DeviceEvent> all() const { return {m_events.begin(), m_events.end()}; }

private:
    std::deque<DeviceEvent> m_events;
};

} // namespace vt
