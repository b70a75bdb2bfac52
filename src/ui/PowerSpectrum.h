// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/AlignedArray.h"
#include "processing/FourierTransform.h"

#include <span>
#include <vector>

namespace vt {

/// Power spectral density of 8 s of a trace, for displays: one-sided periodogram with a Hann window, mean
/// removed. Not thread-safe.
class PowerSpectrum
{
public:
    static constexpr int Length = 960; ///< samples
    static constexpr double RateHz = 120.0;
    static constexpr int Bins = Length / 2;
    static constexpr double BinHz = RateHz / Length;
    static constexpr float FloorDb = -140.0F; ///< what no power at all comes out as

    PowerSpectrum();

    /// volts: Length samples; decibels: at most Bins values from bin 0 on, in dB re 1 V²/Hz. All of them NaN
    /// when a sample is.
    void compute(std::span<const float> volts, std::span<float> decibels);

private:
    FourierTransform m_transform{Length};
    AlignedArray m_signal{Length};
    AlignedArray m_bins{Length + 2};
    std::vector<double> m_window;
    double m_scale = 0.0; ///< from squared magnitude to V²/Hz
};

} // namespace vt
