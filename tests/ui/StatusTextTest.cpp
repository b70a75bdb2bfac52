// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/StatusText.h"

#include <array>
#include <bit>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::statustext;

TEST(StatusText, ElapsedTime)
{
    for (const auto& [ms, expected] :
         {std::pair{0LL, "0:00:00"}, std::pair{7999LL, "0:00:07"}, std::pair{86399999LL, "23:59:59"},
          std::pair{86400000LL, "1 d 00:00:00"},
          std::pair{2LL * 86400000 + 3 * 3600000 + 245000, "2 d 03:04:05"}, std::pair{-5LL, "0:00:00"}})
        EXPECT_EQ(elapsedText(ms), QLatin1String(expected)) << ms;
}

TEST(StatusText, HowLongTheDiskLasts)
{
    for (const auto& [freeBytes, perHour, expected] :
         {std::tuple{qint64{59}, qint64{60}, "59 min"}, std::tuple{qint64{60}, qint64{60}, "1 h"},
          std::tuple{qint64{2879}, qint64{60}, "47 h"}, std::tuple{qint64{2880}, qint64{60}, "2 days"},
          std::tuple{qint64{24 * 3650}, qint64{1}, "over 10 years"}, std::tuple{qint64{-1}, qint64{60}, ""},
          std::tuple{qint64{100}, qint64{0}, ""}})
        EXPECT_EQ(lastsText(freeBytes, perHour), QLatin1String(expected)) << freeBytes << " / " << perHour;
}

TEST(StatusText, SleepOfAChannel)
{
    ChannelSummary channel;
    EXPECT_EQ(sleepDisplay(channel, Scoring::SleepWake), SleepDisplay::Waiting);
    channel.steps = 1;
    EXPECT_EQ(sleepDisplay(channel, Scoring::SleepWake), SleepDisplay::Awake);
    channel.sleeping = true;
    EXPECT_EQ(sleepDisplay(channel, Scoring::SleepWake), SleepDisplay::Asleep);
    EXPECT_EQ(sleepDisplay(channel, Scoring::ActivityOnly), SleepDisplay::NotScored);
    channel.noSignal = true;
    EXPECT_EQ(sleepDisplay(channel, Scoring::SleepWake), SleepDisplay::NoSignal);
    EXPECT_EQ(sleepDisplay(channel, Scoring::ActivityOnly), SleepDisplay::NoSignal);
}

TEST(StatusText, SegmentsAreCalledLikeTheirFiles)
{
    EXPECT_EQ(segmentText(0), QStringLiteral("First"));
    EXPECT_EQ(segmentText(2), QStringLiteral("(2)"));
    EXPECT_EQ(recordingName(QStringLiteral("/data/night.2 (1)")), QStringLiteral("night.2 (1)"));
}

TEST(StatusText, LossesAreNamedWithTheirNumbers)
{
    LossSummary losses;
    EXPECT_EQ(lossText(losses), QStringLiteral("Nothing was lost."));
    losses.framesDropped = 12;
    losses.bytesFailed = 1500;
    EXPECT_EQ(lossText(losses), QStringLiteral("Frames dropped: 12\nBytes failed: 1,500"));
}

// Every field, those to come included: a loss that only the report names was "Nothing was lost." here.
TEST(StatusText, NoLossIsCalledNothing)
{
    using Fields = std::array<quint64, sizeof(LossSummary) / sizeof(quint64)>;
    for (std::size_t i = 0; i < Fields{}.size(); ++i) {
        Fields fields{};
        fields[i] = 7;
        const QString told = lossText(std::bit_cast<LossSummary>(fields));
        EXPECT_TRUE(told.endsWith(QStringLiteral(": 7"))) << "field " << i << ": " << qPrintable(told);
    }
}

TEST(StatusText, StimulationInOneLine)
{
    using State = StimulationStatus::State;
    using P = StimulationProtocol;
    for (const auto& [status, expected] :
         {std::pair{StimulationStatus{}, ""},
          std::pair{StimulationStatus{State::Unit, true, P::SleepBased, 0b101},
                    "Stimulation: sleep-based, cages 1, 3"},
          std::pair{StimulationStatus{State::Outputs, true, P::OpenLoop, 0xFDFF},
                    "Stimulation: at intervals, cages 1–9, 11–16"},
          std::pair{StimulationStatus{State::Unit, true, P::ManualTrigger, 0b110, 0b111},
                    "Stimulation: by hand, no cage; by trigger cages 1–3"},
          std::pair{StimulationStatus{State::NoUnit, false, P::SleepBased, 0},
                    "Stimulation: set up, but no stimulation unit answers"}})
        EXPECT_EQ(stimulationText(status), QString::fromUtf8(expected));
    EXPECT_EQ(manualStimulationText(ManualStimulation::Requested, 0b100),
              QStringLiteral("Stimulation of cage 3 requested"));
}

TEST(StatusText, MouseFilesCarryTheLongExtension)
{
    EXPECT_EQ(extensionFor(1), QStringLiteral("binfb"));
    EXPECT_EQ(extensionFor(2), QStringLiteral("bin"));
}
