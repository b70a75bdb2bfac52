// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ChannelDaysView.h"

#include "session/StepHistory.h"
#include "ui/Actogram.h"
#include "ui/Card.h"
#include "ui/HistogramPlot.h"
#include "ui/StatusStrip.h"
#include "ui/Theme.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>

namespace vt {

namespace {

constexpr int ActogramStretch = 3;
constexpr int HistogramStretch = 2;

QPushButton* stepButton(const QString& sign, const QString& what, QWidget* parent)
{
    auto* button = new QPushButton(sign, parent);
    button->setToolTip(what);
    button->setAccessibleName(what);
    button->setMinimumWidth(spacing::Huge);
    return button;
}

Emphasis emphasisOf(statustext::SleepDisplay display)
{
    return display == statustext::SleepDisplay::NoSignal ? Emphasis::Warning : Emphasis::Normal;
}

} // namespace

ChannelDaysView::ChannelDaysView(QWidget* parent)
    : QWidget(parent), m_channel(new QComboBox(this)),
      m_previous(stepButton(QStringLiteral("◂"), tr("Previous channel"), this)),
      m_next(stepButton(QStringLiteral("▸"), tr("Next channel"), this)), m_actogram(new Actogram(this)),
      m_scale(new QLabel(this)), m_histogramCard(new Card(tr("Decision Statistic"), this)),
      m_histogram(new HistogramPlot(m_histogramCard)), m_notScored(new QLabel(this))
{
    auto* card = new Card(tr("Actogram"), this);
    setTextRole(m_scale, TextRole::Caption);
    card->addHeaderWidget(m_scale);
    card->body()->addWidget(m_actogram, 1);
    m_histogramCard->body()->addWidget(m_histogram, 1);
    m_notScored->setText(tr("Activity only: sleep is not scored, so there is no decision statistic."));
    setTextRole(m_notScored, TextRole::Hint);
    m_notScored->hide();

    auto* charts = new QHBoxLayout;
    charts->setSpacing(spacing::Small);
    charts->addWidget(card, ActogramStretch);
    charts->addWidget(m_histogramCard, HistogramStretch);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(buildFigures());
    layout->addWidget(m_notScored);
    layout->addLayout(charts, 1);
    connect(m_channel, &QComboBox::currentIndexChanged, this, [this](int channel) {
        updateButtons();
        if (channel >= 0)
            emit channelChosen(channel);
    });
    connect(m_previous, &QPushButton::clicked, this, [this] { step(-1); });
    connect(m_next, &QPushButton::clicked, this, [this] { step(1); });
}

QWidget* ChannelDaysView::buildFigures()
{
    auto* figures = new QWidget(this);
    auto* line = new QHBoxLayout(figures);
    line->setContentsMargins(0, 0, 0, 0);
    line->setSpacing(spacing::Small);
    m_channel->setAccessibleName(tr("Channel"));
    m_channel->setToolTip(tr("The channel whose days are shown"));
    m_channel->setMinimumContentsLength(10);
    line->addWidget(m_previous);
    line->addWidget(m_channel);
    line->addWidget(m_next);
    line->addSpacing(spacing::Large);
    const auto add = [&](const QString& caption, const char* name, const QString& widest) {
        auto* cell = new MetricCell(caption, QLatin1String(name), widest, figures);
        line->addWidget(cell, 1);
        return cell;
    };
    m_state = add(tr("Sleeping"), "channelState", tr("Not scored"));
    m_percent = add(tr("Percent Sleep"), "channelPercent", QStringLiteral("100.0 %"));
    m_light = add(tr("In light"), "channelLight", QStringLiteral("100.0 %"));
    m_dark = add(tr("In dark"), "channelDark", QStringLiteral("100.0 %"));
    m_bouts = add(tr("Bouts"), "channelBouts", QStringLiteral("88,888"));
    m_meanBout = add(tr("Mean Bout Length"), "channelMeanBout", QStringLiteral("888.8 min"));
    return figures;
}

void ChannelDaysView::begin(const QStringList& animalIds, const LightCycle& cycle)
{
    const int kept = channel();
    {
        const QSignalBlocker blocker(m_channel);
        m_channel->clear();
        for (int i = 0; i < static_cast<int>(animalIds.size()); ++i)
            m_channel->addItem(tr("Channel %1: %2").arg(i + 1).arg(animalIds[i]));
    }
    m_cycle = cycle;
    m_actogram->setCycle(cycle);
    m_actogram->setDays({});
    m_histogram->setCounts({}, {});
    m_scale->clear();
    setChannel(kept >= 0 && kept < m_channel->count() ? kept : 0);
}

void ChannelDaysView::setChannel(int channel)
{
    const QSignalBlocker blocker(m_channel);
    m_channel->setCurrentIndex(channel);
    updateButtons();
}

int ChannelDaysView::channel() const
{
    return m_channel->currentIndex();
}

void ChannelDaysView::step(int by)
{
    const int wanted = channel() + by;
    if (wanted >= 0 && wanted < m_channel->count())
        m_channel->setCurrentIndex(wanted);
}

void ChannelDaysView::updateButtons()
{
    m_previous->setEnabled(channel() > 0);
    m_next->setEnabled(channel() + 1 < m_channel->count());
}

void ChannelDaysView::refresh(const StepHistory& history, const SleepRow& row, statustext::Scoring scoring)
{
    const bool isScored = scoring == statustext::Scoring::SleepWake;
    const auto display = statustext::sleepDisplay(row, scoring);
    const QString dash = QStringLiteral("–");
    m_state->show(statustext::sleepText(display), tr("The animal now"), emphasisOf(display));
    const bool isKnown = isScored && row.steps > 0;
    const Emphasis emphasis = isKnown ? Emphasis::Normal : Emphasis::Muted;
    m_percent->show(isKnown ? QLocale().toString(row.percentSleep(), 'f', 1) + QStringLiteral(" %") : dash,
                    tr("Share of the scored steps asleep, whole recording"), emphasis);
    m_bouts->show(isKnown ? QLocale().toString(row.bouts) : dash,
                  tr("Bouts of sleep; one that a pause cuts counts as two"), emphasis);
    m_meanBout->show(isKnown && row.bouts > 0
                         ? tr("%1 min").arg(QLocale().toString(row.meanBoutSeconds / 60.0, 'f', 1))
                         : dash,
                     tr("Time asleep divided by the bouts"), emphasis);
    const activitydays::SleepByLight byLight =
        activitydays::sleepByLight(history.activityDays(channel()), m_cycle);
    const auto showPhase = [&](MetricCell* cell, const activitydays::PhaseSleep& phase,
                               const QString& toolTip) {
        const std::optional<double> percent = isScored ? phase.percent() : std::nullopt;
        cell->show(percent ? QLocale().toString(*percent, 'f', 1) + QStringLiteral(" %") : dash, toolTip,
                   percent ? Emphasis::Normal : Emphasis::Muted);
    };
    showPhase(
        m_light, byLight.light,
        tr("Share of the scored steps asleep while the lights are on, to ten minutes, over at most 28 days"));
    showPhase(m_dark, byLight.dark,
              tr("Share of the scored steps asleep while the lights are off, to ten minutes, over at most 28 "
                 "days"));
    m_notScored->setVisible(!isScored);
    m_histogramCard->setVisible(isScored);
    m_actogram->setDays(history.activityDays(channel()));
    m_scale->setText(tr("Full height: activity %1").arg(QLocale().toString(m_actogram->fullScale(), 'f', 1)));
    m_scale->setToolTip(tr("Activity is measured against the animal's own rest; 0 is rest, 6 the most"));
    if (isScored)
        m_histogram->setCounts(history.histogram(channel()), history.totals(channel()));
}

} // namespace vt
