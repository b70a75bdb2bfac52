// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ReferenceTypes.h"
#include "processing/FeatureConstants.h"
#include "processing/FilterTables.h"

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vt::test {

/// One way to compute the signal path, so that the same cases run over all of them.
class SignalForm
{
public:
    virtual ~SignalForm() = default;
    [[nodiscard]] virtual std::string name() const = 0;
    /// "decimate", "Br mouse", "Act mouse", "Br rat", "Act rat", "bandpass", "smoother A" or "smoother B".
    [[nodiscard]] virtual std::vector<double> filter(const std::string& filter,
                                                     const std::vector<double>& x) = 0;
    [[nodiscard]] virtual double rmsPower(std::span<const double> x) = 0;
    [[nodiscard]] virtual std::vector<double> compress(std::span<const double> x) = 0;
    /// Of the signal that has not been compressed yet.
    [[nodiscard]] virtual EnvelopeParameters envelopeParameters(std::span<const double> x,
                                                                std::span<const Biquad> smoother) = 0;
    [[nodiscard]] virtual AutocorrelationPeak peak(std::span<const double> x, const LagSearch& search,
                                                   int animalType) = 0;
    /// Contrast and 480 values in dB.
    [[nodiscard]] virtual std::pair<double, std::vector<double>> spectrum(std::span<const double> x,
                                                                          const SpectrumBands& bands) = 0;
    [[nodiscard]] virtual FeatureValues features(std::span<const double> br, std::span<const double> act,
                                                 int animalType) = 0;
};

/// The plain form, then the fast form with each runnable set of kernels.
[[nodiscard]] std::vector<std::shared_ptr<SignalForm>> allForms();

} // namespace vt::test
