// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/AnalogInputTask.h"
#include "acquisition/CallbackSlots.h"
#include "acquisition/FrameQueue.h"
#include "acquisition/RestartPacing.h"
#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "daqmx/DaqmxApi.h"

#include <QByteArray>
#include <QThread>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

/// What a NIDAQ_data_thread shares with its acquisition thread and with the driver's callbacks. It outlives
/// the owner when the driver hangs in a call.
///
///   Idle --setUp--> Running --read failed--> [stop, clear] --at once or after a delay--> setUp
///     |                                           ^
///     +--step failed----------- after a delay ----+
///   any --finish--> [stop, clear] --> Finished (the thread ends)
///
/// Every set-up after a failure begins with a look at the unit's serial number, when one is required. The
/// delays are RestartPacing's. The time between the last block before a failed read and the first one after
/// it, less the length of a block, is counted: its samples were never acquired.
class AcquisitionCore
{
public:
    AcquisitionCore(DaqmxApi& driver, TimeSource& time, const AnalogInputTask::ChannelList& channels,
                    int channelCount);
    ~AcquisitionCore();
    AcquisitionCore(const AcquisitionCore&) = delete;
    AcquisitionCore& operator=(const AcquisitionCore&) = delete;

    struct Owner
    {
        std::function<void()> frameQueued;   ///< driver's thread
        std::function<void()> limitReached;  ///< driver's thread
        quint64 frameLimit = 0;              ///< 0: none
        QByteArray deviceName;               ///< of the unit that the channels belong to
        std::optional<std::uint32_t> serial; ///< of the unit that a restart may continue on; none: any
    };
    /// Interface thread; once. False when no callback slot is free.
    [[nodiscard]] bool start(Owner owner);
    [[nodiscard]] bool isStarted() const { return m_started; }
    /// Any thread but the driver's. True when no frame is being handed over and the driver is done with
    /// the object; false when that took longer than timeoutMs. New frames are refused either way.
    [[nodiscard]] bool stop(int timeoutMs);
    /// Waits until the owner is not being called, and keeps it so. Never long: no driver call is awaited.
    void forgetOwner();
    [[nodiscard]] bool isReleased() const;
    void setPriority(QThread::Priority priority);

    [[nodiscard]] FrameQueue& queue() { return m_queue; }
    [[nodiscard]] AcquisitionCounters counters() const;

private:
    [[nodiscard]] qint64 openGapUs() const;

    static std::int32_t VT_DAQMX_CALL onEveryNSamples(daqmx::TaskHandle task, std::int32_t eventType,
                                                      std::uint32_t sampleCount, void* callbackData);
    // Driver's thread, inside the task gate.
    void readBlock(std::uint64_t generation);
    void measureDelay();
    void readFailed(std::int32_t status, std::int32_t samplesRead, std::uint64_t generation);
    void deliver();
    void noteBlock(qint64 arrivedUs);
    // Acquisition thread.
    void setUp();
    void recover(std::uint64_t generation, const QDateTime& failedAt);
    [[nodiscard]] bool isSameUnit();
    void takeDown();
    void retryAfter(int delayMs);
    [[nodiscard]] std::optional<qint64> dataSinceSetUpMs() const;
    void finish();
    void post(std::function<void()> step);

    DaqmxApi& m_driver;
    TimeSource& m_time;
    FrameQueue m_queue;
    AnalogInputTask m_task;
    std::vector<double> m_readBuffer; ///< written by the one callback that is inside
    CallbackSlot* m_slot = nullptr;
    Owner m_owner; ///< its functions are called inside the delivery gate only

    bool m_started = false;
    const std::uint64_t m_ownerGeneration;
    std::uint64_t m_taskGeneration = 0; ///< acquisition thread; 0: no task is set up
    RestartPacing m_pacing;             ///< acquisition thread
    bool m_isRestart = false;           ///< acquisition thread: the next successful set-up is a restart
    std::unique_ptr<Timer> m_retryTimer;

    std::atomic<bool> m_stopping{false};
    std::atomic<qint64> m_stoppedUs{-1};
    std::atomic<qint64> m_lastCallbackUs{-1};
    std::atomic<qint64> m_firstBlockUs{-1};   ///< since the last set-up; -1: none
    std::atomic<qint64> m_lastBlockUs{-1};    ///< over all set-ups; -1: none
    std::atomic<bool> m_isInterrupted{false}; ///< a read has failed, and no block has come since
    std::atomic<quint64> m_blocks{0};         ///< handed to the queue
    std::atomic<quint64> m_readErrors{0};
    std::atomic<quint64> m_restarts{0};
    std::atomic<quint64> m_gaps{0};
    std::atomic<qint64> m_gapUs{0}; ///< of all gaps together

    mutable Mutex m_finishedMutex;
    std::condition_variable_any m_finishedChanged;
    bool m_finished VT_GUARDED_BY(m_finishedMutex) = false;

    QThread m_thread;
    Inbox m_inbox; ///< lives on m_thread
};

} // namespace vt
