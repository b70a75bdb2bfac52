// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QThread>
#include <atomic>
#include <semaphore>

namespace vt {

class DataManager;

/// Runs a DataManager's ticks: one per notification of the device. A plain loop on a semaphore instead of an
/// event loop, because posting an event would allocate and lock once per frame.
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
    DataManager& m_manager;
    std::counting_semaphore<> m_ticks{0};
    std::atomic<bool> m_finishing{false};
};

} // namespace vt
