// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "simulation/McuModel.h"

#include <array>
#include <cstdint>

namespace vt {

/// The unit's two digital ports of eight lines, with the microcontroller on port 0: data out line 1, clock
/// out line 2, data read-back line 0. Lines that no task drives are pulled up and read high, as does
/// everything without a device behind it. Thread-safe.
class DigitalLines
{
public:
    static constexpr int PortCount = 2;
    static constexpr int LineCount = 8;

    explicit DigitalLines(const McuRegisterFile& registers);

    /// One port-aligned sample (bit n is line n): lines in mask take the level in value and stay driven.
    void write(int port, std::uint32_t mask, std::uint32_t value);
    /// Levels of all lines of the port.
    [[nodiscard]] std::uint32_t read(int port);
    /// All lines become inputs again (device reset).
    void release();

    void setMcuNak(bool nak);
    void setMcuRegister(std::uint8_t address, std::uint8_t value);
    void powerUp(const McuRegisterFile& registers);

private:
    struct Port
    {
        std::uint32_t driven = 0;
        std::uint32_t level = 0;
    };
    [[nodiscard]] std::uint32_t drivenLevels(int port) const VT_REQUIRES(m_mutex);
    void updateMcu() VT_REQUIRES(m_mutex);

    Mutex m_mutex;
    std::array<Port, PortCount> m_ports VT_GUARDED_BY(m_mutex);
    McuModel m_mcu VT_GUARDED_BY(m_mutex);
};

} // namespace vt
