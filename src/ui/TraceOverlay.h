// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TrendMath.h"

#include <QString>
#include <qcustomplot.h>
#include <vector>

namespace vt {

/// A moment that is pointed out across the traces.
struct TimeMark
{
    double seconds = 0.0; ///< before the end of the picture
    QString label;
};

/// Behind the line of one trace: sleep as a shaded stretch with a bar at its foot (two signs, so that neither
/// hue nor lightness alone carries it), and markers as vertical lines. An item of the chart, which owns it.
class TraceOverlay : public QCPAbstractItem
{
    Q_OBJECT
public:
    explicit TraceOverlay(QCPAxisRect* rect);

    void setAsleep(std::vector<TimeSpan> spans) { m_asleep = std::move(spans); }
    void setMarks(std::vector<TimeMark> marks) { m_marks = std::move(marks); }
    [[nodiscard]] const std::vector<TimeMark>& marks() const { return m_marks; }
    /// Only one of the rows writes the marks' labels.
    void setMarksLabelled(bool labelled) { m_labelled = labelled; }
    void setColors(const QColor& asleep, const QColor& mark, const QColor& background);
    void setFont(const QFont& font) { m_font = font; }

    double selectTest(const QPointF&, bool, QVariant*) const override { return -1.0; }

protected:
    void draw(QCPPainter* painter) override;

private:
    void drawAsleep(QCPPainter& painter) const;
    void drawMarks(QCPPainter& painter) const;

    QCPAxisRect* m_rect;
    std::vector<TimeSpan> m_asleep;
    std::vector<TimeMark> m_marks;
    bool m_labelled = false;
    QColor m_bar;
    QColor m_shade;
    QColor m_mark;
    QColor m_background;
    QFont m_font;
};

} // namespace vt
