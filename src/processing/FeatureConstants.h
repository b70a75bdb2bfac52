// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt {

// Constants of the features, shared by their plain and their fast forms. Frequencies in Hz.

inline constexpr double RmsScale = 4.0;
/// Exponent of (envelope / median envelope) above the median: a compression to the power 0.8.
inline constexpr double CompressionExponent = 0.8 - 1.0;
inline constexpr double VariabilityOffset = 0.0002;
/// Takes the place of a negative mean of the smoothed envelope.
inline constexpr double MeanFloor = 2.220446049250313e-16;
/// Below every value that a peak search can meet.
inline constexpr double PeakSearchStart = -4545454545454545.0;
/// The mouse's features are defined on the doubled signals.
inline constexpr double MouseScale = 2.0;
inline constexpr double MouseLevelFactor = 3.8;

struct EnvelopeParameters
{
    double level = 0.0;       ///< mean of the second half of the smoothed envelope
    double variability = 0.0; ///< its standard deviation / (mean + 0.0002)
    /// The mean was negative and has been replaced by MeanFloor.
    bool clamped = false;
    double unclampedMean = 0.0;
};

/// Where an autocorrelation peak is searched.
struct LagSearch
{
    int trim; ///< samples left out at either end of the window
    double lowHz;
    double highHz;
    double threshold; ///< a peak must be higher to give a lag and a rate
};

struct AutocorrelationPeak
{
    double lagSeconds = 0.0;
    double height = 0.0;
    double rateHz = 0.0;
};

/// Bands of the spectral contrast.
struct SpectrumBands
{
    double lowHz;
    double highHz;
    double breathLowHz;
    double breathHighHz;
};

inline constexpr LagSearch MouseBreathLags{240, 0.9, 6.0, 0.25};
inline constexpr SpectrumBands MouseBands{0.55, 12.0, 0.9, 6.0};

inline constexpr LagSearch RatRegularityLags{0, 0.5, 3.0, 0.35};
inline constexpr LagSearch RatRateLags{120, 0.5, 3.0, 0.35};
inline constexpr LagSearch RatActivityLags{0, 6.5, 11.5, 0.25};
inline constexpr SpectrumBands RatBands{0.25, 8.0, 0.5, 3.0};

} // namespace vt
