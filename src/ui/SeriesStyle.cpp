// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SeriesStyle.h"

#include "ui/Theme.h"

#include <QPainter>
#include <QPen>

#include <algorithm>
#include <iterator>
#include <span>

namespace vt::seriesstyle {

namespace {

constexpr double LineWidth = 1.5;
constexpr double MarkerRadius = 3.5;
constexpr int MarkerCount = 5;
constexpr int DashCount = 4;
/// What rounding leaves of a dash; as a dash of its own it would never end.
constexpr double Negligible = 1e-6;
// Pixels: drawn, left out, ...
constexpr double Dashed[] = {9.0, 4.0};
constexpr double Dotted[] = {2.5, 3.0};
constexpr double DashDotted[] = {12.0, 4.0, 2.5, 4.0};
constexpr std::span<const double> Dashes[DashCount] = {{}, Dashed, Dotted, DashDotted};

QColor color(int series, const Theme& theme)
{
    const QColor colors[] = {theme.accent, theme.danger, theme.good, theme.text, theme.warning};
    return colors[series % static_cast<int>(std::size(colors))];
}

} // namespace

QPen pen(int series, const Theme& theme)
{
    QPen pen(color(series, theme), LineWidth);
    pen.setCapStyle(Qt::FlatCap);
    return pen;
}

QList<QLineF> strokes(const QPolygonF& polyline, int series)
{
    const std::span<const double> lengths = Dashes[static_cast<std::size_t>(series % DashCount)];
    QList<QLineF> result;
    std::size_t part = 0; // even ones are drawn
    double left = lengths.empty() ? 0.0 : lengths[0];
    for (qsizetype i = 1; i < polyline.size(); ++i) {
        const QLineF line(polyline[i - 1], polyline[i]);
        const double length = line.length();
        if (lengths.empty() || length == 0.0) {
            result.append(line);
            continue;
        }
        for (double at = 0.0; at < length;) {
            const double end = std::min(at + left, length);
            if (part % 2 == 0)
                result.append({line.pointAt(at / length), line.pointAt(end / length)});
            left -= end - at;
            at = end;
            if (left < Negligible) {
                part = (part + 1) % lengths.size();
                left = lengths[part];
            }
        }
    }
    return result;
}

void drawMarker(QPainter& painter, QPointF center, int series, const Theme& theme)
{
    const double r = MarkerRadius;
    painter.setPen(QPen(theme.surface, 1.0)); // a rim, so that markers on other lines stay apart
    painter.setBrush(color(series, theme));
    switch (series % MarkerCount) {
    case 0:
        painter.drawEllipse(center, r, r);
        break;
    case 1:
        painter.drawRect(QRectF(center.x() - r, center.y() - r, 2 * r, 2 * r));
        break;
    case 2:
        painter.drawPolygon(QPolygonF{
            {center + QPointF(0, -r - 1), center + QPointF(r + 1, r), center + QPointF(-r - 1, r)}});
        break;
    case 3:
        painter.drawPolygon(QPolygonF{{center + QPointF(0, -r - 1), center + QPointF(r + 1, 0),
                                       center + QPointF(0, r + 1), center + QPointF(-r - 1, 0)}});
        break;
    default:
        painter.drawPolygon(QPolygonF{
            {center + QPointF(0, r + 1), center + QPointF(r + 1, -r), center + QPointF(-r - 1, -r)}});
        break;
    }
}

void drawKey(QPainter& painter, const QRectF& rect, int series, const Theme& theme)
{
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(pen(series, theme));
    painter.drawLines(strokes(
        QPolygonF{{QPointF(rect.left(), rect.center().y()), QPointF(rect.right(), rect.center().y())}},
        series));
    drawMarker(painter, rect.center(), series, theme);
}

} // namespace vt::seriesstyle
