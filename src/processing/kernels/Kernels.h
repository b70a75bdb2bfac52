// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FilterTables.h"

#include <cstddef>

namespace vt {

// Layout that the filter kernels expect.

/// The decimator splits its 454 taps by k mod 5 into five phases of 91 taps (the last one filled up with a
/// zero), so that each output is a sum of five plain filters over five streams at 120 Hz.
inline constexpr int DecimatorPhases = 5;
inline constexpr std::size_t DecimatorPhaseTaps = 91;

/// Mean and sum of squared deviations from it.
struct MeanAndDeviation
{
    double mean;
    double squaredDeviation;
};

struct SumAndMaximum
{
    double sum;
    double maximum;
};

/// The inner loops of the signal path, compiled for several instruction sets from one source (KernelCode.h).
/// Pointers may have any alignment of a double; counts are in doubles and multiples of 8 unless stated
/// otherwise. No kernel allocates, locks or throws.
struct Kernels
{
    const char* name;

    /// Four outputs of the decimator. phaseTaps: five rows of 91 taps. streams: the five streams' values at
    /// the instants of the outputs, stride doubles apart; 90 older values stand before each.
    void (*decimate)(const double* phaseTaps, const double* streams, std::size_t stride, double* out);
    /// Four outputs of two symmetric 512-tap filters over one signal. newest: the four newest samples, with
    /// 511 older ones before them.
    void (*bandPair)(const double* halfTapsBr, const double* halfTapsAct, const double* newest, double* outBr,
                     double* outAct);

    /// Spectrum of a real signal (binCount complex values, DC and Nyquist included) to that of its Hilbert
    /// transform: times -i, DC and Nyquist 0. scale undoes the gain of the transforms. Any binCount.
    void (*hilbertBins)(double* bins, std::size_t binCount, double scale);
    /// out = x^2 + hilbert^2.
    void (*squaredEnvelope)(const double* x, const double* hilbert, double* out, std::size_t count);
    /// out = sqrt(x^2 + hilbert^2).
    void (*envelope)(const double* x, const double* hilbert, double* out, std::size_t count);
    SumAndMaximum (*sumAndMaximum)(const double* x, std::size_t count);
    /// Values below the limit.
    std::size_t (*countBelow)(const double* x, std::size_t count, double limit);
    /// The largest value below the limit and the smallest one that is not; both must exist.
    void (*aroundLimit)(const double* x, std::size_t count, double limit, double* below, double* from);
    /// Copies the values in [low, high) and returns their number; out has room for count values.
    std::size_t (*collect)(const double* x, std::size_t count, double low, double high, double* out);
    /// out = x (squares / middle)^-0.1 where squares > middle, else x. middle > 0.
    void (*compress)(const double* x, const double* squares, double middle, double* out, std::size_t count);

    void (*multiply)(const double* x, const double* factors, double* out, std::size_t count);
    double (*sumOfSquares)(const double* x, std::size_t count);
    MeanAndDeviation (*meanAndDeviation)(const double* x, std::size_t count);
    /// out[k] = |bin k|^2 of interleaved complex bins. Any count.
    void (*power)(const double* bins, double* out, std::size_t binCount);
    /// Replaces each bin by (|bin|^2, 0): the spectrum of the autocorrelation. Any count.
    void (*powerInPlace)(double* bins, std::size_t binCount);
    /// x = 10 log10(x scale); -infinity for 0. Values are not negative.
    void (*decibel)(double* x, std::size_t count, double scale);
    /// sum of x[i] x[i + lag] over i < length - lag. Any length.
    double (*correlate)(const double* x, std::size_t length, std::size_t lag);

    /// Two signals through one cascade from zero state, in step; out receives outputs skip..count-1 of each.
    /// The second signal may be null. sections: 2 or 3.
    void (*smooth)(const Biquad* sections, std::size_t sectionCount, const double* first,
                   const double* second, std::size_t count, std::size_t skip, double* outFirst,
                   double* outSecond);
};

/// The kernels for this machine's instruction set, chosen once.
[[nodiscard]] const Kernels& bestKernels();

/// All sets of kernels that this machine can run, the most basic one first; at most three.
struct KernelSets
{
    const Kernels* sets[3];
    std::size_t count;
};
[[nodiscard]] KernelSets runnableKernels();

} // namespace vt
