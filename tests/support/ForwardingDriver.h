// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "daqmx/DaqmxApi.h"

namespace vt::test {

/// A driver in front of another: every call goes on to it unless before() fails it. Calls that name lines or
/// a device pass that name on, the others an empty one.
class ForwardingDriver : public DaqmxApi
{
public:
    explicit ForwardingDriver(DaqmxApi& behind) : m_behind(behind) {}

    std::int32_t DAQmxCreateTask(const char* name, daqmx::TaskHandle* task) override
    {
        return pass("CreateTask", nullptr, "", [&] { return m_behind.DAQmxCreateTask(name, task); });
    }
    std::int32_t DAQmxStartTask(daqmx::TaskHandle task) override
    {
        return pass("StartTask", task, "", [&] { return m_behind.DAQmxStartTask(task); });
    }
    std::int32_t DAQmxStopTask(daqmx::TaskHandle task) override
    {
        return pass("StopTask", task, "", [&] { return m_behind.DAQmxStopTask(task); });
    }
    std::int32_t DAQmxClearTask(daqmx::TaskHandle task) override
    {
        return pass("ClearTask", task, "", [&] { return m_behind.DAQmxClearTask(task); });
    }
    std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isDone) override
    {
        return pass("IsTaskDone", task, "", [&] { return m_behind.DAQmxIsTaskDone(task, isDone); });
    }
    std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* channel, const char* name,
                                          std::int32_t terminals, double minVal, double maxVal,
                                          std::int32_t units, const char* scale) override
    {
        return pass("CreateAIVoltageChan", task, channel, [&] {
            return m_behind.DAQmxCreateAIVoltageChan(task, channel, name, terminals, minVal, maxVal, units,
                                                     scale);
        });
    }
    std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                       std::int32_t edge, std::int32_t mode, std::uint64_t samples) override
    {
        return pass("CfgSampClkTiming", task, "",
                    [&] { return m_behind.DAQmxCfgSampClkTiming(task, source, rate, edge, mode, samples); });
    }
    std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t type, std::uint32_t n,
                                                 std::uint32_t options, daqmx::EveryNSamplesCallback callback,
                                                 void* data) override
    {
        return pass("RegisterEveryNSamplesEvent", task, "", [&] {
            return m_behind.DAQmxRegisterEveryNSamplesEvent(task, type, n, options, callback, data);
        });
    }
    std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                    daqmx::Bool32 fillMode, double* values, std::uint32_t size,
                                    std::int32_t* read, daqmx::Bool32* reserved) override
    {
        return pass("ReadAnalogF64", task, "", [&] {
            return m_behind.DAQmxReadAnalogF64(task, samples, timeoutSeconds, fillMode, values, size, read,
                                               reserved);
        });
    }
    std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char* name,
                                   std::int32_t grouping) override
    {
        return pass("CreateDIChan", task, lines,
                    [&] { return m_behind.DAQmxCreateDIChan(task, lines, name, grouping); });
    }
    std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char* name,
                                   std::int32_t grouping) override
    {
        return pass("CreateDOChan", task, lines,
                    [&] { return m_behind.DAQmxCreateDOChan(task, lines, name, grouping); });
    }
    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                     daqmx::Bool32 fillMode, std::uint32_t* values, std::uint32_t size,
                                     std::int32_t* read, daqmx::Bool32* reserved) override
    {
        return pass("ReadDigitalU32", task, "", [&] {
            return m_behind.DAQmxReadDigitalU32(task, samples, timeoutSeconds, fillMode, values, size, read,
                                                reserved);
        });
    }
    std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                       daqmx::Bool32 fillMode, std::uint8_t* values, std::uint32_t size,
                                       std::int32_t* read, std::int32_t* bytes,
                                       daqmx::Bool32* reserved) override
    {
        return pass("ReadDigitalLines", task, "", [&] {
            return m_behind.DAQmxReadDigitalLines(task, samples, timeoutSeconds, fillMode, values, size, read,
                                                  bytes, reserved);
        });
    }
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samples, daqmx::Bool32 autoStart,
                                      double timeoutSeconds, daqmx::Bool32 layout,
                                      const std::uint32_t* values, std::int32_t* written,
                                      daqmx::Bool32* reserved) override
    {
        return pass("WriteDigitalU32", task, "", [&] {
            return m_behind.DAQmxWriteDigitalU32(task, samples, autoStart, timeoutSeconds, layout, values,
                                                 written, reserved);
        });
    }
    std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t size) override
    {
        return pass("GetSysDevNames", nullptr, "", [&] { return m_behind.DAQmxGetSysDevNames(data, size); });
    }
    std::int32_t DAQmxGetDevProductType(const char* device, char* data, std::uint32_t size) override
    {
        return pass("GetDevProductType", nullptr, device,
                    [&] { return m_behind.DAQmxGetDevProductType(device, data, size); });
    }
    std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) override
    {
        return pass("GetDevSerialNum", nullptr, device,
                    [&] { return m_behind.DAQmxGetDevSerialNum(device, data); });
    }
    std::int32_t DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data) override
    {
        return pass("GetDevIsSimulated", nullptr, device,
                    [&] { return m_behind.DAQmxGetDevIsSimulated(device, data); });
    }
    std::int32_t DAQmxGetDevAIPhysicalChans(const char* device, char* data, std::uint32_t size) override
    {
        return pass("GetDevAIPhysicalChans", nullptr, device,
                    [&] { return m_behind.DAQmxGetDevAIPhysicalChans(device, data, size); });
    }
    std::int32_t DAQmxResetDevice(const char* device) override
    {
        return pass("ResetDevice", nullptr, device, [&] { return m_behind.DAQmxResetDevice(device); });
    }
    std::int32_t DAQmxGetErrorString(std::int32_t code, char* text, std::uint32_t size) override
    {
        return m_behind.DAQmxGetErrorString(code, text, size);
    }
    std::int32_t DAQmxGetExtendedErrorInfo(char* text, std::uint32_t size) override
    {
        return m_behind.DAQmxGetExtendedErrorInfo(text, size);
    }

protected:
    /// On the calling thread, before the call goes on; a negative answer fails it. function without "DAQmx".
    virtual std::int32_t before(const char* function, daqmx::TaskHandle task, const char* lines) = 0;

private:
    template <typename Call>
    std::int32_t pass(const char* function, daqmx::TaskHandle task, const char* lines, Call call)
    {
        const std::int32_t status = before(function, task, lines);
        return status < 0 ? status : call();
    }

    DaqmxApi& m_behind;
};

} // namespace vt::test
