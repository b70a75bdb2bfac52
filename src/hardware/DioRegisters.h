// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/ByteText.h"

#include <QString>
#include <array>
#include <cstdint>

/// Registers of the port expanders, bank 0 addressing; port A drives, port B listens.
namespace vt::DIO_NS {

inline constexpr int LinesPerExpander = 8;

inline constexpr std::uint8_t IODIRA = 0x00;
inline constexpr std::uint8_t IOCONA = 0x0A;
inline constexpr std::uint8_t GPPUA = 0x0C;
inline constexpr std::uint8_t INTFB = 0x0F;
inline constexpr std::uint8_t GPIOB = 0x13;
inline constexpr std::uint8_t OLATA = 0x14;

/// expander: 0 or 1.
[[nodiscard]] constexpr std::uint8_t expanderAddress8(int expander)
{
    return expander == 0 ? 0x40 : 0x4E;
}
[[nodiscard]] inline QString expanderName(int expander)
{
    return QStringLiteral("Port expander ") + prefixedHexByte(expanderAddress8(expander));
}

} // namespace vt::DIO_NS
