// SPDX-License-Identifier: GPL-3.0-or-later
// The session's plain decisions: watchdog verdict, header contents, summary text.
#include "session/AwaitedWrite.h"
#include "session/DiskForecast.h"
#include "session/HeaderBuilder.h"
#include "session/RecordingSummary.h"
#include "session/WatchdogVerdict.h"

#include <array>
#include <bit>
#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

TEST(WatchdogVerdict, CountsFromTheNewestBlockOrFromArming)
{
    struct Case
    {
        qint64 startedMs, lastDataMs, nowMs;
        bool timedOut;
        int sleepMs;
    };
    for (const Case& c : {Case{1000, -1, 6000, true, 0}, Case{1000, -1, 5999, false, 1},
                          Case{1000, 5900, 6000, false, 4900}, Case{1000, 1500, 6500, true, 0},
                          Case{1000, 500, 6000, true, 0}, // data of an earlier segment does not count
                          Case{1000, 7000, 6000, false, 5000}}) {
        const WatchdogVerdict verdict = watchdogVerdict(c.startedMs, c.lastDataMs, c.nowMs);
        EXPECT_EQ(verdict.timedOut, c.timedOut) << c.lastDataMs;
        EXPECT_EQ(verdict.sleepMs, c.sleepMs) << c.lastDataMs;
    }
}

TEST(HeaderBuilder, TakesTypeGainAndOffsetFromTheUnit)
{
    RecordingSetup setup;
    setup.channelCount = 3;
    setup.animalIds = {u"A"_s, u"  "_s};
    DeviceDetails device;
    device.productType = u"USB-6218"_s;
    device.serial = u"4711"_s;
    MCUHeader mcu;
    mcu.animalType = 1;
    mcu.gain = 0;
    FileHeader mouse = buildHeader(setup, device, mcu);
    EXPECT_EQ(mouse.featuresPerEpoch, 4);
    EXPECT_EQ(mouse.offsetSubtracted, 2.5);
    EXPECT_EQ(mouse.maxAmplitude, 5.0);
    EXPECT_EQ(mouse.channelLabels, (QStringList{u"A"_s, u"2"_s, u"3"_s}));
    EXPECT_EQ(mouse.deviceDescription, u"USB-6218"_s);
    mcu.animalType = 2;
    mcu.gain = 40;
    FileHeader rat = buildHeader(setup, device, mcu);
    EXPECT_EQ(rat.featuresPerEpoch, 6);
    EXPECT_EQ(rat.offsetSubtracted, 0.0);
    EXPECT_EQ(rat.mcuGain, 40);
}

TEST(RecordingSummary, EveryFieldOfTheLossesHasALine)
{
    using Fields = std::array<quint64, sizeof(LossSummary) / sizeof(quint64)>;
    for (std::size_t i = 0; i < Fields{}.size(); ++i) {
        Fields fields{};
        fields[i] = 7;
        RecordingResult result;
        result.losses = std::bit_cast<LossSummary>(fields);
        EXPECT_EQ(reportOf(result).gaps.size(), 1)
            << "field " << i << ": " << qPrintable(summaryText(result));
    }
}

TEST(AwaitedWrite, CountsWhatNobodyAnsweredAndNoAnswerOfAnEarlierOne)
{
    AwaitedWrite file;
    const auto late = file.begin();
    EXPECT_FALSE(file.hasFailed());
    EXPECT_TRUE(file.endsMissing());
    const auto answer = file.begin();
    late(false); // a disk that hung
    EXPECT_FALSE(file.hasFailed());
    answer(true);
    EXPECT_FALSE(file.endsMissing());
    file.begin()(false);
    EXPECT_TRUE(file.hasFailed());
    EXPECT_TRUE(file.endsMissing());
    EXPECT_FALSE(file.hasFailed()) << "counted once";
}

TEST(DiskForecast, TakesTheLargerOfWhatIsReckonedAndWhatIsMeasured)
{
    constexpr qint64 megabyte = 1'000'000;
    constexpr qint64 computed = 8 * megabyte;
    DiskForecast forecast;
    qint64 now = 5000;
    qint64 free = 72'000 * megabyte;
    // A sample every 2 s, as the session takes them.
    const auto pass = [&](int minutes, qint64 fallPerHour) {
        for (int i = 0; i < minutes * 30; ++i, now += 2000) {
            free -= fallPerHour / 1800;
            forecast.note(now, free + (i % 7 == 3 ? 5 * megabyte : 0), 1); // something small comes and goes
        }
    };
    const auto megabytes = [&] { return static_cast<double>(forecast.bytesPerHour(computed)) / megabyte; };
    pass(9, 900 * megabyte);
    EXPECT_EQ(forecast.bytesPerHour(computed), computed);
    EXPECT_FALSE(forecast.isMeasured()) << "films of unknown size";
    pass(3, 900 * megabyte);
    EXPECT_NEAR(megabytes(), 900, 45);
    free += 20'000 * megabyte; // somebody makes room
    pass(3, 900 * megabyte);
    EXPECT_NEAR(megabytes(), 900, 90);
    forecast.note(now + 60'000, -1, 1); // a share that is away for a moment
    pass(29, 3600 * megabyte);
    EXPECT_NEAR(megabytes(), 3600, 180);
    pass(35, 0);
    EXPECT_EQ(forecast.bytesPerHour(computed), computed);
    EXPECT_TRUE(forecast.isMeasured());
    forecast.note(now, free, 2);
    EXPECT_FALSE(forecast.isMeasured()) << "one more camera films";
}

TEST(RecordingSummary, NamesEveryLossWithItsNumberAndEveryChannel)
{
    RecordingResult result;
    result.reason = EndReason::UserStop;
    result.segmentBases = {u"base"_s, u"base (1)"_s};
    result.channels.resize(2);
    result.channels[0].animalId = u"M\n1"_s;
    result.channels[0].steps = 72;
    result.channels[0].asleep = 22;
    EXPECT_TRUE(summaryText(result).contains(u"Lost: nothing\n"_s));
    EXPECT_TRUE(summaryText(result).contains(u"Segment 1: base (1)\n"_s));
    EXPECT_TRUE(summaryText(result).contains(u"      1     72      22     30.6  M 1\n"_s))
        << qPrintable(summaryText(result));
    EXPECT_TRUE(summaryText(result).contains(u"      2      0       0      0.0  \n"_s));
    EXPECT_EQ(reportOf(result).gaps, QStringList());
    result.stimulation.state = StimulationStatus::State::NoPower;
    result.sensors.enabled = 3;
    result.sensors.missing = 1;
    result.losses.markersNotWritten = 1;
    EXPECT_TRUE(reportOf(result).hasLosses);
    EXPECT_EQ(reportOf(result).gaps, (QStringList{u"Lost: 1 marker not written to the marker file"_s,
                                                  u"Stimulation: stimulation unit without 12 V at the end"_s,
                                                  u"Environmental sensors: 1 of 3 missing at the end"_s}));
    result.losses = {.framesDropped = 3,
                     .writesDropped = 5,
                     .writesFailed = 7,
                     .bytesDropped = 640,
                     .bytesFailed = 896,
                     .flushTimeouts = 1,
                     .writesReordered = 2};
    const QString text = summaryText(result);
    EXPECT_TRUE(
        text.contains(u"Lost: 3 frames dropped, 5 writes dropped (640 bytes), 7 writes failed (896 bytes), 1 "
                      "flush timeouts"_s))
        << qPrintable(text);
    EXPECT_TRUE(text.contains(u"Out of order: 2 writes"_s));
    EXPECT_FALSE(text.contains(u"Without data"_s));
    EXPECT_FALSE(text.contains(u"serial line"_s));

    result.losses = {.bytesDamaged = 4};
    EXPECT_TRUE(result.losses.any());
    result.losses.interruptions = 2;
    result.withoutDataMs = 35'600;
    result.pauses = 1;
    EXPECT_TRUE(summaryText(result).contains(
        u"Lost: 4 bytes damaged on the serial line, 2 interruptions of the stream\n"_s));
    EXPECT_TRUE(summaryText(result).contains(u"Without data: 36 s in 1 pause\n"_s));
    result.pauses = 2;
    EXPECT_TRUE(summaryText(result).contains(u"Without data: 36 s in 2 pauses\n"_s));
    result.losses = {.restartGaps = 2, .restartGapMs = 201};
    EXPECT_TRUE(reportOf(result).hasLosses);
    EXPECT_TRUE(summaryText(result).contains(u"Without data: 0.3 s in 2 restarts of the acquisition\n"_s));
    result.losses = {.interruptions = 1};
    EXPECT_TRUE(result.losses.any());
}
