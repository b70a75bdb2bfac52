// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionExtensions.h"

#include <QString>

namespace vt {

/// Keeps in the settings which recordings are running, so that the next start can tell of one that was never
/// closed (UnclosedRecordings): the program was killed, or the computer lost its power. Interface thread.
class OpenRecordings final : public RecordingCompanion
{
public:
    void recordingStarted(const RecordingContext& context) override;
    void segmentStarted(const RecordingContext& context) override;
    void recordingStopped() override;

private:
    void replace(const QString& rawFile);
    QString m_noted;
};

} // namespace vt
