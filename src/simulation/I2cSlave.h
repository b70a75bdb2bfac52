// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vt {

/// A register device on a two-wire bus that sees nothing but the levels of the two lines. It decodes START,
/// bits, acknowledges, repeated START and STOP from the transitions. The first byte written after the
/// address sets the register pointer, later ones are stored from there on; a read goes on from the pointer.
/// Not thread-safe: its owner serialises.
class I2cSlave
{
public:
    /// address8: 8-bit form, R/W bit clear.
    explicit I2cSlave(std::uint8_t address8) : m_address8(address8) {}
    virtual ~I2cSlave() = default;
    I2cSlave(const I2cSlave&) = delete;
    I2cSlave& operator=(const I2cSlave&) = delete;

    /// The levels on the lines, after everything that pulls at them.
    void setLines(bool sda, bool scl);
    [[nodiscard]] bool pullsSdaLow() const { return m_pullsSdaLow; }

    /// While false, no address is acknowledged; a transfer that is under way goes on.
    void setAnswering(bool answering) { m_answering = answering; }
    [[nodiscard]] bool isAnswering() const { return m_answering; }
    /// The decoder forgets what is under way, as after power-up with both lines high.
    void resetDecoder();
    /// *order is the number of a byte (1: the address) that this slave does not acknowledge in a transfer;
    /// it sets it to 0 then. The order outlives the slave or is taken back with null.
    void obeyNakOrder(int* order) { m_nakOrder = order; }

protected:
    /// Called when the first bit of the byte is about to be sent.
    [[nodiscard]] virtual std::uint8_t readRegister(std::uint8_t address) = 0;
    /// False: the byte is not acknowledged.
    [[nodiscard]] virtual bool writeRegister(std::uint8_t address, std::uint8_t value) = 0;
    /// Where the pointer goes after an access.
    [[nodiscard]] virtual std::uint8_t nextPointer(std::uint8_t pointer) const
    {
        return static_cast<std::uint8_t>(pointer + 1);
    }

private:
    enum class Phase { Idle, Address, Pointer, Write, Read };
    enum class Slot { Bits, Acknowledge };

    void onStart();
    void onStop();
    void onClockRise(bool sda);
    void onClockFall();
    [[nodiscard]] bool acceptByte(std::uint8_t value);
    void endOfAcknowledge();
    void driveNextBit();

    const std::uint8_t m_address8;
    bool m_sda = true;
    bool m_scl = true;
    bool m_pullsSdaLow = false;
    bool m_answering = true;
    Phase m_phase = Phase::Idle;
    Slot m_slot = Slot::Bits;
    bool m_acknowledge = false; ///< this slave acknowledges the byte just received
    bool m_masterAcknowledged = false;
    int m_bitCount = 0;
    int m_byteCount = 0; ///< received in this transfer, both addresses included
    int* m_nakOrder = nullptr;
    std::uint8_t m_shift = 0;
    std::uint8_t m_pointer = 0;
};

} // namespace vt
