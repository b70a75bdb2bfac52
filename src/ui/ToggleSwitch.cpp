// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ToggleSwitch.h"

#include "ui/Theme.h"

#include <QPainter>
#include <QStyle>
#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr int LeastTrackHeight = 16;
constexpr double TrackAspect = 1.75;
constexpr double KnobInset = 3.0;

} // namespace

ToggleSwitch::ToggleSwitch(QWidget* parent) : ToggleSwitch(QString(), parent) {}

ToggleSwitch::ToggleSwitch(const QString& text, QWidget* parent) : QCheckBox(text, parent) {}

QSize ToggleSwitch::trackSize() const
{
    // Even, so that the knob stands on whole pixels.
    const int height = std::max(fontMetrics().height() / 2 * 2 + 2, LeastTrackHeight);
    return {static_cast<int>(std::lround(height * TrackAspect / 2.0)) * 2, height};
}

QSize ToggleSwitch::sizeHint() const
{
    const QSize track = trackSize();
    if (text().isEmpty())
        return track;
    const QSize words = fontMetrics().size(Qt::TextShowMnemonic, text());
    return {track.width() + spacing::Small + words.width(), std::max(track.height(), words.height())};
}

QSize ToggleSwitch::minimumSizeHint() const
{
    return sizeHint();
}

QRect ToggleSwitch::trackRect() const
{
    const QSize size = trackSize();
    const QRect rect(QPoint(0, (height() - size.height()) / 2), size);
    return QStyle::visualRect(layoutDirection(), this->rect(), rect);
}

QRect ToggleSwitch::textRect() const
{
    const int left = trackSize().width() + spacing::Small;
    return QStyle::visualRect(layoutDirection(), rect(), QRect(left, 0, width() - left, height()));
}

bool ToggleSwitch::hitButton(const QPoint& position) const
{
    const QRect used(0, 0, std::min(sizeHint().width(), width()), height());
    return QStyle::visualRect(layoutDirection(), rect(), used).contains(position);
}

void ToggleSwitch::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    paintTrack(painter);
    paintText(painter);
}

void ToggleSwitch::paintTrack(QPainter& painter) const
{
    const Theme theme = Theme::current();
    const QRect whole = trackRect();
    const QRectF track = QRectF(whole).adjusted(0.5, 0.5, -0.5, -0.5);
    const double round = track.height() / 2.0;
    const bool isOn = isChecked();
    const QColor edge = !isEnabled() ? theme.border
                        : isDown()   ? theme.text
                        : isOn       ? theme.accent
                                     : theme.outline;
    painter.setPen(QPen(edge, 1.0));
    painter.setBrush(!isOn ? theme.surface : isEnabled() ? theme.accent : theme.border);
    painter.drawRoundedRect(track, round, round);
    if (hasFocus()) { // as on buttons with and without a fill
        painter.setPen(QPen(isOn ? theme.text : theme.accent, 2.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(track.adjusted(0.5, 0.5, -0.5, -0.5), round, round);
    }

    const bool isAtRight = isOn != (layoutDirection() == Qt::RightToLeft);
    const double side = whole.height() - 2.0 * KnobInset;
    const QRectF knob(isAtRight ? whole.right() + 1 - KnobInset - side : whole.left() + KnobInset,
                      whole.top() + KnobInset, side, side);
    if (!isOn) {
        painter.setPen(QPen(isEnabled() ? theme.mutedText : theme.border, 2.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(knob.adjusted(1.0, 1.0, -1.0, -1.0));
        return;
    }
    painter.setPen(Qt::NoPen);
    painter.setBrush(isEnabled() ? theme.onAccent : theme.surface);
    painter.drawEllipse(knob);
    drawCheckMark(painter, knob.adjusted(1.0, 1.0, -1.0, -1.0), isEnabled() ? theme.accent : theme.mutedText);
}

void ToggleSwitch::paintText(QPainter& painter) const
{
    const QRect place = textRect();
    const bool isUnderlined = style()->styleHint(QStyle::SH_UnderlineShortcut, nullptr, this) != 0;
    const QString shown =
        text().contains(u'\n')
            ? text()
            : fontMetrics().elidedText(text(), Qt::ElideRight, place.width(), Qt::TextShowMnemonic);
    const int flags =
        static_cast<int>(QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter));
    style()->drawItemText(&painter, place,
                          flags | (isUnderlined ? Qt::TextShowMnemonic : Qt::TextHideMnemonic), palette(),
                          isEnabled(), shown, QPalette::WindowText);
}

} // namespace vt
