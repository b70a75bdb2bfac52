// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/CageConfig.h"
#include "hardware/StimulationSettings.h"

#include <array>
#include <cstdint>
#include <random>

namespace vt {

/// Draws what is random about stimulation. With the same seed and the same calls it draws the same on every
/// platform. One thread at a time.
class CageRandomiser
{
public:
    explicit CageRandomiser(std::uint32_t seed) : m_seed(seed), m_generator(seed) {}

    /// A seed from the system.
    [[nodiscard]] static std::uint32_t systemSeed();
    [[nodiscard]] std::uint32_t seed() const { return m_seed; }

    /// A uniform 32-bit number.
    [[nodiscard]] std::uint32_t next() { return static_cast<std::uint32_t>(m_generator()); }

    /// The cages' profiles: values that are marked random are drawn uniformly within their range, both bounds
    /// included, in the order of cages and in each cage frequency, amplitude, duration. A range whose lower
    /// bound is above the upper one is no range: the cage's own value stays.
    [[nodiscard]] QList<VEXIO_NS::CageConfig>
    draw(const std::array<CageSettings, VexioSettings::CageCount>& cages, const RandomRange& range);

private:
    std::uint32_t m_seed;
    std::mt19937 m_generator;
};

} // namespace vt
