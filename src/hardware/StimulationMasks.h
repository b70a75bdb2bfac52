// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vt {

/// The cages of the stimulation unit.
[[nodiscard]] constexpr std::uint8_t unitCages(std::uint16_t mask)
{
    return static_cast<std::uint8_t>(mask & 0xFFU);
}

/// The cages that a recording of this many channels can stimulate: those of its channels that the stimulation
/// unit has, or all of its channels with digital outputs.
[[nodiscard]] constexpr std::uint16_t reachableCages(int channelCount, bool hasOutputs)
{
    const int most = hasOutputs ? 16 : 8;
    const int count = channelCount < 0 ? 0 : channelCount < most ? channelCount : most;
    return static_cast<std::uint16_t>((1U << count) - 1U);
}

[[nodiscard]] constexpr std::uint16_t without(std::uint16_t mask, std::uint16_t removed)
{
    return static_cast<std::uint16_t>(mask & ~unsigned{removed});
}

} // namespace vt
