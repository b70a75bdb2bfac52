// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/AnalogSource.h"
#include "simulation/AnimalModel.h"

#include <vector>

namespace vt {

/// One animal per channel, every one different.
class AnimalSource final : public AnalogSource
{
public:
    /// Channel c shows the animal of seed + c. offsetVolts is added to every sample.
    AnimalSource(int channelCount, int animalType, std::uint64_t seed, double offsetVolts);

    void read(std::span<const int> channels, int samplesPerChannel, double* out) override;
    void skip(std::span<const int> channels, std::uint64_t samplesPerChannel) override;
    [[nodiscard]] bool isAsleep(int channel, std::uint64_t sample) override;

private:
    std::vector<AnimalModel> m_animals;
    const double m_offsetVolts;
};

} // namespace vt
