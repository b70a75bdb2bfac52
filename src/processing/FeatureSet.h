// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt {

/// Features of one channel and one 2-s step, over the last 8 s (960 samples at 120 Hz).
struct FeatureSet
{
    double spectralContrast = 0.0;    ///< dB, <= 0: breathing-band peak minus wide-band peak
    double breathRegularity = 0.0;    ///< height of the best autocorrelation peak in the breathing lag range
    double envelopeVariability = 0.0; ///< standard deviation / (mean + 0.0002) of the smoothed envelope
    double envelopeLevel = 0.0;       ///< mean of the smoothed envelope (mouse: times 3.8)
    double breathRate = 0.0;          ///< Hz; 0 when none was found
    double signalPower = 0.0;         ///< 4 x RMS of the second half of the breathing-band window
    // Rat only, 0 for mice.
    double activityRegularity = 0.0;
    double activityVariability = 0.0;
    double activityLevel = 0.0;
};

} // namespace vt
