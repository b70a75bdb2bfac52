// SPDX-License-Identifier: GPL-3.0-or-later
// The devices on the simulated unit's lines, reached as the program reaches them: through driver calls.
#include "AnalogTask.h"
#include "BusMaster.h"

#include <gmock/gmock.h>
#include <memory>

namespace vt::test {
namespace {

using Kind = DeviceEvent::Kind;
using daqmx::TaskHandle;
using testing::ElementsAre;
using testing::IsEmpty;

SimulatedUnit::Config manual(int channels)
{
    SimulatedUnit::Config config;
    config.channels = channels;
    config.clock = SimulatedUnit::Clock::Manual;
    return config;
}

/// A bus of the unit by its first line: read-back there, data out and clock out on the next two.
class Line
{
public:
    Line(SimulatedUnit& unit, int port, int firstLine)
        : m_unit(unit), m_first(firstLine), m_input(open(port, {firstLine, firstLine}, true)),
          m_output(open(port, {firstLine + 1, firstLine + 2}, false)),
          master([this](bool sda, bool scl) { drive(sda, scl); }, [this] { return sense(); })
    {
        master.level(1, 1);
    }

private:
    TaskHandle open(int port, std::pair<int, int> lines, bool input)
    {
        const std::string name = "sim/port" + std::to_string(port) + "/line" + std::to_string(lines.first) +
                                 ":" + std::to_string(lines.second);
        TaskHandle task = nullptr;
        EXPECT_EQ(m_unit.DAQmxCreateTask("", &task), 0);
        EXPECT_EQ(input ? m_unit.DAQmxCreateDIChan(task, name.c_str(), "", 1)
                        : m_unit.DAQmxCreateDOChan(task, name.c_str(), "", 1),
                  0);
        return task;
    }
    void drive(bool sda, bool scl)
    {
        const std::uint32_t word = ((sda ? 2U : 0U) | (scl ? 4U : 0U)) << m_first;
        EXPECT_EQ(m_unit.DAQmxWriteDigitalU32(m_output, 1, 1, 2.0, 0, &word, nullptr, nullptr), 0);
    }
    bool sense()
    {
        std::uint32_t word = 0;
        EXPECT_EQ(m_unit.DAQmxReadDigitalU32(m_input, 1, 2.0, 0, &word, 1, nullptr, nullptr), 0);
        return (word >> m_first & 1) != 0;
    }

    SimulatedUnit& m_unit;
    const int m_first;
    const TaskHandle m_input;
    const TaskHandle m_output;

public:
    BusMaster master;
};

class UnitDevices : public testing::Test
{
protected:
    explicit UnitDevices(int channels = 16) : unit(manual(channels)) { openLines(); }
    void openLines()
    {
        mcu = std::make_unique<Line>(unit, 0, 0);
        vexio = std::make_unique<Line>(unit, 0, 4);
        dio = std::make_unique<Line>(unit, 1, 0);
        vexioInterrupt = openInput("sim/port0/line7");
        dioInterrupt = openInput("sim/port1/line3");
    }
    TaskHandle openInput(const char* line)
    {
        TaskHandle task = nullptr;
        EXPECT_EQ(unit.DAQmxCreateTask("", &task), 0);
        EXPECT_EQ(unit.DAQmxCreateDIChan(task, line, "", 1), 0);
        return task;
    }
    int level(TaskHandle line)
    {
        std::uint8_t value = 0xEE;
        EXPECT_EQ(unit.DAQmxReadDigitalLines(line, 1, 2.0, 0, &value, 1, nullptr, nullptr, nullptr), 0);
        return value;
    }
    void fault(const char* line)
    {
        QString error;
        EXPECT_TRUE(unit.applyFaultCommand(QString::fromLatin1(line), &error)) << error.toStdString();
    }
    /// Empty when it does not answer.
    std::vector<int> readVexio(int reg, int count = 1) { return vexio->master.readFrom(0x10, reg, count); }
    int writeVexio(int reg, int value) { return vexio->master.writeTo(0x10, reg, {value}); }
    void configureExpander(int address)
    {
        EXPECT_EQ(dio->master.writeTo(address, 0x0A, {0x44}), 3);
        EXPECT_EQ(dio->master.writeTo(address, 0x0C, {0xFF, 0xFF}), 4);
        EXPECT_EQ(dio->master.writeTo(address, 0x14, {0xFF}), 3);
        EXPECT_EQ(dio->master.writeTo(address, 0x00, {0x00}), 3);
        EXPECT_EQ(dio->master.writeTo(address, 0x05, {0xFF}), 3);
        unit.clearDeviceEvents();
    }

    SimulatedUnit unit;
    std::unique_ptr<Line> mcu, vexio, dio;
    TaskHandle vexioInterrupt = nullptr;
    TaskHandle dioInterrupt = nullptr;
};

TEST_F(UnitDevices, StimulationLastsAsManyFramesAsItsDuration)
{
    AnalogTask task(unit, 16);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    unit.advanceFrames(30);
    writeVexio(0x08, 0x82);
    writeVexio(0x00, 0x82); // two seconds, as delivered
    EXPECT_EQ(unit.advanceFrames(59), 59);
    EXPECT_THAT(readVexio(0x09), ElementsAre(0x82));
    unit.advanceFrames(1);
    EXPECT_THAT(readVexio(0x09), ElementsAre(0));
    EXPECT_THAT(unit.deviceEvents(), ElementsAre(DeviceEvent{Kind::StimulationStarted, 2, false, 1'000'000},
                                                 DeviceEvent{Kind::StimulationStarted, 8, false, 1'000'000},
                                                 DeviceEvent{Kind::StimulationStopped, 2, false, 3'000'000},
                                                 DeviceEvent{Kind::StimulationStopped, 8, false, 3'000'000}));
}

TEST_F(UnitDevices, FaultsOfTheStimulationUnit)
{
    EXPECT_EQ(level(vexioInterrupt), 0);
    fault("vexio 12v off");
    EXPECT_THAT(readVexio(0x0A, 2), ElementsAre(0x80, 0x80));
    EXPECT_EQ(level(vexioInterrupt), 1);
    fault("vexio 12v on");
    writeVexio(0x0B, 0x90);
    EXPECT_EQ(level(vexioInterrupt), 0);
    fault("vexio overtemp on");
    fault("vexio overtemp off");
    EXPECT_THAT(readVexio(0x0A), ElementsAre(0x01));
    writeVexio(0x08, 0xFF);
    fault("vexio speaker 6 short");
    writeVexio(0x00, 0xFF);
    fault("vexio brownout");
    EXPECT_THAT(readVexio(0x08, 6), ElementsAre(0, 0, 0x05, 0x10, 0, 0x08));
    fault("vexio absent");
    EXPECT_THAT(readVexio(0x77), IsEmpty());
    EXPECT_EQ(level(vexioInterrupt), 0);
    fault("vexio present");
    EXPECT_THAT(readVexio(0x0A, 4), ElementsAre(0, 0, 0, 0)) << "started anew";
    EXPECT_THAT(readVexio(0x78, 4), ElementsAre(0x61, 0x99, 0x4C, 0x00)) << "5,000,000 + 20,001";
}

TEST_F(UnitDevices, OutputsAndInputsOfSixteenCages)
{
    EXPECT_EQ(level(dioInterrupt), 1);
    configureExpander(0x40);
    EXPECT_EQ(level(dioInterrupt), 1) << "the second one still drives its pin";
    configureExpander(0x4E);
    EXPECT_EQ(dio->master.writeTo(0x4E, 0x14, {0xFB}), 3);
    EXPECT_THAT(unit.deviceEvents(), ElementsAre(DeviceEvent{Kind::OutputChanged, 11, false, 0}));
    fault("dio input 16 low");
    EXPECT_EQ(level(dioInterrupt), 0);
    EXPECT_THAT(dio->master.readFrom(0x4E, 0x0F, 5), ElementsAre(0x80, 0, 0x7F, 0xFB, 0x7F));
    EXPECT_EQ(level(dioInterrupt), 1);
    fault("dio input 1 low");
    EXPECT_EQ(level(dioInterrupt), 0);
    fault("dio absent");
    EXPECT_EQ(level(dioInterrupt), 1);
    EXPECT_THAT(dio->master.readFrom(0x40, 0x00, 1), IsEmpty());
    fault("dio present");
    EXPECT_THAT(dio->master.readFrom(0x40, 0x00, 1), ElementsAre(0xFF)) << "powered up anew";
}

TEST_F(UnitDevices, MicrocontrollerEventsAndBusFaults)
{
    const auto readMcu = [&](int reg) { return mcu->master.readFrom(0x10, reg, 1); };
    fault("button");
    fault("shorted 0x8000");
    EXPECT_THAT(readMcu(0x0A), ElementsAre(0x05));
    fault("shorted 0");
    fault("sensors 12");
    EXPECT_THAT(readMcu(0x0A), ElementsAre(0x02));
    EXPECT_THAT(readMcu(0x04), ElementsAre(12));

    struct Case
    {
        const char* bus;
        Line* line;
        int address;
    };
    for (const Case& c : {Case{"mcu", mcu.get(), 0x10}, Case{"vexio", vexio.get(), 0x10},
                          Case{"dio", dio.get(), 0x40}, Case{"dio", dio.get(), 0x4E}}) {
        fault((std::string("nak ") + c.bus + " 2").c_str());
        EXPECT_EQ(c.line->master.writeTo(c.address, 0x10, {}), 1) << c.bus;
        EXPECT_EQ(c.line->master.writeTo(c.address, 0x10, {}), 2) << c.bus;
        fault((std::string("hold ") + c.bus + " 9").c_str());
        EXPECT_TRUE(c.line->master.clearBus()) << c.bus;
        EXPECT_EQ(c.line->master.readFrom(c.address, 0x11, 1).size(), 1U) << c.bus;
    }
    fault("bus-nak on");
    EXPECT_THAT(readMcu(0x04), IsEmpty());
    EXPECT_THAT(readVexio(0x77), ElementsAre(0)) << "another device at the same address, on its own bus";
}

TEST_F(UnitDevices, UnpluggingTakesThePowerFromAll)
{
    configureExpander(0x40);
    writeVexio(0x08, 0x01);
    writeVexio(0x00, 0x01);
    unit.unplug();
    EXPECT_THAT(unit.deviceEvents(), ElementsAre(DeviceEvent{Kind::StimulationStarted, 1, false, 0},
                                                 DeviceEvent{Kind::StimulationStopped, 1, false, 0}));
    unit.replug();
    openLines();
    EXPECT_THAT(readVexio(0x08), ElementsAre(0));
    EXPECT_THAT(dio->master.readFrom(0x40, 0x00, 1), ElementsAre(0xFF));
}

TEST_F(UnitDevices, ConfigurationSaysWhatIsThere)
{
    SimulatedUnit::Config config = manual(8);
    config.vexioPresent = false;
    std::int64_t nowUs = 0;
    config.clockUs = [&nowUs] { return nowUs; };
    SimulatedUnit small(config);
    EXPECT_THAT(Line(small, 0, 4).master.readFrom(0x10, 0x77, 1), IsEmpty());
    Line expanders(small, 1, 0);
    EXPECT_THAT(expanders.master.readFrom(0x4E, 0, 1), IsEmpty()) << "eight channels have one expander";
    nowUs = 5;
    EXPECT_EQ(expanders.master.writeTo(0x40, 0x00, {0xFE}), 3);
    EXPECT_THAT(small.deviceEvents(), ElementsAre(DeviceEvent{Kind::OutputChanged, 1, false, 5}));
    config.dioPresent = false;
    SimulatedUnit bare(config);
    EXPECT_THAT(Line(bare, 1, 0).master.readFrom(0x40, 0, 1), IsEmpty());
}

} // namespace
} // namespace vt::test
