// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/AcquisitionFrame.h"
#include "processing/AlignedArray.h"
#include "processing/SignalStatus.h"
#include "processing/kernels/Kernels.h"

#include <array>
#include <span>
#include <vector>

namespace vt {

/// The filters of all channels of a recording, each with its own state per channel, so that consecutive
/// frames are filtered as one continuous stream from zero initial state.
///
/// Processing thread only. Everything is allocated at construction. What cannot be allocated is logged and
/// leaves its filter unusable: the filter functions then leave their outputs as they are. A run of output
/// that is not finite is logged once per run and channel.
class FilterChain
{
public:
    using Raw = std::span<const double, SamplesPerFrame>;
    using Input = std::span<const double, DecimatedSamplesPerFrame>;
    using Output = std::span<double, DecimatedSamplesPerFrame>;

    /// animalType chooses the band filters: 1 mouse, 2 rat; any other leaves them uninitialised.
    /// inputOffsetVolts is subtracted after decimation; exactly 0 skips the step.
    FilterChain(int channelCount, int animalType, double inputOffsetVolts,
                const Kernels& kernels = bestKernels());

    /// Back to zero state.
    void reset();

    /// One frame at 600 Hz to 4 samples at 120 Hz.
    void filterDecimate(int channel, Raw in600, Output out120);
    /// Display band-pass, 0.75 to 10 Hz.
    void filterBandpass(int channel, Input in, Output out);
    /// Breathing and activity band of the animal type.
    void filterBrAct(int channel, Input in, Output outBr, Output outAct);

private:
    // A history is appended to at its end; when it is full, what the filter still needs moves to the front.
    static constexpr std::size_t SlackFrames = 16;
    static constexpr std::size_t SlackSamples = SlackFrames * DecimatedSamplesPerFrame;
    static constexpr std::size_t StreamPast = DecimatorPhaseTaps - 1;
    /// One value ahead: of a frame's samples, four streams already belong to the next instant.
    static constexpr std::size_t StreamStride = StreamPast + SlackSamples + 6;
    static constexpr std::size_t BandPast = BandTapCount - 1;

    struct Channel
    {
        AlignedArray streams{DecimatorPhases * StreamStride};
        std::size_t streamEnd = StreamPast;
        AlignedArray band{BandPast + SlackSamples};
        std::size_t bandEnd = BandPast;
        std::array<double, BandpassOrder> bandpassIn{}; ///< newest first
        std::array<double, BandpassOrder> bandpassOut{};
        bool decimatorFailing = false;
        bool bandpassFailing = false;
    };

    [[nodiscard]] SignalStatus decimate(int channel, Raw in600, Output out120);
    [[nodiscard]] SignalStatus bandpass(int channel, Input in, Output out);
    [[nodiscard]] Channel* find(int channel);

    const Kernels& m_kernels;
    const double m_inputOffsetVolts;
    AlignedArray m_phaseTaps{DecimatorPhases * DecimatorPhaseTaps};
    const double* m_halfTapsBr = nullptr;
    const double* m_halfTapsAct = nullptr;
    std::vector<Channel> m_channels;
};

} // namespace vt
