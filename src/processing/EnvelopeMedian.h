// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/kernels/Kernels.h"

#include <span>

namespace vt {

/// Median of sqrt(squares[i]) for an even number of values >= 0: the mean of the roots of
/// the two middle values. Linear time on average: a few counting passes close in on the middle by
/// interpolation, so that hardly a branch depends on the data.
/// NaN when the sum of the squares is not finite.
/// squares.size() is a multiple of 8; scratch is at least as long and is overwritten.
[[nodiscard]] double medianOfRoots(const Kernels& kernels, std::span<const double> squares,
                                   std::span<double> scratch);

} // namespace vt
