// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/ScheduleHours.h"

#include <QPoint>
#include <QWidget>
#include <optional>

namespace vt {

/// A week of hours to mark. Mouse: drag over a rectangle of hours; a day's or an hour's name marks all of it.
/// Keys: arrows move, Space marks or clears, Shift with an arrow draws on. Interface thread.
class ScheduleGrid : public QWidget
{
    Q_OBJECT
public:
    explicit ScheduleGrid(QWidget* parent = nullptr);

    void setHours(const WeekHours& hours);
    [[nodiscard]] const WeekHours& hours() const { return m_hours; }
    /// Hours that are allowed in part, by what the grid cannot change.
    void setPartial(const WeekHours& partial);
    /// Where an hour is drawn; day 0 is Monday.
    [[nodiscard]] QRect cellRect(int day, int hour) const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

signals:
    /// By the user.
    void changed();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    static constexpr int Days = 7;
    static constexpr int Hours = 24;
    /// Hour and day; -1 stands for the names beside and above.
    struct Cell
    {
        int day = 0;
        int hour = 0;
        bool operator==(const Cell&) const = default;
    };

    [[nodiscard]] QSize headSize() const;
    [[nodiscard]] Cell cellAt(QPoint position) const;
    [[nodiscard]] bool& hour(Cell cell);
    [[nodiscard]] bool isMarked(Cell cell) const;
    void fill(Cell from, Cell to, bool isOn);
    void toggleAll(Cell head);
    void moveTo(Cell cell, bool isDrawing);
    void tell();
    void paintHead(QPainter& painter);
    void paintCell(QPainter& painter, Cell cell);

    WeekHours m_hours{};
    WeekHours m_partial{};
    WeekHours m_before{};          ///< as it was when the mouse was pressed
    std::optional<Cell> m_pressed; ///< while the mouse draws
    bool m_isDrawingOn = false;
    Cell m_cursor;
};

} // namespace vt
