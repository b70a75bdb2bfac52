// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "base/TimeSource.h"
#include "simulation/AnalogInput.h"
#include "simulation/DigitalLines.h"
#include "simulation/FaultCommand.h"
#include "simulation/FaultControlFile.h"
#include "simulation/SimulatedTask.h"
#include "simulation/SimulatedUnit.h"

#include <atomic>
#include <condition_variable>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vt {

/// Inside of SimulatedUnit: tasks, presence and call faults, under one lock. That lock may be held when the
/// analog input's or the digital lines' own lock is taken, never the other way round, and never while
/// waiting for a callback or for samples.
/// What a read of digital lines asks for.
struct DigitalRead
{
    enum class Layout { Port, Lines }; ///< one word per sample, or one byte per line and sample
    daqmx::TaskHandle handle;
    std::int32_t samples;
    std::uint32_t arraySize; ///< words or bytes
    Layout layout;
};

struct SimulatedUnit::Private
{
    explicit Private(const Config& unitConfig);
    /// Ends both threads first: they call into everything else.
    ~Private();

    /// Wraps every driver call: counts and records it, applies an injected failure, and keeps a failure's
    /// code and function for the error texts of the calling thread.
    template <typename Body>
    std::int32_t call(const char* function, Body body)
    {
        const std::int32_t injected = enter(function);
        return report(function, injected != 0 ? injected : body());
    }
    /// The same for the two calls that release resources: they do their work and then report the failure.
    template <typename Body>
    std::int32_t releasingCall(const char* function, Body body)
    {
        const std::int32_t injected = enter(function);
        const std::int32_t status = body();
        return report(function, injected != 0 ? injected : status);
    }
    [[nodiscard]] std::int32_t enter(const char* function);
    static std::int32_t report(const char* function, std::int32_t status);

    [[nodiscard]] std::int32_t findTask(daqmx::TaskHandle handle, SimulatedTask** task) VT_REQUIRES(mutex);
    /// The task's own trouble, when it was lost while a call was under way, else status.
    [[nodiscard]] std::int32_t lostOr(daqmx::TaskHandle handle, std::int32_t status);
    [[nodiscard]] std::int32_t checkDevice(const char* device) VT_REQUIRES(mutex);
    [[nodiscard]] std::int32_t startTask(daqmx::TaskHandle handle, SimulatedTask& task) VT_REQUIRES(mutex);
    [[nodiscard]] std::int32_t createDigitalChannels(daqmx::TaskHandle handle, const char* lines,
                                                     std::int32_t lineGrouping, SimulatedTask::Kind kind);
    /// The checks that every read of digital lines makes; starts the task where that is left to the read.
    [[nodiscard]] std::int32_t beginDigitalRead(const DigitalRead& request, SimulatedTask** task)
        VT_REQUIRES(mutex);
    [[nodiscard]] std::int32_t stopTask(daqmx::TaskHandle handle);
    [[nodiscard]] std::int32_t clearTask(daqmx::TaskHandle handle);
    /// Ends every task that has channels; calls on it answer code from now on.
    void loseTasks(std::int32_t code) VT_REQUIRES(mutex);
    void setPresent(std::uint32_t serialNumber);
    [[nodiscard]] bool applyToLines(const FaultCommand& command);
    void applyToBus(const FaultCommand& command);
    void applyToMcu(const FaultCommand& command);
    void applyToVexio(const FaultCommand& command);
    /// The clock of the devices on the lines.
    [[nodiscard]] UnitClock deviceClock();
    /// What a call on the digital lines takes. Without the lock: other calls go on meanwhile.
    void takeLineCallTime();

    const Config config;
    const std::string deviceName;
    QString configurationError;
    SystemTimeSource time;
    DigitalLines digital;
    std::unique_ptr<AnalogInput> analog;

    std::atomic<int> lineCallMs{0};
    Mutex idleMutex;
    std::condition_variable_any never; ///< nobody notifies it: a wait for it passes the time

    Mutex mutex;
    std::map<std::uintptr_t, SimulatedTask> tasks VT_GUARDED_BY(mutex);
    std::uintptr_t nextHandle VT_GUARDED_BY(mutex) = 1; ///< grows for ever: no value is handed out twice
    int deadHandleCalls VT_GUARDED_BY(mutex) = 0;
    bool present VT_GUARDED_BY(mutex) = true;
    std::uint32_t serial VT_GUARDED_BY(mutex) = 0;
    std::uint64_t calls VT_GUARDED_BY(mutex) = 0;
    bool recording VT_GUARDED_BY(mutex) = false;
    std::vector<const char*> recorded VT_GUARDED_BY(mutex);
    std::int32_t callFailCode VT_GUARDED_BY(mutex) = 0; ///< 0: no call fails
    std::uint64_t callFailAt VT_GUARDED_BY(mutex) = 0;
    bool callFailForEver VT_GUARDED_BY(mutex) = false;

    std::unique_ptr<FaultControlFile> controlFile;
};

} // namespace vt
