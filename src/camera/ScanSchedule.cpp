// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/ScanSchedule.h"

namespace vt {

std::optional<ScanSchedule::Step> ScanSchedule::setRecordingMode(bool isOn)
{
    if (isOn == m_isRecording)
        return std::nullopt;
    m_isRecording = isOn;
    if (isOn)
        return Step{
            RecordingIntervalMs,
            QStringLiteral("Recording mode ON - discovery interval now %1 ms").arg(RecordingIntervalMs)};
    if (isWatched())
        return Step{WindowIntervalMs, QStringLiteral("Recording mode OFF - discovery interval now %1 ms "
                                                     "(settings window active)")
                                          .arg(WindowIntervalMs)};
    return Step{std::nullopt, QStringLiteral("Recording mode OFF - STOPPING discovery timer "
                                             "(settings window not active)")};
}

std::optional<ScanSchedule::Step> ScanSchedule::setSettingsWindow(bool isVisible, bool isActive)
{
    const bool wasWatched = isWatched();
    m_isVisible = isVisible;
    m_isActive = isActive;
    if (isWatched() == wasWatched)
        return std::nullopt;
    const QString change = isWatched() ? QStringLiteral("ACTIVATED") : QStringLiteral("DEACTIVATED");
    if (m_isRecording)
        return Step{
            RecordingIntervalMs,
            QStringLiteral("Settings window %1 - discovery interval stays %2 ms (recording has priority)")
                .arg(change)
                .arg(RecordingIntervalMs)};
    if (isWatched())
        return Step{
            WindowIntervalMs,
            QStringLiteral("Settings window ACTIVATED - discovery interval %1 ms").arg(WindowIntervalMs)};
    return Step{std::nullopt, QStringLiteral("Settings window DEACTIVATED - STOPPING discovery timer")};
}

} // namespace vt
