// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/McuModel.h"

#include <utility>

namespace vt {

namespace {

constexpr std::uint8_t SensorCount = 0x04;
constexpr std::uint8_t ShortedLow = 0x05;
constexpr std::uint8_t ShortedHigh = 0x06;
constexpr std::uint8_t EepromControl = 0x09;
constexpr std::uint8_t EepromAccessBit = 0x20;
constexpr std::uint8_t Status = 0x0A;
constexpr std::uint8_t StatusButton = 0x01;
constexpr std::uint8_t StatusSensorCount = 0x02;
constexpr std::uint8_t StatusShorted = 0x04;
constexpr std::uint8_t EepromAddress = 0x3D;
constexpr std::uint8_t EepromDataLow = 0x3E;
constexpr std::uint8_t EepromDataHigh = 0x3F;
constexpr std::uint8_t EepromCommand = 0x4C;

} // namespace

McuModel::McuModel(const McuRegisterFile& registers, UnitClock clock)
    : I2cSlave(Address8), m_clock(std::move(clock)), m_registers(registers)
{
    m_eeprom.fill(0xFF);
}

void McuModel::powerUp(const McuRegisterFile& registers)
{
    m_registers = registers;
    m_eepromBusy = false;
}

void McuModel::pressButton()
{
    m_registers[Status] |= StatusButton;
}

void McuModel::setSensorCount(std::uint8_t count)
{
    m_registers[SensorCount] = count;
    m_registers[Status] |= StatusSensorCount;
}

void McuModel::setShortedSensors(std::uint16_t mask)
{
    m_registers[ShortedLow] = static_cast<std::uint8_t>(mask & 0xFF);
    m_registers[ShortedHigh] = static_cast<std::uint8_t>(mask >> 8);
    m_registers[Status] =
        static_cast<std::uint8_t>((m_registers[Status] & ~StatusShorted) | (mask != 0 ? StatusShorted : 0));
}

std::uint8_t McuModel::readRegister(std::uint8_t address)
{
    const std::uint8_t value = m_registers[address];
    if (address == Status)
        m_registers[Status] = static_cast<std::uint8_t>(value & ~(StatusButton | StatusSensorCount));
    return value;
}

bool McuModel::writeRegister(std::uint8_t address, std::uint8_t value)
{
    if (address == Status)
        return true;
    if (address == EepromCommand && !runEepromCommand(value))
        return false;
    m_registers[address] = value;
    return true;
}

/// False: the EEPROM is busy.
bool McuModel::runEepromCommand(std::uint8_t command)
{
    const int key = command & 0x0F;
    const bool validKey = key >= 1 && key <= 14 && (command >> 4) == (~key & 0x0F);
    if (!validKey || (m_registers[EepromControl] & EepromAccessBit) == 0)
        return true;
    const std::int64_t nowUs = m_clock();
    if (m_eepromBusy && nowUs < m_eepromBusyUntilUs)
        return false;
    const std::uint8_t address = m_registers[EepromAddress];
    const std::uint8_t even = address & 0xFE;
    const auto odd = static_cast<std::uint8_t>(even + 1);
    m_eepromBusy = (address & 1) == 0;
    if (m_eepromBusy) {
        m_eeprom[even] = m_registers[EepromDataLow];
        m_eeprom[odd] = m_registers[EepromDataHigh];
        m_eepromBusyUntilUs = nowUs + EepromWriteUs;
    } else {
        m_registers[EepromDataLow] = m_eeprom[even];
        m_registers[EepromDataHigh] = m_eeprom[odd];
    }
    return true;
}

} // namespace vt
