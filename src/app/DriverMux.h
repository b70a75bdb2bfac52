// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "daqmx/DaqmxApi.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace vt {

/// Several drivers as one: the real library and simulated units. Device lists are joined; calls that name a
/// device or a channel go to the side that owns the name. A task belongs to a side from its first channel
/// on, so the creation of the underlying task waits for that. Thread-safe like the drivers behind it; takes
/// no lock on calls that carry a task.
class DriverMux final : public DaqmxApi
{
public:
    /// A driver with one device.
    struct Side
    {
        std::string device;
        DaqmxApi* driver;
    };
    /// What no side of the list is named for goes to others, which is asked first for its devices.
    DriverMux(DaqmxApi& others, std::vector<Side> sides);
    ~DriverMux() override;

    std::int32_t DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task) override;
    std::int32_t DAQmxStartTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxStopTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxClearTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone) override;
    std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* physicalChannel,
                                          const char* nameToAssignToChannel, std::int32_t terminalConfig,
                                          double minVal, double maxVal, std::int32_t units,
                                          const char* customScaleName) override;
    std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                       std::int32_t activeEdge, std::int32_t sampleMode,
                                       std::uint64_t samplesPerChannel) override;
    std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t eventType,
                                                 std::uint32_t sampleCount, std::uint32_t options,
                                                 daqmx::EveryNSamplesCallback callback,
                                                 void* callbackData) override;
    std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                    double timeoutSeconds, daqmx::Bool32 fillMode, double* readArray,
                                    std::uint32_t arraySizeInSamples, std::int32_t* samplesPerChannelRead,
                                    daqmx::Bool32* reserved) override;
    std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char* nameToAssignToLines,
                                   std::int32_t lineGrouping) override;
    std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char* nameToAssignToLines,
                                   std::int32_t lineGrouping) override;
    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                     double timeoutSeconds, daqmx::Bool32 fillMode, std::uint32_t* readArray,
                                     std::uint32_t arraySizeInSamples, std::int32_t* samplesPerChannelRead,
                                     daqmx::Bool32* reserved) override;
    std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                       double timeoutSeconds, daqmx::Bool32 fillMode, std::uint8_t* readArray,
                                       std::uint32_t arraySizeInBytes, std::int32_t* samplesPerChannelRead,
                                       std::int32_t* bytesPerSample, daqmx::Bool32* reserved) override;
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                      daqmx::Bool32 autoStart, double timeoutSeconds,
                                      daqmx::Bool32 dataLayout, const std::uint32_t* writeArray,
                                      std::int32_t* samplesPerChannelWritten,
                                      daqmx::Bool32* reserved) override;
    std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t bufferSize) override;
    std::int32_t DAQmxGetDevProductType(const char* device, char* data, std::uint32_t bufferSize) override;
    std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) override;
    std::int32_t DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data) override;
    std::int32_t DAQmxGetDevAIPhysicalChans(const char* device, char* data,
                                            std::uint32_t bufferSize) override;
    std::int32_t DAQmxResetDevice(const char* device) override;
    std::int32_t DAQmxGetErrorString(std::int32_t errorCode, char* errorString,
                                     std::uint32_t bufferSize) override;
    std::int32_t DAQmxGetExtendedErrorInfo(char* errorString, std::uint32_t bufferSize) override;

private:
    struct Task;
    static std::int32_t VT_DAQMX_CALL trampoline(daqmx::TaskHandle, std::int32_t, std::uint32_t, void*);
    [[nodiscard]] DaqmxApi& ownerOf(const char* name);
    /// Creates the underlying task on the side that owns channel.
    [[nodiscard]] std::int32_t bind(Task& task, const char* channel);

    /// Hands a call that carries a task to the task's side.
    template <typename... Parameters, typename... Arguments>
    [[nodiscard]] std::int32_t forward(std::int32_t (DaqmxApi::*function)(daqmx::TaskHandle, Parameters...),
                                       daqmx::TaskHandle task, Arguments... arguments);
    /// The same for a call that adds channels, the first of which decide whose the task is.
    template <typename... Parameters, typename... Arguments>
    [[nodiscard]] std::int32_t
    forwardChannels(std::int32_t (DaqmxApi::*function)(daqmx::TaskHandle, const char*, Parameters...),
                    daqmx::TaskHandle task, const char* channels, Arguments... arguments);

    DaqmxApi& m_others;
    const std::vector<Side> m_sides;
    Mutex m_mutex;
    std::vector<std::unique_ptr<Task>> m_tasks VT_GUARDED_BY(m_mutex); ///< kept after they are cleared
    std::atomic<DaqmxApi*> m_lastUsed;                                 ///< whom to ask for an error's text
};

} // namespace vt
