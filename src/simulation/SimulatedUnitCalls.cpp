// SPDX-License-Identifier: GPL-3.0-or-later
// The driver's functions for tasks, analog input and devices, as the simulated unit answers them.
#include "simulation/DriverErrors.h"
#include "simulation/SimulatedUnit.h"
#include "simulation/SimulatedUnitPrivate.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace vt {

namespace {

constexpr std::int32_t ValNrse = 10078;
constexpr std::int32_t ValDefaultTerminals = -1;
constexpr double InputLimitVolts = 10.0;
constexpr double AggregateRateHz = 250'000.0;
constexpr std::size_t RecordLimit = 1'000'000;
constexpr const char* ProductType = "SIM-6218";

/// Like the driver, the texts of a failure are kept for the thread it happened on.
struct LastError
{
    std::int32_t code = 0;
    const char* function = "";
};
thread_local LastError t_lastError;

std::uintptr_t keyOf(daqmx::TaskHandle handle)
{
    return std::bit_cast<std::uintptr_t>(handle);
}

} // namespace

std::int32_t SimulatedUnit::Private::enter(const char* function)
{
    MutexLock lock(mutex);
    const std::uint64_t index = calls++;
    if (recording && recorded.size() < RecordLimit)
        recorded.push_back(function);
    if (callFailCode == 0 || index < callFailAt || (index > callFailAt && !callFailForEver))
        return 0;
    return callFailCode;
}

std::int32_t SimulatedUnit::Private::report(const char* function, std::int32_t status)
{
    if (status < 0)
        t_lastError = {status, function};
    return status;
}

std::int32_t SimulatedUnit::Private::findTask(daqmx::TaskHandle handle, SimulatedTask** task)
{
    const auto found = tasks.find(keyOf(handle));
    if (found == tasks.end()) {
        ++deadHandleCalls;
        return drivererror::InvalidTask;
    }
    *task = &found->second;
    return found->second.lostCode;
}

std::int32_t SimulatedUnit::Private::lostOr(daqmx::TaskHandle handle, std::int32_t status)
{
    MutexLock lock(mutex);
    const auto found = tasks.find(keyOf(handle));
    return found != tasks.end() && found->second.lostCode != 0 ? found->second.lostCode : status;
}

std::int32_t SimulatedUnit::Private::checkDevice(const char* device)
{
    if (!device)
        return drivererror::NullPointer;
    if (!sameDeviceName(device, deviceName))
        return drivererror::InvalidDevice;
    return present ? 0 : drivererror::DeviceGone;
}

// Tasks

std::int32_t SimulatedUnit::DAQmxCreateTask(const char*, daqmx::TaskHandle* task)
{
    return d->call("DAQmxCreateTask", [&]() -> std::int32_t {
        if (!task)
            return drivererror::NullPointer;
        MutexLock lock(d->mutex);
        const std::uintptr_t key = d->nextHandle++;
        d->tasks[key] = SimulatedTask{};
        *task = std::bit_cast<daqmx::TaskHandle>(key);
        return 0;
    });
}

std::int32_t SimulatedUnit::Private::startTask(daqmx::TaskHandle handle, SimulatedTask& task)
{
    if (task.kind == SimulatedTask::Kind::Empty)
        return drivererror::NoChannels;
    if (task.kind == SimulatedTask::Kind::AnalogInput) {
        if (!task.hasSampleClock)
            return drivererror::InvalidAttributeValue;
        if (analog->isRunning(handle))
            return drivererror::TaskRunning;
        return analog->start(
            {handle, task.analogChannels, task.eventSamples, task.callback, task.callbackData});
    }
    if (task.running)
        return drivererror::TaskRunning;
    for (const auto& [key, other] : tasks)
        if (other.running && other.port == task.port && (other.lines & task.lines) != 0)
            return drivererror::ResourceReserved;
    task.running = true;
    return 0;
}

std::int32_t SimulatedUnit::DAQmxStartTask(daqmx::TaskHandle task)
{
    return d->call("DAQmxStartTask", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        SimulatedTask* found = nullptr;
        if (const std::int32_t status = d->findTask(task, &found))
            return status;
        return d->startTask(task, *found);
    });
}

std::int32_t SimulatedUnit::Private::stopTask(daqmx::TaskHandle handle)
{
    std::int32_t status = 0;
    {
        MutexLock lock(mutex);
        SimulatedTask* found = nullptr;
        status = findTask(handle, &found);
        if (!found)
            return status;
        found->running = false;
    }
    analog->stop(handle);
    return status;
}

std::int32_t SimulatedUnit::Private::clearTask(daqmx::TaskHandle handle)
{
    const std::int32_t status = stopTask(handle);
    if (status == drivererror::InvalidTask)
        return status;
    MutexLock lock(mutex);
    if (tasks.erase(keyOf(handle)) == 1)
        return status;
    ++deadHandleCalls; // another thread cleared it in the meantime
    return drivererror::InvalidTask;
}

std::int32_t SimulatedUnit::DAQmxStopTask(daqmx::TaskHandle task)
{
    return d->releasingCall("DAQmxStopTask", [&] { return d->stopTask(task); });
}

std::int32_t SimulatedUnit::DAQmxClearTask(daqmx::TaskHandle task)
{
    return d->releasingCall("DAQmxClearTask", [&] { return d->clearTask(task); });
}

std::int32_t SimulatedUnit::DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone)
{
    return d->call("DAQmxIsTaskDone", [&]() -> std::int32_t {
        if (!isTaskDone)
            return drivererror::NullPointer;
        MutexLock lock(d->mutex);
        SimulatedTask* found = nullptr;
        if (const std::int32_t status = d->findTask(task, &found))
            return status;
        const bool running = found->running || d->analog->isRunning(task);
        *isTaskDone = running ? 0 : 1;
        return 0;
    });
}

// Analog input

std::int32_t SimulatedUnit::DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* physicalChannel,
                                                     const char*, std::int32_t terminalConfig, double minVal,
                                                     double maxVal, std::int32_t units,
                                                     const char* customScaleName)
{
    return d->call("DAQmxCreateAIVoltageChan", [&]() -> std::int32_t {
        if (!physicalChannel)
            return drivererror::NullPointer;
        MutexLock lock(d->mutex);
        SimulatedTask* found = nullptr;
        if (const std::int32_t status = d->findTask(task, &found))
            return status;
        if (found->kind != SimulatedTask::Kind::Empty)
            return drivererror::ChannelAlreadyInTask;
        std::vector<int> channels;
        if (const std::int32_t status =
                parseAnalogChannels(physicalChannel, d->deviceName, d->config.channels, &channels))
            return status;
        if (!d->present)
            return drivererror::DeviceGone;
        const bool terminals = terminalConfig == daqmx::ValRse || terminalConfig == ValNrse ||
                               terminalConfig == ValDefaultTerminals;
        const bool range = minVal < maxVal && minVal >= -InputLimitVolts && maxVal <= InputLimitVolts;
        const bool scale = units == daqmx::ValVolts && (!customScaleName || !*customScaleName);
        if (!terminals || !range || !scale)
            return drivererror::InvalidAttributeValue;
        found->kind = SimulatedTask::Kind::AnalogInput;
        found->analogChannels = std::move(channels);
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                                  std::int32_t activeEdge, std::int32_t sampleMode,
                                                  std::uint64_t samplesPerChannel)
{
    return d->call("DAQmxCfgSampClkTiming", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        SimulatedTask* found = nullptr;
        if (const std::int32_t status = d->findTask(task, &found))
            return status;
        if (found->kind == SimulatedTask::Kind::Empty)
            return drivererror::NoChannels;
        if (found->kind != SimulatedTask::Kind::AnalogInput)
            return drivererror::InvalidAttributeValue;
        if (d->analog->isRunning(task))
            return drivererror::TaskRunning;
        if (!(rate > 0.0) || rate * static_cast<double>(found->analogChannels.size()) > AggregateRateHz)
            return drivererror::SampleRateTooHigh;
        const bool internalClock = !source || !*source || std::strcmp(source, "OnboardClock") == 0;
        const bool rateFits = std::abs(rate - AnalogInput::SampleRateHz) < 1e-6;
        if (!internalClock || !rateFits || activeEdge != daqmx::ValRising ||
            sampleMode != daqmx::ValContSamps || samplesPerChannel < 2)
            return drivererror::InvalidAttributeValue;
        found->hasSampleClock = true;
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t eventType,
                                                            std::uint32_t sampleCount, std::uint32_t options,
                                                            daqmx::EveryNSamplesCallback callback,
                                                            void* callbackData)
{
    return d->call("DAQmxRegisterEveryNSamplesEvent", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        SimulatedTask* found = nullptr;
        if (const std::int32_t status = d->findTask(task, &found))
            return status;
        if (found->kind != SimulatedTask::Kind::AnalogInput || !found->hasSampleClock)
            return drivererror::EventNeedsBuffer;
        if (d->analog->isRunning(task))
            return drivererror::EventWhileRunning;
        if (callback && found->callback)
            return drivererror::EventAlreadyRegistered;
        if (eventType != daqmx::ValAcquiredIntoBuffer || options != 0 || (callback && sampleCount == 0) ||
            sampleCount > AnalogInput::BufferSamples)
            return drivererror::InvalidAttributeValue;
        found->callback = callback;
        found->callbackData = callbackData;
        found->eventSamples = callback ? sampleCount : 0;
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                               double timeoutSeconds, daqmx::Bool32 fillMode,
                                               double* readArray, std::uint32_t arraySizeInSamples,
                                               std::int32_t* samplesPerChannelRead, daqmx::Bool32*)
{
    return d->call("DAQmxReadAnalogF64", [&]() -> std::int32_t {
        std::int32_t samplesRead = 0;
        if (samplesPerChannelRead)
            *samplesPerChannelRead = 0;
        if (!readArray)
            return drivererror::NullPointer;
        bool hasEvent = false;
        {
            MutexLock lock(d->mutex);
            SimulatedTask* found = nullptr;
            if (const std::int32_t status = d->findTask(task, &found))
                return status;
            if (found->kind == SimulatedTask::Kind::Empty)
                return drivererror::NoChannels;
            if (found->kind != SimulatedTask::Kind::AnalogInput)
                return drivererror::ReadChannelType;
            if (fillMode != daqmx::ValGroupByChannel)
                return drivererror::InvalidAttributeValue;
            hasEvent = found->callback != nullptr;
        }
        const std::int32_t status = d->analog->read(task, samplesPerChannel, timeoutSeconds, readArray,
                                                    arraySizeInSamples, &samplesRead);
        if (samplesPerChannelRead)
            *samplesPerChannelRead = samplesRead;
        if (status == 0)
            return 0;
        const bool unstarted = status == drivererror::TaskNotRunning && hasEvent;
        return d->lostOr(task, unstarted ? drivererror::ReadBeforeStart : status);
    });
}

// Devices

std::int32_t SimulatedUnit::DAQmxGetSysDevNames(char* data, std::uint32_t bufferSize)
{
    return d->call("DAQmxGetSysDevNames", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        return drivererror::copyText(d->present ? d->deviceName : std::string(), data, bufferSize);
    });
}

std::int32_t SimulatedUnit::DAQmxGetDevProductType(const char* device, char* data, std::uint32_t bufferSize)
{
    return d->call("DAQmxGetDevProductType", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        const std::int32_t status = d->checkDevice(device);
        return status != 0 ? status : drivererror::copyText(ProductType, data, bufferSize);
    });
}

std::int32_t SimulatedUnit::DAQmxGetDevSerialNum(const char* device, std::uint32_t* data)
{
    return d->call("DAQmxGetDevSerialNum", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        if (const std::int32_t status = d->checkDevice(device))
            return status;
        if (!data)
            return drivererror::NullPointer;
        *data = d->serial;
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data)
{
    return d->call("DAQmxGetDevIsSimulated", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        if (const std::int32_t status = d->checkDevice(device))
            return status;
        if (!data)
            return drivererror::NullPointer;
        *data = 1;
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxGetDevAIPhysicalChans(const char* device, char* data,
                                                       std::uint32_t bufferSize)
{
    return d->call("DAQmxGetDevAIPhysicalChans", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        if (const std::int32_t status = d->checkDevice(device))
            return status;
        std::string names;
        const int inputs = std::max(d->config.analogInputs, d->config.channels);
        for (int channel = 0; channel < inputs; ++channel)
            names += (channel > 0 ? ", " : "") + d->deviceName + "/ai" + std::to_string(channel);
        return drivererror::copyText(names, data, bufferSize);
    });
}

std::int32_t SimulatedUnit::DAQmxResetDevice(const char* device)
{
    return d->call("DAQmxResetDevice", [&]() -> std::int32_t {
        MutexLock lock(d->mutex);
        if (const std::int32_t status = d->checkDevice(device))
            return status;
        d->loseTasks(drivererror::TaskAborted);
        return 0;
    });
}

// Error texts

std::int32_t SimulatedUnit::DAQmxGetErrorString(std::int32_t errorCode, char* errorString,
                                                std::uint32_t bufferSize)
{
    const std::int32_t injected = d->enter("DAQmxGetErrorString");
    return injected != 0 ? injected
                         : drivererror::copyText(drivererror::text(errorCode), errorString, bufferSize);
}

std::int32_t SimulatedUnit::DAQmxGetExtendedErrorInfo(char* errorString, std::uint32_t bufferSize)
{
    const std::int32_t injected = d->enter("DAQmxGetExtendedErrorInfo");
    if (injected != 0)
        return injected;
    std::string text = drivererror::text(t_lastError.code);
    if (t_lastError.code != 0)
        text += "\nFunction: " + std::string(t_lastError.function) +
                "\nStatus Code: " + std::to_string(t_lastError.code);
    return drivererror::copyText(text, errorString, bufferSize);
}

} // namespace vt
