// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "simulation/SimulatedUnit.h"

#include <functional>
#include <string>
#include <vector>

namespace vt::test {

/// An analog task with a callback every 20 samples, set up with the five calls that the program makes.
struct AnalogTask
{
    AnalogTask(SimulatedUnit& u, int channelCount) : unit(u), channels(channelCount) {}

    /// The status of the call that failed, or 0.
    std::int32_t open(const std::string& device = "sim")
    {
        const std::string list = device + "/ai0:" + std::to_string(channels - 1);
        const auto bufferSize = static_cast<std::uint64_t>(channels) * 20;
        samples.assign(bufferSize, 0.0);
        if (const auto status = unit.DAQmxCreateTask("", &handle))
            return status;
        if (const auto status =
                unit.DAQmxCreateAIVoltageChan(handle, list.c_str(), "", 10083, -10.0, 10.0, 10348, nullptr))
            return status;
        if (const auto status = unit.DAQmxCfgSampClkTiming(handle, "", 600.0, 10280, 10123, bufferSize))
            return status;
        return unit.DAQmxRegisterEveryNSamplesEvent(handle, 1, 20, 0, &AnalogTask::called, this);
    }
    std::int32_t start() { return unit.DAQmxStartTask(handle); }

    std::int32_t read()
    {
        return unit.DAQmxReadAnalogF64(handle, 20, 10.0, 0, samples.data(),
                                       static_cast<std::uint32_t>(samples.size()), &samplesRead, nullptr);
    }

    SimulatedUnit& unit;
    const int channels;
    daqmx::TaskHandle handle = nullptr;
    std::vector<double> samples;
    std::int32_t samplesRead = 0;
    std::int32_t lastStatus = 0;
    std::function<void()> onCallback = [this] { lastStatus = read(); };

private:
    static std::int32_t VT_DAQMX_CALL called(daqmx::TaskHandle, std::int32_t, std::uint32_t, void* data)
    {
        static_cast<AnalogTask*>(data)->onCallback();
        return 0;
    }
};

} // namespace vt::test
