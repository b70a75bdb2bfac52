// SPDX-License-Identifier: GPL-3.0-or-later
// One list of cases over every form of the signal path: the plain definitions and the fast form with each set
// of kernels that this machine can run. Expected values come from SciPy (make_reference_values.py).
#include "SignalForms.h"
#include "ReferenceValues.h"
#include "TestSignals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

namespace vt::test {
namespace {

constexpr double Tolerance = 1e-9; // relative

void expectClose(double actual, double expected, double scale, const std::string& what)
{
    if (std::isnan(expected)) // Unchecked
        return;
    if (std::isinf(expected))
        EXPECT_EQ(actual, expected) << what;
    else
        EXPECT_NEAR(actual, expected, Tolerance * std::max(std::abs(expected), scale)) << what;
}

double largest(const std::vector<double>& values)
{
    double best = 0.0;
    for (double value : values)
        best = std::max(best, std::abs(value));
    return best;
}

class SignalFormsTest : public testing::TestWithParam<std::shared_ptr<SignalForm>>
{};

TEST_P(SignalFormsTest, FiltersAgreeWithSciPy)
{
    for (const FilterCase& c : FilterCases) {
        const bool raw = c.filter == "decimate";
        const std::vector<double> x = raw ? makeSignal(c.signal, 2000, 600.0) : makeSignal(c.signal, 1200);
        const std::vector<double> y = GetParam()->filter(c.filter, x);
        for (std::size_t i = 0; i < c.indices.size(); ++i)
            expectClose(y.at(c.indices[i]), c.values[i], largest(y),
                        c.filter + " sample " + std::to_string(c.indices[i]));
    }
}

TEST_P(SignalFormsTest, BuildingBlocksAgreeWithSciPy)
{
    const std::pair<LagSearch, int> searches[] = {
        {MouseBreathLags, 1}, {RatRegularityLags, 2}, {RatRateLags, 2}, {RatActivityLags, 2}};
    for (const BlockCase& c : BlockCases) {
        const std::vector<double> x = makeSignal(c.signal, WindowLength);
        SignalForm& form = *GetParam();
        expectClose(form.rmsPower(x), c.rmsPower, 0, c.signal + " power");

        const std::vector<double> compressed = form.compress(x);
        for (std::size_t i = 0; i < CompressedIndices.size(); ++i)
            expectClose(compressed[CompressedIndices[i]], c.compressed[i], largest(compressed),
                        c.signal + " compressed " + std::to_string(CompressedIndices[i]));

        const EnvelopeParameters a = form.envelopeParameters(x, EnvelopeSmootherA);
        const EnvelopeParameters b = form.envelopeParameters(x, EnvelopeSmootherB);
        expectClose(a.level, c.smootherA[0], 0, c.signal + " level A");
        expectClose(a.variability, c.smootherA[1], 1e-3, c.signal + " variability A");
        expectClose(b.level, c.smootherB[0], 0, c.signal + " level B");
        expectClose(b.variability, c.smootherB[1], 1e-3, c.signal + " variability B");

        for (std::size_t i = 0; i < std::size(searches); ++i) {
            const AutocorrelationPeak peak = form.peak(x, searches[i].first, searches[i].second);
            const std::string what = c.signal + " search " + std::to_string(i);
            expectClose(peak.lagSeconds, c.peaks[i][0], 0, what + " lag");
            expectClose(peak.height, c.peaks[i][1], 0, what + " height");
            expectClose(peak.rateHz, c.peaks[i][2], 0, what + " rate");
        }

        const auto [mouseContrast, mouseDecibel] = form.spectrum(x, MouseBands);
        const auto [ratContrast, ratDecibel] = form.spectrum(x, RatBands);
        expectClose(mouseContrast, c.mouseContrast, 1, c.signal + " mouse contrast");
        expectClose(ratContrast, c.ratContrast, 1, c.signal + " rat contrast");
        for (std::size_t i = 0; i < DecibelIndices.size(); ++i) {
            const std::string what = c.signal + " bin " + std::to_string(DecibelIndices[i]);
            expectClose(mouseDecibel[DecibelIndices[i]], c.mouseDecibel[i], 1, what + " mouse");
            expectClose(ratDecibel[DecibelIndices[i]], c.ratDecibel[i], 1, what + " rat");
        }
    }
}

TEST_P(SignalFormsTest, FeaturesAgreeWithSciPy)
{
    const char* const names[] = {
        "spectralContrast", "breathRegularity",   "envelopeVariability", "envelopeLevel", "breathRate",
        "signalPower",      "activityRegularity", "activityVariability", "activityLevel", "brPower2"};
    for (const FeatureCase& c : FeatureCases) {
        const FeatureValues values = GetParam()->features(makeSignal(c.br, WindowLength),
                                                          makeSignal(c.act, WindowLength), c.animalType);
        for (std::size_t i = 0; i < values.size(); ++i)
            expectClose(values[i], c.values[i], i == 0 ? 1.0 : 1e-3,
                        c.br + "/" + c.act + " animal " + std::to_string(c.animalType) + " " + names[i]);
    }
}

TEST_P(SignalFormsTest, ToneAtTheEdgeOfTheBreathingBandIsExcluded)
{
    // 6 Hz is exactly 20 samples, the excluded end of the mouse's lags: the best lag left is a multiple.
    const AutocorrelationPeak edge =
        GetParam()->peak(makeSine(6.0, 0.1, WindowLength, 120.0), MouseBreathLags, 1);
    EXPECT_DOUBLE_EQ(edge.rateHz, 3.0);
    // Above the band the second period is found: 7 Hz looks like 3.5 Hz.
    const AutocorrelationPeak above =
        GetParam()->peak(makeSine(7.0, 0.1, WindowLength, 120.0), MouseBreathLags, 1);
    EXPECT_NEAR(above.rateHz, 3.5, 0.06);
}

TEST_P(SignalFormsTest, FlatTopsCountOnceAtTheirFirstSample)
{
    // Three ones, 14 and 15 samples apart: the autocorrelation is 1/3 at both lags.
    std::vector<double> x(WindowLength, 0.0);
    for (std::size_t at : {300U, 314U, 315U})
        x[at] = 1.0;
    const AutocorrelationPeak peak = GetParam()->peak(x, RatActivityLags, 2);
    EXPECT_DOUBLE_EQ(peak.lagSeconds, 14.0 / 120.0);
    EXPECT_DOUBLE_EQ(peak.height, 1.0 / 3.0);
}

INSTANTIATE_TEST_SUITE_P(Forms, SignalFormsTest, testing::ValuesIn(allForms()),
                         [](const auto& form) { return form.param->name(); });

} // namespace
} // namespace vt::test
