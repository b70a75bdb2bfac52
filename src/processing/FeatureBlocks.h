// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/AlignedArray.h"
#include "processing/FeatureConstants.h"
#include "processing/FourierTransform.h"
#include "processing/SignalStatus.h"
#include "processing/kernels/Kernels.h"

#include <array>
#include <span>

namespace vt {

/// The building blocks of the features in their fast form, each on one window of 960 samples (8 s at 120 Hz).
/// reference/PlainFeatures.h has the same blocks as definitions.
///
/// Windows, outputs and tapers are arrays that start on 64 bytes (AlignedArray). One object per thread: it
/// owns the transforms and the work buffers; nothing is allocated after construction.
class FeatureBlocks
{
public:
    explicit FeatureBlocks(const Kernels& kernels = bestKernels());

    /// OutOfMemory or PlanFailed when the object cannot be used.
    [[nodiscard]] SignalStatus status() const { return m_status; }

    /// 4 x RMS of the second half.
    [[nodiscard]] double rmsPower(const double* window) const;

    /// Amplitude compression: x times (e / M)^(0.8 - 1) where the envelope e exceeds its median M, else x.
    /// NotFinite, with out left alone, when a sample is not finite.
    [[nodiscard]] SignalStatus compress(const double* window, double* out);

    /// Envelope parameters of a signal that is compressed already.
    [[nodiscard]] EnvelopeParameters envelopeParameters(const double* compressed,
                                                        std::span<const Biquad> smoother);
    /// The same for two signals, which share the time of one pass through the smoother.
    [[nodiscard]] std::array<EnvelopeParameters, 2> envelopeParameters(const double* compressed,
                                                                       const double* otherCompressed,
                                                                       std::span<const Biquad> smoother);

    void multiply(const double* window, const double* taper, double* out) const;

    /// Biased autocorrelation, normalised by its value at lag 0, and the search for its best peak.
    [[nodiscard]] AutocorrelationPeak autocorrelationPeak(const double* window, const LagSearch& search,
                                                          int animalType);

    /// Power spectrum of the analytic signal in dB relative to the band's total power / 960; returns the
    /// breathing peak minus the wide peak in dB. decibel: 480 values.
    [[nodiscard]] double spectralContrast(const double* window, const SpectrumBands& bands,
                                          std::span<double, HalfWindow> decibel);

private:
    void hilbert(const double* window, double* out);
    [[nodiscard]] const double* lagProducts(const double* x, int length, int firstLag, int lastLag);
    [[nodiscard]] static EnvelopeParameters parametersOf(const MeanAndDeviation& smoothed);

    const Kernels& m_kernels;
    FourierTransform m_window{WindowLength}; ///< also the padded length of the rat's rate search
    FourierTransform m_shortLags{640};       ///< padded length of the mouse's search
    FourierTransform m_longLags{1200};       ///< padded length of the rat's regularity search
    AlignedArray m_bins{1200 + 2};
    AlignedArray m_padded{1200};
    AlignedArray m_hilbert{WindowLength};
    AlignedArray m_squares{WindowLength};
    AlignedArray m_scratch{WindowLength};
    AlignedArray m_envelope{WindowLength};
    AlignedArray m_otherEnvelope{WindowLength};
    AlignedArray m_smoothed{HalfWindow};
    AlignedArray m_otherSmoothed{HalfWindow};
    SignalStatus m_status = SignalStatus::Ok;
};

} // namespace vt
