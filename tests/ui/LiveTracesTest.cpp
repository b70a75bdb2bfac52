// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/LiveTraces.h"
#include "ui/ChannelHeader.h"
#include "ui/TracePlot.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QStackedWidget>
#include <QTest>
#include <QVBoxLayout>
#include <cmath>
#include <gmock/gmock.h>
#include <set>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

QStringList ids(int channels)
{
    QStringList list;
    for (int channel = 1; channel <= channels; ++channel)
        list << u"M-%1"_s.arg(channel);
    return list;
}

/// LiveTraces in a window of its own, with a sine of 2 Hz and 1 V on every channel.
class LiveTracesTest : public testing::Test
{
protected:
    LiveTracesTest()
    {
        auto* layout = new QVBoxLayout(&m_window);
        layout->addWidget(m_traces);
        m_window.resize(1200, 700);
    }
    void startWith(int channels)
    {
        m_traces->start(ids(channels), [this](int channel, std::span<float> out) {
            m_asked.insert(channel);
            m_askedSamples = out.size();
            for (std::size_t i = 0; i < out.size(); ++i)
                out[i] = static_cast<float>(std::sin(2 * M_PI * 2.0 * static_cast<double>(i) / 120.0));
            return quint64{100000};
        });
    }
    void showWindow()
    {
        m_window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_window));
    }
    std::vector<ChannelHeader*> headers() const
    {
        const QList<ChannelHeader*> list = m_traces->findChildren<ChannelHeader*>();
        return {list.begin(), list.end()};
    }
    TracePlot* plot() const { return m_traces->findChild<TracePlot*>(); }
    bool refreshesByItself()
    {
        m_asked.clear();
        return QTest::qWaitFor([this] { return !m_asked.empty(); }, 2000);
    }

    QWidget m_window;
    LiveTraces* m_traces = new LiveTraces(&m_window);
    std::set<int> m_asked;
    std::size_t m_askedSamples = 0;
};

} // namespace

TEST_F(LiveTracesTest, StandsStillUntilItIsSeenAndWhenItIsNot)
{
    startWith(2);
    EXPECT_FALSE(m_traces->isRefreshing());
    showWindow();
    EXPECT_TRUE(refreshesByItself());
    m_window.showMinimized();
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_traces->isRefreshing(); }));
    m_window.showNormal();
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_traces->isRefreshing(); }));
    m_traces->hide();
    EXPECT_FALSE(m_traces->isRefreshing());
    m_traces->show();
    EXPECT_TRUE(refreshesByItself());
    m_traces->clearSource(u"Paused"_s);
    EXPECT_FALSE(m_traces->isRefreshing());
    m_asked.clear();
    m_traces->refresh();
    EXPECT_TRUE(m_asked.empty()) << "a source that was given up must not be called";
}

TEST_F(LiveTracesTest, SaysWhatToDoBeforeTheFirstRecording)
{
    showWindow();
    EXPECT_TRUE(m_traces->emptyState()->isVisible());
    startWith(1);
    EXPECT_FALSE(m_traces->emptyState()->isVisible());
    m_traces->clearSource(u"Recording ended"_s);
    EXPECT_FALSE(m_traces->emptyState()->isVisible()) << "the last picture stays";
}

TEST_F(LiveTracesTest, SixteenChannelsArePagesOfEight)
{
    showWindow();
    startWith(16);
    ASSERT_EQ(m_traces->pageCount(), 2);
    EXPECT_TRUE(refreshesByItself());
    EXPECT_EQ(m_asked, (std::set<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    QAbstractButton* second = nullptr;
    for (QAbstractButton* button : m_traces->findChildren<QAbstractButton*>())
        if (button->text() == u"9–16"_s)
            second = button;
    ASSERT_NE(second, nullptr);
    QTest::mouseClick(second, Qt::LeftButton);
    EXPECT_TRUE(refreshesByItself());
    EXPECT_EQ(m_asked, (std::set<int>{8, 9, 10, 11, 12, 13, 14, 15}));
    ASSERT_EQ(headers().size(), 8U);
    EXPECT_TRUE(headers().front()->accessibleName().contains(u"Channel 9, M-9"_s));
    QTest::keyClick(m_traces, Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(m_traces->page(), 0);
    QTest::keyClick(m_traces, Qt::Key_PageUp, Qt::ControlModifier);
    EXPECT_EQ(m_traces->page(), 0);

    startWith(9);
    EXPECT_EQ(m_traces->pageCount(), 2);
    m_traces->setPage(1);
    EXPECT_EQ(headers().size(), 1U);
    startWith(8);
    EXPECT_EQ(m_traces->pageCount(), 1);
    EXPECT_EQ(m_traces->page(), 0);
}

TEST_F(LiveTracesTest, EveryTimeBaseAsksForItsSamplesAndDrawsNoMoreThanPixelsCanShow)
{
    showWindow();
    startWith(1);
    auto* timeBase = m_traces->findChild<QComboBox*>(u"timeBase"_s);
    ASSERT_NE(timeBase, nullptr);
    timeBase->setFocus();
    QTest::keyClick(timeBase, Qt::Key_Home);
    for (const auto& [seconds, samples] :
         {std::pair{4, 480U}, std::pair{8, 960U}, std::pair{16, 1920U}, std::pair{30, 3600U}}) {
        ASSERT_EQ(m_traces->timeBaseSeconds(), seconds);
        m_traces->refresh();
        EXPECT_EQ(m_askedSamples, samples);
        EXPECT_GT(plot()->pointCount(0), 300);
        EXPECT_LE(plot()->pointCount(0), plot()->width() + 2);
        QTest::keyClick(timeBase, Qt::Key_Down);
    }
}

TEST_F(LiveTracesTest, ScaleFollowsTheSignalOrStaysWhereItIsPut)
{
    showWindow();
    startWith(1);
    m_traces->refresh();
    EXPECT_DOUBLE_EQ(plot()->rangeVolts(0), 1.0);
    auto* scale = m_traces->findChild<QComboBox*>(u"scale"_s);
    scale->setCurrentIndex(scale->findText(u"±5 V"_s));
    EXPECT_DOUBLE_EQ(plot()->rangeVolts(0), 5.0);
    startWith(2);
    EXPECT_DOUBLE_EQ(plot()->rangeVolts(1), 5.0);
    scale->setCurrentIndex(0);
    EXPECT_DOUBLE_EQ(plot()->rangeVolts(1), 1.0);
}

TEST_F(LiveTracesTest, EveryTraceSaysInWordsHowItsAnimalIs)
{
    showWindow();
    startWith(4);
    std::vector<ChannelSummary> channels(4);
    channels[1].steps = channels[2].steps = 5;
    channels[1].sleeping = true;
    channels[3].noSignal = true;
    m_traces->setChannels(channels, statustext::Scoring::SleepWake);
    std::vector<QString> texts;
    for (const ChannelHeader* header : headers())
        texts.push_back(header->stateText());
    EXPECT_THAT(texts, testing::ElementsAre(u"Waiting"_s, u"Asleep"_s, u"Awake"_s, u"No signal"_s));
}

TEST_F(LiveTracesTest, HeadersStandBesideTheirTraces)
{
    showWindow();
    startWith(8);
    m_traces->refresh();
    ASSERT_EQ(headers().size(), 8U);
    for (int row = 0; row < 8; ++row) {
        const QRect trace = plot()->rowRect(row);
        const ChannelHeader* header = headers()[static_cast<std::size_t>(row)];
        const int top = header->mapTo(&m_window, QPoint()).y() - plot()->mapTo(&m_window, QPoint()).y();
        EXPECT_EQ(top, trace.top()) << row;
        EXPECT_EQ(header->height(), trace.height()) << row;
        EXPECT_GT(trace.height(), 50) << row;
    }
}
