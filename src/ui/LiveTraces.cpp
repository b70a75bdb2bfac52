// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/LiveTraces.h"

#include "session/StepHistory.h"
#include "ui/ChannelHeader.h"
#include "ui/FreezeBar.h"
#include "ui/Theme.h"
#include "ui/TracePlot.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QShortcut>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <QWheelEvent>

#include <algorithm>
#include <limits>

namespace vt {

using statustext::SleepDisplay;
using traceview::ScaleRule;

namespace {

constexpr int HeaderColumnWidth = 172;
/// What is done in one refresh at most, so that no refresh takes longer than a few milliseconds.
constexpr int TracesHeldPerTick = 2;
constexpr std::size_t StepsPerTick = 40000;

} // namespace

LiveTraces::LiveTraces(QWidget* parent)
    : QFrame(parent), m_options(new TraceOptions(this)), m_stack(new QStackedWidget(this)),
      m_empty(new EmptyState(this)), m_headerColumn(new QWidget(this)), m_plot(new TracePlot(this)),
      m_bar(new FreezeBar(this)), m_timer(new RefreshTimer(this, [this] { tick(); }))
{
    setKind(this, QStringLiteral("card"));
    setAccessibleName(tr("Live signals"));
    auto* traces = new QWidget(m_stack);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    m_headerColumn->setFixedWidth(HeaderColumnWidth);
    row->addWidget(m_headerColumn);
    row->addWidget(m_plot, 1);
    m_bar->setButtonColumnWidth(HeaderColumnWidth);
    m_bar->setTextName(QStringLiteral("tracesNote"));
    auto* column = new QVBoxLayout(traces);
    column->setContentsMargins(0, 0, 0, spacing::Tiny);
    column->setSpacing(spacing::Tiny);
    column->addLayout(row, 1);
    column->addWidget(m_bar);
    m_stack->addWidget(m_empty);
    m_stack->addWidget(traces);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, spacing::Small, 1, spacing::Tiny);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_options);
    layout->addWidget(m_stack, 1);
    connectParts();
    changeView();
}

void LiveTraces::connectParts()
{
    connect(m_plot, &TracePlot::rowsLaidOut, this, &LiveTraces::placeHeaders);
    connect(m_plot, &TracePlot::rangeChanged, this, [this](int row, double range) {
        if (row < static_cast<int>(m_headers.size())) // rows come before their headers
            m_headers[static_cast<std::size_t>(row)]->setRange(view(), range);
    });
    connect(m_options, &TraceOptions::pageChanged, this, [this] {
        buildRows();
        m_plot->clearSamples(); // what is drawn belongs to the channels of the other page
        refresh();
    });
    connect(m_options, &TraceOptions::viewChanged, this, &LiveTraces::changeView);
    connect(m_options, &TraceOptions::timeBaseChanged, this, [this] {
        m_plot->setTimeBase(timeBaseSeconds());
        updateExtent();
        refresh();
    });
    connect(m_options, &TraceOptions::scaleChanged, this, [this] {
        applyScales();
        refresh();
    });
    connect(m_bar, &FreezeBar::freezeRequested, this, &LiveTraces::setFrozen);
    connect(m_bar, &FreezeBar::moved, this, &LiveTraces::refresh);
    const auto turn = [this](int key, int by) {
        auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | key), this);
        connect(shortcut, &QShortcut::activated, this, [this, by] { setPage(page() + by); });
    };
    turn(Qt::Key_PageUp, -1);
    turn(Qt::Key_PageDown, 1);
}

void LiveTraces::setHistory(const StepHistory* history)
{
    m_history = history;
}

bool LiveTraces::continuesRecording(const QStringList& animalIds, quint64 count) const
{
    return animalIds == m_animalIds && m_shownEnd > 0 && count > 0 && m_held.isHolding() &&
           count >= m_held.endNumber();
}

void LiveTraces::start(const QStringList& animalIds, TraceSource source)
{
    const quint64 count = source(0, {});
    const bool continues = continuesRecording(animalIds, count);
    m_source = std::move(source);
    m_note.clear();
    if (!continues) {
        setFrozen(false);
        m_animalIds = animalIds;
        m_clock.clear();
        m_markers.clear();
        m_trendEndMs.reset();
        m_sleep.assign(static_cast<std::size_t>(animalIds.size()), SleepDisplay::Waiting);
        m_ownScales.assign(static_cast<std::size_t>(animalIds.size()), {});
        for (Scales& scales : m_ownScales)
            scales.fill({ScaleRule::AsPage, 0.0});
        m_options->setChannelCount(static_cast<int>(animalIds.size()));
        buildRows();
        m_plot->clearSamples();
    }
    if (!isFrozen())
        m_held.clear();
    const quint64 steps = m_history ? m_history->firstNumber() + m_history->size() : 0;
    m_clock.beginSegment(count, steps, QDateTime::currentMSecsSinceEpoch());
    m_stack->setCurrentIndex(1);
    showTime();
    updateTimer();
    m_plot->redraw();
}

void LiveTraces::clearSource(const QString& note)
{
    m_note = note;
    if (m_source) {
        // What is drawn next comes from here: other pages, other time bases, older samples.
        const int channels = static_cast<int>(m_animalIds.size());
        if (!m_held.isHolding())
            m_held.begin(channels, m_source(0, {}));
        m_held.holdSome(channels, m_source);
        m_source = nullptr;
        updateExtent();
        refresh();
    }
    showTime();
    updateTimer();
}

void LiveTraces::setChannels(const std::vector<ChannelSummary>& channels, statustext::Scoring scoring)
{
    const std::size_t count = std::min(channels.size(), m_sleep.size());
    for (std::size_t channel = 0; channel < count; ++channel)
        m_sleep[channel] = statustext::sleepDisplay(channels[channel], scoring);
    showStates();
}

void LiveTraces::showStates()
{
    for (int row = 0; row < static_cast<int>(m_headers.size()); ++row) {
        const SleepDisplay sleep = m_sleep[static_cast<std::size_t>(channelOf(row))];
        m_headers[static_cast<std::size_t>(row)]->setSleep(sleep);
        // A trend goes back to when there was a signal.
        m_plot->setNoSignal(row, isSignal() && sleep == SleepDisplay::NoSignal);
    }
}

void LiveTraces::addStep()
{
    if (isSignal() || isFrozen())
        return;
    m_staleRows = m_plot->rowCount();
    updateTimer();
}

void LiveTraces::addMarker(int event, const QString& label)
{
    if (!m_source)
        return;
    const quint64 sample = m_source(0, {});
    m_markers.add(event, sample,
                  m_clock.timeMs(sample, m_history).value_or(QDateTime::currentMSecsSinceEpoch()), label);
}

void LiveTraces::setMarkerLabel(int event, const QString& label)
{
    m_markers.relabel(event, label);
    showMarkers();
    m_plot->redraw();
}

void LiveTraces::buildRows()
{
    const int rows = m_options->channelsShown();
    for (ChannelHeader* header : m_headers)
        delete header;
    m_headers.clear();
    m_plot->setRowCount(rows);
    for (int row = 0; row < rows; ++row) {
        auto* header = new ChannelHeader(m_headerColumn);
        const int channel = channelOf(row);
        header->setChannel(channel + 1, m_animalIds[channel]);
        connect(header, &ChannelHeader::activated, this, [this, channel] { emit channelActivated(channel); });
        connect(header, &ChannelHeader::scaleChosen, this, [this, channel](const traceview::Scale& scale) {
            m_ownScales[static_cast<std::size_t>(channel)][static_cast<std::size_t>(view())] = scale;
            applyScales();
            m_plot->redraw();
        });
        m_headers.push_back(header);
        header->show();
    }
    showStates();
    applyScales();
    placeHeaders();
}

void LiveTraces::applyScales()
{
    const auto viewIndex = static_cast<std::size_t>(view());
    for (int row = 0; row < static_cast<int>(m_headers.size()); ++row) {
        const traceview::Scale own = m_ownScales[static_cast<std::size_t>(channelOf(row))][viewIndex];
        ChannelHeader* header = m_headers[static_cast<std::size_t>(row)];
        m_plot->setScale(row, own.rule == ScaleRule::AsPage ? m_options->scale() : own);
        header->setScale(own);
        header->setRange(view(), m_plot->range(row));
    }
}

void LiveTraces::placeHeaders()
{
    for (int row = 0; row < static_cast<int>(m_headers.size()) && row < m_plot->rowCount(); ++row) {
        const QRect rect = m_plot->rowRect(row);
        m_headers[static_cast<std::size_t>(row)]->setGeometry(0, rect.top(), HeaderColumnWidth,
                                                              rect.height());
    }
}

void LiveTraces::changeView()
{
    m_plot->setView(view());
    m_plot->setTimeBase(timeBaseSeconds());
    showStates();
    applyScales();
    updateExtent();
    m_bar->setBack(0);
    refresh();
}

bool LiveTraces::isFrozen() const
{
    return m_bar->isFrozen();
}

void LiveTraces::setFrozen(bool frozen)
{
    if (frozen == isFrozen())
        return;
    if (frozen && m_animalIds.isEmpty()) {
        m_bar->setFrozen(false); // its button may have been pressed
        return;
    }
    if (frozen && !m_held.isHolding()) {
        const bool drawn = isSignal() && m_timer->isSeen() && m_shownEnd > 0;
        const int channels = static_cast<int>(m_animalIds.size());
        m_held.begin(channels, drawn ? m_shownEnd : newestSample());
        if (!m_timer->isSeen()) // no refresh will do it
            m_held.holdSome(channels, m_source);
    }
    m_frozenStep = m_history ? m_history->firstNumber() + m_history->size() : 0;
    m_bar->setFrozen(frozen);
    if (!frozen && m_source)
        m_held.clear();
    updateExtent();
    refresh();
    updateTimer();
    emit frozenChanged(frozen);
}

quint64 LiveTraces::newestSample() const
{
    return m_source ? m_source(0, {}) : m_held.endNumber();
}

void LiveTraces::updateExtent()
{
    constexpr auto Most = static_cast<quint64>(std::numeric_limits<int>::max());
    quint64 available = 0;
    int visible = 0;
    if (isSignal()) {
        visible = m_plot->samplesPerRow();
        const int channel = m_options->firstChannel();
        available = m_held.isHeld(channel) ? m_held.endNumber() - m_held.firstNumber(channel)
                                           : std::min<quint64>(m_held.endNumber(), TraceHistory::Capacity);
    } else {
        visible = timeBaseSeconds() / StepHistory::StepSeconds;
        available = m_history ? m_frozenStep - std::min(m_frozenStep, m_history->firstNumber()) : 0;
    }
    m_bar->setExtent(static_cast<int>(std::min(available, Most)) - visible, visible);
}

void LiveTraces::tick()
{
    if (isSignal()) {
        refreshSignals();
    } else {
        holdTraces();
        if (m_staleRows > 0)
            refreshTrends(StepsPerTick);
    }
    updateTimer();
}

void LiveTraces::refresh()
{
    if (m_animalIds.isEmpty())
        return;
    if (isSignal()) {
        refreshSignals();
    } else {
        m_staleRows = m_plot->rowCount();
        refreshTrends(std::numeric_limits<std::size_t>::max());
    }
    updateTimer();
}

void LiveTraces::holdTraces()
{
    if (!m_source || !m_held.isHolding())
        return;
    int most = TracesHeldPerTick;
    for (int row = 0; row < m_plot->rowCount() && most > 0; ++row) {
        most -= m_held.isHeld(channelOf(row)) ? 0 : 1;
        m_held.hold(channelOf(row), m_source);
    }
    m_held.holdSome(most, m_source);
    updateExtent();
}

void LiveTraces::refreshSignals()
{
    const bool isHolding = m_held.isHolding();
    if (!isHolding && !m_source)
        return;
    holdTraces();
    m_samples.resize(static_cast<std::size_t>(m_plot->samplesPerRow()));
    const quint64 heldEnd =
        m_held.endNumber() - std::min<quint64>(m_held.endNumber(), static_cast<quint64>(m_bar->back()));
    for (int row = 0; row < m_plot->rowCount(); ++row) {
        const int channel = channelOf(row);
        if (isHolding && !m_held.isHeld(channel))
            continue; // drawn in one of the next refreshes
        quint64 end = heldEnd;
        if (isHolding)
            m_held.read(channel, end, m_samples);
        else
            end = m_source(channel, m_samples);
        m_plot->setSamples(row, m_samples, end);
        if (m_history && channel < m_history->channelCount())
            m_plot->setAsleep(row, asleepSpans(*m_history, m_clock, channel, end, m_samples.size()));
        m_shownEnd = end;
    }
    showMarkers();
    showTime();
    m_plot->redraw();
}

quint64 LiveTraces::endStep() const
{
    if (!m_history)
        return 0;
    const quint64 newest = m_history->firstNumber() + m_history->size();
    return isFrozen() ? std::min(m_frozenStep, newest) - static_cast<quint64>(m_bar->back()) : newest;
}

qint64 LiveTraces::timeOfStep(quint64 step) const
{
    return m_history->timeMs(static_cast<std::size_t>(step - m_history->firstNumber()));
}

void LiveTraces::refreshTrends(std::size_t mostSteps)
{
    const quint64 endNumber = endStep();
    if (!m_history || m_history->channelCount() != m_animalIds.size() ||
        endNumber <= m_history->firstNumber()) {
        m_staleRows = 0;
        m_trendEndMs.reset();
        m_plot->clearSamples();
        m_plot->redraw();
        return;
    }
    const auto end = static_cast<std::size_t>(endNumber - m_history->firstNumber());
    m_trendEndMs = timeOfStep(endNumber - 1);
    const std::size_t begin = m_history->indexAt(*m_trendEndMs - qint64{1000} * timeBaseSeconds());
    std::size_t steps = 0;
    while (m_staleRows > 0 && steps < mostSteps) {
        refreshTrend(m_plot->rowCount() - m_staleRows, std::min(begin, end), end);
        steps += end - std::min(begin, end);
        --m_staleRows;
    }
    m_shownEnd = endNumber;
    if (m_staleRows > 0)
        return; // painted once, when all rows are there
    showMarkers();
    showTime();
    m_plot->redraw();
}

void LiveTraces::refreshTrend(int row, std::size_t begin, std::size_t end)
{
    reduceSteps(*m_history, traceview::stepValue(view()), channelOf(row), begin, end, m_plot->secondsPerBin(),
                m_trend);
    m_plot->setPoints(row, m_trend.points);
    m_plot->setAsleep(row, m_trend.asleep);
    m_plot->setNote(row, view() == traceview::View::BreathRate && m_history->isActivityOnly()
                             ? tr("Breathing is not scored in this recording")
                             : QString());
}

void LiveTraces::showMarkers()
{
    if (isSignal())
        m_plot->setMarks(m_markers.bySample(m_shownEnd, timeBaseSeconds()));
    else
        m_plot->setMarks(m_trendEndMs ? m_markers.byTime(*m_trendEndMs, timeBaseSeconds())
                                      : std::vector<TimeMark>{});
}

void LiveTraces::showTime()
{
    if (!isFrozen()) {
        m_bar->setText(m_note);
        m_plot->setFrozen(false, m_note.isEmpty() ? QString() : tr("end"));
        return;
    }
    std::optional<qint64> to;
    if (isSignal())
        to = m_clock.timeMs(m_shownEnd, m_history);
    else if (m_history && m_shownEnd > m_history->firstNumber() && m_shownEnd <= m_frozenStep)
        to = timeOfStep(m_shownEnd - 1);
    if (!to) {
        m_bar->setText(tr("Frozen"));
        m_plot->setFrozen(true, tr("end"));
        return;
    }
    const QString span = FreezeBar::timeText(*to - qint64{1000} * timeBaseSeconds(), *to);
    m_bar->setText(m_note.isEmpty() ? tr("Frozen: %1").arg(span) : tr("Frozen: %1 (%2)").arg(span, m_note));
    m_plot->setFrozen(true, FreezeBar::clockText(*to));
}

void LiveTraces::updateTimer()
{
    const bool isHolding = m_source && m_held.isHolding() && !m_held.isComplete();
    const bool isLive = m_source && isSignal() && !isFrozen();
    m_timer->setWanted(isHolding || isLive || (!isSignal() && m_staleRows > 0));
}

void LiveTraces::keyPressEvent(QKeyEvent* event)
{
    if (!m_bar->handleKey(*event))
        QFrame::keyPressEvent(event);
}

void LiveTraces::wheelEvent(QWheelEvent* event)
{
    if (!m_bar->handleWheel(*event))
        QFrame::wheelEvent(event);
}

} // namespace vt
