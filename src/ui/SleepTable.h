// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/SleepModel.h"

#include <QWidget>
#include <vector>

class QHeaderView;
class QLabel;
class QSortFilterProxyModel;
class QTableView;

namespace vt {

class DayStrips;

/// The sleep summary: one line in words, then the table. Rows keep the order of the channels until a heading
/// is clicked. Ctrl+C copies the selected rows, or all, as tab-separated text with the headings. Interface
/// thread.
class SleepTable : public QWidget
{
    Q_OBJECT
public:
    /// The strips of the last 24 hours outlive the table.
    explicit SleepTable(const DayStrips& strips, QWidget* parent = nullptr);

    enum class Phase { Running, Ended };
    void setRows(const std::vector<SleepRow>& rows, statustext::Scoring scoring, Phase phase);
    /// The strips have changed.
    void refreshStrips();
    /// Selects its row; without a signal.
    void setCurrentChannel(int channel);
    /// -1: none.
    [[nodiscard]] int currentChannel() const;

signals:
    /// Double click or Enter on a row; from 0.
    void channelActivated(int channel);
    void currentChannelChanged(int channel);

private:
    void build(const DayStrips& strips);
    void buildHeader(QHeaderView* header);
    void copy();

    SleepModel* m_model;
    QSortFilterProxyModel* m_sorted;
    QTableView* m_view;
    QLabel* m_summary;
};

} // namespace vt
