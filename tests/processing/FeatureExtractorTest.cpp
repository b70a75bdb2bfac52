// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FeatureExtractor.h"

#include "LogCapture.h"
#include "TestSignals.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>

namespace vt {
namespace {

void extract(FeatureExtractor& extractor, const std::vector<double>& br, const std::vector<double>& act,
             FeatureResult& result)
{
    extractor.extract(FeatureExtractor::Window(br), FeatureExtractor::Window(act), result);
}

const std::vector<double> Zeros(WindowLength, 0.0);

TEST(FeatureExtractor, SilenceGivesZerosAndABottomlessSpectrum)
{
    for (int animal : {1, 2}) {
        FeatureExtractor extractor(animal);
        FeatureResult result;
        extract(extractor, Zeros, Zeros, result);
        const FeatureSet& f = result.features;
        for (double value :
             {f.spectralContrast, f.breathRegularity, f.envelopeVariability, f.envelopeLevel, f.breathRate,
              f.signalPower, f.activityRegularity, f.activityVariability, f.activityLevel, result.brPower2})
            EXPECT_EQ(value, 0.0);
        ASSERT_EQ(result.spectrumSize, 480U);
        EXPECT_EQ(result.spectrum[0], -std::numeric_limits<double>::infinity());
    }
}

TEST(FeatureExtractor, CleanBreathingIsFoundWithItsRate)
{
    FeatureExtractor extractor(1);
    FeatureResult result;
    extract(extractor, test::makeSine(2.0, 0.1, WindowLength, 120.0), test::makeSignal("noise", WindowLength),
            result);
    EXPECT_NEAR(result.features.breathRate, 2.0, 1e-9);
    EXPECT_GT(result.features.breathRegularity, 0.5);
    EXPECT_NEAR(result.features.signalPower, 4 * 0.1 / std::sqrt(2.0), 1e-9);
    EXPECT_DOUBLE_EQ(result.brPower2, 2 * result.features.signalPower);
}

TEST(FeatureExtractor, UnknownAnimalGivesNothing)
{
    FeatureExtractor extractor(3);
    FeatureResult result;
    extract(extractor, test::makeSignal("breathing", WindowLength), test::makeSignal("noise", WindowLength),
            result);
    EXPECT_EQ(result.features.signalPower, 0.0);
    EXPECT_EQ(result.features.spectralContrast, 0.0);
    EXPECT_TRUE(result.spectrumValues().empty());
}

TEST(FeatureExtractor, InvalidSamplesAreLoggedAndLeaveTheLastResult)
{
    struct Case
    {
        std::size_t brAt; // where the sample stands; beyond the window: nowhere
        std::size_t actAt;
        const char* line;
    };
    const Case cases[] = {
        {700, 9999, "envelopeRmsPower Mean_64f error: a value is infinite or not a number"},
        {100, 9999, "ippsMagnitude_64fc failed: a value is infinite or not a number"},
        {9999, 5, "ippsMagnitude_64fc failed: a value is infinite or not a number"},
    };
    for (const Case& c : cases) {
        for (int animal : {1, 2}) {
            for (double bad :
                 {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
                FeatureExtractor extractor(animal);
                FeatureResult result;
                std::vector<double> br = test::makeSignal("breathing", WindowLength);
                std::vector<double> act = test::makeSignal("fast beat", WindowLength);
                extract(extractor, br, act, result);
                const FeatureResult before = result;
                if (c.brAt < WindowLength)
                    br[c.brAt] = bad;
                if (c.actAt < WindowLength)
                    act[c.actAt] = bad;
                test::LogCapture log;
                extract(extractor, br, act, result);
                EXPECT_EQ(log.lines(), QStringList{QString::fromLatin1(c.line)});
                EXPECT_EQ(result.features.envelopeLevel, before.features.envelopeLevel);
                EXPECT_EQ(result.features.breathRate, before.features.breathRate);
                EXPECT_EQ(result.features.spectralContrast, before.features.spectralContrast);
                EXPECT_EQ(result.spectrum, before.spectrum);
            }
        }
    }
}

TEST(FeatureExtractor, NegativeMeanOfTheEnvelopeIsClamped)
{
    FeatureExtractor extractor(1);
    FeatureResult result;
    test::LogCapture log;
    extract(extractor, test::makeSignal("breathing", WindowLength),
            test::makeSignal("undershoot", WindowLength), result);
    EXPECT_DOUBLE_EQ(result.features.envelopeLevel, 3.8 * 2.220446049250313e-16);
    ASSERT_EQ(log.lines().size(), 1);
    EXPECT_TRUE(log.lines().front().startsWith(
        QStringLiteral("envelopeParameters: negative mean amplitude clamped to eps: -")));
}

} // namespace
} // namespace vt
