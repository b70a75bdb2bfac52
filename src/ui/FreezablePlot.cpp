// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/FreezablePlot.h"

#include "ui/PlotStyle.h"
#include "ui/TraceViews.h"

#include <QEvent>
#include <QVBoxLayout>
#include <qcustomplot.h>

namespace vt {

FreezablePlot::FreezablePlot(QWidget* parent) : QWidget(parent), m_plot(new QCustomPlot(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_plot);
    plotstyle::prepare(*m_plot);
}

void FreezablePlot::setFrozen(bool frozen, const QString& endLabel)
{
    if (frozen == m_frozen && endLabel == m_endLabel)
        return;
    m_frozen = frozen;
    m_endLabel = endLabel;
    applyTimeTicks();
    applyTheme();
}

bool FreezablePlot::canBePainted() const
{
    return isVisible() && !m_plot->size().isEmpty();
}

void FreezablePlot::redraw()
{
    if (canBePainted())
        m_plot->replot();
}

QString FreezablePlot::timeLabel(int secondsBefore) const
{
    if (secondsBefore > 0)
        return tr("−%1").arg(traceview::timeBaseText(secondsBefore));
    return m_endLabel.isEmpty() ? tr("now") : m_endLabel;
}

void FreezablePlot::applyTheme()
{
    plotstyle::apply(*m_plot, m_frozen, font());
}

void FreezablePlot::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        applyTheme();
        redraw();
    }
}

} // namespace vt
