// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SleepModel.h"

#include "session/StepHistory.h"
#include "ui/ClockText.h"
#include "ui/Theme.h"

#include <QLocale>

#include <algorithm>

namespace vt {

using statustext::Scoring;
using statustext::SleepDisplay;

namespace {

QString dash()
{
    return QStringLiteral("–");
}

bool isNumber(int column)
{
    switch (column) {
    case SleepModel::PercentSleep:
    case SleepModel::Bouts:
    case SleepModel::MeanBout:
        return true;
    default:
        return false;
    }
}

QString plainNumber(double value, int decimals)
{
    QLocale locale;
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    return locale.toString(value, 'f', decimals);
}

} // namespace

void SleepModel::setRows(const std::vector<SleepRow>& rows, Scoring scoring)
{
    const auto sameIds = [](const SleepRow& a, const SleepRow& b) { return a.animalId == b.animalId; };
    if (scoring != m_scoring ||
        !std::equal(rows.begin(), rows.end(), m_rows.begin(), m_rows.end(), sameIds)) {
        beginResetModel();
        m_rows = rows;
        m_scoring = scoring;
        endResetModel();
        return;
    }
    for (int row = 0; row < rowCount(); ++row) {
        const auto i = static_cast<std::size_t>(row);
        const SleepRow& fresh = rows[i];
        SleepRow& shown = m_rows[i];
        const bool changed = fresh.steps != shown.steps || fresh.asleep != shown.asleep ||
                             fresh.sleeping != shown.sleeping || fresh.noSignal != shown.noSignal ||
                             fresh.bouts != shown.bouts;
        shown = fresh;
        if (changed)
            emit dataChanged(index(row, PercentSleep), index(row, MeanBout));
    }
}

int SleepModel::asleepCount() const
{
    return static_cast<int>(std::ranges::count_if(m_rows, [this](const SleepRow& row) {
        return statustext::sleepDisplay(row, m_scoring) == SleepDisplay::Asleep;
    }));
}

int SleepModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

int SleepModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QString SleepModel::displayText(int row, int column) const
{
    const SleepRow& channel = m_rows[static_cast<std::size_t>(row)];
    switch (column) {
    case ChannelNumber:
        return QString::number(row + 1);
    case AnimalId:
        return channel.animalId;
    case PercentSleep:
        return channel.steps > 0 ? QLocale().toString(channel.percentSleep(), 'f', 1) + QStringLiteral(" %")
                                 : dash();
    case Sleeping:
        return statustext::sleepText(statustext::sleepDisplay(channel, m_scoring));
    case Bouts:
        return channel.steps > 0 ? QLocale().toString(channel.bouts) : dash();
    case MeanBout:
        return channel.bouts > 0
                   ? tr("%1 min").arg(QLocale().toString(channel.meanBoutSeconds / 60.0, 'f', 1))
                   : dash();
    default:
        return {};
    }
}

QVariant SleepModel::sortValue(int row, int column) const
{
    const SleepRow& channel = m_rows[static_cast<std::size_t>(row)];
    switch (column) {
    case PercentSleep:
        return channel.percentSleep();
    case Bouts:
        return channel.bouts;
    case MeanBout:
        return channel.meanBoutSeconds;
    case AnimalId:
    case Sleeping:
        return displayText(row, column);
    default:
        return row;
    }
}

QString SleepModel::copyText(int row, int column) const
{
    const SleepRow& channel = m_rows[static_cast<std::size_t>(row)];
    switch (column) {
    case PercentSleep:
        return channel.steps > 0 ? plainNumber(channel.percentSleep(), 2) : QString();
    case Bouts:
        return channel.steps > 0 ? QString::number(channel.bouts) : QString();
    case MeanBout:
        return channel.bouts > 0 ? plainNumber(channel.meanBoutSeconds, 1) : QString();
    default:
        return displayText(row, column).simplified();
    }
}

QString SleepModel::toolTip(const SleepRow& row, int column) const
{
    if (column == AnimalId)
        return row.animalId; // a long one is elided
    if (column == PercentSleep && row.steps > 0)
        return tr("Asleep in %1 of %2 scored steps of %3 s")
            .arg(QLocale().toString(row.asleep), QLocale().toString(row.steps))
            .arg(StepHistory::StepSeconds);
    const SleepDisplay display = statustext::sleepDisplay(row, m_scoring);
    if (row.stateSinceMs == 0 || (display != SleepDisplay::Asleep && display != SleepDisplay::Awake))
        return {};
    const QString since = clocktext::moment(clocktext::at(row.stateSinceMs));
    return display == SleepDisplay::Asleep ? tr("Asleep since %1").arg(since)
                                           : tr("Awake since %1").arg(since);
}

QVariant SleepModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid())
        return {};
    const SleepRow& channel = m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return displayText(index.row(), index.column());
    case Qt::TextAlignmentRole:
        return QVariant(Qt::AlignVCenter | (isNumber(index.column()) ? Qt::AlignRight : Qt::AlignLeft));
    case SortRole:
        return sortValue(index.row(), index.column());
    case CopyRole:
        return copyText(index.row(), index.column());
    case ChannelRole:
        return index.row();
    case Qt::ToolTipRole:
        return toolTip(channel, index.column());
    case Qt::ForegroundRole:
        break;
    default:
        return {};
    }
    if (index.column() != Sleeping)
        return {};
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

QVariant SleepModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::TextAlignmentRole) {
        if (section == LastDay)
            return QVariant(Qt::AlignTop | Qt::AlignLeft);
        return QVariant(Qt::AlignVCenter | (isNumber(section) ? Qt::AlignRight : Qt::AlignLeft) |
                        static_cast<Qt::Alignment>(Qt::TextWordWrap));
    }
    if (role == Qt::ToolTipRole && section == Bouts)
        return tr("Bouts of sleep; one that a pause cuts counts as two");
    if (role == CopyRole && section == MeanBout)
        return tr("Mean Bout Length (s)");
    if (role != Qt::DisplayRole && role != CopyRole)
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
    case Bouts:
        return tr("Bouts");
    case MeanBout:
        return tr("Mean Bout Length");
    case LastDay:
        return m_scoring == Scoring::ActivityOnly ? tr("Activity, Last 24 Hours") : tr("Last 24 Hours");
    default:
        return {};
    }
}

} // namespace vt
