// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/DAQInterface.h"
#include "base/Mutex.h"

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <vector>

namespace vt {

/// Hands acquisition frames from the driver's callback to the processing thread: a ring of 10 frames that
/// prefers fresh data. All memory is allocated at construction. One producer thread, one consumer thread,
/// counters from any thread.
class FrameQueue
{
public:
    enum class OverflowLog {
        ByQueue, ///< in the words of the analog-input device
        ByOwner  ///< by whoever pushes, in other words
    };
    /// frameSize: samples per frame over all channels (channelCount x 20), > 0.
    explicit FrameQueue(int frameSize, OverflowLog overflowLog = OverflowLog::ByQueue);
    FrameQueue(const FrameQueue&) = delete;
    FrameQueue& operator=(const FrameQueue&) = delete;

    enum class PushResult {
        Queued,
        DroppedOldest, ///< queued, at the price of the oldest frame
        SkippedBusy    ///< the lock stayed busy for 1 ms: this frame is lost, the queue is as it was
    };
    /// Producer's thread; waits 1 ms at most. frame: frameSize() samples in volts. arrivedUs: monotonic
    /// microseconds, handed on with the frame.
    PushResult push(const double* frame, qint64 arrivedUs = -1);

    using Wait = std::chrono::steady_clock::duration;
    /// Producer's thread: waits until a frame can be pushed without dropping one, patience at most. Returns
    /// what is left of it, 0 when there is still no room. Does not touch the lock when patience is 0.
    [[nodiscard]] Wait waitForRoom(Wait patience);

    /// Consumer's thread; blocks for the copy of one frame at most. False when the queue is empty or
    /// maxSize is below frameSize(); then nothing is taken and *samplesRead stays as it was.
    [[nodiscard]] bool getLatestData(double* buffer, int maxSize, int* samplesRead);

    [[nodiscard]] int frameSize() const { return m_frameSize; }
    /// When the frame that was taken last had arrived; -1 before the first. Consumer's thread.
    [[nodiscard]] qint64 takenFrameArrivedUs() const { return m_takenArrivedUs; }
    /// The queue's part of the device's counters, taken at one instant.
    [[nodiscard]] AcquisitionCounters counters() const;

    /// Runs action with the queue's lock held: a consumer that is slow over its copy, for tests.
    template <typename Action>
    void whileLocked(Action action)
    {
        MutexLock lock(m_mutex);
        action();
    }

private:
#ifdef VELLUMTIDE_SANITIZED // where a thread that has the lock is held up for longer than that
    static constexpr std::chrono::microseconds PushLockLimit{1'000'000};
#else
    static constexpr std::chrono::microseconds PushLockLimit{1000};
#endif

    const int m_frameSize;
    const OverflowLog m_overflowLog;
    mutable Mutex m_mutex;
    std::condition_variable_any m_frameTaken;
    std::array<std::vector<double>, FrameQueueCapacity> m_slots VT_GUARDED_BY(m_mutex);
    std::array<qint64, FrameQueueCapacity> m_arrivedUs VT_GUARDED_BY(m_mutex){};
    qint64 m_takenArrivedUs = -1; ///< consumer's thread
    std::size_t m_readIndex VT_GUARDED_BY(m_mutex) = 0;
    std::size_t m_count VT_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_queuedTotal VT_GUARDED_BY(m_mutex) = 0; ///< frames that entered the ring
    std::uint64_t m_droppedOldest VT_GUARDED_BY(m_mutex) = 0;
    std::uint64_t m_emptyPulls VT_GUARDED_BY(m_mutex) = 0;
    std::atomic<std::uint64_t> m_skippedBusy{0}; ///< counted without the lock, which was not to be had
};

} // namespace vt
