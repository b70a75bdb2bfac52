// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/StatusText.h"

#include <QAbstractTableModel>
#include <vector>

namespace vt {

/// One channel's line of the sleep table.
struct SleepRow : ChannelSummary
{
    int bouts = 0;
    double meanBoutSeconds = 0.0;
    qint64 stateSinceMs = 0; ///< when the present state began, in milliseconds since the epoch; 0: unknown
};

/// Sleep per channel over the whole recording, one row per channel. Tells views only about what changed.
class SleepModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    /// LastDay has no text: a delegate draws it.
    enum Column { ChannelNumber, AnimalId, PercentSleep, Sleeping, Bouts, MeanBout, LastDay, ColumnCount };
    enum Role {
        SortRole = Qt::UserRole, ///< a number, or the text
        CopyRole,                ///< for spreadsheets: plain numbers; of a header with their unit
        ChannelRole              ///< int, from 0
    };

    using QAbstractTableModel::QAbstractTableModel;
    void setRows(const std::vector<SleepRow>& rows, statustext::Scoring scoring);
    [[nodiscard]] int asleepCount() const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString displayText(int row, int column) const;
    [[nodiscard]] QVariant sortValue(int row, int column) const;
    [[nodiscard]] QString copyText(int row, int column) const;
    [[nodiscard]] QString toolTip(const SleepRow& row, int column) const;

    std::vector<SleepRow> m_rows;
    statustext::Scoring m_scoring = statustext::Scoring::SleepWake;
};

} // namespace vt
