// SPDX-License-Identifier: GPL-3.0-or-later
#include "AnalogTask.h"
#include "simulation/AnimalSource.h"

#include <QFile>
#include <QTemporaryDir>
#include <array>
#include <future>
#include <gmock/gmock.h>

namespace vt::test {
namespace {

constexpr auto Patience = std::chrono::seconds(20);

SimulatedUnit::Config manualConfig()
{
    SimulatedUnit::Config config;
    config.channels = 2;
    config.clock = SimulatedUnit::Clock::Manual;
    return config;
}

class UnitFaults : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_EQ(task.open(), 0);
        ASSERT_EQ(task.start(), 0);
        task.onCallback = [this] {
            statuses.push_back(task.read());
            if (statuses.back() == 0)
                stream.insert(stream.end(), task.samples.begin(), task.samples.begin() + 20);
        };
    }
    std::string names()
    {
        std::array<char, 64> text{};
        EXPECT_EQ(unit.DAQmxGetSysDevNames(text.data(), 64), 0);
        return text.data();
    }
    void restart()
    {
        EXPECT_EQ(unit.DAQmxStopTask(task.handle), 0);
        EXPECT_EQ(unit.DAQmxStartTask(task.handle), 0);
    }
    /// What channel 0 shows from a sample on, without a unit around it.
    std::vector<double> animal(std::size_t from, std::size_t count)
    {
        AnimalSource source(2, 1, 1, 0.0);
        std::vector<double> samples(from + count);
        const std::array<int, 1> channel{0};
        source.read(channel, static_cast<int>(samples.size()), samples.data());
        return {samples.begin() + static_cast<std::ptrdiff_t>(from), samples.end()};
    }

    SimulatedUnit unit{manualConfig()};
    AnalogTask task{unit, 2};
    std::vector<std::int32_t> statuses;
    std::vector<double> stream; ///< channel 0
};

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(UnitFaults, UnpluggedUnitVanishesWithItsTasks)
{
    EXPECT_EQ(unit.advanceFrames(1), 1);
    unit.unplug();
    EXPECT_EQ(names(), "");
    EXPECT_EQ(unit.advanceFrames(3), 0);
    std::uint32_t number = 0;
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("sim", &number), -88709);
    EXPECT_EQ(task.read(), -88709);
    EXPECT_EQ(unit.DAQmxIsTaskDone(task.handle, &number), -88709);
    AnalogTask other(unit, 2);
    EXPECT_EQ(other.open(), -88709);

    unit.replugAs(20002);
    EXPECT_EQ(names(), "sim");
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("sim", &number), 0);
    EXPECT_EQ(number, 20002U);
    EXPECT_EQ(task.start(), -88709) << "a task does not survive its device";
    EXPECT_EQ(unit.DAQmxStopTask(task.handle), -88709);
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), -88709) << "reported, and cleared nevertheless";
    EXPECT_EQ(unit.DAQmxClearTask(other.handle), 0);
    EXPECT_EQ(unit.openTaskCount(), 0);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    EXPECT_EQ(unit.advanceFrames(2), 2);
    unit.unplug();
    unit.replug();
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("sim", &number), 0);
    EXPECT_EQ(number, 20001U);
}

TEST_F(UnitFaults, UnplugEndsAHangingRead)
{
    unit.hangNextRead(3'600'000);
    std::promise<void> inCallback;
    std::int32_t status = 0;
    task.onCallback = [&] {
        inCallback.set_value();
        status = task.read();
    };
    auto driver = std::async(std::launch::async, [&] { return unit.advanceFrames(1); });
    inCallback.get_future().wait();
    unit.unplug();
    ASSERT_EQ(driver.wait_for(Patience), std::future_status::ready);
    EXPECT_EQ(status, -88709);
}

TEST_F(UnitFaults, FailedReadsLeaveTheSamplesUntilTheTaskStops)
{
    unit.failReads(-200279, 2);
    EXPECT_EQ(unit.advanceFrames(3), 3);
    EXPECT_THAT(statuses, ElementsAre(-200279, -200279, 0));
    EXPECT_EQ(stream, animal(0, 20)) << "the oldest block";
    restart();
    stream.clear();
    EXPECT_EQ(unit.advanceFrames(1), 1);
    EXPECT_EQ(stream, animal(60, 20)) << "what was not read when the task stopped is lost";
    unit.failReads(-200279, -1);
    EXPECT_EQ(unit.advanceFrames(5), 5);
    EXPECT_EQ(statuses.back(), -200279);
    unit.failReads(0, 0);
    EXPECT_EQ(unit.advanceFrames(1), 1);
    EXPECT_EQ(statuses.back(), 0);
}

TEST_F(UnitFaults, StalledCallbacksCatchUp)
{
    unit.stallCallbacks(true);
    EXPECT_EQ(unit.advanceFrames(4), 0);
    unit.stallCallbacks(false);
    EXPECT_EQ(unit.advanceFrames(1), 5);
    EXPECT_THAT(statuses, Each(0));
    EXPECT_EQ(stream, animal(0, 100)) << "no sample lost, in order";
}

TEST_F(UnitFaults, ALongStallOverwritesTheBuffer)
{
    unit.stallCallbacks(true);
    EXPECT_EQ(unit.advanceFrames(300), 0); // 10 s fill the buffer
    unit.stallCallbacks(false);
    EXPECT_EQ(task.read(), 0) << "just full";
    unit.stallCallbacks(true);
    EXPECT_EQ(unit.advanceFrames(2), 0);
    unit.stallCallbacks(false);
    EXPECT_EQ(unit.advanceFrames(1), 301) << "blocks that were acquired are still announced";
    EXPECT_THAT(statuses, Each(-200279));
    daqmx::Bool32 done = 0;
    EXPECT_EQ(unit.DAQmxIsTaskDone(task.handle, &done), 0);
    EXPECT_EQ(done, 1U);
    restart();
    EXPECT_EQ(unit.advanceFrames(1), 1);
    EXPECT_EQ(statuses.back(), 0);
}

TEST_F(UnitFaults, AnyCallCanFail)
{
    struct Case
    {
        std::uint64_t n;
        bool forEver;
        std::vector<std::int32_t> expected;
    };
    const Case cases[] = {{0, false, {-1, 0, 0, 0}}, {2, false, {0, 0, -1, 0}}, {1, true, {0, -1, -1, -1}}};
    for (const Case& c : cases) {
        unit.failCall(c.n, -1, c.forEver);
        std::vector<std::int32_t> got;
        for (int i = 0; i < 4; ++i) {
            std::array<char, 16> text{};
            got.push_back(unit.DAQmxGetSysDevNames(text.data(), 16));
        }
        EXPECT_EQ(got, c.expected) << c.n;
        unit.failCall(0, 0, false);
    }
    unit.failCall(0, -88709, true);
    EXPECT_EQ(task.read(), -88709);
    EXPECT_EQ(unit.DAQmxStopTask(task.handle), -88709);
    EXPECT_EQ(unit.DAQmxClearTask(task.handle), -88709);
    EXPECT_EQ(unit.openTaskCount(), 0) << "a failing clear clears";
    std::array<char, 16> text{};
    EXPECT_EQ(unit.DAQmxGetErrorString(-1, text.data(), 16), -88709);
}

/// Collects the program's log lines while it lives.
class LogCapture
{
public:
    LogCapture()
    {
        s_this = this;
        m_previous = qInstallMessageHandler(&LogCapture::message);
    }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        s_this = nullptr;
    }
    std::promise<std::string> warning;

private:
    static void message(QtMsgType type, const QMessageLogContext&, const QString& text)
    {
        if (type == QtWarningMsg && s_this)
            s_this->warning.set_value(text.toStdString());
    }
    static LogCapture* s_this;
    QtMessageHandler m_previous = nullptr;
};
LogCapture* LogCapture::s_this = nullptr;

TEST(UnitFaultControl, FollowsTheFileAndReportsUnknownLines)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("faults"));
    const auto append = [&](const char* text) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Append));
        file.write(text);
    };
    append("replug serial 20007\n# remark\n");
    LogCapture log;
    SimulatedUnit::Config config = manualConfig();
    config.faultControlFile = path;
    SimulatedUnit unit(config);
    append("unplu");
    append("g\nmake coffee\n");
    auto warning = log.warning.get_future();
    ASSERT_EQ(warning.wait_for(Patience), std::future_status::ready);
    EXPECT_THAT(warning.get(), HasSubstr("\"make coffee\""));
    std::uint32_t serial = 0;
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("sim", &serial), -88709) << "a line written in two parts";
    unit.replug();
    EXPECT_EQ(unit.DAQmxGetDevSerialNum("sim", &serial), 0);
}

} // namespace
} // namespace vt::test
