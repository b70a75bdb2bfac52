// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SleepTable.h"

#include "ui/Theme.h"

#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>

namespace vt {

using statustext::Scoring;
using statustext::SleepDisplay;

void SleepModel::setChannels(const std::vector<ChannelSummary>& channels, Scoring scoring)
{
    const auto sameIds = [](const ChannelSummary& a, const ChannelSummary& b) {
        return a.animalId == b.animalId;
    };
    if (scoring != m_scoring ||
        !std::equal(channels.begin(), channels.end(), m_channels.begin(), m_channels.end(), sameIds)) {
        beginResetModel();
        m_channels = channels;
        m_scoring = scoring;
        endResetModel();
        return;
    }
    for (int row = 0; row < rowCount(); ++row) {
        const auto i = static_cast<std::size_t>(row);
        const ChannelSummary& fresh = channels[i];
        ChannelSummary& shown = m_channels[i];
        const bool changed = fresh.steps != shown.steps || fresh.asleep != shown.asleep ||
                             fresh.sleeping != shown.sleeping || fresh.noSignal != shown.noSignal;
        shown = fresh;
        if (changed)
            emit dataChanged(index(row, PercentSleep), index(row, Steps));
    }
}

int SleepModel::asleepCount() const
{
    return static_cast<int>(std::ranges::count_if(m_channels, [this](const ChannelSummary& channel) {
        return statustext::sleepDisplay(channel, m_scoring) == SleepDisplay::Asleep;
    }));
}

int SleepModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_channels.size());
}

int SleepModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString SleepModel::displayText(int row, int column) const
{
    const ChannelSummary& channel = m_channels[static_cast<std::size_t>(row)];
    switch (column) {
    case ChannelNumber:
        return QString::number(row + 1);
    case AnimalId:
        return channel.animalId;
    case PercentSleep:
        return channel.steps > 0 ? QLocale().toString(channel.percentSleep(), 'f', 1) + QStringLiteral(" %")
                                 : QStringLiteral("–");
    case Sleeping:
        return statustext::sleepText(statustext::sleepDisplay(channel, m_scoring));
    case Steps:
        return QLocale().toString(channel.steps);
    default:
        return {};
    }
}

QVariant SleepModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    if (role == Qt::DisplayRole)
        return displayText(index.row(), index.column());
    if (role == Qt::TextAlignmentRole) {
        const bool number = index.column() == PercentSleep || index.column() == Steps;
        return QVariant(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft));
    }
    const ChannelSummary& channel = m_channels[static_cast<std::size_t>(index.row())];
    if (role == Qt::ForegroundRole && index.column() == Sleeping) {
        const Theme theme = Theme::current();
        switch (statustext::sleepDisplay(channel, m_scoring)) {
        case SleepDisplay::Asleep:
            return theme.asleep;
        case SleepDisplay::Awake:
            return theme.awake;
        default:
            return theme.mutedText;
        }
    }
    if (role == Qt::ToolTipRole && channel.sleeping && channel.sleepBeginTime.isValid())
        return tr("Asleep since %1").arg(QLocale().toString(channel.sleepBeginTime, QLocale::ShortFormat));
    return {};
}

QVariant SleepModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole) {
        const bool number = section == PercentSleep || section == Steps;
        return QVariant(Qt::AlignVCenter | (number ? Qt::AlignRight : Qt::AlignLeft) |
                        static_cast<Qt::Alignment>(Qt::TextWordWrap));
    }
    if (role == Qt::ToolTipRole && section == Steps)
        return tr("Steps of 2 s that were scored");
    if (role != Qt::DisplayRole)
        return {};
    switch (section) {
    case ChannelNumber:
        return tr("Channel Number");
    case AnimalId:
        return tr("Animal ID");
    case PercentSleep:
        return tr("Percent Sleep");
    case Sleeping:
        return tr("Sleeping");
    case Steps:
        return tr("Steps");
    default:
        return {};
    }
}

SleepTable::SleepTable(QWidget* parent)
    : QWidget(parent), m_model(new SleepModel(this)), m_view(new QTableView(this)),
      m_summary(new QLabel(this))
{
    setTextRole(m_summary, TextRole::Hint);
    m_summary->setObjectName(QStringLiteral("sleepSummary"));
    m_view->setModel(m_model);
    m_view->setAccessibleName(tr("Sleep summary"));
    m_view->setToolTip(tr("Sleep per channel over the whole recording"));
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setShowGrid(false);
    m_view->setAlternatingRowColors(true);
    m_view->setTabKeyNavigation(false);
    m_view->verticalHeader()->hide();
    m_view->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Medium);
    QHeaderView* header = m_view->horizontalHeader();
    header->setHighlightSections(false);
    header->setMinimumSectionSize(fontMetrics().averageCharWidth() * 6);
    header->setFixedHeight(fontMetrics().height() * 2 + spacing::Small);
    const int charWidth = fontMetrics().averageCharWidth();
    header->setSectionResizeMode(QHeaderView::Interactive);
    header->resizeSection(SleepModel::ChannelNumber, charWidth * 11);
    header->resizeSection(SleepModel::PercentSleep, charWidth * 11);
    header->resizeSection(SleepModel::Sleeping, charWidth * 12);
    header->resizeSection(SleepModel::Steps, charWidth * 9);
    header->setSectionResizeMode(SleepModel::AnimalId, QHeaderView::Stretch);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_summary);
    layout->addWidget(m_view, 1);
    setChannels({}, Scoring::SleepWake, Phase::Ended);
}

void SleepTable::setChannels(const std::vector<ChannelSummary>& channels, Scoring scoring, Phase phase)
{
    m_model->setChannels(channels, scoring);
    if (channels.empty())
        m_summary->setText(tr("Sleep is summed up here while a recording runs."));
    else if (scoring == Scoring::ActivityOnly)
        m_summary->setText(tr("Activity only: sleep is not scored."));
    else
        m_summary->setText((phase == Phase::Running ? tr("Asleep now: %1 of %2")
                                                    : tr("Recording ended; asleep at the end: %1 of %2"))
                               .arg(m_model->asleepCount())
                               .arg(channels.size()));
}

} // namespace vt
