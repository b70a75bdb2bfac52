// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FilterTables.h"

#include <span>
#include <vector>

namespace vt::reference {

// The filters of the signal path written as their defining sums, a whole signal at a time, from zero initial
// state. They are what the streaming forms are checked against; speed does not matter here.

/// y[n] = sum over k of taps[k] x[5 n - k].
[[nodiscard]] std::vector<double> decimate(std::span<const double> x);

/// y[n] = sum over k of taps[k] x[n - k], for the 512 taps whose first half is given.
[[nodiscard]] std::vector<double> symmetricFir(std::span<const double> halfTaps, std::span<const double> x);

/// Display band-pass: a[0] y[n] = sum of b[k] x[n - k] - sum over k >= 1 of a[k] y[n - k].
[[nodiscard]] std::vector<double> bandpass(std::span<const double> x);

/// Second-order sections, one after the other.
[[nodiscard]] std::vector<double> biquadCascade(std::span<const Biquad> sections, std::span<const double> x);

} // namespace vt::reference
