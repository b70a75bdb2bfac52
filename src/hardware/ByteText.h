// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <cstdint>

namespace vt {

/// Two hexadecimal digits, upper case.
[[nodiscard]] inline QString hexByte(std::uint8_t value)
{
    return QStringLiteral("%1").arg(value, 2, 16, QLatin1Char('0')).toUpper();
}
[[nodiscard]] inline QString prefixedHexByte(std::uint8_t value)
{
    return QStringLiteral("0x") + hexByte(value);
}
/// "0b" and eight binary digits, highest bit first.
[[nodiscard]] inline QString binaryByte(std::uint8_t value)
{
    return QStringLiteral("0b%1").arg(value, 8, 2, QLatin1Char('0'));
}

} // namespace vt
