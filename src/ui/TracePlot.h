// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/TraceViews.h"

#include <QWidget>
#include <span>
#include <vector>

class QCPAxisRect;
class QCPGraph;
class QCPItemText;
class QCPLayer;
class QCustomPlot;

namespace vt {

class TraceOverlay;
struct TimeMark;

/// Rows of traces over one common time axis: signals, or trends of steps. The axes and grids are painted once
/// into one buffer, the traces into another that alone is painted anew on every refresh. Interface thread.
class TracePlot : public QWidget
{
    Q_OBJECT
public:
    static constexpr double SampleRateHz = 120.0;

    explicit TracePlot(QWidget* parent = nullptr);

    void setRowCount(int rows);
    [[nodiscard]] int rowCount() const { return static_cast<int>(m_rows.size()); }
    /// What the rows show; they find their ranges anew.
    void setView(traceview::View view);
    [[nodiscard]] traceview::View view() const { return m_view; }
    void setTimeBase(int seconds);
    /// Of one row: Auto, AutoCommon or Fixed.
    void setScale(int row, const traceview::Scale& scale);
    /// Samples that a row of signals shows at the current time base.
    [[nodiscard]] int samplesPerRow() const;
    /// Seconds of a trend that two drawn points may stand for.
    [[nodiscard]] double secondsPerBin() const;

    /// samples: volts at 120 Hz, oldest first; endNumber: running number of the sample after the last one.
    void setSamples(int row, std::span<const float> samples, quint64 endNumber);
    /// Points reduced already, oldest first; NaN values part pieces of line.
    void setPoints(int row, std::span<const TracePoint> points);
    void setAsleep(int row, std::vector<TimeSpan> spans);
    void setMarks(const std::vector<TimeMark>& marks);
    /// A row without a usable signal is muted and says so.
    void setNoSignal(int row, bool noSignal);
    /// Says in the middle of a row why there is nothing; empty: nothing to say.
    void setNote(int row, const QString& note);
    void clearSamples();
    /// A frozen picture looks different, and its time axis ends with endLabel instead of "now".
    void setFrozen(bool frozen, const QString& endLabel = {});
    /// Paints what was set since the last call; nothing while hidden.
    void redraw();

    /// Where a row's trace area lies, in this widget's coordinates; valid after the first layout.
    [[nodiscard]] QRect rowRect(int row) const;
    /// Height of a row above 0, in V or Hz.
    [[nodiscard]] double range(int row) const;
    /// The points that the row's line consists of at present.
    [[nodiscard]] std::vector<TracePoint> points(int row) const;
    /// All marks that the rows show.
    [[nodiscard]] std::vector<TimeMark> marks() const;
    [[nodiscard]] QString endLabel() const;

signals:
    void rowsLaidOut();
    void rangeChanged(int row, double range);

protected:
    void changeEvent(QEvent* event) override;

private:
    struct Row
    {
        QCPAxisRect* rect = nullptr;
        QCPGraph* graph = nullptr;
        QCPItemText* mark = nullptr;
        TraceOverlay* overlay = nullptr;
        AutoRange range;
        traceview::Scale scale;
        QString note;
        double shownRange = 0.0;
        bool noSignal = false;
    };
    [[nodiscard]] Row& at(int row) { return m_rows.at(static_cast<std::size_t>(row)); }
    [[nodiscard]] const Row& at(int row) const { return m_rows.at(static_cast<std::size_t>(row)); }
    void addRow(int index);
    void addTimeAxis();
    void applyTheme();
    void applyTimeTicks();
    void applyRanges();
    void showMark(Row& row) const;
    [[nodiscard]] int bins() const;

    QCustomPlot* m_plot;
    QCPLayer* m_traceLayer = nullptr;
    QCPAxisRect* m_timeAxis = nullptr;
    std::vector<Row> m_rows;
    std::vector<TracePoint> m_points;
    traceview::View m_view = traceview::View::Signal;
    QString m_endLabel;
    int m_seconds = 8;
    bool m_frozen = false;
    bool m_staticChanged = true;
};

} // namespace vt
