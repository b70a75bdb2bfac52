// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/I2cBus.h"

#include <algorithm>

namespace vt {

void I2cBus::attach(I2cSlave& slave)
{
    m_slaves.push_back(&slave);
    slave.obeyNakOrder(&m_nakOrder);
}

bool I2cBus::sdaLevel() const
{
    return m_masterSda && m_holdClocks == 0 &&
           std::none_of(m_slaves.begin(), m_slaves.end(),
                        [](const I2cSlave* slave) { return slave->pullsSdaLow(); });
}

void I2cBus::setMasterLevels(bool sda, bool scl)
{
    const bool pulseEnds = m_scl && !scl;
    m_masterSda = sda;
    m_scl = scl;
    if (pulseEnds && m_holdClocks > 0)
        --m_holdClocks;
    settle();
}

void I2cBus::holdSdaLow(int clocks)
{
    m_holdClocks = clocks;
    settle();
}

/// A slave that reacts to the levels changes the level for all, itself included. It only lets go or pulls on
/// a clock that falls, or lets go on START or STOP, so that the second round changes nothing any more.
void I2cBus::settle()
{
    for (int round = 0; round < 2; ++round) {
        const bool sda = sdaLevel();
        for (I2cSlave* slave : m_slaves)
            slave->setLines(sda, m_scl);
    }
}

void I2cBus::reset()
{
    m_masterSda = m_scl = true;
    m_nakOrder = m_holdClocks = 0;
    for (I2cSlave* slave : m_slaves)
        slave->resetDecoder();
}

} // namespace vt
