// SPDX-License-Identifier: GPL-3.0-or-later
#include "I2cSlave.h"

#include <cstdio>

namespace vt::test {

namespace {

std::string hex(std::uint8_t value)
{
    char text[3];
    std::snprintf(text, sizeof text, "%02X", static_cast<unsigned>(value));
    return text;
}

} // namespace

void I2cSlave::note(const std::string& text)
{
    if (!m_transcript.empty())
        m_transcript += ' ';
    m_transcript += text;
}

void I2cSlave::lines(bool sda, bool scl)
{
    const bool wasSda = m_masterSda;
    const bool wasScl = m_masterScl;
    m_masterSda = sda;
    m_masterScl = scl;
    if (wasScl && scl && wasSda && !sda) {
        note("S");
        m_phase = Phase::Receive;
        m_bits = m_bytes = 0;
        m_pullsLow = false;
    } else if (wasScl && scl && !wasSda && sda) {
        note("P");
        m_phase = Phase::Idle;
        m_pullsLow = false;
    } else if (!wasScl && scl) {
        clockRose();
    } else if (wasScl && !scl) {
        clockFell();
    }
}

void I2cSlave::clockRose()
{
    if (m_phase == Phase::Receive) {
        m_shift = static_cast<std::uint8_t>((m_shift << 1) | (m_masterSda ? 1 : 0));
        ++m_bits;
    } else if (m_phase == Phase::Send) {
        ++m_bits;
    } else if (m_phase == Phase::AckIn) {
        m_isAcknowledged = !m_masterSda;
        note('<' + hex(m_shift) + (m_isAcknowledged ? '+' : '-'));
    }
}

void I2cSlave::clockFell()
{
    switch (m_phase) {
    case Phase::Idle:
        return;
    case Phase::Receive:
        if (m_bits == 8)
            byteReceived();
        return;
    case Phase::AckOut:
        m_pullsLow = false;
        m_bits = 0;
        m_phase = !m_isAcknowledged ? Phase::Idle : m_isReading ? Phase::Send : Phase::Receive;
        if (m_phase == Phase::Send)
            loadByte();
        return;
    case Phase::Send:
        m_pullsLow = m_bits < 8 && ((m_shift >> (7 - m_bits)) & 1) == 0;
        if (m_bits == 8)
            m_phase = Phase::AckIn;
        return;
    case Phase::AckIn:
        m_bits = 0;
        m_phase = m_isAcknowledged ? Phase::Send : Phase::Idle;
        if (m_isAcknowledged)
            loadByte();
        return;
    }
}

void I2cSlave::byteReceived()
{
    m_isAcknowledged = !isSilent && m_bytes < acknowledgedBytes;
    if (m_bytes == 0) {
        m_isAcknowledged = m_isAcknowledged && (m_shift & 0xFE) == m_address8;
        m_isReading = (m_shift & 1) != 0;
    } else if (m_bytes == 1) {
        m_pointer = m_shift;
        isSilent = m_pointer == trapRegister;
    } else if (m_isAcknowledged) {
        if (m_pointer != stuckRegister)
            registers[m_pointer] = m_shift;
        ++m_pointer;
    }
    ++m_bytes;
    note(hex(m_shift) + (m_isAcknowledged ? '+' : '-'));
    m_pullsLow = m_isAcknowledged;
    m_phase = Phase::AckOut;
}

void I2cSlave::loadByte()
{
    std::uint8_t& value = registers[m_pointer];
    m_shift = value;
    value = static_cast<std::uint8_t>(value & ~clearedByReading[m_pointer++]);
    m_pullsLow = (m_shift & 0x80) == 0;
}

} // namespace vt::test
