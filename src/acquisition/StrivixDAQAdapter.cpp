// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixDAQAdapter.h"

#include "acquisition/CallGate.h"
#include "acquisition/FrameQueue.h"
#include "acquisition/StrivixThread.h"
#include "daqmx/KeepAlive.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int MaxStrivixChannels = 2;
constexpr int DestructorWaitMs = 5000;
// After the machine was held up, everything that had arrived is handed on at once, and the processing is as
// late as the amplifier's thread: it gets a moment to take frames before the queue drops them.
constexpr std::chrono::milliseconds RoomWaitLimit{200};

} // namespace

/// What the adapter shares with its device's thread; outlives it when the system holds up the port.
class StrivixDAQAdapter::Core
{
public:
    Core(TimeSource& time, int channelCount)
        : m_channelCount(static_cast<std::size_t>(channelCount)),
          m_queue(channelCount * SamplesPerFrame, FrameQueue::OverflowLog::ByOwner),
          m_frame(m_channelCount * SamplesPerFrame), m_thread(time)
    {}

    /// What the device's thread calls, only while stop() has not been called.
    struct Owner
    {
        std::function<void()> frameQueued;
        std::function<void()> limitReached;
        std::function<void(const QString&)> identified;
        std::function<void(const QString&)> failed;
        quint64 frameLimit = 0;
        QString requiredIdentity;
        int tries = 1;
    };

    void start(const QString& portName, Owner owner)
    {
        if (m_thread.isStarted())
            return;
        m_owner = std::move(owner);
        m_delivery.open(1);
        m_thread.start([this, portName](StrivixDevice& device) {
            QObject::connect(&device, &StrivixDevice::samplesDrained, &device,
                             [this](std::span<const StrivixSample> samples) { frameSamples(samples); });
            QObject::connect(&device, &StrivixDevice::emptied, &device,
                             [this] { m_samplesCut = std::exchange(m_filled, 0); });
            QObject::connect(&device, &StrivixDevice::errorOccurred, &device,
                             [this](const QString& text) { tellOwner(m_owner.failed, text); });
            QObject::connect(&device, &StrivixDevice::identified, &device,
                             [this, &device](const QString& identity) { startStream(device, identity); });
            device.setTries(m_owner.tries);
            device.open(portName);
        });
    }

    [[nodiscard]] bool stop(int timeoutMs)
    {
        const QDeadlineTimer deadline(timeoutMs);
        m_delivery.close();
        const bool isQuiet = m_delivery.waitQuietFor(timeoutMs);
        return m_thread.finish(static_cast<int>(deadline.remainingTime())) && isQuiet;
    }
    void forgetOwner()
    {
        m_delivery.close();
        m_delivery.waitQuiet();
    }

    [[nodiscard]] FrameQueue& queue() { return m_queue; }
    [[nodiscard]] quint64 samplesCut() const { return m_samplesCut.load(); }
    [[nodiscard]] StrivixThread& thread() { return m_thread; }

private:
    // Device's thread.
    void startStream(StrivixDevice& device, const QString& identity)
    {
        if (!m_owner.requiredIdentity.isEmpty() && identity != m_owner.requiredIdentity) {
            device.close();
            tellOwner(m_owner.failed, u"Device identified as \"%1\" instead of \"%2\""_s.arg(
                                          identity, m_owner.requiredIdentity));
            return;
        }
        tellOwner(m_owner.identified, identity);
        device.start();
    }

    void tellOwner(const std::function<void(const QString&)>& call, const QString& text)
    {
        if (!m_delivery.enter(1))
            return;
        call(text);
        m_delivery.leave();
    }

    void frameSamples(std::span<const StrivixSample> samples)
    {
        const bool isBurst = m_filled + samples.size() >= std::size_t{2} * SamplesPerFrame;
        FrameQueue::Wait patience = isBurst ? RoomWaitLimit : FrameQueue::Wait::zero();
        for (const StrivixSample& sample : samples) {
            m_frame[m_filled] = sample.channel1Volts;
            if (m_channelCount > 1)
                m_frame[SamplesPerFrame + m_filled] = sample.channel2Volts;
            if (++m_filled < static_cast<std::size_t>(SamplesPerFrame))
                continue;
            m_filled = 0;
            patience = m_queue.waitForRoom(patience);
            deliver();
        }
    }

    void deliver()
    {
        if (!m_delivery.enter(1))
            return;
        const FrameQueue::PushResult result = m_queue.push(m_frame.data());
        ++m_frames;
        if (result == FrameQueue::PushResult::DroppedOldest)
            qWarning("StrivixDAQAdapter: frame queue overflow, dropping oldest");
        if (result != FrameQueue::PushResult::SkippedBusy)
            m_owner.frameQueued();
        if (m_owner.frameLimit > 0 && m_frames >= m_owner.frameLimit) {
            m_delivery.close();
            m_owner.limitReached();
            m_thread.post([](StrivixDevice& device) { device.close(); });
        }
        m_delivery.leave();
    }

    const std::size_t m_channelCount;
    FrameQueue m_queue;
    std::vector<double> m_frame;
    std::size_t m_filled = 0; ///< samples per channel in m_frame
    std::atomic<quint64> m_samplesCut{0};
    quint64 m_frames = 0;   ///< handed to the queue
    Owner m_owner;          ///< its functions are called inside the gate only
    CallGate m_delivery;    ///< inside: the owner is being called and must not be destroyed
    StrivixThread m_thread; ///< last: waits for its thread, which uses the rest
};

StrivixDAQAdapter::StrivixDAQAdapter(TimeSource& time, const QString& portName, int channelCount,
                                     QObject* parent)
    : DAQInterface(parent), m_portName(portName),
      m_channelCount(std::clamp(channelCount, 1, MaxStrivixChannels)),
      m_core(std::make_shared<Core>(time, m_channelCount))
{
    if (channelCount != m_channelCount)
        qWarning("StrivixDAQAdapter: %d channels asked for, using %d", channelCount, m_channelCount);
}

StrivixDAQAdapter::~StrivixDAQAdapter()
{
    if (m_core->stop(DestructorWaitMs))
        return;
    qCritical().noquote() << "StrivixDAQAdapter: port" << m_portName << "does not return, thread abandoned";
    m_core->forgetOwner();
    keepAliveForever(m_core);
}

bool StrivixDAQAdapter::getLatestData(double* buffer, int maxSize, int* samplesRead)
{
    return m_core->queue().getLatestData(buffer, maxSize, samplesRead);
}

int StrivixDAQAdapter::frameSize() const
{
    return m_core->queue().frameSize();
}

void StrivixDAQAdapter::start()
{
    Core::Owner owner;
    owner.frameQueued = [this] {
        if (m_notifier)
            m_notifier(SamplesPerFrame);
        emit newDAQDataReady(SamplesPerFrame);
    };
    owner.limitReached = [this] { emit frameLimitReached(); };
    owner.identified = [this](const QString& identity) { emit identified(identity); };
    owner.failed = [this](const QString& text) { emit errorOccurred(text); };
    owner.frameLimit = m_frameLimit;
    owner.requiredIdentity = m_requiredIdentity;
    owner.tries = m_tries;
    m_core->start(m_portName, std::move(owner));
}

bool StrivixDAQAdapter::stop(int timeoutMs)
{
    return m_core->stop(timeoutMs);
}

bool StrivixDAQAdapter::released() const
{
    return m_core->thread().isFinished();
}

void StrivixDAQAdapter::setThreadPriority(QThread::Priority priority)
{
    m_core->thread().setPriority(priority);
}

AcquisitionCounters StrivixDAQAdapter::counters() const
{
    AcquisitionCounters counters = m_core->queue().counters();
    const StrivixCounters& device = deviceCounters();
    counters.readErrors = device.serialErrors.load();
    counters.bytesDamaged = device.bytesDamaged.load();
    counters.interruptions = device.underruns.load();
    counters.samplesDropped = device.samplesDropped.load();
    counters.samplesCut = m_core->samplesCut();
    return counters;
}

const StrivixCounters& StrivixDAQAdapter::deviceCounters() const
{
    return m_core->thread().counters();
}

} // namespace vt
