// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TraceMath.h"

#include <QWidget>
#include <span>
#include <vector>

class QCPAxisRect;
class QCPGraph;
class QCPItemText;
class QCPLayer;
class QCPTextElement;
class QCustomPlot;

namespace vt {

/// Rows of traces over one common time axis. The axes and grids are painted once into one buffer, the traces
/// into another that alone is painted anew on every refresh. Interface thread.
class TracePlot : public QWidget
{
    Q_OBJECT
public:
    static constexpr double SampleRateHz = 120.0;

    explicit TracePlot(QWidget* parent = nullptr);

    void setRowCount(int rows);
    [[nodiscard]] int rowCount() const { return static_cast<int>(m_rows.size()); }
    void setTimeBase(int seconds);
    /// The same range for all rows; 0: each row finds its own.
    void setFixedRange(double volts);
    /// Samples that a row shows at the current time base.
    [[nodiscard]] int samplesPerRow() const;

    /// samples: volts at 120 Hz, oldest first; endNumber: running number of values ever pushed.
    void setSamples(int row, std::span<const float> samples, quint64 endNumber);
    /// A row without a usable signal is muted and says so.
    void setNoSignal(int row, bool noSignal);
    void clearSamples();
    /// Paints what was set since the last call.
    void redraw();

    /// Where a row's trace area lies, in this widget's coordinates; valid after the first layout.
    [[nodiscard]] QRect rowRect(int row) const;
    /// Half the height of a row, in volts.
    [[nodiscard]] double rangeVolts(int row) const;
    /// Points that the row's line consists of at present.
    [[nodiscard]] int pointCount(int row) const;

signals:
    void rowsLaidOut();
    void rangeChanged(int row, double rangeVolts);

protected:
    void changeEvent(QEvent* event) override;

private:
    struct Row
    {
        QCPAxisRect* rect = nullptr;
        QCPGraph* graph = nullptr;
        QCPItemText* mark = nullptr;
        AutoRange range;
        double shownVolts = 0.0;
        bool noSignal = false;
    };
    void addRow(int index);
    void addTimeAxis();
    void applyTheme();
    void applyTimeTicks();
    void applyRange(int row);

    QCustomPlot* m_plot;
    QCPLayer* m_traceLayer = nullptr;
    QCPAxisRect* m_timeAxis = nullptr;
    std::vector<Row> m_rows;
    std::vector<TracePoint> m_points;
    int m_seconds = 8;
    double m_fixedVolts = 0.0;
    bool m_staticChanged = true;
};

} // namespace vt
