// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationRows.h"
#include "hardware/CageRandomiser.h"
#include "hardware/StimulationLatency.h"
#include "hardware/StimulationSummary.h"

#include <gtest/gtest.h>
#include <tuple>

namespace vt {
namespace {

const QDateTime Morning({2026, 3, 2}, {9, 5, 7});
const QDateTime AfterMidnight({2026, 12, 31}, {0, 0, 0});

TEST(StimulationRows, AreByteExact)
{
    StimulationRow stim{Morning, QStringLiteral("Sleep-based"), 90000, 2, 4, 0b1101, {}};
    // 20 x 0.5 s, 100 x 0.014 + 0.043 kHz, 100 x 0.039322 V; half a second more rounds up; largest values
    stim.cages = {{20, 100, 20, 0, 0}, {}, {255, 255, 255, 2, 9}};
    stim.cages[0].frequency = 100;
    StimulationRow hour{AfterMidnight, QStringLiteral("Open-loop timer"), 3600000, 0, 1, 0, {}};
    struct Case
    {
        QString row;
        const char* expected;
    };
    for (const Case& each : {
             Case{
                 stimulationHeaderRow(),
                 "EventType,DateTime,StimControlType,StimInterval(min),SleepDuration(sec),nCh,Stim[ch1-N]\n"},
             Case{stimRow(stim), "Stim,3/2/2026 9:05:07 AM,Sleep-based,1.5,2,4,"
                                 "10/1.44/3.9,-/-/-,128/3.61/10.0,0/0.00/0.0\n"},
             Case{stimRow(hour), "Stim,12/31/2026 12:00:00 AM,Open-loop timer,60,0,1,-/-/-\n"},
             Case{digOutputRow(Morning.addSecs(12 * 3600), 3, 0b101),
                  "digOutput,3/2/2026 9:05:07 PM,n/a,n/a,n/a,3,1,0,1\n"},
             Case{digInputRow(Morning, InputEdge::High, 4, 0b1010),
                  "digInput,3/2/2026 9:05:07 AM,Ext.Trig_High,0,1,0,1\n"},
             Case{digInputRow(Morning, InputEdge::Low, 2, 0),
                  "digInput,3/2/2026 9:05:07 AM,Ext.Trig_Low,0,0\n"},
             Case{diagRow(Morning, {0x80, 0x09, 0, 0xFF}), "Diag,3/2/2026 9:05:07 AM,0x80,0x09,0x00,0xff\n"},
         })
        EXPECT_EQ(each.row.toStdString(), each.expected);
    EXPECT_EQ(maskText(0x8005), QStringLiteral("0b1000000000000101"));
}

TEST(StimulationSummary, FillsTheConfigurationsRows)
{
    VexioSettings vexio;
    vexio.protocol = StimulationProtocol::ActivityBased;
    vexio.minIntervalMs = 90000;
    vexio.randomInterval = true;
    vexio.activityThreshold = 0.25;
    vexio.cageEnableMask = 0b001;
    vexio.extTriggerMask = 0b100;
    vexio.schedule = {{{22, 0}, {6, 0}, {true, false, false, false, false, false, true}}};
    vexio.cages[1] = {100, 100, 7, 0, false, true, false};
    vexio.randomRange = {0, 255, 0, 255, 1, 255};
    ConfigSummary summary;
    summary.channelCount = 10;
    describeStimulation(summary, StimulationSource::Unit, vexio, {});
    const QList<QByteArray> unit = summary.toCsv().split('\n').mid(5);
    EXPECT_EQ(unit[0], "Activation Mode:,ActivityBased,1.5,2,2,1,0.25");
    EXPECT_EQ(unit[1], "Randomization Range:,43,3613,0,10.0271,0.5,127.5");
    EXPECT_EQ(unit[2], "Activation Schedule Slot 1:,22:00,06:00,Monday Sunday");
    EXPECT_EQ(unit[3], "Stim Cages:,1,0,1,0,0,0,0,0,0,0");
    EXPECT_EQ(unit[6], ",Cage 2,1443,Random,3.5");
    vexio.cageEnableMask = 0x0FFF;
    for (const auto& [channels, hasOutputs, row] : {std::tuple(10, false, "Stim Cages:,1,1,1,1,1,1,1,1,0,0"),
                                                    std::tuple(10, true, "Stim Cages:,1,1,1,1,1,1,1,1,1,1"),
                                                    std::tuple(3, true, "Stim Cages:,1,1,1,0,0,0,0,0")}) {
        ConfigSummary more;
        more.channelCount = channels;
        DioSettings some;
        some.enabled = hasOutputs;
        describeStimulation(more, StimulationSource::Unit, vexio, some);
        EXPECT_EQ(more.toCsv().split('\n')[8], row);
    }

    DioSettings dio;
    dio.openLoop = true;
    dio.stimIntervalMin = 2.5;
    ConfigSummary outputs;
    outputs.channelCount = 3;
    describeStimulation(outputs, StimulationSource::Outputs, vexio, dio);
    const QList<QByteArray> rows = outputs.toCsv().split('\n').mid(5);
    EXPECT_EQ(rows[0], "Activation Mode:,OpenLoop,2.5,2");
    EXPECT_EQ(rows[3], "Stim Cages:,1,1,1,0,0,0,0,0");
    EXPECT_EQ(rows[6], ",Cage 2,-,-,-");
}

TEST(CageRandomiser, DrawsWithinTheRangeAndInAFixedOrder)
{
    std::array<CageSettings, VexioSettings::CageCount> cages;
    cages.fill({10, 20, 30, 1, false, false, false});
    cages[1] = {10, 20, 30, 2, true, false, true};
    cages[4] = {10, 20, 30, 0, false, true, true};
    const RandomRange wide{0, 255, 0, 255, 9, 8}; // durations: no range
    // The first outputs of the Mersenne Twister with seed 5489 are 3499211612, 581869302 and 3890346734; over
    // 256 values that is their highest byte.
    CageRandomiser randomiser(5489);
    QList<VEXIO_NS::CageConfig> configs = randomiser.draw(cages, wide);
    ASSERT_EQ(configs.size(), 8);
    EXPECT_EQ(configs[0], (VEXIO_NS::CageConfig{10, 20, 30, 1, 0}));
    EXPECT_EQ(configs[1], (VEXIO_NS::CageConfig{208, 20, 30, 2, 0}));
    EXPECT_EQ(configs[4], (VEXIO_NS::CageConfig{10, 34, 30, 0, 0}));
    EXPECT_EQ(randomiser.draw(cages, wide)[1].frequency, 231);

    std::array<int, 3> seen{}; // 8, 9, 10
    for (int i = 0; i < 300; ++i)
        ++seen.at(randomiser.draw(cages, {0, 0, 5, 5, 8, 10})[4].duration - 8U);
    for (const int count : seen)
        EXPECT_NEAR(count, 100, 40); // 5 standard deviations
}

TEST(StimulationLatency, SummarisesWhatReturned)
{
    StimulationLatency latency;
    EXPECT_EQ(latency.summary(), QStringLiteral("no stimulation measured"));
    latency.add(-3);
    EXPECT_EQ(latency.summary(),
              QStringLiteral("1 stimulations: median 0.0 ms, 95th percentile 0.0 ms, maximum 0.0 ms"));
    latency.clear();
    for (const int ms : {20, 1, 19, 2, 18, 3, 17, 4, 16, 5, 15, 6, 14, 7, 13, 8, 12, 9, 11, 10})
        latency.add(ms * 1000);
    EXPECT_EQ(latency.summary(),
              QStringLiteral("20 stimulations: median 10.5 ms, 95th percentile 19.0 ms, maximum 20.0 ms"));
    latency.add(21000); // the middle one; 20 of 21 are 95.2 %
    EXPECT_EQ(latency.summary(),
              QStringLiteral("21 stimulations: median 11.0 ms, 95th percentile 20.0 ms, maximum 21.0 ms"));
}

TEST(StimulationLatency, PairsReturnsWithTheirRequests)
{
    StimulationLatency latency;
    EXPECT_EQ(latency.requestReturned(1, 5), std::nullopt);
    const quint64 first = latency.requestSent(1000);
    const quint64 byTimer = latency.requestSent(std::nullopt);
    std::ignore = latency.requestSent(2000); // is lost on its way
    const quint64 refused = latency.requestSent(3000);
    const quint64 last = latency.requestSent(4000);
    EXPECT_EQ(latency.requestReturned(first, 1500), 500);
    EXPECT_EQ(latency.requestReturned(first, 1600), std::nullopt) << "once";
    EXPECT_EQ(latency.requestReturned(byTimer, 3100), std::nullopt);
    EXPECT_EQ(latency.requestReturned(refused, std::nullopt), std::nullopt);
    EXPECT_EQ(latency.requestReturned(last, 4700), 700);
    const quint64 forgotten = latency.requestSent(5000);
    latency.forgetRequests();
    EXPECT_EQ(latency.requestReturned(forgotten, 9000), std::nullopt);
    EXPECT_EQ(latency.count(), 2U);
}

} // namespace
} // namespace vt
