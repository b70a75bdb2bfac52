// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/StatusText.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <bit>

namespace vt::statustext {

namespace {

QString text(const char* source, int n = -1)
{
    return QCoreApplication::translate("StatusText", source, nullptr, n);
}

QString protocolText(StimulationProtocol protocol)
{
    switch (protocol) {
    case StimulationProtocol::SleepBased:
        return text("sleep-based");
    case StimulationProtocol::ActivityBased:
        return text("activity-based");
    case StimulationProtocol::ManualTrigger:
        return text("by hand");
    case StimulationProtocol::OpenLoop:
        return text("at intervals");
    }
    return {};
}

/// "cage 2", "cages 1, 3"
QString namedCages(quint16 mask)
{
    const QString cages = cageList(mask);
    return std::has_single_bit(mask) ? text("cage %1").arg(cages) : text("cages %1").arg(cages);
}

} // namespace

SleepDisplay sleepDisplay(const ChannelSummary& channel, Scoring scoring)
{
    if (channel.noSignal)
        return SleepDisplay::NoSignal;
    if (scoring == Scoring::ActivityOnly)
        return SleepDisplay::NotScored;
    if (channel.steps == 0)
        return SleepDisplay::Waiting;
    return channel.sleeping ? SleepDisplay::Asleep : SleepDisplay::Awake;
}

QString sleepText(SleepDisplay display)
{
    switch (display) {
    case SleepDisplay::Waiting:
        return text("Waiting");
    case SleepDisplay::Awake:
        return text("Awake");
    case SleepDisplay::Asleep:
        return text("Asleep");
    case SleepDisplay::NoSignal:
        return text("No signal");
    case SleepDisplay::NotScored:
        return text("Not scored");
    }
    return {};
}

QString stateText(SessionState state)
{
    switch (state) {
    case SessionState::Idle:
        return text("Idle");
    case SessionState::Preparing:
        return text("Preparing");
    case SessionState::Prepared:
        return text("Prepared");
    case SessionState::Starting:
        return text("Starting");
    case SessionState::Recording:
        return text("Recording");
    case SessionState::Paused:
        return text("Paused");
    case SessionState::Resuming:
        return text("Resuming");
    case SessionState::Stopping:
        return text("Stopping");
    }
    return {};
}

QString elapsedText(qint64 elapsedMs)
{
    const qint64 seconds = std::max<qint64>(elapsedMs, 0) / 1000;
    const qint64 days = seconds / 86400;
    const auto two = [](qint64 value) { return QStringLiteral("%1").arg(value, 2, 10, QLatin1Char('0')); };
    const QString minutesSeconds = two(seconds / 60 % 60) + QLatin1Char(':') + two(seconds % 60);
    const qint64 hours = seconds / 3600 % 24;
    if (days == 0)
        return QString::number(hours) + QLatin1Char(':') + minutesSeconds;
    return text("%1 d %2").arg(days).arg(two(hours) + QLatin1Char(':') + minutesSeconds);
}

QString recordingName(const QString& basePath)
{
    return QFileInfo(basePath).fileName();
}

QString segmentText(int segment)
{
    return segment == 0 ? text("First") : QStringLiteral("(%1)").arg(segment);
}

QString bytesText(qint64 bytes)
{
    return QLocale().formattedDataSize(bytes, bytes < 10'000'000'000 ? 1 : 0, QLocale::DataSizeSIFormat);
}

QString lastsText(qint64 freeBytes, qint64 bytesPerHour)
{
    if (freeBytes < 0 || bytesPerHour <= 0)
        return {};
    const double hours = static_cast<double>(freeBytes) / static_cast<double>(bytesPerHour);
    // More than ten years is no information, and the number would only be long.
    if (hours >= 24.0 * 3650)
        return text("over 10 years");
    if (hours >= 48)
        return text("%1 days").arg(static_cast<int>(hours / 24));
    if (hours >= 1)
        return text("%1 h").arg(static_cast<int>(hours));
    return text("%1 min").arg(static_cast<int>(hours * 60));
}

QString animalTypeText(int animalType)
{
    switch (animalType) {
    case 1:
        return text("Mouse");
    case 2:
        return text("Rat");
    default:
        return text("Unknown (%1)").arg(animalType);
    }
}

QString lossText(const LossSummary& losses)
{
    QStringList lines;
    const auto add = [&lines](const QString& name, quint64 count) {
        if (count > 0)
            lines << name.arg(QLocale().toString(count));
    };
    add(text("Frames dropped: %1"), losses.framesDropped);
    add(text("Frames never processed: %1"), losses.framesUnaccounted);
    add(text("Bytes damaged on the serial line: %1"), losses.bytesDamaged);
    add(text("Interruptions of the stream: %1"), losses.interruptions);
    add(text("Samples dropped: %1"), losses.samplesDropped);
    add(text("Restarts of the acquisition with a gap: %1"), losses.restartGaps);
    add(text("Milliseconds without data in restarts of the acquisition: %1"), losses.restartGapMs);
    add(text("Writes dropped: %1"), losses.writesDropped);
    add(text("Writes failed: %1"), losses.writesFailed);
    add(text("Bytes dropped: %1"), losses.bytesDropped);
    add(text("Bytes failed: %1"), losses.bytesFailed);
    add(text("Flush time-outs: %1"), losses.flushTimeouts);
    add(text("Time stamps not written: %1"), losses.failedStamps);
    add(text("Markers not written: %1"), losses.markersNotWritten);
    add(text("Configuration summaries not written: %1"), losses.filesNotWritten);
    add(text("Stimulation rows not written: %1"), losses.stimulationRowsLost);
    add(text("Stimulation logs that could not be opened: %1"), losses.stimulationLogsMissing);
    add(text("Rounds of sensor readings lost: %1"), losses.sensorRecordsLost);
    add(text("Sensor logs that could not be opened: %1"), losses.sensorLogsMissing);
    add(text("Gaps in the cameras' video: %1"), losses.cameraGaps);
    add(text("Cameras without any video: %1"), losses.camerasWithoutVideo);
    add(text("Writes out of order: %1"), losses.writesReordered);
    return lines.isEmpty() ? text("Nothing was lost.") : lines.join(QLatin1Char('\n'));
}

QString cageList(quint16 mask)
{
    constexpr int Cages = 16;
    const auto isIn = [mask](int cage) { return cage < Cages && ((mask >> cage) & 1) != 0; };
    QStringList parts;
    for (int first = 0; first < Cages; ++first) {
        if (!isIn(first))
            continue;
        int last = first;
        while (isIn(last + 1))
            ++last;
        const bool isRange = last > first + 1;
        parts << (isRange ? text("%1–%2").arg(first + 1).arg(last + 1) : QString::number(first + 1));
        if (last == first + 1)
            parts << QString::number(last + 1);
        first = last;
    }
    return parts.join(QStringLiteral(", "));
}

QString stimulationText(const StimulationStatus& status)
{
    using State = StimulationStatus::State;
    switch (status.state) {
    case State::NotSetUp:
        return {};
    case State::NoUnit:
        return text("Stimulation: set up, but no stimulation unit answers");
    case State::NoOutputs:
        return text("Stimulation: set up, but the digital outputs do not answer");
    case State::NoPower:
        return text("Stimulation: the stimulation unit has no 12 V supply");
    case State::Unit:
    case State::Outputs:
        break;
    }
    const quint16 free = status.cages & static_cast<quint16>(~status.triggeredCages);
    QString line = text("Stimulation: %1, %2")
                       .arg(protocolText(status.protocol), free == 0 ? text("no cage") : namedCages(free));
    if (status.triggeredCages != 0)
        line += text("; by trigger %1").arg(namedCages(status.triggeredCages));
    return line;
}

QString sensorsText(const SensorsStatus& status)
{
    if (status.found == 0)
        return text("Environmental sensors: none found");
    if (status.enabled == 0)
        return text("Environmental sensors: %1 found, none in use").arg(status.found);
    QString line = text("Environmental sensors: %1 in use").arg(status.enabled);
    if (status.missing > 0)
        line += text(", %1 unplugged").arg(status.missing);
    if (status.log == SensorsStatus::Log::Failed)
        line += text("; their log could not be opened");
    else if (status.recordsLost > 0)
        line += text("; records lost: %1").arg(QLocale().toString(status.recordsLost));
    return line;
}

QString camerasText(const CamerasStatus& status, bool isRecording)
{
    if (status.enabled == 0)
        return text("Cameras: none in use");
    if (!isRecording)
        return text("Cameras: %1 in use").arg(status.enabled);
    return text("Cameras: %1 of %2 recording").arg(status.recording).arg(status.enabled);
}

QString manualStimulationText(ManualStimulation result, quint16 cages)
{
    switch (result) {
    case ManualStimulation::Requested:
        return text("Stimulation of %1 requested").arg(namedCages(cages));
    case ManualStimulation::NoCages:
        return text("Nothing was stimulated: no cage is enabled");
    case ManualStimulation::OutsideSchedule:
        return text("Nothing was stimulated: the schedule does not allow it now");
    case ManualStimulation::NotRunning:
        return text("Nothing was stimulated: stimulation does not run");
    }
    return {};
}

QString extensionFor(int animalType)
{
    return animalType == 1 ? QStringLiteral("binfb") : QStringLiteral("bin");
}

} // namespace vt::statustext
