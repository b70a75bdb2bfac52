// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "DriverStub.h"
#include "I2cSlave.h"
#include "base/Mutex.h"

#include <array>
#include <condition_variable>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vt::test {

/// The digital half of a driver, the same behind every device: a microcontroller on lines 0 (read), 1 (SDA)
/// and 2 (SCL) of port 0 and, when attached, a stimulation unit on lines 4, 5 and 6 and port expanders on
/// lines 0, 1 and 2 of port 1. Of buses with nobody on them, that of the stimulation unit reads high, that
/// of the expanders low. All calls are booked as text.
class FakeUnit final : public DriverStub
{
public:
    static constexpr std::int32_t FailureCode = -88709;

    struct Device
    {
        std::string name;
        std::string type;
        std::uint32_t serial;
        bool simulated;
        int analogInputs;
    };

    FakeUnit() : m_mcu(0x10), m_expanders{I2cSlave(0x40), I2cSlave(0x4E)} {}

    void attachVexio();
    void attachExpanders();
    /// Something holds the data line of the stimulation unit low: the unit hears nothing of what is said.
    void holdVexioLow(bool isHeld);
    /// Level of "/port0/line7" or "/port1/line3"; high until told.
    void setInterruptLine(const std::string& line, bool isHigh);
    template <typename Action>
    auto withVexio(Action action)
    {
        MutexLock lock(m_mutex);
        return action(*m_vexio);
    }
    template <typename Action>
    auto withExpander(std::size_t index, Action action)
    {
        MutexLock lock(m_mutex);
        return action(m_expanders[index]);
    }

    void setDevices(std::vector<Device> devices);
    /// Works on the microcontroller while no driver call runs.
    template <typename Action>
    auto withMcu(Action action)
    {
        MutexLock lock(m_mutex);
        return action(m_mcu);
    }

    /// The index-th of the calls that touch tasks or devices (0: the first) fails.
    void failCall(std::size_t index);
    /// Every call of this function fails.
    void failFunction(const std::string& name);
    /// Calls of this function do not return until released.
    void hangFunction(const std::string& name);
    void release();
    [[nodiscard]] bool waitForHang() const;
    /// Waits until name was called n times in all; false after 10 s.
    [[nodiscard]] bool waitForCount(const std::string& name, std::size_t n) const;

    [[nodiscard]] std::vector<std::string> calls() const;
    [[nodiscard]] std::size_t count(const std::string& name) const;
    void forgetCalls();
    [[nodiscard]] int openTasks() const;
    [[nodiscard]] int deadHandleCalls() const;

    std::int32_t DAQmxCreateTask(const char* name, daqmx::TaskHandle* task) override;
    std::int32_t DAQmxStartTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxStopTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxClearTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxCreateDIChan(daqmx::TaskHandle task, const char* lines, const char* name,
                                   std::int32_t grouping) override;
    std::int32_t DAQmxCreateDOChan(daqmx::TaskHandle task, const char* lines, const char* name,
                                   std::int32_t grouping) override;
    std::int32_t DAQmxReadDigitalU32(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                     daqmx::Bool32 fillMode, std::uint32_t* values, std::uint32_t size,
                                     std::int32_t* samplesRead, daqmx::Bool32* reserved) override;
    std::int32_t DAQmxReadDigitalLines(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                       daqmx::Bool32 fillMode, std::uint8_t* values, std::uint32_t size,
                                       std::int32_t* samplesRead, std::int32_t* bytesPerSample,
                                       daqmx::Bool32* reserved) override;
    std::int32_t DAQmxWriteDigitalU32(daqmx::TaskHandle task, std::int32_t samples, daqmx::Bool32 autoStart,
                                      double timeoutSeconds, daqmx::Bool32 layout,
                                      const std::uint32_t* values, std::int32_t* written,
                                      daqmx::Bool32* reserved) override;
    std::int32_t DAQmxGetSysDevNames(char* data, std::uint32_t size) override;
    std::int32_t DAQmxGetDevProductType(const char* device, char* data, std::uint32_t size) override;
    std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) override;
    std::int32_t DAQmxGetDevIsSimulated(const char* device, daqmx::Bool32* data) override;
    std::int32_t DAQmxGetDevAIPhysicalChans(const char* device, char* data, std::uint32_t size) override;
    std::int32_t DAQmxResetDevice(const char* device) override;

private:
    [[nodiscard]] std::size_t countLocked(const std::string& name) const VT_REQUIRES(m_mutex);
    /// Books a call; 0 when it may go on.
    std::int32_t book(const std::string& function, const std::string& arguments) VT_REQUIRES(m_mutex);
    std::int32_t bookTask(const std::string& function, daqmx::TaskHandle task,
                          const std::string& arguments = {}) VT_REQUIRES(m_mutex);
    [[nodiscard]] std::uint32_t portLevels(const std::string& line) const VT_REQUIRES(m_mutex);
    void driveLines(const std::string& lines, std::uint32_t word) VT_REQUIRES(m_mutex);
    [[nodiscard]] const Device* find(const std::string& name) const VT_REQUIRES(m_mutex);

    mutable Mutex m_mutex;
    mutable std::condition_variable_any m_changed;
    std::vector<Device> m_devices VT_GUARDED_BY(m_mutex);
    I2cSlave m_mcu VT_GUARDED_BY(m_mutex);
    std::optional<I2cSlave> m_vexio VT_GUARDED_BY(m_mutex);
    std::array<I2cSlave, 2> m_expanders VT_GUARDED_BY(m_mutex);
    bool m_isVexioHeld VT_GUARDED_BY(m_mutex) = false;
    bool m_hasExpanders VT_GUARDED_BY(m_mutex) = false;
    std::set<std::string> m_lowLines VT_GUARDED_BY(m_mutex);
    std::vector<std::string> m_calls VT_GUARDED_BY(m_mutex);
    std::map<daqmx::TaskHandle, std::string> m_tasks VT_GUARDED_BY(m_mutex); ///< live handles and their lines
    std::size_t m_created VT_GUARDED_BY(m_mutex) = 0;
    int m_deadHandleCalls VT_GUARDED_BY(m_mutex) = 0;
    std::size_t m_failAt VT_GUARDED_BY(m_mutex) = SIZE_MAX;
    std::string m_failFunction VT_GUARDED_BY(m_mutex);
    std::string m_hangFunction VT_GUARDED_BY(m_mutex);
    int m_hanging VT_GUARDED_BY(m_mutex) = 0;
};

} // namespace vt::test
