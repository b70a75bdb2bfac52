// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/I2cSlave.h"

namespace vt {

void I2cSlave::setLines(bool sda, bool scl)
{
    const bool wasSda = m_sda;
    const bool wasScl = m_scl;
    m_sda = sda;
    m_scl = scl;
    if (wasScl && scl) {
        if (wasSda && !sda)
            onStart();
        else if (!wasSda && sda)
            onStop();
    } else if (scl) {
        onClockRise(sda);
    } else if (wasScl) {
        onClockFall();
    }
}

void I2cSlave::resetDecoder()
{
    m_sda = m_scl = true;
    m_pointer = 0;
    onStop();
}

void I2cSlave::onStart()
{
    if (m_phase == Phase::Idle)
        m_byteCount = 0;
    m_phase = Phase::Address;
    m_slot = Slot::Bits;
    m_bitCount = 0;
    m_shift = 0;
    m_pullsSdaLow = false;
}

void I2cSlave::onStop()
{
    m_phase = Phase::Idle;
    m_slot = Slot::Bits;
    m_bitCount = 0;
    m_pullsSdaLow = false;
}

void I2cSlave::onClockRise(bool sda)
{
    if (m_phase == Phase::Idle)
        return;
    if (m_slot == Slot::Acknowledge) {
        m_masterAcknowledged = !sda;
        return;
    }
    if (m_phase != Phase::Read)
        m_shift = static_cast<std::uint8_t>((m_shift << 1) | (sda ? 1 : 0));
    ++m_bitCount;
}

void I2cSlave::onClockFall()
{
    if (m_phase == Phase::Idle)
        return;
    if (m_slot == Slot::Acknowledge) {
        endOfAcknowledge();
        return;
    }
    if (m_bitCount < 8) {
        if (m_phase == Phase::Read)
            driveNextBit();
        return;
    }
    m_slot = Slot::Acknowledge;
    if (m_phase == Phase::Read) {
        m_pullsSdaLow = false;
        return;
    }
    m_acknowledge = acceptByte(m_shift);
    m_pullsSdaLow = m_acknowledge;
}

bool I2cSlave::acceptByte(std::uint8_t value)
{
    if (m_phase == Phase::Address && (!m_answering || (value & 0xFE) != m_address8))
        return false;
    ++m_byteCount;
    if (m_nakOrder && *m_nakOrder == m_byteCount) {
        *m_nakOrder = 0;
        return false;
    }
    if (m_phase == Phase::Pointer)
        m_pointer = value;
    if (m_phase != Phase::Write)
        return true;
    const std::uint8_t address = m_pointer;
    m_pointer = nextPointer(address);
    return writeRegister(address, value);
}

void I2cSlave::endOfAcknowledge()
{
    m_slot = Slot::Bits;
    m_bitCount = 0;
    m_pullsSdaLow = false;
    const bool goesOn = m_phase == Phase::Read ? m_masterAcknowledged : m_acknowledge;
    if (!goesOn)
        m_phase = Phase::Idle;
    else if (m_phase == Phase::Address)
        m_phase = (m_shift & 1) != 0 ? Phase::Read : Phase::Pointer;
    else if (m_phase == Phase::Pointer)
        m_phase = Phase::Write;
    m_shift = 0;
    if (m_phase != Phase::Read)
        return;
    m_shift = readRegister(m_pointer);
    m_pointer = nextPointer(m_pointer);
    driveNextBit();
}

void I2cSlave::driveNextBit()
{
    m_pullsSdaLow = (m_shift & 0x80) == 0;
    m_shift = static_cast<std::uint8_t>(m_shift << 1);
}

} // namespace vt
