// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QDateTime>
#include <QString>
#include <functional>
#include <optional>
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
    bool isActivityOnly = false;
    std::optional<VexioSettings> vexio; ///< as set up; empty: never
    std::optional<DioSettings> dio;
    DeviceKind deviceKind = DeviceKind::NiUnit;
};

/// The decisions of one step, a value per channel.
struct SleepDecisionNews
{
    std::vector<bool> sleeping;
    std::vector<QDateTime> sleepBeginTime;
    std::vector<double> decisionStats;
    qint64 frameArrivedUs = -1; ///< of the frame that completed them, monotonic clock; -1: not known
    bool isDecided = false; ///< from data of this segment; else left over from before, or no decision at all
};

/// Something that the session starts, pauses and stops together with a recording, at the moments that the
/// lifecycle fixes: stimulation (stopped by a pause, restarted with the segment), environmental sensors and
/// cameras (started once, not stopped by a pause), keep-awake requests. All calls come on the interface
/// thread and return at once, but for waitUntilClosed; a companion that fails logs it and lets the recording
/// go on.
class RecordingCompanion
{
public:
    virtual ~RecordingCompanion() = default;
    virtual void recordingStarted(const RecordingContext&) {} ///< just before the first segment runs
    virtual void segmentStarted(const RecordingContext&) {}
    virtual void segmentStopping(TeardownKind) {} ///< before the acquisition stops
    /// The recording is about to stop for good. The work that is returned runs on the session's file thread
    /// after the recording's files have been closed, and may wait for the disk, bounded; recordingStopped
    /// follows it. It may not need the companion, which may be gone when the disk hangs. Empty: none.
    [[nodiscard]] virtual std::function<void()> lastWork() { return {}; }
    virtual void recordingStopped() {}
    virtual void sleepDecision(const SleepDecisionNews&) {}
    /// Adds what is to be shown, losses of this recording included.
    virtual void report(SessionStatus&) const {}
    /// Calls done, once, when nothing of stopped recordings is being written any more: at once, or later.
    /// Bounded by the companion itself.
    virtual void whenClosed(const std::function<void()>& done) { done(); }
    /// Waits for the same, up to timeoutMs. For systems that go on when a handler returns.
    [[nodiscard]] virtual bool waitUntilClosed(int) { return true; }
};

} // namespace vt
