// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vt {

/// Which digital outputs are to stay on, and which of them the port expanders still drive although they no
/// longer need to. Plain state; one thread.
class StimulationHeldOutputs
{
public:
    void hold(std::uint16_t mask)
    {
        m_held |= mask;
        m_driven |= mask;
    }
    /// The outputs need not stay on any longer; takeReleased() tells so.
    void release(std::uint16_t mask) { m_held &= static_cast<std::uint16_t>(~unsigned{mask}); }
    /// The outputs that are to be switched off now: driven, but no longer held.
    [[nodiscard]] std::uint16_t takeReleased()
    {
        const auto released = static_cast<std::uint16_t>(m_driven & ~unsigned{m_held});
        m_driven = m_held;
        return released;
    }
    [[nodiscard]] std::uint16_t held() const { return m_held; }

private:
    std::uint16_t m_held = 0;
    std::uint16_t m_driven = 0;
};

} // namespace vt
