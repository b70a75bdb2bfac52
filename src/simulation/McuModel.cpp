// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/McuModel.h"

namespace vt {

namespace {

constexpr std::uint8_t EepromControl = 0x09;
constexpr std::uint8_t EepromAccessBit = 0x20;
constexpr std::uint8_t EepromAddress = 0x3D;
constexpr std::uint8_t EepromDataLow = 0x3E;
constexpr std::uint8_t EepromDataHigh = 0x3F;
constexpr std::uint8_t EepromCommand = 0x4C;

} // namespace

McuModel::McuModel(const McuRegisterFile& registers) : m_registers(registers)
{
    m_eeprom.fill(0xFF);
}

void McuModel::powerUp(const McuRegisterFile& registers)
{
    m_registers = registers;
    m_masterSda = m_busSda = m_scl = true;
    m_pointer = 0;
    onStop();
}

void McuModel::setMasterLevels(bool sda, bool scl)
{
    m_masterSda = sda;
    const bool wasSda = m_busSda;
    const bool wasScl = m_scl;
    m_busSda = sdaLevel();
    m_scl = scl;
    if (wasScl && scl) {
        if (wasSda && !m_busSda)
            onStart();
        else if (!wasSda && m_busSda)
            onStop();
    } else if (!wasScl && scl) {
        onClockRise(m_busSda);
    } else if (wasScl && !scl) {
        onClockFall();
    }
    m_busSda = sdaLevel();
}

void McuModel::onStart()
{
    m_phase = Phase::Address;
    m_slot = Slot::Bits;
    m_bitCount = 0;
    m_shift = 0;
    m_pullsSdaLow = false;
}

void McuModel::onStop()
{
    m_phase = Phase::Idle;
    m_slot = Slot::Bits;
    m_bitCount = 0;
    m_pullsSdaLow = false;
}

void McuModel::onClockRise(bool sda)
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

void McuModel::onClockFall()
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
    byteReceived();
    m_pullsSdaLow = m_acknowledge;
}

void McuModel::byteReceived()
{
    const std::uint8_t value = m_shift;
    m_acknowledge = true;
    switch (m_phase) {
    case Phase::Address:
        m_acknowledge = !m_nak && (value & 0xFE) == Address8;
        break;
    case Phase::Pointer:
        m_pointer = value;
        break;
    case Phase::Write:
        storeRegister(value);
        break;
    case Phase::Read:
    case Phase::Idle:
        break;
    }
}

void McuModel::endOfAcknowledge()
{
    m_slot = Slot::Bits;
    m_bitCount = 0;
    m_pullsSdaLow = false;
    switch (m_phase) {
    case Phase::Address:
        if (!m_acknowledge)
            m_phase = Phase::Idle;
        else
            m_phase = (m_shift & 1) != 0 ? Phase::Read : Phase::Pointer;
        break;
    case Phase::Pointer:
        m_phase = Phase::Write;
        break;
    case Phase::Read:
        if (!m_masterAcknowledged)
            m_phase = Phase::Idle;
        break;
    case Phase::Write:
    case Phase::Idle:
        break;
    }
    m_shift = 0;
    if (m_phase == Phase::Read) {
        m_shift = m_registers[m_pointer++];
        driveNextBit();
    }
}

void McuModel::driveNextBit()
{
    m_pullsSdaLow = (m_shift & 0x80) == 0;
    m_shift = static_cast<std::uint8_t>(m_shift << 1);
}

void McuModel::storeRegister(std::uint8_t value)
{
    const std::uint8_t address = m_pointer++;
    m_registers[address] = value;
    if (address == EepromCommand)
        runEepromCommand(value);
}

void McuModel::runEepromCommand(std::uint8_t command)
{
    const int key = command & 0x0F;
    const bool validKey = key >= 1 && key <= 14 && (command >> 4) == (~key & 0x0F);
    if (!validKey || (m_registers[EepromControl] & EepromAccessBit) == 0)
        return;
    const std::uint8_t address = m_registers[EepromAddress];
    const std::uint8_t even = address & 0xFE;
    const auto odd = static_cast<std::uint8_t>(even + 1);
    if ((address & 1) != 0) {
        m_registers[EepromDataLow] = m_eeprom[even];
        m_registers[EepromDataHigh] = m_eeprom[odd];
    } else {
        m_eeprom[even] = m_registers[EepromDataLow];
        m_eeprom[odd] = m_registers[EepromDataHigh];
    }
}

} // namespace vt
