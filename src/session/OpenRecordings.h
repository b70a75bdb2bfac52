// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/AppSettings.h"
#include "session/SessionExtensions.h"

#include <QString>
#include <utility>

namespace vt {

/// Keeps in the settings which recordings are running, so that the next start can tell of one that was never
/// closed (UnclosedRecordings): the program was killed, or the computer lost its power. Interface thread.
class OpenRecordings final : public RecordingCompanion
{
public:
    explicit OpenRecordings(AppSettings::StoreThread store) : m_store(std::move(store)) {}
    void recordingStarted(const RecordingContext& context) override;
    void segmentStarted(const RecordingContext& context) override;
    void recordingStopped() override;

private:
    void replace(const QString& rawFile);
    const AppSettings::StoreThread m_store;
    QString m_noted;
};

} // namespace vt
