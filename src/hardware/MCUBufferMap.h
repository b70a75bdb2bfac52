// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/McuHeader.h"

#include <array>
#include <cstdint>
#include <span>

namespace vt {

/// The microcontroller's 127 registers, little-endian, as one image. Texts are ASCII and end at the first
/// zero byte; bytes beyond ASCII show as '?'.
class MCUBufferMap
{
public:
    explicit MCUBufferMap(std::span<const std::uint8_t, McuRegisterCount> bytes);
    [[nodiscard]] MCUHeader header() const;
    /// Is this a register file of the known layout: map revision 1, for mice or rats? A data line that is
    /// held low reads as zeros.
    [[nodiscard]] bool isPlausible() const;

private:
    [[nodiscard]] std::uint16_t u16(std::size_t offset) const;
    [[nodiscard]] float f32(std::size_t offset) const;
    [[nodiscard]] QString text(std::size_t offset, std::size_t size) const;

    std::array<std::uint8_t, McuRegisterCount> m_bytes;
};

} // namespace vt
