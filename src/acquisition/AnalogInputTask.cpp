// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/AnalogInputTask.h"

#include "acquisition/AcquisitionFrame.h"
#include "daqmx/DaqmxStatus.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {

constexpr double MinVolts = -10.0;
constexpr double MaxVolts = 10.0;
constexpr double ReadTimeoutSeconds = 10.0;

} // namespace

AnalogInputTask::AnalogInputTask(DaqmxApi& driver, const ChannelList& channels, int bufferSizeInSamples)
    : m_driver(driver), m_channels(channels), m_bufferSize(bufferSizeInSamples)
{}

bool AnalogInputTask::create()
{
    daqmx::TaskHandle task = nullptr;
    if (!daqmxSucceeded(m_driver, m_driver.DAQmxCreateTask("", &task), "DAQmxCreateTask"))
        return false;
    m_task = task;
    return m_task != nullptr;
}

bool AnalogInputTask::setUp(daqmx::EveryNSamplesCallback callback, void* callbackData,
                            const std::atomic<bool>& abandoned)
{
    if (abandoned || !create() || abandoned)
        return false;
    if (!daqmxSucceeded(m_driver,
                        m_driver.DAQmxCreateAIVoltageChan(m_task, m_channels.data(), "", daqmx::ValRse,
                                                          MinVolts, MaxVolts, daqmx::ValVolts, nullptr),
                        "DAQmxCreateAIVoltageChan") ||
        abandoned)
        return false;
    if (!daqmxSucceeded(m_driver,
                        m_driver.DAQmxCfgSampClkTiming(m_task, "", RawSampleRateHz, daqmx::ValRising,
                                                       daqmx::ValContSamps,
                                                       static_cast<std::uint64_t>(m_bufferSize)),
                        "DAQmxCfgSampClkTiming") ||
        abandoned)
        return false;
    if (!daqmxSucceeded(m_driver,
                        m_driver.DAQmxRegisterEveryNSamplesEvent(m_task, daqmx::ValAcquiredIntoBuffer,
                                                                 SamplesPerFrame, 0, callback, callbackData),
                        "DAQmxRegisterEveryNSamplesEvent") ||
        abandoned)
        return false;
    m_isStarted = daqmxSucceeded(m_driver, m_driver.DAQmxStartTask(m_task), "DAQmxStartTask");
    return m_isStarted;
}

void AnalogInputTask::reportDone()
{
    daqmx::Bool32 isDone = 0;
    if (daqmxSucceeded(m_driver, m_driver.DAQmxIsTaskDone(m_task, &isDone), "DAQmxIsTaskDone"))
        qDebug("Task done: %s", isDone != 0 ? "yes" : "no");
}

void AnalogInputTask::stop()
{
    if (!std::exchange(m_isStarted, false))
        return;
    // A failure is logged; the task is cleared all the same.
    std::ignore = daqmxSucceeded(m_driver, m_driver.DAQmxStopTask(m_task), "DAQmxStopTask");
}

void AnalogInputTask::clear()
{
    const daqmx::TaskHandle task = m_task.exchange(nullptr);
    if (!task)
        return;
    std::ignore = daqmxSucceeded(m_driver, m_driver.DAQmxClearTask(task), "DAQmxClearTask");
}

std::int32_t AnalogInputTask::read(double* buffer, std::int32_t* samplesPerChannelRead)
{
    return m_driver.DAQmxReadAnalogF64(m_task, SamplesPerFrame, ReadTimeoutSeconds, daqmx::ValGroupByChannel,
                                       buffer, static_cast<std::uint32_t>(m_bufferSize),
                                       samplesPerChannelRead, nullptr);
}

} // namespace vt
