// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/AnimalSource.h"

#include <algorithm>
#include <array>

namespace vt {

AnimalSource::AnimalSource(int channelCount, int animalType, std::uint64_t seed, double offsetVolts)
    : m_offsetVolts(offsetVolts)
{
    m_animals.reserve(static_cast<std::size_t>(channelCount));
    for (int channel = 0; channel < channelCount; ++channel)
        m_animals.emplace_back(animalType, seed + static_cast<std::uint64_t>(channel));
}

void AnimalSource::read(std::span<const int> channels, int samplesPerChannel, double* out)
{
    const auto samples = static_cast<std::size_t>(samplesPerChannel);
    for (const int channel : channels) {
        m_animals[static_cast<std::size_t>(channel)].generate(out, samples);
        if (m_offsetVolts != 0.0)
            std::for_each(out, out + samples, [this](double& value) { value += m_offsetVolts; });
        out += samples;
    }
}

void AnimalSource::skip(std::span<const int> channels, std::uint64_t samplesPerChannel)
{
    std::array<double, 120> passed{};
    for (const int channel : channels)
        for (std::uint64_t left = samplesPerChannel; left > 0;) {
            const std::uint64_t chunk = std::min<std::uint64_t>(left, passed.size());
            m_animals[static_cast<std::size_t>(channel)].generate(passed.data(), chunk);
            left -= chunk;
        }
}

bool AnimalSource::isAsleep(int channel, std::uint64_t sample)
{
    if (channel < 0 || static_cast<std::size_t>(channel) >= m_animals.size())
        return false;
    return m_animals[static_cast<std::size_t>(channel)].isAsleep(sample);
}

} // namespace vt
