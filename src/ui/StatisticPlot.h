// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TrendMath.h"

#include <QWidget>

class QCPGraph;
class QCPItemText;
class QCPLayer;
class QCustomPlot;

namespace vt {

class TraceOverlay;

/// The decision statistic over time with its threshold, and the stretches scored asleep. Interface thread.
class StatisticPlot : public QWidget
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
    void setFrozen(bool frozen, const QString& endLabel);
    /// Paints; nothing while hidden.
    void redraw();
    [[nodiscard]] int pointCount() const;

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyTheme();
    void applyTimeTicks();

    QCustomPlot* m_plot;
    TraceOverlay* m_overlay;
    QCPGraph* m_line;
    QCPGraph* m_threshold;
    QCPItemText* m_thresholdText;
    QCPItemText* m_note;
    AutoRange m_range{1.0};
    QString m_endLabel;
    int m_seconds = 3600;
    bool m_frozen = false;
};

} // namespace vt
