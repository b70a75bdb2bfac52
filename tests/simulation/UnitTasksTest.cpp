// SPDX-License-Identifier: GPL-3.0-or-later
#include "AnalogTask.h"

#include <array>
#include <cstring>
#include <gmock/gmock.h>

namespace vt::test {
namespace {

using daqmx::TaskHandle;
using testing::ElementsAre;
using testing::HasSubstr;

SimulatedUnit::Config manualConfig(int channels = 4)
{
    SimulatedUnit::Config config;
    config.channels = channels;
    config.clock = SimulatedUnit::Clock::Manual;
    return config;
}

class UnitTasks : public testing::Test
{
protected:
    TaskHandle create()
    {
        TaskHandle task = nullptr;
        EXPECT_EQ(unit.DAQmxCreateTask("", &task), 0);
        return task;
    }
    std::int32_t addInputs(TaskHandle task, const char* list, std::int32_t terminals = 10083,
                           double low = -10.0, double high = 10.0, std::int32_t units = 10348)
    {
        return unit.DAQmxCreateAIVoltageChan(task, list, "", terminals, low, high, units, nullptr);
    }
    std::int32_t write(TaskHandle task, const std::vector<std::uint32_t>& samples, bool autoStart = true)
    {
        std::int32_t written = 0;
        const std::int32_t status =
            unit.DAQmxWriteDigitalU32(task, static_cast<std::int32_t>(samples.size()), autoStart ? 1 : 0, 2.0,
                                      0, samples.data(), &written, nullptr);
        EXPECT_EQ(written, status == 0 ? static_cast<std::int32_t>(samples.size()) : 0);
        return status;
    }
    std::uint32_t readLines(TaskHandle task)
    {
        std::uint32_t value = 0;
        std::int32_t count = 0;
        EXPECT_EQ(unit.DAQmxReadDigitalU32(task, 1, 2.0, 0, &value, 1, &count, nullptr), 0);
        EXPECT_EQ(count, 1);
        return value;
    }

    SimulatedUnit unit{manualConfig()};
};

TEST_F(UnitTasks, DescribesTheDevice)
{
    std::array<char, 64> text{};
    std::uint32_t number = 0;
    EXPECT_EQ(unit.DAQmxGetSysDevNames(text.data(), 64), 0);
    EXPECT_STREQ(text.data(), "sim");
    EXPECT_EQ(unit.DAQmxGetSysDevNames(nullptr, 0), 4) << "the size that is needed";
    EXPECT_EQ(unit.DAQmxGetSysDevNames(text.data(), 3), -200228);
    EXPECT_STREQ(text.data(), "si");
    EXPECT_EQ(unit.DAQmxGetDevProductType("SIM", text.data(), 64), 0);
    EXPECT_STREQ(text.data(), "SIM-6218");
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("sim", &number), 0);
    EXPECT_EQ(number, 20001U);
    EXPECT_EQ(unit.DAQmxGetDevIsSimulated("sim", &number), 0);
    EXPECT_EQ(number, 1U);
    EXPECT_EQ(unit.DAQmxGetDevAIPhysicalChans("sim", text.data(), 64), 0);
    EXPECT_STREQ(text.data(), "sim/ai0, sim/ai1, sim/ai2, sim/ai3");
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("Dev1", &number), -200220);
}

TEST_F(UnitTasks, ChecksChannelsAndTheirSettings)
{
    struct Case
    {
        const char* list;
        std::int32_t terminals;
        double low, high;
        std::int32_t units;
        std::int32_t expected;
    };
    const Case cases[] = {
        {"sim/ai0:3", 10083, -10, 10, 10348, 0},
        {"SIM/AI2", 10083, -5, 5, 10348, 0},
        {"sim/ai0, sim/ai2:3", 10083, -10, 10, 10348, 0},
        {"sim/ai0:4", 10083, -10, 10, 10348, -200170},
        {"sim/ai4", 10083, -10, 10, 10348, -200170},
        {"Dev1/ai0:3", 10083, -10, 10, 10348, -200220},
        {"", 10083, -10, 10, 10348, -200498},
        {"sim", 10083, -10, 10, 10348, -200498},
        {"sim/ao0", 10083, -10, 10, 10348, -200498},
        {"sim/ai3:1", 10083, -10, 10, 10348, -200498},
        {"sim/ai1, sim/ai0:1", 10083, -10, 10, 10348, -200489},
        {"sim/ai0", 10106, -10, 10, 10348, -200077},
        {"sim/ai0", 10083, 10, -10, 10348, -200077},
        {"sim/ai0", 10083, -10, 10.5, 10348, -200077},
        {"sim/ai0", 10083, -10, 10, 10324, -200077},
    };
    for (const Case& c : cases) {
        const TaskHandle task = create();
        EXPECT_EQ(addInputs(task, c.list, c.terminals, c.low, c.high, c.units), c.expected) << c.list;
        EXPECT_EQ(unit.DAQmxClearTask(task), 0);
    }
    EXPECT_EQ(unit.openTaskCount(), 0);
}

TEST_F(UnitTasks, ChecksTheSampleClockAndTheEvent)
{
    const TaskHandle task = create();
    const auto clock = [&](double rate, const char* source = "", std::int32_t mode = 10123) {
        return unit.DAQmxCfgSampClkTiming(task, source, rate, 10280, mode, 80);
    };
    const auto nothing = [](TaskHandle, std::int32_t, std::uint32_t, void*) -> std::int32_t { return 0; };
    const auto event = [&](std::int32_t type, std::uint32_t samples, std::uint32_t options = 0) {
        return unit.DAQmxRegisterEveryNSamplesEvent(task, type, samples, options, nothing, nullptr);
    };
    EXPECT_EQ(clock(600), -200478) << "no channels yet";
    ASSERT_EQ(addInputs(task, "sim/ai0:3"), 0);
    EXPECT_EQ(addInputs(task, "sim/ai0:3"), -200489);
    EXPECT_EQ(event(1, 20), -200848) << "no clock yet";
    EXPECT_EQ(clock(0), -200081);
    EXPECT_EQ(clock(100'000), -200081) << "four channels share 250 kS/s";
    EXPECT_EQ(clock(601), -200077);
    EXPECT_EQ(clock(600, "/sim/PFI0"), -200077);
    EXPECT_EQ(clock(600, "", 10178), -200077) << "finite samples";
    ASSERT_EQ(clock(600), 0);
    EXPECT_EQ(event(2, 20), -200077);
    EXPECT_EQ(event(1, 0), -200077);
    EXPECT_EQ(event(1, 20, 1), -200077);
    EXPECT_EQ(event(1, 20), 0);
    EXPECT_EQ(event(1, 20), -200881);
    ASSERT_EQ(unit.DAQmxStartTask(task), 0);
    EXPECT_EQ(clock(600), -200479);
    EXPECT_EQ(event(1, 20), -200960);
    EXPECT_EQ(unit.DAQmxStartTask(task), -200479);
}

TEST_F(UnitTasks, KeepsTheStatesOfATask)
{
    AnalogTask first(unit, 4);
    TaskHandle empty = create();
    EXPECT_EQ(unit.DAQmxStartTask(empty), -200478);
    ASSERT_EQ(first.open(), 0);
    EXPECT_EQ(first.read(), -200984) << "not started";
    daqmx::Bool32 done = 0;
    EXPECT_EQ(unit.DAQmxIsTaskDone(first.handle, &done), 0);
    EXPECT_EQ(done, 1U);
    ASSERT_EQ(first.start(), 0);
    EXPECT_EQ(unit.DAQmxIsTaskDone(first.handle, &done), 0);
    EXPECT_EQ(done, 0U);

    AnalogTask second(unit, 4);
    ASSERT_EQ(second.open(), 0);
    EXPECT_EQ(second.start(), -50103) << "one acquisition at a time";
    EXPECT_EQ(unit.advanceFrames(2), 2);
    EXPECT_EQ(first.lastStatus, 0);
    EXPECT_EQ(first.samplesRead, 20);
    EXPECT_EQ(unit.DAQmxStopTask(first.handle), 0);
    EXPECT_EQ(unit.DAQmxStopTask(first.handle), 0) << "stopping twice is no error";
    EXPECT_EQ(first.read(), -200984);
    EXPECT_EQ(unit.advanceFrames(2), 0);
    EXPECT_EQ(second.start(), 0);
    EXPECT_EQ(unit.framesDelivered(), 2U);
    EXPECT_EQ(unit.openTaskCount(), 3);

    for (const TaskHandle task : {empty, first.handle, second.handle})
        EXPECT_EQ(unit.DAQmxClearTask(task), 0);
    EXPECT_EQ(unit.openTaskCount(), 0);
    EXPECT_EQ(unit.deadHandleCalls(), 0);
    EXPECT_EQ(unit.DAQmxClearTask(first.handle), -200088);
    EXPECT_EQ(unit.DAQmxStopTask(first.handle), -200088);
    EXPECT_EQ(unit.DAQmxStartTask(nullptr), -200088);
    EXPECT_EQ(first.read(), -200088);
    EXPECT_EQ(unit.deadHandleCalls(), 4);
    for (int i = 0; i < 100; ++i) {
        const TaskHandle task = create();
        EXPECT_THAT((std::vector<TaskHandle>{empty, first.handle, second.handle}),
                    testing::Not(testing::Contains(task)));
        unit.DAQmxClearTask(task);
    }
}

TEST_F(UnitTasks, ChecksTheReadBuffer)
{
    AnalogTask task(unit, 4);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    task.onCallback = [&] {
        std::int32_t count = 7;
        std::array<double, 80> buffer{};
        EXPECT_EQ(unit.DAQmxReadAnalogF64(task.handle, 20, 1.0, 0, buffer.data(), 79, &count, nullptr),
                  -200229);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(unit.DAQmxReadAnalogF64(task.handle, 21, 0.0, 0, buffer.data(), 200, &count, nullptr),
                  -200284);
        EXPECT_EQ(unit.DAQmxReadAnalogF64(task.handle, 20, 1.0, 1, buffer.data(), 80, &count, nullptr),
                  -200077);
        EXPECT_EQ(unit.DAQmxReadAnalogF64(task.handle, 5, 1.0, 0, buffer.data(), 80, &count, nullptr), 0);
        EXPECT_EQ(count, 5);
        EXPECT_EQ(unit.DAQmxReadAnalogF64(task.handle, -1, 1.0, 0, buffer.data(), 80, &count, nullptr), 0);
        EXPECT_EQ(count, 15) << "the rest of the block";
    };
    EXPECT_EQ(unit.advanceFrames(1), 1);
}

TEST_F(UnitTasks, DigitalLinesKeepToTheirTaskAndPort)
{
    const TaskHandle input = create();
    const TaskHandle output = create();
    const TaskHandle light = create();
    ASSERT_EQ(unit.DAQmxCreateDIChan(input, "sim/port1/line0:7", "", 1), 0);
    ASSERT_EQ(unit.DAQmxCreateDOChan(output, "sim/port1/line1:2", "", 1), 0);
    ASSERT_EQ(unit.DAQmxCreateDOChan(light, "sim/port0/line3", "", 1), 0);
    EXPECT_EQ(write(light, {8}, false), -200846);
    EXPECT_EQ(write(light, {8}), 0);
    EXPECT_EQ(readLines(input), 0xFFU) << "nothing drives the other port";
    EXPECT_EQ(unit.DAQmxStartTask(output), -50103) << "the reading task holds lines 1 and 2";
    EXPECT_EQ(unit.DAQmxStopTask(input), 0);
    EXPECT_EQ(write(output, {0xFF, 0x02}), 0);
    EXPECT_EQ(unit.DAQmxClearTask(output), 0);
    EXPECT_EQ(readLines(input), 0xFBU) << "line 2 was left low, lines of others untouched";
    std::array<std::uint8_t, 8> levels{};
    std::int32_t samples = 0;
    std::int32_t lineCount = 0;
    EXPECT_EQ(unit.DAQmxReadDigitalLines(input, 1, 2.0, 0, levels.data(), 8, &samples, &lineCount, nullptr),
              0);
    EXPECT_EQ(levels, (std::array<std::uint8_t, 8>{1, 1, 0, 1, 1, 1, 1, 1})) << "one byte per line";
    EXPECT_EQ(samples, 1);
    EXPECT_EQ(lineCount, 8);
    EXPECT_EQ(unit.DAQmxReadDigitalLines(input, 1, 2.0, 0, levels.data(), 7, &samples, &lineCount, nullptr),
              -200229);
    EXPECT_EQ(samples, 0);
    std::uint32_t value = 0;
    EXPECT_EQ(unit.DAQmxReadDigitalU32(light, 1, 2.0, 0, &value, 1, nullptr, nullptr), -200525);
    EXPECT_EQ(write(input, {1}), -200526);

    struct Case
    {
        const char* lines;
        std::int32_t expected;
    };
    for (const Case& c :
         {Case{"sim/port2/line0", -200170}, Case{"sim/port0/line8", -200170}, Case{"sim/port0", -200498},
          Case{"sim/port0/line2:1", -200498}, Case{"sim/port0/line0,sim/port1/line0", -200498},
          Case{"Dev1/port0/line0", -200220}}) {
        const TaskHandle task = create();
        EXPECT_EQ(unit.DAQmxCreateDOChan(task, c.lines, "", 1), c.expected) << c.lines;
    }
}

/// The program's own words on the bus, spelled out: port-aligned samples with data out at bit 1 and clock at
/// bit 2; register 0x04 holds the sensor count.
TEST_F(UnitTasks, MicrocontrollerAnswersOnPortZero)
{
    const TaskHandle input = create();
    const TaskHandle output = create();
    ASSERT_EQ(unit.DAQmxCreateDIChan(input, "sim/port0/line0", "", 1), 0);
    ASSERT_EQ(unit.DAQmxStartTask(input), 0);
    ASSERT_EQ(unit.DAQmxCreateDOChan(output, "sim/port0/line1:2", "", 1), 0);
    ASSERT_EQ(unit.DAQmxStartTask(output), 0);
    const auto send = [&](const char* bits) {
        std::vector<std::uint32_t> samples;
        for (const char* bit = bits; *bit; ++bit) {
            const std::uint32_t data = *bit == '1' ? 2 : 0;
            samples.insert(samples.end(), {data, data | 4, data});
        }
        samples.insert(samples.end(), {2, 6});
        EXPECT_EQ(write(output, samples), 0);
        const std::uint32_t level = readLines(input);
        EXPECT_EQ(write(output, {2}), 0);
        return level == 0;
    };
    EXPECT_EQ(readLines(input), 1U) << "idle bus";
    EXPECT_EQ(write(output, {6, 4, 0}), 0);
    EXPECT_TRUE(send("00010000"));
    EXPECT_TRUE(send("00000100"));
    EXPECT_EQ(write(output, {6, 4, 0}), 0);
    EXPECT_TRUE(send("00010001"));
    std::string bits;
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(write(output, {6}), 0);
        bits += readLines(input) != 0 ? '1' : '0';
        EXPECT_EQ(write(output, {2}), 0);
    }
    EXPECT_EQ(write(output, {6, 2}), 0);
    EXPECT_EQ(write(output, {2, 0, 4, 6, 6}), 0);
    EXPECT_EQ(bits, "00000100") << "four sensors";

    unit.setBusNak(true);
    EXPECT_EQ(write(output, {6, 4, 0}), 0);
    EXPECT_FALSE(send("00010000"));
}

TEST_F(UnitTasks, ResetEndsTasksAndReleasesLines)
{
    AnalogTask task(unit, 4);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    const TaskHandle output = create();
    ASSERT_EQ(unit.DAQmxCreateDOChan(output, "sim/port1/line0", "", 1), 0);
    ASSERT_EQ(write(output, {0}), 0);
    EXPECT_EQ(unit.DAQmxResetDevice("nobody"), -200220);
    EXPECT_EQ(unit.DAQmxResetDevice("sim"), 0);
    EXPECT_EQ(unit.advanceFrames(1), 0);
    EXPECT_EQ(task.read(), -88710);
    EXPECT_EQ(write(output, {0}), -88710);
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), -88710);
    EXPECT_EQ(unit.DAQmxClearTask(output), -88710);
    EXPECT_EQ(unit.openTaskCount(), 0);
    const TaskHandle input = create();
    ASSERT_EQ(unit.DAQmxCreateDIChan(input, "sim/port1/line0", "", 1), 0);
    EXPECT_EQ(readLines(input), 1U);
}

TEST_F(UnitTasks, GivesErrorTexts)
{
    std::array<char, 512> text{};
    EXPECT_EQ(unit.DAQmxGetErrorString(-200088, text.data(), 512), 0);
    EXPECT_STREQ(text.data(), "The task is invalid or does not exist.");
    EXPECT_EQ(unit.DAQmxStartTask(nullptr), -200088);
    EXPECT_EQ(unit.DAQmxGetExtendedErrorInfo(text.data(), 512), 0);
    EXPECT_THAT(text.data(), HasSubstr("Status Code: -200088"));
    EXPECT_THAT(text.data(), HasSubstr("DAQmxStartTask"));
    EXPECT_EQ(unit.DAQmxGetExtendedErrorInfo(text.data(), 8), -200228);
    EXPECT_EQ(std::strlen(text.data()), 7U);
}

TEST_F(UnitTasks, RecordsCallsInOrder)
{
    create();
    unit.recordCalls(true);
    AnalogTask task(unit, 1);
    ASSERT_EQ(task.open(), 0);
    unit.recordCalls(false);
    ASSERT_EQ(task.start(), 0);
    EXPECT_THAT(unit.recordedCalls(),
                ElementsAre(QStringLiteral("DAQmxCreateTask"), QStringLiteral("DAQmxCreateAIVoltageChan"),
                            QStringLiteral("DAQmxCfgSampClkTiming"),
                            QStringLiteral("DAQmxRegisterEveryNSamplesEvent")));
    EXPECT_EQ(unit.callCount(), 6U);
}

TEST(UnitConfig, NamesWhatIsWrong)
{
    const auto problem = [](const std::function<void(SimulatedUnit::Config&)>& change) {
        SimulatedUnit::Config config = manualConfig();
        change(config);
        SimulatedUnit unit(config);
        std::array<char, 16> names{};
        EXPECT_EQ(unit.DAQmxGetSysDevNames(names.data(), 16), 0);
        EXPECT_EQ(unit.configurationError().isEmpty(), names[0] != '\0')
            << "a unit that cannot work is absent";
        return unit.configurationError().toStdString();
    };
    EXPECT_EQ(problem([](auto&) {}), "");
    EXPECT_THAT(problem([](auto& c) { c.channels = 17; }), HasSubstr("17"));
    EXPECT_THAT(problem([](auto& c) { c.channels = 0; }), HasSubstr("0"));
    EXPECT_THAT(problem([](auto& c) { c.deviceName.clear(); }), HasSubstr("name"));
    EXPECT_THAT(problem([](auto& c) {
                    c.clock = SimulatedUnit::Clock::RealTime;
                    c.speed = 0;
                }),
                HasSubstr("speed"));
    EXPECT_THAT(problem([](auto& c) { c.playbackFile = QStringLiteral("/nowhere/at/all.f64"); }),
                HasSubstr("/nowhere/at/all.f64"));
}

} // namespace
} // namespace vt::test
