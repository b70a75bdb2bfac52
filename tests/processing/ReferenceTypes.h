// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace vt::test {

/// Marks a value that is not compared.
inline constexpr double Unchecked = std::numeric_limits<double>::quiet_NaN();

/// A modulated tone within a gate plus reproducible noise; make_reference_values.py makes the same.
struct SignalSpec
{
    std::string name;
    double frequencyHz;
    double amplitude;
    double modulationHz;
    double modulationDepth;
    double noiseAmplitude;
    std::uint64_t seed;
    std::size_t gateFrom;
    std::size_t gateTo;
};

struct FilterCase
{
    std::string filter;
    std::string signal;
    std::vector<std::size_t> indices;
    std::vector<double> values;
};

/// Results of the building blocks on one window. The order of peaks is that of SearchCases.
struct BlockCase
{
    std::string signal;
    double rmsPower;
    std::array<double, 8> compressed; ///< at CompressedIndices
    std::array<double, 2> smootherA;  ///< level, variability
    std::array<double, 2> smootherB;
    std::array<std::array<double, 3>, 4> peaks; ///< lag in seconds, height, rate in Hz
    double mouseContrast;
    std::array<double, 10> mouseDecibel; ///< at DecibelIndices
    double ratContrast;
    std::array<double, 10> ratDecibel;
};
inline constexpr std::array<std::size_t, 8> CompressedIndices = {0, 1, 100, 333, 479, 480, 700, 959};
inline constexpr std::array<std::size_t, 10> DecibelIndices = {0, 1, 2, 9, 19, 40, 66, 95, 240, 479};

/// spectralContrast, breathRegularity, envelopeVariability, envelopeLevel, breathRate, signalPower,
/// activityRegularity, activityVariability, activityLevel, brPower2.
using FeatureValues = std::array<double, 10>;

struct FeatureCase
{
    std::string br;
    std::string act;
    int animalType;
    FeatureValues values;
};

struct RecordingStep
{
    std::size_t step; ///< counted from the first one with a full window
    FeatureValues values;
};

/// One channel of real4.f64.
struct RecordingCase
{
    int animalType;
    int channel;
    int steps;
    int asleep;
    std::vector<RecordingStep> checked;
};

} // namespace vt::test
