// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QThread>
#include <functional>

namespace vt {

/// What an acquisition device's counters say. acquired = delivered to the consumer + dropped + queued.
struct AcquisitionCounters
{
    quint64 framesAcquired = 0; ///< blocks that the driver handed over
    quint64 framesDropped = 0;  ///< of these, lost to a full queue or a busy queue lock
    quint64 framesQueued = 0;   ///< of these, waiting to be pulled
    quint64 emptyPulls = 0;
    quint64 readErrors = 0; ///< failed reads; each is followed by a restart of the device's task
    quint64 restarts = 0;   ///< successful restarts after a failure
    // Without data around failed reads: from the last block before to the first one after, less a block.
    quint64 gaps = 0;      ///< that have ended
    quint64 gapMs = 0;     ///< their length, all together
    quint64 openGapMs = 0; ///< one that has not ended, until now or until the stop; 0: there is none
    // Lost before there was a frame; by the serial amplifier, 0 for others.
    quint64 bytesDamaged = 0;   ///< part of no packet; one cut in two where the stream begins is none
    quint64 interruptions = 0;  ///< times that the stream ran dry and went on
    quint64 samplesDropped = 0; ///< per channel; too many waited
    quint64 samplesCut = 0;     ///< per channel; behind the last frame when the device went away, 19 at most
};

/// An acquisition device as the rest of the program sees it.
///
/// Life of one object (one per segment of a recording; never restarted):
///   1. construction on the interface thread, with channel list and count;
///   2. start(): returns at once. Set-up runs on the device's own thread. A set-up step or a read that fails
///      is logged by name and tried again: at once when data had flowed, else, and when it has just failed
///      before, after 0.5 s, 1 s, 2 s, then every 2 s. The consumer only sees that no data comes, which is
///      what the session's watchdog is for;
///   3. for every block: one frame is pushed into the queue (10 frames; a full queue drops its oldest frame,
///      a queue lock that stays busy for 1 ms drops the new one), then newDAQDataReady(20) is emitted on the
///      driver's thread and dataNotifier, if set, is called. Neither allocates;
///   4. stop(): no frame is pushed after it returned true;
///   5. destruction, after stop() returned true. When stop() returned false (the driver hangs in a call) the
///      object must be kept alive until released() is true.
class DAQInterface : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;

    /// Pulls the oldest frame. Consumer's thread; blocks only for the copy of one frame.
    /// False when the queue is empty (counted, logged) or maxSize is below frameSize() (frame stays queued).
    virtual bool getLatestData(double* buffer, int maxSize, int* samplesRead) = 0;
    /// When the last sample of the frame that was pulled last had arrived (the time source's monotonic
    /// microseconds); -1: not known. Consumer's thread.
    [[nodiscard]] virtual qint64 pulledFrameArrivedUs() const { return -1; }

    /// channelCount() x 20.
    [[nodiscard]] virtual int frameSize() const = 0;
    [[nodiscard]] virtual int channelCount() const = 0;

    /// Interface thread; does not wait.
    virtual void start() = 0;
    /// Any thread but the driver's; waits up to timeoutMs for the device to be quiet and its task cleared.
    [[nodiscard]] virtual bool stop(int timeoutMs) = 0;
    /// True when no driver call or callback of this object is under way any more.
    [[nodiscard]] virtual bool released() const = 0;
    /// Priority of the device's own thread; call after start().
    virtual void setThreadPriority(QThread::Priority priority) = 0;

    /// Any thread.
    [[nodiscard]] virtual AcquisitionCounters counters() const = 0;

    /// Called on the driver's thread after each pushed frame, in place of a queued signal, which would
    /// allocate. Set before start().
    void setDataNotifier(std::function<void(int samplesPerChannel)> notifier)
    {
        m_notifier = std::move(notifier);
    }
    /// After this many frames the device delivers no more and emits frameLimitReached once. 0: no limit.
    /// Set before start().
    void setFrameLimit(quint64 frames) { m_frameLimit = frames; }

signals:
    /// One block has been queued; samplesPerChannel is 20. Emitted on the driver's thread.
    void newDAQDataReady(int samplesPerChannel);
    void frameLimitReached();

protected:
    std::function<void(int)> m_notifier;
    quint64 m_frameLimit = 0;
};

} // namespace vt
