// SPDX-License-Identifier: GPL-3.0-or-later
#include "SignalForms.h"

#include "processing/FeatureExtractor.h"
#include "processing/FilterChain.h"
#include "processing/reference/PlainFeatures.h"
#include "processing/reference/PlainFilters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace vt::test {

namespace {

FeatureValues asValues(const FeatureSet& f, double brPower2)
{
    return {f.spectralContrast, f.breathRegularity,   f.envelopeVariability, f.envelopeLevel, f.breathRate,
            f.signalPower,      f.activityRegularity, f.activityVariability, f.activityLevel, brPower2};
}

class PlainForm final : public SignalForm
{
public:
    [[nodiscard]] std::string name() const override { return "plain"; }
    [[nodiscard]] std::vector<double> filter(const std::string& filter, const std::vector<double>& x) override
    {
        if (filter == "decimate")
            return reference::decimate(x);
        if (filter == "bandpass")
            return reference::bandpass(x);
        if (filter.starts_with("smoother")) {
            std::vector<double> rectified = x;
            for (double& value : rectified)
                value = std::abs(value);
            if (filter == "smoother A")
                return reference::biquadCascade(EnvelopeSmootherA, rectified);
            return reference::biquadCascade(EnvelopeSmootherB, rectified);
        }
        const bool mouse = filter.ends_with("mouse");
        if (filter.starts_with("Br"))
            return reference::symmetricFir(mouse ? BrMouseHalfTaps : BrRatHalfTaps, x);
        return reference::symmetricFir(mouse ? ActMouseHalfTaps : ActRatHalfTaps, x);
    }
    [[nodiscard]] double rmsPower(std::span<const double> x) override { return reference::rmsPower(x); }
    [[nodiscard]] std::vector<double> compress(std::span<const double> x) override
    {
        return reference::compress(x);
    }
    [[nodiscard]] EnvelopeParameters envelopeParameters(std::span<const double> x,
                                                        std::span<const Biquad> smoother) override
    {
        return reference::envelopeParameters(x, smoother);
    }
    [[nodiscard]] AutocorrelationPeak peak(std::span<const double> x, const LagSearch& search,
                                           int animalType) override
    {
        return reference::autocorrelationPeak(x, search, animalType);
    }
    [[nodiscard]] std::pair<double, std::vector<double>> spectrum(std::span<const double> x,
                                                                  const SpectrumBands& bands) override
    {
        reference::Spectrum result = reference::spectrum(x, bands);
        return {result.contrast, std::move(result.decibel)};
    }
    [[nodiscard]] FeatureValues features(std::span<const double> br, std::span<const double> act,
                                         int animalType) override
    {
        const reference::Result result = reference::extractFeatures(br, act, animalType);
        return asValues(result.features, result.brPower2);
    }
};

class FastForm final : public SignalForm
{
public:
    explicit FastForm(const Kernels& kernels) : m_kernels(kernels), m_blocks(kernels) {}
    [[nodiscard]] std::string name() const override { return m_kernels.name; }
    [[nodiscard]] std::vector<double> filter(const std::string& filter, const std::vector<double>& x) override
    {
        if (filter.starts_with("smoother"))
            return smooth(filter == "smoother A" ? std::span<const Biquad>(EnvelopeSmootherA)
                                                 : std::span<const Biquad>(EnvelopeSmootherB),
                          x);
        FilterChain chain(1, filter.ends_with("rat") ? 2 : 1, 0.0, m_kernels);
        std::vector<double> y;
        std::array<double, 4> out{};
        std::array<double, 4> other{};
        const std::size_t step = filter == "decimate" ? 20 : 4;
        for (std::size_t at = 0; at < x.size(); at += step) {
            if (filter == "decimate")
                chain.filterDecimate(0, FilterChain::Raw(x.data() + at, 20), out);
            else if (filter == "bandpass")
                chain.filterBandpass(0, FilterChain::Input(x.data() + at, 4), out);
            else if (filter.starts_with("Br"))
                chain.filterBrAct(0, FilterChain::Input(x.data() + at, 4), out, other);
            else
                chain.filterBrAct(0, FilterChain::Input(x.data() + at, 4), other, out);
            y.insert(y.end(), out.begin(), out.end());
        }
        return y;
    }
    [[nodiscard]] double rmsPower(std::span<const double> x) override
    {
        return m_blocks.rmsPower(aligned(x, m_window));
    }
    [[nodiscard]] std::vector<double> compress(std::span<const double> x) override
    {
        EXPECT_EQ(m_blocks.compress(aligned(x, m_window), m_out.data()), SignalStatus::Ok);
        return {m_out.data(), m_out.data() + WindowLength};
    }
    [[nodiscard]] EnvelopeParameters envelopeParameters(std::span<const double> x,
                                                        std::span<const Biquad> smoother) override
    {
        EXPECT_EQ(m_blocks.compress(aligned(x, m_window), m_out.data()), SignalStatus::Ok);
        return m_blocks.envelopeParameters(m_out.data(), smoother);
    }
    [[nodiscard]] AutocorrelationPeak peak(std::span<const double> x, const LagSearch& search,
                                           int animalType) override
    {
        return m_blocks.autocorrelationPeak(aligned(x, m_window), search, animalType);
    }
    [[nodiscard]] std::pair<double, std::vector<double>> spectrum(std::span<const double> x,
                                                                  const SpectrumBands& bands) override
    {
        std::array<double, HalfWindow> decibel{};
        const double contrast = m_blocks.spectralContrast(aligned(x, m_window), bands, decibel);
        return {contrast, {decibel.begin(), decibel.end()}};
    }
    [[nodiscard]] FeatureValues features(std::span<const double> br, std::span<const double> act,
                                         int animalType) override
    {
        FeatureExtractor extractor(animalType, m_kernels);
        FeatureResult result;
        extractor.extract(FeatureExtractor::Window(br), FeatureExtractor::Window(act), result);
        return asValues(result.features, result.brPower2);
    }

private:
    std::vector<double> smooth(std::span<const Biquad> sections, const std::vector<double>& x) const
    {
        std::vector<double> rectified = x;
        for (double& value : rectified)
            value = std::abs(value);
        std::vector<double> y(x.size());
        m_kernels.smooth(sections.data(), sections.size(), rectified.data(), nullptr, x.size(), 0, y.data(),
                         nullptr);
        return y;
    }
    static const double* aligned(std::span<const double> x, AlignedArray& array)
    {
        std::ranges::copy(x, array.data());
        return array.data();
    }

    const Kernels& m_kernels;
    FeatureBlocks m_blocks;
    AlignedArray m_window{WindowLength};
    AlignedArray m_out{WindowLength};
};

} // namespace

std::vector<std::shared_ptr<SignalForm>> allForms()
{
    std::vector<std::shared_ptr<SignalForm>> forms{std::make_shared<PlainForm>()};
    const KernelSets kernels = runnableKernels();
    for (std::size_t i = 0; i < kernels.count; ++i)
        forms.push_back(std::make_shared<FastForm>(*kernels.sets[i]));
    return forms;
}

} // namespace vt::test
