// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/McuModel.h"

#include "BusMaster.h"

#include <gtest/gtest.h>
#include <vector>

namespace vt::test {
namespace {

/// A microcontroller on its bus, and a master.
struct Mcu
{
    explicit Mcu(const McuRegisterFile& registers) : model(registers, [this] { return nowUs; })
    {
        bus.attach(model);
    }
    std::vector<int> read(int reg, int count) { return master.readFrom(0x10, reg, count); }
    int write(int reg, const std::vector<int>& bytes) { return master.writeTo(0x10, reg, bytes); }

    std::int64_t nowUs = 0;
    McuModel model;
    I2cBus bus;
    BusMaster master{bus};
};

McuRegisterFile counted()
{
    McuRegisterFile file{};
    for (std::size_t i = 0; i < file.size(); ++i)
        file[i] = static_cast<std::uint8_t>(i ^ 0x5A);
    return file;
}

TEST(McuModel, ReadsFromPointerWithAutoIncrementAndWrap)
{
    Mcu mcu(counted());
    EXPECT_EQ(mcu.read(0x04, 1), (std::vector<int>{0x5E}));
    EXPECT_EQ(mcu.read(0xFE, 4), (std::vector<int>{0xA4, 0xA5, 0x5A, 0x5B}));
    EXPECT_TRUE(mcu.bus.sdaLevel()) << "released after the STOP";
}

TEST(McuModel, WritesFromPointerAndContinuesReadingThere)
{
    Mcu mcu(counted());
    EXPECT_EQ(mcu.write(0x3D, {0x81, 0x42}), 4);
    EXPECT_EQ(mcu.model.registerValue(0x3D), 0x81);
    EXPECT_EQ(mcu.model.registerValue(0x3E), 0x42);
    EXPECT_EQ(mcu.model.registerValue(0x3F), 0x3F ^ 0x5A);
    mcu.master.start();
    EXPECT_TRUE(mcu.master.send(0x11)) << "a read without a pointer goes on where the write ended";
    EXPECT_EQ(mcu.master.receive(false), 0x3F ^ 0x5A);
    mcu.master.stop();
}

TEST(McuModel, IgnoresOtherAddressesAndEverythingWhileItDoesNotAnswer)
{
    Mcu mcu(counted());
    for (const int address : {0x00, 0x12, 0x40, 0x4E, 0x90, 0x0E}) {
        mcu.master.start();
        EXPECT_FALSE(mcu.master.send(address)) << address;
        EXPECT_FALSE(mcu.master.send(0x3D)) << "the byte after a foreign address";
        EXPECT_FALSE(mcu.master.send(0xFF));
        mcu.master.stop();
    }
    EXPECT_EQ(mcu.model.registerValue(0x3D), 0x3D ^ 0x5A);
    mcu.model.setAnswering(false);
    EXPECT_EQ(mcu.write(0x3D, {0}), 0);
    mcu.model.setAnswering(true);
    EXPECT_EQ(mcu.read(0x01, 1), (std::vector<int>{0x5B}));
}

TEST(McuModel, NineClocksFreeASlaveStuckInAnyBitOfAByte)
{
    for (int bits = 0; bits < 9; ++bits) {
        Mcu mcu(McuRegisterFile{}); // all data bits low: the slave holds the line down
        mcu.master.start();
        ASSERT_TRUE(mcu.master.send(0x10) && mcu.master.send(0x20));
        mcu.master.start();
        ASSERT_TRUE(mcu.master.send(0x11));
        for (int i = 0; i < bits; ++i)
            mcu.master.clock(i == 8 ? 0 : 1);
        EXPECT_FALSE(mcu.bus.sdaLevel() && bits < 8) << "stuck after " << bits << " bits";
        EXPECT_TRUE(mcu.master.clearBus()) << "free after " << bits << " bits";
        EXPECT_EQ(mcu.read(0x20, 2), (std::vector<int>{0, 0}));
    }
}

TEST(McuModel, RepeatedStartAbandonsAByteUnderWay)
{
    Mcu mcu(counted());
    mcu.master.start();
    ASSERT_TRUE(mcu.master.send(0x10) && mcu.master.send(0x10));
    for (const int bit : {1, 0, 1})
        mcu.master.clock(bit);
    EXPECT_EQ(mcu.read(0x10, 1), (std::vector<int>{0x4A}));
    EXPECT_EQ(mcu.model.registerValue(0x10), 0x4A) << "three bits are no byte";
}

TEST(McuModel, EepromWordsPassThroughTheWindow)
{
    Mcu mcu(McuRegisterFile{});
    const auto access = [&](int address, int command) {
        mcu.write(0x3C, {0});
        mcu.write(0x3D, {address});
        return mcu.write(0x4C, {command}) == 3;
    };
    mcu.write(0x3E, {0x34, 0x12});
    EXPECT_TRUE(access(0x42, 0xE1) && access(0x43, 0xE1));
    EXPECT_EQ(mcu.read(0x3E, 2), (std::vector<int>{0x34, 0x12})) << "no access without the control bit";

    mcu.write(0x09, {0x20});
    EXPECT_TRUE(access(0x43, 0xB4));
    EXPECT_EQ(mcu.read(0x3E, 2), (std::vector<int>{0xFF, 0xFF})) << "erased";
    mcu.write(0x3E, {0x34, 0x12});
    EXPECT_TRUE(access(0x42, 0x87));
    mcu.write(0x3E, {0, 0});
    mcu.nowUs = 5999;
    EXPECT_FALSE(access(0x43, 0x1E)) << "busy for six milliseconds";
    mcu.nowUs = 6000;
    for (const int invalid : {0x00, 0xF0, 0x0F, 0x88, 0x77}) {
        EXPECT_TRUE(access(0x43, invalid));
        EXPECT_EQ(mcu.read(0x3E, 2), (std::vector<int>{0, 0})) << invalid;
    }
    EXPECT_TRUE(access(0x43, 0x1E));
    EXPECT_EQ(mcu.read(0x3E, 2), (std::vector<int>{0x34, 0x12}));
}

TEST(McuModel, StatusTellsEventsOnceAndShortsWhileTheyLast)
{
    Mcu mcu(McuRegisterFile{});
    mcu.model.pressButton();
    mcu.model.setSensorCount(11);
    mcu.model.setShortedSensors(0x8102);
    EXPECT_EQ(mcu.write(0x0A, {0}), 3);
    EXPECT_EQ(mcu.read(0x04, 7), (std::vector<int>{11, 0x02, 0x81, 0, 0, 0, 0x07}));
    EXPECT_EQ(mcu.read(0x0A, 1), (std::vector<int>{0x04}));
    mcu.model.setShortedSensors(0);
    EXPECT_EQ(mcu.read(0x0A, 1), (std::vector<int>{0}));
}

TEST(McuRegisterFile, LaysOutTheFieldsLittleEndian)
{
    McuIdentity identity;
    identity.animalType = 2;
    identity.sensorCount = 16;
    identity.gain = 0x1234;
    identity.manufacturingDate = "2024_12_31";
    identity.customer = "LAB";
    identity.amplifier = "A text longer than its field";
    const McuRegisterFile file = makeMcuRegisterFile(identity);
    const auto text = [&](std::size_t at, std::size_t size) {
        return std::string(file.begin() + static_cast<std::ptrdiff_t>(at),
                           file.begin() + static_cast<std::ptrdiff_t>(at + size));
    };
    EXPECT_EQ(file[0x00], 1);
    EXPECT_EQ(file[0x01], 2);
    EXPECT_EQ(file[0x04], 16);
    EXPECT_EQ(file[0x07], 0x34);
    EXPECT_EQ(file[0x08], 0x12);
    EXPECT_EQ(text(0x0D, 3), "Mar");
    EXPECT_EQ(text(0x1C, 10), "2024_12_31");
    EXPECT_EQ(text(0x26, 4), std::string("LAB\0", 4));
    EXPECT_EQ(text(0x50, 17), std::string("A text longer th\0", 17));
    EXPECT_EQ(text(0x60, 8), std::string("\x00\x00\x80\x3F\x00\x00\x80\x3F", 8)) << "gains of 1.0";
    identity.gain = 0;
    EXPECT_EQ(makeMcuRegisterFile(identity)[0x6A], 0x20) << "2.5 V is 0x40200000";
}

} // namespace
} // namespace vt::test
