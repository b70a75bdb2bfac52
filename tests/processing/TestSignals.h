// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ReferenceTypes.h"

#include <string_view>
#include <vector>

namespace vt::test {

/// count samples of one of the ReferenceSignals at rateHz.
[[nodiscard]] std::vector<double> makeSignal(std::string_view name, std::size_t count, double rateHz = 120.0);

/// amplitude sin(2 pi f i / rateHz).
[[nodiscard]] std::vector<double> makeSine(double frequencyHz, double amplitude, std::size_t count,
                                           double rateHz);

/// Uniform in [-1, 1).
[[nodiscard]] std::vector<double> makeNoise(std::size_t count, std::uint64_t seed);

/// tests/data/real4.f64: 150 s at 600 Hz, [channel][sample] in volts.
[[nodiscard]] std::vector<std::vector<double>> readReal4();

} // namespace vt::test
