// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/HoverChart.h"

#include <QHelpEvent>
#include <QToolTip>

namespace vt {

HoverChart::HoverChart(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

bool HoverChart::event(QEvent* event)
{
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    QToolTip::showText(help->globalPos(), textAt(help->pos()), this);
    return true;
}

} // namespace vt
