// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FeatureBlocks.h"

#include "acquisition/AcquisitionFrame.h"
#include "processing/EnvelopeMedian.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace vt {

namespace {

constexpr double Rate = DecimatedRateHz;
constexpr std::size_t Window = WindowLength;

/// Lags k, in samples, with 1 / high < k / 120 s < 1 / low, both strict.
struct LagRange
{
    int first;
    int last;

    explicit LagRange(const LagSearch& search)
        : first(static_cast<int>(Rate / search.highHz)), last(static_cast<int>(Rate / search.lowHz) + 1)
    {
        while (!(first / Rate > 1.0 / search.highHz))
            ++first;
        while (!(last / Rate < 1.0 / search.lowHz))
            --last;
    }
};

/// Whether products[lag] is a strict local maximum; a flat top counts at its first sample. last: the largest
/// lag that is known; a top that is still flat there does not count.
bool isPeak(const double* products, int lag, int last)
{
    if (!(products[lag] > products[lag - 1]))
        return false;
    int after = lag + 1;
    while (after < last && products[after] == products[lag])
        ++after;
    return products[after] < products[lag];
}

} // namespace

FeatureBlocks::FeatureBlocks(const Kernels& kernels) : m_kernels(kernels)
{
    for (const FourierTransform* transform : {&m_window, &m_shortLags, &m_longLags})
        if (transform->status() != SignalStatus::Ok)
            m_status = transform->status();
    for (const AlignedArray* array : {&m_bins, &m_padded, &m_hilbert, &m_squares, &m_scratch, &m_envelope,
                                      &m_otherEnvelope, &m_smoothed, &m_otherSmoothed})
        if (!array->valid())
            m_status = SignalStatus::OutOfMemory;
}

double FeatureBlocks::rmsPower(const double* window) const
{
    return RmsScale * std::sqrt(m_kernels.sumOfSquares(window + HalfWindow, HalfWindow) / HalfWindow);
}

/// Imaginary part of the analytic signal with a one-sided spectrum over the window's own length.
void FeatureBlocks::hilbert(const double* window, double* out)
{
    m_window.forward(window, m_bins.data());
    m_kernels.hilbertBins(m_bins.data(), Window / 2 + 1, 1.0 / WindowLength);
    m_window.backward(m_bins.data(), out);
}

SignalStatus FeatureBlocks::compress(const double* window, double* out)
{
    hilbert(window, m_hilbert.data());
    m_kernels.squaredEnvelope(window, m_hilbert.data(), m_squares.data(), Window);
    const double median = medianOfRoots(m_kernels, m_squares.span(), m_scratch.span());
    if (std::isnan(median))
        return SignalStatus::NotFinite;
    const double middle = median * median;
    if (middle > 0.0) {
        m_kernels.compress(window, m_squares.data(), middle, out, Window);
    } else { // anything is infinitely far above a median of 0
        for (std::size_t i = 0; i < Window; ++i)
            out[i] = m_squares[i] > 0.0 ? 0.0 : window[i];
    }
    return SignalStatus::Ok;
}

EnvelopeParameters FeatureBlocks::parametersOf(const MeanAndDeviation& smoothed)
{
    EnvelopeParameters result;
    result.unclampedMean = smoothed.mean;
    result.clamped = smoothed.mean < 0.0;
    result.level = result.clamped ? MeanFloor : smoothed.mean;
    const double deviation = std::sqrt(smoothed.squaredDeviation / (HalfWindow - 1));
    result.variability = deviation / (result.level + VariabilityOffset);
    return result;
}

EnvelopeParameters FeatureBlocks::envelopeParameters(const double* compressed,
                                                     std::span<const Biquad> smoother)
{
    hilbert(compressed, m_hilbert.data());
    m_kernels.envelope(compressed, m_hilbert.data(), m_envelope.data(), Window);
    m_kernels.smooth(smoother.data(), smoother.size(), m_envelope.data(), nullptr, Window, HalfWindow,
                     m_smoothed.data(), nullptr);
    return parametersOf(m_kernels.meanAndDeviation(m_smoothed.data(), HalfWindow));
}

std::array<EnvelopeParameters, 2> FeatureBlocks::envelopeParameters(const double* compressed,
                                                                    const double* otherCompressed,
                                                                    std::span<const Biquad> smoother)
{
    hilbert(compressed, m_hilbert.data());
    m_kernels.envelope(compressed, m_hilbert.data(), m_envelope.data(), Window);
    hilbert(otherCompressed, m_hilbert.data());
    m_kernels.envelope(otherCompressed, m_hilbert.data(), m_otherEnvelope.data(), Window);
    m_kernels.smooth(smoother.data(), smoother.size(), m_envelope.data(), m_otherEnvelope.data(), Window,
                     HalfWindow, m_smoothed.data(), m_otherSmoothed.data());
    return {parametersOf(m_kernels.meanAndDeviation(m_smoothed.data(), HalfWindow)),
            parametersOf(m_kernels.meanAndDeviation(m_otherSmoothed.data(), HalfWindow))};
}

void FeatureBlocks::multiply(const double* window, const double* taper, double* out) const
{
    m_kernels.multiply(window, taper, out, Window);
}

/// Sums of x[i] x[i + lag], up to a common factor, at index lag for lag 0 and for firstLag..lastLag.
const double* FeatureBlocks::lagProducts(const double* x, int length, int firstLag, int lastLag)
{
    constexpr int FewLags = 24; // so many sums cost less than two transforms
    double* products = m_padded.data();
    if (lastLag - firstLag < FewLags) {
        products[0] = m_kernels.sumOfSquares(x, static_cast<std::size_t>(length));
        for (int lag = firstLag; lag <= lastLag; ++lag)
            products[lag] =
                m_kernels.correlate(x, static_cast<std::size_t>(length), static_cast<std::size_t>(lag));
        return products;
    }
    // Padded with zeros so far that no lag of interest wraps around onto another.
    const FourierTransform* transform = &m_longLags;
    for (const FourierTransform* shorter : {&m_window, &m_shortLags})
        if (shorter->length() >= length + lastLag)
            transform = shorter;
    std::copy_n(x, length, products);
    std::fill(products + length, products + transform->length(), 0.0);
    transform->forward(products, m_bins.data());
    m_kernels.powerInPlace(m_bins.data(), static_cast<std::size_t>(transform->length()) / 2 + 1);
    transform->backward(m_bins.data(), products);
    return products;
}

AutocorrelationPeak FeatureBlocks::autocorrelationPeak(const double* window, const LagSearch& search,
                                                       int animalType)
{
    const LagRange lags(search);
    const int lastKnown = lags.last + 1;
    const double* products =
        lagProducts(window + search.trim, WindowLength - 2 * search.trim, lags.first - 1, lastKnown);
    const double energy = products[0];
    if (!(energy > 0.0))
        return {};
    const bool rat = animalType == AnimalRat;
    double best = rat ? 0.0 : PeakSearchStart;
    int bestLag = 0;
    for (int lag = lags.first; lag <= lags.last; ++lag) {
        if (products[lag] > best && isPeak(products, lag, lastKnown)) {
            best = products[lag];
            bestLag = lag;
        }
    }
    if (bestLag == 0)
        return {};
    const double height = best / energy;
    if (!(height > search.threshold))
        return {0.0, rat ? height : 0.0, 0.0};
    const double lagSeconds = bestLag / Rate;
    const double rate = 1.0 / lagSeconds;
    return {lagSeconds, height, rate >= search.highHz || rate <= search.lowHz ? 0.0 : rate};
}

double FeatureBlocks::spectralContrast(const double* window, const SpectrumBands& bands,
                                       std::span<double, HalfWindow> decibel)
{
    m_window.forward(window, m_bins.data());
    m_kernels.power(m_bins.data(), decibel.data(), HalfWindow);
    // The analytic signal's bins are twice the signal's, but for DC.
    decibel[0] /= 4.0;

    const int low = static_cast<int>(bands.lowHz / Rate * WindowLength + 1.0);
    const int count = static_cast<int>(bands.highHz / Rate * WindowLength) - low + 1;
    const double* first = decibel.data() + low;
    const double total = std::accumulate(first, first + count, 0.0) / WindowLength;
    m_kernels.decibel(decibel.data(), HalfWindow, total > 0.0 ? 1.0 / total : 4.0);

    double breathPeak = PeakSearchStart;
    double widePeak = PeakSearchStart;
    for (int k = low; k < low + count; ++k) {
        const double frequencyHz = k * Rate / WindowLength;
        const double value = decibel[static_cast<std::size_t>(k)];
        if (frequencyHz > bands.breathLowHz && frequencyHz < bands.breathHighHz)
            breathPeak = std::max(breathPeak, value);
        if (frequencyHz > bands.lowHz && frequencyHz <= bands.highHz)
            widePeak = std::max(widePeak, value);
    }
    return breathPeak - widePeak;
}

} // namespace vt
