// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/FreezablePlot.h"

#include <span>

class QCPGraph;
class QCPItemText;

namespace vt {

/// Power over frequency, up to 20 Hz, with the breath rate pointed out. Interface thread.
class SpectrumPlot : public FreezablePlot
{
    Q_OBJECT
public:
    explicit SpectrumPlot(QWidget* parent = nullptr);

    /// decibels: dB re 1 V²/Hz, one every 0.125 Hz from 0 on; NaN: none yet.
    void setSpectrum(std::span<const float> decibels);
    /// 0: none was found.
    void setBreathRate(double hertz);
    void redraw() override;
    /// Frequency of the highest bin from 0.25 Hz on (what is slower is drift); 0 without a spectrum.
    [[nodiscard]] double peakHz() const { return m_peakHz; }

protected:
    void applyTheme() override;

private:
    QCPGraph* m_line;
    QCPGraph* m_rateLine;
    QCPItemText* m_rateText;
    double m_peakHz = 0.0;
    double m_rateHz = 0.0;
    double m_topDb = 0.0;
};

} // namespace vt
