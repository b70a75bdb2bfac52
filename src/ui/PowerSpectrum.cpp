// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/PowerSpectrum.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

namespace vt {

PowerSpectrum::PowerSpectrum() : m_window(Length)
{
    double squares = 0.0;
    for (std::size_t i = 0; i < m_window.size(); ++i) {
        m_window[i] = 0.5 - 0.5 * std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / Length);
        squares += m_window[i] * m_window[i];
    }
    m_scale = 2.0 / (RateHz * squares);
}

void PowerSpectrum::compute(std::span<const float> volts, std::span<float> decibels)
{
    const bool isUsable = volts.size() == m_window.size() && m_transform.status() == SignalStatus::Ok &&
                          m_signal.valid() && m_bins.valid() &&
                          std::ranges::all_of(volts, [](float value) { return std::isfinite(value); });
    if (!isUsable) {
        std::ranges::fill(decibels, std::numeric_limits<float>::quiet_NaN());
        return;
    }
    const double mean = std::accumulate(volts.begin(), volts.end(), 0.0) / Length;
    for (std::size_t i = 0; i < m_window.size(); ++i)
        m_signal[i] = (static_cast<double>(volts[i]) - mean) * m_window[i];
    m_transform.forward(m_signal.data(), m_bins.data());
    const double floor = std::pow(10.0, static_cast<double>(FloorDb) / 10.0);
    for (std::size_t k = 0; k < std::min<std::size_t>(decibels.size(), Bins); ++k) {
        const double re = m_bins[2 * k];
        const double im = m_bins[2 * k + 1];
        decibels[k] = static_cast<float>(10.0 * std::log10(std::max((re * re + im * im) * m_scale, floor)));
    }
}

} // namespace vt
