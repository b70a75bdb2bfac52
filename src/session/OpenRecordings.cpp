// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/OpenRecordings.h"

#include "platform/ProcessIdentity.h"
#include "recording/SegmentPaths.h"

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
    m_store([fresh = rawFile, old = m_noted] {
        if (!fresh.isEmpty())
            AppSettings::noteOpenRecording({fresh, platform::ownProcessIdentity()});
        if (!old.isEmpty())
            AppSettings::forgetOpenRecording(old);
    });
    m_noted = rawFile;
}

} // namespace vt
