// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "processing/SignalStatus.h"

#include <memory>

namespace vt {

/// Discrete Fourier transform of real signals of one length and its inverse, without scaling: a forward and a
/// backward transform together multiply by the length.
///
/// Construction and destruction may happen on any thread (plans are made under one lock); the transforms are
/// const and work on the caller's arrays, which start on 64 bytes (AlignedArray) and do not overlap. Bins are
/// interleaved: length / 2 + 1 pairs of real and imaginary part.
/// Plans are estimated, not measured: measuring gains about a quarter in speed, but takes a second per length
/// at the start of a session, and the plan and with it the last bits of every feature would differ from run
/// to run.
class FourierTransform
{
public:
    /// length > 0, even. status() tells when no plan could be made.
    explicit FourierTransform(int length);
    ~FourierTransform();
    FourierTransform(FourierTransform&&) noexcept;
    FourierTransform& operator=(FourierTransform&&) = delete;

    [[nodiscard]] SignalStatus status() const;
    [[nodiscard]] int length() const { return m_length; }

    /// length real values to length / 2 + 1 bins.
    void forward(const double* signal, double* bins) const;
    /// The other way round; destroys bins.
    void backward(double* bins, double* signal) const;

private:
    struct Plans;
    int m_length;
    std::unique_ptr<Plans> m_plans;
};

} // namespace vt
