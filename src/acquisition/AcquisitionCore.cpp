// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/AcquisitionCore.h"

#include "daqmx/DaqmxStatus.h"
#include "platform/CrashHandler.h"

#include <QDateTime>
#include <QDeadlineTimer>
#include <QDebug>
#include <algorithm>

namespace vt {

namespace {

constexpr qint64 CallbackDelayLimitMs = 60;
constexpr qint64 BlockUs = 1'000'000 / FramesPerSecond;
constexpr qint64 LeastGapUs = 1000;

} // namespace

AcquisitionCore::AcquisitionCore(DaqmxApi& driver, TimeSource& time,
                                 const AnalogInputTask::ChannelList& channels, int channelCount)
    : m_driver(driver), m_time(time), m_queue(channelCount * SamplesPerFrame),
      m_task(driver, channels, channelCount * SamplesPerFrame),
      m_readBuffer(static_cast<std::size_t>(channelCount) * SamplesPerFrame),
      m_ownerGeneration(nextGeneration())
{
    m_thread.setObjectName(QStringLiteral("acquisition"));
    m_inbox.moveToThread(&m_thread);
    m_inbox.post(&CrashHandler::prepareThread);
}

AcquisitionCore::~AcquisitionCore()
{
    if (m_started)
        m_thread.wait();
    if (m_slot)
        returnCallbackSlot(m_slot);
}

bool AcquisitionCore::start(Owner owner)
{
    m_slot = takeCallbackSlot(this);
    if (!m_slot)
        return false;
    m_owner = std::move(owner);
    m_slot->delivery.open(m_ownerGeneration);
    m_started = true;
    m_thread.start();
    post([this] { setUp(); });
    return true;
}

void AcquisitionCore::post(std::function<void()> step)
{
    m_inbox.post(std::move(step));
}

bool AcquisitionCore::stop(int timeoutMs)
{
    if (!m_started)
        return true;
    const QDeadlineTimer deadline(timeoutMs);
    m_slot->delivery.close();
    if (!m_stopping.exchange(true)) {
        m_stoppedUs = m_time.monotonicUs();
        post([this] { finish(); });
    }
    if (!m_slot->delivery.waitQuietFor(timeoutMs))
        return false;
    std::unique_lock lock(m_finishedMutex);
    return m_finishedChanged.wait_for(lock, std::chrono::milliseconds(deadline.remainingTime()),
                                      [this]() VT_REQUIRES(m_finishedMutex) { return m_finished; });
}

void AcquisitionCore::forgetOwner()
{
    if (!m_started)
        return;
    m_slot->delivery.close();
    m_slot->delivery.waitQuiet();
}

bool AcquisitionCore::isReleased() const
{
    if (!m_started)
        return true;
    MutexLock lock(m_finishedMutex);
    return m_finished;
}

void AcquisitionCore::setPriority(QThread::Priority priority)
{
    if (m_thread.isRunning())
        m_thread.setPriority(priority);
}

AcquisitionCounters AcquisitionCore::counters() const
{
    AcquisitionCounters counters = m_queue.counters();
    counters.readErrors = m_readErrors.load();
    counters.restarts = m_restarts.load();
    counters.gaps = m_gaps.load();
    counters.gapMs = static_cast<quint64>(m_gapUs.load() / 1000);
    counters.openGapMs = static_cast<quint64>(openGapUs() / 1000);
    return counters;
}

/// Since the last block, until now or until the stop; 0 when no read has failed since.
qint64 AcquisitionCore::openGapUs() const
{
    const qint64 lastUs = m_lastBlockUs.load();
    if (!m_isInterrupted || lastUs < 0)
        return 0;
    const qint64 stoppedUs = m_stoppedUs.load();
    return std::max<qint64>((stoppedUs >= 0 ? stoppedUs : m_time.monotonicUs()) - lastUs - BlockUs, 0);
}

// ---- driver's thread ----

std::int32_t VT_DAQMX_CALL AcquisitionCore::onEveryNSamples(daqmx::TaskHandle, std::int32_t, std::uint32_t,
                                                            void* callbackData)
{
    CrashHandler::prepareThread(); // free of cost but for a thread's first call
    const CallbackTicket ticket = decodeTicket(callbackData);
    if (!ticket.slot->task.enter(ticket.generation))
        return 0; // late: the task is being cleared or gone
    ticket.slot->core->readBlock(ticket.generation);
    ticket.slot->task.leave();
    return 0;
}

void AcquisitionCore::readBlock(std::uint64_t generation)
{
    measureDelay();
    if (m_stopping)
        return;
    std::int32_t samplesRead = 0;
    std::fill(m_readBuffer.begin(), m_readBuffer.end(), 0.0); // a short read leaves no old samples behind
    const std::int32_t status = m_task.read(m_readBuffer.data(), &samplesRead);
    if (status < 0)
        readFailed(status, samplesRead, generation);
    else if (samplesRead >= 1)
        deliver();
}

void AcquisitionCore::measureDelay()
{
    const qint64 nowUs = m_time.monotonicUs();
    const qint64 lastUs = m_lastCallbackUs.exchange(nowUs);
    const qint64 delayMs = (nowUs - lastUs) / 1000;
    if (lastUs >= 0 && delayMs > CallbackDelayLimitMs)
        qDebug().noquote() << "callback delay" << delayMs << "> 60";
}

void AcquisitionCore::readFailed(std::int32_t status, std::int32_t samplesRead, std::uint64_t generation)
{
    if (m_stopping)
        return; // the task was stopped under the read, which is no fault
    m_slot->task.close();
    ++m_readErrors;
    m_isInterrupted = true;
    qWarning().noquote() << "DAQ read failed, error:" << status << "read:" << samplesRead;
    std::ignore = daqmxSucceeded(m_driver, status, "DAQmxReadAnalogF64");
    // Never inside the callback: the driver may wait for this very callback when its task is stopped.
    post([this, generation, failedAt = m_time.now()] { recover(generation, failedAt); });
}

void AcquisitionCore::deliver()
{
    if (!m_slot->delivery.enter(m_ownerGeneration))
        return;
    const FrameQueue::PushResult result = m_queue.push(m_readBuffer.data(), m_lastCallbackUs.load());
    const quint64 blocks = ++m_blocks;
    noteBlock(m_lastCallbackUs.load());
    if (result != FrameQueue::PushResult::SkippedBusy)
        m_owner.frameQueued();
    if (m_owner.frameLimit > 0 && blocks >= m_owner.frameLimit) {
        m_slot->task.close();
        m_owner.limitReached();
        if (!m_stopping.exchange(true))
            post([this] { finish(); });
    }
    m_slot->delivery.leave();
}

void AcquisitionCore::noteBlock(qint64 arrivedUs)
{
    if (m_firstBlockUs.load() < 0)
        m_firstBlockUs = arrivedUs;
    const qint64 lastUs = m_lastBlockUs.exchange(arrivedUs);
    if (!m_isInterrupted.exchange(false) || lastUs < 0)
        return;
    const qint64 gapUs = arrivedUs - lastUs - BlockUs;
    if (gapUs < LeastGapUs)
        return;
    ++m_gaps;
    m_gapUs += gapUs;
    qWarning().noquote() << "Data flows again after" << gapUs / 1000 << "ms without";
}

// ---- acquisition thread ----

void AcquisitionCore::setUp()
{
    if (m_stopping)
        return;
    if (m_isRestart && !isSameUnit()) {
        retryAfter(m_pacing.afterFailedSetUp());
        return;
    }
    m_taskGeneration = nextGeneration();
    m_firstBlockUs = -1;
    // Open before the task starts: the first callback may come while DAQmxStartTask is still under way.
    m_slot->task.open(m_taskGeneration);
    if (!m_task.setUp(&onEveryNSamples, encodeTicket({m_slot, m_taskGeneration}), m_stopping)) {
        takeDown();
        m_isRestart = true;
        if (!m_stopping)
            retryAfter(m_pacing.afterFailedSetUp());
        return;
    }
    if (m_isRestart)
        ++m_restarts;
}

/// Another unit may have been plugged in under the same name; its animals are not those of this recording.
bool AcquisitionCore::isSameUnit()
{
    if (!m_owner.serial)
        return true;
    std::uint32_t serial = 0;
    if (!daqmxSucceeded(m_driver, m_driver.DAQmxGetDevSerialNum(m_owner.deviceName.constData(), &serial),
                        "DAQmxGetDevSerialNum"))
        return false;
    if (serial == *m_owner.serial)
        return true;
    qWarning().noquote() << "NIDAQ_data_thread::isSameUnit -" << m_owner.deviceName << "has serial number"
                         << serial << "instead of" << *m_owner.serial;
    return false;
}

void AcquisitionCore::recover(std::uint64_t generation, const QDateTime& failedAt)
{
    if (m_stopping || generation != m_taskGeneration)
        return;
    qDebug().noquote() << "error time: " << failedAt.toString(u"dd/MM/yyyy h:mm:ss A");
    qDebug("Restarting DAQ task.");
    m_task.reportDone();
    takeDown();
    m_isRestart = true;
    if (m_stopping)
        return;
    const int delayMs = m_pacing.afterReadError(dataSinceSetUpMs());
    if (delayMs > 0)
        retryAfter(delayMs);
    else
        setUp();
}

/// From the first to the last block; none when no block came.
std::optional<qint64> AcquisitionCore::dataSinceSetUpMs() const
{
    const qint64 firstUs = m_firstBlockUs.load();
    if (firstUs < 0)
        return std::nullopt;
    return (m_lastBlockUs.load() - firstUs) / 1000;
}

/// Stops and clears the task. The handle stays valid until the last callback has left it: stopping makes a
/// read that is under way return. A read of this task that has failed needs no recovery any more.
void AcquisitionCore::takeDown()
{
    m_taskGeneration = 0;
    m_slot->task.close();
    m_task.stop();
    m_slot->task.waitQuiet();
    m_task.clear();
}

void AcquisitionCore::retryAfter(int delayMs)
{
    if (!m_retryTimer)
        m_retryTimer = m_time.createTimer(&m_inbox, [this] { setUp(); });
    m_retryTimer->start(delayMs, TimerMode::SingleShot);
}

void AcquisitionCore::finish()
{
    m_retryTimer.reset();
    takeDown();
    m_thread.quit();
    MutexLock lock(m_finishedMutex);
    m_finished = true;
    m_finishedChanged.notify_all();
}

} // namespace vt
