// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureSet.h"

#include <QTime>
#include <optional>
#include <span>

namespace vt {

// The sleep/wake rule as plain functions: numbers in, numbers out.

/// Long-term means against which a step's levels are compared. Each step has weight 1 and all earlier ones
/// together fade by ForgettingFactor per step: an effective memory of 20000 steps, about 11 hours. The mean
/// starts from 0 with weight 2, so after the first step it is about a third of the first value.
struct RunningMeans
{
    double weight = 2.0;
    double level = 0.0;
    double activity = 0.0; ///< rat only
};
inline constexpr double ForgettingFactor = 0.99995;

/// Takes the step's levels into the means and returns the decision statistic: above 0 means asleep.
/// An animal type other than mouse or rat gives 0 and sets both means to 0.
[[nodiscard]] double decisionStatistic(int animalType, const FeatureSet& features, RunningMeans& means);

inline constexpr int HistogramBins = 200;
/// Bin of 0.1 from -10 upwards; nothing outside [-10, +10).
[[nodiscard]] std::optional<std::size_t> histogramBin(double decisionStat);

enum class SensorAmplifier { NiDevice, SerialAmplifier };
/// NI device: the first three bins of the spectrum sum to at most 120 dB (a disconnected input floats far
/// above). Serial amplifier: brPower2 is at least 0.0012; with a rat brPower2 is 0, hence absent.
/// spectrum: dB, at least three values.
[[nodiscard]] bool isSignalPresent(SensorAmplifier amplifier, std::span<const double> spectrum,
                                   double brPower2);

/// Hysteresis of the presence flag: counts up to 12 while absent, down to 0 while present.
[[nodiscard]] int nextPresenceCounter(int counter, bool present);
[[nodiscard]] bool isNoSignal(int presenceCounter);

/// Adaptive baseline of signalPower, which the activity index is measured against.
struct ActivityBaseline
{
    double value = 0.0;
    int baselineSteps = 0; ///< saturate at the largest int
    int sleepSteps = 0;
};
enum class SessionKind { SleepScoring, ActivityOnly };
enum class AnimalState { Awake, Sleeping };

/// One step with x = signalPower; negative x is ignored. In activity-only sessions the state does not matter.
void updateBaseline(ActivityBaseline& baseline, double x, SessionKind kind, AnimalState state);

/// x / (2.5 x baseline) - 1 within 0..6; 0 without a baseline.
[[nodiscard]] double activityIndex(double x, double baseline);

inline constexpr int DayProfileBins = 144;
/// 10-minute bin of the day, 0..143.
[[nodiscard]] std::size_t dayProfileBin(const QTime& time);

} // namespace vt
