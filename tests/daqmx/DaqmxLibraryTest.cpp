// SPDX-License-Identifier: GPL-3.0-or-later
#include "daqmx/DaqmxLibrary.h"
#include "LogCapture.h"
#include "daqmx/DaqmxStatus.h"

#include <QFile>
#include <QLibrary>
#include <array>
#include <cmath>
#include <condition_variable>
#include <gmock/gmock.h>

namespace vt::test {

namespace {

const QString Standin = QStringLiteral(STANDIN_LIBRARY);

/// Names of the C functions that the stand-in has seen since the last look.
std::string callsSeen()
{
    QLibrary library(Standin);
    const auto calls = reinterpret_cast<const char* (*)()>(library.resolve("standinCalls"));
    const auto forget = reinterpret_cast<void (*)()>(library.resolve("standinForgetCalls"));
    if (!calls || !forget)
        return "no stand-in";
    const std::string seen = calls();
    forget();
    return seen;
}

/// Counts callbacks, for a task that delivers 20 samples of two channels each.
struct Blocks
{
    Mutex mutex;
    std::condition_variable_any changed;
    DaqmxApi* driver = nullptr;
    std::vector<std::array<double, 40>> blocks;

    static std::int32_t onBlock(daqmx::TaskHandle task, std::int32_t, std::uint32_t sampleCount, void* data)
    {
        auto& self = *static_cast<Blocks*>(data);
        std::array<double, 40> block{};
        std::int32_t read = 0;
        const std::int32_t status = self.driver->DAQmxReadAnalogF64(
            task, static_cast<std::int32_t>(sampleCount), 10.0, 0, block.data(), 40, &read, nullptr);
        MutexLock lock(self.mutex);
        if (status == 0 && read == 20)
            self.blocks.push_back(block);
        self.changed.notify_all();
        return 0;
    }
};

} // namespace

TEST(DaqmxLibrary, KnowsTheNamesOfEachSystem)
{
    EXPECT_EQ(DaqmxLibrary::defaultNames(u"winnt"_qs), QStringList{u"nicaiu.dll"_qs});
    EXPECT_EQ(DaqmxLibrary::defaultNames(u"linux"_qs),
              (QStringList{u"libnidaqmx.so.1"_qs, u"libnidaqmx.so"_qs}));
}

TEST(DaqmxLibrary, AbsentLibraryIsOneLogLine)
{
    LogCapture log;
    QString error = u"old"_qs;
    const auto driver = DaqmxLibrary::load(QString(), &error);
    if (driver)
        return; // a machine with the real driver
    EXPECT_TRUE(error.isEmpty());
    EXPECT_EQ(log.lines(), QStringList{u"DaqmxLibrary: no NI-DAQmx library on this machine, looked for "
                                       "libnidaqmx.so.1, libnidaqmx.so"_qs});
}

TEST(DaqmxLibrary, GivenPathThatCannotBeLoadedIsAnError)
{
    LogCapture log;
    QString error;
    EXPECT_EQ(DaqmxLibrary::load(u"/nowhere/libnidaqmx.so"_qs, &error), nullptr);
    EXPECT_TRUE(error.startsWith(u"NI-DAQmx library /nowhere/libnidaqmx.so cannot be loaded: "))
        << error.toStdString();
    EXPECT_TRUE(log.has(u"DaqmxLibrary: "_qs + error));
}

TEST(DaqmxLibrary, MissingFunctionsAreNamedTogether)
{
    LogCapture log;
    QString error;
    EXPECT_EQ(DaqmxLibrary::load(QStringLiteral(STANDIN_INCOMPLETE), &error), nullptr);
    EXPECT_EQ(
        error,
        QStringLiteral("NI-DAQmx library %1 lacks the functions: DAQmxReadDigitalU32, "
                       "DAQmxReadDigitalLines, DAQmxGetDevSerialNum, DAQmxResetDevice, DAQmxGetErrorString, "
                       "DAQmxGetExtendedErrorInfo")
            .arg(QStringLiteral(STANDIN_INCOMPLETE)));
    EXPECT_EQ(log.lines(), QStringList{u"DaqmxLibrary: "_qs + error});
}

TEST(DaqmxLibrary, DoesWithoutTheOptionalFunctions)
{
    LogCapture log;
    QString error;
    const auto driver = DaqmxLibrary::load(QStringLiteral(STANDIN_MINIMAL), &error);
    ASSERT_TRUE(driver) << error.toStdString();
    EXPECT_TRUE(log.has(u"DaqmxLibrary: NI-DAQmx library without DAQmxGetDevIsSimulated, "
                        "DAQmxGetDevAIPhysicalChans - doing without"_qs));
    daqmx::Bool32 isSimulated = 1;
    EXPECT_EQ(driver->DAQmxGetDevIsSimulated("Dev1", &isSimulated), 0);
    EXPECT_EQ(isSimulated, 0U);
    char channels[8] = "old";
    EXPECT_EQ(driver->DAQmxGetDevAIPhysicalChans("Dev1", channels, sizeof channels), 0);
    EXPECT_STREQ(channels, "");
}

// Each function goes to the C function of its name, and what it returns comes back.
TEST(DaqmxLibrary, ForwardsDeviceCalls)
{
    LogCapture log;
    QString error;
    const auto driver = DaqmxLibrary::load(Standin, &error);
    ASSERT_TRUE(driver) << error.toStdString();
    callsSeen();
    char text[256];
    EXPECT_EQ(driver->DAQmxGetSysDevNames(text, sizeof text), 0);
    EXPECT_STREQ(text, "Dev1");
    EXPECT_EQ(driver->DAQmxGetDevProductType("Dev1", text, sizeof text), 0);
    EXPECT_STREQ(text, "Stand-in 8");
    std::uint32_t serial = 0;
    EXPECT_EQ(driver->DAQmxGetDevSerialNum("Dev1", &serial), 0);
    EXPECT_EQ(serial, 30001U);
    daqmx::Bool32 isSimulated = 1;
    EXPECT_EQ(driver->DAQmxGetDevIsSimulated("Dev1", &isSimulated), 0);
    EXPECT_EQ(isSimulated, 0U);
    EXPECT_EQ(driver->DAQmxGetDevAIPhysicalChans("Dev1", text, sizeof text), 0);
    EXPECT_STREQ(text, "Dev1/ai0, Dev1/ai1, Dev1/ai2, Dev1/ai3, Dev1/ai4, Dev1/ai5, Dev1/ai6, Dev1/ai7");
    EXPECT_EQ(driver->DAQmxResetDevice("Dev1"), 0);
    EXPECT_EQ(driver->DAQmxGetDevSerialNum("Dev9", &serial), -200220);
    EXPECT_EQ(driver->DAQmxGetErrorString(-7, text, sizeof text), 0);
    EXPECT_STREQ(text, "stand-in error -7");
    EXPECT_EQ(driver->DAQmxGetExtendedErrorInfo(text, sizeof text), 0);
    EXPECT_STREQ(text, "DAQmxGetDevSerialNum failed in the stand-in driver, status -200220");
    EXPECT_EQ(callsSeen(), "DAQmxGetSysDevNames DAQmxGetDevProductType DAQmxGetDevSerialNum "
                           "DAQmxGetDevIsSimulated DAQmxGetDevAIPhysicalChans DAQmxResetDevice "
                           "DAQmxGetDevSerialNum ");
}

TEST(DaqmxLibrary, ForwardsTaskCalls)
{
    LogCapture log;
    const auto driver = DaqmxLibrary::load(Standin, nullptr);
    ASSERT_TRUE(driver);
    callsSeen();
    Blocks blocks;
    blocks.driver = driver.get();
    daqmx::TaskHandle task = nullptr;
    EXPECT_EQ(driver->DAQmxCreateTask("", &task), 0);
    EXPECT_EQ(driver->DAQmxCreateAIVoltageChan(task, "Dev1/ai0:1", "", 10083, -10, 10, 10348, nullptr), 0);
    EXPECT_EQ(driver->DAQmxCfgSampClkTiming(task, "", 600, 10280, 10123, 40), 0);
    EXPECT_EQ(driver->DAQmxRegisterEveryNSamplesEvent(task, 1, 20, 0, &Blocks::onBlock, &blocks), 0);
    EXPECT_EQ(driver->DAQmxStartTask(task), 0);
    {
        std::unique_lock lock(blocks.mutex);
        ASSERT_TRUE(blocks.changed.wait_for(lock, std::chrono::seconds(10),
                                            [&]() { return blocks.blocks.size() >= 2; }));
    }
    daqmx::Bool32 isDone = 1;
    EXPECT_EQ(driver->DAQmxIsTaskDone(task, &isDone), 0);
    EXPECT_EQ(isDone, 0U);
    EXPECT_EQ(driver->DAQmxStopTask(task), 0);
    EXPECT_EQ(driver->DAQmxClearTask(task), 0);
    EXPECT_EQ(driver->DAQmxStopTask(task), -200088) << "the handle is dead";
    // Sample 25 of channel 1 by the stand-in's formula: 2.25 Hz and 37 Hz at 600 Hz.
    EXPECT_NEAR(blocks.blocks[1][20 + 5],
                0.8 * std::sin(2 * M_PI * 2.25 * 25 / 600) + 0.1 * std::sin(2 * M_PI * 37 * 25 / 600), 1e-12);

    daqmx::TaskHandle lines = nullptr;
    std::uint32_t word = 0;
    std::int32_t done = 0;
    EXPECT_EQ(driver->DAQmxCreateTask("", &lines), 0);
    EXPECT_EQ(driver->DAQmxCreateDIChan(lines, "Dev1/port0/line0", "", 1), 0);
    EXPECT_EQ(driver->DAQmxReadDigitalU32(lines, 1, 2.0, 0, &word, 1, &done, nullptr), 0);
    EXPECT_EQ(word & 1, 1U);
    std::uint8_t level = 0;
    std::int32_t lineCount = 0;
    EXPECT_EQ(driver->DAQmxReadDigitalLines(lines, 1, 2.0, 0, &level, 1, &done, &lineCount, nullptr), 0);
    EXPECT_EQ(level, 1);
    EXPECT_EQ(lineCount, 1);
    EXPECT_EQ(driver->DAQmxReadDigitalLines(lines, 1, 2.0, 0, &level, 0, &done, &lineCount, nullptr), -200077)
        << "no room for the byte";
    EXPECT_EQ(driver->DAQmxWriteDigitalU32(lines, 1, 1, 2.0, 0, &word, &done, nullptr), -200077)
        << "an input";
    EXPECT_EQ(driver->DAQmxCreateDOChan(lines, "Dev1/port0/line1:2", "", 1), 0);
    EXPECT_EQ(driver->DAQmxWriteDigitalU32(lines, 1, 1, 2.0, 0, &word, &done, nullptr), 0);
    EXPECT_EQ(done, 1);
    EXPECT_EQ(driver->DAQmxClearTask(lines), 0);
    const std::string seen = callsSeen();
    EXPECT_THAT(seen,
                testing::StartsWith("DAQmxCreateTask DAQmxCreateAIVoltageChan DAQmxCfgSampClkTiming "
                                    "DAQmxRegisterEveryNSamplesEvent DAQmxStartTask DAQmxReadAnalogF64 "));
    EXPECT_THAT(seen, testing::EndsWith("DAQmxStopTask DAQmxClearTask DAQmxStopTask DAQmxCreateTask "
                                        "DAQmxCreateDIChan DAQmxReadDigitalU32 DAQmxReadDigitalLines "
                                        "DAQmxReadDigitalLines DAQmxWriteDigitalU32 DAQmxCreateDOChan "
                                        "DAQmxWriteDigitalU32 DAQmxClearTask "));
}

TEST(DaqmxStatus, FailuresAreLoggedWithBothTexts)
{
    LogCapture log;
    const auto driver = DaqmxLibrary::load(Standin, nullptr);
    ASSERT_TRUE(driver);
    EXPECT_TRUE(daqmxSucceeded(*driver, 0, "DAQmxStartTask"));
    EXPECT_TRUE(daqmxSucceeded(*driver, 200010, "DAQmxStartTask")) << "a warning";
    const qsizetype before = log.lines().size();
    EXPECT_FALSE(daqmxSucceeded(*driver, driver->DAQmxStartTask(nullptr), "DAQmxStartTask"));
    EXPECT_EQ(log.lines().mid(before),
              (QStringList{u"DAQmxStartTask failed: stand-in error -200088"_qs,
                           u"DAQmxStartTask failed in the stand-in driver, status -200088"_qs}));
}

} // namespace vt::test
