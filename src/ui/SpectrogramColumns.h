// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ui/PowerSpectrum.h"

#include <QtGlobal>
#include <span>
#include <vector>

namespace vt {

/// The newest spectra of one trace, one every 2 s, kept by the number of the sample behind their 8 s, so that
/// a picture that moves through time needs each of them only once.
class SpectrogramColumns
{
public:
    static constexpr quint64 SamplesPerColumn = 240;
    static constexpr int Shown = 300; ///< columns of a picture: 10 minutes
    static constexpr int Kept = 600;  ///< 20 minutes: more than there are samples for
    static constexpr int Bins = 161;  ///< up to 20 Hz
    static constexpr double TopHz = (Bins - 1) * PowerSpectrum::BinHz;

    SpectrogramColumns();

    void clear();
    /// The last column of a picture that ends before sample endNumber. Column c ends before sample
    /// c * SamplesPerColumn.
    [[nodiscard]] static quint64 lastColumn(quint64 endNumber) { return endNumber / SamplesPerColumn; }
    /// Columns of that picture that were not computed yet, newest first, at most so many.
    [[nodiscard]] std::vector<quint64> missing(quint64 lastColumn, int most) const;
    /// Where to write column's values to.
    [[nodiscard]] std::span<float> place(quint64 column);
    /// Bins values in dB; empty when there is no such column.
    [[nodiscard]] std::span<const float> column(quint64 column) const;

private:
    [[nodiscard]] static std::size_t slot(quint64 column) { return static_cast<std::size_t>(column % Kept); }

    std::vector<quint64> m_numbers; ///< of each slot; 0: empty
    std::vector<float> m_values;
};

} // namespace vt
