// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SummaryView.h"

#include "session/StepHistory.h"
#include "ui/Actogram.h"
#include "ui/HistogramPlot.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

StepRecord record(int number, bool isActivityOnly)
{
    StepRecord record;
    record.time = QDateTime(QDate(2025, 6, 10), QTime(12, 0)).addSecs(2 * number);
    record.isDecided = !isActivityOnly;
    record.isActivityOnly = isActivityOnly;
    record.channels.resize(2);
    for (ChannelStep& step : record.channels)
        step.activityIndex = 1.0;
    record.channels[1].decisionStat = number % 4 == 0 ? -1.0 : 1.0;
    record.channels[1].sleeping = number % 4 != 0;
    return record;
}

/// Counts how often the widgets below one are painted.
class PaintCounter : public QObject
{
public:
    explicit PaintCounter(QWidget& root)
    {
        for (QWidget* widget : root.findChildren<QWidget*>())
            widget->installEventFilter(this);
    }
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

} // namespace

class SummaryViewTest : public testing::Test
{
protected:
    SummaryViewTest()
    {
        QObject::connect(&m_view, &SummaryView::refreshWanted, &m_view,
                         [this] { m_view.refresh(m_history); });
        m_view.resize(900, 600);
    }
    void record(int steps, bool isActivityOnly)
    {
        m_history.begin(2);
        m_view.begin({u"M-1"_s, u"M-2"_s}, QTime(7, 0), QTime(19, 0));
        append(steps, isActivityOnly);
    }
    void append(int steps, bool isActivityOnly)
    {
        for (int i = 0; i < steps; ++i)
            m_history.append(::record(m_number++, isActivityOnly));
    }
    void show()
    {
        m_view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&m_view));
    }
    QString cell(int row, SleepModel::Column column) const
    {
        return m_view.findChild<QTableView*>()->model()->index(row, column).data().toString();
    }
    bool showsText(const QString& text) const
    {
        return std::ranges::any_of(m_view.findChildren<QLabel*>(), [&](const QLabel* label) {
            return label->isVisible() && label->text().contains(text);
        });
    }
    StepHistory m_history;
    SummaryView m_view;
    int m_number = 0;
};

TEST_F(SummaryViewTest, HiddenItDrawsNothingAndCatchesUpWhenShown)
{
    show();
    EXPECT_TRUE(showsText(u"Nothing to sum up yet."_s));
    record(4, false);
    m_view.hide();
    PaintCounter painted(m_view);
    append(4, false);
    m_view.refresh(m_history);
    QCoreApplication::sendPostedEvents();
    EXPECT_EQ(painted.count, 0);
    EXPECT_EQ(cell(1, SleepModel::PercentSleep), u"–"_s);
    show();
    EXPECT_TRUE(QTest::qWaitFor([&] { return painted.count > 0; }));
    EXPECT_EQ(cell(1, SleepModel::PercentSleep), u"75.0 %"_s);
    EXPECT_EQ(cell(1, SleepModel::Bouts), u"2"_s);
    EXPECT_TRUE(showsText(u"Asleep now: 1 of 2"_s));
    const auto since = [this](int row) {
        return m_view.findChild<QTableView*>()
            ->model()
            ->index(row, SleepModel::Sleeping)
            .data(Qt::ToolTipRole)
            .toString();
    };
    // Channel 2 was awake in steps 0 and 4; channel 1 always.
    EXPECT_TRUE(since(0).startsWith(u"Awake since "_s) && since(0).endsWith(u" 12:00:00"_s))
        << qPrintable(since(0));
    EXPECT_TRUE(since(1).startsWith(u"Asleep since "_s) && since(1).endsWith(u" 12:00:10"_s))
        << qPrintable(since(1));
    m_view.end();
    EXPECT_TRUE(showsText(u"Recording ended; asleep at the end: 1 of 2"_s));
    EXPECT_EQ(since(1), QString()) << "nobody knows since when the recording ended";
}

TEST_F(SummaryViewTest, ARowOpensTheDaysOfItsChannelAndTheChannelCanBeChangedThere)
{
    record(8, false);
    show();
    auto* table = m_view.findChild<QTableView*>();
    auto* channels = m_view.findChild<QComboBox*>();
    table->setFocus();
    table->setCurrentIndex(table->model()->index(1, 0));
    QTest::keyClick(table, Qt::Key_Return);
    EXPECT_TRUE(m_view.findChild<Actogram*>()->isVisible());
    EXPECT_EQ(channels->currentText(), u"Channel 2: M-2"_s);
    EXPECT_TRUE(showsText(u"75.0 %"_s));
    EXPECT_EQ(m_view.findChild<HistogramPlot*>()->accessibleDescription(),
              u"Asleep, above 0: 75.0 %. Awake: 25.0 %."_s);
    for (auto* button : m_view.findChildren<QPushButton*>())
        if (button->accessibleName() == u"Previous channel"_s)
            QTest::mouseClick(button, Qt::LeftButton);
    EXPECT_EQ(m_view.currentChannel(), 0);
    EXPECT_TRUE(showsText(u"0.0 %"_s));
    EXPECT_EQ(table->currentIndex().row(), 0) << "both pages speak of the same channel";
}

TEST_F(SummaryViewTest, AnActivityOnlyRecordingSaysSoAndShowsActivity)
{
    record(4, true);
    show();
    EXPECT_TRUE(showsText(u"Activity only: sleep is not scored."_s));
    EXPECT_EQ(cell(0, SleepModel::Sleeping), u"Not scored"_s);
    m_view.showChannel(0);
    EXPECT_TRUE(showsText(u"sleep is not scored, so there is no decision statistic"_s));
    EXPECT_FALSE(m_view.findChild<HistogramPlot*>()->isVisible());
    EXPECT_EQ(m_view.findChild<Actogram*>()->fullScale(), 1.0);
}
