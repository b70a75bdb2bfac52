// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/DriverMux.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vt {

namespace {
constexpr std::int32_t errorInvalidTask = -200088;
}

struct DriverMux::Task
{
    std::atomic<DaqmxApi*> side{nullptr}; ///< null before the first channel and after DAQmxClearTask
    daqmx::TaskHandle inner = nullptr;
    std::string name;
    daqmx::EveryNSamplesCallback callback = nullptr;
    void* callbackData = nullptr;
    std::atomic<bool> cleared{false};
};

DriverMux::DriverMux(DaqmxApi& others, std::vector<Side> sides)
    : m_others(others), m_sides(std::move(sides)), m_lastUsed(&others)
{}

DriverMux::~DriverMux() = default;

DaqmxApi& DriverMux::ownerOf(const char* name)
{
    const std::string text = name ? name : "";
    const std::string device = text.substr(0, text.find('/'));
    DaqmxApi* owner = &m_others;
    for (const Side& side : m_sides)
        if (device == side.device)
            owner = side.driver;
    m_lastUsed = owner;
    return *owner;
}

std::int32_t DriverMux::bind(Task& task, const char* channel)
{
    if (task.cleared)
        return errorInvalidTask;
    if (task.side)
        return 0;
    DaqmxApi& owner = ownerOf(channel);
    const std::int32_t status = owner.DAQmxCreateTask(task.name.c_str(), &task.inner);
    if (status >= 0)
        task.side = &owner;
    return status;
}

template <typename... Parameters, typename... Arguments>
std::int32_t DriverMux::forward(std::int32_t (DaqmxApi::*function)(daqmx::TaskHandle, Parameters...),
                                daqmx::TaskHandle task, Arguments... arguments)
{
    auto* const entry = static_cast<Task*>(task);
    DaqmxApi* const side = entry ? entry->side.load() : nullptr;
    if (!side)
        return errorInvalidTask;
    m_lastUsed.store(side, std::memory_order_relaxed);
    return (side->*function)(entry->inner, arguments...);
}

template <typename... Parameters, typename... Arguments>
std::int32_t DriverMux::forwardChannels(std::int32_t (DaqmxApi::*function)(daqmx::TaskHandle, const char*,
                                                                           Parameters...),
                                        daqmx::TaskHandle task, const char* channels, Arguments... arguments)
{
    auto* const entry = static_cast<Task*>(task);
    if (!entry)
        return errorInvalidTask;
    if (const std::int32_t status = bind(*entry, channels); status < 0)
        return status;
    return forward(function, task, channels, arguments...);
}

std::int32_t VT_DAQMX_CALL DriverMux::trampoline(daqmx::TaskHandle, std::int32_t eventType,
                                                 std::uint32_t sampleCount, void* data)
{
    auto* task = static_cast<Task*>(data);
    return task->callback(task, eventType, sampleCount, task->callbackData);
}

std::int32_t DriverMux::DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task)
{
    auto created = std::make_unique<Task>();
    created->name = taskName ? taskName : "";
    *task = created.get();
    const MutexLock lock(m_mutex);
    m_tasks.push_back(std::move(created));
    return 0;
}

std::int32_t DriverMux::DAQmxClearTask(daqmx::TaskHandle task)
{
    auto* const entry = static_cast<Task*>(task);
    if (!entry || entry->cleared.exchange(true))
        return errorInvalidTask;
    DaqmxApi* const side = entry->side.exchange(nullptr);
    return side ? side->DAQmxClearTask(entry->inner) : 0;
}

std::int32_t DriverMux::DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t eventType,
                                                        std::uint32_t sampleCount, std::uint32_t options,
                                                        daqmx::EveryNSamplesCallback callback,
                                                        void* callbackData)
{
    auto* const entry = static_cast<Task*>(task);
    DaqmxApi* const side = entry ? entry->side.load() : nullptr;
    if (!side)
        return errorInvalidTask;
    m_lastUsed = side;
    entry->callback = callback;
    entry->callbackData = callbackData;
    return side->DAQmxRegisterEveryNSamplesEvent(entry->inner, eventType, sampleCount, options,
                                                 callback ? &DriverMux::trampoline : nullptr, entry);
}

std::int32_t DriverMux::DAQmxGetSysDevNames(char* data, std::uint32_t bufferSize)
{
    std::string names;
    std::int32_t status = 0;
    std::vector<DaqmxApi*> drivers{&m_others};
    for (const Side& side : m_sides)
        drivers.push_back(side.driver);
    for (DaqmxApi* side : drivers) {
        std::string buffer(1024, '\0');
        const std::int32_t result =
            side->DAQmxGetSysDevNames(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
        if (result < 0) { // the other sides' devices are there all the same
            m_lastUsed = side;
            status = status < 0 ? status : result;
            continue;
        }
        buffer.resize(std::strlen(buffer.c_str()));
        if (!buffer.empty())
            names += (names.empty() ? "" : ", ") + buffer;
    }
    if (names.empty())
        return status;
    if (bufferSize > 0) {
        const std::size_t length = std::min<std::size_t>(names.size(), bufferSize - 1);
        std::memcpy(data, names.data(), length);
        data[length] = '\0';
    }
    return 0;
}

std::int32_t DriverMux::DAQmxGetErrorString(std::int32_t errorCode, char* errorString,
                                            std::uint32_t bufferSize)
{
    return m_lastUsed.load()->DAQmxGetErrorString(errorCode, errorString, bufferSize);
}

std::int32_t DriverMux::DAQmxGetExtendedErrorInfo(char* errorString, std::uint32_t bufferSize)
{
    return m_lastUsed.load()->DAQmxGetExtendedErrorInfo(errorString, bufferSize);
}

std::int32_t DriverMux::DAQmxStartTask(daqmx::TaskHandle task)
{
    return forward(&DaqmxApi::DAQmxStartTask, task);
}

std::int32_t DriverMux::DAQmxStopTask(daqmx::TaskHandle task)
{
    return forward(&DaqmxApi::DAQmxStopTask, task);
}

std::int32_t DriverMux::DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone)
{
    return forward(&DaqmxApi::DAQmxIsTaskDone, task, isTaskDone);
}

std::int32_t DriverMux::DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* physicalChannel,
                                                 const char* nameToAssignToChannel,
                                                 std::int32_t terminalConfig, double minVal, double maxVal,
                                                 std::int32_t units, const char* customScaleName)
{
    return forwardChannels(&DaqmxApi::DAQmxCreateAIVoltageChan, task, physicalChannel, nameToAssignToChannel,
                           terminalConfig, minVal, maxVal, units, customScaleName);
}

std::int32_t DriverMux::DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                              std::int32_t activeEdge, std::int32_t sampleMode,
                                              std::uint64_t samplesPerChannel)
{
    return forward(&DaqmxApi::DAQmxCfgSampClkTiming, task, source, rate, activeEdge, sampleMode,
                   samplesPerChannel);
}

std::int32_t DriverMux::DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                           double timeoutSeconds, daqmx::Bool32 fillMode, double* readArray,
                                           std::uint32_t arraySizeInSamples,
                                           std::int32_t* samplesPerChannelRead, daqmx::Bool32* reserved)
{
    return forward(&DaqmxApi::DAQmxReadAnalogF64, task, samplesPerChannel, timeoutSeconds, fillMode,
                   readArray, arraySizeInSamples, samplesPerChannelRead, reserved);
}

std::int32_t DriverMux::DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines,
                                          const char* nameToAssignToLines, std::int32_t lineGrouping)
{
    return forwardChannels(&DaqmxApi::DAQmxCreateDIChan, task, lines, nameToAssignToLines, lineGrouping);
}

std::int32_t DriverMux::DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines,
                                          const char* nameToAssignToLines, std::int32_t lineGrouping)
{
    return forwardChannels(&DaqmxApi::DAQmxCreateDOChan, task, lines, nameToAssignToLines, lineGrouping);
}

std::int32_t DriverMux::DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                            double timeoutSeconds, daqmx::Bool32 fillMode,
                                            std::uint32_t* readArray, std::uint32_t arraySizeInSamples,
                                            std::int32_t* samplesPerChannelRead, daqmx::Bool32* reserved)
{
    return forward(&DaqmxApi::DAQmxReadDigitalU32, task, samplesPerChannel, timeoutSeconds, fillMode,
                   readArray, arraySizeInSamples, samplesPerChannelRead, reserved);
}

std::int32_t DriverMux::DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                              double timeoutSeconds, daqmx::Bool32 fillMode,
                                              std::uint8_t* readArray, std::uint32_t arraySizeInBytes,
                                              std::int32_t* samplesPerChannelRead,
                                              std::int32_t* bytesPerSample, daqmx::Bool32* reserved)
{
    return forward(&DaqmxApi::DAQmxReadDigitalLines, task, samplesPerChannel, timeoutSeconds, fillMode,
                   readArray, arraySizeInBytes, samplesPerChannelRead, bytesPerSample, reserved);
}

std::int32_t DriverMux::DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                             daqmx::Bool32 autoStart, double timeoutSeconds,
                                             daqmx::Bool32 dataLayout, const std::uint32_t* writeArray,
                                             std::int32_t* samplesPerChannelWritten, daqmx::Bool32* reserved)
{
    return forward(&DaqmxApi::DAQmxWriteDigitalU32, task, samplesPerChannel, autoStart, timeoutSeconds,
                   dataLayout, writeArray, samplesPerChannelWritten, reserved);
}

std::int32_t DriverMux::DAQmxGetDevProductType(const char* device, char* data, std::uint32_t bufferSize)
{
    return ownerOf(device).DAQmxGetDevProductType(device, data, bufferSize);
}

std::int32_t DriverMux::DAQmxGetDevSerialNum(const char* device, std::uint32_t* data)
{
    return ownerOf(device).DAQmxGetDevSerialNum(device, data);
}

std::int32_t DriverMux::DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data)
{
    return ownerOf(device).DAQmxGetDevIsSimulated(device, data);
}

std::int32_t DriverMux::DAQmxGetDevAIPhysicalChans(const char* device, char* data, std::uint32_t bufferSize)
{
    return ownerOf(device).DAQmxGetDevAIPhysicalChans(device, data, bufferSize);
}

std::int32_t DriverMux::DAQmxResetDevice(const char* device)
{
    return ownerOf(device).DAQmxResetDevice(device);
}

} // namespace vt
