// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/OpenRecordings.h"

#include "platform/ExclusiveProbe.h"
#include "recording/SegmentPaths.h"
#include "session/AppSettings.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

namespace vt {

void OpenRecordings::recordingStarted(const RecordingContext& context)
{
    segmentStarted(context);
}

void OpenRecordings::segmentStarted(const RecordingContext& context)
{
    replace(QFileInfo(segmentPaths(context.basePath, context.animalType).raw).absoluteFilePath());
}

void OpenRecordings::recordingStopped()
{
    replace({});
}

void OpenRecordings::replace(const QString& rawFile)
{
    if (rawFile == m_noted)
        return;
    // Read anew each time: other instances note theirs in the same list.
    QStringList open = AppSettings::openRecordings();
    open.removeAll(m_noted);
    if (!rawFile.isEmpty() && !open.contains(rawFile))
        open << rawFile;
    AppSettings::setOpenRecordings(open);
    m_noted = rawFile;
}

QStringList OpenRecordings::takeUnclosed()
{
    const QStringList noted = AppSettings::openRecordings();
    QStringList running;
    QStringList unclosed;
    for (const QString& rawFile : noted)
        (platform::isHeldByWriter(rawFile) ? running : unclosed) << rawFile;
    if (!unclosed.isEmpty())
        AppSettings::setOpenRecordings(running);
    return unclosed;
}

QString OpenRecordings::message(const QStringList& rawFiles)
{
    QStringList lines;
    for (const QString& file : rawFiles)
        lines << QDir::toNativeSeparators(file);
    return QCoreApplication::translate(
               "OpenRecordings",
               "The last recording was not closed: the program or the computer ended while "
               "it ran. Its files hold everything up to the last block that was written:\n%1")
        .arg(lines.join(QLatin1Char('\n')));
}

} // namespace vt
