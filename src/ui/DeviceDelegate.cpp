// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/DeviceDelegate.h"

#include "ui/Theme.h"

#include <QApplication>
#include <QPainter>

namespace vt {

namespace {

/// Returns the width that the mark took.
int drawMark(QPainter& painter, const QRect& line, const QString& text, const QColor& color)
{
    const QFontMetrics metrics(painter.font());
    const int width = metrics.horizontalAdvance(text) + 2 * spacing::Small;
    const QRect frame(line.right() - width, line.center().y() - metrics.height() / 2 - 2, width,
                      metrics.height() + 4);
    painter.setPen(color);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.drawRoundedRect(QRectF(frame).adjusted(0.5, 0.5, -0.5, -0.5), 4, 4);
    painter.drawText(frame, Qt::AlignCenter, text);
    return width + spacing::Small;
}

} // namespace

void DeviceDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                           const QModelIndex& index) const
{
    const Theme theme = Theme::current();
    QStyleOptionViewItem item(option);
    initStyleOption(&item, index);
    item.text.clear();
    const QWidget* widget = option.widget;
    (widget ? widget->style() : QApplication::style())
        ->drawControl(QStyle::CE_ItemViewItem, &item, painter, widget);

    const bool inUse = index.data(InUse).toBool();
    const bool selected = option.state.testFlag(QStyle::State_Selected);
    const QColor strong = selected ? option.palette.color(QPalette::HighlightedText)
                          : inUse  ? theme.mutedText
                                   : theme.text;
    const QColor quiet = selected ? strong : theme.mutedText;

    painter->save();
    QRect area = option.rect.adjusted(spacing::Small, spacing::Tiny, -spacing::Small, -spacing::Tiny);
    painter->setFont(Theme::font(TextRole::Caption, option.font));
    const QString mark = inUse                            ? tr("In use")
                         : index.data(Simulated).toBool() ? tr("Simulated")
                         : index.data(Amplifier).toBool() ? tr("Amplifier")
                                                          : QString();
    if (!mark.isEmpty())
        area.setRight(area.right() -
                      drawMark(*painter, area, mark, inUse && !selected ? theme.danger : quiet));

    const QRect top(area.left(), area.top(), area.width(), area.height() / 2);
    const QRect bottom(area.left(), top.bottom() + 1, area.width(), area.height() - top.height());
    QFont bold(option.font);
    bold.setWeight(QFont::DemiBold);
    painter->setFont(bold);
    painter->setPen(strong);
    const QString name = index.data(Qt::DisplayRole).toString();
    painter->drawText(top, Qt::AlignVCenter | Qt::AlignLeft,
                      painter->fontMetrics().elidedText(name, Qt::ElideRight, top.width()));
    painter->setFont(Theme::font(TextRole::Caption, option.font));
    painter->setPen(quiet);
    const QString product = index.data(ProductType).toString();
    const QString serial = index.data(Serial).toString();
    const QString second = serial.isEmpty() ? product : tr("%1, serial %2").arg(product, serial);
    painter->drawText(bottom, Qt::AlignVCenter | Qt::AlignLeft,
                      painter->fontMetrics().elidedText(second, Qt::ElideRight, bottom.width()));
    painter->restore();
}

QSize DeviceDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const
{
    return {160, QFontMetrics(option.font).height() * 2 + 3 * spacing::Tiny};
}

} // namespace vt
