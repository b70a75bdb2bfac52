// SPDX-License-Identifier: GPL-3.0-or-later
// Selecting a device and preparing a recording: device read, checks, files.
#include "session/SessionPrivate.h"

#include "platform/DaqClaim.h"
#include "session/ClaimRefusal.h"
#include "session/HeaderBuilder.h"
#include "session/SessionTexts.h"
#include "session/SetupCheck.h"
#include "session/UserInteraction.h"

#include <QDebug>
#include <QFileInfo>
#include <QPointer>

namespace vt {

using namespace Qt::StringLiterals;

void SessionPrivate::lidAnswered(const PowerSchemeQuery::Result& scheme, const RecordingSetup& wanted)
{
    if (!PowerSchemeQuery::lidStopsRecording(scheme)) {
        record(wanted);
        return;
    }
    Question question = LidWarning::question(scheme);
    question.checked = [hide = options.hideLidWarning](bool never) {
        if (never && hide)
            hide();
    };
    // Whoever answers is there and wants the recording, also when the computer has slept meanwhile.
    user.ask(question,
             [guard = QPointer<SessionController>(q), this, mine = ++lidWarning, wanted](int answer) {
                 if (!guard || mine != lidWarning || answer < 0)
                     return;
                 if (answer == LidWarning::OpenPowerSettings && !PowerSchemeQuery::openPowerSettings())
                     qWarning("The system's power settings could not be opened");
                 // The settings take effect while the recording runs, so both buttons go on.
                 record(wanted);
             });
}

void SessionPrivate::record(const RecordingSetup& wanted)
{
    startAfterPrepare = true;
    prepare(wanted);
}

void SessionPrivate::selectDevice(const QString& name)
{
    if (state != SessionState::Idle) {
        qWarning().noquote() << "SessionController::selectDevice - refused while" << sessionStateName(state);
        return;
    }
    const quint64 mine = ++selection;
    device = DeviceDetails{};
    mcu = MCUHeader{};
    selecting = !name.isEmpty();
    if (name.isEmpty()) {
        unit->deselect();
        if (options.claim)
            options.claim->release();
        emit q->deviceSelected(device);
        return;
    }
    const bool isAmplifier = name.startsWith(amplifierPrefix());
    RecordingDevice* const next = isAmplifier ? static_cast<RecordingDevice*>(&amplifier) : &niUnit;
    if (next != unit)
        unit->deselect();
    unit = next;
    unit->select(name, [this, mine](const RecordingDevice::Reading& reading) {
        if (mine == selection)
            deviceRead(reading);
    });
}

RecordingDevice::Reserve SessionPrivate::reserve()
{
    if (!options.claim)
        return {};
    return [this](const QString& serial, const QString& name) { return claimDevice(serial, name); };
}

QString SessionPrivate::claimDevice(const QString& serial, const QString& name)
{
    return claimOrRefusal(*options.claim, serial, name);
}

void SessionPrivate::deviceRead(const RecordingDevice::Reading& reading)
{
    selecting = false;
    device = reading.details;
    mcu = reading.mcu.value_or(MCUHeader{});
    // Nobody can record from it here, so that another instance may try.
    if (!device.usable && state == SessionState::Idle && options.claim)
        options.claim->release();
    emit q->deviceSelected(device);
}

void SessionPrivate::prepare(const RecordingSetup& wanted)
{
    if (state != SessionState::Idle) {
        qWarning().noquote() << "SessionController::prepare - refused while" << sessionStateName(state);
        return;
    }
    if (selecting) {
        user.notify(Severity::Warning, SessionController::tr("Not Ready to Record"),
                    SessionController::tr("The unit is still being read."));
        emit q->prepared(false);
        return;
    }
    setup = wanted;
    setup.basePath = stripRecordingExtension(wanted.basePath);
    firstBase = setup.basePath;
    const quint64 mine = ++operation;
    endReason = EndReason::None;
    result = RecordingResult{};
    pendingStop.reset();
    recordingRan = false;
    recordingStart = QDateTime();
    segmentNumber = 0;
    segmentBases.clear();
    newMarkerPath = std::make_shared<QString>();
    manager.reset();
    sleeping.clear();
    freeDiskBytes = -1;
    diskForecast = {};
    configurationFile = {};
    lastReport = {};
    forced = false;
    setState(SessionState::Preparing);

    if (const QString problem = checkSetupValues(setup, device);
        !problem.isEmpty() && (device.name.isEmpty() || device.usable)) {
        prepareFailed(problem);
        return;
    }
    if (!device.usable) { // it may be another instance's by now: choosing it again asks for it again
        prepareRead({device, std::nullopt});
        return;
    }
    unit->read(setup, [this, mine](const RecordingDevice::Reading& reading) {
        if (mine == operation)
            prepareRead(reading);
    });
}

void SessionPrivate::prepareRead(const RecordingDevice::Reading& reading)
{
    if (!reading.mcu) {
        qWarning("saveChannelConfig: aborted, DAQ comm failed during setup");
        const QString& reason = reading.details.refusal;
        user.notify(Severity::Critical, communicationFailedTitle(),
                    reason.isEmpty() ? notRespondingText() : reason);
        prepareFailed(QString());
        return;
    }
    deviceRead(reading);
    if (device.kind == DeviceKind::NiUnit)
        qInfo("MaxAmplitudeOfData: %f", NiFullScaleVolts);
    createFiles();
}

void SessionPrivate::prepareFailed(const QString& problem)
{
    ++operation;
    if (!problem.isEmpty())
        user.notify(Severity::Critical, SessionController::tr("Not Ready to Record"), problem);
    endReason = EndReason::CouldNotStart;
    setState(SessionState::Idle);
    readyForSystem();
    emit q->prepared(false);
    if (startAfterPrepare)
        emit q->recordingEnded(endReason);
}

void SessionPrivate::createFiles()
{
    if (const QString problem = checkSetupValues(setup, device); !problem.isEmpty()) {
        prepareFailed(problem);
        return;
    }
    makeSegment(setup.basePath, 0);
    // Markers come with the unit's push button.
    markers.reset();
    if (device.kind == DeviceKind::NiUnit)
        markers =
            std::make_unique<MarkerLog>(textWorker, answers, [this](int count) { markersUnwritten(count); });
    onFileThread(
        [files = segment, openMarkers = markers ? markers->opening() : nullptr, base = setup.basePath,
         animal = int{mcu.animalType}, newMarkers = newMarkerPath, replaceable = setup.replaceable,
         isStimulated = (setup.vexio && setup.vexio->enabled) || (setup.dio && setup.dio->enabled)] {
            PreparedFiles prepared;
            prepared.problem = checkRecordingPath(base, animal);
            if (prepared.problem.isEmpty())
                prepared.problem = checkReplaced(base, replaceable);
            if (!prepared.problem.isEmpty())
                return prepared;
            const RecordingSegment::CreateFailure failure = files->createFiles();
            if (failure.which != RecordingSegment::CreateFailure::None) {
                prepared.problem = failure.which == RecordingSegment::CreateFailure::TimeStamps
                                       ? failure.error
                                       : u"%1: %2"_s.arg(failure.path, failure.error);
                return prepared;
            }
            if (!openMarkers) // nothing that stimulates, either
                return prepared;
            if (isStimulated)
                prepared.stimulationLogProblem = checkExistingFile(files->paths().stimulation);
            const bool markersExisted = QFileInfo::exists(files->paths().markers);
            prepared.markersFailed = !openMarkers(files->paths().markers);
            if (!prepared.markersFailed && !markersExisted)
                *newMarkers = files->paths().markers;
            return prepared;
        },
        [this](const PreparedFiles& prepared) { filesCreated(prepared); });
}

void SessionPrivate::filesCreated(const PreparedFiles& prepared)
{
    if (!prepared.problem.isEmpty()) {
        pendingStop.reset();
        markers.reset();
        retireSegment();
        prepareFailed(prepared.problem);
        return;
    }
    connectWriter();
    shownMarkers.clear();
    emit q->markersChanged();
    if (prepared.markersFailed) {
        markers.reset();
        user.notify(
            Severity::Warning, SessionController::tr("Markers"),
            SessionController::tr(
                "Could not open the marker file — marker button presses will not be recorded for this "
                "session."));
    }
    if (!prepared.stimulationLogProblem.isEmpty())
        user.notify(Severity::Warning, SessionController::tr("Stimulation"),
                    prepared.stimulationLogProblem + u"\n\n"_s +
                        SessionController::tr("The recording goes on without a stimulation log."));
    segmentBases << setup.basePath;
    if (options.rememberSaveName)
        options.rememberSaveName(setup.basePath);
    sampleDisk();
    if (stopPending())
        return;
    setState(SessionState::Prepared);
    emit q->prepared(true);
    if (startAfterPrepare && state == SessionState::Prepared)
        start();
}

} // namespace vt
