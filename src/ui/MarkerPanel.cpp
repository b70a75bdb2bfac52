// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/MarkerPanel.h"

#include "ui/ClockText.h"
#include "ui/Theme.h"

#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>
#include <utility>

namespace vt {

namespace {

constexpr int MinimumRows = 3;

} // namespace

void MarkerModel::setMarkers(const std::vector<MarkerFile::Marker>& markers)
{
    const int before = rowCount();
    const int after = static_cast<int>(markers.size());
    const bool isSameRecording =
        before == 0 || (after >= before && m_markers.front().when == markers.front().when);
    if (!isSameRecording) {
        beginResetModel();
        m_markers = markers;
        endResetModel();
        return;
    }
    if (after > before)
        beginInsertRows({}, before, after - 1);
    // Only what is different: a view puts the old text back into an open editor of a row that has changed.
    QList<int> changed;
    for (int row = 0; row < before; ++row)
        if (m_markers[static_cast<std::size_t>(row)].label != markers[static_cast<std::size_t>(row)].label)
            changed << row;
    m_markers = markers;
    if (after > before)
        endInsertRows();
    for (const int row : std::as_const(changed))
        emit dataChanged(index(row, 0), index(row, ColumnCount - 1));
}

int MarkerModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_markers.size());
}

int MarkerModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant MarkerModel::data(const QModelIndex& index, int role) const
{
    const MarkerFile::Marker& marker = m_markers[static_cast<std::size_t>(index.row())];
    if (role == Qt::TextAlignmentRole)
        return index.column() == Number ? QVariant(Qt::AlignRight | Qt::AlignVCenter) : QVariant();
    if (role == Qt::ToolTipRole)
        return tr("Marker %1, %2, segment %3")
            .arg(QString::number(marker.event), clocktext::moment(marker.when),
                 QString::number(marker.segment));
    if (role != Qt::DisplayRole && role != Qt::EditRole)
        return {};
    switch (index.column()) {
    case Number:
        return marker.event;
    case Time:
        return clocktext::clock(marker.when);
    default:
        return marker.label;
    }
}

QVariant MarkerModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == Number ? tr("No.") : section == Time ? tr("Time") : tr("Label");
}

Qt::ItemFlags MarkerModel::flags(const QModelIndex& index) const
{
    const Qt::ItemFlags flags = Qt::ItemIsSelectable | Qt::ItemIsEnabled;
    return m_isEditable && index.column() == Label ? flags | Qt::ItemIsEditable : flags;
}

bool MarkerModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (role != Qt::EditRole || !flags(index).testFlag(Qt::ItemIsEditable))
        return false;
    const MarkerFile::Marker& marker = m_markers[static_cast<std::size_t>(index.row())];
    if (const QString label = value.toString().simplified(); label != marker.label)
        emit labelEdited(marker.event, label);
    return true;
}

MarkerPanel::MarkerPanel(QWidget* parent)
    : Card(tr("Markers"), parent), m_model(new MarkerModel(this)), m_view(new QTableView(this)),
      m_stack(new QStackedWidget(this)), m_rename(new QPushButton(tr("Edit &Label"), this))
{
    auto* hint =
        new QLabel(tr("No markers yet. Press M, or the button on the unit, to mark a moment."), this);
    hint->setWordWrap(true);
    hint->setAlignment(Qt::AlignTop);
    setTextRole(hint, TextRole::Hint);
    m_view->setModel(m_model);
    m_view->setObjectName(QStringLiteral("markers"));
    m_view->setAccessibleName(tr("Markers of this recording"));
    m_view->setToolTip(tr("Double-click a label, or press F2 on it, to change it"));
    m_view->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    m_view->setTabKeyNavigation(false);
    m_view->setShowGrid(false);
    m_view->setFrameShape(QFrame::NoFrame);
    m_view->verticalHeader()->hide();
    m_view->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_view->horizontalHeader()->setSectionResizeMode(MarkerModel::Label, QHeaderView::Stretch);
    m_view->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_view->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored); // takes what the column has left
    m_view->setMinimumHeight(m_view->fontMetrics().height() * 2 * (MinimumRows + 1));
    m_stack->addWidget(hint);
    m_stack->addWidget(m_view);
    m_rename->setToolTip(tr("Change the label of the selected marker (F2)"));
    setKind(m_rename, QStringLiteral("plain"));
    addHeaderWidget(m_rename);
    body()->addWidget(m_stack);
    connect(m_model, &MarkerModel::labelEdited, this, &MarkerPanel::labelEdited);
    connect(m_rename, &QPushButton::clicked, this, [this] {
        const QModelIndex current = m_view->currentIndex();
        if (!current.isValid())
            editNewest();
        else
            m_view->edit(current.siblingAtColumn(MarkerModel::Label));
    });
    setEditable(false);
    setMarkers({});
}

void MarkerPanel::setMarkers(const std::vector<MarkerFile::Marker>& markers)
{
    const int before = m_model->rowCount();
    m_model->setMarkers(markers);
    m_stack->setCurrentIndex(markers.empty() ? 0 : 1);
    if (m_model->rowCount() > before)
        m_view->scrollToBottom();
    m_rename->setVisible(!markers.empty());
}

void MarkerPanel::setEditable(bool isEditable)
{
    m_model->setEditable(isEditable);
    m_rename->setEnabled(isEditable);
}

void MarkerPanel::editNewest()
{
    const QModelIndex newest = m_model->index(m_model->rowCount() - 1, MarkerModel::Label);
    if (!newest.isValid())
        return;
    m_view->setCurrentIndex(newest);
    m_view->edit(newest);
}

} // namespace vt
