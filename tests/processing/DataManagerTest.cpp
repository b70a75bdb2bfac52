// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/DataManager.h"

#include "FakeDevice.h"
#include "LogCapture.h"
#include "TestSignals.h"
#include "recording/VellumtideFile.h"

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtEndian>
#include <algorithm>
#include <bit>
#include <cmath>
#include <gmock/gmock.h>
#include <numeric>

namespace vt {
namespace {

constexpr int FramesToFirstFeatures = 240;

std::vector<std::vector<double>> twoChannels()
{
    return {test::makeSignal("breathing", 12000, 600.0), test::makeSignal("slow breathing", 12000, 600.0)};
}

DataManager::Config configFor(int animalType)
{
    DataManager::Config config;
    config.channelCount = 2;
    config.animalType = animalType;
    return config;
}

struct Rig
{
    explicit Rig(const DataManager::Config& config) : manager(config, time) { manager.beginSegment(&device); }
    void tick(int count)
    {
        for (int i = 0; i < count; ++i)
            manager.handleNewDAQData(SamplesPerFrame);
    }

    test::LogCapture log;
    test::FakeDevice device{twoChannels()};
    test::SteppingTimeSource time;
    DataManager manager;
};

/// All streams of a recording in one file, so that their order can be seen.
struct SharedFile
{
    explicit SharedFile(DataManager& manager)
    {
        EXPECT_EQ(file.openFile(folder.filePath(QStringLiteral("all")), true), VellumtideFile::Opened);
        file.header().channelCount = 2;
        file.header().maxAmplitude = 5.0;
        manager.setFiles(&file, &file, &file, &file);
    }
    [[nodiscard]] QByteArray bytes() const
    {
        QFile written(folder.filePath(QStringLiteral("all")));
        EXPECT_TRUE(written.open(QIODevice::ReadOnly));
        return written.readAll();
    }

    QTemporaryDir folder;
    VellumtideFile file;
};

std::vector<double> doublesAt(const QByteArray& bytes, qsizetype at, int count)
{
    std::vector<double> values;
    for (int i = 0; i < count; ++i)
        values.push_back(std::bit_cast<double>(qFromBigEndian<quint64>(bytes.constData() + at + 8 * i)));
    return values;
}

TEST(DataManager, StreamsAreWrittenInOrderFeaturesBeforeTheRawBlockOfTheirTick)
{
    constexpr qsizetype RawBlock = 2 * 4 * 2; // 4 samples of 2 channels, 16 bits each
    constexpr qsizetype BeforeFeatures = (FramesToFirstFeatures - 1) * RawBlock;
    for (int animal : {1, 2, 4}) {
        Rig rig(configFor(animal));
        SharedFile shared(rig.manager);
        rig.tick(FramesToFirstFeatures - 1);
        ASSERT_EQ(shared.bytes().size(), BeforeFeatures);
        rig.tick(1);
        const QByteArray bytes = shared.bytes();
        std::vector<double> expected;
        const FeatureSet f[] = {rig.manager.lastFeatures(0), rig.manager.lastFeatures(1)};
        for (const FeatureSet& c : f) {
            const std::vector<double> mouse = {c.spectralContrast, c.breathRegularity, c.envelopeVariability,
                                               c.envelopeLevel};
            const std::vector<double> rat = {c.breathRegularity,   c.envelopeVariability, c.envelopeLevel,
                                             c.activityRegularity, c.activityVariability, c.activityLevel};
            const std::vector<double>& vector = animal == 1 ? mouse : rat;
            expected.insert(expected.end(), vector.begin(), vector.end());
        }
        for (double value : {f[0].breathRate, f[1].breathRate, f[0].signalPower, f[1].signalPower})
            expected.push_back(value);
        const int count = static_cast<int>(expected.size());
        ASSERT_EQ(bytes.size(), BeforeFeatures + 8 * count + RawBlock);
        EXPECT_EQ(doublesAt(bytes, BeforeFeatures, count), expected);
        EXPECT_EQ(f[1].signalPower > 0.1, animal != 4);
    }
}

TEST(DataManager, ActivityOnlyWritesAndPublishesNoDecisions)
{
    DataManager::Config config = configFor(1);
    config.activityOnly = true;
    Rig rig(config);
    SharedFile shared(rig.manager);
    QSignalSpy decisions(&rig.manager, &DataManager::newSleepDecision);
    QSignalSpy noSignals(&rig.manager, &DataManager::sensorNoSignal);
    rig.tick(FramesToFirstFeatures);
    constexpr qsizetype Before = (FramesToFirstFeatures - 1) * 16;
    const QByteArray bytes = shared.bytes();
    ASSERT_EQ(bytes.size(), Before + 2 * 8 + 16);
    EXPECT_THAT(doublesAt(bytes, Before, 2), testing::ElementsAre(rig.manager.lastFeatures(0).signalPower,
                                                                  rig.manager.lastFeatures(1).signalPower));
    EXPECT_EQ(decisions.count(), 0);
    EXPECT_EQ(noSignals.count(), 4);
    std::array<float, 1> newest{};
    EXPECT_EQ(rig.manager.copyBreathRateTrace(0, newest), 0U);
    EXPECT_EQ(rig.manager.copyPowerTrace(0, newest), 1U);
    EXPECT_EQ(rig.manager.sleepCounts(0).steps, 0);
}

TEST(DataManager, PublishesEverySixtyProcessedFramesAndScoresFromTheFullWindowOn)
{
    Rig rig(configFor(1));
    QSignalSpy frames(&rig.manager, &DataManager::newFeatureFrameReady);
    QSignalSpy decisions(&rig.manager, &DataManager::newSleepDecision);
    QSignalSpy noSignals(&rig.manager, &DataManager::sensorNoSignal);
    QSignalSpy stamps(&rig.manager, &DataManager::sig_writeTstamp);
    QSignalSpy data(&rig.manager, &DataManager::newDataReady);
    using Fault = test::FakeDevice::Fault;
    for (Fault fault : {Fault::EmptyQueue, Fault::NoSamples, Fault::ShortFrame}) {
        rig.device.failOnce(fault);
        rig.tick(60); // 59 frames
    }
    EXPECT_EQ(rig.manager.framesProcessed(), 177U);
    EXPECT_EQ(frames.count(), 2);
    rig.tick(3);
    EXPECT_EQ(frames.count(), 3);
    EXPECT_EQ(rig.manager.sleepCounts(0).steps, 0);
    rig.tick(120);
    EXPECT_EQ(frames.count(), 5);
    EXPECT_EQ(decisions.count(), 5);
    EXPECT_EQ(noSignals.count(), 5);
    EXPECT_EQ(data.count(), 300);
    EXPECT_EQ(rig.manager.sleepCounts(1).steps, 2) << "steps 4 and 5";
    EXPECT_EQ(frames.back().at(0).toDateTime(), rig.time.wallClock);
    EXPECT_EQ(decisions.back().at(2).value<std::vector<double>>().size(), 2U);
    EXPECT_THAT(noSignals.back().at(0).value<std::vector<bool>>(), testing::ElementsAre(false, false));

    std::vector<uint> counts;
    for (const QList<QVariant>& stamp : stamps)
        counts.push_back(stamp.at(1).toUInt());
    EXPECT_THAT(counts, testing::ElementsAre(4, 244, 484, 724, 964));
}

TEST(DataManager, DecidesAnewInEachSegment)
{
    Rig rig(configFor(1));
    std::vector<bool> decided;
    QObject::connect(&rig.manager, &DataManager::newSleepDecision, &rig.manager,
                     [&] { decided.push_back(rig.manager.isDecided()); });
    rig.tick(300);
    rig.manager.beginSegment(&rig.device);
    rig.tick(300);
    EXPECT_THAT(decided,
                testing::ElementsAre(false, false, false, true, true, false, false, false, true, true));
}

TEST(DataManager, FailedPullsAreCountedAndLogged)
{
    Rig rig(configFor(1));
    const qsizetype before = rig.log.lines().size();
    using Fault = test::FakeDevice::Fault;
    for (Fault fault : {Fault::EmptyQueue, Fault::ShortFrame, Fault::NoSamples, Fault::NoSamples, Fault::None,
                        Fault::EmptyQueue}) {
        rig.device.failOnce(fault);
        rig.tick(1);
    }
    EXPECT_EQ(rig.log.lines().mid(before),
              (QStringList{QStringLiteral("getLatestData ERROR - frame dropped (consecutive errors: 1 )"),
                           QStringLiteral("getLatestData ERROR - frame dropped (consecutive errors: 2 )"),
                           QStringLiteral("No data fetched - frame dropped (no data count: 1 )"),
                           QStringLiteral("No data fetched - frame dropped (no data count: 2 )"),
                           QStringLiteral("getLatestData ERROR - frame dropped (consecutive errors: 1 )")}));
    EXPECT_EQ(rig.manager.framesProcessed(), 1U);
}

TEST(DataManager, ASegmentBeginsWithEmptyFiltersAndKeepsTheLongTerm)
{
    Rig rig(configFor(1));
    QSignalSpy stamps(&rig.manager, &DataManager::sig_writeTstamp);
    rig.tick(FramesToFirstFeatures + 30);
    test::FakeDevice again(twoChannels());
    rig.manager.beginSegment(&again);
    EXPECT_EQ(rig.manager.segmentFramesProcessed(), 0U);
    EXPECT_EQ(rig.manager.framesProcessed(), 270U);
    const FeatureSet first = rig.manager.lastFeatures(0);
    rig.tick(1);
    EXPECT_EQ(stamps.back().at(1).toUInt(), 4U);
    rig.tick(FramesToFirstFeatures - 2);
    EXPECT_EQ(rig.manager.sleepCounts(0).steps, 1) << "windows fill anew";
    rig.tick(1);
    EXPECT_EQ(rig.manager.sleepCounts(0).steps, 2) << "counts go on";
    EXPECT_EQ(rig.manager.lastFeatures(0).signalPower, first.signalPower) << "same frames, same features";
    EXPECT_EQ(rig.manager.lastFeatures(0).envelopeLevel, first.envelopeLevel);
    EXPECT_EQ(rig.manager.dayProfile(0)[60].count, 1) << "the second step of the recording";
    std::array<float, 4> newest{};
    EXPECT_EQ(rig.manager.copyRawTrace(0, newest), 4U * 510);
}

TEST(DataManager, BandpassChangesTheDisplayOnly)
{
    DataManager::Config config = configFor(1);
    QByteArray bytes[2];
    FeatureSet features[2];
    std::vector<float> shown[2];
    for (bool bandpass : {false, true}) {
        config.bandpass = bandpass;
        Rig rig(config);
        SharedFile shared(rig.manager);
        rig.tick(FramesToFirstFeatures);
        bytes[bandpass] = shared.bytes();
        features[bandpass] = rig.manager.lastFeatures(1);
        shown[bandpass].resize(100);
        EXPECT_EQ(rig.manager.copyRawTrace(1, shown[bandpass]), 960U);
    }
    EXPECT_EQ(bytes[0], bytes[1]);
    EXPECT_EQ(features[0].spectralContrast, features[1].spectralContrast);
    EXPECT_NE(shown[0], shown[1]);
    EXPECT_THAT(shown[1], testing::Each(testing::AllOf(testing::Gt(-0.3F), testing::Lt(0.3F))));
}

TEST(DataManager, AllTracesOfTheDisplayReachTenMinutesBack)
{
    constexpr int Frames = 10 * 60 * 30;
    Rig rig(configFor(1));
    rig.tick(Frames);
    std::vector<float> values(std::size_t{4} * Frames);
    const DataManager& manager = rig.manager;
    for (const auto copy :
         {&DataManager::copyRawTrace, &DataManager::copyBreathingTrace, &DataManager::copyActivityTrace}) {
        ASSERT_EQ((manager.*copy)(0, values), values.size());
        EXPECT_THAT(values, testing::Each(testing::Not(testing::IsNan())));
    }
}

TEST(DataManager, SlowPartsOfATickAreLogged)
{
    struct Case
    {
        int msPerClockReading; // six readings in an ordinary tick of one channel with a file
        QStringList ordinary;
        bool slowFeatures;
    };
    const auto line = [](const char* text) { return QString::fromLatin1(text); };
    const Case cases[] = {
        {5, {}, false},
        {6, {}, false},
        {7, {line("FileWrite took 7 Milliseconds."), line("callback processing time 35 > 30")}, false},
        {10, {line("FileWrite took 10 Milliseconds."), line("callback processing time 50 > 30")}, true},
        {11,
         {line("Data processing delay 66 ms > 60"), line("FileWrite took 11 Milliseconds."),
          line("callback processing time 55 > 30")},
         true},
        {21,
         {line("Data processing delay 126 ms > 60"), line("filterBandpass took 21 Milliseconds execute."),
          line("FileWrite took 21 Milliseconds."), line("callback processing time 105 > 30")},
         true},
    };
    for (const Case& c : cases) {
        test::LogCapture log;
        test::SteppingTimeSource time;
        time.usPerReading = 1000 * c.msPerClockReading;
        DataManager::Config config;
        config.channelCount = 1;
        DataManager manager(config, time);
        test::FakeDevice device({test::makeSignal("breathing", 12000, 600.0)});
        QTemporaryDir folder;
        VellumtideFile raw;
        ASSERT_EQ(raw.openFile(folder.filePath(QStringLiteral("raw")), true), VellumtideFile::Opened);
        raw.header().channelCount = 1;
        raw.header().maxAmplitude = 5.0;
        manager.setFiles(&raw, nullptr, nullptr, nullptr);
        manager.beginSegment(&device);
        manager.handleNewDAQData(SamplesPerFrame);
        const qsizetype before = log.lines().size();
        manager.handleNewDAQData(SamplesPerFrame);
        EXPECT_EQ(log.lines().mid(before), c.ordinary) << c.msPerClockReading;
        for (int i = 2; i < FramesToFirstFeatures; ++i)
            manager.handleNewDAQData(SamplesPerFrame);
        const QString slow = QStringLiteral("Feature computation took %1 Milliseconds execute on channel 0.");
        EXPECT_EQ(log.lines().contains(slow.arg(c.msPerClockReading)), c.slowFeatures) << c.msPerClockReading;
    }
}

TEST(DataManager, SaysWhatItIsAndNothingMoreWhenAllIsWell)
{
    test::LogCapture log;
    {
        test::SteppingTimeSource time;
        DataManager manager(configFor(2), time);
        test::FakeDevice device(twoChannels());
        manager.beginSegment(&device);
        for (int i = 0; i < 2 * FramesToFirstFeatures; ++i)
            manager.handleNewDAQData(SamplesPerFrame);
    }
    EXPECT_EQ(log.lines(),
              (QStringList{QStringLiteral("DataManager: animalType 2 sensorAmpType 0 activityOnly false"),
                           QStringLiteral("Feature extraction buffers pre-allocated, size: 960"),
                           QStringLiteral("daqBuffer size set to: 40"),
                           QStringLiteral("DataManager destructor.")}));
}

TEST(DataManager, RatOnTheSerialAmplifierAlwaysCountsAsAbsent)
{
    DataManager::Config config = configFor(2);
    config.sensorAmpType = 1;
    Rig rig(config);
    rig.tick(FramesToFirstFeatures + 4 * 60);
    EXPECT_FALSE(rig.manager.noSignal(0));
    rig.tick(60); // the sixth step
    EXPECT_TRUE(rig.manager.noSignal(0));
}

TEST(DataManager, TracesShowWhatWasScored)
{
    Rig rig(configFor(1));
    std::array<float, 480> spectrum{};
    EXPECT_EQ(rig.manager.copySpectrum(0, spectrum), 0U);
    rig.tick(FramesToFirstFeatures);
    EXPECT_EQ(rig.manager.copySpectrum(0, spectrum), 1U);
    const auto peak = std::max_element(spectrum.begin(), spectrum.end()) - spectrum.begin();
    EXPECT_NEAR(static_cast<double>(peak) * 0.125, 2.3, 0.13);
    std::array<float, 2> newest{};
    EXPECT_EQ(rig.manager.copyPowerTrace(0, newest), 1U);
    EXPECT_TRUE(std::isnan(newest[0]));
    EXPECT_FLOAT_EQ(newest[1], static_cast<float>(rig.manager.lastFeatures(0).signalPower));
    const auto histogram = rig.manager.histogram(0);
    EXPECT_EQ(std::accumulate(histogram.begin(), histogram.end(), 0.0), 1.0);
    EXPECT_EQ(rig.manager.copyBreathRateTrace(0, newest), 1U);
    const bool asleep = rig.manager.sleepCounts(0).asleep == 1;
    EXPECT_EQ(std::isnan(newest[1]), !asleep);
}

} // namespace
} // namespace vt
