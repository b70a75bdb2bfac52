// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/ScheduleGrid.h"

#include "ui/Theme.h"

#include <QAccessible>
#include <QKeyEvent>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

namespace vt {

namespace {

constexpr int NamedEveryHours = 3;
constexpr int Gap = 2;

QString dayName(int day, QLocale::FormatType format)
{
    return QLocale().standaloneDayName(day + 1, format);
}

} // namespace

ScheduleGrid::ScheduleGrid(QWidget* parent) : QWidget(parent)
{
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setAccessibleName(tr("Hours in which stimulation is allowed"));
    setToolTip(tr("Drag to mark or clear hours. Click a day or an hour for all of it.\nKeys: arrows move, "
                  "Space marks or clears, Shift with an arrow draws on."));
    tell();
}

QSize ScheduleGrid::headSize() const
{
    int width = 0;
    for (int day = 0; day < Days; ++day)
        width = std::max(width, fontMetrics().horizontalAdvance(dayName(day, QLocale::ShortFormat)));
    return {width + spacing::Small, fontMetrics().height() + spacing::Tiny};
}

QSize ScheduleGrid::sizeHint() const
{
    return headSize() + QSize(Hours * 30, Days * 34);
}

QSize ScheduleGrid::minimumSizeHint() const
{
    return headSize() + QSize(Hours * 16, Days * 20);
}

void ScheduleGrid::setHours(const WeekHours& hours)
{
    m_hours = hours;
    tell();
    update();
}

void ScheduleGrid::setPartial(const WeekHours& partial)
{
    m_partial = partial;
    tell();
    update();
}

QRect ScheduleGrid::cellRect(int day, int hour) const
{
    const QSize head = headSize();
    const auto left = [&](int h) { return head.width() + (width() - head.width()) * h / Hours; };
    const auto top = [&](int d) { return head.height() + (height() - head.height()) * d / Days; };
    return {QPoint(left(hour), top(day)), QPoint(left(hour + 1) - 1 - Gap, top(day + 1) - 1 - Gap)};
}

ScheduleGrid::Cell ScheduleGrid::cellAt(QPoint position) const
{
    const QSize head = headSize();
    const auto index = [](int offset, int extent, int count) {
        return offset < 0 ? -1 : std::min(count - 1, offset * count / std::max(1, extent));
    };
    return {index(position.y() - head.height(), height() - head.height(), Days),
            index(position.x() - head.width(), width() - head.width(), Hours)};
}

bool& ScheduleGrid::hour(Cell cell)
{
    return m_hours[static_cast<std::size_t>(cell.day)][static_cast<std::size_t>(cell.hour)];
}

bool ScheduleGrid::isMarked(Cell cell) const
{
    return m_hours[static_cast<std::size_t>(cell.day)][static_cast<std::size_t>(cell.hour)];
}

void ScheduleGrid::fill(Cell from, Cell to, bool isOn)
{
    for (int day = std::min(from.day, to.day); day <= std::max(from.day, to.day); ++day)
        for (int h = std::min(from.hour, to.hour); h <= std::max(from.hour, to.hour); ++h)
            hour({day, h}) = isOn;
}

void ScheduleGrid::toggleAll(Cell head)
{
    const Cell from{std::max(head.day, 0), std::max(head.hour, 0)};
    const Cell to{head.day < 0 ? Days - 1 : head.day, head.hour < 0 ? Hours - 1 : head.hour};
    bool isAllMarked = true;
    for (int day = from.day; day <= to.day; ++day)
        for (int h = from.hour; h <= to.hour; ++h)
            isAllMarked = isAllMarked && isMarked({day, h});
    fill(from, to, !isAllMarked);
}

void ScheduleGrid::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const Cell cell = cellAt(event->position().toPoint());
    if (cell.day < 0 || cell.hour < 0) {
        toggleAll(cell);
    } else {
        m_before = m_hours;
        m_pressed = cell;
        m_cursor = cell;
        m_isDrawingOn = !isMarked(cell);
        hour(cell) = m_isDrawingOn;
    }
    tell();
    update();
    emit changed();
}

void ScheduleGrid::mouseMoveEvent(QMouseEvent* event)
{
    if (!m_pressed)
        return;
    Cell cell = cellAt(event->position().toPoint());
    cell = {std::max(cell.day, 0), std::max(cell.hour, 0)};
    if (cell == m_cursor)
        return;
    m_cursor = cell;
    m_hours = m_before;
    fill(*m_pressed, cell, m_isDrawingOn);
    tell();
    update();
    emit changed();
}

void ScheduleGrid::mouseReleaseEvent(QMouseEvent*)
{
    m_pressed.reset();
}

void ScheduleGrid::moveTo(Cell cell, bool isDrawing)
{
    const bool isOn = isMarked(m_cursor);
    m_cursor = {std::clamp(cell.day, 0, Days - 1), std::clamp(cell.hour, 0, Hours - 1)};
    if (isDrawing && isMarked(m_cursor) != isOn) {
        hour(m_cursor) = isOn;
        emit changed();
    }
}

void ScheduleGrid::keyPressEvent(QKeyEvent* event)
{
    const bool isDrawing = event->modifiers().testFlag(Qt::ShiftModifier);
    switch (event->key()) {
    case Qt::Key_Left:
        moveTo({m_cursor.day, m_cursor.hour - 1}, isDrawing);
        break;
    case Qt::Key_Right:
        moveTo({m_cursor.day, m_cursor.hour + 1}, isDrawing);
        break;
    case Qt::Key_Up:
        moveTo({m_cursor.day - 1, m_cursor.hour}, isDrawing);
        break;
    case Qt::Key_Down:
        moveTo({m_cursor.day + 1, m_cursor.hour}, isDrawing);
        break;
    case Qt::Key_Home:
        moveTo({m_cursor.day, 0}, false);
        break;
    case Qt::Key_End:
        moveTo({m_cursor.day, Hours - 1}, false);
        break;
    case Qt::Key_Space:
        hour(m_cursor) = !isMarked(m_cursor);
        emit changed();
        break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    tell();
    update();
}

void ScheduleGrid::focusInEvent(QFocusEvent* event)
{
    QWidget::focusInEvent(event);
    update();
}

void ScheduleGrid::focusOutEvent(QFocusEvent* event)
{
    QWidget::focusOutEvent(event);
    update();
}

/// The hour under the cursor, for screen readers.
void ScheduleGrid::tell()
{
    const bool isPartial =
        m_partial[static_cast<std::size_t>(m_cursor.day)][static_cast<std::size_t>(m_cursor.hour)];
    const QString state = isMarked(m_cursor) ? tr("allowed")
                          : isPartial        ? tr("allowed in part")
                                             : tr("not allowed");
    setAccessibleDescription(tr("%1, %2:00 to %3:00: %4")
                                 .arg(dayName(m_cursor.day, QLocale::LongFormat))
                                 .arg(m_cursor.hour)
                                 .arg(m_cursor.hour + 1)
                                 .arg(state));
    if (hasFocus()) {
        QAccessibleEvent event(this, QAccessible::DescriptionChanged);
        QAccessible::updateAccessibility(&event);
    }
}

void ScheduleGrid::paintHead(QPainter& painter)
{
    const Theme theme = Theme::current();
    const QSize head = headSize();
    painter.setFont(Theme::font(TextRole::Caption, font()));
    painter.setPen(theme.mutedText);
    for (int day = 0; day < Days; ++day) {
        const QRect row = cellRect(day, 0);
        painter.drawText(QRect(0, row.top(), head.width() - spacing::Small, row.height()),
                         Qt::AlignLeft | Qt::AlignVCenter, dayName(day, QLocale::ShortFormat));
    }
    for (int hour = 0; hour < Hours; hour += NamedEveryHours) {
        const int width = cellRect(0, hour + NamedEveryHours - 1).right() - cellRect(0, hour).left();
        painter.drawText(QRect(cellRect(0, hour).left(), 0, width, head.height()),
                         Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("%1:00").arg(hour));
    }
}

void ScheduleGrid::paintCell(QPainter& painter, Cell cell)
{
    const Theme theme = Theme::current();
    const QRectF box = QRectF(cellRect(cell.day, cell.hour)).adjusted(0.5, 0.5, -0.5, -0.5);
    const bool isOn = isMarked(cell);
    const QColor on = isEnabled() ? theme.accent : theme.border;
    painter.setPen(isOn ? on : theme.border);
    painter.setBrush(isOn ? on : isEnabled() ? theme.surface : theme.window);
    painter.drawRoundedRect(box, 3, 3);
    if (isOn) { // a mark, so that it can be told from an empty hour without colours
        painter.setPen(Qt::NoPen);
        painter.setBrush(isEnabled() ? theme.onAccent : theme.mutedText);
        painter.drawEllipse(box.center(), 2.5, 2.5);
    } else if (m_partial[static_cast<std::size_t>(cell.day)][static_cast<std::size_t>(cell.hour)]) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(QBrush(on, Qt::BDiagPattern));
        painter.drawRoundedRect(box, 3, 3);
    }
    if (hasFocus() && cell == m_cursor) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(theme.text, 2));
        painter.drawRoundedRect(box, 3, 3);
    }
}

void ScheduleGrid::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    paintHead(painter);
    painter.setRenderHint(QPainter::Antialiasing);
    for (int day = 0; day < Days; ++day)
        for (int hour = 0; hour < Hours; ++hour)
            paintCell(painter, {day, hour});
}

} // namespace vt
