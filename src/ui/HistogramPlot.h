// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/StepHistory.h"
#include "ui/HoverChart.h"

#include <array>

namespace vt {

/// The part of a histogram of the decision statistic that is drawn.
struct HistogramRange
{
    int firstBin = 0;
    int lastBin = 0; ///< the last that is drawn
    int highest = 0; ///< count of the highest bin
    /// All bins with counts and at least -2 to 2, so that the threshold at 0 lies well inside.
    [[nodiscard]] static HistogramRange of(const std::array<int, StepHistory::HistogramBins>& counts);
    /// Decision statistic at the left edge of a bin.
    [[nodiscard]] static double edge(int bin);
};

/// How often the decision statistic of one channel had which value, on both sides of the threshold above
/// which the animal is taken to be asleep. Interface thread.
class HistogramPlot : public HoverChart
{
    Q_OBJECT
public:
    using Counts = std::array<int, StepHistory::HistogramBins>;
    explicit HistogramPlot(QWidget* parent = nullptr);

    /// totals: of the same steps, for the shares in words.
    void setCounts(const Counts& counts, const StepHistory::Totals& totals);
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] QString textAt(QPoint position) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] QRect plotRect() const;
    [[nodiscard]] double topPercent() const;
    void drawGrid(QPainter& painter, const QRect& plot) const;
    void drawBars(QPainter& painter, const QRect& plot) const;
    void drawThreshold(QPainter& painter, const QRect& plot) const;

    Counts m_counts{};
    StepHistory::Totals m_totals;
    HistogramRange m_range = HistogramRange::of({});
};

} // namespace vt
