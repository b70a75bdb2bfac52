// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/FrameQueue.h"

#include <QDebug>
#include <algorithm>

namespace vt {

FrameQueue::FrameQueue(int frameSize, OverflowLog overflowLog)
    : m_frameSize(frameSize), m_overflowLog(overflowLog)
{
    for (auto& slot : m_slots)
        slot.resize(static_cast<std::size_t>(frameSize));
    qDebug().noquote() << "Frame queue initialized: size=" << FrameQueueCapacity
                       << "frames, buffer size=" << frameSize << "samples";
}

FrameQueue::PushResult FrameQueue::push(const double* frame, qint64 arrivedUs)
{
    if (!m_mutex.tryLockFor(PushLockLimit)) {
        m_skippedBusy.fetch_add(1);
        qDebug("DAQ callback: buffer busy, skipping frame (queue unchanged)");
        return PushResult::SkippedBusy;
    }
    std::uint64_t totalDrops = 0;
    if (m_count == m_slots.size()) {
        m_readIndex = (m_readIndex + 1) % m_slots.size();
        --m_count;
        totalDrops = ++m_droppedOldest;
    }
    const std::size_t writeIndex = (m_readIndex + m_count) % m_slots.size();
    std::copy_n(frame, m_frameSize, m_slots[writeIndex].begin());
    m_arrivedUs[writeIndex] = arrivedUs;
    ++m_count;
    ++m_queuedTotal;
    m_mutex.unlock();

    if (totalDrops == 0)
        return PushResult::Queued;
    if (m_overflowLog == OverflowLog::ByQueue)
        qDebug().noquote() << "DAQ callback: Queue full, dropped oldest frame (total drops:" << totalDrops
                           << ")";
    return PushResult::DroppedOldest;
}

FrameQueue::Wait FrameQueue::waitForRoom(Wait patience)
{
    if (patience <= Wait::zero())
        return Wait::zero();
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::unique_lock lock(m_mutex);
    const bool hasRoom = m_frameTaken.wait_until(
        lock, deadline, [this]() VT_REQUIRES(m_mutex) { return m_count < m_slots.size(); });
    return hasRoom ? std::max(deadline - std::chrono::steady_clock::now(), Wait::zero()) : Wait::zero();
}

bool FrameQueue::getLatestData(double* buffer, int maxSize, int* samplesRead)
{
    std::uint64_t emptyPulls = 0;
    {
        MutexLock lock(m_mutex);
        if (m_count == 0) {
            emptyPulls = ++m_emptyPulls;
        } else if (maxSize >= m_frameSize) {
            std::copy_n(m_slots[m_readIndex].begin(), m_frameSize, buffer);
            *samplesRead = m_frameSize;
            m_takenArrivedUs = m_arrivedUs[m_readIndex];
            m_readIndex = (m_readIndex + 1) % m_slots.size();
            --m_count;
            m_frameTaken.notify_one();
            return true;
        }
    }
    // Logging may wait for a file, so it happens without the lock.
    if (emptyPulls > 0)
        qWarning().noquote() << "getLatestData FAILED: Queue empty (queueCount=0, empty errors:" << emptyPulls
                             << ")";
    else
        qCritical().noquote() << "getLatestData FAILED: Buffer too small! maxSize=" << maxSize
                              << "required=" << m_frameSize;
    return false;
}

AcquisitionCounters FrameQueue::counters() const
{
    MutexLock lock(m_mutex);
    // Read once: a discard that happens meanwhile shows on both sides of the sum or on neither.
    const std::uint64_t skipped = m_skippedBusy.load();
    AcquisitionCounters counters;
    counters.framesAcquired = m_queuedTotal + skipped;
    counters.framesDropped = m_droppedOldest + skipped;
    counters.framesQueued = m_count;
    counters.emptyPulls = m_emptyPulls;
    return counters;
}

} // namespace vt
