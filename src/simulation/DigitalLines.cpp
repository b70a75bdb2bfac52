// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/DigitalLines.h"

namespace vt {

namespace {

constexpr std::uint32_t AllLines = (1U << DigitalLines::LineCount) - 1U;
constexpr int VexioInterruptPort = 0;
constexpr std::uint32_t VexioInterrupt = 1U << 7;
constexpr int DioInterruptPort = 1;
constexpr std::uint32_t DioInterrupt = 1U << 3;
constexpr std::uint8_t FirstExpander = 0x40;
constexpr std::uint8_t SecondExpander = 0x4E;

} // namespace

DigitalLines::DigitalLines(const Setup& setup, const UnitClock& clock)
    : m_registers(setup.registers), m_expanderCount(setup.channels > CagesPerExpander ? 2 : 1),
      m_mcu(setup.registers, clock), m_vexio(setup.vexioSerial, clock, m_events),
      m_expanders{PortExpanderModel{FirstExpander, 1, clock, m_events},
                  PortExpanderModel{SecondExpander, 1 + CagesPerExpander, clock, m_events}}
{
    bus(Bus::Mcu).attach(m_mcu);
    bus(Bus::Vexio).attach(m_vexio);
    for (std::size_t i = 0; i < m_expanderCount; ++i) {
        bus(Bus::Dio).attach(m_expanders[i]);
        m_expanders[i].setAnswering(setup.dioPresent);
    }
    m_vexio.setAnswering(setup.vexioPresent);
}

std::uint32_t DigitalLines::drivenLevels(int port) const
{
    const Port& lines = m_ports[static_cast<std::size_t>(port)];
    return (lines.level & lines.driven) | (AllLines & ~lines.driven);
}

void DigitalLines::updateBuses()
{
    for (std::size_t i = 0; i < BusCount; ++i) {
        const std::uint32_t levels = drivenLevels(Wirings[i].port);
        m_buses[i].setMasterLevels((levels & Wirings[i].sda) != 0, (levels & Wirings[i].scl) != 0);
    }
}

void DigitalLines::write(int port, std::uint32_t mask, std::uint32_t value)
{
    MutexLock lock(m_mutex);
    Port& lines = m_ports[static_cast<std::size_t>(port)];
    lines.driven |= mask;
    lines.level = (lines.level & ~mask) | (value & mask);
    updateBuses();
}

std::uint32_t DigitalLines::read(int port)
{
    MutexLock lock(m_mutex);
    std::uint32_t levels = drivenLevels(port);
    for (std::size_t i = 0; i < BusCount; ++i)
        if (Wirings[i].port == port && !m_buses[i].sdaLevel())
            levels &= ~Wirings[i].readBack;
    if (port == VexioInterruptPort && !(m_vexio.isAnswering() && m_vexio.interruptLevel()))
        levels &= ~VexioInterrupt;
    if (port == DioInterruptPort && !dioInterruptLevel())
        levels &= ~DioInterrupt;
    return levels;
}

/// Wired together: a pin that pulls low wins over the pull-up, one that drives high over everything.
bool DigitalLines::dioInterruptLevel() const
{
    bool low = false;
    for (std::size_t i = 0; i < m_expanderCount; ++i) {
        if (!m_expanders[i].isAnswering())
            continue;
        const auto pin = m_expanders[i].interruptPin();
        if (pin == PortExpanderModel::Interrupt::High)
            return true;
        low = low || pin == PortExpanderModel::Interrupt::Low;
    }
    return !low;
}

void DigitalLines::release()
{
    MutexLock lock(m_mutex);
    m_ports = {};
    updateBuses();
}

void DigitalLines::restartDevices()
{
    m_mcu.powerUp(m_registers);
    m_vexio.restart();
    for (PortExpanderModel& expander : m_expanders)
        expander.restart();
}

void DigitalLines::powerDown()
{
    MutexLock lock(m_mutex);
    restartDevices();
}

void DigitalLines::powerUp()
{
    MutexLock lock(m_mutex);
    m_ports = {};
    for (I2cBus& lines : m_buses)
        lines.reset();
    restartDevices();
}

void DigitalLines::setMcuNak(bool nak)
{
    MutexLock lock(m_mutex);
    m_mcu.setAnswering(!nak);
}

void DigitalLines::setVexioPresent(bool present)
{
    MutexLock lock(m_mutex);
    m_vexio.setAnswering(present);
    m_vexio.restart();
}

void DigitalLines::setDioPresent(bool present)
{
    MutexLock lock(m_mutex);
    for (PortExpanderModel& expander : m_expanders) {
        expander.setAnswering(present);
        expander.restart();
    }
}

void DigitalLines::setDioInput(int cage, bool high)
{
    MutexLock lock(m_mutex);
    const auto index = static_cast<std::size_t>((cage - 1) / CagesPerExpander);
    if (index < m_expanderCount)
        m_expanders[index].setInput((cage - 1) % CagesPerExpander, high);
}

void DigitalLines::nakAtByte(Bus name, int byte)
{
    MutexLock lock(m_mutex);
    bus(name).nakAtByte(byte);
}

void DigitalLines::holdSdaLow(Bus name, int clocks)
{
    MutexLock lock(m_mutex);
    bus(name).holdSdaLow(clocks);
}

std::vector<DeviceEvent> DigitalLines::events()
{
    MutexLock lock(m_mutex);
    m_vexio.update();
    return m_events.all();
}

void DigitalLines::clearEvents()
{
    MutexLock lock(m_mutex);
    m_vexio.update();
    m_events.clear();
}

} // namespace vt
