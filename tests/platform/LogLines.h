// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QRegularExpression>
#include <QStringList>
#include <QTest>
#include <QtGlobal>
#include <gtest/gtest.h>
#include <utility>

namespace vt::test {

/// Collects the log while it exists, with "W " before warnings. One at a time.
class LogLines
{
public:
    LogLines()
    {
        active() = this;
        m_previous =
            qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
                LogLines& self = *active();
                MutexLock lock(self.m_mutex);
                self.m_lines << (type == QtWarningMsg ? QStringLiteral("W ") + text : text);
            });
    }
    ~LogLines() { qInstallMessageHandler(m_previous); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    /// Waits, with the event loop running, until the lines since the last take() are these, and takes them.
    [[nodiscard]] bool waitFor(const QStringList& wanted)
    {
        const bool met = QTest::qWaitFor([&] { return lines() == wanted; }, 10000);
        const QString found = take().join(u'\n');
        if (!met)
            ADD_FAILURE() << "logged:\n" << found.toStdString();
        return met;
    }
    [[nodiscard]] QStringList lines() const
    {
        MutexLock lock(m_mutex);
        return m_lines;
    }
    [[nodiscard]] QStringList take()
    {
        MutexLock lock(m_mutex);
        return std::exchange(m_lines, {});
    }
    /// The warnings since the last take().
    [[nodiscard]] QStringList takeWarnings()
    {
        return take().filter(QRegularExpression(QStringLiteral("^W ")));
    }

private:
    static LogLines*& active()
    {
        static LogLines* lines = nullptr;
        return lines;
    }

    QtMessageHandler m_previous = nullptr;
    mutable Mutex m_mutex;
    QStringList m_lines VT_GUARDED_BY(m_mutex);
};

} // namespace vt::test
