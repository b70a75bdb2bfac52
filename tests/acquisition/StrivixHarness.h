// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "LockstepTime.h"
#include "acquisition/StrivixDAQAdapter.h"
#include "acquisition/StrivixDevice.h"
#include "simulation/SimulatedAmplifier.h"

#include <QDeadlineTimer>
#include <QStringList>
#include <memory>
#include <thread>
#include <vector>

namespace vt::test {

/// The adapter on a real pseudo-terminal with the simulated amplifier at its other end, both stepped
/// together.
class StrivixHarness
{
public:
    explicit StrivixHarness(int channelCount = 2, SimulatedAmplifier::Options options = {})
        : amplifier(time, options), m_channelCount(channelCount)
    {
        plugAdapter();
    }

    /// A new adapter on the same port, as the next segment of a recording has.
    void plugAdapter()
    {
        {
            const MutexLock lock(m_mutex);
            m_errors.clear();
        }
        m_statisticsBefore = amplifier.statistics();
        adapter = std::make_unique<StrivixDAQAdapter>(time, amplifier.portName(), m_channelCount);
        // On the device's thread; a frame is pulled where it is announced, unless the consumer sleeps.
        adapter->setDataNotifier([this](int) {
            if (!consumerSleeps)
                pull();
        });
        QObject::connect(
            adapter.get(), &StrivixDAQAdapter::errorOccurred, adapter.get(),
            [this](const QString& text) {
                const MutexLock lock(m_mutex);
                m_errors << text;
            },
            Qt::DirectConnection);
        QObject::connect(
            adapter.get(), &DAQInterface::frameLimitReached, adapter.get(), [this] { ++limitReached; },
            Qt::DirectConnection);
        QObject::connect(
            adapter.get(), &StrivixDAQAdapter::identified, adapter.get(),
            [this](const QString& text) {
                const MutexLock lock(m_mutex);
                m_identity = text;
            },
            Qt::DirectConnection);
    }

    /// Starts the adapter and waits until it waits for the device, or has failed.
    [[nodiscard]] bool open()
    {
        const int timersBefore = time.activeTimers();
        adapter->start();
        return waitFor([&] { return time.activeTimers() > timersBefore || !errors().isEmpty(); });
    }
    /// For what another thread does within the same instant of the stepped time.
    template <typename Condition>
    [[nodiscard]] static bool waitFor(Condition condition)
    {
        const QDeadlineTimer deadline(10000);
        while (!condition() && !deadline.hasExpired())
            std::this_thread::yield();
        return condition();
    }
    /// 10 ms on, until every byte that is on its way has arrived. False when something does not answer.
    [[nodiscard]] bool step()
    {
        time.advance(10);
        return !time.hasHung() && settle();
    }
    /// Steps until condition() holds; false when it does not within limitMs of the stepped time.
    template <typename Condition>
    [[nodiscard]] bool stepUntil(Condition condition, int limitMs = 10000)
    {
        for (const qint64 endMs = time.monotonicMs() + limitMs; time.monotonicMs() < endMs;) {
            if (condition())
                return true;
            if (!step())
                return false;
        }
        return condition();
    }
    [[nodiscard]] bool stepFor(int durationMs)
    {
        const qint64 endMs = time.monotonicMs() + durationMs;
        return stepUntil([&] { return time.monotonicMs() >= endMs; }, durationMs);
    }
    [[nodiscard]] bool startStreaming()
    {
        return open() && stepUntil([this] { return adapter->counters().framesAcquired > 0; });
    }

    void pull()
    {
        std::vector<double> frame(static_cast<std::size_t>(adapter->frameSize()));
        int samplesRead = 0;
        if (!adapter->getLatestData(frame.data(), adapter->frameSize(), &samplesRead))
            return;
        const MutexLock lock(m_mutex);
        m_frames.push_back(std::move(frame));
    }
    [[nodiscard]] std::vector<std::vector<double>> frames() const
    {
        const MutexLock lock(m_mutex);
        return m_frames;
    }
    [[nodiscard]] QStringList errors() const
    {
        const MutexLock lock(m_mutex);
        return m_errors;
    }
    [[nodiscard]] QString identity() const
    {
        const MutexLock lock(m_mutex);
        return m_identity;
    }

    LockstepTime time;
    SimulatedAmplifier amplifier;
    std::unique_ptr<StrivixDAQAdapter> adapter;
    std::atomic<bool> consumerSleeps{false};
    std::atomic<int> limitReached{0};

private:
    [[nodiscard]] bool settle() const
    {
        const StrivixCounters& device = adapter->deviceCounters();
        return waitFor([&] {
            const SimulatedAmplifier::Statistics other = amplifier.statistics();
            return adapter->released() || limitReached > 0 || !errors().isEmpty() ||
                   (device.bytesSent == other.bytesReceived - m_statisticsBefore.bytesReceived &&
                    device.bytesReceived == other.bytesSent - m_statisticsBefore.bytesSent);
        });
    }

    const int m_channelCount;
    SimulatedAmplifier::Statistics m_statisticsBefore; ///< this adapter
    mutable Mutex m_mutex;
    std::vector<std::vector<double>> m_frames VT_GUARDED_BY(m_mutex);
    QStringList m_errors VT_GUARDED_BY(m_mutex);
    QString m_identity VT_GUARDED_BY(m_mutex);
};

} // namespace vt::test
