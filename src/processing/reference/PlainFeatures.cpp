// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/reference/PlainFeatures.h"

#include "acquisition/AcquisitionFrame.h"
#include "processing/reference/PlainFilters.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace vt::reference {

namespace {

std::span<const double> secondHalf(std::span<const double> x)
{
    return x.subspan(x.size() / 2);
}

std::vector<double> tapered(std::span<const double> x, const std::array<double, WindowLength / 2>& half)
{
    const auto taper = expandSymmetric(half);
    std::vector<double> y;
    for (std::size_t i = 0; i < x.size(); ++i)
        y.push_back(x[i] * taper[i]);
    return y;
}

std::vector<double> scaled(std::span<const double> x, double factor)
{
    std::vector<double> y(x.begin(), x.end());
    for (double& value : y)
        value *= factor;
    return y;
}

} // namespace

double rmsPower(std::span<const double> x)
{
    double sum = 0.0;
    for (double value : secondHalf(x))
        sum += value * value;
    return RmsScale * std::sqrt(sum / static_cast<double>(secondHalf(x).size()));
}

std::vector<std::complex<double>> fourier(std::span<const std::complex<double>> x, Direction direction)
{
    const std::size_t n = x.size();
    const double sign = direction == Direction::Forward ? -1.0 : 1.0;
    std::vector<std::complex<double>> roots;
    for (std::size_t i = 0; i < n; ++i) {
        const double angle = 2.0 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n);
        roots.emplace_back(std::cos(angle), sign * std::sin(angle));
    }
    std::vector<std::complex<double>> result;
    for (std::size_t k = 0; k < n; ++k) {
        std::complex<double> sum = 0.0;
        for (std::size_t i = 0; i < n; ++i)
            sum += x[i] * roots[k * i % n];
        result.push_back(direction == Direction::Forward ? sum : sum / static_cast<double>(n));
    }
    return result;
}

std::vector<std::complex<double>> analyticSignal(std::span<const double> x)
{
    const std::vector<std::complex<double>> complexInput(x.begin(), x.end());
    std::vector<std::complex<double>> bins = fourier(complexInput, Direction::Forward);
    const std::size_t half = bins.size() / 2;
    for (std::size_t k = 1; k < half; ++k)
        bins[k] *= 2.0;
    for (std::size_t k = half + 1; k < bins.size(); ++k)
        bins[k] = 0.0;
    return fourier(bins, Direction::Inverse);
}

std::vector<double> magnitude(std::span<const std::complex<double>> z)
{
    std::vector<double> result;
    for (const std::complex<double>& value : z)
        result.push_back(std::abs(value));
    return result;
}

double median(std::span<const double> x)
{
    std::vector<double> sorted(x.begin(), x.end());
    std::sort(sorted.begin(), sorted.end());
    const std::size_t middle = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2.0;
}

std::vector<double> compress(std::span<const double> x)
{
    const std::vector<double> envelope = magnitude(analyticSignal(x));
    const double middle = median(envelope);
    std::vector<double> y(x.begin(), x.end());
    for (std::size_t i = 0; i < y.size(); ++i)
        if (envelope[i] > middle)
            y[i] *= std::pow(envelope[i] / middle, CompressionExponent);
    return y;
}

EnvelopeParameters envelopeParameters(std::span<const double> x, std::span<const Biquad> smoother)
{
    const std::vector<double> envelope = magnitude(analyticSignal(compress(x)));
    const std::vector<double> smoothed = biquadCascade(smoother, envelope);
    const std::span<const double> half = secondHalf(smoothed);
    const double count = static_cast<double>(half.size());
    EnvelopeParameters result;
    result.unclampedMean = std::accumulate(half.begin(), half.end(), 0.0) / count;
    double squares = 0.0;
    for (double value : half)
        squares += (value - result.unclampedMean) * (value - result.unclampedMean);
    result.clamped = result.unclampedMean < 0.0;
    result.level = result.clamped ? MeanFloor : result.unclampedMean;
    result.variability = std::sqrt(squares / (count - 1.0)) / (result.level + VariabilityOffset);
    return result;
}

std::vector<double> autocorrelation(std::span<const double> x)
{
    std::vector<double> r(x.size(), 0.0);
    for (std::size_t lag = 0; lag < x.size(); ++lag)
        for (std::size_t i = 0; i + lag < x.size(); ++i)
            r[lag] += x[i] * x[i + lag];
    const double energy = r.empty() ? 0.0 : r[0];
    for (double& value : r)
        value = energy > 0.0 ? value / energy : 0.0;
    return r;
}

std::vector<std::size_t> peaks(std::span<const double> x)
{
    std::vector<std::size_t> found;
    for (std::size_t i = 1; i + 1 < x.size(); ++i) {
        if (!(x[i] > x[i - 1]))
            continue;
        std::size_t after = i + 1;
        while (after < x.size() && x[after] == x[i])
            ++after;
        if (after < x.size() && x[after] < x[i])
            found.push_back(i);
    }
    return found;
}

AutocorrelationPeak autocorrelationPeak(std::span<const double> x, const LagSearch& search, int animalType)
{
    const auto trim = static_cast<std::size_t>(search.trim);
    const std::vector<double> r = autocorrelation(x.subspan(trim, x.size() - 2 * trim));
    std::vector<double> twoSided(r.rbegin(), r.rend());
    twoSided.insert(twoSided.end(), r.begin() + 1, r.end());

    const bool rat = animalType == AnimalRat;
    double height = PeakSearchStart;
    double lag = -1.0;
    for (std::size_t i : peaks(twoSided)) {
        const double tau = (static_cast<double>(i) - static_cast<double>(r.size() - 1)) / DecimatedRateHz;
        if (tau > 1.0 / search.highHz && tau < 1.0 / search.lowHz && (!rat || twoSided[i] > 0.0) &&
            twoSided[i] > height) {
            height = twoSided[i];
            lag = tau;
        }
    }
    if (lag < 0.0)
        return {};
    if (!(height > search.threshold))
        return {0.0, rat ? height : 0.0, 0.0};
    const double rate = 1.0 / lag;
    return {lag, height, rate >= search.highHz || rate <= search.lowHz ? 0.0 : rate};
}

Spectrum spectrum(std::span<const double> x, const SpectrumBands& bands)
{
    const std::size_t n = x.size();
    const double length = static_cast<double>(n);
    const std::vector<std::complex<double>> bins = fourier(analyticSignal(x), Direction::Forward);
    Spectrum result;
    for (std::size_t k = 0; k < n / 2; ++k)
        result.decibel.push_back(std::norm(bins[k]));

    const int low = static_cast<int>(bands.lowHz / DecimatedRateHz * length + 1.0);
    const int count = static_cast<int>(bands.highHz / DecimatedRateHz * length) - low + 1;
    const auto first = result.decibel.begin() + low;
    const double total = std::accumulate(first, first + count, 0.0) / length;
    for (double& value : result.decibel)
        value = 10.0 * std::log10(total > 0.0 ? value / total : value);

    double breathPeak = PeakSearchStart;
    double widePeak = PeakSearchStart;
    for (int k = low; k < low + count; ++k) {
        const double frequency = k * static_cast<double>(DecimatedRateHz) / length;
        const double value = result.decibel[static_cast<std::size_t>(k)];
        if (frequency > bands.breathLowHz && frequency < bands.breathHighHz)
            breathPeak = std::max(breathPeak, value);
        if (frequency > bands.lowHz && frequency <= bands.highHz)
            widePeak = std::max(widePeak, value);
    }
    result.contrast = breathPeak - widePeak;
    return result;
}

namespace {

Result extractMouse(std::span<const double> br, std::span<const double> act)
{
    Result result;
    FeatureSet& f = result.features;
    const std::vector<double> br2 = scaled(br, MouseScale);
    result.brPower2 = rmsPower(br2);
    f.signalPower = rmsPower(br);
    const EnvelopeParameters envelope = envelopeParameters(scaled(act, MouseScale), EnvelopeSmootherA);
    f.envelopeLevel = MouseLevelFactor * envelope.level;
    f.envelopeVariability = envelope.variability;
    const std::vector<double> compressed = compress(br2);
    const AutocorrelationPeak peak =
        autocorrelationPeak(tapered(compressed, TapWinK8Half), MouseBreathLags, AnimalMouse);
    f.breathRegularity = peak.height;
    f.breathRate = peak.rateHz;
    const Spectrum power = spectrum(tapered(compressed, TapWinK3Half), MouseBands);
    f.spectralContrast = power.contrast;
    result.spectrum = power.decibel;
    return result;
}

Result extractRat(std::span<const double> br, std::span<const double> act)
{
    Result result;
    FeatureSet& f = result.features;
    f.signalPower = rmsPower(br);
    const EnvelopeParameters breath = envelopeParameters(br, EnvelopeSmootherB);
    f.envelopeLevel = breath.level;
    f.envelopeVariability = breath.variability;
    const std::vector<double> compressed = compress(br);
    f.breathRegularity =
        autocorrelationPeak(tapered(compressed, TapWinK8Half), RatRegularityLags, AnimalRat).height;
    f.breathRate = autocorrelationPeak(br, RatRateLags, AnimalRat).rateHz;
    const EnvelopeParameters activity = envelopeParameters(act, EnvelopeSmootherB);
    f.activityLevel = activity.level;
    f.activityVariability = activity.variability;
    f.activityRegularity =
        autocorrelationPeak(tapered(compress(act), TapWinK8Half), RatActivityLags, AnimalRat).height;
    const Spectrum power = spectrum(tapered(compressed, TapWinK3Half), RatBands);
    f.spectralContrast = power.contrast;
    result.spectrum = power.decibel;
    return result;
}

} // namespace

Result extractFeatures(std::span<const double> br, std::span<const double> act, int animalType)
{
    if (animalType == AnimalMouse)
        return extractMouse(br, act);
    if (animalType == AnimalRat)
        return extractRat(br, act);
    return {};
}

} // namespace vt::reference
