// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SummaryView.h"

#include "session/StepHistory.h"
#include "ui/ChannelDaysView.h"
#include "ui/EmptyMessage.h"
#include "ui/StripDelegate.h"
#include "ui/Theme.h"

#include <QStackedLayout>
#include <QTabBar>
#include <QTabWidget>
#include <QVBoxLayout>

namespace vt {

using statustext::Scoring;

SummaryView::SummaryView(QWidget* parent)
    : QWidget(parent), m_pages(new QStackedLayout(this)), m_tabs(new QTabWidget(this)),
      m_table(new SleepTable(m_strips, this)), m_legend(new StripLegend(m_strips, this)),
      m_days(new ChannelDaysView(this))
{
    auto* empty =
        new EmptyMessage(tr("Nothing to sum up yet."),
                         tr("Sleep, activity and their days appear here while a recording runs."), this);
    m_tabs->setDocumentMode(true);
    m_tabs->addTab(buildOverview(), tr("All Channels"));
    m_tabs->addTab(m_days, tr("Days of a Channel"));
    m_tabs->setTabToolTip(AllChannels, tr("Sleep of every channel, with the last 24 hours"));
    m_tabs->setTabToolTip(OneChannel, tr("Actogram and decision statistic of one channel"));
    m_tabs->tabBar()->setAccessibleName(tr("Summaries"));
    m_tabs->tabBar()->setToolTip(tr("All channels, or the days of one"));
    m_pages->addWidget(empty);
    m_pages->addWidget(m_tabs);
    connect(m_tabs, &QTabWidget::currentChanged, this, &SummaryView::refreshWanted);
    connect(m_table, &SleepTable::channelActivated, this, &SummaryView::showChannel);
    connect(m_table, &SleepTable::currentChannelChanged, m_days, &ChannelDaysView::setChannel);
    connect(m_days, &ChannelDaysView::channelChosen, this, [this](int channel) {
        m_table->setCurrentChannel(channel);
        emit refreshWanted();
    });
}

QWidget* SummaryView::buildOverview()
{
    auto* page = new QWidget(m_tabs);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_legend);
    return page;
}

void SummaryView::begin(const QStringList& animalIds, QTime lightOn, QTime darkOn)
{
    const LightCycle cycle{lightOn, darkOn};
    m_animalIds = animalIds;
    m_phase = SleepTable::Phase::Running;
    m_strips.begin(static_cast<int>(animalIds.size()), cycle);
    m_days->begin(animalIds, cycle);
    std::vector<SleepRow> rows(static_cast<std::size_t>(animalIds.size()));
    for (qsizetype channel = 0; channel < animalIds.size(); ++channel)
        rows[static_cast<std::size_t>(channel)].animalId = animalIds[channel];
    m_table->setRows(rows, Scoring::SleepWake, m_phase);
    m_legend->refresh();
    m_pages->setCurrentIndex(animalIds.isEmpty() ? 0 : 1);
}

void SummaryView::end()
{
    m_phase = SleepTable::Phase::Ended;
    emit refreshWanted();
}

SleepRow SummaryView::rowOf(const StepHistory& history, int channel) const
{
    SleepRow row;
    row.animalId = m_animalIds[channel];
    const StepHistory::Totals totals = history.totals(channel);
    row.steps = totals.steps;
    row.asleep = totals.asleep;
    row.bouts = totals.bouts;
    row.meanBoutSeconds = totals.meanBoutSeconds();
    if (m_phase == SleepTable::Phase::Running)
        row.stateSinceMs = totals.stateSinceMs;
    if (const auto& newest = history.newest()) {
        const ChannelStep& step = newest->channels[static_cast<std::size_t>(channel)];
        row.sleeping = step.sleeping;
        row.noSignal = step.noSignal;
        row.decisionStat = step.decisionStat;
    }
    return row;
}

void SummaryView::refresh(const StepHistory& history)
{
    const auto channels = static_cast<int>(m_animalIds.size());
    if (!isVisible() || channels == 0 || history.channelCount() != channels)
        return;
    const Scoring scoring = history.isActivityOnly() ? Scoring::ActivityOnly : Scoring::SleepWake;
    if (m_tabs->currentIndex() == OneChannel) {
        m_days->refresh(history, rowOf(history, m_days->channel()), scoring);
        return;
    }
    std::vector<SleepRow> rows;
    rows.reserve(static_cast<std::size_t>(channels));
    for (int channel = 0; channel < channels; ++channel)
        rows.push_back(rowOf(history, channel));
    m_table->setRows(rows, scoring, m_phase);
    m_strips.update(history);
    m_table->refreshStrips();
    m_legend->refresh();
}

void SummaryView::showChannel(int channel)
{
    m_days->setChannel(channel);
    if (m_tabs->currentIndex() != OneChannel)
        m_tabs->setCurrentIndex(OneChannel); // asks for a refresh
    else
        emit refreshWanted();
}

int SummaryView::currentChannel() const
{
    return m_days->channel();
}

void SummaryView::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    emit refreshWanted();
}

} // namespace vt
