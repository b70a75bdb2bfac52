// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DIO.h"
#include "FakeTimeSource.h"
#include "FakeUnit.h"
#include "LogCapture.h"
#include "hardware/I2C.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <gmock/gmock.h>

namespace vt::test {

namespace {

class DioTest : public testing::Test
{
protected:
    DioTest()
    {
        unit.attachExpanders();
        bus = std::make_unique<I2C>(unit, u"Dev1"_qs, 1, 0, 1, 2);
        make({});
    }
    void make(const DIO::HeldOutputs& held)
    {
        dio = std::make_unique<DIO>(HardwareContext{unit, time, QCoreApplication::instance()}, u"Dev1"_qs,
                                    held);
    }
    void init(int channels)
    {
        ASSERT_TRUE(dio->init(bus.get(), channels));
        std::ignore = traffic();
    }
    /// What expander 0, which hears everything, saw since the last look.
    std::string traffic()
    {
        return unit.withExpander(0, [](I2cSlave& slave) {
            const std::string seen = slave.transcript();
            slave.forgetTranscript();
            return seen;
        });
    }
    std::uint8_t outputs(std::size_t expander)
    {
        return unit.withExpander(expander, [](I2cSlave& slave) { return slave.registers[0x14]; });
    }

    LogCapture log;
    FakeUnit unit;
    FakeTimeSource time;
    std::unique_ptr<I2C> bus;
    std::unique_ptr<DIO> dio;
};

} // namespace

TEST_F(DioTest, EightChannelsUseOneExpanderWithNormalOutputs)
{
    make({0x02, 0xFF});
    ASSERT_TRUE(dio->init(bus.get(), 8));
    dio->setOutputLines(0x01, 1);
    dio->handleManualPulse(0xFF00);
    dio->setOutputHold(0x0110);
    time.advance(100);
    EXPECT_EQ(traffic(), "S 40+ 0C+ FF+ FF+ P S 40+ 0C+ S 41+ <FF+ <FF- P S 40+ 14+ FF+ FF+ P "
                         "S 40+ 00+ 00+ FF+ 00+ 00+ 00+ FF+ 00+ FF+ 00+ 00+ P S 40+ 0A+ 44+ P "
                         "S 40+ 14+ 02+ P S 40+ 14+ 12+ P")
        << "nothing to the second expander, held outputs restored";
    EXPECT_TRUE(log.hasInOrder({u"Begin PortExpander(s) init"_qs,
                                u"Configuring for Plover (8-channel) hardware - outputs normal"_qs,
                                u"Port expander 0x40: Setting GPPUA=0xFF GPPUB=0xFF"_qs}));
    EXPECT_EQ(unit.calls().back().substr(0, 15), "WriteDigitalU32");
    EXPECT_THAT(unit.calls(), testing::Contains(testing::HasSubstr("Dev1/port1/line3")));
}

TEST_F(DioTest, SixteenChannelsAreInverted)
{
    ASSERT_TRUE(dio->init(bus.get(), 16));
    EXPECT_THAT(traffic(), testing::EndsWith("S 40+ 14+ FF+ P S 4E- P")) << "all off";
    EXPECT_EQ(outputs(1), 0xFF);
    EXPECT_TRUE(log.has(u"Configuring for Kestrel Box (16-channel) hardware - outputs INVERTED"_qs));
    dio->handleManualPulse(0x8001);
    EXPECT_EQ(outputs(0), 0xFE);
    EXPECT_EQ(outputs(1), 0x7F);
    time.advance(49);
    EXPECT_EQ(outputs(0), 0xFE);
    time.advance(1);
    EXPECT_EQ(outputs(0), 0xFF);
    EXPECT_EQ(outputs(1), 0xFF);
}

TEST_F(DioTest, HeldOutputsOutliveAPulse)
{
    init(8);
    dio->setOutputHold(0x0004);
    dio->handleManualPulse(0x0005);
    EXPECT_EQ(outputs(0), 0x05);
    time.advance(50);
    EXPECT_EQ(outputs(0), 0x04);
    dio->clearOutput(0x0004);
    EXPECT_EQ(outputs(0), 0x00);
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = true; });
    dio->setOutputHold(0x0001);
    dio->clearOutput(0x0001);
    dio->handleManualPulse(0x0001);
    time.advance(50);
    EXPECT_TRUE(
        log.hasInOrder({u"DIO::setOutputHold - port expander 0 write error"_qs,
                        u"DIO::clearOutput - port expander 0 write error"_qs,
                        u"port expander set active low error"_qs, u"port expander0 clear/restore error"_qs}));
}

// Others are held and let go meanwhile; only what is to be off at once cuts a pulse short.
TEST_F(DioTest, APulseLastsItsTime)
{
    init(8);
    dio->handleManualPulse(0x0003);
    dio->setOutputHold(0x0007);
    dio->endOutputHold(0x0005);
    EXPECT_EQ(outputs(0), 0x03);
    dio->clearOutput(0x0002);
    EXPECT_EQ(outputs(0), 0x01);
    time.advance(49);
    EXPECT_EQ(outputs(0), 0x01);
    time.advance(1);
    EXPECT_EQ(outputs(0), 0x00);
}

TEST_F(DioTest, InputsAreReadWhenTheLineIsLow)
{
    init(16);
    QSignalSpy changed(dio.get(), &DIO::dioInputStateChanged);
    dio->startDIORecording(16);
    time.advance(500);
    EXPECT_EQ(unit.count("ReadDigitalLines"), 10U);
    EXPECT_EQ(traffic(), "");
    for (const std::size_t expander : {0U, 1U})
        unit.withExpander(expander, [&](I2cSlave& slave) {
            const std::array<std::uint8_t, 5> status{0x01, 0x10, 0x11, 0x12,
                                                     static_cast<std::uint8_t>(expander == 0 ? 0xFD : 0x7F)};
            std::copy(status.begin(), status.end(), slave.registers.begin() + 0x0F);
        });
    unit.setInterruptLine("/port1/line3", false);
    time.advance(50);
    unit.setInterruptLine("/port1/line3", true);
    EXPECT_THAT(traffic(),
                testing::StartsWith("S 40+ 0F+ P S 40+ 0F+ S 41+ <01+ <10+ <11+ <12+ <FD- P S 4E-"));
    ASSERT_EQ(changed.count(), 1);
    EXPECT_EQ(changed.last()[0].value<std::uint16_t>(), 0x7FFD);
    EXPECT_TRUE(log.hasInOrder({u"Port 0 (0x40) status: 10111111"_qs, u"Changed Port 0: 01000000"_qs,
                                u"Port 1 (0x4E) status: 11111110"_qs, u"Changed Port 1: 00000001"_qs}));
    dio->stopDIORecording();
    unit.setInterruptLine("/port1/line3", false);
    time.advance(500);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(log.hasInOrder({u"DIO polling started on 16 channels."_qs, u"DIO polling stopped."_qs}));
}

TEST_F(DioTest, ErrorsDoNotFloodTheLog)
{
    init(8);
    dio->startDIORecording(8);
    unit.failFunction("ReadDigitalLines");
    time.advance(500);
    EXPECT_EQ(log.count(u"DIO::checkForInterrupt DAQ error (polling continues): extended text"_qs), 1);
    unit.failFunction("");
    unit.setInterruptLine("/port1/line3", false);
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = true; });
    time.advance(50 + 1000 + 2000 + 4000);
    EXPECT_EQ(log.count(u"Port expander 0x40 clear interrupt error"_qs), 4) << "asked less and less often";
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = false; });
    QSignalSpy changed(dio.get(), &DIO::dioInputStateChanged);
    time.advance(8000 + 100);
    EXPECT_EQ(changed.count(), 3) << "back to every 50 ms";
}

TEST_F(DioTest, OutputsAreOffWhenTheInitialisationFails)
{
    const auto setOutputs = [&](std::uint8_t byte) {
        for (const std::size_t expander : {0U, 1U})
            unit.withExpander(expander, [&](I2cSlave& slave) { slave.registers[0x14] = byte; });
    };
    struct Case
    {
        int channels;
        int stuckRegister;     ///< fails the read-back: before the outputs are set up
        int acknowledgedBytes; ///< of a write: fails the one of ten bytes, after them
        std::uint8_t on;
        std::uint8_t off;
    };
    for (const Case& c :
         {Case{8, 0x0D, 10000, 0x05, 0x00}, Case{16, 0x0D, 10000, 0x50, 0xFF}, Case{8, -1, 8, 0x00, 0x00}}) {
        make({0x01, 0x01});
        setOutputs(c.on);
        unit.withExpander(0, [&](I2cSlave& slave) {
            slave.stuckRegister = c.stuckRegister;
            slave.registers[0x0D] = 0;
            slave.acknowledgedBytes = c.acknowledgedBytes;
        });
        EXPECT_FALSE(dio->init(bus.get(), c.channels));
        EXPECT_EQ(outputs(0), c.off);
        EXPECT_EQ(outputs(1), c.channels == 8 ? c.on : c.off);
    }
}

TEST_F(DioTest, ExpanderThatDoesNotAnswerEndsTheInitialisation)
{
    unit.withExpander(1, [](I2cSlave& slave) { slave.stuckRegister = 0x0D; });
    EXPECT_FALSE(dio->init(bus.get(), 9));
    EXPECT_TRUE(log.has(u"Port expander 0x4E init error: GPPU readback mismatch GPPUA: wrote 0xFF, read 0xFF "
                        "GPPUB: wrote 0xFF, read 0x00"_qs));
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = true; });
    EXPECT_FALSE(dio->init(bus.get(), 8));
    EXPECT_TRUE(log.has(u"Port expander 0x40 init error: failed to write GPPUA/B"_qs));
}

TEST_F(DioTest, OutputsThatWereNotTakenAreWrittenUntilTheyAre)
{
    init(16);
    dio->setOutputHold(0x0101);
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = true; });
    dio->clearOutput(0x0101);
    EXPECT_EQ(outputs(0), 0xFE) << "a light that stays on";
    EXPECT_EQ(outputs(1), 0xFF);
    time.advance(100 + 200 + 400);
    EXPECT_EQ(outputs(0), 0xFE);
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = false; });
    time.advance(800);
    EXPECT_EQ(outputs(0), 0xFF);
    EXPECT_TRUE(log.has(u"DIO: port expander 0 has taken its outputs at a further try"_qs));
    EXPECT_EQ(time.activeTimers(), 0);
}

TEST_F(DioTest, WatchedInputsAreReadWhateverTheLineSays)
{
    init(16);
    dio->startDIORecording(16);
    QSignalSpy read(dio.get(), &DIO::inputsRead);
    QSignalSpy changed(dio.get(), &DIO::dioInputStateChanged);
    const auto setInputs = [&](std::size_t expander, std::uint8_t levels) {
        unit.withExpander(expander, [&](I2cSlave& slave) { slave.registers[0x13] = levels; });
    };
    setInputs(0, 0x04);
    setInputs(1, 0x00);
    time.advance(1000);
    EXPECT_EQ(read.count(), 0);
    dio->watchInputs(true);
    std::ignore = traffic();
    time.advance(500);
    EXPECT_THAT(traffic(), testing::StartsWith("S 40+ 13+ S 41+ <04- P")) << "one byte";
    time.advance(500);
    ASSERT_EQ(read.count(), 2);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(changed.last()[0].value<std::uint16_t>(), 0x0004);
    unit.withExpander(1, [](I2cSlave& slave) { slave.isSilent = true; });
    setInputs(0, 0x00);
    time.advance(500);
    EXPECT_EQ(read.last()[1].value<std::uint16_t>(), 0x00FF) << "the others are as old as before";
    EXPECT_EQ(changed.last()[0].value<std::uint16_t>(), 0x0000);
    dio->watchInputs(false);
    time.advance(5000);
    EXPECT_EQ(read.count(), 3);

    // Without the line, reading is all there is.
    unit.withExpander(1, [](I2cSlave& slave) { slave.isSilent = false; });
    unit.failFunction("ReadDigitalLines");
    setInputs(1, 0x80);
    time.advance(8000);
    EXPECT_EQ(changed.last()[0].value<std::uint16_t>(), 0x8000);
}

TEST_F(DioTest, LineThatStaysLowIsToldOnceAndKeepsNobodyBusy)
{
    init(8);
    dio->startDIORecording(8);
    QSignalSpy changed(dio.get(), &DIO::dioInputStateChanged);
    unit.setInterruptLine("/port1/line3", false);
    time.advance(5000);
    EXPECT_EQ(log.count(u"DIO: the interrupt line stays low, the inputs are read every 500 ms instead"_qs),
              1);
    EXPECT_EQ(changed.count(), 4) << "a change, and three times nothing";
    EXPECT_EQ(log.count(u"Port 0 (0x40) status: 00000000"_qs), 4);
    unit.withExpander(0, [](I2cSlave& slave) { slave.registers[0x13] = 0x01; });
    time.advance(500);
    EXPECT_EQ(changed.last()[0].value<std::uint16_t>(), 0x0001);
    unit.setInterruptLine("/port1/line3", true);
    time.advance(50);
    unit.setInterruptLine("/port1/line3", false);
    time.advance(50);
    EXPECT_EQ(changed.count(), 6) << "the line is believed again";
}

// A supply that dips leaves an expander that acknowledges everything and does nothing.
TEST_F(DioTest, ExpanderThatHasLostItsSettingGetsItAgain)
{
    init(8);
    dio->startDIORecording(8);
    dio->setOutputHold(0x0002);
    QSignalSpy answering(dio.get(), &DIO::answeringChanged);
    unit.withExpander(0, [](I2cSlave& slave) {
        slave.registers.fill(0);
        slave.registers[0x00] = slave.registers[0x01] = 0xFF;
    });
    std::ignore = traffic();
    time.advance(10'000);
    EXPECT_EQ(traffic(), "S 40+ 00+ S 41+ <FF+ <FF- P S 40+ 14+ 02+ P S 40+ 0C+ FF+ FF+ P "
                         "S 40+ 0C+ S 41+ <FF+ <FF- P S 40+ 14+ 02+ FF+ P "
                         "S 40+ 00+ 00+ FF+ 00+ 00+ 00+ FF+ 00+ FF+ 00+ 00+ P S 40+ 0A+ 44+ P")
        << "other outputs are never on";
    EXPECT_EQ(answering.count(), 0);
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = true; });
    time.advance(40'000);
    ASSERT_EQ(answering.count(), 1);
    unit.withExpander(0, [](I2cSlave& slave) { slave.isSilent = false; });
    time.advance(10'000);
    ASSERT_EQ(answering.count(), 2);
    EXPECT_TRUE(answering.last()[0].toBool());
    unit.withExpander(0, [](I2cSlave& slave) { slave.registers[0x14] = 0x01; });
    std::ignore = traffic();
    time.advance(10'000);
    EXPECT_EQ(traffic(), "S 40+ 00+ S 41+ <00+ <FF- P S 40+ 14+ S 41+ <01- P S 40+ 14+ 02+ P")
        << "an order that was acknowledged by nobody";
}

} // namespace vt::test
