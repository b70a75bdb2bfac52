// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"

#include <QString>
#include <QStringList>
#include <QtGlobal>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <utility>

namespace vt::test {

/// Collects log lines of all threads while it exists. One at a time.
class LogCapture
{
public:
    LogCapture()
    {
        {
            Book& book = LogCapture::book();
            MutexLock lock(book.mutex);
            book.lines.clear();
            book.warnings.clear();
        }
        m_previous =
            qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& line) {
                Book& book = LogCapture::book();
                {
                    MutexLock lock(book.mutex);
                    book.lines << line;
                    if (type != QtDebugMsg && type != QtInfoMsg)
                        book.warnings << line;
                }
                book.changed.notify_all();
            });
    }
    ~LogCapture() { qInstallMessageHandler(m_previous); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] QStringList lines() const
    {
        Book& book = LogCapture::book();
        MutexLock lock(book.mutex);
        return ownCopy(book.lines);
    }
    /// Of these, warnings and worse.
    [[nodiscard]] QStringList warnings() const
    {
        Book& book = LogCapture::book();
        MutexLock lock(book.mutex);
        return ownCopy(book.warnings);
    }
    [[nodiscard]] qsizetype count(const QString& line) const { return lines().count(line); }
    [[nodiscard]] bool has(const QString& line) const { return lines().contains(line); }
    [[nodiscard]] bool contains(const char* line) const { return has(QString::fromUtf8(line)); }
    /// Waits until line has been logged.
    [[nodiscard]] bool waitFor(const char* line)
    {
        const QString wanted = QString::fromUtf8(line);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        Book& book = LogCapture::book();
        MutexLock lock(book.mutex);
        while (!book.lines.contains(wanted))
            if (book.changed.wait_until(book.mutex, deadline) == std::cv_status::timeout)
                return book.lines.contains(wanted);
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
    [[nodiscard]] bool hasInOrder(const QStringList& wanted) const { return areInOrder(wanted, lines()); }
    [[nodiscard]] static bool areInOrder(const QStringList& wanted, const QStringList& lines)
    {
        qsizetype next = 0;
        for (const QString& line : lines)
            if (next < wanted.size() && line == wanted[next])
                ++next;
        return next == wanted.size();
    }

private:
    /// Not shared with the handler's threads, whose next line would count the owners.
    [[nodiscard]] static QStringList ownCopy(const QStringList& lines)
    {
        QStringList copy;
        for (const QString& line : lines)
            copy << QString(line.constData(), line.size());
        return copy;
    }

    /// Outlives every capture: a thread may still be in the handler when its capture ends.
    struct Book
    {
        std::condition_variable_any changed;
        Mutex mutex;
        QStringList lines VT_GUARDED_BY(mutex);
        QStringList warnings VT_GUARDED_BY(mutex);
    };
    static Book& book()
    {
        static auto* const kept = std::make_unique<Book>().release();
        return *kept;
    }

    QtMessageHandler m_previous = nullptr;
};

} // namespace vt::test
