// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <optional>

namespace vt {

/// When cameras are searched: every 10 minutes while a recording runs, every 30 s while somebody looks at the
/// camera settings, else not at all. Plain state; the caller owns the timer.
///
///                      recording on            recording off
///     window active    600000 ms               30000 ms
///     otherwise        600000 ms               stopped
class ScanSchedule
{
public:
    static constexpr int RecordingIntervalMs = 600000;
    static constexpr int WindowIntervalMs = 30000;

    /// What the timer has to do now, and the line that says so.
    struct Step
    {
        std::optional<int> intervalMs; ///< start with this interval; empty: stop
        QString logLine;
    };

    /// Empty when nothing changes.
    [[nodiscard]] std::optional<Step> setRecordingMode(bool isOn);
    [[nodiscard]] std::optional<Step> setSettingsWindow(bool isVisible, bool isActive);
    [[nodiscard]] bool isRecording() const { return m_isRecording; }

private:
    [[nodiscard]] bool isWatched() const { return m_isVisible && m_isActive; }

    bool m_isRecording = false;
    bool m_isVisible = false;
    bool m_isActive = false;
};

} // namespace vt
