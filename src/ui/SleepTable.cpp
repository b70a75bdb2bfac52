// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SleepTable.h"

#include "ui/StripDelegate.h"
#include "ui/Theme.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QSignalBlocker>
#include <QSortFilterProxyModel>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace vt {

using statustext::Scoring;

namespace {

int widestState(const QFontMetrics& metrics)
{
    using statustext::SleepDisplay;
    int widest = 0;
    for (const auto display : {SleepDisplay::Waiting, SleepDisplay::Awake, SleepDisplay::Asleep,
                               SleepDisplay::NoSignal, SleepDisplay::NotScored})
        widest = std::max(widest, metrics.horizontalAdvance(statustext::sleepText(display)));
    return widest;
}

} // namespace

SleepTable::SleepTable(const DayStrips& strips, QWidget* parent)
    : QWidget(parent), m_model(new SleepModel(this)), m_sorted(new QSortFilterProxyModel(this)),
      m_view(new QTableView(this)), m_summary(new QLabel(this))
{
    build(strips);
}

void SleepTable::build(const DayStrips& strips)
{
    setTextRole(m_summary, TextRole::Hint);
    m_summary->setObjectName(QStringLiteral("sleepSummary"));
    m_sorted->setSourceModel(m_model);
    m_sorted->setSortRole(SleepModel::SortRole);
    m_view->setModel(m_sorted);
    m_view->setAccessibleName(tr("Sleep summary"));
    m_view->setToolTip(tr("Sleep per channel over the whole recording; Ctrl+C copies it, Enter shows the "
                          "days of a channel"));
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setShowGrid(false);
    m_view->setAlternatingRowColors(true);
    m_view->setTabKeyNavigation(false);
    m_view->setCornerButtonEnabled(false);
    m_view->verticalHeader()->hide();
    m_view->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Medium);
    m_view->setHorizontalHeader(new StripHeader(strips, m_view));
    m_view->setItemDelegateForColumn(SleepModel::LastDay, new StripDelegate(strips, m_view));
    buildHeader(m_view->horizontalHeader());

    auto* copyAction = new QAction(tr("&Copy"), this);
    copyAction->setShortcut(QKeySequence::Copy);
    copyAction->setShortcutContext(Qt::WidgetWithChildrenShortcut);
    connect(copyAction, &QAction::triggered, this, &SleepTable::copy);
    m_view->addAction(copyAction);
    m_view->setContextMenuPolicy(Qt::ActionsContextMenu);
    connect(m_view, &QAbstractItemView::activated, this, [this](const QModelIndex& index) {
        emit channelActivated(index.data(SleepModel::ChannelRole).toInt());
    });
    connect(m_view->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
            [this](const QModelIndex& current) {
                if (current.isValid())
                    emit currentChannelChanged(current.data(SleepModel::ChannelRole).toInt());
            });

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_summary);
    layout->addWidget(m_view, 1);
    setRows({}, Scoring::SleepWake, Phase::Ended);
}

void SleepTable::buildHeader(QHeaderView* header)
{
    const int charWidth = fontMetrics().averageCharWidth();
    header->setSectionsClickable(true);
    header->setAccessibleName(tr("Headings of the sleep summary"));
    header->setToolTip(tr("Click a heading to sort by it"));
    // Beside the heading, the arrow would lie on its last letters. Above it, its width is still taken off
    // the heading, in place of the padding.
    header->setStyleSheet(
        QStringLiteral("QHeaderView::up-arrow, QHeaderView::down-arrow { subcontrol-position: top center; "
                       "width: 9px; height: 7px; } QHeaderView::section { padding-right: 0; }"));
    header->setHighlightSections(false);
    header->setMinimumSectionSize(charWidth * 6);
    header->setFixedHeight(fontMetrics().height() * 2 + spacing::Small);
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->resizeSection(SleepModel::ChannelNumber, charWidth * 13);
    header->resizeSection(SleepModel::AnimalId, charWidth * 16);
    header->resizeSection(SleepModel::PercentSleep, charWidth * 12);
    header->resizeSection(SleepModel::Sleeping, widestState(fontMetrics()) + 2 * spacing::Medium);
    header->resizeSection(SleepModel::Bouts, charWidth * 10);
    header->resizeSection(SleepModel::MeanBout, charWidth * 14);
    header->setSectionResizeMode(SleepModel::LastDay, QHeaderView::Stretch);
    m_view->setSortingEnabled(true);
    m_view->sortByColumn(SleepModel::ChannelNumber, Qt::AscendingOrder);
}

void SleepTable::setRows(const std::vector<SleepRow>& rows, Scoring scoring, Phase phase)
{
    m_model->setRows(rows, scoring);
    if (rows.empty())
        m_summary->setText(tr("Sleep is summed up here while a recording runs."));
    else if (scoring == Scoring::ActivityOnly)
        m_summary->setText(tr("Activity only: sleep is not scored."));
    else
        m_summary->setText((phase == Phase::Running ? tr("Asleep now: %1 of %2")
                                                    : tr("Recording ended; asleep at the end: %1 of %2"))
                               .arg(m_model->asleepCount())
                               .arg(rows.size()));
}

void SleepTable::refreshStrips()
{
    const int left = m_view->columnViewportPosition(SleepModel::LastDay);
    QWidget* viewport = m_view->viewport();
    viewport->update(left, 0, viewport->width() - left, viewport->height());
    m_view->horizontalHeader()->viewport()->update();
}

void SleepTable::setCurrentChannel(int channel)
{
    if (channel < 0 || channel >= m_model->rowCount() || channel == currentChannel())
        return;
    const QSignalBlocker blocker(this);
    const QModelIndex index = m_sorted->mapFromSource(m_model->index(channel, 0));
    m_view->setCurrentIndex(index);
    m_view->scrollTo(index);
}

int SleepTable::currentChannel() const
{
    const QModelIndex current = m_view->currentIndex();
    return current.isValid() ? current.data(SleepModel::ChannelRole).toInt() : -1;
}

void SleepTable::copy()
{
    QStringList lines;
    const auto addLine = [&](auto&& textOf) {
        QStringList cells;
        for (int column = 0; column < SleepModel::LastDay; ++column) // which has no text
            cells << textOf(column);
        lines << cells.join(u'\t');
    };
    addLine([this](int column) {
        return m_model->headerData(column, Qt::Horizontal, SleepModel::CopyRole).toString();
    });
    const QItemSelectionModel* selection = m_view->selectionModel();
    for (int row = 0; row < m_sorted->rowCount(); ++row)
        if (!selection->hasSelection() || selection->isRowSelected(row, {}))
            addLine([&](int column) {
                return m_sorted->index(row, column).data(SleepModel::CopyRole).toString();
            });
    QApplication::clipboard()->setText(lines.join(u'\n') + u'\n');
}

} // namespace vt
