// SPDX-License-Identifier: GPL-3.0-or-later
// The whole way down: loader, buses and acquisition against the stand-in library, in real time.
#include "LogCapture.h"
#include "acquisition/NIDAQ_data_thread.h"
#include "acquisition/PhysicalChannels.h"
#include "base/TimeSource.h"
#include "daqmx/DaqmxLibrary.h"
#include "hardware/DAQInfo.h"

#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>
#include <cmath>
#include <gmock/gmock.h>

namespace vt::test {

namespace {

/// The stand-in's signal, by its own description: 2 + c/4 Hz and 37 Hz at 600 samples per second.
double standinVolts(int channel, int n)
{
    const double turns = n / 600.0;
    return 0.8 * std::sin(2 * M_PI * (2 + channel / 4.0) * turns) + 0.1 * std::sin(2 * M_PI * 37 * turns);
}

class StandinUnitTest : public testing::Test
{
protected:
    StandinUnitTest()
    {
        // The library reads its settings when it is loaded, so they are the same for every test here; the
        // control file alone changes.
        static const QTemporaryDir folder;
        controlFile = folder.filePath(u"control"_qs);
        qputenv("STANDIN_CHANNELS", "16");
        qputenv("STANDIN_ANIMAL", "2");
        qputenv("STANDIN_SPEED", "20");
        qputenv("STANDIN_CONTROL", controlFile.toLocal8Bit());
        control("");
        driver = DaqmxLibrary::load(QStringLiteral(STANDIN_LIBRARY), nullptr);
    }

    void control(const QByteArray& words)
    {
        QFile file(controlFile);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(words);
    }
    /// Runs the event loop until isTrue() holds; it is asked whenever a block arrives or 10 ms have passed.
    template <typename Condition>
    bool eventually(Condition isTrue)
    {
        QEventLoop loop;
        QTimer poll;
        int rounds = 0;
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if (isTrue() || ++rounds > 1000)
                loop.quit();
        });
        poll.start(10);
        loop.exec();
        return isTrue();
    }
    template <typename Value, typename Call>
    Value answerOf(Call call)
    {
        std::optional<Value> answer;
        call([&](Value value) { answer = std::move(value); });
        EXPECT_TRUE(eventually([&] { return answer.has_value(); }));
        return answer ? *std::move(answer) : Value{};
    }

    LogCapture log;
    QString controlFile;
    std::unique_ptr<DaqmxApi> driver;
    SystemTimeSource time;
};

} // namespace

TEST_F(StandinUnitTest, MicrocontrollerAnswersOverTheLines)
{
    ASSERT_TRUE(driver);
    DAQInfo info(*driver, time);
    ASSERT_TRUE(answerOf<bool>([&](auto done) { info.selectDevice(u"Dev1"_qs, done); }));
    EXPECT_EQ(info.analogInputCount(), 16);
    const auto header = answerOf<std::optional<MCUHeader>>([&](auto done) { info.getMCUHeader(done); });
    ASSERT_TRUE(header.has_value());
    EXPECT_EQ(header->sensorCount, 16);
    EXPECT_EQ(header->animalType, 2);
    EXPECT_EQ(header->gain, 100);
    EXPECT_EQ(header->manufacturingDate, u"2025_02_14"_qs);
    EXPECT_EQ(header->customerInfo, u"Stand-in lab"_qs);
    EXPECT_FLOAT_EQ(header->outputGain, 1.0F);

    const auto isPresent = [&] { return answerOf<bool>([&](auto done) { info.isDevicePresent(done); }); };
    control("nak");
    EXPECT_FALSE(answerOf<bool>([&](auto done) { info.probeI2C(done); }));
    control("unplugged");
    EXPECT_FALSE(isPresent());
    EXPECT_FALSE(answerOf<bool>([&](auto done) { info.probeI2C(done); }));
    control("serial=99");
    EXPECT_FALSE(isPresent());
    control("");
    EXPECT_TRUE(answerOf<bool>([&](auto done) { info.recoverI2CSession(done); }));
}

TEST_F(StandinUnitTest, AcquisitionSurvivesAnUnplug)
{
    ASSERT_TRUE(driver);
    NIDAQ_data_thread device(*driver, time, physicalChannels(u"Dev1"_qs, 16), 16);
    std::vector<double> frame(static_cast<std::size_t>(device.frameSize()));
    int samplesRead = 0;
    device.start();
    ASSERT_TRUE(eventually([&] { return device.counters().framesQueued > 0; }));
    ASSERT_TRUE(device.getLatestData(frame.data(), device.frameSize(), &samplesRead));
    EXPECT_EQ(samplesRead, 320);
    // Early blocks may have been dropped, so the frame is one of the 120 of the signal's 4-second period.
    const auto isBlock = [&](int block) {
        for (int k = 0; k < 16; ++k)
            for (int j = 0; j < 20; ++j)
                if (std::abs(frame[static_cast<std::size_t>(k * 20 + j)] - standinVolts(k, block * 20 + j)) >
                    1e-9)
                    return false;
        return true;
    };
    int matches = 0;
    for (int block = 0; block < 120; ++block)
        matches += isBlock(block) ? 1 : 0;
    EXPECT_EQ(matches, 1);

    control("unplugged");
    ASSERT_TRUE(eventually([&] { return device.counters().readErrors == 1; }));
    const quint64 before = device.counters().framesAcquired;
    control("");
    ASSERT_TRUE(eventually([&] { return device.counters().framesAcquired > before + 5; }));
    EXPECT_EQ(device.counters().restarts, 1U);
    EXPECT_TRUE(log.hasInOrder(
        {u"DAQ read failed, error: -88709 read: 0"_qs, u"Restarting DAQ task."_qs, u"Task done: yes"_qs}));
    ASSERT_TRUE(device.stop(5000));
    const AcquisitionCounters counters = device.counters();
    EXPECT_EQ(counters.framesAcquired, 1 + counters.framesDropped + counters.framesQueued);
}

} // namespace vt::test
