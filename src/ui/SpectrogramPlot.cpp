// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SpectrogramPlot.h"

#include "ui/PlotStyle.h"
#include "ui/Theme.h"
#include "ui/TraceViews.h"

#include <qcustomplot.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vt {

namespace {

constexpr double ShownDb = 60.0;
constexpr double StepDb = 10.0;
constexpr double SecondsPerColumn = SpectrogramColumns::SamplesPerColumn / PowerSpectrum::RateHz;
constexpr int ScaleWidth = 10;
constexpr std::ptrdiff_t DriftBin = 2; ///< slower than 0.25 Hz: drift, which would set the colours

/// Equally spaced levels; lightness grows evenly from one to the next.
constexpr std::array<QRgb, 9> Stops{0xff440154, 0xff472d7b, 0xff3b528b, 0xff2c728e, 0xff21918c,
                                    0xff28ae80, 0xff5ec962, 0xffaddc30, 0xfffde725};

QCPColorGradient gradient()
{
    QCPColorGradient result;
    result.clearColorStops();
    for (std::size_t i = 0; i < Stops.size(); ++i)
        result.setColorStopAt(static_cast<double>(i) / (Stops.size() - 1), QColor::fromRgba(Stops[i]));
    result.setNanHandling(QCPColorGradient::nhTransparent);
    return result;
}

} // namespace

SpectrogramPlot::SpectrogramPlot(QWidget* parent) : FreezablePlot(parent)
{
    setAccessibleName(tr("Spectrogram"));
    setToolTip(tr("Power of the signal over time and frequency, in dB re 1 V²/Hz: one spectrum of 8 s every "
                  "2 s. Lighter is more."));
    m_map = new QCPColorMap(m_plot->xAxis, m_plot->yAxis); // the chart owns it
    m_map->setInterpolate(false);
    m_map->setTightBoundary(true);
    m_map->data()->setSize(SpectrogramColumns::Shown, SpectrogramColumns::Bins);
    m_map->data()->setValueRange(QCPRange(0.0, SpectrogramColumns::TopHz));
    m_map->data()->fill(std::nan(""));
    m_scale = new QCPColorScale(m_plot); // the chart owns it
    m_plot->plotLayout()->addElement(0, 1, m_scale);
    m_scale->setType(QCPAxis::atRight);
    m_scale->setBarWidth(ScaleWidth);
    m_scale->setRangeDrag(false);
    m_scale->setRangeZoom(false);
    m_scale->setLabel(tr("dB re 1 V²/Hz"));
    const QSharedPointer<QCPAxisTickerFixed> steps(new QCPAxisTickerFixed);
    steps->setTickStep(2 * StepDb);
    m_scale->axis()->setTicker(steps);
    m_map->setColorScale(m_scale);
    m_map->setGradient(gradient());
    m_map->setDataRange(QCPRange(-ShownDb, 0.0));
    m_plot->xAxis->setRange(-SpectrogramColumns::Shown * SecondsPerColumn, 0.0);
    m_plot->yAxis->setRange(0.0, SpectrogramColumns::TopHz);
    m_plot->yAxis->setLabel(tr("Hz"));
    m_plot->yAxis->ticker()->setTickCount(4);
    auto* margins = new QCPMarginGroup(m_plot); // the chart owns it
    m_plot->axisRect()->setMarginGroup(QCP::msBottom | QCP::msTop, margins);
    m_scale->setMarginGroup(QCP::msBottom | QCP::msTop, margins);
    SpectrogramPlot::applyTimeTicks();
    SpectrogramPlot::applyTheme();
}

QColor SpectrogramPlot::colorAt(double level)
{
    return QColor::fromRgb(gradient().color(level, QCPRange(0.0, 1.0)));
}

void SpectrogramPlot::writeColumn(int key, std::span<const float> decibels)
{
    for (int bin = 0; bin < SpectrogramColumns::Bins; ++bin)
        m_map->data()->setCell(
            key, bin,
            decibels.empty() ? std::nan("") : static_cast<double>(decibels[static_cast<std::size_t>(bin)]));
}

void SpectrogramPlot::setColumns(const SpectrogramColumns& columns, quint64 endNumber)
{
    const quint64 last = SpectrogramColumns::lastColumn(endNumber);
    double top = -1e9;
    m_columnCount = 0;
    for (int key = 0; key < SpectrogramColumns::Shown; ++key) {
        const auto back = static_cast<quint64>(SpectrogramColumns::Shown - 1 - key);
        const std::span<const float> column =
            last > back ? columns.column(last - back) : std::span<const float>();
        if (!column.empty() && static_cast<int>(column.size()) != SpectrogramColumns::Bins) {
            qWarning("Invalid spectrum data: expected %d bins, got %d", SpectrogramColumns::Bins,
                     static_cast<int>(column.size()));
            continue;
        }
        writeColumn(key, column);
        if (column.empty() || std::isnan(column.front()))
            continue;
        ++m_columnCount;
        top = std::max(top, static_cast<double>(*std::max_element(column.begin() + DriftBin, column.end())));
    }
    const double end =
        (static_cast<double>(last * SpectrogramColumns::SamplesPerColumn) - static_cast<double>(endNumber)) /
        PowerSpectrum::RateHz;
    m_map->data()->setKeyRange(
        QCPRange(end - (SpectrogramColumns::Shown - 0.5) * SecondsPerColumn, end - 0.5 * SecondsPerColumn));
    if (m_columnCount > 0 && (top > m_topDb || top < m_topDb - 1.5 * StepDb)) {
        m_topDb = std::ceil(top / StepDb) * StepDb;
        m_map->setDataRange(QCPRange(m_topDb - ShownDb, m_topDb));
    }
}

void SpectrogramPlot::applyTimeTicks()
{
    const QSharedPointer<QCPAxisTickerText> ticker(new QCPAxisTickerText);
    constexpr int Step = 150;
    for (int second = 0; second <= SpectrogramColumns::Shown * SecondsPerColumn; second += Step)
        ticker->addTick(-second, second % 60 == 0 ? timeLabel(second) : QString());
    m_plot->xAxis->setTicker(ticker);
}

void SpectrogramPlot::applyTheme()
{
    FreezablePlot::applyTheme();
    const Theme theme = Theme::current();
    const QFont caption = Theme::font(TextRole::Caption, font());
    QCPAxis* levels = m_scale->axis();
    levels->setTickLabelColor(theme.mutedText);
    levels->setLabelColor(theme.mutedText);
    levels->setTickLabelFont(caption);
    levels->setLabelFont(caption);
    levels->setBasePen(QPen(theme.border, 1.0));
    levels->setTickPen(QPen(theme.border, 1.0));
    levels->setSubTicks(false);
}

} // namespace vt
