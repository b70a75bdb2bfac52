// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/MarkerFile.h"
#include "ui/Card.h"

#include <QAbstractTableModel>
#include <vector>

class QLabel;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace vt {

/// The markers of a recording, one row each, in order; labels can be edited while it runs.
class MarkerModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { Number, Time, Label, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;
    void setMarkers(const std::vector<MarkerFile::Marker>& markers);
    void setEditable(bool isEditable) { m_isEditable = isEditable; }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    [[nodiscard]] Qt::ItemFlags flags(const QModelIndex& index) const override;
    /// Asks for the change; the row changes when setMarkers brings it.
    bool setData(const QModelIndex& index, const QVariant& value, int role) override;

signals:
    void labelEdited(int event, const QString& label);

private:
    std::vector<MarkerFile::Marker> m_markers;
    bool m_isEditable = false;
};

/// The card with the markers of this recording. It only shows and asks. Interface thread.
class MarkerPanel : public Card
{
    Q_OBJECT
public:
    explicit MarkerPanel(QWidget* parent = nullptr);

    /// The newest is scrolled into view when one was added.
    void setMarkers(const std::vector<MarkerFile::Marker>& markers);
    /// Labels can be changed while the marker file is open.
    void setEditable(bool isEditable);
    /// Puts the cursor into the label of the newest marker.
    void editNewest();

signals:
    void labelEdited(int event, const QString& label);

private:
    MarkerModel* m_model;
    QTableView* m_view;
    QStackedWidget* m_stack;
    QPushButton* m_rename;
};

} // namespace vt
