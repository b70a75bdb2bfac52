// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/McuRegisterFile.h"

#include <algorithm>
#include <bit>
#include <cstddef>

namespace vt {

namespace {

void putText(McuRegisterFile& file, std::size_t offset, std::size_t size, const std::string& text)
{
    std::copy_n(text.begin(), std::min(size, text.size()),
                file.begin() + static_cast<std::ptrdiff_t>(offset));
}

void putU16(McuRegisterFile& file, std::size_t offset, int value)
{
    file[offset] = static_cast<std::uint8_t>(value & 0xFF);
    file[offset + 1] = static_cast<std::uint8_t>((value >> 8) & 0xFF);
}

void putF32(McuRegisterFile& file, std::size_t offset, float value)
{
    const auto bits = std::bit_cast<std::uint32_t>(value);
    for (std::size_t i = 0; i < 4; ++i)
        file[offset + i] = static_cast<std::uint8_t>((bits >> (8 * i)) & 0xFFU);
}

} // namespace

McuRegisterFile makeMcuRegisterFile(const McuIdentity& identity)
{
    // Firmware built on 17 March 2025 at 09:41 with compiler 2.50, version 1.4.2.
    constexpr std::array<std::uint8_t, 16> BuildInfo{17,  'M', 'a', 'r', 25,  9,   41,  '2',
                                                     '.', '5', '0', '1', '.', '4', '.', '2'};
    McuRegisterFile file{};
    file[0x00] = 1;
    file[0x01] = static_cast<std::uint8_t>(identity.animalType);
    file[0x02] = 1;
    file[0x03] = 1;
    file[0x04] = static_cast<std::uint8_t>(identity.sensorCount);
    putU16(file, 0x05, 0);
    putU16(file, 0x07, identity.gain);
    std::copy(BuildInfo.begin(), BuildInfo.end(), file.begin() + 0x0C);
    putText(file, 0x1C, 10, identity.manufacturingDate);
    putText(file, 0x26, 12, identity.customer);
    putText(file, 0x50, 16, identity.amplifier);
    putF32(file, 0x60, 1.0F);
    putF32(file, 0x64, 1.0F);
    putF32(file, 0x68, identity.gain == 0 ? 2.5F : 0.0F);
    return file;
}

} // namespace vt
