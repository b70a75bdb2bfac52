// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureConstants.h"
#include "processing/FeatureSet.h"
#include "processing/FilterTables.h"

#include <complex>
#include <span>
#include <vector>

namespace vt::reference {

// The building blocks of the features written as their definitions: direct Fourier sums, full sorts, full
// two-sided sequences. They are what the fast forms are checked against; speed does not matter here.

/// 4 x RMS of the second half.
[[nodiscard]] double rmsPower(std::span<const double> x);

/// X[k] = sum over n of x[n] exp(-2 pi i k n / N); with Inverse the sign flips and the sum is divided by N.
enum class Direction { Forward, Inverse };
[[nodiscard]] std::vector<std::complex<double>> fourier(std::span<const std::complex<double>> x,
                                                        Direction direction);

/// One-sided spectrum over the block's own length: positive frequencies doubled, DC and Nyquist kept once.
[[nodiscard]] std::vector<std::complex<double>> analyticSignal(std::span<const double> x);
[[nodiscard]] std::vector<double> magnitude(std::span<const std::complex<double>> z);
/// Even length: mean of the two middle values.
[[nodiscard]] double median(std::span<const double> x);

/// x times (envelope / median envelope)^(0.8 - 1) where the envelope exceeds its median, else x.
[[nodiscard]] std::vector<double> compress(std::span<const double> x);

[[nodiscard]] EnvelopeParameters envelopeParameters(std::span<const double> x,
                                                    std::span<const Biquad> smoother);

/// Biased, divided so that r[0] = 1; all zeros when the signal is zero.
[[nodiscard]] std::vector<double> autocorrelation(std::span<const double> x);
/// Indices of strict local maxima; a flat top counts once, at its first sample; the ends never count.
[[nodiscard]] std::vector<std::size_t> peaks(std::span<const double> x);
[[nodiscard]] AutocorrelationPeak autocorrelationPeak(std::span<const double> x, const LagSearch& search,
                                                      int animalType);

struct Spectrum
{
    std::vector<double> decibel; ///< 480 bins
    double contrast = 0.0;       ///< breathing peak minus wide peak, dB
};
[[nodiscard]] Spectrum spectrum(std::span<const double> x, const SpectrumBands& bands);

struct Result
{
    FeatureSet features;
    double brPower2 = 0.0;
    std::vector<double> spectrum; ///< 480 values in dB; empty for an unknown animal type
};
[[nodiscard]] Result extractFeatures(std::span<const double> br, std::span<const double> act, int animalType);

} // namespace vt::reference
