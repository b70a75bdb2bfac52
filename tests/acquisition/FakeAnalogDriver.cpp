// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeAnalogDriver.h"

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace vt::test {

namespace {

constexpr std::chrono::seconds Patience{10};

std::string quoted(const char* text)
{
    return text ? '"' + std::string(text) + '"' : "null";
}

std::string decimal(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

} // namespace

std::int32_t FakeAnalogDriver::book(const std::string& name, daqmx::TaskHandle task,
                                    const std::string& arguments)
{
    const std::size_t index = m_calls.size();
    std::string call = name + '(';
    if (task)
        call += std::to_string(number(task));
    m_calls.push_back(call + arguments + ')');
    m_changed.notify_all();
    if (task && !m_live.contains(task)) {
        ++m_deadHandleCalls;
        return DeadHandleCode;
    }
    return index == m_failAt || (m_failForEver && index > m_failAt) ? FailureCode : 0;
}

bool FakeAnalogDriver::deliver()
{
    Registration registration{};
    {
        MutexLock lock(m_mutex);
        const auto found = std::find_if(m_registrations.begin(), m_registrations.end(),
                                        [this](const Registration& r) VT_NO_THREAD_SAFETY_ANALYSIS {
                                            return m_running && r.task == m_running;
                                        });
        if (found == m_registrations.end())
            return false;
        registration = *found;
        ++m_callbacksInside;
    }
    registration.callback(registration.task, daqmx::ValAcquiredIntoBuffer, 20, registration.data);
    MutexLock lock(m_mutex);
    --m_callbacksInside;
    m_changed.notify_all();
    return true;
}

void FakeAnalogDriver::deliverLate(std::size_t index)
{
    Registration registration{};
    {
        MutexLock lock(m_mutex);
        registration = m_registrations.at(index);
    }
    registration.callback(registration.task, daqmx::ValAcquiredIntoBuffer, 20, registration.data);
}

void FakeAnalogDriver::failCall(std::size_t index, bool forEver)
{
    MutexLock lock(m_mutex);
    m_failAt = index;
    m_failForEver = forEver;
}

void FakeAnalogDriver::stopFailing()
{
    MutexLock lock(m_mutex);
    m_failAt = SIZE_MAX;
    m_failForEver = false;
    m_failReads = false;
}

void FakeAnalogDriver::failReads(bool fail)
{
    MutexLock lock(m_mutex);
    m_failReads = fail;
}

void FakeAnalogDriver::failEachReadNumber(int n)
{
    MutexLock lock(m_mutex);
    m_failReadNumber = n;
}

void FakeAnalogDriver::hangReads(bool hang)
{
    MutexLock lock(m_mutex);
    m_hangReads = hang;
    m_changed.notify_all();
}

void FakeAnalogDriver::setStopWaits(bool waits)
{
    MutexLock lock(m_mutex);
    m_stopWaits = waits;
}

void FakeAnalogDriver::setSerial(std::uint32_t serial)
{
    MutexLock lock(m_mutex);
    m_serial = serial;
}

void FakeAnalogDriver::setSamplesPerRead(std::int32_t samples)
{
    MutexLock lock(m_mutex);
    m_samplesPerRead = samples;
}

std::vector<std::string> FakeAnalogDriver::calls() const
{
    MutexLock lock(m_mutex);
    return m_calls;
}

std::size_t FakeAnalogDriver::count(const std::string& name) const
{
    const std::vector<std::string> all = calls();
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&name](const std::string& call) { return call.starts_with(name + '('); }));
}

bool FakeAnalogDriver::waitFor(const std::function<bool(const std::vector<std::string>&)>& condition) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, Patience,
                              [&]() VT_NO_THREAD_SAFETY_ANALYSIS { return condition(m_calls); });
}

bool FakeAnalogDriver::waitForCount(const std::string& name, std::size_t n) const
{
    return waitFor([&](const std::vector<std::string>& all) {
        return static_cast<std::size_t>(
                   std::count_if(all.begin(), all.end(), [&name](const std::string& call) {
                       return call.starts_with(name + '(');
                   })) >= n;
    });
}

bool FakeAnalogDriver::waitForRunning() const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, Patience,
                              [this]() VT_NO_THREAD_SAFETY_ANALYSIS { return m_running != nullptr; });
}

bool FakeAnalogDriver::waitForReadUnderWay() const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, Patience,
                              [this]() VT_NO_THREAD_SAFETY_ANALYSIS { return m_readsInside > 0; });
}

int FakeAnalogDriver::deadHandleCalls() const
{
    MutexLock lock(m_mutex);
    return m_deadHandleCalls;
}

std::size_t FakeAnalogDriver::openTasks() const
{
    MutexLock lock(m_mutex);
    return m_live.size();
}

// ---- the driver's functions ----

std::int32_t FakeAnalogDriver::DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task)
{
    MutexLock lock(m_mutex);
    if (const std::int32_t status = book("CreateTask", nullptr, quoted(taskName)); status < 0)
        return status;
    *task = reinterpret_cast<daqmx::TaskHandle>(++m_created);
    m_live.insert(*task);
    return 0;
}

std::int32_t FakeAnalogDriver::DAQmxStartTask(daqmx::TaskHandle task)
{
    if (m_startHook)
        m_startHook();
    MutexLock lock(m_mutex);
    const std::int32_t status = book("StartTask", task);
    if (status == 0)
        m_running = task;
    m_readsOfTask = 0;
    m_changed.notify_all();
    return status;
}

std::int32_t FakeAnalogDriver::DAQmxStopTask(daqmx::TaskHandle task)
{
    std::unique_lock lock(m_mutex);
    const auto stop = [&]() VT_NO_THREAD_SAFETY_ANALYSIS {
        m_running = nullptr;
        const std::int32_t status = book("StopTask", task);
        m_changed.wait(
            lock, [this]() VT_NO_THREAD_SAFETY_ANALYSIS { return !m_stopWaits || m_callbacksInside == 0; });
        return status;
    };
    return stop();
}

std::int32_t FakeAnalogDriver::DAQmxClearTask(daqmx::TaskHandle task)
{
    MutexLock lock(m_mutex);
    const std::int32_t status = book("ClearTask", task);
    m_live.erase(task); // also when it fails
    if (m_running == task)
        m_running = nullptr;
    return status;
}

std::int32_t FakeAnalogDriver::DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone)
{
    MutexLock lock(m_mutex);
    const std::int32_t status = book("IsTaskDone", task);
    *isTaskDone = 1;
    return status;
}

std::int32_t FakeAnalogDriver::DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* channels,
                                                        const char* name, std::int32_t terminalConfig,
                                                        double minVal, double maxVal, std::int32_t units,
                                                        const char* scale)
{
    MutexLock lock(m_mutex);
    return book("CreateAIVoltageChan", task,
                ", " + quoted(channels) + ", " + quoted(name) + ", " + std::to_string(terminalConfig) + ", " +
                    decimal(minVal) + ", " + decimal(maxVal) + ", " + std::to_string(units) + ", " +
                    quoted(scale));
}

std::int32_t FakeAnalogDriver::DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                                     std::int32_t edge, std::int32_t mode,
                                                     std::uint64_t samples)
{
    MutexLock lock(m_mutex);
    return book("CfgSampClkTiming", task,
                ", " + quoted(source) + ", " + decimal(rate) + ", " + std::to_string(edge) + ", " +
                    std::to_string(mode) + ", " + std::to_string(samples));
}

std::int32_t FakeAnalogDriver::DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t type,
                                                               std::uint32_t samples, std::uint32_t options,
                                                               daqmx::EveryNSamplesCallback callback,
                                                               void* data)
{
    MutexLock lock(m_mutex);
    const std::int32_t status =
        book("RegisterEveryNSamplesEvent", task,
             ", " + std::to_string(type) + ", " + std::to_string(samples) + ", " + std::to_string(options));
    if (status == 0)
        m_registrations.push_back({task, callback, data});
    return status;
}

std::int32_t FakeAnalogDriver::DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samples,
                                                  double timeoutSeconds, daqmx::Bool32 fillMode,
                                                  double* values, std::uint32_t size,
                                                  std::int32_t* samplesRead, daqmx::Bool32*)
{
    std::unique_lock lock(m_mutex);
    const auto read = [&]() VT_NO_THREAD_SAFETY_ANALYSIS {
        const std::int32_t status = book("ReadAnalogF64", task,
                                         ", " + std::to_string(samples) + ", " + decimal(timeoutSeconds) +
                                             ", " + std::to_string(fillMode) + ", " + std::to_string(size));
        ++m_readsInside;
        m_changed.notify_all();
        m_changed.wait(lock, [this]() VT_NO_THREAD_SAFETY_ANALYSIS { return !m_hangReads; });
        --m_readsInside;
        *samplesRead = 0;
        ++m_readsOfTask;
        if (status < 0 || m_failReads || m_readsOfTask == m_failReadNumber)
            return status < 0 ? status : FailureCode;
        const int channels = static_cast<int>(size) / samples;
        for (int c = 0; c < channels; ++c)
            for (int j = 0; j < m_samplesPerRead; ++j)
                values[c * samples + j] = sample(m_blocks, c, j);
        *samplesRead = m_samplesPerRead;
        ++m_blocks;
        return std::int32_t{0};
    };
    const std::int32_t status = read();
    lock.unlock();
    if (m_readHook)
        m_readHook();
    return status;
}

std::int32_t FakeAnalogDriver::DAQmxGetDevSerialNum(const char* device, std::uint32_t* data)
{
    MutexLock lock(m_mutex);
    *data = m_serial;
    return book("GetDevSerialNum", nullptr, quoted(device));
}

} // namespace vt::test
