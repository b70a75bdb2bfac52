// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeUnit.h"

#include <algorithm>
#include <chrono>

namespace vt::test {

namespace {

std::string number(daqmx::TaskHandle task)
{
    return std::to_string(reinterpret_cast<std::size_t>(task));
}

std::string seconds(double value)
{
    const std::string text = std::to_string(value);
    return text.substr(0, text.find('.') + 2);
}

} // namespace

void FakeUnit::setDevices(std::vector<Device> devices)
{
    MutexLock lock(m_mutex);
    m_devices = std::move(devices);
}

void FakeUnit::failCall(std::size_t index)
{
    MutexLock lock(m_mutex);
    m_failAt = index;
}

void FakeUnit::failFunction(const std::string& name)
{
    MutexLock lock(m_mutex);
    m_failFunction = name;
}

void FakeUnit::hangFunction(const std::string& name)
{
    MutexLock lock(m_mutex);
    m_hangFunction = name;
}

void FakeUnit::release()
{
    MutexLock lock(m_mutex);
    m_hangFunction.clear();
    m_changed.notify_all();
}

bool FakeUnit::waitForHang() const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10),
                              [this]() VT_NO_THREAD_SAFETY_ANALYSIS { return m_hanging > 0; });
}

std::vector<std::string> FakeUnit::calls() const
{
    MutexLock lock(m_mutex);
    return m_calls;
}

std::size_t FakeUnit::countLocked(const std::string& name) const
{
    return static_cast<std::size_t>(
        std::count_if(m_calls.begin(), m_calls.end(),
                      [&name](const std::string& call) { return call.starts_with(name + '('); }));
}

std::size_t FakeUnit::count(const std::string& name) const
{
    MutexLock lock(m_mutex);
    return countLocked(name);
}

bool FakeUnit::waitForCount(const std::string& name, std::size_t n) const
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_for(lock, std::chrono::seconds(10),
                              [&]() VT_NO_THREAD_SAFETY_ANALYSIS { return countLocked(name) >= n; });
}

void FakeUnit::forgetCalls()
{
    MutexLock lock(m_mutex);
    m_calls.clear();
}

int FakeUnit::openTasks() const
{
    MutexLock lock(m_mutex);
    return static_cast<int>(m_tasks.size());
}

int FakeUnit::deadHandleCalls() const
{
    MutexLock lock(m_mutex);
    return m_deadHandleCalls;
}

std::int32_t FakeUnit::book(const std::string& function, const std::string& arguments)
{
    const std::size_t index = m_calls.size();
    m_calls.push_back(function + '(' + arguments + ')');
    m_changed.notify_all();
    while (function == m_hangFunction) {
        ++m_hanging;
        m_changed.notify_all();
        m_changed.wait(m_mutex);
        --m_hanging;
    }
    return index == m_failAt || function == m_failFunction ? FailureCode : 0;
}

std::int32_t FakeUnit::bookTask(const std::string& function, daqmx::TaskHandle task,
                                const std::string& arguments)
{
    if (!m_tasks.contains(task))
        ++m_deadHandleCalls;
    return book(function, number(task) + arguments);
}

const FakeUnit::Device* FakeUnit::find(const std::string& name) const
{
    const auto found = std::find_if(m_devices.begin(), m_devices.end(),
                                    [&name](const Device& device) { return device.name == name; });
    return found == m_devices.end() ? nullptr : &*found;
}

// ---- slaves ----

void FakeUnit::attachVexio()
{
    MutexLock lock(m_mutex);
    m_vexio.emplace(0x10);
}

void FakeUnit::holdVexioLow(bool isHeld)
{
    MutexLock lock(m_mutex);
    m_isVexioHeld = isHeld;
}

void FakeUnit::attachExpanders()
{
    MutexLock lock(m_mutex);
    m_hasExpanders = true;
}

void FakeUnit::setInterruptLine(const std::string& line, bool isHigh)
{
    MutexLock lock(m_mutex);
    if (isHigh)
        m_lowLines.erase(line);
    else
        m_lowLines.insert(line);
}

/// Other lines of the port are high, so that the reader has to pick its own.
std::uint32_t FakeUnit::portLevels(const std::string& line) const
{
    bool isHigh = true;
    std::uint32_t bit = 1;
    if (line.ends_with("/port0/line0")) {
        isHigh = m_mcu.sda();
    } else if (line.ends_with("/port0/line4")) {
        bit = 1U << 4;
        isHigh = !m_isVexioHeld && (!m_vexio || m_vexio->sda());
    } else {
        isHigh = m_hasExpanders && m_expanders[0].sda() && m_expanders[1].sda();
    }
    return isHigh ? 0xFFFFFFFF : ~bit;
}

void FakeUnit::driveLines(const std::string& lines, std::uint32_t word)
{
    if (lines.ends_with("/port0/line1:2"))
        m_mcu.lines((word & 2) != 0, (word & 4) != 0);
    else if (lines.ends_with("/port0/line5:6") && m_vexio && !m_isVexioHeld)
        m_vexio->lines((word & 32) != 0, (word & 64) != 0);
    else if (lines.ends_with("/port1/line1:2"))
        for (I2cSlave& expander : m_expanders)
            expander.lines((word & 2) != 0, (word & 4) != 0);
}

// ---- tasks ----

std::int32_t FakeUnit::DAQmxCreateTask(const char* name, daqmx::TaskHandle* task)
{
    MutexLock lock(m_mutex);
    const std::int32_t status = book("CreateTask", '"' + std::string(name) + '"');
    if (status == 0) {
        *task = reinterpret_cast<daqmx::TaskHandle>(++m_created);
        m_tasks[*task];
    }
    return status;
}

std::int32_t FakeUnit::DAQmxStartTask(daqmx::TaskHandle task)
{
    MutexLock lock(m_mutex);
    return bookTask("StartTask", task);
}

std::int32_t FakeUnit::DAQmxStopTask(daqmx::TaskHandle task)
{
    MutexLock lock(m_mutex);
    return bookTask("StopTask", task);
}

std::int32_t FakeUnit::DAQmxClearTask(daqmx::TaskHandle task)
{
    MutexLock lock(m_mutex);
    const std::int32_t status = bookTask("ClearTask", task);
    m_tasks.erase(task);
    return status;
}

std::int32_t FakeUnit::DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char* name,
                                         std::int32_t grouping)
{
    MutexLock lock(m_mutex);
    m_tasks[task] = lines;
    return bookTask("CreateDIChan", task,
                    ", " + std::string(lines) + ", \"" + name + "\", " + std::to_string(grouping));
}

std::int32_t FakeUnit::DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char* name,
                                         std::int32_t grouping)
{
    MutexLock lock(m_mutex);
    m_tasks[task] = lines;
    return bookTask("CreateDOChan", task,
                    ", " + std::string(lines) + ", \"" + name + "\", " + std::to_string(grouping));
}

std::int32_t FakeUnit::DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samples,
                                           double timeoutSeconds, daqmx::Bool32 fillMode,
                                           std::uint32_t* values, std::uint32_t size,
                                           std::int32_t* samplesRead, daqmx::Bool32*)
{
    MutexLock lock(m_mutex);
    const std::int32_t status = bookTask("ReadDigitalU32", task,
                                         ", " + std::to_string(samples) + ", " + seconds(timeoutSeconds) +
                                             ", " + std::to_string(fillMode) + ", " + std::to_string(size));
    if (status < 0)
        return status;
    values[0] = portLevels(m_tasks[task]);
    *samplesRead = 1;
    return 0;
}

std::int32_t FakeUnit::DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samples,
                                             double timeoutSeconds, daqmx::Bool32 fillMode,
                                             std::uint8_t* values, std::uint32_t size,
                                             std::int32_t* samplesRead, std::int32_t* bytesPerSample,
                                             daqmx::Bool32*)
{
    MutexLock lock(m_mutex);
    const std::int32_t status = bookTask("ReadDigitalLines", task,
                                         ", " + std::to_string(samples) + ", " + seconds(timeoutSeconds) +
                                             ", " + std::to_string(fillMode) + ", " + std::to_string(size));
    if (status < 0)
        return status;
    values[0] = 1;
    for (const std::string& line : m_lowLines)
        if (m_tasks[task].ends_with(line))
            values[0] = 0;
    *samplesRead = 1;
    *bytesPerSample = 1;
    return 0;
}

std::int32_t FakeUnit::DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samples,
                                            daqmx::Bool32 autoStart, double timeoutSeconds,
                                            daqmx::Bool32 layout, const std::uint32_t* values,
                                            std::int32_t* written, daqmx::Bool32*)
{
    MutexLock lock(m_mutex);
    std::string list;
    for (std::int32_t i = 0; i < samples; ++i)
        list += ' ' + std::to_string(values[i]);
    const std::int32_t status =
        bookTask("WriteDigitalU32", task,
                 ", " + std::to_string(samples) + ", " + std::to_string(autoStart) + ", " +
                     seconds(timeoutSeconds) + ", " + std::to_string(layout) + ':' + list);
    if (status < 0)
        return status;
    for (std::int32_t i = 0; i < samples; ++i)
        driveLines(m_tasks[task], values[i]);
    *written = samples;
    return 0;
}

// ---- devices ----

std::int32_t FakeUnit::DAQmxGetSysDevNames(char* data, std::uint32_t size)
{
    MutexLock lock(m_mutex);
    std::string list;
    for (const Device& device : m_devices)
        list += (list.empty() ? "" : ", ") + device.name;
    copyText(list, data, size);
    return book("GetSysDevNames", std::to_string(size));
}

std::int32_t FakeUnit::DAQmxGetDevProductType(const char* device, char* data, std::uint32_t size)
{
    MutexLock lock(m_mutex);
    const Device* found = find(device);
    copyText(found ? found->type : "", data, size);
    return found ? book("GetDevProductType", device) : FailureCode;
}

std::int32_t FakeUnit::DAQmxGetDevSerialNum(const char* device, std::uint32_t* data)
{
    MutexLock lock(m_mutex);
    const Device* found = find(device);
    *data = found ? found->serial : 0;
    return found ? book("GetDevSerialNum", device) : FailureCode;
}

std::int32_t FakeUnit::DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data)
{
    MutexLock lock(m_mutex);
    const Device* found = find(device);
    *data = found && found->simulated ? 1 : 0;
    return found ? book("GetDevIsSimulated", device) : FailureCode;
}

std::int32_t FakeUnit::DAQmxGetDevAIPhysicalChans(const char* device, char* data, std::uint32_t size)
{
    MutexLock lock(m_mutex);
    const Device* found = find(device);
    std::string list;
    for (int i = 0; found && i < found->analogInputs; ++i)
        list += (i == 0 ? "" : ", ") + found->name + "/ai" + std::to_string(i);
    copyText(list, data, size);
    return found ? book("GetDevAIPhysicalChans", device) : FailureCode;
}

std::int32_t FakeUnit::DAQmxResetDevice(const char* device)
{
    MutexLock lock(m_mutex);
    return book("ResetDevice", device);
}

} // namespace vt::test
