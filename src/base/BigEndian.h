// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace vt {

/// Writes an unsigned integer in network order to out[0 .. sizeof(T)-1].
template <typename T>
inline void storeBigEndian(T value, std::byte* out)
{
    static_assert(std::is_unsigned_v<T>);
    for (std::size_t i = 0; i < sizeof(T); ++i)
        out[i] = static_cast<std::byte>(static_cast<std::uint8_t>(value >> (8 * (sizeof(T) - 1 - i))));
}

/// Reads an unsigned integer in network order from in[0 .. sizeof(T)-1].
template <typename T>
[[nodiscard]] inline T loadBigEndian(const std::byte* in)
{
    static_assert(std::is_unsigned_v<T>);
    T value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value = static_cast<T>((value << 8) | std::to_integer<T>(in[i]));
    return value;
}

/// IEEE-754 double in network order.
inline void storeBigEndianDouble(double value, std::byte* out)
{
    storeBigEndian(std::bit_cast<std::uint64_t>(value), out);
}

[[nodiscard]] inline double loadBigEndianDouble(const std::byte* in)
{
    return std::bit_cast<double>(loadBigEndian<std::uint64_t>(in));
}

} // namespace vt
