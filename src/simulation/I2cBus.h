// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/I2cSlave.h"

#include <vector>

namespace vt {

/// The two wires between one master and its slaves: the data line is low as soon as anyone pulls it low.
/// Not thread-safe: its owner serialises.
class I2cBus
{
public:
    /// The slave outlives the bus.
    void attach(I2cSlave& slave);

    /// The master's levels on both lines (push-pull: high is "released").
    void setMasterLevels(bool sda, bool scl);
    [[nodiscard]] bool sdaLevel() const;

    /// In the next transfer that comes to its byte-th byte from the master (1: the address, 2: the register,
    /// then data, or the second address of a read), that byte is not acknowledged. Once; 0 takes it back.
    void nakAtByte(int byte) { m_nakOrder = byte; }
    /// Something holds the data line low until this many clock pulses have ended; 0 lets go at once.
    void holdSdaLow(int clocks);
    /// Lines high, decoders idle, faults ended: after power-up.
    void reset();

private:
    void settle();

    std::vector<I2cSlave*> m_slaves;
    bool m_masterSda = true;
    bool m_scl = true;
    int m_nakOrder = 0;
    int m_holdClocks = 0;
};

} // namespace vt
