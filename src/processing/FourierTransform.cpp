// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FourierTransform.h"

#include "base/Mutex.h"
#include "processing/AlignedArray.h"

#include <fftw3.h>

namespace vt {

namespace {

/// FFTW's planner keeps global state; only executing a plan is free of it.
Mutex plannerMutex;

fftw_complex* asComplex(double* bins)
{
    return reinterpret_cast<fftw_complex*>(bins);
}

} // namespace

struct FourierTransform::Plans
{
    fftw_plan forward = nullptr;
    fftw_plan backward = nullptr;
    SignalStatus status = SignalStatus::OutOfMemory;

    explicit Plans(int length)
    {
        const auto count = static_cast<std::size_t>(length);
        AlignedArray signal(count);
        AlignedArray bins(count + 2);
        if (!signal.valid() || !bins.valid())
            return;
        MutexLock lock(plannerMutex);
        forward = fftw_plan_dft_r2c_1d(length, signal.data(), asComplex(bins.data()), FFTW_ESTIMATE);
        backward = fftw_plan_dft_c2r_1d(length, asComplex(bins.data()), signal.data(), FFTW_ESTIMATE);
        status = forward && backward ? SignalStatus::Ok : SignalStatus::PlanFailed;
    }
    ~Plans()
    {
        MutexLock lock(plannerMutex);
        fftw_destroy_plan(forward);
        fftw_destroy_plan(backward);
    }
    Plans(const Plans&) = delete;
    Plans& operator=(const Plans&) = delete;
};

FourierTransform::FourierTransform(int length) : m_length(length), m_plans(std::make_unique<Plans>(length)) {}
FourierTransform::~FourierTransform() = default;
FourierTransform::FourierTransform(FourierTransform&&) noexcept = default;

SignalStatus FourierTransform::status() const
{
    return m_plans->status;
}

void FourierTransform::forward(const double* signal, double* bins) const
{
    // Out of place, a forward real transform leaves its input as it is.
    fftw_execute_dft_r2c(m_plans->forward, const_cast<double*>(signal), asComplex(bins));
}

void FourierTransform::backward(double* bins, double* signal) const
{
    fftw_execute_dft_c2r(m_plans->backward, asComplex(bins), signal);
}

} // namespace vt
