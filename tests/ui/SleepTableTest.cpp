// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SleepTable.h"

#include "ui/DayStrips.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QHeaderView>
#include <QSignalSpy>
#include <QTableView>
#include <QTest>
#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;
using statustext::Scoring;

namespace {

/// Two animals: one not scored yet, one that slept in 2 of 3 steps, in one bout.
std::vector<SleepRow> twoAnimals()
{
    std::vector<SleepRow> rows(2);
    rows[0].animalId = u"M-1"_s;
    rows[1].animalId = u"M-2"_s;
    rows[1].steps = 3;
    rows[1].asleep = 2;
    rows[1].sleeping = true;
    rows[1].bouts = 1;
    rows[1].meanBoutSeconds = 90.0;
    return rows;
}

} // namespace

TEST(SleepModel, ShowsOneRowPerChannelAndUpdatesInPlace)
{
    SleepModel model;
    std::vector<SleepRow> rows = twoAnimals();
    model.setRows(rows, Scoring::SleepWake);
    QStringList titles;
    QStringList first;
    QStringList second;
    for (int column = 0; column < SleepModel::LastDay; ++column) {
        titles << model.headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
        first << model.index(0, column).data().toString();
        second << model.index(1, column).data().toString();
    }
    EXPECT_EQ(titles, (QStringList{u"Channel Number"_s, u"Animal ID"_s, u"Percent Sleep"_s, u"Sleeping"_s,
                                   u"Bouts"_s, u"Mean Bout Length"_s}));
    EXPECT_EQ(first, (QStringList{u"1"_s, u"M-1"_s, u"–"_s, u"Waiting"_s, u"–"_s, u"–"_s}));
    EXPECT_EQ(second, (QStringList{u"2"_s, u"M-2"_s, u"66.7 %"_s, u"Asleep"_s, u"1"_s, u"1.5 min"_s}));
    EXPECT_EQ(model.asleepCount(), 1);

    const QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
    const QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
    model.setRows(rows, Scoring::SleepWake);
    EXPECT_EQ(changed.count(), 0);
    rows[1].steps = 4;
    rows[1].sleeping = false;
    model.setRows(rows, Scoring::SleepWake);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(reset.count(), 0);
    EXPECT_EQ(model.index(1, SleepModel::PercentSleep).data().toString(), u"50.0 %"_s);
    EXPECT_EQ(model.index(1, SleepModel::Sleeping).data().toString(), u"Awake"_s);
    model.setRows(rows, Scoring::ActivityOnly);
    EXPECT_EQ(model.index(1, SleepModel::Sleeping).data().toString(), u"Not scored"_s);
}

class SleepTableTest : public testing::Test
{
protected:
    SleepTableTest()
    {
        m_table.setRows(twoAnimals(), Scoring::SleepWake, SleepTable::Phase::Running);
        m_table.resize(900, 400);
        m_table.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_table));
        m_view->setFocus();
    }
    void clickHeading(int column)
    {
        QHeaderView* header = m_view->horizontalHeader();
        QTest::mouseClick(header->viewport(), Qt::LeftButton, {},
                          QPoint(header->sectionViewportPosition(column) + 10, 10));
    }
    DayStrips m_strips;
    SleepTable m_table{m_strips};
    QTableView* m_view = m_table.findChild<QTableView*>();
};

TEST_F(SleepTableTest, CopiesAllOrTheSelectedRowsForASpreadsheet)
{
    const QString head =
        u"Channel Number\tAnimal ID\tPercent Sleep\tSleeping\tBouts\tMean Bout Length (s)\n"_s;
    QTest::keySequence(m_view, QKeySequence::Copy);
    EXPECT_EQ(QGuiApplication::clipboard()->text(),
              head + u"1\tM-1\t\tWaiting\t\t\n2\tM-2\t66.67\tAsleep\t1\t90.0\n"_s);
    m_view->selectRow(0);
    QTest::keySequence(m_view, QKeySequence::Copy);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), head + u"1\tM-1\t\tWaiting\t\t\n"_s);
}

TEST_F(SleepTableTest, ARowStandsForItsChannelInAnyOrder)
{
    const QSignalSpy activated(&m_table, &SleepTable::channelActivated);
    clickHeading(SleepModel::PercentSleep);
    clickHeading(SleepModel::PercentSleep);
    EXPECT_EQ(m_view->model()->index(0, SleepModel::ChannelNumber).data().toString(), u"2"_s)
        << "most sleep first";
    m_view->setCurrentIndex(m_view->model()->index(0, 0));
    EXPECT_EQ(m_table.currentChannel(), 1);
    QTest::keyClick(m_view, Qt::Key_Return);
    ASSERT_EQ(activated.count(), 1);
    EXPECT_EQ(activated[0][0].toInt(), 1);
    m_table.setCurrentChannel(0);
    EXPECT_EQ(m_view->currentIndex().row(), 1);
}
