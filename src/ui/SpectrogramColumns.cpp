// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SpectrogramColumns.h"

#include <algorithm>

namespace vt {

namespace {

/// Column 4 is the first that 8 s of samples lead up to.
constexpr quint64 FirstColumn = PowerSpectrum::Length / SpectrogramColumns::SamplesPerColumn;

} // namespace

SpectrogramColumns::SpectrogramColumns() : m_numbers(Kept), m_values(std::size_t{Kept} * Bins) {}

void SpectrogramColumns::clear()
{
    std::ranges::fill(m_numbers, 0);
}

std::vector<quint64> SpectrogramColumns::missing(quint64 lastColumn, int most) const
{
    std::vector<quint64> result;
    const quint64 oldest = std::max(FirstColumn, lastColumn - std::min<quint64>(lastColumn, Shown - 1));
    for (quint64 column = lastColumn; column >= oldest && result.size() < static_cast<std::size_t>(most);
         --column)
        if (m_numbers[slot(column)] != column)
            result.push_back(column);
    return result;
}

std::span<float> SpectrogramColumns::place(quint64 column)
{
    m_numbers[slot(column)] = column;
    return std::span(m_values).subspan(slot(column) * Bins, Bins);
}

std::span<const float> SpectrogramColumns::column(quint64 column) const
{
    if (column == 0 || m_numbers[slot(column)] != column)
        return {};
    return std::span(m_values).subspan(slot(column) * Bins, Bins);
}

} // namespace vt
