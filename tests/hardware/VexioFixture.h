// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "FakeUnit.h"
#include "LogCapture.h"
#include "hardware/I2C.h"
#include "hardware/VEXIO.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <gmock/gmock.h>

namespace vt::test {

/// One transfer each, as the unit writes it down.
inline std::string written(const std::string& bytes)
{
    return "S 10+ " + bytes + "+ P";
}
inline std::string read(const std::string& first, const std::string& bytes)
{
    return "S 10+ " + first + "+ S 11+ " + bytes + "- P";
}

/// A stimulation unit on its bus that writes down what it hears, with fake time.
class VexioTest : public testing::Test
{
protected:
    VexioTest()
    {
        unit.attachVexio();
        unit.withVexio([](I2cSlave& slave) {
            const std::array<std::uint8_t, 7> info{0x78, 0x56, 0x34, 0x12, 0x01, 0x00, 0x10};
            std::copy(info.begin(), info.end(), slave.registers.begin() + 0x78);
        });
        bus = std::make_unique<I2C>(unit, u"Dev1"_qs, 0, 4, 5, 6);
        vexio = std::make_unique<VEXIO>(HardwareContext{unit, time, QCoreApplication::instance()});
    }
    void init()
    {
        ASSERT_TRUE(vexio->initVexio(bus.get(), 8));
        setRegister(0x0A, 0); // a real unit clears the bits that are written
        setRegister(0x0B, 0);
        forgetTraffic();
    }
    void forgetTraffic()
    {
        unit.withVexio([](I2cSlave& slave) { slave.forgetTranscript(); });
    }
    /// What went over the bus since the last look.
    std::string traffic()
    {
        return unit.withVexio([](I2cSlave& slave) {
            const std::string seen = slave.transcript();
            slave.forgetTranscript();
            return seen;
        });
    }
    void setRegister(std::uint8_t address, std::uint8_t value)
    {
        unit.withVexio([&](I2cSlave& slave) { slave.registers[address] = value; });
    }
    std::uint8_t registerValue(std::uint8_t address)
    {
        return unit.withVexio([&](I2cSlave& slave) { return slave.registers[address]; });
    }
    void setSilent(bool isSilent)
    {
        unit.withVexio([&](I2cSlave& slave) { slave.isSilent = isSilent; });
    }

    LogCapture log;
    FakeUnit unit;
    FakeTimeSource time;
    std::unique_ptr<I2C> bus;
    std::unique_ptr<VEXIO> vexio;
};

inline std::string joined(const std::vector<std::string>& transfers)
{
    std::string all;
    for (const std::string& transfer : transfers)
        all += (all.empty() ? "" : " ") + transfer;
    return all;
}

using Message = std::pair<bool, QString>;
inline Message lastMessage(const QSignalSpy& spy)
{
    return {spy.last()[0].toBool(), spy.last()[1].toString()};
}

} // namespace vt::test
