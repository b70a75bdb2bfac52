// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/StatisticPlot.h"

#include "ui/PlotStyle.h"
#include "ui/Theme.h"
#include "ui/TraceOverlay.h"
#include "ui/TraceViews.h"

#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr double Headroom = 1.15;

QCPItemText* addText(QCustomPlot& plot, double x, double y, Qt::Alignment alignment)
{
    auto* text = new QCPItemText(&plot); // the chart owns it
    text->position->setAxisRect(plot.axisRect());
    text->position->setType(QCPItemPosition::ptAxisRectRatio);
    text->position->setCoords(x, y);
    text->setPositionAlignment(alignment);
    text->setPadding(QMargins(spacing::Tiny, 1, spacing::Tiny, 1));
    return text;
}

} // namespace

StatisticPlot::StatisticPlot(QWidget* parent) : FreezablePlot(parent)
{
    setAccessibleName(tr("Decision statistic"));
    setToolTip(tr("Above the threshold of 0 the animal is scored asleep (shaded), at or below it awake."));
    m_overlay = new TraceOverlay(m_plot->axisRect()); // the chart owns it
    m_threshold = m_plot->addGraph();
    m_line = m_plot->addGraph();
    m_line->setAdaptiveSampling(false);
    m_thresholdText = addText(*m_plot, 0.0, 0.0, Qt::AlignLeft | Qt::AlignTop);
    m_thresholdText->setText(tr("asleep above 0"));
    m_note = addText(*m_plot, 0.5, 0.5, Qt::AlignCenter);
    m_note->setVisible(false);
    m_plot->yAxis->ticker()->setTickCount(4);
    m_plot->yAxis->setRange(-Headroom, Headroom);
    m_plot->axisRect()->setMinimumMargins(QMargins(0, spacing::Tiny, plotstyle::endLabelMargin(font()), 0));
    StatisticPlot::applyTimeTicks();
    StatisticPlot::applyTheme();
}

void StatisticPlot::setSeconds(int seconds)
{
    m_seconds = seconds;
    applyTimeTicks();
}

double StatisticPlot::secondsPerBin() const
{
    return static_cast<double>(m_seconds) / std::max(m_plot->axisRect()->width() / 2, 1);
}

void StatisticPlot::setTrend(const Trend& trend)
{
    QVector<QCPGraphData> line;
    line.reserve(static_cast<qsizetype>(trend.points.size()));
    double peak = 0.0;
    for (const TracePoint& point : trend.points) {
        line.append(QCPGraphData(point.seconds, point.value));
        if (std::isfinite(point.value))
            peak = std::max(peak, std::abs(point.value));
    }
    m_line->data()->set(line, true);
    m_overlay->setAsleep(trend.asleep);
    const double range = m_range.update(peak) * Headroom;
    m_plot->yAxis->setRange(-range, range);
}

void StatisticPlot::setNote(const QString& note)
{
    m_note->setText(note);
    m_note->setVisible(!note.isEmpty());
    m_thresholdText->setVisible(note.isEmpty());
    m_threshold->setVisible(note.isEmpty());
}

void StatisticPlot::applyTimeTicks()
{
    const QSharedPointer<QCPAxisTickerText> ticker(new QCPAxisTickerText);
    for (int second = 0; second <= m_seconds; second += traceview::tickSeconds(m_seconds))
        ticker->addTick(-second, timeLabel(second));
    m_plot->xAxis->setTicker(ticker);
    m_plot->xAxis->setRange(-m_seconds, 0.0);
    m_threshold->setData({static_cast<double>(-m_seconds), 0.0}, {0.0, 0.0}, true);
}

int StatisticPlot::pointCount() const
{
    return m_line->data()->size();
}

void StatisticPlot::applyTheme()
{
    const Theme theme = Theme::current();
    const QFont caption = Theme::font(TextRole::Caption, font());
    const QColor ground = plotstyle::ground(isFrozen());
    FreezablePlot::applyTheme();
    m_line->setPen(QPen(theme.trace, 1.2));
    m_threshold->setPen(QPen(theme.mutedText, 1.0, Qt::DashLine));
    m_overlay->setColors(theme.asleep, theme.text, ground);
    m_overlay->setFont(caption);
    for (QCPItemText* text : {m_thresholdText, m_note}) {
        text->setColor(theme.mutedText);
        text->setFont(caption);
    }
    m_note->setBrush(ground); // the other hides nothing of the curve
}

} // namespace vt
