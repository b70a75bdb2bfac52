// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/TimeStampFile.h"

#include "recording/BlockWrite.h"

#include <QDebug>

namespace vt {

bool TimeStampFile::open(const QString& path, FileUtils::Content content)
{
    m_failedLines = 0;
    return m_file.openForWriting(path, content) == FileUtils::OpenResult::Opened;
}

void TimeStampFile::setStartTime(const QDateTime& start)
{
    m_start = start;
}

void TimeStampFile::close()
{
    m_file.close();
}

void TimeStampFile::writeStamp(const QDateTime& when, uint sampleCount)
{
    const double seconds = static_cast<double>(m_start.msecsTo(when)) / 1000.0;
    const QString line =
        QStringLiteral("%0,%1\n").arg(QString::number(seconds, 'g', 6), QString::number(sampleCount));
    if (m_file.isOpen() && writeBlock(m_file, line.toUtf8()).complete)
        return;
    ++m_failedLines;
    qWarning().noquote() << "TimeStampFile: stamp not written to" << m_file.fileName()
                         << (m_file.isOpen() ? m_file.errorString() : QStringLiteral("(not open)"));
}

} // namespace vt
