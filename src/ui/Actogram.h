// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/ActivityDays.h"
#include "ui/HoverChart.h"
#include "ui/LightCycle.h"

namespace vt {

/// Double-plotted actogram of one channel: every row is a day and, to its right, the day after, with the
/// light cycle as a bar on top. The height of a bar is the mean activity of 10 minutes; where nothing was
/// recorded there is not even a base line. Interface thread.
class Actogram : public HoverChart
{
    Q_OBJECT
public:
    explicit Actogram(QWidget* parent = nullptr);

    void setCycle(const LightCycle& cycle);
    /// Copies.
    void setDays(const activitydays::Days& days);
    /// Activity at the full height of a row.
    [[nodiscard]] double fullScale() const { return m_fullScale; }
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] QString textAt(QPoint position) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QRect plotRect() const;
    [[nodiscard]] int rowHeight(int rows) const;
    void drawCycle(QPainter& painter, const QRect& plot, int rowsBottom) const;
    void drawHours(QPainter& painter, const QRect& plot, int rowsBottom) const;
    void drawRow(QPainter& painter, const QRect& area, const activitydays::Row& row) const;

    LightCycle m_cycle;
    activitydays::Days m_days;
    double m_fullScale = 1.0;
};

} // namespace vt
