// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/DeviceEventLog.h"
#include "simulation/I2cSlave.h"
#include "simulation/UnitClock.h"

#include <array>
#include <cstdint>

namespace vt {

/// A 16-bit port expander with the MCP23017's register layout, bank 0: pairs (port A, port B) of IODIR 0x00,
/// IPOL 0x02, GPINTEN 0x04, DEFVAL 0x06, INTCON 0x08, IOCON 0x0A (one register at both), GPPU 0x0C,
/// INTF 0x0E, INTCAP 0x10, GPIO 0x12, OLAT 0x14. The pointer wraps after 0x15; with IOCON bit 5 it only
/// alternates within a pair. IOCON's bank bit is not there: it reads as 0.
///
/// Port A's pins go to the cages, port B's come from them. An input pin that nothing drives reads high with
/// its pull-up and low without. The first change of an enabled input (INTCON 0: against the level before,
/// 1: for as long as it differs from DEFVAL) sets INTF and keeps the port in INTCAP until INTCAP or GPIO of
/// the port is read. Wired to the outside is the interrupt pin of port A: port B's interrupts only show with
/// IOCON's mirror bit.
class PortExpanderModel final : public I2cSlave
{
public:
    static constexpr int PinCount = 8;

    /// What the interrupt pin does to its line.
    enum class Interrupt { Released, Low, High };

    /// firstCage: number of the cage at pin 0 in events. events outlives the model.
    PortExpanderModel(std::uint8_t address8, int firstCage, UnitClock clock, DeviceEventLog& events);

    /// The level that a cage's equipment drives on an input of port B, pin 0..7. Survives a power-up.
    void setInput(int pin, bool high);
    [[nodiscard]] Interrupt interruptPin() const;
    /// Registers as after power-up: all pins are inputs.
    void restart();

protected:
    [[nodiscard]] std::uint8_t readRegister(std::uint8_t address) override;
    [[nodiscard]] bool writeRegister(std::uint8_t address, std::uint8_t value) override;
    [[nodiscard]] std::uint8_t nextPointer(std::uint8_t pointer) const override;

private:
    static constexpr std::size_t RegisterCount = 0x16;

    [[nodiscard]] std::uint8_t& reg(std::uint8_t base, std::size_t port) { return m_registers[base + port]; }
    [[nodiscard]] std::uint8_t reg(std::uint8_t base, std::size_t port) const
    {
        return m_registers[base + port];
    }
    /// Levels of a port as GPIO shows them.
    [[nodiscard]] std::uint8_t portValue(std::size_t port) const;
    void detectChanges(std::size_t port);
    void clearInterrupt(std::size_t port);
    void noteOutputs();

    const int m_firstCage;
    const UnitClock m_clock;
    DeviceEventLog& m_events;
    std::uint8_t m_drivenInputs = 0; ///< port B
    std::uint8_t m_inputLevels = 0;

    std::array<std::uint8_t, RegisterCount> m_registers{};
    std::array<std::uint8_t, 2> m_lastValue{};
    std::uint8_t m_lastOutputs = 0; ///< pins of port A that were driven
    std::uint8_t m_lastOutputLevels = 0;
};

} // namespace vt
