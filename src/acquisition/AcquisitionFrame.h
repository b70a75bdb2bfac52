// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vt {

// One AcquisitionFrame is a contiguous block of channelCount x 20 doubles in volts, grouped by channel:
// the 20 samples of channel 0, oldest first, then those of channel 1, and so on. The sample of channel k
// at instant j stands at index k * SamplesPerFrame + j.
inline constexpr double RawSampleRateHz = 600.0;
inline constexpr int SamplesPerFrame = 20; ///< per channel; one frame is 1/30 s
inline constexpr int DecimationFactor = 5; ///< 600 Hz to 120 Hz
inline constexpr int DecimatedRateHz = 120;
inline constexpr int DecimatedSamplesPerFrame = SamplesPerFrame / DecimationFactor;
inline constexpr int FrameQueueCapacity = 10; ///< about 333 ms of data
inline constexpr int FramesPerSecond = 30;
inline constexpr int MaxChannels = 16;

/// Animal type codes as the acquisition unit reports them.
enum AnimalType : int { AnimalMouse = 1, AnimalRat = 2 };

} // namespace vt
