// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/RecordingSummary.h"

#include "acquisition/AcquisitionFrame.h"

#include <QTextStream>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr QStringView dateTimeFormat = u"yyyy-MM-dd HH:mm:ss";

QString nothingLost()
{
    return u"Lost: nothing"_s;
}

QString lossText(const RecordingResult& result)
{
    QString text;
    QTextStream out(&text);
    const LossSummary& lost = result.losses;
    if (!lost.any()) {
        out << nothingLost() << "\n";
    } else {
        if (lost.framesDropped || lost.writesDropped || lost.bytesDropped || lost.writesFailed ||
            lost.bytesFailed || lost.flushTimeouts)
            out << "Lost: " << lost.framesDropped << " frames dropped, " << lost.writesDropped
                << " writes dropped (" << lost.bytesDropped << " bytes), " << lost.writesFailed
                << " writes failed (" << lost.bytesFailed << " bytes), " << lost.flushTimeouts
                << " flush timeouts\n";
        if (lost.bytesDamaged > 0 || lost.interruptions > 0)
            out << "Lost: " << lost.bytesDamaged << " bytes damaged on the serial line, "
                << lost.interruptions << " interruptions of the stream\n";
        if (lost.samplesDropped > 0)
            out << "Lost: " << lost.samplesDropped << " samples that did not get into a frame\n";
        if (lost.framesUnaccounted > 0)
            out << "Lost: " << lost.framesUnaccounted << " frames never processed\n";
        if (lost.failedStamps > 0)
            out << "Lost: " << lost.failedStamps << " time stamps\n";
        if (lost.markersNotWritten > 0)
            out << "Lost: " << lost.markersNotWritten
                << (lost.markersNotWritten == 1 ? " marker" : " markers")
                << " not written to the marker file\n";
        if (lost.filesNotWritten > 0)
            out << "Lost: the configuration summary\n";
        if (lost.stimulationLogsMissing > 0)
            out << "Lost: " << lost.stimulationLogsMissing
                << (lost.stimulationLogsMissing == 1 ? " stimulation log" : " stimulation logs")
                << " that could not be opened\n";
        if (lost.stimulationRowsLost > 0)
            out << "Lost: " << lost.stimulationRowsLost << (lost.stimulationRowsLost == 1 ? " row" : " rows")
                << " of the stimulation log\n";
        if (lost.sensorLogsMissing > 0)
            out << "Lost: the log of the environmental sensors, which could not be opened\n";
        if (lost.sensorRecordsLost > 0)
            out << "Lost: " << lost.sensorRecordsLost << (lost.sensorRecordsLost == 1 ? " round" : " rounds")
                << " of readings of the environmental sensors\n";
        if (lost.cameraGaps > 0)
            out << "Lost: video for " << (result.cameras.gapMs + 999) / 1000 << " s in " << lost.cameraGaps
                << (lost.cameraGaps == 1 ? " gap\n" : " gaps\n");
        if (lost.camerasWithoutVideo > 0)
            out << "Lost: all video of " << lost.camerasWithoutVideo
                << (lost.camerasWithoutVideo == 1 ? " camera: " : " cameras: ")
                << result.cameras.withoutVideo.join(u", "_s) << "\n";
    }
    if (result.pauses > 0)
        out << "Without data: " << (result.withoutDataMs + 500) / 1000 << " s in " << result.pauses
            << (result.pauses == 1 ? " pause\n" : " pauses\n");
    if (lost.restartGaps > 0 || lost.restartGapMs > 0)
        out << "Without data: " << secondsRoundedUp(lost.restartGapMs) << " s in " << lost.restartGaps
            << (lost.restartGaps == 1 ? " restart of the acquisition\n" : " restarts of the acquisition\n");
    if (lost.writesReordered > 0)
        out << "Out of order: " << lost.writesReordered
            << " writes stand after a younger one in their file (the disk stalled)\n";
    if (result.readErrors > 0)
        out << "Device: " << result.readErrors << " read errors, " << result.restarts
            << " restarts; samples between a read error and its restart were never acquired\n";
    return text;
}

// Nothing of what was not set up.
void writeSurroundings(QTextStream& out, const RecordingResult& result)
{
    const SensorsStatus& sensors = result.sensors;
    if (sensors.enabled > 0)
        out << "Environmental sensors: " << sensors.enabled - sensors.missing << " of " << sensors.enabled
            << " present at the end, " << sensors.records << " rounds of readings\n";
    if (result.cameras.enabled > 0)
        out << "Cameras: " << result.cameras.recording << " of " << result.cameras.enabled
            << " filming at the end\n";
    if (const QString problem = stimulationProblem(result.stimulation); !problem.isEmpty())
        out << "Stimulation: " << problem << " at the end\n";
}

// Line breaks in an animal ID would break the table; the recording's header keeps them.
QString oneLine(QString id)
{
    return id.replace(QChar(u'\n'), QChar(u' '))
        .replace(QChar(u'\r'), QChar(u' '))
        .replace(QChar(u'\t'), QChar(u' '));
}

} // namespace

QString secondsRoundedUp(quint64 milliseconds)
{
    const quint64 tenths = (milliseconds + 99) / 100;
    return u"%1.%2"_s.arg(tenths / 10).arg(tenths % 10);
}

QString stimulationProblem(const StimulationStatus& stimulation)
{
    using State = StimulationStatus::State;
    switch (stimulation.state) {
    case State::NotSetUp:
    case State::Unit:
    case State::Outputs:
        break;
    case State::NoUnit:
        return u"no stimulation unit"_s;
    case State::NoOutputs:
        return u"no digital outputs"_s;
    case State::NoPower:
        return u"stimulation unit without 12 V"_s;
    }
    return {};
}

QString endReasonText(EndReason reason)
{
    switch (reason) {
    case EndReason::None:
        return u"not ended"_s;
    case EndReason::UserStop:
        return u"stopped by the user"_s;
    case EndReason::DurationReached:
        return u"duration reached"_s;
    case EndReason::DeviceLost:
        return u"device stopped responding"_s;
    case EndReason::ForcedStop:
        return u"stopped by the system"_s;
    case EndReason::CouldNotStart:
        return u"could not start"_s;
    }
    return {};
}

RecordingReport reportOf(const RecordingResult& result)
{
    QStringList gaps = lossText(result).split(u'\n', Qt::SkipEmptyParts);
    gaps.removeOne(nothingLost());
    if (const QString problem = stimulationProblem(result.stimulation); !problem.isEmpty())
        gaps << u"Stimulation: %1 at the end"_s.arg(problem);
    if (result.sensors.missing > 0)
        gaps << u"Environmental sensors: %1 of %2 missing at the end"_s.arg(result.sensors.missing)
                    .arg(result.sensors.enabled);
    if (result.cameras.recording < result.cameras.enabled)
        gaps << u"Cameras: %1 of %2 filming at the end"_s.arg(result.cameras.recording)
                    .arg(result.cameras.enabled);
    return {result.reason, result.elapsedMs, result.losses.any(), gaps, summaryText(result)};
}

QString summaryText(const RecordingResult& result)
{
    QString text;
    QTextStream out(&text);
    out << "Recording summary\n";
    for (qsizetype i = 0; i < result.segmentBases.size(); ++i)
        out << "Segment " << i << ": " << result.segmentBases.at(i) << "\n";
    out << "Device: " << result.deviceName << ", serial " << result.deviceSerial << "\n";
    if (result.begun.isValid() && result.ended.isValid())
        out << "Recorded: from " << result.begun.toString(dateTimeFormat) << " to "
            << result.ended.toString(dateTimeFormat) << "\n";
    out << "Ended: " << endReasonText(result.reason) << " after "
        << QString::number(static_cast<double>(result.elapsedMs) / 1000.0, 'f', 1) << " s\n";
    out << "Signal: "
        << QString::number(static_cast<double>(result.framesProcessed) / FramesPerSecond, 'f', 1)
        << " s recorded, frames acquired " << result.framesAcquired << ", processed "
        << result.framesProcessed << ", dropped " << result.losses.framesDropped << "\n";
    out << "Files: " << result.bytesWritten << " bytes in " << result.writesTotal << " writes\n";
    out << lossText(result);
    writeSurroundings(out, result);
    out << "Channel  Steps  Asleep  Percent  Animal ID\n";
    for (std::size_t i = 0; i < result.channels.size(); ++i) {
        const ChannelSummary& channel = result.channels[i];
        out << u"%1  %2  %3  %4  %5\n"_s.arg(i + 1, 7)
                   .arg(channel.steps, 5)
                   .arg(channel.asleep, 6)
                   .arg(channel.percentSleep(), 7, 'f', 1)
                   .arg(oneLine(channel.animalId));
    }
    return text;
}

} // namespace vt
