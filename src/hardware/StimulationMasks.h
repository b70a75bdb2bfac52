// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vt {

/// The cages of the stimulation unit.
[[nodiscard]] constexpr std::uint8_t unitCages(std::uint16_t mask)
{
    return static_cast<std::uint8_t>(mask & 0xFFU);
}

[[nodiscard]] constexpr std::uint16_t without(std::uint16_t mask, std::uint16_t removed)
{
    return static_cast<std::uint16_t>(mask & ~unsigned{removed});
}

} // namespace vt
