// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/EnvironmentHistory.h"
#include "ui/HoverChart.h"

#include <QStringList>

namespace vt {

/// One quantity of the room over time, a line per sensor. Draws what it was given last. Interface thread.
class EnvironmentChart : public HoverChart
{
    Q_OBJECT
public:
    struct Line
    {
        QString label;
        int series = 0;               ///< which style
        std::vector<EnvCurve> curves; ///< in base units
    };

    explicit EnvironmentChart(envunits::Quantity quantity, QWidget* parent = nullptr);

    void setPeriod(qint64 fromMs, qint64 toMs);
    void setUnits(const envunits::Units& units);
    void setLines(std::vector<Line> lines);
    /// Points of a curve that can be told apart.
    [[nodiscard]] int columns() const;
    [[nodiscard]] envunits::Quantity quantity() const { return m_quantity; }
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] QString textAt(QPoint position) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    struct Range
    {
        double low = 0.0;
        double high = 1.0;
    };
    [[nodiscard]] QRect plotRect() const;
    [[nodiscard]] double xOf(const QRect& plot, double timeMs) const;
    void updateRange();
    void drawAxes(QPainter& painter, const QRect& plot) const;
    void drawLine(QPainter& painter, const QRect& plot, const Line& line) const;

    envunits::Quantity m_quantity;
    envunits::Units m_units;
    qint64 m_fromMs = 0;
    qint64 m_toMs = 0;
    std::vector<Line> m_lines;
    Range m_range;         ///< in the unit
    bool m_isEmpty = true; ///< no line has a reading, so that there is no scale of values
};

} // namespace vt
