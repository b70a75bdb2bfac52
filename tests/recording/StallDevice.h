// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QByteArray>
#include <QIODevice>
#include <chrono>
#include <condition_variable>

namespace vt::test {

/// A target that takes nothing until released, like a disk that hangs, and then keeps everything.
class StallDevice : public QIODevice
{
public:
    enum class Gate { Closed, Open };
    explicit StallDevice(Gate gate) : m_open(gate == Gate::Open)
    {
        open(QIODevice::WriteOnly | QIODevice::Unbuffered);
    }
    /// Waits until the writer is inside its first write.
    void waitUntilEntered()
    {
        waitFor([this] { return m_entered; });
    }
    void release()
    {
        {
            MutexLock lock(m_mutex);
            m_open = true;
        }
        m_changed.notify_all();
    }
    /// Waits until that many bytes have arrived; all that have.
    [[nodiscard]] QByteArray waitForBytes(qsizetype count)
    {
        waitFor([this, count] { return m_bytes.size() >= count; });
        MutexLock lock(m_mutex);
        return m_bytes;
    }
    [[nodiscard]] QByteArray bytes() { return waitForBytes(0); }
    [[nodiscard]] bool isSequential() const override { return true; }

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char* data, qint64 size) override
    {
        {
            MutexLock lock(m_mutex);
            m_entered = true;
            m_changed.notify_all();
            while (!m_open)
                m_changed.wait(m_mutex);
            m_bytes.append(data, size);
        }
        m_changed.notify_all();
        return size;
    }

private:
    template <typename Condition>
    void waitFor(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        MutexLock lock(m_mutex);
        while (!condition() && m_changed.wait_until(m_mutex, deadline) != std::cv_status::timeout) {
        }
    }

    Mutex m_mutex;
    std::condition_variable_any m_changed;
    bool m_open;
    bool m_entered = false;
    QByteArray m_bytes;
};

} // namespace vt::test
