// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/VexioModel.h"

#include "BusMaster.h"

#include <gmock/gmock.h>

namespace vt::test {
namespace {

using Kind = DeviceEvent::Kind;
using Speaker = VexioModel::Speaker;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t SecondUs = 1'000'000;

class Vexio : public testing::Test
{
protected:
    Vexio() { bus.attach(model); }
    int read(int reg) { return master.readFrom(0x10, reg, 1).at(0); }
    std::vector<int> read(int reg, int count) { return master.readFrom(0x10, reg, count); }
    void write(int reg, const std::vector<int>& bytes)
    {
        EXPECT_EQ(master.writeTo(0x10, reg, bytes), 2 + static_cast<int>(bytes.size()));
    }
    std::vector<DeviceEvent> takeEvents()
    {
        model.update();
        std::vector<DeviceEvent> all = log.all();
        log.clear();
        return all;
    }
    static DeviceEvent started(int cage, std::int64_t timeUs)
    {
        return {Kind::StimulationStarted, cage, false, timeUs};
    }
    static DeviceEvent stopped(int cage, std::int64_t timeUs)
    {
        return {Kind::StimulationStopped, cage, false, timeUs};
    }

    std::int64_t nowUs = 7 * SecondUs;
    DeviceEventLog log;
    VexioModel model{0xA1B2C3D4, [this] { return nowUs; }, log};
    I2cBus bus;
    BusMaster master{bus};
};

TEST_F(Vexio, SaysWhoItIsAndKeepsProfiles)
{
    write(0x77, {0xAA, 0x00, 0x00}); // the two after it are read-only
    EXPECT_THAT(read(0x77, 8), ElementsAre(0xAA, 0xD4, 0xC3, 0xB2, 0xA1, 0x01, 0x00, 0x10));
    write(0x38 + 8 * 5, {1, 2, 3, 1, 0x34, 0x12});
    EXPECT_THAT(read(0x60, 6), ElementsAre(1, 2, 3, 1, 0x34, 0x12));
}

TEST_F(Vexio, ProfilesRunForTheirDurationAndAreCounted)
{
    write(0x3A, {3});          // cage 1: 1.5 s
    write(0x4A, {1});          // cage 3: 0.5 s
    write(0x4C, {0xFF, 0x00}); // it has been started 255 times
    write(0x08, {0x05});
    write(0x00, {0x07}); // cage 2 is not enabled
    EXPECT_EQ(read(0x09), 0x05);
    nowUs += SecondUs / 2;
    EXPECT_EQ(read(0x09), 0x01);
    nowUs += SecondUs / 2;
    write(0x00, {0x01}); // anew
    nowUs += SecondUs;
    EXPECT_EQ(read(0x09), 0x01);
    nowUs += 10 * SecondUs;
    EXPECT_EQ(read(0x09), 0x00);
    EXPECT_THAT(read(0x3C, 2), ElementsAre(2, 0));
    EXPECT_THAT(read(0x4C, 2), ElementsAre(0x00, 0x01));
    EXPECT_THAT(read(0x44, 2), ElementsAre(0, 0));
    EXPECT_THAT(takeEvents(),
                ElementsAre(started(1, 7'000'000), started(3, 7'000'000), stopped(3, 7'500'000),
                            stopped(1, 8'000'000), started(1, 8'000'000), stopped(1, 9'500'000)));
}

TEST_F(Vexio, WhatEndsAProfileEarly)
{
    struct Case
    {
        const char* what;
        std::function<void()> end;
        int running;
    };
    const Case cases[] = {
        {"stop register", [&] { write(0x04, {0x0A}); }, 0x01},
        {"disabled", [&] { write(0x08, {0xFE}); }, 0x0A},
        {"no supply", [&] { model.setSupplyPresent(false); }, 0x00},
        {"brown-out", [&] { model.brownOut(); }, 0x00},
        {"restart", [&] { model.restart(); }, 0x00},
    };
    for (const Case& c : cases) {
        model.restart();
        model.setSupplyPresent(true);
        write(0x08, {0xFF});
        write(0x00, {0x0B});
        takeEvents();
        nowUs += 1000;
        c.end();
        EXPECT_EQ(read(0x09), c.running) << c.what;
        std::vector<DeviceEvent> expected;
        for (int cage = 1; cage <= 8; ++cage)
            if (((0x0B & ~c.running) >> (cage - 1) & 1) != 0)
                expected.push_back(stopped(cage, nowUs));
        EXPECT_EQ(takeEvents(), expected) << c.what;
    }
    EXPECT_EQ(read(0x08), 0x00) << "a restarted unit has no cage enabled";
}

TEST_F(Vexio, StickyBitsStayUntilOneIsWrittenAndDriveTheInterrupt)
{
    EXPECT_THAT(read(0x0A, 4), ElementsAre(0, 0, 0, 0));
    EXPECT_FALSE(model.interruptLevel());
    model.setSupplyPresent(false);
    model.setOverTemperature(true);
    EXPECT_THAT(read(0x0A, 2), ElementsAre(0x81, 0x80));
    EXPECT_TRUE(model.interruptLevel());
    model.setSupplyPresent(true);
    write(0x0A, {0x79});
    EXPECT_EQ(read(0x0A), 0x01) << "still hot";
    model.setOverTemperature(false);
    EXPECT_EQ(read(0x0A), 0x01) << "sticky";
    write(0x0A, {0x78});
    EXPECT_EQ(read(0x0A), 0x01) << "another bit";
    write(0x0A, {0x79});
    write(0x08, {0x01});
    model.brownOut();
    EXPECT_THAT(read(0x08, 4), ElementsAre(0, 0, 0x00, 0x90));
    write(0x0B, {0x10});
    EXPECT_TRUE(model.interruptLevel());
    write(0x0B, {0x80});
    EXPECT_FALSE(model.interruptLevel());
}

TEST_F(Vexio, NothingStartsWithoutSupplyOrDuringDiagnostics)
{
    write(0x08, {0xFF});
    model.setSupplyPresent(false);
    write(0x00, {0xFF});
    model.setSupplyPresent(true);
    write(0x32, {0x41});
    write(0x00, {0xFF});
    EXPECT_EQ(read(0x09), 0);
    EXPECT_EQ(read(0x32), 0x41);
    write(0x32, {0x01});
    write(0x00, {0xFF});
    EXPECT_EQ(read(0x09), 0xFF);
}

TEST_F(Vexio, DiagnosticsCountCyclesAndReportFromTheThird)
{
    model.setSpeaker(0, Speaker::Open);
    model.setSpeaker(2, Speaker::ShortToGround);
    model.setSpeaker(5, Speaker::Short);
    model.setSpeaker(7, Speaker::Open); // not enabled
    write(0x32, {0x40});
    nowUs += SecondUs;
    EXPECT_EQ(read(0x34), 0xFD) << "no cage is enabled";
    write(0x08, {0x7F});
    const std::vector<int> counts{0xFD, 0xFE, 0xFF, 0x00};
    for (const int count : counts) {
        EXPECT_EQ(read(0x34), count);
        EXPECT_THAT(read(0x0C, 2), count == 0 ? ElementsAre(0x31, 0x08) : ElementsAre(0, 0));
        nowUs += 100'000;
    }
    EXPECT_EQ(read(0x0A), 0x04);
    write(0x32, {0x00});
    const int count = read(0x34);
    nowUs += SecondUs;
    EXPECT_EQ(read(0x34), count);
    write(0x0C, {0xF0, 0x00}); // zeros clear
    EXPECT_THAT(read(0x0C, 2), ElementsAre(0x30, 0x00));
    model.setSpeaker(2, Speaker::Ok);
    EXPECT_EQ(read(0x0A), 0x04) << "reported until it is cleared";
    write(0x0C, {0x00});
    EXPECT_EQ(read(0x0A), 0x00);
    write(0x00, {0x21}); // an open speaker is only found by diagnostics
    EXPECT_THAT(read(0x0C, 2), ElementsAre(0x00, 0x08));
}

TEST_F(Vexio, ADurationOfZeroEndsAtOnce)
{
    write(0x3A, {0});
    write(0x08, {0x01});
    write(0x00, {0x01});
    EXPECT_EQ(read(0x09), 0);
    EXPECT_THAT(takeEvents(), ElementsAre(started(1, nowUs), stopped(1, nowUs)));
    EXPECT_THAT(takeEvents(), IsEmpty());
}

} // namespace
} // namespace vt::test
