// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

#include <QString>

/// Words and numbers of the window, translated. Plain functions of their arguments.
namespace vt::statustext {

/// How one channel's animal is shown.
enum class SleepDisplay {
    Waiting, ///< no step scored yet
    Awake,
    Asleep,
    NoSignal,
    NotScored ///< activity-only session
};
enum class Scoring { SleepWake, ActivityOnly };

[[nodiscard]] SleepDisplay sleepDisplay(const ChannelSummary& channel, Scoring scoring);
[[nodiscard]] QString sleepText(SleepDisplay display);

[[nodiscard]] QString stateText(SessionState state);
/// "0:00:07", "23:59:59", "2 d 03:04:05".
[[nodiscard]] QString elapsedText(qint64 elapsedMs);
/// File name of a base path; empty for an empty path.
[[nodiscard]] QString recordingName(const QString& basePath);
/// "First", then the suffix that the files carry: "(1)", "(2)".
[[nodiscard]] QString segmentText(int segment);
[[nodiscard]] QString bytesText(qint64 bytes);
/// How long freeBytes last at bytesPerHour: "41 days", "5 h", "20 min"; empty when either is unknown.
[[nodiscard]] QString lastsText(qint64 freeBytes, qint64 bytesPerHour);
[[nodiscard]] QString animalTypeText(int animalType);
/// Everything that was lost, one line each, for a tool tip; says so when nothing was.
[[nodiscard]] QString lossText(const LossSummary& losses);
/// "1, 3" or "1–8, 10": the cages of a mask, bit i standing for cage i + 1.
[[nodiscard]] QString cageList(quint16 mask);
/// "Stimulation: sleep-based, cages 1, 3", or what keeps it from happening; empty when it is not set up.
[[nodiscard]] QString stimulationText(const StimulationStatus& status);
/// "Environmental sensors: 2 in use, 1 unplugged", with what is wrong with their log.
[[nodiscard]] QString sensorsText(const SensorsStatus& status);
/// "Cameras: 2 of 3 recording"; outside a recording how many will be.
[[nodiscard]] QString camerasText(const CamerasStatus& status, bool isRecording);
[[nodiscard]] QString manualStimulationText(ManualStimulation result, quint16 cages);
/// Extension of the raw data file without the dot: "binfb" for animal type 1 (mouse), else "bin".
[[nodiscard]] QString extensionFor(int animalType);

} // namespace vt::statustext
