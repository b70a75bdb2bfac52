// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/PortExpanderModel.h"

#include "BusMaster.h"

#include <gmock/gmock.h>

namespace vt::test {
namespace {

using Interrupt = PortExpanderModel::Interrupt;
using testing::ElementsAre;
using testing::IsEmpty;

class PortExpander : public testing::Test
{
protected:
    PortExpander()
    {
        bus.attach(model);
        bus.attach(other);
    }
    std::vector<int> read(int reg, int count) { return master.readFrom(0x40, reg, count); }
    void write(int reg, const std::vector<int>& bytes, int address = 0x40)
    {
        EXPECT_EQ(master.writeTo(address, reg, bytes), 2 + static_cast<int>(bytes.size()));
    }
    /// Port A outputs, port B inputs with pull-ups and interrupt on change; mirrored, open drain.
    void configure()
    {
        write(0x0C, {0xFF, 0xFF});
        write(0x14, {0xFF, 0xFF});
        write(0x00, {0x00, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0x00});
        write(0x0A, {0x44});
    }
    /// Register pointer alone, then five bytes: INTFB, INTCAPA, INTCAPB, GPIOA, GPIOB.
    std::vector<int> readInterrupt()
    {
        EXPECT_EQ(master.writeTo(0x40, 0x0F, {}), 2);
        std::vector<int> bytes;
        master.start();
        EXPECT_TRUE(master.send(0x41));
        for (int i = 0; i < 5; ++i)
            bytes.push_back(master.receive(i < 4));
        master.stop();
        return bytes;
    }
    std::vector<DeviceEvent> takeEvents()
    {
        std::vector<DeviceEvent> all = log.all();
        log.clear();
        return all;
    }

    std::int64_t nowUs = 33;
    DeviceEventLog log;
    PortExpanderModel model{0x40, 1, [this] { return nowUs; }, log};
    PortExpanderModel other{0x4E, 9, [this] { return nowUs; }, log};
    I2cBus bus;
    BusMaster master{bus};
};

TEST_F(PortExpander, PowersUpAsInputsAndKeepsWhatIsWritten)
{
    EXPECT_THAT(read(0x00, 22),
                ElementsAre(0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
    configure();
    EXPECT_THAT(read(0x00, 14),
                ElementsAre(0x00, 0xFF, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0x44, 0x44, 0xFF, 0xFF));
    EXPECT_THAT(read(0x15, 3), ElementsAre(0xFF, 0x00, 0xFF)) << "wraps after the last register";
    EXPECT_THAT(master.readFrom(0x4E, 0x0C, 2), ElementsAre(0, 0)) << "the other one heard nothing";
    write(0x0A, {0xFF});
    EXPECT_THAT(read(0x0A, 3), ElementsAre(0x7E, 0x7E, 0x7E)) << "no bank bit; alternates in the pair";
}

TEST_F(PortExpander, OutputsBecomeEventsOfTheirCages)
{
    write(0x14, {0xFF}, 0x4E);
    EXPECT_THAT(takeEvents(), IsEmpty()) << "a latch alone drives nothing";
    write(0x14, {0x81}, 0x4E);
    write(0x00, {0x7C}, 0x4E);
    nowUs = 44;
    write(0x12, {0x03}, 0x4E); // writing GPIO writes the latch
    using Event = DeviceEvent;
    const auto output = [](int cage, bool high, std::int64_t timeUs) {
        return Event{Event::Kind::OutputChanged, cage, high, timeUs};
    };
    EXPECT_THAT(takeEvents(), ElementsAre(output(9, true, 33), output(10, false, 33), output(16, true, 33),
                                          output(10, true, 44), output(16, false, 44)));
    EXPECT_THAT(master.readFrom(0x4E, 0x12, 1), ElementsAre(0x03));
}

TEST_F(PortExpander, AChangeInterruptsUntilThePortIsRead)
{
    configure();
    EXPECT_EQ(model.interruptPin(), Interrupt::Released);
    model.setInput(2, true);
    EXPECT_EQ(model.interruptPin(), Interrupt::Released) << "pulled up already";
    model.setInput(2, false);
    EXPECT_EQ(model.interruptPin(), Interrupt::Low);
    model.setInput(2, true);
    model.setInput(6, false);
    EXPECT_EQ(model.interruptPin(), Interrupt::Low);
    EXPECT_THAT(readInterrupt(), ElementsAre(0x04, 0x00, 0xFB, 0xFF, 0xBF)) << "the first change is kept";
    EXPECT_EQ(model.interruptPin(), Interrupt::Released);
    EXPECT_THAT(readInterrupt(), ElementsAre(0x00, 0x00, 0xFB, 0xFF, 0xBF));

    struct Case
    {
        int reg;
        Interrupt after;
    };
    for (const Case& c : {Case{0x0F, Interrupt::Low}, Case{0x10, Interrupt::Low}, Case{0x12, Interrupt::Low},
                          Case{0x11, Interrupt::Released}, Case{0x13, Interrupt::Released}}) {
        model.setInput(0, false);
        model.setInput(0, true);
        read(c.reg, 1);
        EXPECT_EQ(model.interruptPin(), c.after) << c.reg;
        read(0x13, 1);
    }
}

TEST_F(PortExpander, InterruptFollowsItsConfiguration)
{
    EXPECT_EQ(model.interruptPin(), Interrupt::High) << "push-pull, active low, idle";
    configure();
    write(0x05, {0x0F});
    model.setInput(7, false);
    EXPECT_EQ(model.interruptPin(), Interrupt::Released) << "not enabled";
    write(0x0A, {0x04});
    model.setInput(1, false);
    EXPECT_EQ(model.interruptPin(), Interrupt::Released) << "not mirrored to port A's pin";
    write(0x0A, {0x42});
    EXPECT_EQ(model.interruptPin(), Interrupt::High) << "active high";
    read(0x13, 1);
    EXPECT_EQ(model.interruptPin(), Interrupt::Low);

    write(0x0A, {0x44});
    write(0x07, {0x01}); // compare bit 0 with a default of 1
    write(0x09, {0x01});
    EXPECT_EQ(model.interruptPin(), Interrupt::Released);
    model.setInput(0, false);
    read(0x13, 1);
    EXPECT_EQ(model.interruptPin(), Interrupt::Low) << "for as long as it differs";
    model.setInput(0, true);
    read(0x13, 1);
    EXPECT_EQ(model.interruptPin(), Interrupt::Released);
}

TEST_F(PortExpander, PolarityInvertsWhatIsRead)
{
    write(0x0D, {0xF0});
    model.setInput(0, true);
    EXPECT_THAT(read(0x13, 1), ElementsAre(0xF1));
    write(0x03, {0xFF});
    EXPECT_THAT(read(0x13, 1), ElementsAre(0x0E));
}

} // namespace
} // namespace vt::test
