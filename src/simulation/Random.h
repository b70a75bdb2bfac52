// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstdint>

namespace vt {

/// Small, fast random numbers whose distributions are spelled out here, so that a seed gives the same animal
/// with every standard library: xoshiro256++ (Blackman and Vigna), seeded through splitmix64.
class Random
{
public:
    explicit Random(std::uint64_t seed)
    {
        for (std::uint64_t& word : m_state) {
            seed += 0x9E3779B97F4A7C15ULL;
            std::uint64_t z = seed;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
            word = z ^ (z >> 31);
        }
    }

    std::uint64_t next()
    {
        const std::uint64_t result = std::rotl(m_state[0] + m_state[3], 23) + m_state[0];
        const std::uint64_t t = m_state[1] << 17;
        m_state[2] ^= m_state[0];
        m_state[3] ^= m_state[1];
        m_state[1] ^= m_state[2];
        m_state[0] ^= m_state[3];
        m_state[2] ^= t;
        m_state[3] = std::rotl(m_state[3], 45);
        return result;
    }

    /// Uniform in [0, 1).
    double unit() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }
    double uniform(double low, double high) { return low + (high - low) * unit(); }
    bool chance(double probability) { return unit() < probability; }

    /// Nearly normal, mean 0, variance 1, within +-4.9: the sum of eight uniform numbers.
    double normal()
    {
        double sum = 0.0;
        for (int i = 0; i < 2; ++i)
            for (std::uint64_t bits = next(), j = 0; j < 4; ++j, bits >>= 16)
                sum += static_cast<double>(bits & 0xFFFF);
        return (sum * 0x1.0p-16 - 4.0) * 1.224744871391589; // sqrt(12 / 8)
    }
    double logNormal(double median, double sigma) { return median * std::exp(sigma * normal()); }

private:
    std::array<std::uint64_t, 4> m_state{};
};

} // namespace vt
