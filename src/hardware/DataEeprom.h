// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

namespace vt {

class I2C;

/// The microcontroller's data EEPROM: 16-bit words at even addresses, reached through a window of its
/// registers. Hardware thread. After a write the unit needs 6 ms, in which nothing else may be asked of its
/// EEPROM; the caller sees to that. betweenTransfers may be empty.
namespace dataeeprom {

inline constexpr int WriteTimeMs = 6;

[[nodiscard]] std::optional<std::uint16_t> readWord(I2C& mcuBus, std::uint8_t evenAddress,
                                                    const std::function<void()>& betweenTransfers);
[[nodiscard]] bool writeWord(I2C& mcuBus, std::uint8_t evenAddress, std::uint16_t value,
                             const std::function<void()>& betweenTransfers);

/// What starts an access: key (1 to 14) in the low nibble, its complement in the high one.
[[nodiscard]] constexpr std::uint8_t commandByte(std::uint8_t key)
{
    return static_cast<std::uint8_t>((~key & 0x0F) << 4 | (key & 0x0F));
}

} // namespace dataeeprom

} // namespace vt
