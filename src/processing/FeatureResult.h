// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureSet.h"
#include "processing/FilterTables.h"

#include <array>
#include <cstddef>
#include <span>

namespace vt {

/// What feature extraction leaves for one channel. A step that fails leaves the values of the step before.
struct FeatureResult
{
    FeatureSet features;
    double brPower2 = 0.0;                     ///< 4 x RMS of twice the breathing band; mouse only
    std::array<double, HalfWindow> spectrum{}; ///< dB, bins k x 0.125 Hz
    std::size_t spectrumSize = 0;              ///< 480 once a spectrum has been computed, else 0

    [[nodiscard]] std::span<const double> spectrumValues() const { return {spectrum.data(), spectrumSize}; }
};

} // namespace vt
