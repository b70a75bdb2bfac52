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
    /// False for what a data line reads as that is held low or high: 127 bytes of 0x00, or of 0xFF.
    [[nodiscard]] bool isFromUnit() const;
    /// The known layout, map revision 1, for mice or rats. Another unit's raw signals can be recorded all the
    /// same.
    [[nodiscard]] bool isKnown() const;

private:
    [[nodiscard]] std::uint16_t u16(std::size_t offset) const;
    [[nodiscard]] float f32(std::size_t offset) const;
    [[nodiscard]] QString text(std::size_t offset, std::size_t size) const;

    std::array<std::uint8_t, McuRegisterCount> m_bytes;
};

} // namespace vt
