// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SpectrumPlot.h"

#include "ui/PlotStyle.h"
#include "ui/SpectrogramColumns.h"
#include "ui/Theme.h"

#include <QLocale>
#include <qcustomplot.h>

#include <algorithm>
#include <cmath>

namespace vt {

namespace {

constexpr double ShownDb = 70.0; ///< height of the axis
constexpr double StepDb = 10.0;
constexpr std::size_t FirstPeakBin = 2; ///< 0.25 Hz

} // namespace

SpectrumPlot::SpectrumPlot(QWidget* parent) : FreezablePlot(parent)
{
    setAccessibleName(tr("Spectrum"));
    setToolTip(tr("Power of the newest 8 s in view over frequency, in dB re 1 V²/Hz. The dashed line is the "
                  "breath rate."));
    m_rateLine = m_plot->addGraph();
    m_line = m_plot->addGraph();
    m_line->setAdaptiveSampling(false);
    m_rateText = new QCPItemText(m_plot); // the chart owns it
    m_rateText->position->setAxisRect(m_plot->axisRect());
    m_rateText->position->setType(QCPItemPosition::ptAxisRectRatio);
    m_rateText->position->setCoords(1.0, 0.0); // there is little power at high frequencies
    m_rateText->setPositionAlignment(Qt::AlignRight | Qt::AlignTop);
    m_rateText->setPadding(QMargins(spacing::Tiny, 2, spacing::Tiny, 2));
    m_plot->xAxis->setRange(0.0, SpectrogramColumns::TopHz);
    m_plot->xAxis->setLabel(tr("Hz"));
    const QSharedPointer<QCPAxisTickerFixed> decades(new QCPAxisTickerFixed);
    decades->setTickStep(2 * StepDb);
    m_plot->yAxis->setTicker(decades);
    m_plot->yAxis->setLabel(tr("dB re 1 V²/Hz"));
    m_plot->yAxis->setRange(-ShownDb, 0.0);
    setBreathRate(0.0);
    SpectrumPlot::applyTheme();
}

void SpectrumPlot::setSpectrum(std::span<const float> decibels)
{
    QVector<QCPGraphData> line;
    line.reserve(static_cast<qsizetype>(decibels.size()));
    double top = -1e9;
    m_peakHz = 0.0;
    for (std::size_t k = 0; k < decibels.size(); ++k) {
        const auto value = static_cast<double>(decibels[k]);
        const double hertz = static_cast<double>(k) * PowerSpectrum::BinHz;
        if (!std::isfinite(value))
            continue;
        line.append(QCPGraphData(hertz, value));
        if (k >= FirstPeakBin && value > top) {
            top = value;
            m_peakHz = hertz;
        }
    }
    m_line->data()->set(line, true);
    if (line.isEmpty())
        return;
    // The axis follows upwards at once, downwards only when a step and a half is free.
    if (top > m_topDb || top < m_topDb - 1.5 * StepDb) {
        m_topDb = std::ceil(top / StepDb) * StepDb;
        m_plot->yAxis->setRange(m_topDb - ShownDb, m_topDb);
    }
}

void SpectrumPlot::setBreathRate(double hertz)
{
    m_rateHz = std::isfinite(hertz) ? hertz : 0.0;
    m_rateText->setVisible(m_rateHz > 0.0);
    m_rateLine->setVisible(m_rateHz > 0.0);
    m_rateText->setText(tr("breath %1 Hz").arg(QLocale().toString(m_rateHz, 'f', 2)));
}

void SpectrumPlot::redraw()
{
    if (!canBePainted())
        return;
    const QCPRange range = m_plot->yAxis->range();
    m_rateLine->setData({m_rateHz, m_rateHz}, {range.lower, range.upper}, true);
    m_plot->replot();
}

void SpectrumPlot::applyTheme()
{
    const Theme theme = Theme::current();
    FreezablePlot::applyTheme();
    m_line->setPen(QPen(theme.trace, 1.2));
    m_rateLine->setPen(QPen(theme.asleep, 1.2, Qt::DashLine));
    m_rateText->setColor(theme.asleep);
    m_rateText->setFont(Theme::font(TextRole::Caption, font()));
}

} // namespace vt
