// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/TraceOverlay.h"

#include "ui/Theme.h"

#include <algorithm>

namespace vt {

namespace {

constexpr int BarHeight = 3;
constexpr int ShadeAlpha = 28;

} // namespace

TraceOverlay::TraceOverlay(QCPAxisRect* rect) : QCPAbstractItem(rect->parentPlot()), m_rect(rect)
{
    setClipAxisRect(rect);
    setSelectable(false);
}

void TraceOverlay::setColors(const QColor& asleep, const QColor& mark, const QColor& background)
{
    m_bar = asleep;
    m_shade = asleep;
    m_shade.setAlpha(ShadeAlpha);
    m_mark = mark;
    m_background = background;
}

void TraceOverlay::draw(QCPPainter* painter)
{
    drawAsleep(*painter);
    drawMarks(*painter);
}

void TraceOverlay::drawAsleep(QCPPainter& painter) const
{
    const QCPAxis* axis = m_rect->axis(QCPAxis::atBottom);
    const QRect area = m_rect->rect();
    for (const TimeSpan& span : m_asleep) {
        const double left = std::max(axis->coordToPixel(span.from), static_cast<double>(area.left()));
        const double right = std::min(axis->coordToPixel(span.to), static_cast<double>(area.right() + 1));
        if (right <= left)
            continue;
        const QRectF stretch(left, area.top(), std::max(right - left, 1.0), area.height());
        painter.fillRect(stretch, m_shade);
        painter.fillRect(QRectF(stretch.left(), area.bottom() + 1 - BarHeight, stretch.width(), BarHeight),
                         m_bar);
    }
}

void TraceOverlay::drawMarks(QCPPainter& painter) const
{
    if (m_marks.empty())
        return;
    const QCPAxis* axis = m_rect->axis(QCPAxis::atBottom);
    const QRect area = m_rect->rect();
    painter.setFont(m_font);
    for (const TimeMark& mark : m_marks) {
        const int x = qRound(axis->coordToPixel(mark.seconds));
        if (x < area.left() || x > area.right())
            continue;
        painter.setPen(QPen(m_mark, 1.0, Qt::DashLine));
        painter.drawLine(QLineF(x, area.top(), x, area.bottom()));
        if (!m_labelled || mark.label.isEmpty())
            continue;
        const QString text = QFontMetrics(m_font).elidedText(mark.label, Qt::ElideRight, area.width() / 4);
        QRect box = QFontMetrics(m_font).boundingRect(text).adjusted(-spacing::Tiny, 0, spacing::Tiny, 0);
        box.moveTopLeft({std::min(x + 1, area.right() - box.width()), area.top() + 1});
        painter.fillRect(box, m_background);
        painter.setPen(m_mark);
        painter.drawText(box, Qt::AlignCenter, text);
    }
}

} // namespace vt
