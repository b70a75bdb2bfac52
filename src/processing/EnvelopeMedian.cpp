// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/EnvelopeMedian.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vt {

namespace {

/// A limit with the number of values below it.
struct Counted
{
    double limit;
    std::size_t below;
};

double meanOfRoots(double a, double b)
{
    return (std::sqrt(a) + std::sqrt(b)) / 2.0;
}

/// Selection that any distribution allows, for those that interpolation does not get hold of (many equal
/// values, a few huge ones).
double selectPlainly(std::span<double> values, std::size_t upperRank)
{
    const auto upper = values.begin() + static_cast<std::ptrdiff_t>(upperRank);
    std::nth_element(values.begin(), upper, values.end());
    return meanOfRoots(*std::max_element(values.begin(), upper), *upper);
}

} // namespace

double medianOfRoots(const Kernels& kernels, std::span<const double> squares, std::span<double> scratch)
{
    constexpr int MaxPasses = 12;
    constexpr std::size_t FewEnough = 24;
    constexpr double Margin =
        6.0; // ranks aimed beyond the middle, so that the bracket closes from both sides
    const std::size_t count = squares.size();
    const std::size_t half = count / 2; // rank of the upper middle value

    const SumAndMaximum total = kernels.sumAndMaximum(squares.data(), count);
    if (!std::isfinite(total.sum))
        return std::numeric_limits<double>::quiet_NaN();
    Counted low{0.0, 0};
    Counted high{std::nextafter(total.maximum, HUGE_VAL), count};
    // Squared envelopes of noise are distributed exponentially: median = mean x ln 2.
    double limit = total.sum / static_cast<double>(count) * 0.6931;
    for (int pass = 0; pass < MaxPasses && limit > low.limit && limit < high.limit; ++pass) {
        const Counted here{limit, kernels.countBelow(squares.data(), count, limit)};
        if (here.below == half) {
            double lower = 0.0;
            double upper = 0.0;
            kernels.aroundLimit(squares.data(), count, limit, &lower, &upper);
            return meanOfRoots(lower, upper);
        }
        const bool isLow = here.below < half;
        (isLow ? low : high) = here;
        if (high.below - low.below <= FewEnough)
            break;
        // Density near the limit: of the whole bracket once both ends are close, of what lies below before.
        const bool bracketed = high.below < count && low.below > 0;
        const double width = bracketed ? high.limit - low.limit : here.limit;
        const double ranks =
            static_cast<double>(bracketed ? high.below - low.below : std::max<std::size_t>(here.below, 1));
        const double missing = static_cast<double>(half) - static_cast<double>(here.below);
        const double aim = missing + (isLow ? Margin : -Margin);
        limit = here.limit + aim * width / ranks;
        if (!(limit > low.limit && limit < high.limit))
            limit = low.limit + (high.limit - low.limit) / 2.0;
    }
    const std::size_t inside = kernels.collect(squares.data(), count, low.limit, high.limit, scratch.data());
    return selectPlainly(scratch.first(inside), half - low.below);
}

} // namespace vt
