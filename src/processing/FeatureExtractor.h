// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/FeatureBlocks.h"
#include "processing/FeatureResult.h"

#include <span>

namespace vt {

/// Reduces the last 8 s of a channel's breathing and activity bands to its features, for mice and rats.
///
/// The mouse's features are defined on twice the signals. Everything involved scales exactly by a power of
/// two, so the signals themselves are used and only levels are doubled.
///
/// Processing thread. Nothing is allocated after construction. A step on samples that are not finite logs the
/// operation that failed and leaves the result of the step before.
class FeatureExtractor
{
public:
    using Window = std::span<const double, WindowLength>;

    /// animalType other than 1 (mouse) or 2 (rat): all features stay 0 and there is no spectrum.
    explicit FeatureExtractor(int animalType, const Kernels& kernels = bestKernels());

    /// br, act: the windows, oldest sample first.
    void extract(Window br, Window act, FeatureResult& result);

private:
    void extractMouse(const double* br, const double* act, FeatureResult& result);
    void extractRat(const double* br, const double* act, FeatureResult& result);
    [[nodiscard]] bool measurePower(const double* br, FeatureResult& result) const;
    [[nodiscard]] bool compress(const double* window, double* out);
    void computeContrast(const double* compressed, const SpectrumBands& bands, FeatureResult& result);

    const int m_animalType;
    FeatureBlocks m_blocks;
    AlignedArray m_br{WindowLength}; ///< copies, aligned for the transforms
    AlignedArray m_act{WindowLength};
    AlignedArray m_tapWinK8{WindowLength};
    AlignedArray m_tapWinK3{WindowLength};
    AlignedArray m_compressedBr{WindowLength};
    AlignedArray m_compressedAct{WindowLength};
    AlignedArray m_tapered{WindowLength};
    bool m_usable = false;
};

} // namespace vt
