// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>

class QCustomPlot;
class QFont;

/// What the charts with axes have in common.
namespace vt::plotstyle {

/// Once: a picture without interactions whose mouse events go to the widget around it.
void prepare(QCustomPlot& plot);
/// Colours and fonts of the theme; again when it changes, or the picture freezes.
void apply(QCustomPlot& plot, bool frozen, const QFont& base);
/// Behind traces: a frozen picture stands on another ground than one that moves.
[[nodiscard]] QColor ground(bool frozen);

/// Room that a time of day at the right end of a time axis takes beside it.
[[nodiscard]] int endLabelMargin(const QFont& base);

} // namespace vt::plotstyle
