// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QThread>
#include <atomic>

namespace vt {

class DataManager;

/// Runs a DataManager's ticks: one per notification of the device. A plain loop on a counter that it waits
/// for, instead of an event loop, because posting an event would allocate and lock once per frame.
/// Owner: session. One per segment.
class ProcessingThread : public QThread
{
    Q_OBJECT
public:
    explicit ProcessingThread(DataManager& manager, QObject* parent = nullptr);
    /// Finishes first if it still runs.
    ~ProcessingThread() override;

    /// Any thread; does not allocate or block. One tick will follow.
    void notify();

    /// Works off all ticks that were notified, then ends the thread; waits up to timeoutMs for it.
    /// Call after the device has stopped.
    [[nodiscard]] bool finish(int timeoutMs);

protected:
    void run() override;

private:
    void requestFinish();

    DataManager& m_manager;
    std::atomic<quint32> m_ticks{0};  ///< notified so far
    std::atomic<quint32> m_events{0}; ///< ticks and the request to finish: what the loop waits on
    std::atomic<bool> m_finishing{false};
    std::atomic<bool> m_finished{false}; ///< everything that a tick wrote is visible to who reads true
};

} // namespace vt
