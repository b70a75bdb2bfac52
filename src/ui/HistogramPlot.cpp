// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/HistogramPlot.h"

#include "ui/ChartTicks.h"
#include "ui/Theme.h"

#include <QLocale>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int Bins = StepHistory::HistogramBins;
constexpr int ThresholdBin = Bins / 2; ///< begins at 0
constexpr int LeastBinsBeside = 20;    ///< of the threshold
constexpr int Padding = 2;
constexpr double BinsPerUnit = 10.0;
constexpr double LowestEdge = -10.0;
constexpr double AwakeAlpha = 0.25;

int xOfBin(const QRect& plot, const HistogramRange& range, double bin)
{
    const int shown = range.lastBin - range.firstBin + 1;
    return plot.left() + static_cast<int>(std::lround((bin - range.firstBin) / shown * plot.width()));
}

QString percentText(double percent)
{
    return QLocale().toString(percent, 'f', 1) + QStringLiteral(" %");
}

} // namespace

HistogramRange HistogramRange::of(const std::array<int, StepHistory::HistogramBins>& counts)
{
    HistogramRange range{ThresholdBin - LeastBinsBeside, ThresholdBin + LeastBinsBeside - 1, 0};
    for (int bin = 0; bin < Bins; ++bin) {
        const int count = counts[static_cast<std::size_t>(bin)];
        if (count == 0)
            continue;
        range.firstBin = std::min(range.firstBin, std::max(bin - Padding, 0));
        range.lastBin = std::max(range.lastBin, std::min(bin + Padding, Bins - 1));
        range.highest = std::max(range.highest, count);
    }
    return range;
}

double HistogramRange::edge(int bin)
{
    return LowestEdge + bin / BinsPerUnit;
}

HistogramPlot::HistogramPlot(QWidget* parent) : HoverChart(parent)
{
    setAccessibleName(tr("Histogram of the decision statistic"));
}

QSize HistogramPlot::minimumSizeHint() const
{
    return {200, 160};
}

void HistogramPlot::setCounts(const Counts& counts, const StepHistory::Totals& totals)
{
    m_counts = counts;
    m_totals = totals;
    m_range = HistogramRange::of(counts);
    setAccessibleDescription(tr("Asleep, above 0: %1. Awake: %2.")
                                 .arg(percentText(totals.percentAsleep()),
                                      percentText(totals.steps > 0 ? 100.0 - totals.percentAsleep() : 0.0)));
    update();
}

double HistogramPlot::topPercent() const
{
    const double highest = m_totals.steps > 0 ? 100.0 * m_range.highest / m_totals.steps : 0.0;
    return std::max(highest * 1.08, 1.0);
}

QRect HistogramPlot::plotRect() const
{
    const QFontMetrics metrics(Theme::font(TextRole::Caption, font()));
    const int left = metrics.horizontalAdvance(QStringLiteral("100 %")) + spacing::Small;
    const int top = metrics.height() * 2 + spacing::Small; // names of both sides, and their shares
    const int bottom = metrics.height() * 2 + spacing::Small;
    return {left, top, std::max(width() - left - spacing::Small, 1), std::max(height() - top - bottom, 1)};
}

void HistogramPlot::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setFont(Theme::font(TextRole::Caption, font()));
    const QRect plot = plotRect();
    drawGrid(painter, plot);
    drawBars(painter, plot);
    drawThreshold(painter, plot);
}

void HistogramPlot::drawGrid(QPainter& painter, const QRect& plot) const
{
    const Theme theme = Theme::current();
    const QFontMetrics metrics = painter.fontMetrics();
    const auto percents = ticks::valueTicks(0.0, topPercent(), std::max(plot.height() / 48, 1));
    for (const double percent : percents.values) {
        const int y = plot.bottom() - static_cast<int>(std::lround(percent / topPercent() * plot.height()));
        painter.fillRect(plot.left(), y, plot.width(), 1, theme.grid);
        painter.setPen(theme.mutedText);
        painter.drawText(QRect(0, y - metrics.height() / 2, plot.left() - spacing::Tiny, metrics.height()),
                         Qt::AlignRight | Qt::AlignVCenter,
                         QLocale().toString(percent, 'f', percents.decimals) + QStringLiteral(" %"));
    }
    painter.fillRect(plot.left(), plot.bottom() + 1, plot.width(), 1, theme.border);
    const double low = HistogramRange::edge(m_range.firstBin);
    const double high = HistogramRange::edge(m_range.lastBin + 1);
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("−10.0")) + spacing::Small;
    const auto stats = ticks::valueTicks(low, high, std::max(plot.width() / labelWidth, 1));
    for (const double stat : stats.values) {
        const int x = xOfBin(plot, m_range, (stat - LowestEdge) * BinsPerUnit);
        painter.fillRect(x, plot.bottom() + 1, 1, 4, theme.border);
        painter.drawText(QRect(x - labelWidth / 2, plot.bottom() + 5, labelWidth, metrics.height()),
                         Qt::AlignHCenter | Qt::AlignTop, QLocale().toString(stat, 'f', stats.decimals));
    }
    painter.drawText(
        QRect(plot.left(), plot.bottom() + 6 + metrics.height(), plot.width(), metrics.height()),
        Qt::AlignHCenter | Qt::AlignTop,
        metrics.elidedText(tr("Decision statistic; height: share of steps"), Qt::ElideRight, plot.width()));
}

void HistogramPlot::drawBars(QPainter& painter, const QRect& plot) const
{
    if (m_range.highest == 0 || m_totals.steps == 0)
        return;
    const Theme theme = Theme::current();
    QColor awakeField = theme.awake;
    awakeField.setAlphaF(AwakeAlpha);
    for (int bin = m_range.firstBin; bin <= m_range.lastBin; ++bin) {
        const int count = m_counts[static_cast<std::size_t>(bin)];
        if (count == 0)
            continue;
        const double percent = 100.0 * count / m_totals.steps;
        const int height = std::max(static_cast<int>(std::lround(percent / topPercent() * plot.height())), 1);
        const int left = xOfBin(plot, m_range, bin);
        const QRect bar(left, plot.bottom() + 1 - height, std::max(xOfBin(plot, m_range, bin + 1) - left, 1),
                        height);
        // As in the strips of the last day: sleep is filled, wake is pale under a line.
        painter.fillRect(bar, bin >= ThresholdBin ? theme.asleep : awakeField);
        if (bin < ThresholdBin)
            painter.fillRect(bar.left(), bar.top(), bar.width(), std::min(2, height), theme.awake);
    }
}

void HistogramPlot::drawThreshold(QPainter& painter, const QRect& plot) const
{
    const Theme theme = Theme::current();
    const QFontMetrics metrics = painter.fontMetrics();
    const int x = xOfBin(plot, m_range, ThresholdBin);
    painter.setPen(QPen(theme.text, 1.0, Qt::DashLine));
    painter.drawLine(x, 0, x, plot.bottom());
    const bool isKnown = m_totals.steps > 0;
    const double asleep = m_totals.percentAsleep();
    const QString dash = QStringLiteral("–");
    const QRect top(0, 0, width(), plot.top() - spacing::Small);
    const auto draw = [&](const QRect& rect, Qt::AlignmentFlag side, const QColor& color, const QString& name,
                          double percent) {
        painter.setPen(color);
        painter.drawText(rect, static_cast<int>(side | Qt::AlignTop), name);
        painter.drawText(rect.adjusted(0, metrics.height(), 0, 0), static_cast<int>(side | Qt::AlignTop),
                         isKnown ? percentText(percent) : dash);
    };
    draw(QRect(top.left(), 0, x - top.left() - spacing::Small, top.height()), Qt::AlignRight, theme.awake,
         tr("Awake"), 100.0 - asleep);
    draw(QRect(x + spacing::Small, 0, top.right() - x - spacing::Small, top.height()), Qt::AlignLeft,
         theme.asleep, tr("Asleep"), asleep);
}

QString HistogramPlot::textAt(QPoint position) const
{
    const QRect plot = plotRect();
    const int shown = m_range.lastBin - m_range.firstBin + 1;
    const int bin = m_range.firstBin + (position.x() - plot.left()) * shown / plot.width();
    if (position.x() < plot.left() || bin > m_range.lastBin || m_totals.steps == 0)
        return tr("How often the decision statistic had which value; above 0 the animal is asleep");
    const int count = m_counts[static_cast<std::size_t>(bin)];
    return tr("%1 to %2: %3 of the steps (%4)")
        .arg(QLocale().toString(HistogramRange::edge(bin), 'f', 1),
             QLocale().toString(HistogramRange::edge(bin + 1), 'f', 1),
             percentText(100.0 * count / m_totals.steps), QLocale().toString(count));
}

} // namespace vt
