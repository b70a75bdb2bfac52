// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <atomic>
#include <chrono>
#include <condition_variable>

namespace vt::test {

/// Collects log lines of all threads while it exists. One at a time.
class LogCapture
{
public:
    LogCapture()
    {
        active().store(this, std::memory_order_release);
        m_previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& line) {
            LogCapture& self = *active().load(std::memory_order_acquire);
            {
                MutexLock lock(self.m_mutex);
                self.m_lines << line;
            }
            self.m_changed.notify_all();
        });
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] QStringList lines() const
    {
        MutexLock lock(m_mutex);
        return m_lines;
    }
    [[nodiscard]] qsizetype count(const QString& line) const { return lines().count(line); }
    [[nodiscard]] bool has(const QString& line) const { return lines().contains(line); }
    [[nodiscard]] bool contains(const char* line) const { return has(QString::fromUtf8(line)); }
    /// Waits until line has been logged.
    [[nodiscard]] bool waitFor(const char* line)
    {
        const QString wanted = QString::fromUtf8(line);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        MutexLock lock(m_mutex);
        while (!m_lines.contains(wanted))
            if (m_changed.wait_until(m_mutex, deadline) == std::cv_status::timeout)
                return m_lines.contains(wanted);
        return true;
    }
    [[nodiscard]] bool hasPart(const QString& part) const
    {
        for (const QString& line : lines())
            if (line.contains(part))
                return true;
        return false;
    }
    /// Are these lines there in this order, others in between allowed?
    [[nodiscard]] bool hasInOrder(const QStringList& wanted) const
    {
        qsizetype next = 0;
        for (const QString& line : lines())
            if (next < wanted.size() && line == wanted[next])
                ++next;
        return next == wanted.size();
    }

private:
    static std::atomic<LogCapture*>& active()
    {
        static std::atomic<LogCapture*> capture = nullptr;
        return capture;
    }

    QtMessageHandler m_previous = nullptr;
    std::condition_variable_any m_changed;
    mutable Mutex m_mutex;
    QStringList m_lines VT_GUARDED_BY(m_mutex);
};

} // namespace vt::test
