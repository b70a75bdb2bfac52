// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "envsens/EnvLogFormat.h"
#include "envsens/EnvLogWriter.h"

#include <QDateTime>
#include <functional>
#include <memory>

namespace vt {

/// The ".Env" file of a recording: segments of a header and one record per collection tick; a new set of
/// sensors ends the segment with a block of "no data" and begins another. See docs/file-formats.md.
/// Thread of its owner. The disk is worked on by a thread of its own: what the methods write is queued, in
/// order, and what the disk does not take is counted.
class EnviroSensFileManager
{
public:
    EnviroSensFileManager();
    ~EnviroSensFileManager();
    EnviroSensFileManager(const EnviroSensFileManager&) = delete;
    EnviroSensFileManager& operator=(const EnviroSensFileManager&) = delete;

    /// Closes the file before. exclusive: others may only read it. Waits for the disk.
    [[nodiscard]] bool openFile(const QString& path, bool exclusive);
    /// The same without waiting: done gets the answer later on this thread, unless the object is gone by
    /// then. What is written meanwhile goes into the file.
    void openFileAsync(const QString& path, bool exclusive, std::function<void(bool)> done);
    /// Does not wait for what is still to be written.
    void closeFile();
    /// True from the attempt to open on, until that has failed or the file is closed.
    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    [[nodiscard]] QString fileName() const { return m_path; }

    // Each says whether the value changed; if so a header is needed.
    bool setSensorCount(int count);
    bool setIntervalSeconds(int seconds);
    bool setStartTime(const QTime& time);
    bool setStartDate(const QDate& date);
    /// Both of them; a local time that there was twice is told apart.
    bool setStart(const QDateTime& start);
    bool setProgramId(const QString& id);
    bool setLabels(const QStringList& labels);
    bool setSerialNumbers(const QStringList& serialNumbers);
    bool setColumnNames(const QStringList& names);

    [[nodiscard]] bool isHeaderNeeded() const { return m_isHeaderNeeded; }
    /// False when no file is open.
    bool writeFileHeader();
    /// Ends a segment: "no data" for the present number of sensors and columns. Nothing in an empty file.
    void writeSeparator();
    /// One record. Nothing when no file is open.
    void writeRecords(const QMap<QString, EnvSample>& round);

    /// Any thread.
    [[nodiscard]] EnvLogCounts counts() const { return m_writer.counts(); }
    /// True when everything written so far has met the disk; waits for that up to timeoutMs.
    [[nodiscard]] bool waitForWritten(int timeoutMs) { return m_writer.waitForWritten(timeoutMs); }

private:
    template <typename T>
    bool change(T& member, const T& value);
    void beginFile(const QString& path);

    EnvLogFormat::Header m_header;
    qint64 m_startMs = 0;
    QString m_path;
    bool m_isOpen = false;
    bool m_hasData = false; ///< something has been given to the file
    bool m_isHeaderNeeded = true;
    quint64 m_attempt = 0; ///< to open; an answer to an older one is not ours any more
    EnvLogWriter m_writer;
    Inbox m_answers;
};

} // namespace vt
