// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "DriverStub.h"
#include "base/Mutex.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vt::test {

/// The analog half of a driver, with a book of everything that was asked of it. Blocks are delivered by
/// the test, on the thread that calls deliver().
class FakeAnalogDriver final : public DriverStub
{
public:
    static constexpr std::int32_t FailureCode = -200279;
    static constexpr std::int32_t DeadHandleCode = -200088;

    /// Runs one callback of the running task; false when no task runs.
    bool deliver();
    /// Calls a callback as registered by the n-th registration (0: the first), whatever became of it.
    void deliverLate(std::size_t registration);

    /// The index-th call from the start (0: the first) fails, all later ones too if forEver. The two
    /// functions that fetch error texts do not count.
    void failCall(std::size_t index, bool forEver);
    void stopFailing();
    /// The next reads fail until stopFailing().
    void failReads(bool fail);
    /// The n-th read of each task fails; 0: none.
    void failEachReadNumber(int n);
    /// Reads do not return until the test says so.
    void hangReads(bool hang);
    /// Whether stopping a task waits for its callback to return, as the real driver may or may not do.
    void setStopWaits(bool waits);
    void setSerial(std::uint32_t serial);
    void setSamplesPerRead(std::int32_t samples);
    /// Called inside each read, on the driver's thread, before it returns.
    void setReadHook(std::function<void()> hook) { m_readHook = std::move(hook); }
    /// Called inside each start of a task, before it returns.
    void setStartHook(std::function<void()> hook) { m_startHook = std::move(hook); }

    /// "StartTask(1)" and so on: handles are numbered in the order of creation.
    [[nodiscard]] std::vector<std::string> calls() const;
    [[nodiscard]] std::size_t callCount() const { return calls().size(); }
    [[nodiscard]] std::size_t count(const std::string& name) const;
    /// Waits until a condition on the calls so far holds; false after 10 s.
    [[nodiscard]] bool waitFor(const std::function<bool(const std::vector<std::string>&)>& condition) const;
    /// Waits until name was called n times in all.
    [[nodiscard]] bool waitForCount(const std::string& name, std::size_t n) const;
    [[nodiscard]] bool waitForRunning() const;
    [[nodiscard]] bool waitForReadUnderWay() const;
    [[nodiscard]] int deadHandleCalls() const;
    [[nodiscard]] std::size_t openTasks() const;
    /// Value that sample j of channel c of block b (from 0, over all tasks) carries.
    [[nodiscard]] static double sample(int block, int channel, int j)
    {
        return block + channel * 0.1 + j * 0.001;
    }

    std::int32_t DAQmxCreateTask(const char* taskName, daqmx::TaskHandle* task) override;
    std::int32_t DAQmxStartTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxStopTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxClearTask(daqmx::TaskHandle task) override;
    std::int32_t DAQmxIsTaskDone(daqmx::TaskHandle task, daqmx::Bool32* isTaskDone) override;
    std::int32_t DAQmxCreateAIVoltageChan(daqmx::TaskHandle task, const char* channels, const char* name,
                                          std::int32_t terminalConfig, double minVal, double maxVal,
                                          std::int32_t units, const char* scale) override;
    std::int32_t DAQmxCfgSampClkTiming(daqmx::TaskHandle task, const char* source, double rate,
                                       std::int32_t edge, std::int32_t mode, std::uint64_t samples) override;
    std::int32_t DAQmxRegisterEveryNSamplesEvent(daqmx::TaskHandle task, std::int32_t type,
                                                 std::uint32_t samples, std::uint32_t options,
                                                 daqmx::EveryNSamplesCallback callback, void* data) override;
    std::int32_t DAQmxReadAnalogF64(daqmx::TaskHandle task, std::int32_t samples, double timeoutSeconds,
                                    daqmx::Bool32 fillMode, double* values, std::uint32_t size,
                                    std::int32_t* samplesRead, daqmx::Bool32* reserved) override;
    std::int32_t DAQmxGetDevSerialNum(const char* device, std::uint32_t* data) override;

private:
    struct Registration
    {
        daqmx::TaskHandle task;
        daqmx::EveryNSamplesCallback callback;
        void* data;
    };
    /// Books a call; 0 when it may go on.
    std::int32_t book(const std::string& name, daqmx::TaskHandle task, const std::string& arguments = {})
        VT_REQUIRES(m_mutex);
    [[nodiscard]] static std::size_t number(daqmx::TaskHandle task)
    {
        return reinterpret_cast<std::size_t>(task);
    }

    mutable Mutex m_mutex;
    mutable std::condition_variable_any m_changed;
    std::vector<std::string> m_calls VT_GUARDED_BY(m_mutex);
    std::size_t m_created VT_GUARDED_BY(m_mutex) = 0;
    std::set<daqmx::TaskHandle> m_live VT_GUARDED_BY(m_mutex);
    std::vector<Registration> m_registrations VT_GUARDED_BY(m_mutex);
    daqmx::TaskHandle m_running VT_GUARDED_BY(m_mutex) = nullptr;
    int m_callbacksInside VT_GUARDED_BY(m_mutex) = 0;
    int m_readsInside VT_GUARDED_BY(m_mutex) = 0;
    int m_blocks VT_GUARDED_BY(m_mutex) = 0;
    int m_deadHandleCalls VT_GUARDED_BY(m_mutex) = 0;
    std::size_t m_failAt VT_GUARDED_BY(m_mutex) = SIZE_MAX;
    bool m_failForEver VT_GUARDED_BY(m_mutex) = false;
    bool m_failReads VT_GUARDED_BY(m_mutex) = false;
    int m_failReadNumber VT_GUARDED_BY(m_mutex) = 0;
    int m_readsOfTask VT_GUARDED_BY(m_mutex) = 0;
    bool m_hangReads VT_GUARDED_BY(m_mutex) = false;
    bool m_stopWaits VT_GUARDED_BY(m_mutex) = true;
    std::uint32_t m_serial VT_GUARDED_BY(m_mutex) = 42;
    std::int32_t m_samplesPerRead VT_GUARDED_BY(m_mutex) = 20;
    std::function<void()> m_readHook;
    std::function<void()> m_startHook;
};

} // namespace vt::test
