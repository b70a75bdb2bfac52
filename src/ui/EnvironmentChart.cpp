// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/EnvironmentChart.h"

#include "ui/ChartTicks.h"
#include "ui/ClockText.h"
#include "ui/SeriesStyle.h"
#include "ui/Theme.h"

#include <QLocale>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int PixelsPerPoint = 2; ///< more cannot be told apart
constexpr int PixelsPerValueTick = 30;
constexpr double MarkerDistance = 96.0; ///< pixels
constexpr double PointDistance = 6.0;   ///< a tool tip speaks of points that near, in pixels

} // namespace

EnvironmentChart::EnvironmentChart(envunits::Quantity quantity, QWidget* parent)
    : HoverChart(parent), m_quantity(quantity)
{
    setAccessibleName(tr("Chart of %1").arg(envunits::quantityName(quantity)));
    updateRange();
}

QSize EnvironmentChart::minimumSizeHint() const
{
    return {200, 80};
}

void EnvironmentChart::setPeriod(qint64 fromMs, qint64 toMs)
{
    m_fromMs = fromMs;
    m_toMs = toMs;
}

void EnvironmentChart::setUnits(const envunits::Units& units)
{
    m_units = units;
    updateRange();
}

void EnvironmentChart::setLines(std::vector<Line> lines)
{
    m_lines = std::move(lines);
    updateRange();
}

void EnvironmentChart::updateRange()
{
    double low = std::numeric_limits<double>::infinity();
    double high = -low;
    for (const Line& line : m_lines) {
        for (const EnvCurve& curve : line.curves) {
            for (const EnvCurvePoint& point : curve) {
                low = std::min(low, point.value);
                high = std::max(high, point.value);
            }
        }
    }
    const double least = envunits::leastSpan(m_quantity, m_units);
    m_isEmpty = low > high;
    if (m_isEmpty) {
        m_range = {0.0, least};
    } else {
        low = envunits::convert(m_quantity, low, m_units);
        high = envunits::convert(m_quantity, high, m_units);
        const double missing = std::max(least - (high - low), 0.1 * (high - low));
        m_range = {low - missing / 2.0, high + missing / 2.0};
        if (m_quantity == envunits::Quantity::Light) // darkness is the floor
            m_range = {std::min(low, 0.0), std::max(high * 1.05, least)};
    }
    update();
}

int EnvironmentChart::columns() const
{
    return std::max(plotRect().width() / PixelsPerPoint, 1);
}

QRect EnvironmentChart::plotRect() const
{
    const QFontMetrics metrics(Theme::font(TextRole::Caption, font()));
    const int left = metrics.horizontalAdvance(QStringLiteral("1,000.0")) + spacing::Small;
    const int top = metrics.height() / 2 + 1;
    const int bottom = metrics.height() + spacing::Small;
    const int right = metrics.horizontalAdvance(QStringLiteral("00:00")) / 2;
    return {left, top, std::max(width() - left - right, 1), std::max(height() - top - bottom, 1)};
}

double EnvironmentChart::xOf(const QRect& plot, double timeMs) const
{
    const double span = std::max(static_cast<double>(m_toMs - m_fromMs), 1.0);
    return plot.left() + (timeMs - static_cast<double>(m_fromMs)) / span * plot.width();
}

void EnvironmentChart::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setFont(Theme::font(TextRole::Caption, font()));
    const QRect plot = plotRect();
    drawAxes(painter, plot);
    painter.setClipRect(plot.adjusted(0, -4, 4, 4));
    painter.setRenderHint(QPainter::Antialiasing);
    for (const Line& line : m_lines)
        drawLine(painter, plot, line);
}

void EnvironmentChart::drawAxes(QPainter& painter, const QRect& plot) const
{
    const Theme theme = Theme::current();
    const QFontMetrics metrics = painter.fontMetrics();
    painter.setPen(theme.mutedText);
    const auto values =
        ticks::valueTicks(m_range.low, m_range.high, std::max(plot.height() / PixelsPerValueTick, 2));
    if (m_isEmpty)
        painter.drawText(plot, Qt::AlignCenter, tr("No readings in this time"));
    for (const double value : m_isEmpty ? std::vector<double>() : values.values) {
        const int y =
            plot.bottom() - static_cast<int>(std::lround((value - m_range.low) /
                                                         (m_range.high - m_range.low) * (plot.height() - 1)));
        painter.fillRect(plot.left(), y, plot.width(), 1, theme.grid);
        painter.drawText(QRect(0, y - metrics.height() / 2, plot.left() - spacing::Tiny, metrics.height()),
                         Qt::AlignRight | Qt::AlignVCenter, QLocale().toString(value, 'f', values.decimals));
    }
    painter.fillRect(plot.left(), plot.bottom() + 1, plot.width(), 1, theme.border);
    const int labelWidth = metrics.horizontalAdvance(QStringLiteral("00:00")) + spacing::Small;
    for (const qint64 tick :
         ticks::timeTicks(m_fromMs, m_toMs, std::max(plot.width() * 2 / (3 * labelWidth), 1))) {
        const int x = static_cast<int>(std::lround(xOf(plot, static_cast<double>(tick))));
        painter.fillRect(x, plot.top(), 1, plot.height() + 4, theme.grid);
        painter.drawText(QRect(x - labelWidth / 2, plot.bottom() + 5, labelWidth, metrics.height()),
                         Qt::AlignHCenter | Qt::AlignTop, clocktext::hoursMinutes(clocktext::at(tick)));
    }
}

void EnvironmentChart::drawLine(QPainter& painter, const QRect& plot, const Line& line) const
{
    const Theme theme = Theme::current();
    const double scale = (plot.height() - 1) / (m_range.high - m_range.low);
    // Markers stand at fixed times, not at fixed places, and those of other sensors a little aside.
    const double markerMs = MarkerDistance * static_cast<double>(m_toMs - m_fromMs) / plot.width();
    const double shiftMs = markerMs * (line.series % 4) / 4.0;
    std::vector<QPointF> markers;
    painter.setPen(seriesstyle::pen(line.series, theme));
    painter.setBrush(Qt::NoBrush);
    QPolygonF polyline;
    for (const EnvCurve& curve : line.curves) {
        polyline.clear();
        double lastMarker = -1.0;
        for (const EnvCurvePoint& point : curve) {
            const double value = envunits::convert(m_quantity, point.value, m_units);
            polyline.append({xOf(plot, point.timeMs), plot.bottom() - (value - m_range.low) * scale});
            const double marker = std::floor((point.timeMs + shiftMs) / markerMs);
            // Also a reading by itself between two gaps.
            if (curve.size() == 1 || (polyline.size() > 1 && marker != lastMarker))
                markers.push_back(polyline.last());
            lastMarker = marker;
        }
        painter.drawLines(seriesstyle::strokes(polyline, line.series));
    }
    for (const QPointF& marker : markers)
        seriesstyle::drawMarker(painter, marker, line.series, theme);
}

QString EnvironmentChart::textAt(QPoint position) const
{
    const QRect plot = plotRect();
    QStringList texts;
    for (const Line& line : m_lines) {
        const EnvCurvePoint* nearest = nullptr;
        double least = PointDistance;
        for (const EnvCurve& curve : line.curves) {
            for (const EnvCurvePoint& point : curve) {
                const double distance = std::abs(xOf(plot, point.timeMs) - position.x());
                if (distance < least) {
                    least = distance;
                    nearest = &point;
                }
            }
        }
        texts << tr("%1: %2").arg(
            line.label, nearest ? envunits::valueText(m_quantity, nearest->value, m_units) : tr("no data"));
    }
    if (m_toMs <= m_fromMs || !plot.contains(position) || texts.isEmpty())
        return envunits::quantityName(m_quantity);
    const double place = static_cast<double>(position.x() - plot.left()) / plot.width();
    const qint64 timeMs = m_fromMs + static_cast<qint64>(place * static_cast<double>(m_toMs - m_fromMs));
    return clocktext::hoursMinutes(clocktext::at(timeMs)) + u'\n' + texts.join(u'\n');
}

} // namespace vt
