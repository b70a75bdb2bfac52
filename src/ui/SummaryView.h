// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/DayStrips.h"
#include "ui/SleepTable.h"

#include <QStringList>
#include <QTime>
#include <QWidget>
#include <vector>

class QStackedLayout;
class QTabWidget;

namespace vt {

class ChannelDaysView;
class StepHistory;
class StripLegend;

/// The summaries of a recording: all channels as a table with the last 24 hours of each, and one channel over
/// its days. It is fed from outside and costs nothing while it cannot be seen: it asks (refreshWanted) when
/// it has been shown, and is to be refreshed every 2 s from then on. Interface thread.
class SummaryView : public QWidget
{
    Q_OBJECT
public:
    explicit SummaryView(QWidget* parent = nullptr);

    /// A recording of so many channels begins.
    void begin(const QStringList& animalIds, QTime lightOn, QTime darkOn);
    /// Nothing while hidden, or when the history is of another number of channels.
    void refresh(const StepHistory& history);
    /// The recording has ended; what it found out stays.
    void end();
    /// Opens the days of a channel, from 0.
    void showChannel(int channel);
    [[nodiscard]] int currentChannel() const;

signals:
    /// Something is shown that has not been refreshed yet.
    void refreshWanted();

protected:
    void showEvent(QShowEvent* event) override;

private:
    enum Tab { AllChannels, OneChannel };
    [[nodiscard]] QWidget* buildOverview();
    [[nodiscard]] SleepRow rowOf(const StepHistory& history, int channel) const;

    QStringList m_animalIds;
    DayStrips m_strips;
    SleepTable::Phase m_phase = SleepTable::Phase::Ended;
    QStackedLayout* m_pages;
    QTabWidget* m_tabs;
    SleepTable* m_table;
    StripLegend* m_legend;
    ChannelDaysView* m_days;
};

} // namespace vt
