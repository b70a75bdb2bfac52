// SPDX-License-Identifier: GPL-3.0-or-later
// Selecting a device and preparing a recording: device read, checks, files.
#include "session/SessionPrivate.h"

#include "acquisition/AcquisitionFrame.h"
#include "platform/DaqClaim.h"
#include "session/HeaderBuilder.h"
#include "session/SetupCheck.h"
#include "session/UserInteraction.h"

#include <QDebug>
#include <QFileInfo>
#include <QPointer>
#include <algorithm>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

const auto commFailedTitle = u"DAQ Communication Failed"_s;
const auto commFailedText =
    u"DAQ not responding.\nMake sure the DAQ is connected and powered, then re-select "
    u"it from the device list."_s;

int offeredChannels(const MCUHeader& mcu, int analogInputs)
{
    if (mcu.sensorCount >= 1 && mcu.sensorCount <= MaxChannels)
        return mcu.sensorCount;
    return std::min(analogInputs, MaxChannels);
}

} // namespace

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
    user.ask(question,
             [guard = QPointer<SessionController>(q), this, mine = lidQuestion, wanted](int answer) {
                 if (!guard || mine != lidQuestion || answer < 0)
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
        daqInfo.deselect();
        if (options.claim)
            options.claim->release();
        emit q->deviceSelected(device);
        return;
    }
    refusal.clear();
    daqInfo.selectDevice(name, [this, mine, name](bool ok) {
        if (mine != selection)
            return;
        device.name = name;
        device.refusal = refusal;
        if (const auto selected = daqInfo.selectedDevice(); selected && selected->name == name) {
            device.productType = selected->productType;
            device.serial = selected->serial;
            device.simulated = selected->simulated;
        }
        if (!ok) {
            deviceRead(std::nullopt);
            return;
        }
        daqInfo.getMCUHeader([this, mine](const std::optional<MCUHeader>& header) {
            if (mine == selection)
                deviceRead(header);
        });
    });
}

bool SessionPrivate::claimDevice(const DAQDevice& unit)
{
    if (options.claim->tryClaim(unit.serial))
        return true;
    options.claim->release(); // whatever was selected before is selected no more
    const auto holder = options.claim->otherHolder(unit.serial);
    if (!holder)
        refusal = SessionController::tr("%1 could not be reserved for this program.").arg(unit.name);
    else if (*holder == 0)
        refusal = SessionController::tr("%1 is in use by another Vellumtide instance.").arg(unit.name);
    else
        refusal = SessionController::tr("%1 is in use by another Vellumtide instance (process %2).")
                      .arg(unit.name)
                      .arg(*holder);
    return false;
}

void SessionPrivate::deviceRead(const std::optional<MCUHeader>& header)
{
    selecting = false;
    device.usable = header.has_value();
    if (header) {
        mcu = *header;
        device.animalType = mcu.animalType;
        device.gain = mcu.gain;
        device.offeredChannels = offeredChannels(mcu, daqInfo.analogInputCount());
    }
    emit q->deviceSelected(device);
}

void SessionPrivate::prepare(const RecordingSetup& wanted)
{
    if (state != SessionState::Idle) {
        qWarning().noquote() << "SessionController::prepare - refused while" << sessionStateName(state);
        return;
    }
    if (selecting) {
        user.notify(Severity::Warning, u"Not Ready to Record"_s, u"The unit is still being read."_s);
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
    newMarkerPath.clear();
    manager.reset();
    sleeping.clear();
    freeDiskBytes = -1;
    setState(SessionState::Preparing);

    if (const QString problem = checkSetupValues(setup, device);
        !problem.isEmpty() && (device.name.isEmpty() || device.usable)) {
        prepareFailed(problem);
        return;
    }
    daqInfo.getMCUHeader([this, mine](const std::optional<MCUHeader>& header) {
        if (mine != operation)
            return;
        if (!header) {
            qWarning("saveChannelConfig: aborted, DAQ comm failed during setup");
            user.notify(Severity::Critical, commFailedTitle, commFailedText);
            prepareFailed(QString());
            return;
        }
        deviceRead(header);
        qInfo("MaxAmplitudeOfData: %f", NiFullScaleVolts);
        createFiles();
    });
}

void SessionPrivate::prepareFailed(const QString& problem)
{
    ++operation;
    if (!problem.isEmpty())
        user.notify(Severity::Critical, u"Not Ready to Record"_s, problem);
    endReason = EndReason::CouldNotStart;
    setState(SessionState::Idle);
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
    markers = std::make_shared<MarkerFile>();
    onFileThread(
        [files = segment, marks = markers, base = setup.basePath, animal = int{mcu.animalType}] {
            PreparedFiles prepared;
            prepared.problem = checkRecordingPath(base, animal);
            if (!prepared.problem.isEmpty())
                return prepared;
            const RecordingSegment::CreateFailure failure = files->createFiles();
            if (failure.which != RecordingSegment::CreateFailure::None) {
                prepared.problem = failure.which == RecordingSegment::CreateFailure::TimeStamps
                                       ? failure.error
                                       : u"%1: %2"_s.arg(failure.path, failure.error);
                return prepared;
            }
            const bool markersExisted = QFileInfo::exists(files->paths().markers);
            prepared.markersFailed = !marks->open(files->paths().markers);
            if (!prepared.markersFailed && !markersExisted)
                prepared.newMarkerPath = files->paths().markers;
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
    newMarkerPath = prepared.newMarkerPath;
    if (prepared.markersFailed) {
        markers.reset();
        user.notify(Severity::Warning, u"Markers"_s,
                    u"Could not open the marker file — marker button presses will not be recorded for this "
                    u"session."_s);
    }
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
