// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SingleChannelView.h"

#include "session/StepHistory.h"
#include "ui/FeatureTable.h"
#include "ui/FreezeBar.h"
#include "ui/SleepChip.h"
#include "ui/SpectrogramPlot.h"
#include "ui/SpectrumPlot.h"
#include "ui/StatisticPlot.h"
#include "ui/Theme.h"
#include "ui/TracePlot.h"

#include <QComboBox>
#include <QDateTime>
#include <QKeyEvent>
#include <QLabel>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace vt {

using statustext::SleepDisplay;

namespace {

/// What is done in one refresh at most, so that no refresh takes longer than a few milliseconds.
constexpr int TracesHeldPerTick = 2;
constexpr int ColumnsPerTick = 30;
/// The charts beside the traces take turns, about four times a second each.
constexpr int TurnTicks = 8;
enum Turn { SpectrumTurn = 0, SpectrogramTurn = 3, StepsTurn = 6 };

} // namespace

void SingleChannelView::start(const QStringList& animalIds, ChannelSources sources)
{
    const quint64 count = sources.raw(0, {});
    const bool continues = continuesRecording(animalIds, count);
    m_sources = std::move(sources);
    m_hasSource = true;
    m_note.clear();
    if (!continues) {
        setFrozen(false);
        m_animalIds = animalIds;
        m_clock.clear();
        m_markers.clear();
        m_columns.clear();
        m_shownEnd = 0;
        m_sleep.assign(static_cast<std::size_t>(animalIds.size()), SleepDisplay::Waiting);
        fillChannels();
        showState();
        nameBands();
        m_features->setRows(m_sources.animalType, m_sources.isActivityOnly);
        m_statistic->setNote(m_sources.isActivityOnly
                                 ? tr("Activity only: sleep is not scored in this recording")
                                 : QString());
        m_plot->clearSamples();
    }
    if (!isFrozen())
        m_held.clear();
    const StepHistory* steps = m_sources.steps;
    m_clock.beginSegment(count, steps ? steps->firstNumber() + steps->size() : 0,
                         QDateTime::currentMSecsSinceEpoch());
    m_stack->setCurrentIndex(1);
    m_toolBar->setVisible(true);
    updateTimer();
    if (m_timer->isSeen())
        refresh();
}

bool SingleChannelView::continuesRecording(const QStringList& animalIds, quint64 count) const
{
    return animalIds == m_animalIds && count > 0 && m_held.isHolding() && count >= m_held.endNumber();
}

void SingleChannelView::clearSource(const QString& note)
{
    m_note = note;
    if (m_hasSource) {
        const int traces = TraceCount * static_cast<int>(m_animalIds.size());
        if (!m_held.isHolding())
            m_held.begin(traces, newestSample());
        m_held.holdSome(traces, allTraces());
        m_sources.raw = m_sources.breathing = m_sources.activity = nullptr;
        m_hasSource = false;
        updateExtent();
        if (m_timer->isSeen())
            refresh();
    }
    showTime();
    updateTimer();
}

void SingleChannelView::setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring)
{
    const std::size_t count = std::min(channels.size(), m_sleep.size());
    for (std::size_t channel = 0; channel < count; ++channel)
        m_sleep[channel] = statustext::sleepDisplay(channels[channel], scoring);
    showState();
}

void SingleChannelView::showState()
{
    const auto index = static_cast<std::size_t>(m_channel);
    if (index >= m_sleep.size())
        return;
    const SleepDisplay display = m_sleep[index];
    m_plot->setNoSignal(Raw, display == SleepDisplay::NoSignal);
    m_state->setSleep(display);
}

void SingleChannelView::addStep()
{
    m_stepsChanged = true;
    updateTimer();
}

void SingleChannelView::addMarker(int event, const QString& label)
{
    if (!m_hasSource)
        return;
    const quint64 sample = m_sources.raw(m_channel, {});
    const std::optional<qint64> timeMs = m_clock.timeMs(sample, m_sources.steps);
    m_markers.add(event, sample, timeMs.value_or(QDateTime::currentMSecsSinceEpoch()), label);
}

void SingleChannelView::setMarkerLabel(int event, const QString& label)
{
    m_markers.relabel(event, label);
    showMarkers();
    m_plot->redraw();
}

void SingleChannelView::showMarkers()
{
    m_plot->setMarks(m_markers.bySample(m_shownEnd, m_timeBase->currentData().toInt()));
}

void SingleChannelView::fillChannels()
{
    const QSignalBlocker quiet(m_channelBox);
    m_channelBox->clear();
    for (int channel = 0; channel < m_animalIds.size(); ++channel) {
        const QString number = QString::number(channel + 1);
        const QString& animal = m_animalIds[channel];
        m_channelBox->addItem(animal.isEmpty() || animal == number ? tr("Channel %1").arg(number)
                                                                   : tr("%1: %2").arg(number, animal));
    }
    m_channel = std::clamp(m_channel, 0, std::max(static_cast<int>(m_animalIds.size()) - 1, 0));
    m_channelBox->setCurrentIndex(m_channel);
}

void SingleChannelView::setChannel(int channel)
{
    if (channel < 0 || channel >= m_animalIds.size() || channel == m_channel)
        return;
    m_channel = channel;
    const QSignalBlocker quiet(m_channelBox);
    m_channelBox->setCurrentIndex(channel);
    m_columns.clear();
    m_plot->clearSamples();
    showState();
    if (m_timer->isSeen())
        refresh();
    emit channelChanged(channel);
}

bool SingleChannelView::isFrozen() const
{
    return m_bar->isFrozen();
}

quint64 SingleChannelView::newestSample() const
{
    return m_hasSource ? m_sources.raw(m_channel, {}) : m_held.endNumber();
}

TraceSource SingleChannelView::allTraces() const
{
    const auto channels = static_cast<int>(m_animalIds.size());
    return [this, channels](int trace, std::span<float> out) {
        const TraceSource& source = trace / channels == Raw         ? m_sources.raw
                                    : trace / channels == Breathing ? m_sources.breathing
                                                                    : m_sources.activity;
        return source(trace % channels, out);
    };
}

int SingleChannelView::heldTrace(Trace trace, int channel) const
{
    return trace * static_cast<int>(m_animalIds.size()) + channel;
}

void SingleChannelView::setFrozen(bool frozen)
{
    if (frozen == isFrozen())
        return;
    if (frozen && !hasRecording()) {
        m_bar->setFrozen(false); // its button may have been pressed
        return;
    }
    if (frozen && !m_held.isHolding()) {
        const int traces = TraceCount * static_cast<int>(m_animalIds.size());
        m_held.begin(traces, m_timer->isSeen() && m_shownEnd > 0 ? m_shownEnd : newestSample());
        if (!m_timer->isSeen()) // no refresh will do it
            m_held.holdSome(traces, allTraces());
    }
    if (frozen && m_sources.steps)
        m_frozenStep = m_sources.steps->newest().value_or(StepRecord());
    m_bar->setFrozen(frozen);
    if (!frozen && m_hasSource)
        m_held.clear();
    updateExtent();
    if (m_timer->isSeen())
        refresh();
    updateTimer();
    emit frozenChanged(frozen);
}

void SingleChannelView::holdTraces()
{
    if (!m_hasSource || !m_held.isHolding())
        return;
    const TraceSource all = allTraces();
    int most = TracesHeldPerTick;
    for (const Trace trace : {Raw, Breathing, Activity}) {
        if (most > 0 && !m_held.isHeld(heldTrace(trace, m_channel))) {
            m_held.hold(heldTrace(trace, m_channel), all);
            --most;
        }
    }
    m_held.holdSome(most, all);
    updateExtent();
}

void SingleChannelView::updateExtent()
{
    const int raw = heldTrace(Raw, m_channel);
    const quint64 available = m_held.isHeld(raw)
                                  ? m_held.endNumber() - m_held.firstNumber(raw)
                                  : std::min<quint64>(m_held.endNumber(), TraceHistory::Capacity);
    m_bar->setExtent(static_cast<int>(available) - m_plot->samplesPerRow(), m_plot->samplesPerRow());
}

void SingleChannelView::tick()
{
    if (!hasRecording())
        return;
    const int turn = m_ticks++ % TurnTicks;
    holdTraces();
    const bool isMoving = m_hasSource && !m_held.isHolding();
    if (isMoving || !m_held.isComplete())
        drawTraces();
    if (turn == SpectrumTurn && isMoving)
        drawSpectrum();
    m_columnsChanged = fillSpectrogram(ColumnsPerTick) || m_columnsChanged;
    if (turn == SpectrogramTurn && m_columnsChanged)
        drawSpectrogram();
    if (turn == StepsTurn && m_stepsChanged && !isFrozen())
        drawSteps();
    updateTimer();
}

void SingleChannelView::refresh()
{
    if (!hasRecording())
        return;
    holdTraces();
    drawTraces();
    drawSteps(); // finds the breath rate that the spectrum shows
    drawSpectrum();
    fillSpectrogram(ColumnsPerTick);
    drawSpectrogram();
    updateTimer();
}

void SingleChannelView::readEnd(Trace trace, std::span<float> out)
{
    if (m_held.isHolding()) {
        const int held = heldTrace(trace, m_channel);
        m_held.read(held, m_shownEnd, out);
        return;
    }
    const TraceSource& source = trace == Raw         ? m_sources.raw
                                : trace == Breathing ? m_sources.breathing
                                                     : m_sources.activity;
    m_shownEnd = source(m_channel, out);
}

void SingleChannelView::drawTraces()
{
    m_samples.resize(static_cast<std::size_t>(m_plot->samplesPerRow()));
    if (m_held.isHolding())
        m_shownEnd =
            m_held.endNumber() - std::min<quint64>(m_held.endNumber(), static_cast<quint64>(m_bar->back()));
    const StepHistory* steps = m_sources.steps;
    for (const Trace trace : {Activity, Breathing, Raw}) { // the raw trace has the last word on the end
        if (m_held.isHolding() && !m_held.isHeld(heldTrace(trace, m_channel)))
            continue; // drawn in one of the next refreshes
        readEnd(trace, m_samples);
        m_plot->setSamples(trace, m_samples, m_shownEnd);
        if (steps && m_channel < steps->channelCount())
            m_plot->setAsleep(trace, asleepSpans(*steps, m_clock, m_channel, m_shownEnd, m_samples.size()));
    }
    showMarkers();
    showTime();
    m_plot->redraw();
}

void SingleChannelView::drawSpectrum()
{
    std::vector<float> samples(PowerSpectrum::Length);
    std::vector<float> decibels(SpectrogramColumns::Bins);
    readEnd(static_cast<Trace>(m_spectrumOf->currentData().toInt()), samples);
    m_power.compute(samples, decibels);
    m_spectrumPlot->setSpectrum(decibels);
    m_spectrumPlot->setFrozen(isFrozen(), {});
    m_spectrumPlot->redraw();
}

bool SingleChannelView::fillSpectrogram(int most)
{
    if (m_held.isHolding() && !m_held.isHeld(heldTrace(Raw, m_channel)))
        return false;
    const std::vector<quint64> missing = m_columns.missing(SpectrogramColumns::lastColumn(m_shownEnd), most);
    if (missing.empty())
        return false;
    // One copy that reaches from the end of the picture to the beginning of the oldest column.
    const quint64 oldest = missing.back() * SpectrogramColumns::SamplesPerColumn - PowerSpectrum::Length;
    const quint64 copiedFrom = m_shownEnd;
    m_samples.resize(static_cast<std::size_t>(m_shownEnd - oldest));
    readEnd(Raw, m_samples);
    const quint64 late = m_shownEnd - copiedFrom; // samples that came meanwhile push the oldest ones out
    for (const quint64 column : missing) {
        const quint64 at = column * SpectrogramColumns::SamplesPerColumn - PowerSpectrum::Length - oldest;
        if (at < late)
            continue;
        m_power.compute(
            std::span(m_samples).subspan(static_cast<std::size_t>(at - late), PowerSpectrum::Length),
            m_columns.place(column));
    }
    return true;
}

void SingleChannelView::drawSpectrogram()
{
    m_columnsChanged = false;
    m_spectrogram->setColumns(m_columns, m_shownEnd);
    m_spectrogram->redraw();
}

std::size_t SingleChannelView::stepsShown() const
{
    const StepHistory& steps = *m_sources.steps;
    if (!isFrozen())
        return steps.size();
    const std::optional<qint64> timeMs = m_clock.timeMs(m_shownEnd, &steps);
    return timeMs ? steps.indexAt(*timeMs + 1) : 0;
}

void SingleChannelView::drawSteps()
{
    m_stepsChanged = false;
    const StepHistory* steps = m_sources.steps;
    if (!steps || m_channel >= steps->channelCount())
        return;
    const std::size_t end = stepsShown();
    const std::size_t begin =
        end > 0
            ? std::min(end, steps->indexAt(steps->timeMs(end - 1) - qint64{1000} * m_statistic->seconds()))
            : 0;
    reduceSteps(*steps, StepValue::DecisionStat, m_channel, begin, end, m_statistic->secondsPerBin(),
                m_trend);
    m_statistic->setTrend(m_trend);
    m_statistic->redraw();
    showFeatures();
}

void SingleChannelView::showFeatures()
{
    const StepHistory& steps = *m_sources.steps;
    const auto channel = static_cast<std::size_t>(m_channel);
    const bool isNewest = !isFrozen() || m_bar->back() == 0;
    const StepRecord record = !isFrozen() ? steps.newest().value_or(StepRecord()) : m_frozenStep;
    ChannelStep shown = FeatureTable::unknownStep();
    if (isNewest && record.isDecided && channel < record.channels.size()) {
        shown = record.channels[channel];
    } else if (!isNewest && stepsShown() > 0) {
        // Of older steps the history keeps these.
        const StepHistory::Step step = steps.step(stepsShown() - 1, m_channel);
        shown.decisionStat = step.isDecided ? step.decisionStat : shown.decisionStat;
        shown.features.breathRate = step.breathRate;
        shown.features.signalPower = step.power;
    }
    m_features->setValues(shown);
    m_spectrumPlot->setBreathRate(shown.features.breathRate);
}

void SingleChannelView::showTime()
{
    if (!isFrozen()) {
        const QString end = m_note.isEmpty() ? QString() : tr("end");
        m_bar->setText(m_note);
        m_plot->setFrozen(false, end);
        m_spectrogram->setFrozen(false, end);
        m_statistic->setFrozen(false, end);
        return;
    }
    const std::optional<qint64> to = m_clock.timeMs(m_shownEnd, m_sources.steps);
    const qint64 lengthMs = qint64{1000} * m_timeBase->currentData().toInt();
    const QString end = to ? FreezeBar::clockText(*to) : tr("end");
    const QString span = to ? FreezeBar::timeText(*to - lengthMs, *to) : QString();
    m_bar->setText(span.isEmpty()     ? tr("Frozen")
                   : m_note.isEmpty() ? tr("Frozen: %1").arg(span)
                                      : tr("Frozen: %1 (%2)").arg(span, m_note));
    m_plot->setFrozen(true, end);
    m_spectrogram->setFrozen(true, end);
    m_statistic->setFrozen(true, end);
}

void SingleChannelView::updateTimer()
{
    const bool isHolding = m_hasSource && m_held.isHolding() && !m_held.isComplete();
    const bool isLive = m_hasSource && !isFrozen();
    const bool isFilling =
        m_columnsChanged || !m_columns.missing(SpectrogramColumns::lastColumn(m_shownEnd), 1).empty();
    m_timer->setWanted(hasRecording() && (isHolding || isLive || isFilling));
}

void SingleChannelView::keyPressEvent(QKeyEvent* event)
{
    if (m_bar->handleKey(*event))
        return;
    if (event->key() == Qt::Key_Up)
        setChannel(m_channel - 1);
    else if (event->key() == Qt::Key_Down)
        setChannel(m_channel + 1);
    else
        QFrame::keyPressEvent(event);
}

void SingleChannelView::wheelEvent(QWheelEvent* event)
{
    if (!m_bar->handleWheel(*event))
        QFrame::wheelEvent(event);
}

} // namespace vt
