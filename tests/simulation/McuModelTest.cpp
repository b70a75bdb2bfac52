// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/McuModel.h"

#include <gtest/gtest.h>
#include <vector>

namespace vt::test {
namespace {

/// A bus master written from the I2C rules alone.
class Master
{
public:
    explicit Master(McuModel& mcu) : m_mcu(mcu) {}
    void level(int sda, int scl) { m_mcu.setMasterLevels(sda != 0, scl != 0); }
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
    /// One clock pulse; the data line's level while the clock is high.
    bool clock(int sda)
    {
        level(sda, 0);
        level(sda, 1);
        const bool line = m_mcu.sdaLevel();
        level(sda, 0);
        return line;
    }
    bool select(int reg) { return send(0x10) && send(reg); }
    std::vector<int> readFrom(int reg, int count)
    {
        start();
        EXPECT_TRUE(select(reg));
        start();
        EXPECT_TRUE(send(0x11));
        std::vector<int> bytes;
        for (int i = 0; i < count; ++i)
            bytes.push_back(receive(i + 1 < count));
        stop();
        return bytes;
    }
    void writeTo(int reg, const std::vector<int>& bytes)
    {
        start();
        EXPECT_TRUE(select(reg));
        for (const int byte : bytes)
            EXPECT_TRUE(send(byte));
        stop();
    }

private:
    McuModel& m_mcu;
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
    McuModel mcu(counted());
    Master master(mcu);
    EXPECT_EQ(master.readFrom(0x04, 1), (std::vector<int>{0x5E}));
    EXPECT_EQ(master.readFrom(0xFE, 4), (std::vector<int>{0xA4, 0xA5, 0x5A, 0x5B}));
    EXPECT_TRUE(mcu.sdaLevel()) << "released after the STOP";
}

TEST(McuModel, WritesFromPointerAndContinuesReadingThere)
{
    McuModel mcu(counted());
    Master master(mcu);
    master.writeTo(0x3D, {0x81, 0x42});
    EXPECT_EQ(mcu.registerValue(0x3D), 0x81);
    EXPECT_EQ(mcu.registerValue(0x3E), 0x42);
    EXPECT_EQ(mcu.registerValue(0x3F), 0x3F ^ 0x5A);
    master.start();
    EXPECT_TRUE(master.send(0x11)) << "a read without a pointer goes on where the write ended";
    EXPECT_EQ(master.receive(false), 0x3F ^ 0x5A);
    master.stop();
}

TEST(McuModel, IgnoresOtherAddressesAndEverythingWhileNakIsSet)
{
    McuModel mcu(counted());
    Master master(mcu);
    for (const int address : {0x00, 0x12, 0x40, 0x4E, 0x90, 0x0E}) {
        master.start();
        EXPECT_FALSE(master.send(address)) << address;
        EXPECT_FALSE(master.send(0x3D)) << "the byte after a foreign address";
        EXPECT_FALSE(master.send(0xFF));
        master.stop();
    }
    EXPECT_EQ(mcu.registerValue(0x3D), 0x3D ^ 0x5A);
    mcu.setNak(true);
    master.start();
    EXPECT_FALSE(master.send(0x10));
    master.stop();
    mcu.setNak(false);
    EXPECT_EQ(master.readFrom(0x01, 1), (std::vector<int>{0x5B}));
}

TEST(McuModel, NineClocksFreeASlaveStuckInAnyBitOfAByte)
{
    McuRegisterFile zeros{};
    for (int bits = 0; bits < 9; ++bits) {
        McuModel mcu(zeros); // all data bits low: the slave holds the line down
        Master master(mcu);
        master.start();
        ASSERT_TRUE(master.select(0x20));
        master.start();
        ASSERT_TRUE(master.send(0x11));
        for (int i = 0; i < bits; ++i)
            master.clock(i == 8 ? 0 : 1);
        EXPECT_FALSE(mcu.sdaLevel() && bits < 8) << "stuck after " << bits << " bits";
        for (int i = 0; i < 9; ++i) {
            master.level(1, 1);
            master.level(1, 0);
        }
        master.level(1, 1);
        EXPECT_TRUE(mcu.sdaLevel()) << "free after " << bits << " bits";
        master.level(1, 0);
        master.level(1, 1);
        EXPECT_EQ(master.readFrom(0x20, 2), (std::vector<int>{0, 0}));
    }
}

TEST(McuModel, RepeatedStartAbandonsAByteUnderWay)
{
    McuModel mcu(counted());
    Master master(mcu);
    master.start();
    ASSERT_TRUE(master.select(0x10));
    for (const int bit : {1, 0, 1})
        master.clock(bit);
    EXPECT_EQ(master.readFrom(0x10, 1), (std::vector<int>{0x4A}));
    EXPECT_EQ(mcu.registerValue(0x10), 0x4A) << "three bits are no byte";
}

TEST(McuModel, EepromWordsPassThroughTheWindow)
{
    McuModel mcu(McuRegisterFile{});
    Master master(mcu);
    const auto access = [&](int address, int command) {
        master.writeTo(0x3C, {0});
        master.writeTo(0x3D, {address});
        master.writeTo(0x4C, {command});
    };
    master.writeTo(0x3E, {0x34, 0x12});
    access(0x42, 0xE1);
    access(0x43, 0xE1);
    EXPECT_EQ(master.readFrom(0x3E, 2), (std::vector<int>{0x34, 0x12}))
        << "no access without the control bit";

    master.writeTo(0x09, {0x20});
    access(0x43, 0xB4);
    EXPECT_EQ(master.readFrom(0x3E, 2), (std::vector<int>{0xFF, 0xFF})) << "erased";
    master.writeTo(0x3E, {0x34, 0x12});
    access(0x42, 0x87);
    master.writeTo(0x3E, {0, 0});
    for (const int invalid : {0x00, 0xF0, 0x0F, 0x88, 0x77}) {
        access(0x43, invalid);
        EXPECT_EQ(master.readFrom(0x3E, 2), (std::vector<int>{0, 0})) << invalid;
    }
    access(0x43, 0x1E);
    EXPECT_EQ(master.readFrom(0x3E, 2), (std::vector<int>{0x34, 0x12}));
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
