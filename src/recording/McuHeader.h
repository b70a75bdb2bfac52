// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace vt {

inline constexpr int McuRegisterCount = 127;

/// Bits of MCUHeader::status.
inline constexpr std::uint8_t McuPushButton = 0x01;
inline constexpr std::uint8_t McuSensorCountChanged = 0x02;
inline constexpr std::uint8_t McuSensorShorted = 0x04;

/// What the acquisition unit's microcontroller says about itself (the registers of docs/file-formats.md).
struct MCUHeader
{
    std::uint8_t mapRevision = 1;
    std::uint8_t animalType = 0; ///< 1 mouse, 2 rat
    std::uint8_t amplifierType = 0;
    std::uint8_t sensorType = 0;
    std::uint8_t sensorCount = 0;  ///< 1..16
    std::uint16_t shortedMask = 0; ///< bit i = channel i
    std::uint16_t gain = 0;        ///< 0: none reported
    std::uint8_t eepromControl = 0;
    std::uint8_t status = 0;
    std::array<std::uint8_t, 16> buildInfo{};
    QString manufacturingDate; ///< "yyyy_MM_dd"
    QString customerInfo;
    QString amplifierText;
    float inputGain = 1.0F;
    float outputGain = 1.0F;
    float offsetVolts = 0.0F;

    bool operator==(const MCUHeader&) const = default;
};

/// The block as it stands in a recording's header: u32 count of the bytes that follow, then the fields in
/// the order above, big-endian, strings as u32 byte count and UTF-8.
[[nodiscard]] QByteArray encodeMcuBlock(const MCUHeader& header);
/// payload is what follows the count. Empty when it is too short or its strings run past its end; bytes
/// after the last known field are ignored.
[[nodiscard]] std::optional<MCUHeader> decodeMcuBlock(std::span<const std::byte> payload);

/// The record written for the serial amplifier, which has no microcontroller.
[[nodiscard]] MCUHeader placeholderMcuHeader(std::uint8_t amplifierType, std::uint8_t animalType);

} // namespace vt
