// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QLineF>
#include <QList>
#include <QPointF>
#include <QPolygonF>
#include <QRectF>

class QPainter;
class QPen;

namespace vt {

struct Theme;

/// How the lines of several sensors in one chart are told apart: by dashes and markers, and by colour
/// besides. The first twenty differ from each other.
namespace seriesstyle {

[[nodiscard]] QPen pen(int series, const Theme& theme);
/// A polyline cut into the dashes of the series, to be drawn with QPainter::drawLines: that a pen dashes a
/// polyline takes sixteen times as long.
[[nodiscard]] QList<QLineF> strokes(const QPolygonF& polyline, int series);
/// Filled shape around the centre.
void drawMarker(QPainter& painter, QPointF center, int series, const Theme& theme);
/// Line and marker as the key beside a name.
void drawKey(QPainter& painter, const QRectF& rect, int series, const Theme& theme);

} // namespace seriesstyle

} // namespace vt
