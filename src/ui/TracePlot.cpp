// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TracePlot.h"

#include "ui/Theme.h"

#include <QVBoxLayout>
#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int SideMargin = spacing::Large + spacing::Tiny; ///< half of the outermost time label fits in
constexpr double Headroom = 1.1; ///< keeps a trace at full range off the neighbouring rows

} // namespace

TracePlot::TracePlot(QWidget* parent) : QWidget(parent), m_plot(new QCustomPlot(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_plot);
    m_plot->setAccessibleName(tr("Live traces"));
    m_plot->setFocusPolicy(Qt::NoFocus);
    m_plot->setMinimumSize(100, 100); // nothing can be painted on an empty picture
    m_plot->setInteractions(QCP::Interactions());
    m_plot->setNotAntialiasedElements(QCP::AntialiasedElements(QCP::aeAll) & ~QCP::aePlottables);
    m_plot->setNoAntialiasingOnDrag(true);
    m_plot->setPlottingHints(QCP::phFastPolylines | QCP::phCacheLabels);
    m_plot->setAutoAddPlottableToLegend(false);
    // Every buffered layer is one more picture of the whole widget to blend on each refresh: one for all that
    // stands still, one for the traces. The overlay (selection rubber band) is not used.
    m_plot->removeLayer(m_plot->layer(QStringLiteral("overlay")));
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
    applyTheme();
}

void TracePlot::addRow(int index)
{
    Row row;
    row.rect = new QCPAxisRect(m_plot);
    m_plot->plotLayout()->addElement(index, 0, row.rect);
    row.rect->setAutoMargins(QCP::msNone);
    row.rect->setMargins(QMargins(SideMargin, 0, SideMargin, 0));
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
    row.mark->setText(tr("No signal: check the sensor of this cage"));
    row.mark->setVisible(false);
    row.mark->setPadding(QMargins(spacing::Small, 2, spacing::Small, 2));
    m_rows.push_back(row);
    applyRange(index);
}

void TracePlot::addTimeAxis()
{
    m_timeAxis = new QCPAxisRect(m_plot);
    m_plot->plotLayout()->addElement(m_plot->plotLayout()->rowCount(), 0, m_timeAxis);
    const int height = QFontMetrics(Theme::font(TextRole::Caption, font())).height() + spacing::Small;
    m_timeAxis->setAutoMargins(QCP::msNone);
    m_timeAxis->setMargins(QMargins(SideMargin, 0, SideMargin, height - 1));
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

void TracePlot::setTimeBase(int seconds)
{
    m_seconds = seconds;
    applyTimeTicks();
}

void TracePlot::applyTimeTicks()
{
    const QSharedPointer<QCPAxisTickerText> ticker(new QCPAxisTickerText);
    const int step = m_seconds <= 8 ? 1 : m_seconds <= 16 ? 2 : 5;
    for (int second = 0; second <= m_seconds; second += step)
        ticker->addTick(-second, second == 0 ? tr("now") : tr("−%1 s").arg(second));
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

void TracePlot::setSamples(int row, std::span<const float> samples, quint64 endNumber)
{
    Row& target = m_rows.at(static_cast<std::size_t>(row));
    // Two points for two pixel columns: as many as the eye can tell apart, half of what a line through every
    // column would cost. A trace with fewer samples than that keeps all of them.
    const int bins = std::max(target.rect->width() / 2, 1);
    const int count = static_cast<int>(samples.size());
    const int perBin = count > 2 * bins ? (count + bins - 1) / bins : 1;
    decimateTrace(samples, endNumber, perBin, SampleRateHz, m_points);
    QVector<QCPGraphData> line;
    line.reserve(static_cast<qsizetype>(m_points.size()));
    double peak = 0.0;
    for (const TracePoint& point : m_points) {
        line.append(QCPGraphData(point.seconds, point.value));
        peak = std::max(peak, std::abs(point.value));
    }
    target.graph->data()->set(line, true);
    target.range.update(peak);
    applyRange(row);
}

void TracePlot::applyRange(int row)
{
    Row& target = m_rows.at(static_cast<std::size_t>(row));
    const double range = rangeVolts(row);
    if (range == target.shownVolts)
        return;
    target.shownVolts = range;
    target.rect->axis(QCPAxis::atLeft)->setRange(-range * Headroom, range * Headroom);
    emit rangeChanged(row, range);
}

void TracePlot::setFixedRange(double volts)
{
    m_fixedVolts = volts;
    for (int row = 0; row < rowCount(); ++row)
        applyRange(row);
}

void TracePlot::setNoSignal(int row, bool noSignal)
{
    Row& target = m_rows.at(static_cast<std::size_t>(row));
    if (target.noSignal == noSignal)
        return;
    target.noSignal = noSignal;
    target.mark->setVisible(noSignal);
    const Theme theme = Theme::current();
    target.graph->setPen(QPen(noSignal ? theme.border : theme.trace, 1.0));
}

void TracePlot::clearSamples()
{
    for (Row& row : m_rows)
        row.graph->data()->clear();
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
    return m_rows.at(static_cast<std::size_t>(row)).rect->rect();
}

double TracePlot::rangeVolts(int row) const
{
    return m_fixedVolts > 0 ? m_fixedVolts : m_rows.at(static_cast<std::size_t>(row)).range.range();
}

int TracePlot::pointCount(int row) const
{
    return m_rows.at(static_cast<std::size_t>(row)).graph->data()->size();
}

void TracePlot::applyTheme()
{
    const Theme theme = Theme::current();
    const QFont caption = Theme::font(TextRole::Caption, font());
    m_plot->setBackground(theme.surface);
    for (Row& row : m_rows) {
        row.rect->axis(QCPAxis::atBottom)->setBasePen(QPen(theme.border, 1.0));
        row.rect->axis(QCPAxis::atBottom)->grid()->setPen(QPen(theme.grid, 1.0));
        row.rect->axis(QCPAxis::atLeft)->grid()->setPen(QPen(theme.grid, 1.0));
        row.graph->setPen(QPen(row.noSignal ? theme.border : theme.trace, 1.0));
        row.mark->setColor(theme.mutedText);
        row.mark->setFont(caption);
        row.mark->setBrush(theme.surface);
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
