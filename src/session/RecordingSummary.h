// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QDateTime>

namespace vt {

/// Facts of a recording that has ended.
struct RecordingResult
{
    EndReason reason = EndReason::None;
    QStringList segmentBases; ///< in order
    QString deviceName;
    QString deviceSerial;
    QDateTime begun; ///< local time, as the next
    QDateTime ended;
    qint64 elapsedMs = 0;
    qint64 withoutDataMs = 0; ///< pauses: each from the last data to the resume or the end
    int pauses = 0;
    quint64 framesAcquired = 0;
    quint64 framesProcessed = 0;
    quint64 readErrors = 0;
    quint64 restarts = 0;
    quint64 writesTotal = 0;
    quint64 bytesWritten = 0;
    LossSummary losses;
    StimulationStatus stimulation; ///< these three: as they were at the end
    SensorsStatus sensors;
    CamerasStatus cameras;
    std::vector<ChannelSummary> channels;
};

/// What is told of a recording that has ended.
struct RecordingReport
{
    EndReason reason = EndReason::None;
    qint64 elapsedMs = 0;
    bool hasLosses = false; ///< something that was recorded, or should have been, is not in the files
    QStringList gaps;       ///< losses, pauses and what did not work at the end, a line each
    QString text;           ///< all of it; empty: nothing was recorded
};

[[nodiscard]] QString endReasonText(EndReason reason);

/// "no stimulation unit", ...; empty when nothing that is set up is missing.
[[nodiscard]] QString stimulationProblem(const StimulationStatus& stimulation);

/// "1.3" for 1201 to 1300 ms: what is missing is never told as none.
[[nodiscard]] QString secondsRoundedUp(quint64 milliseconds);

/// The summary that a recording ends with, as lines of text: where it is, how long, what is missing (with
/// numbers, or that nothing is), and one row per channel: channel, animal ID, steps, asleep, percent.
[[nodiscard]] QString summaryText(const RecordingResult& result);
[[nodiscard]] RecordingReport reportOf(const RecordingResult& result);

} // namespace vt
