// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/DigitalLines.h"

namespace vt {

namespace {

constexpr int McuPort = 0;
constexpr std::uint32_t McuReadBack = 1U << 0;
constexpr std::uint32_t McuSda = 1U << 1;
constexpr std::uint32_t McuScl = 1U << 2;
constexpr std::uint32_t AllLines = (1U << DigitalLines::LineCount) - 1U;

} // namespace

DigitalLines::DigitalLines(const McuRegisterFile& registers) : m_mcu(registers) {}

std::uint32_t DigitalLines::drivenLevels(int port) const
{
    const Port& lines = m_ports[static_cast<std::size_t>(port)];
    return (lines.level & lines.driven) | (AllLines & ~lines.driven);
}

void DigitalLines::updateMcu()
{
    const std::uint32_t levels = drivenLevels(McuPort);
    m_mcu.setMasterLevels((levels & McuSda) != 0, (levels & McuScl) != 0);
}

void DigitalLines::write(int port, std::uint32_t mask, std::uint32_t value)
{
    MutexLock lock(m_mutex);
    Port& lines = m_ports[static_cast<std::size_t>(port)];
    lines.driven |= mask;
    lines.level = (lines.level & ~mask) | (value & mask);
    if (port == McuPort)
        updateMcu();
}

std::uint32_t DigitalLines::read(int port)
{
    MutexLock lock(m_mutex);
    std::uint32_t levels = drivenLevels(port);
    if (port == McuPort && !m_mcu.sdaLevel())
        levels &= ~McuReadBack;
    return levels;
}

void DigitalLines::release()
{
    MutexLock lock(m_mutex);
    m_ports = {};
    updateMcu();
}

void DigitalLines::setMcuNak(bool nak)
{
    MutexLock lock(m_mutex);
    m_mcu.setNak(nak);
}

void DigitalLines::setMcuRegister(std::uint8_t address, std::uint8_t value)
{
    MutexLock lock(m_mutex);
    m_mcu.setRegisterValue(address, value);
}

void DigitalLines::powerUp(const McuRegisterFile& registers)
{
    MutexLock lock(m_mutex);
    m_ports = {};
    m_mcu.powerUp(registers);
}

} // namespace vt
