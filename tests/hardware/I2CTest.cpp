// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/I2C.h"
#include "FakeUnit.h"
#include "LogCapture.h"

#include <array>
#include <gmock/gmock.h>

namespace vt::test {

using testing::ElementsAreArray;

namespace {

using Calls = std::vector<std::string>;

/// A write of samples to task 2 on the default lines: both low 0, SDA 2, SCL 4, both 6.
std::string write(int count, const std::string& samples)
{
    return "WriteDigitalU32(2, " + std::to_string(count) + ", 1, 2.0, 0: " + samples + ')';
}

const std::string Read = "ReadDigitalU32(1, 1, 2.0, 0, 1)";
const std::string Start = write(3, "6 4 0");
const std::string Stop = write(5, "2 0 4 6 6");
const std::string SdaHigh = write(1, "2");
const std::string BothHigh = write(1, "6");

/// Bytes spelled out bit by bit: 0 is "0 4 0", 1 is "2 6 2", then the clock for the acknowledge.
const std::string Byte10 = write(26, "0 4 0 0 4 0 0 4 0 2 6 2 0 4 0 0 4 0 0 4 0 0 4 0 2 6");
const std::string Byte11 = write(26, "0 4 0 0 4 0 0 4 0 2 6 2 0 4 0 0 4 0 0 4 0 2 6 2 2 6");
const std::string Byte0A = write(26, "0 4 0 0 4 0 0 4 0 0 4 0 2 6 2 0 4 0 2 6 2 0 4 0 2 6");
const std::string ByteA5 = write(26, "2 6 2 0 4 0 2 6 2 0 4 0 0 4 0 2 6 2 0 4 0 2 6 2 2 6");

Calls operator+(Calls left, const Calls& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

/// One byte out: the samples, the look at the acknowledge, the clock down.
Calls sent(const std::string& byte)
{
    return {byte, Read, SdaHigh};
}

/// Eight bits in.
Calls received()
{
    Calls calls;
    for (int bit = 0; bit < 8; ++bit)
        calls = calls + Calls{BothHigh, Read, SdaHigh};
    return calls;
}

const std::string Ack = write(4, "0 4 0 2");
const std::string Nack = write(2, "6 2");

/// A bus to the microcontroller, past its initialisation.
struct Bus
{
    Bus() : i2c(unit, u"Dev1"_qs) { unit.forgetCalls(); }
    FakeUnit unit;
    I2C i2c;
};

} // namespace

TEST(I2C, OpensTwoTasksAndClearsTheBus)
{
    LogCapture log;
    FakeUnit unit;
    I2C i2c(unit, u"Dev1"_qs);
    EXPECT_FALSE(i2c.failed());
    Calls expected{R"(CreateTask(""))", R"(CreateDIChan(1, Dev1/port0/line0, "", 1))",   "StartTask(1)",
                   R"(CreateTask(""))", R"(CreateDOChan(2, Dev1/port0/line1:2, "", 1))", "StartTask(2)"};
    for (int pulse = 0; pulse < 9; ++pulse)
        expected = expected + Calls{BothHigh, SdaHigh};
    expected = expected + Calls{BothHigh, Read, SdaHigh, BothHigh};
    EXPECT_THAT(unit.calls(), ElementsAreArray(expected));
    EXPECT_TRUE(log.hasInOrder({u"I2C::I2C"_qs, u"Dev1/port0/line0"_qs, u"Dev1/port0/line1:2"_qs,
                                u"ACK line: false (device detected)"_qs}));
    i2c.stopI2C();
    const Calls calls = unit.calls();
    EXPECT_THAT(Calls(calls.end() - 4, calls.end()),
                ElementsAreArray({"StopTask(1)", "ClearTask(1)", "StopTask(2)", "ClearTask(2)"}));
    EXPECT_EQ(unit.openTasks(), 0);
    unit.forgetCalls();
    EXPECT_FALSE(i2c.i2cWrite(0x10, 0, nullptr, 0));
    EXPECT_TRUE(unit.calls().empty());
}

TEST(I2C, OtherBusesUseTheirOwnLines)
{
    LogCapture log;
    FakeUnit unit;
    I2C stimulation(unit, u"Dev1"_qs, 0, 4, 5, 6);
    unit.forgetCalls();
    EXPECT_FALSE(stimulation.i2cWrite(0x10, 0x0A, nullptr, 0)) << "nobody there: all lines read high";
    EXPECT_THAT(unit.calls(),
                ElementsAreArray({"WriteDigitalU32(2, 3, 1, 2.0, 0: 96 64 0)",
                                  "WriteDigitalU32(2, 26, 1, 2.0, 0: 0 64 0 0 64 0 0 64 0 32 96 32 0 64 0 0 "
                                  "64 0 0 64 0 0 64 0 32 96)",
                                  "ReadDigitalU32(1, 1, 2.0, 0, 1)", "WriteDigitalU32(2, 1, 1, 2.0, 0: 32)",
                                  "WriteDigitalU32(2, 5, 1, 2.0, 0: 32 0 64 96 96)"}));
    I2C dio(unit, u"Dev2"_qs, 1, 0, 1, 2);
    EXPECT_TRUE(log.has(u"Dev2/port1/line0"_qs));
    EXPECT_TRUE(log.has(u"Dev2/port1/line1:2"_qs));
    EXPECT_TRUE(log.has(u"ACK line: true (no device detected)"_qs));
}

TEST(I2C, EmptyNameTakesTheFirstDevice)
{
    LogCapture log;
    FakeUnit unit;
    unit.setDevices({{"Dev7", "USB", 1, false, 8}, {"Dev1", "USB", 2, false, 8}});
    testing::internal::CaptureStdout();
    I2C i2c(unit, QString());
    std::fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "DAQ names: Dev7, Dev1\n");
    EXPECT_EQ(unit.calls()[0], "GetSysDevNames(1024)");
    EXPECT_TRUE(log.has(u"Dev7/port0/line1:2"_qs));
}

TEST(I2C, WriteIsStartAddressRegisterDataStop)
{
    LogCapture log;
    Bus bus;
    const std::uint8_t data = 0xA5;
    EXPECT_TRUE(bus.i2c.i2cWrite(0x10, 0x0A, &data, 1));
    EXPECT_THAT(bus.unit.calls(),
                ElementsAreArray(Calls{Start} + sent(Byte10) + sent(Byte0A) + sent(ByteA5) + Calls{Stop}));
    bus.unit.forgetCalls();
    EXPECT_TRUE(bus.i2c.i2cWrite(0x10, 0x0A, &data, 0));
    EXPECT_TRUE(bus.i2c.i2cWrite(0x10, 0x0A, nullptr, 4));
    const Calls pointerOnly = Calls{Start} + sent(Byte10) + sent(Byte0A) + Calls{Stop};
    EXPECT_THAT(bus.unit.calls(), ElementsAreArray(pointerOnly + pointerOnly));
}

TEST(I2C, ReadAcknowledgesAllBytesButTheLast)
{
    LogCapture log;
    Bus bus;
    bus.unit.withMcu([](I2cSlave& mcu) {
        mcu.registers[0x0A] = 0x3C;
        mcu.registers[0x0B] = 0x81;
        mcu.forgetTranscript();
    });
    const Calls address = Calls{Start} + sent(Byte10) + sent(Byte0A) + Calls{Start} + sent(Byte11);
    std::array<std::uint8_t, 2> bytes{};
    EXPECT_TRUE(bus.i2c.i2cRead(0x10, 0x0A, bytes.data(), 1));
    EXPECT_EQ(bytes[0], 0x3C);
    EXPECT_THAT(bus.unit.calls(), ElementsAreArray(address + received() + Calls{Nack, Stop}));
    bus.unit.forgetCalls();
    EXPECT_TRUE(bus.i2c.i2cRead(0x10, 0x0A, bytes.data(), 2));
    EXPECT_EQ(bytes[1], 0x81);
    EXPECT_THAT(bus.unit.calls(),
                ElementsAreArray(address + received() + Calls{Ack} + received() + Calls{Nack, Stop}));
    EXPECT_EQ(bus.unit.withMcu([](I2cSlave& mcu) { return mcu.transcript(); }),
              "S 10+ 0A+ S 11+ <3C- P S 10+ 0A+ S 11+ <3C+ <81- P");
}

TEST(I2C, WholeRegisterFileSurvivesTheWire)
{
    LogCapture log;
    Bus bus;
    std::array<std::uint8_t, 127> image{};
    for (std::size_t i = 0; i < image.size(); ++i)
        image[i] = static_cast<std::uint8_t>(i * 37 + 11);
    EXPECT_TRUE(bus.i2c.i2cWrite(0x10, 0x00, image.data(), 127));
    std::array<std::uint8_t, 127> back{};
    EXPECT_TRUE(bus.i2c.i2cRead(0x10, 0x00, back.data(), 127));
    EXPECT_EQ(back, image);
}

TEST(I2C, RefusalsEndAsTheBusProtocolSays)
{
    struct Case
    {
        const char* name;
        std::uint8_t address;
        int acknowledged; ///< bytes that the slave acknowledges
        bool isRead;
        const char* transcript;
        QStringList log;
    };
    const Case cases[] = {
        {"address",
         0x40,
         9,
         false,
         "S 40- P",
         {u"Device select NAK"_qs, u"I2C::i2cWrite  Error selecting device:  64"_qs}},
        {"register",
         0x10,
         1,
         false,
         "S 10+ 0A- P",
         {u"Address select NAK"_qs, u"I2C::i2cWrite  Error selecting device:  16"_qs}},
        {"data", 0x10, 3, false, "S 10+ 0A+ 01+ 02-", {u"Send byte NACKed."_qs}},
        {"address of a read",
         0x40,
         9,
         true,
         "S 40- P",
         {u"Device select NAK"_qs, u"I2C::i2cRead  Error selecting device:  64"_qs}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log;
        Bus bus;
        bus.unit.withMcu([&c](I2cSlave& mcu) {
            mcu.acknowledgedBytes = c.acknowledged;
            mcu.forgetTranscript();
        });
        std::array<std::uint8_t, 3> bytes{1, 2, 3};
        EXPECT_FALSE(c.isRead ? bus.i2c.i2cRead(c.address, 0x0A, bytes.data(), 3)
                              : bus.i2c.i2cWrite(c.address, 0x0A, bytes.data(), 3));
        EXPECT_EQ(bus.unit.withMcu([](I2cSlave& mcu) { return mcu.transcript(); }), c.transcript);
        EXPECT_TRUE(log.hasInOrder(c.log));
        EXPECT_FALSE(bus.i2c.failed());
        bus.unit.withMcu([](I2cSlave& mcu) { mcu.acknowledgedBytes = 99; });
        EXPECT_TRUE(bus.i2c.i2cWrite(0x10, 0x0A, bytes.data(), 3)) << "the bus works on";
    }
}

/// The address was acknowledged for writing but not for reading: no STOP follows.
TEST(I2C, RefusedReadAddressEndsWithoutStop)
{
    LogCapture log;
    Bus bus;
    std::uint8_t byte = 0;
    // The repeated START begins a new count, so a slave that goes silent in between is needed: it does so
    // when the register pointer arrives at its trap.
    bus.unit.withMcu([](I2cSlave& mcu) {
        mcu.trapRegister = 0x0A;
        mcu.forgetTranscript();
    });
    EXPECT_FALSE(bus.i2c.i2cRead(0x10, 0x0A, &byte, 1));
    EXPECT_EQ(bus.unit.withMcu([](I2cSlave& mcu) { return mcu.transcript(); }), "S 10+ 0A+ S 11-");
    EXPECT_TRUE(
        log.hasInOrder({u"READ Device select NAK"_qs, u"I2C::i2cRead  Error selecting device:  16"_qs}));
    EXPECT_FALSE(bus.i2c.failed());
}

// A driver error at any call: the tasks are cleared, and nothing is asked of the driver ever after.
TEST(I2C, FirstDriverErrorIsTheLastCall)
{
    const auto runAll = [](I2C& i2c) {
        std::array<std::uint8_t, 2> bytes{0xA5, 0x5A};
        return i2c.i2cWrite(0x10, 0x0A, bytes.data(), 2) && i2c.i2cRead(0x10, 0x0A, bytes.data(), 2);
    };
    std::size_t total = 0;
    {
        LogCapture log;
        FakeUnit unit;
        I2C i2c(unit, u"Dev1"_qs);
        EXPECT_TRUE(runAll(i2c));
        total = unit.calls().size();
    }
    // 6 for the tasks, 22 to clear the bus, 1+4*3+1 written, 1+2*3+1+3+2*24+2+1 read.
    ASSERT_EQ(total, 6U + 22U + 14U + 62U);
    for (std::size_t k = 0; k < total; ++k) {
        SCOPED_TRACE(k);
        LogCapture log;
        FakeUnit unit;
        unit.failCall(k);
        I2C i2c(unit, u"Dev1"_qs);
        EXPECT_FALSE(runAll(i2c));
        EXPECT_TRUE(i2c.failed());
        EXPECT_EQ(i2c.errorText(), u"extended text"_qs);
        const Calls calls = unit.calls();
        for (std::size_t i = k + 1; i < calls.size(); ++i)
            EXPECT_THAT(calls[i],
                        testing::AnyOf(testing::StartsWith("StopTask"), testing::StartsWith("ClearTask")));
        EXPECT_EQ(unit.openTasks(), 0);
        EXPECT_EQ(unit.deadHandleCalls(), 0);
        unit.forgetCalls();
        EXPECT_FALSE(i2c.i2cInit(u"Dev1"_qs, 0, 0, 1, 2));
        i2c.stopI2C();
        EXPECT_TRUE(unit.calls().empty());
        if (k < 6)
            EXPECT_TRUE(log.hasInOrder({u"I2C::i2cInit  DAQ ERROR extended text"_qs, u"I2C::stopI2C"_qs}));
        else if (calls[k].starts_with("Read"))
            EXPECT_TRUE(log.hasInOrder({u"I2C::i2cReadBit"_qs, u"extended text"_qs, u"I2C::stopI2C"_qs}));
        else
            EXPECT_TRUE(log.hasInOrder(
                {u"I2C::writeSamples ERROR IN WRITE"_qs, u"extended text"_qs, u"I2C::stopI2C"_qs}));
    }
}

TEST(I2C, DriverErrorsAreLoggedByPhase)
{
    struct Case
    {
        std::size_t call; ///< counted from the first after initialisation
        bool isRead;
        QStringList log;
    };
    const Case cases[] = {
        {1,
         false,
         {u"WriteBuffer ERROR extended text"_qs, u"Device select error extended text"_qs,
          u"I2C::i2cWrite  Error selecting device:  16"_qs}},
        {2, false, {u"ReadACK ERROR extended text"_qs, u"Device select error extended text"_qs}},
        {6, false, {u"SetOutput ERROR extended text"_qs, u"Address select ERROR extended text"_qs}},
        {10, false, {u"WriteBuffer ERROR extended text"_qs, u"SendByte failed Byte:  1"_qs}},
        {7,
         true,
         {u"READ Device select ERROR extended text"_qs, u"I2C::i2cRead  Error selecting device:  16"_qs}},
        {12, true, {u"ERROR reading byte"_qs, u"Error reading byte 0"_qs}},
        {37, true, {u"ERROR reading byte"_qs, u"Error reading byte 1"_qs}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.call);
        LogCapture log;
        FakeUnit unit;
        I2C i2c(unit, u"Dev1"_qs);
        unit.forgetCalls();
        unit.failCall(c.call);
        std::array<std::uint8_t, 2> bytes{1, 2};
        EXPECT_FALSE(c.isRead ? i2c.i2cRead(0x10, 0x0A, bytes.data(), 2)
                              : i2c.i2cWrite(0x10, 0x0A, bytes.data(), 2));
        EXPECT_TRUE(log.hasInOrder(c.log)) << log.lines().join(u'\n').toStdString();
    }
}

} // namespace vt::test
