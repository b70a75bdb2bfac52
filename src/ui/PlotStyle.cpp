// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/PlotStyle.h"

#include "ui/Theme.h"

#include <qcustomplot.h>

#include <cmath>

namespace vt::plotstyle {

void prepare(QCustomPlot& plot)
{
    plot.setFocusPolicy(Qt::NoFocus);
    plot.setAttribute(Qt::WA_TransparentForMouseEvents);
    plot.setInteractions(QCP::Interactions());
    plot.setMinimumSize(60, 60); // nothing can be painted on an empty picture
    plot.setNotAntialiasedElements(QCP::AntialiasedElements(QCP::aeAll) & ~QCP::aePlottables);
    plot.setPlottingHints(QCP::phFastPolylines | QCP::phCacheLabels);
    plot.setAutoAddPlottableToLegend(false);
    plot.removeLayer(plot.layer(QStringLiteral("overlay"))); // nothing is selected in these charts
    plot.axisRect()->setMinimumMargins(QMargins(0, spacing::Tiny, spacing::Small, 0));
    plot.plotLayout()->setAutoMargins(QCP::msNone);
}

QColor ground(bool frozen)
{
    constexpr double Tint = 0.10; ///< share of the warning colour
    const Theme theme = Theme::current();
    if (!frozen)
        return theme.surface;
    const auto mixed = [](int a, int b) { return static_cast<int>(std::lround(a + (b - a) * Tint)); };
    return {mixed(theme.surface.red(), theme.warning.red()),
            mixed(theme.surface.green(), theme.warning.green()),
            mixed(theme.surface.blue(), theme.warning.blue())};
}

void apply(QCustomPlot& plot, bool frozen, const QFont& base)
{
    const Theme theme = Theme::current();
    const QFont caption = Theme::font(TextRole::Caption, base);
    plot.setBackground(ground(frozen));
    for (QCPAxisRect* rect : plot.axisRects()) {
        for (QCPAxis* axis : rect->axes()) {
            axis->setTickLabelColor(theme.mutedText);
            axis->setLabelColor(theme.mutedText);
            axis->setTickLabelFont(caption);
            axis->setLabelFont(caption);
            axis->setBasePen(QPen(theme.border, 1.0));
            axis->setTickPen(QPen(theme.border, 1.0));
            axis->setSubTicks(false);
            axis->setTickLengthIn(0);
            axis->setTickLengthOut(3);
            axis->setTickLabelPadding(2);
            axis->setLabelPadding(1);
            axis->grid()->setPen(QPen(theme.grid, 1.0));
            axis->grid()->setZeroLinePen(Qt::NoPen);
            axis->grid()->setSubGridVisible(false);
        }
    }
}

int endLabelMargin(const QFont& base)
{
    const QFontMetrics caption(Theme::font(TextRole::Caption, base));
    return caption.horizontalAdvance(QStringLiteral("00:00:00")) / 2 + spacing::Tiny;
}

} // namespace vt::plotstyle
