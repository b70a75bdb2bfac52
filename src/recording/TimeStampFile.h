// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/DataFile.h"

#include <QDateTime>
#include <QObject>

namespace vt {

/// Text file of "%0,%1\n" lines: seconds since the recording's start, decimated samples so far.
/// Lives on the session's text-file thread: open, setStartTime and close are called there too.
class TimeStampFile : public QObject
{
    Q_OBJECT
public:
    using QObject::QObject;
    [[nodiscard]] bool open(const QString& path, FileUtils::Content content = FileUtils::Content::Replace);
    /// Bytes in the open file.
    [[nodiscard]] qint64 size() const { return m_file.size(); }
    void setStartTime(const QDateTime& start);
    void close();
    [[nodiscard]] quint64 failedLines() const { return m_failedLines; }
    Q_SLOT void writeStamp(const QDateTime& when, uint sampleCount);

private:
    DataFile m_file;
    QDateTime m_start;
    quint64 m_failedLines = 0;
};

} // namespace vt
