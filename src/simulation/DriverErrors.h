// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vt::drivererror {

// Status codes that the simulated unit answers with, by the numbers that the driver publishes.
inline constexpr std::int32_t ResourceReserved = -50103;
inline constexpr std::int32_t DeviceGone = -88709;
inline constexpr std::int32_t TaskAborted = -88710;
inline constexpr std::int32_t InvalidAttributeValue = -200077;
inline constexpr std::int32_t SampleRateTooHigh = -200081;
inline constexpr std::int32_t InvalidTask = -200088;
inline constexpr std::int32_t NoSuchPhysicalChannel = -200170;
inline constexpr std::int32_t InvalidDevice = -200220;
inline constexpr std::int32_t TextBufferTooSmall = -200228;
inline constexpr std::int32_t ReadBufferTooSmall = -200229;
inline constexpr std::int32_t SamplesOverwritten = -200279;
inline constexpr std::int32_t SamplesNotYetAvailable = -200284;
inline constexpr std::int32_t TaskNotRunning = -200475;
inline constexpr std::int32_t NoChannels = -200478;
inline constexpr std::int32_t TaskRunning = -200479;
inline constexpr std::int32_t ChannelAlreadyInTask = -200489;
inline constexpr std::int32_t ChannelSyntax = -200498;
inline constexpr std::int32_t ReadChannelType = -200525;
inline constexpr std::int32_t WriteChannelType = -200526;
inline constexpr std::int32_t NullPointer = -200604;
inline constexpr std::int32_t WriteWithoutStart = -200846;
inline constexpr std::int32_t EventNeedsBuffer = -200848;
inline constexpr std::int32_t EventAlreadyRegistered = -200881;
inline constexpr std::int32_t EventWhileRunning = -200960;
inline constexpr std::int32_t ReadBeforeStart = -200984;

/// One short sentence for a code; a general one for codes that are not listed above. Empty for 0.
[[nodiscard]] std::string text(std::int32_t code);

/// Copies text with its terminating zero the way the driver fills text buffers: without a buffer (or size 0)
/// the needed size is returned; a short buffer gets what fits and TextBufferTooSmall; otherwise 0.
std::int32_t copyText(std::string_view text, char* buffer, std::uint32_t bufferSize);

} // namespace vt::drivererror
