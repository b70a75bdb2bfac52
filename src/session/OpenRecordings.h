// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionExtensions.h"

#include <QStringList>

namespace vt {

/// Keeps in the settings which recordings are running, so that the next start can tell of one that was never
/// closed: the program was killed, or the computer lost its power. Interface thread.
class OpenRecordings final : public RecordingCompanion
{
public:
    void recordingStarted(const RecordingContext& context) override;
    void segmentStarted(const RecordingContext& context) override;
    void recordingStopped() override;

    /// Raw files of recordings that were not closed and that no running instance is writing; each is told
    /// once. Looks at the disk.
    [[nodiscard]] static QStringList takeUnclosed();
    /// What the user is told of them.
    [[nodiscard]] static QString message(const QStringList& rawFiles);

private:
    void replace(const QString& rawFile);
    QString m_noted;
};

} // namespace vt
