// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/StatusText.h"

#include <QAbstractTableModel>
#include <QWidget>
#include <vector>

class QLabel;
class QTableView;

namespace vt {

/// Sleep per channel over the whole recording, one row per channel. Tells views only about what changed.
class SleepModel : public QAbstractTableModel
{
    Q_OBJECT
public:
    enum Column { ChannelNumber, AnimalId, PercentSleep, Sleeping, Steps, ColumnCount };

    using QAbstractTableModel::QAbstractTableModel;
    void setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring);
    [[nodiscard]] int asleepCount() const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    [[nodiscard]] QString displayText(int row, int column) const;

    std::vector<ChannelSummary> m_channels;
    statustext::Scoring m_scoring = statustext::Scoring::SleepWake;
};

/// The sleep summary: one line in words, then the table. Interface thread.
class SleepTable : public QWidget
{
    Q_OBJECT
public:
    explicit SleepTable(QWidget* parent = nullptr);
    enum class Phase { Running, Ended };
    void setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring, Phase phase);

private:
    SleepModel* m_model;
    QTableView* m_view;
    QLabel* m_summary;
};

} // namespace vt
