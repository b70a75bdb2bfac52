// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/I2cBus.h"

#include "BusMaster.h"

#include <array>
#include <gmock/gmock.h>

namespace vt::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Memory final : public I2cSlave
{
public:
    using I2cSlave::I2cSlave;
    std::array<std::uint8_t, 256> bytes{};

protected:
    std::uint8_t readRegister(std::uint8_t address) override { return bytes[address]; }
    bool writeRegister(std::uint8_t address, std::uint8_t value) override
    {
        bytes[address] = value;
        return value != 0x99;
    }
};

class Bus : public testing::Test
{
protected:
    Bus()
    {
        bus.attach(first);
        bus.attach(second);
    }
    Memory first{0x20};
    Memory second{0xA6};
    I2cBus bus;
    BusMaster master{bus};
};

TEST_F(Bus, EachSlaveAnswersToItsAddress)
{
    EXPECT_EQ(master.writeTo(0x20, 7, {1, 2}), 4);
    EXPECT_EQ(master.writeTo(0xA6, 7, {0xF0, 0x0F}), 4);
    EXPECT_THAT(master.readFrom(0x20, 7, 2), ElementsAre(1, 2));
    EXPECT_THAT(master.readFrom(0xA6, 7, 2), ElementsAre(0xF0, 0x0F));
    EXPECT_EQ(master.writeTo(0xA8, 7, {1}), 0);
    EXPECT_EQ(master.writeTo(0x20, 7, {5, 0x99, 6}), 3) << "the slave refused the second byte";
    EXPECT_EQ(first.bytes[9], 0) << "and is out of the transfer";
}

TEST_F(Bus, AnyByteCanBeRefusedOnce)
{
    for (int byte = 1; byte <= 4; ++byte) {
        first.bytes = {};
        bus.nakAtByte(byte);
        EXPECT_EQ(master.writeTo(0x20, 0, {3, 4}), byte - 1);
        EXPECT_EQ(first.bytes[0], byte > 3 ? 3 : 0);
        EXPECT_EQ(first.bytes[1], 0);
        EXPECT_EQ(master.writeTo(0x20, 0, {3, 4}), 4);
    }
    bus.nakAtByte(3);
    EXPECT_THAT(master.readFrom(0xA6, 0, 2), IsEmpty()) << "the address of the read";
    EXPECT_THAT(master.readFrom(0x20, 0, 2), ElementsAre(3, 4));
    bus.nakAtByte(4);
    EXPECT_THAT(master.readFrom(0x20, 0, 2), ElementsAre(3, 4)) << "no fourth byte from the master";
    EXPECT_EQ(master.writeTo(0xA6, 0, {1, 2}), 3);
}

TEST_F(Bus, AHeldLineIsFreedByClockPulses)
{
    for (const int clocks : {1, 8, 9}) {
        bus.holdSdaLow(clocks);
        EXPECT_FALSE(bus.sdaLevel());
        EXPECT_TRUE(master.clearBus()) << clocks;
        EXPECT_EQ(master.writeTo(0x20, 0, {3}), 3);
    }
    bus.holdSdaLow(40);
    EXPECT_EQ(master.writeTo(0x20, 0, {4}), 3) << "a low line looks like acknowledges";
    EXPECT_EQ(first.bytes[0], 3);
    EXPECT_FALSE(master.clearBus()) << "some pulses short";
    EXPECT_TRUE(master.clearBus());
    EXPECT_THAT(master.readFrom(0x20, 0, 1), ElementsAre(3));
    bus.holdSdaLow(1000);
    bus.holdSdaLow(0);
    EXPECT_TRUE(bus.sdaLevel());
}

} // namespace
} // namespace vt::test
