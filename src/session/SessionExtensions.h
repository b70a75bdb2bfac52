// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QDateTime>
#include <QString>
#include <vector>

namespace vt {

/// Facts that follow a recording from start to stop.
struct RecordingContext
{
    QString basePath; ///< of the segment that begins
    int segment = 0;
    int channelCount = 0;
    int animalType = 0;
    QStringList animalIds;
    bool simulatedDevice = false;
};

/// Something that the session starts, pauses and stops together with a recording, at the moments that the
/// lifecycle fixes: stimulation (stopped by a pause, restarted with the segment), environmental sensors and
/// cameras (started once, not stopped by a pause), keep-awake requests. All calls come on the interface
/// thread and return at once; a companion that fails logs it and lets the recording go on.
class RecordingCompanion
{
public:
    virtual ~RecordingCompanion() = default;
    virtual void recordingStarted(const RecordingContext&) {}
    virtual void segmentStarted(const RecordingContext&) {}
    virtual void segmentStopping() {} ///< before the acquisition stops, at pause and at stop
    virtual void recordingStopped() {}
    virtual void sleepDecision(const std::vector<bool>& /*sleeping*/,
                               const std::vector<QDateTime>& /*sleepBeginTime*/,
                               const std::vector<double>& /*decisionStats*/)
    {}
};

} // namespace vt
