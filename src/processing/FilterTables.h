// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>

namespace vt {

// Constant tables of the signal path. Linear-phase filters and tapers are symmetric; their tables hold the
// first half, entry i standing for entry (length - 1 - i) too. The long tables are written by
// tools/make_filter_tables.py.

inline constexpr int DecimatorTapCount = 454;
inline constexpr int BandTapCount = 512; ///< breathing- and activity-band filters
inline constexpr int WindowLength = 960; ///< one analysis window, 8 s at 120 Hz
inline constexpr int HalfWindow = 480;   ///< its second half carries the results; also the spectrum's bins
inline constexpr int BandpassOrder = 6;

/// Anti-alias low-pass, 600 Hz in, 120 Hz out: -3 dB at 27.9 Hz, -41 dB at 60 Hz, DC gain 1. Not symmetric.
extern const std::array<double, DecimatorTapCount> DecimatorTaps;

// Band-passes at 120 Hz; the -3 dB edges are in the comments.
extern const std::array<double, BandTapCount / 2> BrMouseHalfTaps;  ///< 0.594 to 8.906 Hz
extern const std::array<double, BandTapCount / 2> ActMouseHalfTaps; ///< 3.094 to 8.906 Hz
extern const std::array<double, BandTapCount / 2> BrRatHalfTaps;    ///< 0.543 to 5.906 Hz
extern const std::array<double, BandTapCount / 2> ActRatHalfTaps;   ///< 5.095 to 11.906 Hz

extern const std::array<double, WindowLength / 2> TapWinK8Half; ///< Kaiser taper, beta 8
extern const std::array<double, WindowLength / 2> TapWinK3Half; ///< Kaiser taper, beta 3

/// Display band-pass: third-order Butterworth band-pass, 0.75 to 10 Hz at 120 Hz, direct form.
inline constexpr double BandpassGain = 0.00923988850202239;
inline constexpr std::array<double, BandpassOrder + 1> BandpassNumerator = {
    BandpassGain, 0.0, -3.0 * BandpassGain, 0.0, 3.0 * BandpassGain, 0.0, -BandpassGain};
inline constexpr std::array<double, BandpassOrder + 1> BandpassDenominator = {1.0,
                                                                              -4.98680413292746,
                                                                              10.4294794861654,
                                                                              -11.7359119593033,
                                                                              7.50665280057149,
                                                                              -2.58918458336692,
                                                                              0.375774015765328};

/// One second-order section, a0 = 1. The first section of a cascade carries the gain of the whole.
struct Biquad
{
    double b0, b1, b2, a1, a2;
};

/// Smoother of the mouse's activity envelope: 4th-order low-pass, -3 dB at 2 Hz.
inline constexpr std::array<Biquad, 2> EnvelopeSmootherA = {{
    {6.5785432047e-06, 1.31570864094e-05, 6.5785432047e-06, -1.8138748032878402, 0.8238661327975682},
    {1.0, 2.0, 1.0, -1.9125396953844205, 0.9230744987029202},
}};

/// Smoother of the rat's envelopes: 6th-order low-pass, -3 dB at 0.65 Hz.
inline constexpr std::array<Biquad, 3> EnvelopeSmootherB = {{
    {2.27503e-11, 4.55006e-11, 2.27503e-11, -1.9352347096331783, 0.9363560494873944},
    {1.0, 2.0, 1.0, -1.9518777319531209, 0.953008715332295},
    {1.0, 2.0, 1.0, -1.9813918320991442, 0.9825399169371699},
}};

/// The whole of a symmetric table.
template <std::size_t HalfLength>
[[nodiscard]] std::array<double, 2 * HalfLength> expandSymmetric(const std::array<double, HalfLength>& half)
{
    std::array<double, 2 * HalfLength> whole{};
    for (std::size_t i = 0; i < HalfLength; ++i)
        whole[i] = whole[2 * HalfLength - 1 - i] = half[i];
    return whole;
}

} // namespace vt
