// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/reference/PlainFilters.h"

#include "acquisition/AcquisitionFrame.h"

namespace vt::reference {

std::vector<double> decimate(std::span<const double> x)
{
    std::vector<double> y;
    for (std::size_t newest = 0; newest < x.size(); newest += DecimationFactor) {
        double sum = 0.0;
        for (std::size_t k = 0; k < DecimatorTaps.size() && k <= newest; ++k)
            sum += DecimatorTaps[k] * x[newest - k];
        y.push_back(sum);
    }
    return y;
}

std::vector<double> symmetricFir(std::span<const double> halfTaps, std::span<const double> x)
{
    const std::size_t tapCount = 2 * halfTaps.size();
    std::vector<double> y;
    for (std::size_t n = 0; n < x.size(); ++n) {
        double sum = 0.0;
        for (std::size_t k = 0; k < tapCount && k <= n; ++k)
            sum += halfTaps[k < halfTaps.size() ? k : tapCount - 1 - k] * x[n - k];
        y.push_back(sum);
    }
    return y;
}

std::vector<double> bandpass(std::span<const double> x)
{
    std::vector<double> y;
    for (std::size_t n = 0; n < x.size(); ++n) {
        double sum = BandpassNumerator[0] * x[n];
        for (std::size_t k = 1; k <= BandpassOrder && k <= n; ++k)
            sum += BandpassNumerator[k] * x[n - k] - BandpassDenominator[k] * y[n - k];
        y.push_back(sum);
    }
    return y;
}

std::vector<double> biquadCascade(std::span<const Biquad> sections, std::span<const double> x)
{
    std::vector<double> signal(x.begin(), x.end());
    for (const Biquad& s : sections) {
        double x1 = 0.0;
        double x2 = 0.0;
        double y1 = 0.0;
        double y2 = 0.0;
        for (double& value : signal) {
            const double y = s.b0 * value + s.b1 * x1 + s.b2 * x2 - s.a1 * y1 - s.a2 * y2;
            x2 = x1;
            x1 = value;
            y2 = y1;
            y1 = y;
            value = y;
        }
    }
    return signal;
}

} // namespace vt::reference
