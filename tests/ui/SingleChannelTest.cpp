// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StepHistory.h"
#include "ui/FeatureTable.h"
#include "ui/FreezeBar.h"
#include "ui/PowerSpectrum.h"
#include "ui/SingleChannelView.h"
#include "ui/SpectrogramPlot.h"
#include "ui/SpectrumPlot.h"
#include "ui/StatisticPlot.h"
#include "ui/Theme.h"
#include "ui/TracePlot.h"

#include <QComboBox>
#include <QLabel>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <set>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

float sine(double hertz, double volts, quint64 sample)
{
    return static_cast<float>(volts * std::sin(2.0 * M_PI * hertz * static_cast<double>(sample) / 120.0));
}

/// The view in a window of its own. Channel c carries a sine of c + 2 Hz, its Br band one of c + 3 Hz.
class SingleChannelTest : public testing::Test
{
protected:
    SingleChannelTest()
    {
        auto* layout = new QVBoxLayout(&m_window);
        layout->addWidget(m_view);
        m_window.resize(900, 660);
    }
    TraceSource source(double offsetHz)
    {
        return [this, offsetHz](int channel, std::span<float> out) {
            m_asked.insert(channel);
            for (std::size_t i = 0; i < out.size(); ++i) {
                const quint64 back = out.size() - i;
                out[i] = back <= m_count ? sine(channel + offsetHz, 0.5, m_count - back)
                                         : std::numeric_limits<float>::quiet_NaN();
            }
            return m_count;
        };
    }
    void start(bool isActivityOnly = false, int animalType = AnimalMouse)
    {
        m_history.begin(3);
        m_view->start({u"A"_s, u"B"_s, u"C"_s},
                      {source(2.0), source(3.0), source(4.0), &m_history, animalType, isActivityOnly});
    }
    void showWindow()
    {
        m_window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_window));
    }
    void addStep(double stat, double contrast)
    {
        StepRecord record;
        record.time = QDateTime::fromSecsSinceEpoch(100000 + 2 * static_cast<qint64>(m_history.size()));
        record.isDecided = true;
        record.channels.resize(3);
        for (ChannelStep& step : record.channels) {
            step.decisionStat = stat;
            step.features.spectralContrast = contrast;
        }
        m_history.append(record);
        m_view->addStep();
    }
    template <class Part>
    Part* part() const
    {
        return m_view->findChild<Part*>();
    }
    bool refreshesByItself()
    {
        m_asked.clear();
        return QTest::qWaitFor([this] { return !m_asked.empty(); }, 2000);
    }

    QWidget m_window;
    SingleChannelView* m_view = new SingleChannelView(&m_window);
    StepHistory m_history;
    std::set<int> m_asked;
    quint64 m_count = 20000;
};

} // namespace

TEST(PowerSpectrum, OfASineHasItsPowerAtItsFrequency)
{
    PowerSpectrum spectrum;
    std::vector<float> samples(PowerSpectrum::Length);
    constexpr double Volts = 0.3;
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = 1.5F + sine(2.5, Volts, i);
    std::vector<float> decibels(PowerSpectrum::Bins);
    spectrum.compute(samples, decibels);
    const auto peak = std::ranges::max_element(decibels) - decibels.begin();
    EXPECT_EQ(peak, 20) << "2.5 Hz at 0.125 Hz a bin";
    double power = 0.0;
    for (const float value : decibels)
        power += std::pow(10.0, static_cast<double>(value) / 10.0) * PowerSpectrum::BinHz;
    EXPECT_NEAR(power, Volts * Volts / 2.0, 1e-6) << "the density adds up to the mean square";
    EXPECT_LT(decibels[60], -90.0F);
    std::ranges::fill(samples, 0.7F);
    spectrum.compute(samples, decibels);
    EXPECT_TRUE(std::ranges::all_of(decibels, [](float value) { return value < -110.0F; }));
    samples[5] = std::numeric_limits<float>::quiet_NaN();
    spectrum.compute(samples, decibels);
    EXPECT_TRUE(std::isnan(decibels[0]));
}

TEST(SpectrogramColumns, NeedsEachColumnOnceAndKnowsWhenThereCanBeNone)
{
    SpectrogramColumns columns;
    EXPECT_TRUE(columns.missing(SpectrogramColumns::lastColumn(959), 10).empty()) << "not yet 8 s";
    EXPECT_THAT(columns.missing(SpectrogramColumns::lastColumn(1439), 10), testing::ElementsAre(5, 4));
    EXPECT_EQ(columns.missing(1000, 10000).size(), 300U);
    EXPECT_THAT(columns.missing(1000, 2), testing::ElementsAre(1000, 999));
    std::ranges::fill(columns.place(1000), 7.0F);
    EXPECT_THAT(columns.missing(1000, 1), testing::ElementsAre(999));
    EXPECT_EQ(columns.column(1000).front(), 7.0F);
    EXPECT_TRUE(columns.column(400).empty()) << "another column of the same place";
}

TEST(SpectrogramPlot, MoreIsLighter)
{
    double before = -1.0;
    for (int level = 0; level <= 20; ++level) {
        // Contrast with black grows with the lightness that all eyes see alike.
        const double lightness = Theme::contrast(SpectrogramPlot::colorAt(level / 20.0), Qt::black);
        EXPECT_GT(lightness, before) << level;
        before = lightness;
    }
}

TEST_F(SingleChannelTest, ShowsTheChannelThatIsChosenWithTheKeyboard)
{
    showWindow();
    EXPECT_FALSE(part<TracePlot>()->isVisible()) << "nothing to show before the first recording";
    start();
    ASSERT_TRUE(part<TracePlot>()->isVisible());
    EXPECT_DOUBLE_EQ(part<SpectrumPlot>()->peakHz(), 2.0);
    const QSignalSpy changed(m_view, &SingleChannelView::channelChanged);
    m_view->setFocus();
    QTest::keyClick(m_view, Qt::Key_Down);
    EXPECT_EQ(m_view->channel(), 1);
    EXPECT_DOUBLE_EQ(part<SpectrumPlot>()->peakHz(), 3.0);
    EXPECT_EQ(m_view->findChild<QComboBox*>(u"singleChannel"_s)->currentText(), u"2: B"_s);
    QTest::keyClick(m_view, Qt::Key_Up);
    QTest::keyClick(m_view, Qt::Key_Up);
    EXPECT_EQ(m_view->channel(), 0);
    EXPECT_EQ(changed.count(), 2);
    auto* of = m_view->findChild<QComboBox*>(u"spectrumOf"_s);
    of->setCurrentIndex(of->findText(u"Br"_s));
    EXPECT_DOUBLE_EQ(part<SpectrumPlot>()->peakHz(), 3.0);
    // 20000 samples: columns 4 to 83, computed some at a time.
    EXPECT_TRUE(QTest::qWaitFor([this] { return part<SpectrogramPlot>()->columnCount() == 80; }));
}

TEST_F(SingleChannelTest, AsksNothingWhileItCannotBeSeen)
{
    start();
    m_asked.clear();
    m_view->setChannel(2);
    addStep(1.0, -3.0);
    EXPECT_TRUE(m_asked.empty());
    EXPECT_FALSE(m_view->isRefreshing());
    showWindow();
    EXPECT_TRUE(refreshesByItself());
    EXPECT_EQ(m_asked, std::set<int>{2});
    m_window.showMinimized();
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_view->isRefreshing(); }));
    m_window.showNormal();
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_view->isRefreshing(); }));
    m_view->hide();
    EXPECT_FALSE(m_view->isRefreshing());
}

TEST_F(SingleChannelTest, FreezesEverythingAndScrollsBack)
{
    showWindow();
    m_count = 0;
    start();
    m_count = 20000;
    for (int i = 0; i < 83; ++i)
        addStep(i / 10.0, -i);
    m_view->refresh();
    m_view->setFrozen(true);
    const std::vector<TracePoint> frozen = part<TracePlot>()->points(0);
    const QString contrast = part<FeatureTable>()->valueText(1);
    EXPECT_EQ(contrast.right(4), u"82.0"_s);
    addStep(9.9, -99.0);
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_view->isRefreshing(); }));
    m_count += 100000000;
    m_asked.clear();
    m_view->refresh();
    EXPECT_EQ(m_view->shownEnd(), 20000U);
    EXPECT_EQ(part<TracePlot>()->points(0).back().value, frozen.back().value);
    EXPECT_EQ(part<FeatureTable>()->valueText(1), contrast);
    QTest::keyClick(m_view, Qt::Key_PageUp);
    EXPECT_EQ(m_view->shownEnd(), 20000U - 960);
    EXPECT_EQ(part<FeatureTable>()->valueText(1), u"–"_s) << "older steps keep no features";
    EXPECT_EQ(part<FeatureTable>()->valueText(0), QLocale().toString(7.8, 'f', 2)) << "step of that moment";
    m_view->setChannel(2);
    EXPECT_DOUBLE_EQ(part<SpectrumPlot>()->peakHz(), 4.0) << "other channels are held, too";
    EXPECT_TRUE(m_asked.empty());
    m_view->setFrozen(false);
    EXPECT_GT(m_view->shownEnd(), 20000U);
}

TEST_F(SingleChannelTest, AMarkerStandsAtItsSampleLiveAndFrozen)
{
    showWindow();
    start();
    m_view->addMarker(1, u"door"_s);
    m_count += 360;
    m_view->refresh();
    ASSERT_EQ(part<TracePlot>()->marks().size(), 1U);
    EXPECT_DOUBLE_EQ(part<TracePlot>()->marks()[0].seconds, -3.0);
    m_view->setFrozen(true);
    m_view->setMarkerLabel(1, u"door opened"_s);
    EXPECT_EQ(part<TracePlot>()->marks()[0].label, u"door opened"_s);
    m_view->setFocus();
    QTest::keyClick(m_view, Qt::Key_PageUp);
    EXPECT_THAT(part<TracePlot>()->marks(), testing::IsEmpty()) << "it came after what is shown";
    m_view->setFrozen(false);
    m_view->clearSource(u"Paused"_s);
    m_view->addMarker(2, u"nothing to mark"_s);
    m_view->refresh();
    EXPECT_EQ(part<TracePlot>()->marks().size(), 1U);
}

TEST_F(SingleChannelTest, SaysThatNothingIsScoredAndShowsWhatTheAnimalHas)
{
    showWindow();
    start(true);
    const int mouseRows = part<FeatureTable>()->rowCount();
    for (int row = 0; row < mouseRows; ++row)
        EXPECT_NE(part<FeatureTable>()->item(row, 0)->text(), u"Decision statistic"_s);
    m_count = 0;
    start(false, AnimalRat);
    EXPECT_EQ(part<FeatureTable>()->rowCount(), mouseRows + 1 + 3);
    addStep(1.0, -2.5);
    m_view->refresh();
    EXPECT_EQ(part<FeatureTable>()->valueText(0), QLocale().toString(1.0, 'f', 2));
    EXPECT_GT(part<StatisticPlot>()->pointCount(), 0);
    m_view->clearSource(u"Recording ended"_s);
    EXPECT_EQ(m_view->findChild<QLabel*>(u"singleNote"_s)->text(), u"Recording ended"_s);
    EXPECT_FALSE(m_view->isRefreshing());
}
