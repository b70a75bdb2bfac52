// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/McuRegisterFile.h"

#include <array>
#include <cstdint>

namespace vt {

/// The unit's microcontroller as an I2C slave that sees nothing but the levels of two lines. It decodes
/// START, bits, acknowledges, repeated START and STOP from the transitions, keeps a register pointer with
/// auto-increment (wrapping after 0xFF), and serves its register file and a 256-byte data EEPROM.
/// EEPROM: with bit 5 of register 0x09 set, a command byte in 0x4C (low nibble 1..14, high nibble its
/// complement) reads or writes one 16-bit word: the byte in 0x3D is the even address for a write and the
/// address plus one for a read; the word passes through 0x3E (low byte) and 0x3F.
/// Not thread-safe: its owner serialises.
class McuModel
{
public:
    static constexpr std::uint8_t Address8 = 0x10; ///< 8-bit form, R/W bit clear

    explicit McuModel(const McuRegisterFile& registers);

    /// The master's levels on both lines (push-pull: high is "released").
    void setMasterLevels(bool sda, bool scl);
    /// Level of the data line: master and slave wired-AND.
    [[nodiscard]] bool sdaLevel() const { return m_masterSda && !m_pullsSdaLow; }

    /// While set, no address is acknowledged; a transfer that is under way goes on.
    void setNak(bool nak) { m_nak = nak; }
    [[nodiscard]] std::uint8_t registerValue(std::uint8_t address) const { return m_registers[address]; }
    void setRegisterValue(std::uint8_t address, std::uint8_t value) { m_registers[address] = value; }

    /// Power-up: bus idle, register file as given, EEPROM kept.
    void powerUp(const McuRegisterFile& registers);

private:
    enum class Phase { Idle, Address, Pointer, Write, Read };
    enum class Slot { Bits, Acknowledge };

    void onStart();
    void onStop();
    void onClockRise(bool sda);
    void onClockFall();
    void byteReceived();
    void endOfAcknowledge();
    void driveNextBit();
    void storeRegister(std::uint8_t value);
    void runEepromCommand(std::uint8_t command);

    McuRegisterFile m_registers{};
    std::array<std::uint8_t, 256> m_eeprom{};
    bool m_masterSda = true;
    bool m_busSda = true;
    bool m_scl = true;
    bool m_pullsSdaLow = false;
    bool m_nak = false;
    Phase m_phase = Phase::Idle;
    Slot m_slot = Slot::Bits;
    bool m_acknowledge = false; ///< this slave acknowledges the byte just received
    bool m_masterAcknowledged = false;
    int m_bitCount = 0;
    std::uint8_t m_shift = 0;
    std::uint8_t m_pointer = 0;
};

} // namespace vt
