// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/I2cBus.h"

#include <functional>
#include <utility>
#include <vector>

namespace vt::test {

/// A bus master written from the I2C rules alone, on two wires given as functions.
class BusMaster
{
public:
    using Drive = std::function<void(bool sda, bool scl)>;
    using Sense = std::function<bool()>;
    BusMaster(Drive drive, Sense sense) : m_drive(std::move(drive)), m_sense(std::move(sense)) {}
    explicit BusMaster(I2cBus& bus)
        : BusMaster([&bus](bool sda, bool scl) { bus.setMasterLevels(sda, scl); },
                    [&bus] { return bus.sdaLevel(); })
    {}

    void level(int sda, int scl) { m_drive(sda != 0, scl != 0); }
    void start()
    {
        level(1, 0);
        level(1, 1);
        level(0, 1);
        level(0, 0);
    }
    void stop()
    {
        level(0, 0);
        level(0, 1);
        level(1, 1);
    }
    /// One clock pulse; the data line's level while the clock is high.
    bool clock(int sda)
    {
        level(sda, 0);
        level(sda, 1);
        const bool line = m_sense();
        level(sda, 0);
        return line;
    }
    /// True: acknowledged.
    bool send(int byte)
    {
        for (int bit = 7; bit >= 0; --bit)
            clock((byte >> bit) & 1);
        return !clock(1);
    }
    int receive(bool acknowledge)
    {
        int byte = 0;
        for (int bit = 0; bit < 8; ++bit)
            byte = byte * 2 + (clock(1) ? 1 : 0);
        clock(acknowledge ? 0 : 1);
        return byte;
    }
    /// How many bytes were acknowledged, address and register included; ends at the first that was not.
    int writeTo(int address, int reg, const std::vector<int>& bytes)
    {
        std::vector<int> all{address, reg};
        all.insert(all.end(), bytes.begin(), bytes.end());
        int acknowledged = 0;
        start();
        for (const int byte : all) {
            if (!send(byte))
                break;
            ++acknowledged;
        }
        stop();
        return acknowledged;
    }
    /// Empty when an address or the register was not acknowledged.
    std::vector<int> readFrom(int address, int reg, int count)
    {
        std::vector<int> bytes;
        start();
        if (send(address) && send(reg)) {
            start();
            if (send(address | 1))
                for (int i = 0; i < count; ++i)
                    bytes.push_back(receive(i + 1 < count));
        }
        stop();
        return bytes;
    }
    /// Nine clock pulses with the data line released, then a STOP. True: the data line is free.
    bool clearBus()
    {
        for (int i = 0; i < 9; ++i) {
            level(1, 1);
            level(1, 0);
        }
        level(1, 1);
        const bool free = m_sense();
        level(1, 0);
        level(1, 1);
        return free;
    }

private:
    Drive m_drive;
    Sense m_sense;
};

} // namespace vt::test
