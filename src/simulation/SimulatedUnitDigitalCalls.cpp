// SPDX-License-Identifier: GPL-3.0-or-later
// The driver's functions for digital lines, as the simulated unit answers them.
#include "simulation/DriverErrors.h"
#include "simulation/SimulatedUnit.h"
#include "simulation/SimulatedUnitPrivate.h"

#include <bit>

namespace vt {

namespace {

/// One byte per line in mask, lowest line first. Returns the position behind them.
std::uint8_t* storeLineLevels(std::uint32_t levels, std::uint32_t mask, std::uint8_t* to)
{
    for (int line = 0; line < DigitalLines::LineCount; ++line)
        if ((mask >> line & 1U) != 0)
            *to++ = static_cast<std::uint8_t>(levels >> line & 1U);
    return to;
}

} // namespace

std::int32_t SimulatedUnit::Private::createDigitalChannels(daqmx::TaskHandle handle, const char* lines,
                                                           std::int32_t lineGrouping,
                                                           SimulatedTask::Kind kind)
{
    if (!lines)
        return drivererror::NullPointer;
    MutexLock lock(mutex);
    SimulatedTask* found = nullptr;
    if (const std::int32_t status = findTask(handle, &found))
        return status;
    if (found->kind != SimulatedTask::Kind::Empty)
        return drivererror::ChannelAlreadyInTask;
    int port = 0;
    std::uint32_t mask = 0;
    if (const std::int32_t status = parseDigitalLines(lines, deviceName, &port, &mask))
        return status;
    if (!present)
        return drivererror::DeviceGone;
    if (lineGrouping != daqmx::ValChanForAllLines)
        return drivererror::InvalidAttributeValue;
    found->kind = kind;
    found->port = port;
    found->lines = mask;
    return 0;
}

std::int32_t SimulatedUnit::DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char*,
                                              std::int32_t lineGrouping)
{
    return d->call("DAQmxCreateDIChan", [&] {
        return d->createDigitalChannels(task, lines, lineGrouping, SimulatedTask::Kind::DigitalInput);
    });
}

std::int32_t SimulatedUnit::DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char*,
                                              std::int32_t lineGrouping)
{
    return d->call("DAQmxCreateDOChan", [&] {
        return d->createDigitalChannels(task, lines, lineGrouping, SimulatedTask::Kind::DigitalOutput);
    });
}

std::int32_t SimulatedUnit::Private::beginDigitalRead(const DigitalRead& request, SimulatedTask** task)
{
    if (const std::int32_t status = findTask(request.handle, task))
        return status;
    SimulatedTask& found = **task;
    if (found.kind == SimulatedTask::Kind::Empty)
        return drivererror::NoChannels;
    if (found.kind != SimulatedTask::Kind::DigitalInput)
        return drivererror::ReadChannelType;
    const int perSample = request.layout == DigitalRead::Layout::Port ? 1 : std::popcount(found.lines);
    if (request.arraySize < static_cast<std::uint32_t>(request.samples * perSample))
        return drivererror::ReadBufferTooSmall;
    return found.running ? 0 : startTask(request.handle, found);
}

std::int32_t SimulatedUnit::DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                                double, daqmx::Bool32, std::uint32_t* readArray,
                                                std::uint32_t arraySizeInSamples,
                                                std::int32_t* samplesPerChannelRead, daqmx::Bool32*)
{
    return d->call("DAQmxReadDigitalU32", [&]() -> std::int32_t {
        d->takeLineCallTime();
        if (samplesPerChannelRead)
            *samplesPerChannelRead = 0;
        if (!readArray)
            return drivererror::NullPointer;
        MutexLock lock(d->mutex);
        const std::int32_t samples = samplesPerChannel < 0 ? 1 : samplesPerChannel;
        SimulatedTask* found = nullptr;
        if (const std::int32_t status =
                d->beginDigitalRead({task, samples, arraySizeInSamples, DigitalRead::Layout::Port}, &found))
            return status;
        for (std::int32_t i = 0; i < samples; ++i)
            readArray[i] = d->digital.read(found->port) & found->lines;
        if (samplesPerChannelRead)
            *samplesPerChannelRead = samples;
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                                  double, daqmx::Bool32, std::uint8_t* readArray,
                                                  std::uint32_t arraySizeInBytes,
                                                  std::int32_t* samplesPerChannelRead,
                                                  std::int32_t* bytesPerSample, daqmx::Bool32*)
{
    return d->call("DAQmxReadDigitalLines", [&]() -> std::int32_t {
        d->takeLineCallTime();
        if (samplesPerChannelRead)
            *samplesPerChannelRead = 0;
        if (bytesPerSample)
            *bytesPerSample = 0;
        if (!readArray)
            return drivererror::NullPointer;
        MutexLock lock(d->mutex);
        const std::int32_t samples = samplesPerChannel < 0 ? 1 : samplesPerChannel;
        SimulatedTask* found = nullptr;
        if (const std::int32_t status =
                d->beginDigitalRead({task, samples, arraySizeInBytes, DigitalRead::Layout::Lines}, &found))
            return status;
        for (std::int32_t i = 0; i < samples; ++i)
            readArray = storeLineLevels(d->digital.read(found->port), found->lines, readArray);
        if (samplesPerChannelRead)
            *samplesPerChannelRead = samples;
        if (bytesPerSample)
            *bytesPerSample = std::popcount(found->lines);
        return 0;
    });
}

std::int32_t SimulatedUnit::DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samplesPerChannel,
                                                 daqmx::Bool32 autoStart, double, daqmx::Bool32,
                                                 const std::uint32_t* writeArray,
                                                 std::int32_t* samplesPerChannelWritten, daqmx::Bool32*)
{
    return d->call("DAQmxWriteDigitalU32", [&]() -> std::int32_t {
        d->takeLineCallTime();
        if (samplesPerChannelWritten)
            *samplesPerChannelWritten = 0;
        if (!writeArray)
            return drivererror::NullPointer;
        MutexLock lock(d->mutex);
        SimulatedTask* found = nullptr;
        if (const std::int32_t status = d->findTask(task, &found))
            return status;
        if (found->kind == SimulatedTask::Kind::Empty)
            return drivererror::NoChannels;
        if (found->kind != SimulatedTask::Kind::DigitalOutput)
            return drivererror::WriteChannelType;
        if (samplesPerChannel < 1)
            return drivererror::InvalidAttributeValue;
        if (!found->running && autoStart == 0)
            return drivererror::WriteWithoutStart;
        if (!found->running)
            if (const std::int32_t status = d->startTask(task, *found))
                return status;
        for (std::int32_t i = 0; i < samplesPerChannel; ++i)
            d->digital.write(found->port, found->lines, writeArray[i]);
        if (samplesPerChannelWritten)
            *samplesPerChannelWritten = samplesPerChannel;
        return 0;
    });
}

} // namespace vt
