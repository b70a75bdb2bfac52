// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SeriesStyle.h"

#include "ui/Theme.h"

#include <QPainter>
#include <QPolygonF>

namespace vt::seriesstyle {

namespace {

constexpr double LineWidth = 1.5;
constexpr double MarkerRadius = 3.5;
constexpr int MarkerCount = 5;
constexpr int DashCount = 4;

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
    switch (series % DashCount) {
    case 1:
        pen.setDashPattern({6.0, 3.0});
        break;
    case 2:
        pen.setDashPattern({1.5, 2.0});
        break;
    case 3:
        pen.setDashPattern({8.0, 2.5, 1.5, 2.5});
        break;
    default:
        break;
    }
    return pen;
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
    painter.drawLine(QPointF(rect.left(), rect.center().y()), QPointF(rect.right(), rect.center().y()));
    drawMarker(painter, rect.center(), series, theme);
}

} // namespace vt::seriesstyle
