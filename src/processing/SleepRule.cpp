// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/SleepRule.h"

#include "acquisition/AcquisitionFrame.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vt {

namespace {

/// ln of a level relative to its long-term mean; the offset keeps silent channels finite.
double logRatio(double value, double mean)
{
    constexpr double Offset = 0.002;
    return std::log(value + Offset) - std::log(mean + Offset);
}

int saturatingIncrement(int count)
{
    return count == std::numeric_limits<int>::max() ? count : count + 1;
}

/// Falls fast and rises slowly: follows the quietest stretches.
void followQuietest(ActivityBaseline& baseline, double x, double speed)
{
    const double rate = baseline.value > x ? 0.05 : 0.0002;
    baseline.value += (x - baseline.value) * rate * speed;
}

} // namespace

double decisionStatistic(int animalType, const FeatureSet& f, RunningMeans& means)
{
    means.weight = ForgettingFactor * means.weight + 1.0;
    const auto updated = [&](double mean, double value) {
        return ((means.weight - 1.0) * mean + value) / means.weight;
    };
    means.level = updated(means.level, f.envelopeLevel);
    if (animalType == AnimalMouse) {
        means.activity = 0.0;
        return 2.4 * f.breathRegularity + 0.0462 * f.spectralContrast - 6.6 * f.envelopeVariability -
               1.65 * logRatio(f.envelopeLevel, means.level) + 0.47;
    }
    if (animalType == AnimalRat) {
        means.activity = updated(means.activity, f.activityLevel);
        return 0.1004 * f.breathRegularity - 7.5534 * f.envelopeVariability -
               0.90255 * logRatio(f.envelopeLevel, means.level) +
               0.293 * logRatio(f.activityLevel, means.activity) + 1.0;
    }
    means.level = 0.0;
    means.activity = 0.0;
    return 0.0;
}

std::optional<std::size_t> histogramBin(double decisionStat)
{
    const double bin = std::floor((decisionStat + 10.0) * 10.0);
    if (!(bin >= 0.0 && bin < HistogramBins))
        return std::nullopt;
    return static_cast<std::size_t>(bin);
}

bool isSignalPresent(SensorAmplifier amplifier, std::span<const double> spectrum, double brPower2)
{
    constexpr double LoudestSumDecibel = 120.0;
    constexpr double QuietestPower = 0.0012;
    if (amplifier == SensorAmplifier::NiDevice)
        return spectrum[0] + spectrum[1] + spectrum[2] <= LoudestSumDecibel;
    return brPower2 >= QuietestPower;
}

int nextPresenceCounter(int counter, bool present)
{
    return present ? std::max(counter - 1, 0) : std::min(counter + 1, 12);
}

bool isNoSignal(int presenceCounter)
{
    return presenceCounter >= 6;
}

void updateBaseline(ActivityBaseline& baseline, double x, SessionKind kind, AnimalState state)
{
    constexpr double Smallest = 1e-6;
    constexpr int SettlingSteps = 1800;       // one hour
    constexpr int SleepStepsBeforeHold = 300; // ten minutes
    constexpr double SleepRate = 0.005;
    if (!(x >= 0.0))
        return;
    if (baseline.value <= 0.0) {
        baseline.value = std::max(x, Smallest);
        return;
    }
    baseline.baselineSteps = saturatingIncrement(baseline.baselineSteps);
    const int governing = kind == SessionKind::ActivityOnly ? baseline.baselineSteps : baseline.sleepSteps;
    const double speed = governing < SettlingSteps ? 1.0 : 0.01;
    if (kind == SessionKind::SleepScoring && state == AnimalState::Sleeping) {
        baseline.sleepSteps = saturatingIncrement(baseline.sleepSteps);
        const double step = SleepRate * speed;
        baseline.value *= x > baseline.value ? 1.0 + step : 1.0 - step;
    } else if (kind == SessionKind::ActivityOnly || baseline.sleepSteps < SleepStepsBeforeHold) {
        followQuietest(baseline, x, speed);
    }
}

double activityIndex(double x, double baseline)
{
    constexpr double Smallest = 1e-6;
    if (!(baseline > Smallest))
        return 0.0;
    return std::clamp(x / (2.5 * baseline) - 1.0, 0.0, 6.0);
}

std::size_t dayProfileBin(const QTime& time)
{
    return static_cast<std::size_t>((time.hour() * 60 + time.minute()) / 10);
}

} // namespace vt
