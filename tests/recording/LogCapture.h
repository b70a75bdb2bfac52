// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <chrono>
#include <condition_variable>
#include <utility>
#include <vector>

namespace vt::test {

/// Takes the program's log lines for a scope, from any thread. One at a time.
class LogCapture
{
public:
    LogCapture()
    {
        current() = this;
        m_previous = qInstallMessageHandler(&LogCapture::take);
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] QStringList lines() const
    {
        MutexLock lock(m_mutex);
        return m_lines;
    }
    [[nodiscard]] bool contains(const char* line) const { return lines().contains(QString::fromUtf8(line)); }
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

private:
    static LogCapture*& current()
    {
        static LogCapture* capture = nullptr;
        return capture;
    }
    static void take(QtMsgType, const QMessageLogContext&, const QString& text)
    {
        LogCapture& self = *current();
        {
            MutexLock lock(self.m_mutex);
            self.m_lines << text;
        }
        self.m_changed.notify_all();
    }

    QtMessageHandler m_previous = nullptr;
    mutable Mutex m_mutex;
    std::condition_variable_any m_changed;
    QStringList m_lines VT_GUARDED_BY(m_mutex);
};

} // namespace vt::test
