// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/I2cSlave.h"
#include "simulation/McuRegisterFile.h"
#include "simulation/UnitClock.h"

#include <array>
#include <cstdint>

namespace vt {

/// The unit's microcontroller: its register file and a 256-byte data EEPROM.
/// EEPROM: with bit 5 of register 0x09 set, a command byte in 0x4C (low nibble 1..14, high nibble its
/// complement) reads or writes one 16-bit word: the byte in 0x3D is the even address for a write and the
/// address plus one for a read; the word passes through 0x3E (low byte) and 0x3F. A write keeps the EEPROM
/// busy for EepromWriteUs; command bytes in that time are not acknowledged.
/// Status register 0x0A: bit 0 (button) and bit 1 (sensor count) stay until a master has read them, bit 2
/// is set while a sensor is shorted; what a master writes there is ignored.
class McuModel final : public I2cSlave
{
public:
    static constexpr std::uint8_t Address8 = 0x10; ///< 8-bit form, R/W bit clear
    static constexpr std::int64_t EepromWriteUs = 6000;

    McuModel(const McuRegisterFile& registers, UnitClock clock);

    [[nodiscard]] std::uint8_t registerValue(std::uint8_t address) const { return m_registers[address]; }
    void setRegisterValue(std::uint8_t address, std::uint8_t value) { m_registers[address] = value; }

    void pressButton();
    void setSensorCount(std::uint8_t count);
    void setShortedSensors(std::uint16_t mask);

    /// Power-up: register file as given, EEPROM kept and not busy.
    void powerUp(const McuRegisterFile& registers);

protected:
    [[nodiscard]] std::uint8_t readRegister(std::uint8_t address) override;
    [[nodiscard]] bool writeRegister(std::uint8_t address, std::uint8_t value) override;

private:
    [[nodiscard]] bool runEepromCommand(std::uint8_t command);

    const UnitClock m_clock;
    McuRegisterFile m_registers{};
    std::array<std::uint8_t, 256> m_eeprom{};
    std::int64_t m_eepromBusyUntilUs = 0;
    bool m_eepromBusy = false;
};

} // namespace vt
