// SPDX-License-Identifier: GPL-3.0-or-later
// What is computed before a summary is drawn: ticks, dark phases, minutes of sleep, days, ranges.
#include "ui/ActivityDays.h"
#include "ui/ChartTicks.h"
#include "ui/HistogramPlot.h"
#include "ui/HypnogramBins.h"
#include "ui/LightCycle.h"

#include <QDateTime>
#include <gmock/gmock.h>

using namespace vt;

namespace {

constexpr qint64 MinuteMs = 60'000;
constexpr qint64 HourMs = 60 * MinuteMs;

/// Sets the local time zone for its life.
class LocalZone
{
public:
    explicit LocalZone(const QByteArray& name) : m_before(qgetenv("TZ")) { qputenv("TZ", name); }
    ~LocalZone()
    {
        if (m_before.isEmpty())
            qunsetenv("TZ");
        else
            qputenv("TZ", m_before);
    }
    Q_DISABLE_COPY_MOVE(LocalZone)

private:
    QByteArray m_before;
};

qint64 at(int hour, int minute = 0, QDate date = QDate(2025, 6, 10))
{
    return QDateTime(date, QTime(hour, minute)).toMSecsSinceEpoch();
}

struct Kind
{
    bool asleep = false;
    bool noSignal = false;
    bool isDecided = true;
};

/// Steps of one channel from a time on, 2 s apart.
void addSteps(StepHistory& history, qint64 fromMs, int count, Kind kind)
{
    for (int i = 0; i < count; ++i) {
        StepRecord record;
        record.time = QDateTime::fromMSecsSinceEpoch(fromMs + i * 2000);
        record.isDecided = kind.isDecided;
        record.channels.resize(1);
        record.channels[0].sleeping = kind.asleep;
        record.channels[0].noSignal = kind.noSignal;
        record.channels[0].decisionStat = kind.asleep ? 1.0 : -1.0;
        record.channels[0].activityIndex = 1.0;
        history.append(record);
    }
}

std::vector<int> hours(const std::vector<qint64>& times)
{
    std::vector<int> result;
    for (const qint64 time : times)
        result.push_back(QDateTime::fromMSecsSinceEpoch(time).time().hour());
    return result;
}

} // namespace

TEST(ChartTicks, AreRoundAndTellValuesApart)
{
    EXPECT_EQ(ticks::valueTicks(0.0, 0.3, 3).values.size(), 4U) << "0.3 / 3 is not quite 0.1";
    const auto pressure = ticks::valueTicks(29.71, 29.86, 3);
    EXPECT_EQ(pressure.decimals, 2);
    ASSERT_EQ(pressure.values.size(), 3U);
    EXPECT_NEAR(pressure.values[0], 29.75, 1e-9);
    EXPECT_NEAR(ticks::valueTicks(-3.7, 3.7, 4).values.front(), -2.0, 1e-9);
    EXPECT_TRUE(ticks::valueTicks(1.0, 1.0, 4).values.empty());
}

TEST(ChartTicks, StandAtRoundLocalTimesAlsoWhenTheClockIsChanged)
{
    const LocalZone zone("Europe/Berlin");
    EXPECT_EQ(hours(ticks::timeTicks(at(14, 20), at(14, 20) + 24 * HourMs, 6)),
              (std::vector<int>{16, 20, 0, 4, 8, 12}));
    const QDate spring(2025, 3, 30); // 2:00 is followed by 3:00
    const auto skipped = ticks::timeTicks(at(0, 0, spring), at(6, 0, spring), 6);
    EXPECT_EQ(hours(skipped), (std::vector<int>{0, 1, 3, 4, 5, 6}));
    EXPECT_EQ(skipped[2] - skipped[1], HourMs);
}

TEST(LightCycle, DarkPhaseMayPassMidnightAndLastFromTheDayBefore)
{
    using Hours = std::vector<std::pair<double, double>>;
    const LightCycle usual{QTime(7, 0), QTime(19, 30)};
    const LightCycle reversed{QTime(19, 0), QTime(7, 0)};
    EXPECT_EQ(usual.darkHours(), (Hours{{0.0, 7.0}, {19.5, 24.0}}));
    EXPECT_EQ(reversed.darkHours(), (Hours{{7.0, 19.0}}));
    EXPECT_TRUE((LightCycle{QTime(7, 0), QTime(7, 0)}).darkHours().empty());
    using Periods = std::vector<std::pair<qint64, qint64>>;
    EXPECT_EQ(usual.darkPeriods(at(2), at(22)), (Periods{{at(2), at(7)}, {at(19, 30), at(22)}}));
    EXPECT_EQ(reversed.darkPeriods(at(2), at(8)), (Periods{{at(7), at(8)}}));
}

class HypnogramTest : public testing::Test
{
protected:
    HypnogramTest()
    {
        m_history.begin(1);
        m_bins.begin(1);
    }
    /// Of the last minutes, oldest first.
    std::vector<HypnogramCell> last(std::size_t minutes)
    {
        const auto all = m_bins.cells(0, HypnogramBins::BinCount);
        return {all.end() - static_cast<std::ptrdiff_t>(minutes), all.end()};
    }
    StepHistory m_history;
    HypnogramBins m_bins;
};

TEST_F(HypnogramTest, CountsEveryStepOnceHoweverOftenItIsUpdated)
{
    using K = HypnogramCell::Kind;
    addSteps(m_history, at(10, 0), 30, {.isDecided = false});
    m_bins.update(m_history);
    addSteps(m_history, at(10, 1), 15, {.asleep = true});
    m_bins.update(m_history);
    addSteps(m_history, at(10, 1) + 30'000, 15, {});
    m_bins.update(m_history);
    m_bins.update(m_history);
    addSteps(m_history, at(10, 4), 30, {.asleep = true, .noSignal = true});
    m_bins.update(m_history);
    const auto cells = last(6);
    const K kinds[] = {cells[0].kind(), cells[1].kind(), cells[2].kind(),
                       cells[3].kind(), cells[4].kind(), cells[5].kind()};
    EXPECT_THAT(kinds,
                testing::ElementsAre(K::Empty, K::NotScored, K::Scored, K::Empty, K::Empty, K::NoSignal));
    EXPECT_EQ(cells[2].asleep, 15);
    EXPECT_EQ(cells[2].awake, 15);
    EXPECT_EQ(m_bins.endMs(), at(10, 5));
    const HypnogramCell all = m_bins.cells(0, 1)[0];
    EXPECT_EQ(all.asleep + all.awake + all.noSignal + all.notScored, 90) << "reduced to one pixel";
    EXPECT_EQ(m_bins.cells(0, 2 * HypnogramBins::BinCount).back().noSignal, 30) << "more pixels than minutes";
}

TEST_F(HypnogramTest, ForgetsWhatIsOlderThanADayAndLivesThroughAClockThatIsSetBack)
{
    addSteps(m_history, at(10), 30, {.asleep = true});
    m_bins.update(m_history);
    addSteps(m_history, at(10) + 24 * HourMs, 30, {});
    m_bins.update(m_history);
    EXPECT_EQ(last(1)[0].awake, 30);
    EXPECT_EQ(m_bins.cells(0, 1)[0].asleep, 0) << "the same place of the ring, a day before";
    addSteps(m_history, at(9, 58) + 24 * HourMs, 30, {.asleep = true});
    m_bins.update(m_history);
    EXPECT_EQ(last(3)[0].asleep, 30);
    EXPECT_EQ(last(1)[0].awake, 30);
}

TEST(ActivityDays, EveryRowShowsItsDayAndTheNextOneAlsoAcrossDaysWithoutData)
{
    activitydays::Days days;
    days[QDate(2025, 6, 1)][143] = {3.0F, 2};
    days[QDate(2025, 6, 2)][0] = {1.0F, 4};
    days[QDate(2025, 6, 5)][10] = {6.0F, 1};
    const auto rows = activitydays::doublePlot(days);
    ASSERT_EQ(rows.size(), 5U);
    EXPECT_EQ(activitydays::mean(rows[0], 143), 1.5);
    EXPECT_EQ(activitydays::mean(rows[0], 144), 0.25) << "midnight joins the days";
    EXPECT_EQ(activitydays::mean(rows[1], 0), 0.25) << "and the next row begins with the same";
    EXPECT_FALSE(activitydays::mean(rows[0], 142).has_value());
    EXPECT_EQ(rows[2].date, QDate(2025, 6, 3));
    EXPECT_FALSE(activitydays::mean(rows[2], 10).has_value());
    EXPECT_EQ(activitydays::mean(rows[3], 154), 6.0);
    days[QDate(2026, 6, 5)][0] = {1.0F, 1};
    EXPECT_EQ(activitydays::doublePlot(days).size(), static_cast<std::size_t>(StepHistory::MostDays))
        << "a clock that jumped a year must not make a year of rows";
}

TEST(ActivityDays, SleepIsToldByLightAndDarkAlsoWhenTheDarkPassesMidnight)
{
    StepHistory history;
    history.begin(1);
    addSteps(history, at(7, 0), 300, {.asleep = true}); // ten minutes of light
    addSteps(history, at(18, 40), 300, {});
    addSteps(history, at(19, 0), 300, {});
    addSteps(history, at(6, 50) + 24 * HourMs, 100, {.asleep = true}); // still dark
    addSteps(history, at(6, 55) + 24 * HourMs, 50, {.isDecided = false});
    const auto sleep = activitydays::sleepByLight(history.activityDays(0), {QTime(7, 0), QTime(19, 0)});
    EXPECT_EQ(sleep.light.percent(), 50.0);
    EXPECT_EQ(sleep.dark.percent(), 25.0) << "what was not scored does not count";
    EXPECT_FALSE(activitydays::sleepByLight(history.activityDays(0), {}).light.percent().has_value());
}

TEST(ActivityDays, FullHeightIgnoresTheRareExtreme)
{
    activitydays::Days days;
    EXPECT_EQ(activitydays::fullScale(days), 0.5);
    for (std::size_t bin = 0; bin < 144; ++bin)
        days[QDate(2025, 6, 1)][bin] = {bin == 7 ? 6.0F : 1.2F, 1};
    EXPECT_EQ(activitydays::fullScale(days), 1.5);
}

TEST(ActivityDays, TheLastDayFollowsTheLocalClockOnADayOf25Hours)
{
    const LocalZone zone("Europe/Berlin");
    const QDate autumn(2025, 10, 26); // 2:00 to 3:00 comes twice
    const auto bins = activitydays::lastDay(at(12, 5, autumn));
    ASSERT_EQ(bins.size(), 144U);
    EXPECT_EQ(bins.back().date, autumn);
    EXPECT_EQ(bins.back().bin, 72);
    EXPECT_EQ(bins.front().date, autumn.addDays(-1));
    EXPECT_EQ(bins.front().bin, 79) << "23 h 50 min before 12:05, on a day with an hour more";
    EXPECT_EQ(std::ranges::count_if(bins, [](const auto& bin) { return bin.bin == 13; }), 2);
}

TEST(HistogramRange, ShowsAllCountsWithTheThresholdWellInside)
{
    std::array<int, StepHistory::HistogramBins> counts{};
    EXPECT_EQ(HistogramRange::edge(HistogramRange::of(counts).firstBin), -2.0);
    counts[0] = 1;
    counts[104] = 9;
    const HistogramRange range = HistogramRange::of(counts);
    EXPECT_EQ(range.firstBin, 0);
    EXPECT_EQ(range.lastBin, 119);
    EXPECT_EQ(range.highest, 9);
}
