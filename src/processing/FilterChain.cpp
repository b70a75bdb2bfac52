// SPDX-License-Identifier: GPL-3.0-or-later
#include "processing/FilterChain.h"

#include <QtDebug>
#include <algorithm>
#include <cmath>

namespace vt {

namespace {

bool allFinite(std::span<const double> values)
{
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

} // namespace

FilterChain::FilterChain(int channelCount, int animalType, double inputOffsetVolts, const Kernels& kernels)
    : m_kernels(kernels), m_inputOffsetVolts(inputOffsetVolts),
      m_channels(static_cast<std::size_t>(std::max(channelCount, 0)))
{
    if (!m_phaseTaps.valid())
        qCritical() << "Failed to allocate FIR spec";
    for (std::size_t k = 0; m_phaseTaps.valid() && k < DecimatorTaps.size(); ++k)
        m_phaseTaps[k % DecimatorPhases * DecimatorPhaseTaps + k / DecimatorPhases] = DecimatorTaps[k];

    if (animalType == AnimalMouse) {
        m_halfTapsBr = BrMouseHalfTaps.data();
        m_halfTapsAct = ActMouseHalfTaps.data();
    } else if (animalType == AnimalRat) {
        m_halfTapsBr = BrRatHalfTaps.data();
        m_halfTapsAct = ActRatHalfTaps.data();
    } else {
        qWarning() << "Unknown animal type:" << animalType;
        qWarning() << "Are you using a genuine device?";
    }
    for (const Channel& channel : m_channels) {
        if (!channel.streams.valid())
            qCritical() << "Failed to allocate FIR buffer";
        if (!channel.band.valid()) { // one history serves both bands
            qCritical() << "Failed to allocate Br buffer";
            qCritical() << "Failed to allocate Act buffer";
        }
    }
}

void FilterChain::reset()
{
    for (Channel& channel : m_channels) {
        channel.streams.clear();
        channel.streamEnd = StreamPast;
        channel.band.clear();
        channel.bandEnd = BandPast;
        channel.bandpassIn.fill(0.0);
        channel.bandpassOut.fill(0.0);
        channel.decimatorFailing = channel.bandpassFailing = false;
    }
}

FilterChain::Channel* FilterChain::find(int channel)
{
    const bool known = channel >= 0 && static_cast<std::size_t>(channel) < m_channels.size();
    return known ? &m_channels[static_cast<std::size_t>(channel)] : nullptr;
}

void FilterChain::filterDecimate(int channel, Raw in600, Output out120)
{
    const SignalStatus status = decimate(channel, in600, out120);
    Channel* state = find(channel);
    const bool failed = status != SignalStatus::Ok;
    if (failed && !(state && state->decimatorFailing))
        qWarning().noquote() << "FIR filter error:" << statusText(status);
    if (state)
        state->decimatorFailing = failed;
    const bool written = !failed || status == SignalStatus::NotFinite;
    if (written && m_inputOffsetVolts != 0.0)
        for (double& value : out120)
            value -= m_inputOffsetVolts;
}

SignalStatus FilterChain::decimate(int channel, Raw in600, Output out120)
{
    Channel* state = find(channel);
    if (!state)
        return SignalStatus::BadChannel;
    if (!state->streams.valid() || !m_phaseTaps.valid())
        return SignalStatus::NotInitialised;
    double* streams = state->streams.data();
    if (state->streamEnd + DecimatedSamplesPerFrame + 1 > StreamStride) {
        for (std::size_t p = 0; p < DecimatorPhases; ++p) {
            double* stream = streams + p * StreamStride;
            std::copy_n(stream + state->streamEnd - StreamPast, StreamPast + 1, stream);
        }
        state->streamEnd = StreamPast;
    }
    // Stream p at instant m holds x[5 m - p]. Of the five samples x[5 i] .. x[5 i + 4], the first belongs to
    // instant i of stream 0 and the others to instant i + 1 of streams 4 to 1.
    for (std::size_t i = 0; i < DecimatedSamplesPerFrame; ++i) {
        const std::size_t at = state->streamEnd + i;
        const double* five = in600.data() + i * DecimationFactor;
        streams[at] = five[0];
        for (std::size_t r = 1; r < DecimatorPhases; ++r)
            streams[(DecimatorPhases - r) * StreamStride + at + 1] = five[r];
    }
    m_kernels.decimate(m_phaseTaps.data(), streams + state->streamEnd, StreamStride, out120.data());
    state->streamEnd += DecimatedSamplesPerFrame;
    return allFinite(out120) ? SignalStatus::Ok : SignalStatus::NotFinite;
}

void FilterChain::filterBandpass(int channel, Input in, Output out)
{
    const SignalStatus status = bandpass(channel, in, out);
    Channel* state = find(channel);
    const bool failed = status != SignalStatus::Ok;
    if (failed && !(state && state->bandpassFailing))
        qWarning().noquote() << "IIR filter error (channel" << channel << "):" << statusText(status);
    if (state)
        state->bandpassFailing = failed;
}

SignalStatus FilterChain::bandpass(int channel, Input in, Output out)
{
    Channel* state = find(channel);
    if (!state)
        return SignalStatus::BadChannel;
    auto& x = state->bandpassIn;
    auto& y = state->bandpassOut;
    for (std::size_t i = 0; i < in.size(); ++i) {
        double sum = BandpassNumerator[0] * in[i];
        for (std::size_t k = 1; k <= BandpassOrder; ++k)
            sum += BandpassNumerator[k] * x[k - 1] - BandpassDenominator[k] * y[k - 1];
        std::copy_backward(x.begin(), x.end() - 1, x.end());
        std::copy_backward(y.begin(), y.end() - 1, y.end());
        x[0] = in[i];
        y[0] = sum;
        out[i] = sum;
    }
    if (allFinite(out))
        return SignalStatus::Ok;
    // The recursion would never forget it.
    x.fill(0.0);
    y.fill(0.0);
    return SignalStatus::NotFinite;
}

void FilterChain::filterBrAct(int channel, Input in, Output outBr, Output outAct)
{
    Channel* state = find(channel);
    if (!state || !state->band.valid() || !m_halfTapsBr)
        return;
    double* history = state->band.data();
    if (state->bandEnd + in.size() > state->band.size()) {
        std::copy_n(history + state->bandEnd - BandPast, BandPast, history);
        state->bandEnd = BandPast;
    }
    std::copy(in.begin(), in.end(), history + state->bandEnd);
    m_kernels.bandPair(m_halfTapsBr, m_halfTapsAct, history + state->bandEnd, outBr.data(), outAct.data());
    state->bandEnd += in.size();
}

} // namespace vt
