// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/LightCycle.h"
#include "ui/SleepModel.h"

#include <QStringList>
#include <QWidget>

class QComboBox;
class QLabel;
class QPushButton;

namespace vt {

class Actogram;
class Card;
class HistogramPlot;
class MetricCell;
class StepHistory;

/// One channel over all its days: figures, actogram, histogram of the decision statistic. Interface thread.
class ChannelDaysView : public QWidget
{
    Q_OBJECT
public:
    explicit ChannelDaysView(QWidget* parent = nullptr);

    void begin(const QStringList& animalIds, const LightCycle& cycle);
    void refresh(const StepHistory& history, const SleepRow& row, statustext::Scoring scoring);
    /// Without a signal.
    void setChannel(int channel);
    [[nodiscard]] int channel() const;

signals:
    /// The user chose another one.
    void channelChosen(int channel);

private:
    [[nodiscard]] QWidget* buildFigures();
    void step(int by);
    void updateButtons();

    QComboBox* m_channel;
    QPushButton* m_previous;
    QPushButton* m_next;
    MetricCell* m_state = nullptr;
    MetricCell* m_percent = nullptr;
    MetricCell* m_light = nullptr;
    MetricCell* m_dark = nullptr;
    MetricCell* m_bouts = nullptr;
    MetricCell* m_meanBout = nullptr;
    LightCycle m_cycle;
    Actogram* m_actogram;
    QLabel* m_scale;
    Card* m_histogramCard;
    HistogramPlot* m_histogram;
    QLabel* m_notScored;
};

} // namespace vt
