// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/PortExpanderModel.h"

#include <utility>

namespace vt {

namespace {

// Registers of port A; port B's follow one higher.
constexpr std::uint8_t Iodir = 0x00;
constexpr std::uint8_t Ipol = 0x02;
constexpr std::uint8_t Gpinten = 0x04;
constexpr std::uint8_t Defval = 0x06;
constexpr std::uint8_t Intcon = 0x08;
constexpr std::uint8_t Iocon = 0x0A;
constexpr std::uint8_t Gppu = 0x0C;
constexpr std::uint8_t Intf = 0x0E;
constexpr std::uint8_t Intcap = 0x10;
constexpr std::uint8_t Gpio = 0x12;
constexpr std::uint8_t Olat = 0x14;

constexpr std::uint8_t IoconPresent = 0x7E;
constexpr std::uint8_t IoconMirror = 0x40;
constexpr std::uint8_t IoconNotSequential = 0x20;
constexpr std::uint8_t IoconOpenDrain = 0x04;
constexpr std::uint8_t IoconActiveHigh = 0x02;

constexpr std::size_t PortA = 0;
constexpr std::size_t PortB = 1;

} // namespace

PortExpanderModel::PortExpanderModel(std::uint8_t address8, int firstCage, UnitClock clock,
                                     DeviceEventLog& events)
    : I2cSlave(address8), m_firstCage(firstCage), m_clock(std::move(clock)), m_events(events)
{
    restart();
}

void PortExpanderModel::restart()
{
    m_registers = {};
    reg(Iodir, PortA) = reg(Iodir, PortB) = 0xFF;
    m_lastOutputs = 0;
    m_lastValue = {portValue(PortA), portValue(PortB)};
}

void PortExpanderModel::setInput(int pin, bool high)
{
    const auto mask = static_cast<std::uint8_t>(1U << pin);
    m_drivenInputs |= mask;
    m_inputLevels = static_cast<std::uint8_t>((m_inputLevels & ~mask) | (high ? mask : 0));
    detectChanges(PortB);
}

std::uint8_t PortExpanderModel::portValue(std::size_t port) const
{
    const std::uint8_t driven = port == PortB ? m_drivenInputs : std::uint8_t{0};
    const int inputs = (m_inputLevels & driven) | (reg(Gppu, port) & ~driven);
    const int direction = reg(Iodir, port);
    const int levels = (inputs & direction) | (reg(Olat, port) & ~direction);
    return static_cast<std::uint8_t>(levels ^ reg(Ipol, port));
}

/// The interrupt compares levels on the pins, whatever IPOL shows of them: inverting both sides of a
/// comparison with the level before changes nothing, and DEFVAL is compared with the pin.
void PortExpanderModel::detectChanges(std::size_t port)
{
    const auto value = static_cast<std::uint8_t>(portValue(port) ^ reg(Ipol, port));
    const int changed = (value ^ m_lastValue[port]) & ~reg(Intcon, port);
    const int differs = (value ^ reg(Defval, port)) & reg(Intcon, port);
    m_lastValue[port] = value;
    const int flags = (changed | differs) & reg(Gpinten, port) & reg(Iodir, port);
    if (flags == 0 || reg(Intf, port) != 0)
        return;
    reg(Intf, port) = static_cast<std::uint8_t>(flags);
    reg(Intcap, port) = portValue(port);
}

void PortExpanderModel::clearInterrupt(std::size_t port)
{
    reg(Intf, port) = 0;
    detectChanges(port); // a pin that still differs from DEFVAL interrupts again
}

PortExpanderModel::Interrupt PortExpanderModel::interruptPin() const
{
    const std::uint8_t control = m_registers[Iocon];
    const bool mirrored = (control & IoconMirror) != 0;
    const bool active = reg(Intf, PortA) != 0 || (mirrored && reg(Intf, PortB) != 0);
    if ((control & IoconOpenDrain) != 0)
        return active ? Interrupt::Low : Interrupt::Released;
    const bool activeHigh = (control & IoconActiveHigh) != 0;
    return active == activeHigh ? Interrupt::High : Interrupt::Low;
}

std::uint8_t PortExpanderModel::readRegister(std::uint8_t address)
{
    if (address >= RegisterCount)
        return 0;
    const std::size_t port = address & 1U;
    switch (address & ~1U) {
    case Iocon:
        return m_registers[Iocon];
    case Intcap: {
        const std::uint8_t captured = m_registers[address];
        clearInterrupt(port);
        return captured;
    }
    case Gpio: {
        const std::uint8_t value = portValue(port);
        clearInterrupt(port);
        return value;
    }
    default:
        return m_registers[address];
    }
}

bool PortExpanderModel::writeRegister(std::uint8_t address, std::uint8_t value)
{
    if (address >= RegisterCount)
        return true;
    const std::size_t port = address & 1U;
    switch (address & ~1U) {
    case Intf:
    case Intcap:
        return true;
    case Iocon:
        m_registers[Iocon] = value & IoconPresent;
        return true;
    case Gpio:
        reg(Olat, port) = value;
        break;
    default:
        m_registers[address] = value;
    }
    detectChanges(port);
    if (port == PortA)
        noteOutputs();
    return true;
}

std::uint8_t PortExpanderModel::nextPointer(std::uint8_t pointer) const
{
    if ((m_registers[Iocon] & IoconNotSequential) != 0)
        return pointer ^ 1U;
    return static_cast<std::uint8_t>((pointer + 1) % RegisterCount);
}

void PortExpanderModel::noteOutputs()
{
    const auto outputs = static_cast<std::uint8_t>(~reg(Iodir, PortA));
    const std::uint8_t levels = reg(Olat, PortA);
    const int changed = outputs & (~m_lastOutputs | (levels ^ m_lastOutputLevels));
    m_lastOutputs = outputs;
    m_lastOutputLevels = levels;
    for (int pin = 0; pin < PinCount; ++pin)
        if ((changed >> pin & 1) != 0)
            m_events.add(
                {DeviceEvent::Kind::OutputChanged, m_firstCage + pin, (levels >> pin & 1) != 0, m_clock()});
}

} // namespace vt
