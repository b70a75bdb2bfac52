// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/McuHeader.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace vt::test {

/// Registers of a rat unit with 12 sensors, byte by byte as the microcontroller serves them.
inline std::array<std::uint8_t, McuRegisterCount> ratUnitRegisters()
{
    std::array<std::uint8_t, McuRegisterCount> bytes{};
    bytes.fill(0xEE); // reserved registers hold anything
    const std::uint8_t head[] = {1, 2, 3, 4, 12, 0x01, 0x08, 0x2C, 0x01, 0x20, 0x05};
    std::memcpy(&bytes[0x00], head, sizeof head);
    std::memcpy(&bytes[0x0C], "\x11Mar\x1A\x0A\x1Ev9.2 1.04", 16);
    std::memcpy(&bytes[0x1C], "2025_11_30", 10);
    std::memcpy(&bytes[0x26], "Lab 7\0\0\0\0\0\0\0", 12);
    std::memcpy(&bytes[0x50], "sixteen letters!", 16);
    const std::uint8_t floats[] = {0x00, 0x00, 0xC0, 0x3F,  // 1.5
                                   0x00, 0x00, 0x00, 0xBF,  // -0.5
                                   0x00, 0x00, 0x20, 0x40}; // 2.5
    std::memcpy(&bytes[0x60], floats, sizeof floats);
    return bytes;
}

inline MCUHeader ratUnitHeader()
{
    MCUHeader header;
    header.mapRevision = 1;
    header.animalType = 2;
    header.amplifierType = 3;
    header.sensorType = 4;
    header.sensorCount = 12;
    header.shortedMask = 0x0801;
    header.gain = 300;
    header.eepromControl = 0x20;
    header.status = 5;
    header.buildInfo = {0x11, 'M', 'a', 'r', 0x1A, 0x0A, 0x1E, 'v', '9', '.', '2', ' ', '1', '.', '0', '4'};
    header.manufacturingDate = QStringLiteral("2025_11_30");
    header.customerInfo = QStringLiteral("Lab 7");
    header.amplifierText = QStringLiteral("sixteen letters!");
    header.inputGain = 1.5F;
    header.outputGain = -0.5F;
    header.offsetVolts = 2.5F;
    return header;
}

} // namespace vt::test
