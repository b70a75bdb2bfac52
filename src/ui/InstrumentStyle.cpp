// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/InstrumentStyle.h"

#include "ui/Theme.h"

#include <QPainter>
#include <QStyleFactory>
#include <QStyleOption>
#include <algorithm>

namespace vt {

namespace {

/// Fusion's outline is the window colour darkened by this factor in percent.
constexpr int FusionOutlineFactor = 140;

QPalette withOutline(const QPalette& palette)
{
    QPalette outlined(palette);
    outlined.setColor(QPalette::Window, Theme::current().outline.lighter(FusionOutlineFactor));
    return outlined;
}

void drawCheckBox(const QStyleOption& option, QPainter& painter)
{
    const Theme theme = Theme::current();
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    const bool checked = option.state.testFlag(QStyle::State_On);
    const QRectF box = QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5);
    const QColor fill = checked ? (enabled ? theme.accent : theme.border) : theme.surface;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(option.state.testFlag(QStyle::State_HasFocus) ? theme.accent
                   : enabled                                     ? theme.outline
                                                                 : theme.border);
    painter.setBrush(fill);
    painter.drawRoundedRect(box, 3, 3);
    if (checked)
        drawCheckMark(painter, box, enabled ? theme.onAccent : theme.mutedText);
    painter.restore();
}

void drawRadioButton(const QStyleOption& option, QPainter& painter)
{
    const Theme theme = Theme::current();
    const bool enabled = option.state.testFlag(QStyle::State_Enabled);
    const bool checked = option.state.testFlag(QStyle::State_On);
    const double side = std::min(option.rect.width(), option.rect.height());
    QRectF circle(0, 0, side - 1, side - 1);
    circle.moveCenter(QRectF(option.rect).center());
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(option.state.testFlag(QStyle::State_HasFocus) ? theme.accent
                   : enabled                                     ? theme.outline
                                                                 : theme.border);
    painter.setBrush(theme.surface);
    painter.drawEllipse(circle);
    if (checked) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(enabled ? theme.accent : theme.mutedText);
        painter.drawEllipse(circle.center(), side * 0.27, side * 0.27);
    }
    painter.restore();
}

} // namespace

InstrumentStyle::InstrumentStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

void InstrumentStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                                    const QWidget* widget) const
{
    if (element == PE_IndicatorCheckBox) {
        drawCheckBox(*option, *painter);
        return;
    }
    if (element == PE_IndicatorRadioButton) {
        drawRadioButton(*option, *painter);
        return;
    }
    if (const auto* frame = qstyleoption_cast<const QStyleOptionFrame*>(option);
        frame && element == PE_FrameLineEdit) {
        QStyleOptionFrame outlined(*frame);
        outlined.palette = withOutline(frame->palette);
        QProxyStyle::drawPrimitive(element, &outlined, painter, widget);
        return;
    }
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}

void InstrumentStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                         QPainter* painter, const QWidget* widget) const
{
    if (const auto* spin = qstyleoption_cast<const QStyleOptionSpinBox*>(option)) {
        QStyleOptionSpinBox outlined(*spin);
        outlined.palette = withOutline(spin->palette);
        QProxyStyle::drawComplexControl(control, &outlined, painter, widget);
    } else if (const auto* combo = qstyleoption_cast<const QStyleOptionComboBox*>(option)) {
        QStyleOptionComboBox outlined(*combo);
        outlined.palette = withOutline(combo->palette);
        QProxyStyle::drawComplexControl(control, &outlined, painter, widget);
    } else {
        QProxyStyle::drawComplexControl(control, option, painter, widget);
    }
}

} // namespace vt
