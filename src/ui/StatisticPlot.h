// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/FreezablePlot.h"
#include "ui/TrendMath.h"

class QCPGraph;
class QCPItemText;
class QCPLayer;

namespace vt {

class TraceOverlay;

/// The decision statistic over time with its threshold, and the stretches scored asleep. Interface thread.
class StatisticPlot : public FreezablePlot
{
    Q_OBJECT
public:
    explicit StatisticPlot(QWidget* parent = nullptr);

    /// Length of the picture.
    void setSeconds(int seconds);
    [[nodiscard]] int seconds() const { return m_seconds; }
    /// Seconds that one drawn point may stand for.
    [[nodiscard]] double secondsPerBin() const;
    void setTrend(const Trend& trend);
    /// Says why there is nothing; empty: nothing to say.
    void setNote(const QString& note);
    [[nodiscard]] int pointCount() const;

protected:
    void applyTheme() override;
    void applyTimeTicks() override;

private:
    TraceOverlay* m_overlay;
    QCPGraph* m_line;
    QCPGraph* m_threshold;
    QCPItemText* m_thresholdText;
    QCPItemText* m_note;
    AutoRange m_range{1.0};
    int m_seconds = 3600;
};

} // namespace vt
