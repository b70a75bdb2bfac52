// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

#include <cstring>
#include <string>

namespace vt::test {

/// Writes a C string into a driver-style buffer.
inline void copyText(const std::string& text, char* buffer, std::uint32_t size)
{
    if (!buffer || size == 0)
        return;
    std::strncpy(buffer, text.c_str(), size - 1);
    buffer[size - 1] = '\0';
}

/// A driver without devices that says yes to every call. Fakes override what their test looks at.
class DriverStub : public DaqmxApi
{
public:
    std::int32_t DAQmxCreateTask(const char*, daqmx::TaskHandle*) override { return 0; }
    std::int32_t DAQmxStartTask(daqmx::TaskHandle) override { return 0; }
    std::int32_t DAQmxStopTask(daqmx::TaskHandle) override { return 0; }
    std::int32_t DAQmxClearTask(daqmx::TaskHandle) override { return 0; }
    std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle, daqmx::Bool32*) override { return 0; }
    std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle, const char*, const char*, std::int32_t, double,
                                          double, std::int32_t, const char*) override
    {
        return 0;
    }
    std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle, const char*, double, std::int32_t, std::int32_t,
                                       std::uint64_t) override
    {
        return 0;
    }
    std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle, std::int32_t, std::uint32_t,
                                                 std::uint32_t, daqmx::EveryNSamplesCallback, void*) override
    {
        return 0;
    }
    std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle, std::int32_t, double, daqmx::Bool32, double*,
                                    std::uint32_t, std::int32_t*, daqmx::Bool32*) override
    {
        return 0;
    }
    std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle, const char*, const char*, std::int32_t) override
    {
        return 0;
    }
    std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle, const char*, const char*, std::int32_t) override
    {
        return 0;
    }
    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle, std::int32_t, double, daqmx::Bool32, std::uint32_t*,
                                     std::uint32_t, std::int32_t*, daqmx::Bool32*) override
    {
        return 0;
    }
    std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle, std::int32_t, double, daqmx::Bool32, std::uint8_t*,
                                       std::uint32_t, std::int32_t*, std::int32_t*, daqmx::Bool32*) override
    {
        return 0;
    }
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle, std::int32_t, daqmx::Bool32, double, daqmx::Bool32,
                                      const std::uint32_t*, std::int32_t*, daqmx::Bool32*) override
    {
        return 0;
    }
    std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t size) override
    {
        copyText("", data, size);
        return 0;
    }
    std::int32_t DAQmxGetDevProductType(const char*, char*, std::uint32_t) override { return 0; }
    std::int32_t DAQmxGetDevSerialNum(const char*, std::uint32_t*) override { return 0; }
    std::int32_t DAQmxGetDevIsSimulated(const char*, daqmx::Bool32*) override { return 0; }
    std::int32_t DAQmxGetDevAIPhysicalChans(const char*, char*, std::uint32_t) override { return 0; }
    std::int32_t DAQmxResetDevice(const char*) override { return 0; }
    std::int32_t DAQmxGetErrorString(std::int32_t code, char* text, std::uint32_t size) override
    {
        copyText("error " + std::to_string(code), text, size);
        return 0;
    }
    std::int32_t DAQmxGetExtendedErrorInfo(char* text, std::uint32_t size) override
    {
        copyText("extended text", text, size);
        return 0;
    }
};

} // namespace vt::test
