// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace vt {

/// What the simulated unit's microcontroller says about itself.
struct McuIdentity
{
    int animalType = 1; ///< 1 mouse, 2 rat
    int sensorCount = 8;
    int gain = 100; ///< 0: none reported
    std::string manufacturingDate = "2025_03_17";
    std::string customer = "DEMO";
    std::string amplifier = "SIM AMP 16";
};

using McuRegisterFile = std::array<std::uint8_t, 256>;

/// The register file at power-up. The first 127 bytes carry meaning, little-endian:
/// 0x00 map revision, 0x01 animal type, 0x02 amplifier type, 0x03 sensor type, 0x04 sensor count,
/// 0x05 u16 shorted sensors, 0x07 u16 gain, 0x09 EEPROM control, 0x0A status, 0x0C build information (16),
/// 0x1C manufacturing date (10), 0x26 customer (12), 0x3C..0x3F and 0x4C EEPROM window and command,
/// 0x50 amplifier text (16), 0x60 / 0x64 / 0x68 f32 input gain, output gain, offset in volts.
[[nodiscard]] McuRegisterFile makeMcuRegisterFile(const McuIdentity& identity);

} // namespace vt
