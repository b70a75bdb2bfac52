// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <cstdint>
#include <string_view>
#include <vector>

namespace vt {

/// What a task of the simulated unit has been told so far.
struct SimulatedTask
{
    enum class Kind { Empty, AnalogInput, DigitalInput, DigitalOutput };
    Kind kind = Kind::Empty;
    std::vector<int> analogChannels;
    bool hasSampleClock = false;
    std::uint32_t eventSamples = 0;
    daqmx::EveryNSamplesCallback callback = nullptr;
    void* callbackData = nullptr;
    int port = 0;
    std::uint32_t lines = 0;   ///< bit n: line n belongs to the task
    bool running = false;      ///< digital tasks; analog ones ask the analog input
    std::int32_t lostCode = 0; ///< not 0: the device was unplugged or reset, every call answers this
};

/// "dev/ai0:7", "dev/ai3", comma-separated. Names are compared without regard to case. Returns a status:
/// ChannelSyntax, InvalidDevice, NoSuchPhysicalChannel, or 0 with the channels in order.
[[nodiscard]] std::int32_t parseAnalogChannels(std::string_view text, std::string_view device,
                                               int channelCount, std::vector<int>* channels);

/// "dev/port0/line3", "dev/port0/line1:2", comma-separated lines of one port. Status as above, or 0 with the
/// port and the mask of the lines.
[[nodiscard]] std::int32_t parseDigitalLines(std::string_view text, std::string_view device, int* port,
                                             std::uint32_t* lines);

/// Device names are compared without regard to case.
[[nodiscard]] bool sameDeviceName(std::string_view a, std::string_view b);

} // namespace vt
