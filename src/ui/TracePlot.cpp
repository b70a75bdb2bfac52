// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TracePlot.h"

#include "ui/PlotStyle.h"
#include "ui/Theme.h"
#include "ui/TraceOverlay.h"

#include <QVBoxLayout>
#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int LeftMargin = spacing::Large + spacing::Tiny; ///< half of the first time label fits in
constexpr double Headroom = 1.1;  ///< keeps a trace at full range off the neighbouring rows
constexpr double FootRoom = 0.08; ///< below the 0 of a trend, for the bar that says "asleep"

} // namespace

TracePlot::TracePlot(QWidget* parent) : QWidget(parent), m_plot(new QCustomPlot(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_plot);
    m_plot->setAccessibleName(tr("Live traces"));
    plotstyle::prepare(*m_plot);
    m_plot->setMinimumSize(100, 100);
    m_plot->setNoAntialiasingOnDrag(true);
    // Every buffered layer is one more picture of the whole widget to blend on each refresh: one for all that
    // stands still, one for the traces.
    m_plot->layer(QStringLiteral("main"))->setMode(QCPLayer::lmLogical);
    m_plot->addLayer(QStringLiteral("traces"));
    m_traceLayer = m_plot->layer(QStringLiteral("traces"));
    m_traceLayer->setMode(QCPLayer::lmBuffered);
    m_plot->plotLayout()->clear();
    m_plot->plotLayout()->setRowSpacing(0);
    connect(m_plot, &QCustomPlot::afterLayout, this, &TracePlot::rowsLaidOut);
    applyTheme();
}

void TracePlot::setRowCount(int rows)
{
    if (rows == rowCount())
        return;
    m_plot->clearItems();
    m_plot->clearGraphs();
    m_plot->plotLayout()->clear();
    m_rows.clear();
    m_timeAxis = nullptr;
    for (int row = 0; row < rows; ++row)
        addRow(row);
    if (rows > 0)
        addTimeAxis();
    applyTimeTicks();
    applyRanges();
    applyTheme();
}

void TracePlot::addRow(int index)
{
    Row row;
    row.rect = new QCPAxisRect(m_plot);
    m_plot->plotLayout()->addElement(index, 0, row.rect);
    row.rect->setAutoMargins(QCP::msNone);
    row.rect->setMargins(QMargins(LeftMargin, 0, plotstyle::endLabelMargin(font()), 0));
    row.rect->setMinimumMargins(QMargins(0, 0, 0, 0));
    for (QCPAxis* axis : row.rect->axes()) {
        axis->setTickLabels(false);
        axis->setTicks(false);
        axis->setVisible(axis->axisType() == QCPAxis::atLeft || axis->axisType() == QCPAxis::atBottom);
        axis->setBasePen(Qt::NoPen);
        axis->setLayer(QStringLiteral("grid"));
        axis->grid()->setSubGridVisible(false);
        axis->grid()->setZeroLinePen(Qt::NoPen);
    }
    QCPAxis* value = row.rect->axis(QCPAxis::atLeft);
    const QSharedPointer<QCPAxisTickerText> zeroOnly(new QCPAxisTickerText);
    zeroOnly->addTick(0.0, QString());
    value->setTicker(zeroOnly);
    row.overlay = new TraceOverlay(row.rect); // the chart owns it
    row.overlay->setLayer(m_traceLayer);
    row.overlay->setMarksLabelled(index == 0);
    row.graph = m_plot->addGraph(row.rect->axis(QCPAxis::atBottom), value);
    row.graph->setLayer(m_traceLayer);
    row.graph->setAdaptiveSampling(false); // the points are already reduced to what pixels can show
    row.graph->setAntialiased(true);
    row.mark = new QCPItemText(m_plot);
    row.mark->setLayer(m_traceLayer);
    row.mark->setClipAxisRect(row.rect);
    row.mark->position->setType(QCPItemPosition::ptAxisRectRatio);
    row.mark->position->setAxisRect(row.rect);
    row.mark->position->setCoords(0.5, 0.5);
    row.mark->setVisible(false);
    row.mark->setPadding(QMargins(spacing::Small, 2, spacing::Small, 2));
    row.range = AutoRange(traceview::smallestRange(m_view));
    m_rows.push_back(row);
}

void TracePlot::addTimeAxis()
{
    m_timeAxis = new QCPAxisRect(m_plot);
    m_plot->plotLayout()->addElement(m_plot->plotLayout()->rowCount(), 0, m_timeAxis);
    const int height = QFontMetrics(Theme::font(TextRole::Caption, font())).height() + spacing::Small;
    m_timeAxis->setAutoMargins(QCP::msNone);
    m_timeAxis->setMargins(QMargins(LeftMargin, 0, plotstyle::endLabelMargin(font()), height - 1));
    m_timeAxis->setMinimumSize(QSize(1, 1));
    m_timeAxis->setMaximumSize(QSize(QWIDGETSIZE_MAX, 1));
    for (QCPAxis* axis : m_timeAxis->axes()) {
        axis->setVisible(axis->axisType() == QCPAxis::atBottom);
        axis->grid()->setVisible(false);
        axis->setLayer(QStringLiteral("grid"));
    }
    m_timeAxis->axis(QCPAxis::atBottom)->setTickLabelPadding(2);
    m_timeAxis->axis(QCPAxis::atBottom)->setSubTicks(false);
}

void TracePlot::setView(traceview::View view)
{
    if (view == m_view)
        return;
    m_view = view;
    for (Row& row : m_rows) {
        row.range = AutoRange(traceview::smallestRange(view));
        row.shownRange = 0.0;
        row.scale = {};
    }
    clearSamples();
    applyRanges();
    m_staticChanged = true;
}

void TracePlot::setTimeBase(int seconds)
{
    if (seconds == m_seconds)
        return;
    m_seconds = seconds;
    applyTimeTicks();
}

void TracePlot::setFrozen(bool frozen, const QString& endLabel)
{
    if (frozen == m_frozen && endLabel == m_endLabel)
        return;
    const bool changed = frozen != m_frozen;
    m_frozen = frozen;
    m_endLabel = endLabel;
    applyTimeTicks();
    if (changed)
        applyTheme();
}

QString TracePlot::endLabel() const
{
    return m_endLabel.isEmpty() ? tr("now") : m_endLabel;
}

void TracePlot::applyTimeTicks()
{
    const QSharedPointer<QCPAxisTickerText> ticker(new QCPAxisTickerText);
    const int step = traceview::tickSeconds(m_seconds);
    for (int second = 0; second <= m_seconds; second += step)
        ticker->addTick(-second, second == 0 ? endLabel() : tr("−%1").arg(traceview::timeBaseText(second)));
    const auto apply = [&](QCPAxisRect* rect) {
        QCPAxis* axis = rect->axis(QCPAxis::atBottom);
        axis->setTicker(ticker);
        axis->setRange(-m_seconds, 0);
    };
    for (const Row& row : m_rows)
        apply(row.rect);
    if (m_timeAxis)
        apply(m_timeAxis);
    m_staticChanged = true;
}

int TracePlot::samplesPerRow() const
{
    return static_cast<int>(m_seconds * SampleRateHz);
}

int TracePlot::bins() const
{
    // Two points for two pixel columns: as many as the eye can tell apart, half of what a line through every
    // column would cost. A trace with fewer samples than that keeps all of them.
    return m_rows.empty() ? 1 : std::max(m_rows.front().rect->width() / 2, 1);
}

double TracePlot::secondsPerBin() const
{
    // A trend of a day is all peaks, and every one costs: three columns instead of two.
    return static_cast<double>(m_seconds) * 1.5 / bins();
}

void TracePlot::setSamples(int row, std::span<const float> samples, quint64 endNumber)
{
    const int count = static_cast<int>(samples.size());
    const int perBin = count > 2 * bins() ? (count + bins() - 1) / bins() : 1;
    decimateTrace(samples, endNumber, perBin, SampleRateHz, m_points);
    setPoints(row, m_points);
}

void TracePlot::setPoints(int row, std::span<const TracePoint> points)
{
    Row& target = at(row);
    QVector<QCPGraphData> line;
    line.reserve(static_cast<qsizetype>(points.size()));
    double peak = 0.0;
    for (const TracePoint& point : points) {
        line.append(QCPGraphData(point.seconds, point.value));
        if (std::isfinite(point.value))
            peak = std::max(peak, std::abs(point.value));
    }
    target.graph->data()->set(line, true);
    const double before = target.range.range();
    if (target.range.update(peak) != before || target.shownRange <= 0.0)
        applyRanges();
}

void TracePlot::setAsleep(int row, std::vector<TimeSpan> spans)
{
    at(row).overlay->setAsleep(std::move(spans));
}

void TracePlot::setMarks(const std::vector<TimeMark>& marks)
{
    for (const Row& row : m_rows)
        row.overlay->setMarks(marks);
}

std::vector<TimeMark> TracePlot::marks() const
{
    return m_rows.empty() ? std::vector<TimeMark>{} : m_rows.front().overlay->marks();
}

void TracePlot::applyRanges()
{
    for (int index = 0; index < rowCount(); ++index) {
        Row& row = at(index);
        const double wanted = range(index);
        if (wanted == row.shownRange)
            continue;
        row.shownRange = wanted;
        const bool aroundZero = traceview::isAroundZero(m_view);
        row.rect->axis(QCPAxis::atLeft)
            ->setRange(-wanted * (aroundZero ? Headroom : FootRoom), wanted * Headroom);
        emit rangeChanged(index, wanted);
    }
}

void TracePlot::setScale(int row, const traceview::Scale& scale)
{
    if (at(row).scale == scale)
        return;
    at(row).scale = scale;
    applyRanges();
}

double TracePlot::range(int row) const
{
    const Row& wanted = at(row);
    switch (wanted.scale.rule) {
    case traceview::ScaleRule::Fixed:
        return wanted.scale.range;
    case traceview::ScaleRule::AutoCommon: {
        double largest = 0.0;
        for (const Row& other : m_rows)
            if (!other.noSignal)
                largest = std::max(largest, other.range.range());
        return largest > 0.0 ? largest : wanted.range.range();
    }
    case traceview::ScaleRule::Auto:
    case traceview::ScaleRule::AsPage:
        break;
    }
    return wanted.range.range();
}

void TracePlot::setNoSignal(int row, bool noSignal)
{
    Row& target = at(row);
    if (target.noSignal == noSignal)
        return;
    target.noSignal = noSignal;
    const Theme theme = Theme::current();
    target.graph->setPen(QPen(noSignal ? theme.border : theme.trace, 1.0));
    showMark(target);
}

void TracePlot::setNote(int row, const QString& note)
{
    at(row).note = note;
    showMark(at(row));
}

void TracePlot::showMark(Row& row) const
{
    const QString text = row.noSignal ? tr("No signal: check the sensor of this cage") : row.note;
    row.mark->setText(text);
    row.mark->setVisible(!text.isEmpty());
}

void TracePlot::clearSamples()
{
    for (const Row& row : m_rows) {
        row.graph->data()->clear();
        row.overlay->setAsleep({});
        row.overlay->setMarks({});
    }
}

void TracePlot::redraw()
{
    if (!isVisible() || m_plot->size().isEmpty()) {
        m_staticChanged = true; // there is nothing to paint on yet
        return;
    }
    if (m_staticChanged) {
        m_staticChanged = false;
        m_plot->replot();
    } else {
        m_traceLayer->replot();
    }
}

QRect TracePlot::rowRect(int row) const
{
    return at(row).rect->rect();
}

std::vector<TracePoint> TracePlot::points(int row) const
{
    std::vector<TracePoint> result;
    for (const QCPGraphData& point : *at(row).graph->data())
        result.push_back({point.key, point.value});
    return result;
}

void TracePlot::applyTheme()
{
    const Theme theme = Theme::current();
    const QFont caption = Theme::font(TextRole::Caption, font());
    const QColor background = plotstyle::ground(m_frozen);
    m_plot->setBackground(background);
    for (Row& row : m_rows) {
        row.rect->axis(QCPAxis::atBottom)->setBasePen(QPen(theme.border, 1.0));
        row.rect->axis(QCPAxis::atBottom)->grid()->setPen(QPen(theme.grid, 1.0));
        row.rect->axis(QCPAxis::atLeft)->grid()->setPen(QPen(theme.grid, 1.0));
        row.graph->setPen(QPen(row.noSignal ? theme.border : theme.trace, 1.0));
        row.mark->setColor(theme.mutedText);
        row.mark->setFont(caption);
        row.mark->setBrush(background);
        row.overlay->setColors(theme.asleep, theme.text, background);
        row.overlay->setFont(caption);
    }
    if (m_timeAxis) {
        QCPAxis* axis = m_timeAxis->axis(QCPAxis::atBottom);
        axis->setTickLabelColor(theme.mutedText);
        axis->setTickLabelFont(caption);
        axis->setBasePen(QPen(theme.border, 1.0));
        axis->setTickPen(QPen(theme.border, 1.0));
        axis->setTickLengthIn(0);
        axis->setTickLengthOut(3);
    }
    m_staticChanged = true;
}

void TracePlot::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        applyTheme();
        redraw();
    }
}

} // namespace vt
