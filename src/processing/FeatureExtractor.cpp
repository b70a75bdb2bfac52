// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FeatureExtractor.h"

#include "acquisition/AcquisitionFrame.h"

#include <QtDebug>
#include <algorithm>
#include <cmath>

namespace vt {

namespace {

void logFailure(const char* operation, SignalStatus status)
{
    qWarning().noquote() << operation << statusText(status);
}

double levelOf(const EnvelopeParameters& envelope)
{
    if (envelope.clamped)
        qWarning() << "envelopeParameters: negative mean amplitude clamped to eps:" << envelope.unclampedMean;
    return envelope.level;
}

/// The parameters of factor times the signal.
EnvelopeParameters scaled(const EnvelopeParameters& envelope, double factor)
{
    EnvelopeParameters result = envelope;
    const double deviation = envelope.variability * (envelope.level + VariabilityOffset);
    result.unclampedMean *= factor;
    if (!envelope.clamped)
        result.level *= factor;
    result.variability = factor * deviation / (result.level + VariabilityOffset);
    return result;
}

} // namespace

FeatureExtractor::FeatureExtractor(int animalType, const Kernels& kernels)
    : m_animalType(animalType), m_blocks(kernels)
{
    m_usable = true;
    for (const AlignedArray* array :
         {&m_br, &m_act, &m_tapWinK8, &m_tapWinK3, &m_compressedBr, &m_compressedAct, &m_tapered})
        m_usable = m_usable && array->valid();
    const SignalStatus status = m_usable ? m_blocks.status() : SignalStatus::OutOfMemory;
    m_usable = status == SignalStatus::Ok;
    if (!m_usable) {
        logFailure("ippsFFTInit_C_64fc failed:", status);
        return;
    }
    std::ranges::copy(expandSymmetric(TapWinK8Half), m_tapWinK8.data());
    std::ranges::copy(expandSymmetric(TapWinK3Half), m_tapWinK3.data());
    qDebug() << "Feature extraction buffers pre-allocated, size:" << WindowLength;
}

void FeatureExtractor::extract(Window br, Window act, FeatureResult& result)
{
    if (!m_usable)
        return;
    std::ranges::copy(br, m_br.data());
    std::ranges::copy(act, m_act.data());
    if (m_animalType == AnimalMouse)
        extractMouse(m_br.data(), m_act.data(), result);
    else if (m_animalType == AnimalRat)
        extractRat(m_br.data(), m_act.data(), result);
}

bool FeatureExtractor::measurePower(const double* br, FeatureResult& result) const
{
    const double power = m_blocks.rmsPower(br);
    if (!std::isfinite(power)) {
        logFailure("envelopeRmsPower Mean_64f error:", SignalStatus::NotFinite);
        return false;
    }
    result.features.signalPower = power;
    return true;
}

bool FeatureExtractor::compress(const double* window, double* out)
{
    const SignalStatus status = m_blocks.compress(window, out);
    if (status != SignalStatus::Ok)
        logFailure("ippsMagnitude_64fc failed:", status);
    return status == SignalStatus::Ok;
}

void FeatureExtractor::computeContrast(const double* compressed, const SpectrumBands& bands,
                                       FeatureResult& result)
{
    m_blocks.multiply(compressed, m_tapWinK3.data(), m_tapered.data());
    result.features.spectralContrast = m_blocks.spectralContrast(m_tapered.data(), bands, result.spectrum);
    result.spectrumSize = HalfWindow;
}

void FeatureExtractor::extractMouse(const double* br, const double* act, FeatureResult& result)
{
    FeatureSet& f = result.features;
    if (!measurePower(br, result))
        return;
    result.brPower2 = MouseScale * f.signalPower;
    if (!compress(act, m_compressedAct.data()) || !compress(br, m_compressedBr.data()))
        return;

    const EnvelopeParameters envelope =
        scaled(m_blocks.envelopeParameters(m_compressedAct.data(), EnvelopeSmootherA), MouseScale);
    f.envelopeLevel = MouseLevelFactor * levelOf(envelope);
    f.envelopeVariability = envelope.variability;

    m_blocks.multiply(m_compressedBr.data(), m_tapWinK8.data(), m_tapered.data());
    const AutocorrelationPeak peak =
        m_blocks.autocorrelationPeak(m_tapered.data(), MouseBreathLags, AnimalMouse);
    f.breathRegularity = peak.height;
    f.breathRate = peak.rateHz;
    computeContrast(m_compressedBr.data(), MouseBands, result);
}

void FeatureExtractor::extractRat(const double* br, const double* act, FeatureResult& result)
{
    FeatureSet& f = result.features;
    if (!measurePower(br, result))
        return;
    if (!compress(br, m_compressedBr.data()) || !compress(act, m_compressedAct.data()))
        return;

    const auto [breath, activity] =
        m_blocks.envelopeParameters(m_compressedBr.data(), m_compressedAct.data(), EnvelopeSmootherB);
    f.envelopeLevel = levelOf(breath);
    f.envelopeVariability = breath.variability;
    f.activityLevel = levelOf(activity);
    f.activityVariability = activity.variability;

    m_blocks.multiply(m_compressedBr.data(), m_tapWinK8.data(), m_tapered.data());
    f.breathRegularity = m_blocks.autocorrelationPeak(m_tapered.data(), RatRegularityLags, AnimalRat).height;
    f.breathRate = m_blocks.autocorrelationPeak(br, RatRateLags, AnimalRat).rateHz;

    m_blocks.multiply(m_compressedAct.data(), m_tapWinK8.data(), m_tapered.data());
    f.activityRegularity = m_blocks.autocorrelationPeak(m_tapered.data(), RatActivityLags, AnimalRat).height;
    computeContrast(m_compressedBr.data(), RatBands, result);
}

} // namespace vt
