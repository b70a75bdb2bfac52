// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/LiveTraces.h"
#include "session/StepHistory.h"
#include "ui/ChannelHeader.h"
#include "ui/FreezeBar.h"
#include "ui/TracePlot.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStackedWidget>
#include <QTest>
#include <QVBoxLayout>
#include <QWheelEvent>
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
    QTest::keyClick(m_traces, Qt::Key_PageDown, Qt::ControlModifier);
    EXPECT_EQ(headers().size(), 16U) << "behind the last page come all channels";
    EXPECT_TRUE(refreshesByItself());
    EXPECT_EQ(m_asked.size(), 16U);
    m_traces->setPage(1);
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
        EXPECT_GT(plot()->points(0).size(), 300U);
        EXPECT_LE(plot()->points(0).size(), static_cast<std::size_t>(plot()->width() + 2));
        QTest::keyClick(timeBase, Qt::Key_Down);
    }
}

TEST_F(LiveTracesTest, ScaleFollowsTheSignalOrStaysWhereItIsPut)
{
    showWindow();
    startWith(1);
    m_traces->refresh();
    EXPECT_DOUBLE_EQ(plot()->range(0), 1.0);
    auto* scale = m_traces->findChild<QComboBox*>(u"scale"_s);
    scale->setCurrentIndex(scale->findText(u"±5 V"_s));
    EXPECT_DOUBLE_EQ(plot()->range(0), 5.0);
    startWith(2);
    EXPECT_DOUBLE_EQ(plot()->range(1), 5.0);
    scale->setCurrentIndex(0);
    EXPECT_DOUBLE_EQ(plot()->range(1), 1.0);
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

namespace {

constexpr int RingSeconds = 60;

/// A trace that tells from each value which sample it is, in a ring that forgets, as the real one does.
class MovingTest : public LiveTracesTest
{
protected:
    MovingTest() { m_traces->setHistory(&m_history); }
    void startMoving(int channels)
    {
        m_history.begin(channels);
        m_traces->start(ids(channels), [this](int channel, std::span<float> out) {
            m_asked.insert(channel);
            for (std::size_t i = 0; i < out.size(); ++i) {
                const quint64 back = out.size() - i;
                const bool known = back <= m_count && back <= quint64{RingSeconds} * 120;
                out[i] = known ? valueOf(m_count - back) : std::numeric_limits<float>::quiet_NaN();
            }
            return m_count;
        });
    }
    static float valueOf(quint64 number) { return static_cast<float>(number) * 1e-6F; }
    /// Number of the sample at the left and at the right end of the picture.
    std::pair<quint64, quint64> shown() const
    {
        const std::vector<TracePoint> points = plot()->points(0);
        const auto number = [](const TracePoint& point) {
            return static_cast<quint64>(std::llround(point.value * 1e6));
        };
        return points.empty() ? std::pair<quint64, quint64>{}
                              : std::pair{number(points.front()), number(points.back())};
    }
    void addSteps(int count, bool asleep)
    {
        for (int i = 0; i < count; ++i) {
            StepRecord record;
            record.time = m_start.addSecs(2 * static_cast<qint64>(m_history.size() + 1));
            record.isDecided = true;
            record.channels.resize(static_cast<std::size_t>(m_history.channelCount()));
            for (ChannelStep& step : record.channels) {
                step.sleeping = asleep;
                step.features.signalPower = static_cast<double>(m_history.size() + 1) / 1000.0;
            }
            m_history.append(record);
            m_traces->addStep();
        }
    }

    StepHistory m_history;
    QDateTime m_start = QDateTime::currentDateTime();
    quint64 m_count = 0;
};

} // namespace

TEST_F(MovingTest, AFrozenPictureStaysAndShowsOlderSamplesWhileTheRecordingGoesOn)
{
    showWindow();
    m_count = 10000;
    startMoving(2);
    m_traces->refresh();
    ASSERT_EQ(shown(), (std::pair<quint64, quint64>{10000 - 960, 9999}));
    const QSignalSpy frozen(m_traces, &LiveTraces::frozenChanged);
    QTest::mouseClick(m_traces->findChild<QAbstractButton*>(u"freezeButton"_s), Qt::LeftButton);
    ASSERT_TRUE(m_traces->isFrozen());
    EXPECT_EQ(frozen.count(), 1);
    EXPECT_EQ(m_traces->findChild<QLabel*>(u"tracesNote"_s)->text().left(6), u"Frozen"_s);

    m_count += 600;
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_traces->isRefreshing(); }));
    m_count += quint64{1000} * RingSeconds * 120; // all that was in the ring is gone
    m_asked.clear();
    m_traces->refresh();
    EXPECT_EQ(shown(), (std::pair<quint64, quint64>{10000 - 960, 9999}));
    QTest::keyClick(m_window.focusWidget(), Qt::Key_PageUp);
    EXPECT_EQ(shown(), (std::pair<quint64, quint64>{10000 - 1920, 9999 - 960}));
    QTest::keyClick(m_window.focusWidget(), Qt::Key_Left);
    EXPECT_EQ(m_traces->shownEnd(), 10000U - 960 - 96);
    QTest::keyClick(m_window.focusWidget(), Qt::Key_PageDown);
    QTest::keyClick(m_window.focusWidget(), Qt::Key_Home);
    EXPECT_EQ(shown().first, 10000U - RingSeconds * 120) << "the oldest that was in the ring";
    QTest::keyClick(m_window.focusWidget(), Qt::Key_End);
    EXPECT_EQ(m_traces->shownEnd(), 10000U);
    QWheelEvent wheel(QPointF(600, 300), plot()->mapToGlobal(QPointF(600, 300)), {}, {0, 240}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(plot(), &wheel);
    ASSERT_FALSE(wheel.isAccepted()) << "the chart leaves it to the display";
    QApplication::sendEvent(m_traces, &wheel);
    EXPECT_EQ(m_traces->shownEnd(), 10000U - 2 * 96);
    m_traces->findChild<QScrollBar*>(u"timeScroll"_s)->setValue(-500);
    EXPECT_EQ(m_traces->shownEnd(), 9500U);
    EXPECT_TRUE(m_asked.empty()) << "the ring is not needed any more";

    QTest::keyClick(m_window.focusWidget(), Qt::Key_Escape);
    EXPECT_FALSE(m_traces->isFrozen());
    EXPECT_EQ(shown().second / 10, (m_count - 1) / 10);
    EXPECT_TRUE(refreshesByItself());
}

TEST_F(MovingTest, StaysFrozenAcrossAPauseAndNotIntoAnotherRecording)
{
    showWindow();
    m_count = 5000;
    startMoving(2);
    m_traces->refresh();
    m_traces->setFrozen(true);
    m_traces->clearSource(u"Paused"_s);
    m_count = 6000;
    const auto resume = [this] {
        m_traces->start(ids(2), [this](int, std::span<float> out) {
            std::fill(out.begin(), out.end(), 0.0F);
            return m_count;
        });
    };
    resume();
    EXPECT_TRUE(m_traces->isFrozen());
    EXPECT_EQ(shown().second, 4999U);
    m_traces->clearSource(u"Recording ended"_s);
    m_count = 0;
    resume();
    EXPECT_FALSE(m_traces->isFrozen());
}

TEST_F(MovingTest, AnEndedRecordingCanBeLookedThrough)
{
    showWindow();
    m_count = 6000;
    startMoving(9);
    m_traces->refresh();
    m_traces->clearSource(u"Recording ended"_s);
    m_asked.clear();
    m_traces->setTimeBase(4);
    EXPECT_EQ(shown().first, 6000U - 480);
    m_traces->setPage(1);
    EXPECT_EQ(shown().second, 5999U);
    m_traces->setFrozen(true);
    QTest::keyClick(m_traces, Qt::Key_PageUp);
    EXPECT_EQ(shown().second, 5999U - 480);
    EXPECT_TRUE(m_asked.empty());
}

TEST_F(MovingTest, TrendsShowStepsAndScrollThroughThem)
{
    showWindow();
    startMoving(2);
    auto* view = m_traces->findChild<QComboBox*>(u"traceView"_s);
    view->setCurrentText(u"Power"_s);
    m_traces->setTimeBase(600);
    addSteps(400, true);
    ASSERT_TRUE(QTest::qWaitFor([this] { return !m_traces->isRefreshing(); }));
    ASSERT_FALSE(plot()->points(1).empty());
    EXPECT_NEAR(plot()->points(1).back().value, 0.400, 1e-6);
    EXPECT_NEAR(plot()->points(1).front().value, 0.100, 0.002);
    EXPECT_DOUBLE_EQ(plot()->range(1), 0.5);
    m_traces->setFrozen(true);
    addSteps(50, true);
    ASSERT_TRUE(QTest::qWaitFor([this] { return !m_traces->isRefreshing(); }));
    EXPECT_NEAR(plot()->points(0).back().value, 0.400, 1e-6);
    QTest::keyClick(m_traces, Qt::Key_Left);
    EXPECT_NEAR(plot()->points(0).back().value, 0.370, 1e-6);
    m_traces->setFrozen(false);
    EXPECT_NEAR(plot()->points(0).back().value, 0.450, 1e-6);
    view->setCurrentText(u"Signal"_s);
    EXPECT_EQ(m_traces->timeBaseSeconds(), 8) << "each view keeps its own";
}

TEST_F(MovingTest, LabelsOfMarkersChangeWhateverATrendHasShown)
{
    showWindow();
    startMoving(2);
    m_traces->setView(traceview::View::Power);
    m_traces->setTimeBase(600);
    m_traces->addMarker(1, u"early"_s);
    m_traces->setMarkerLabel(1, u"before the first step"_s);
    EXPECT_TRUE(plot()->marks().empty());
    addSteps(200, true);
    ASSERT_TRUE(QTest::qWaitFor([this] { return !m_traces->isRefreshing(); }));
    ASSERT_EQ(plot()->marks().size(), 1U);
    EXPECT_EQ(plot()->marks()[0].label, u"before the first step"_s);

    // Another recording begins while another page is in front.
    m_traces->hide();
    startMoving(2);
    m_traces->addMarker(1, u"a"_s);
    m_traces->setMarkerLabel(1, u"b"_s);
    EXPECT_TRUE(plot()->marks().empty()) << "nothing of it has been drawn";
}

TEST_F(MovingTest, AChannelHasAScaleOfItsOwnOrThatOfThePage)
{
    showWindow();
    m_count = 6000;
    startMoving(9);
    m_traces->refresh();
    const double found = plot()->range(0);
    emit headers()[1]->scaleChosen({traceview::ScaleRule::Fixed, 2.0});
    EXPECT_DOUBLE_EQ(plot()->range(1), 2.0);
    EXPECT_DOUBLE_EQ(plot()->range(0), found);
    auto* scale = m_traces->findChild<QComboBox*>(u"scale"_s);
    scale->setCurrentText(u"±5 V"_s);
    EXPECT_DOUBLE_EQ(plot()->range(0), 5.0);
    EXPECT_DOUBLE_EQ(plot()->range(1), 2.0);
    m_traces->setPage(1);
    m_traces->setPage(0);
    EXPECT_DOUBLE_EQ(plot()->range(1), 2.0);
    emit headers()[1]->scaleChosen({traceview::ScaleRule::AsPage, 0.0});
    EXPECT_DOUBLE_EQ(plot()->range(1), 5.0);

    headers()[0]->setFocus();
    const QSignalSpy activated(m_traces, &LiveTraces::channelActivated);
    QTest::keyClick(headers()[0], Qt::Key_Return);
    QTest::mouseDClick(headers()[3], Qt::LeftButton);
    ASSERT_EQ(activated.count(), 2);
    EXPECT_EQ(activated[0][0].toInt(), 0);
    EXPECT_EQ(activated[1][0].toInt(), 3);
}
