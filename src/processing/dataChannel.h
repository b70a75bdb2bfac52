// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FilterTables.h"

#include <algorithm>
#include <span>
#include <vector>

namespace vt {

/// Rolling window over the newest 960 samples of one signal, oldest first and contiguous at any time: new
/// samples are appended to a longer buffer, which is moved back to its start when it is full.
/// Processing thread only. Allocates at construction.
class dataChannel
{
public:
    dataChannel() : m_samples(WindowLength + Slack) {}

    /// At most 240 samples at once.
    void append(std::span<const double> samples)
    {
        if (m_end + samples.size() > m_samples.size()) {
            const auto keep = std::min<std::size_t>(m_end, WindowLength);
            std::copy(m_samples.data() + (m_end - keep), m_samples.data() + m_end, m_samples.data());
            m_end = keep;
        }
        std::copy(samples.begin(), samples.end(), m_samples.data() + m_end);
        m_end += samples.size();
    }

    [[nodiscard]] bool isFull() const { return m_end >= WindowLength; }
    /// The newest 960 samples; only when isFull().
    [[nodiscard]] std::span<const double, WindowLength> window() const
    {
        return std::span<const double, WindowLength>(m_samples.data() + (m_end - WindowLength), WindowLength);
    }
    void clear() { m_end = 0; }

private:
    static constexpr std::size_t Slack = 240;
    std::vector<double> m_samples;
    std::size_t m_end = 0;
};

} // namespace vt
