// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace vt {

// The driver calls back with the C calling convention, which only differs on 32-bit Windows.
#if defined(_WIN32) && !defined(_WIN64)
#define VT_DAQMX_CALL __cdecl
#else
#define VT_DAQMX_CALL
#endif

namespace daqmx {

using TaskHandle = void*;
using Bool32 = std::uint32_t;
using EveryNSamplesCallback = std::int32_t(VT_DAQMX_CALL*)(TaskHandle task, std::int32_t eventType,
                                                           std::uint32_t sampleCount, void* callbackData);

// Values as the driver's C interface publishes them.
inline constexpr std::int32_t ValRse = 10083;               ///< referenced single-ended
inline constexpr std::int32_t ValVolts = 10348;             ///< units: volts
inline constexpr std::int32_t ValRising = 10280;            ///< rising clock edge
inline constexpr std::int32_t ValContSamps = 10123;         ///< continuous samples
inline constexpr std::int32_t ValAcquiredIntoBuffer = 1;    ///< every-N-samples event type
inline constexpr Bool32 ValGroupByChannel = 0;              ///< fill mode and data layout
inline constexpr std::int32_t ValChanForAllLines = 1;       ///< one digital channel for all lines
inline constexpr std::int32_t ErrorDeviceNotFound = -88709; ///< device gone
inline constexpr std::int32_t ErrorBufferOverwritten = -200279;

} // namespace daqmx

/// The NI-DAQmx functions that the program calls, one method per C function: same name, argument order and
/// status convention (0 success, negative error, positive warning). Behind it stands either the run-time
/// loaded library or the simulated unit.
/// Thread-safe like the driver: different tasks may be used from different threads at once. The
/// every-N-samples callback runs on a thread of the driver's.
class DaqmxApi
{
public:
    virtual ~DaqmxApi() = default;

    virtual std::int32_t DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task) = 0;
    virtual std::int32_t DAQmxStartTask(daqmx::TaskHandle task) = 0;
    virtual std::int32_t DAQmxStopTask(daqmx::TaskHandle task) = 0;
    virtual std::int32_t DAQmxClearTask(daqmx::TaskHandle task) = 0;
    virtual std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone) = 0;

    virtual std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* physicalChannel,
                                                  const char* nameToAssignToChannel,
                                                  std::int32_t terminalConfig, double minVal, double maxVal,
                                                  std::int32_t units, const char* customScaleName) = 0;
    virtual std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                               std::int32_t activeEdge, std::int32_t sampleMode,
                                               std::uint64_t samplesPerChannel) = 0;
    virtual std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t eventType,
                                                         std::uint32_t sampleCount, std::uint32_t options,
                                                         daqmx::EveryNSamplesCallback callback,
                                                         void* callbackData) = 0;
    virtual std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                            double timeoutSeconds, daqmx::Bool32 fillMode, double* readArray,
                                            std::uint32_t arraySizeInSamples,
                                            std::int32_t* samplesPerChannelRead, daqmx::Bool32* reserved) = 0;

    virtual std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines,
                                           const char* nameToAssignToLines, std::int32_t lineGrouping) = 0;
    virtual std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines,
                                           const char* nameToAssignToLines, std::int32_t lineGrouping) = 0;
    virtual std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                             double timeoutSeconds, daqmx::Bool32 fillMode,
                                             std::uint32_t* readArray, std::uint32_t arraySizeInSamples,
                                             std::int32_t* samplesPerChannelRead,
                                             daqmx::Bool32* reserved) = 0;
    /// One byte per line of the task and sample: 0 low, 1 high.
    virtual std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                               double timeoutSeconds, daqmx::Bool32 fillMode,
                                               std::uint8_t* readArray, std::uint32_t arraySizeInBytes,
                                               std::int32_t* samplesPerChannelRead,
                                               std::int32_t* bytesPerSample, daqmx::Bool32* reserved) = 0;
    virtual std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                              daqmx::Bool32 autoStart, double timeoutSeconds,
                                              daqmx::Bool32 dataLayout, const std::uint32_t* writeArray,
                                              std::int32_t* samplesPerChannelWritten,
                                              daqmx::Bool32* reserved) = 0;

    virtual std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t bufferSize) = 0;
    virtual std::int32_t DAQmxGetDevProductType(const char* device, char* data, std::uint32_t bufferSize) = 0;
    virtual std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) = 0;
    virtual std::int32_t DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data) = 0;
    virtual std::int32_t DAQmxGetDevAIPhysicalChans(const char* device, char* data,
                                                    std::uint32_t bufferSize) = 0;
    virtual std::int32_t DAQmxResetDevice(const char* device) = 0;

    virtual std::int32_t DAQmxGetErrorString(std::int32_t errorCode, char* errorString,
                                             std::uint32_t bufferSize) = 0;
    virtual std::int32_t DAQmxGetExtendedErrorInfo(char* errorString, std::uint32_t bufferSize) = 0;
};

} // namespace vt
