// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/SessionController.h"

#include "platform/CrashHandler.h"
#include "session/SessionPrivate.h"
#include "session/UnitInfo.h"

#include "acquisition/AcquisitionFrame.h"
#include "daqmx/KeepAlive.h"
#include "platform/DaqClaim.h"
#include "session/HeaderBuilder.h"
#include "session/SessionTexts.h"
#include "session/SetupCheck.h"
#include "session/UserInteraction.h"

#include <QDebug>
#include <QFileInfo>
#include <QPointer>
#include <QStorageInfo>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int destructionTimeoutMs = 60000;
constexpr int fileThreadStopTimeoutMs = 10000;
constexpr int diskSampleIntervalMs = 2000;

// What a simulated unit that runs faster than real time leaves room for: neither the frame queue nor one
// batch of the writer's main queue may fill up.
constexpr quint64 readyFrameLimit = FrameQueueCapacity - 3;
constexpr quint32 readyWriterDepth = FileWriter::BatchSize - 10;

} // namespace

QString sessionStateName(SessionState state)
{
    switch (state) {
    case SessionState::Idle:
        return u"Idle"_s;
    case SessionState::Preparing:
        return u"Preparing"_s;
    case SessionState::Prepared:
        return u"Prepared"_s;
    case SessionState::Starting:
        return u"Starting"_s;
    case SessionState::Recording:
        return u"Recording"_s;
    case SessionState::Paused:
        return u"Paused"_s;
    case SessionState::Resuming:
        return u"Resuming"_s;
    case SessionState::Stopping:
        return u"Stopping"_s;
    }
    return {};
}

SessionPrivate::SessionPrivate(SessionController* controller, DaqmxApi& driverApi, TimeSource& timeSource,
                               UserInteraction& interaction, SessionController::Options sessionOptions)
    : q(controller), driver(driverApi), time(timeSource), user(interaction),
      options(std::move(sessionOptions)), daqInfo(driverApi, timeSource),
      niUnit(driverApi, timeSource, daqInfo, reserve()),
      amplifier(timeSource, options.amplifierPorts, reserve()), unit(&niUnit),
      fileThread(std::make_unique<QThread>()), fileWorker(std::make_unique<Inbox>()),
      textThread(std::make_unique<QThread>()), textWorker(std::make_shared<Inbox>())
{
    fileThread->setObjectName(u"SessionFiles"_s);
    fileWorker->moveToThread(fileThread.get());
    fileWorker->post(&CrashHandler::prepareThread);
    fileThread->start();
    textThread->setObjectName(u"SessionTexts"_s);
    textWorker->moveToThread(textThread.get());
    textWorker->post(&CrashHandler::prepareThread);
    textThread->start();
    watchdog = time.createTimer(q, [this] { watchdogFired(); });
    reconnectPoll = time.createTimer(q, [this] { pollReconnect(); });
    diskTimer = time.createTimer(q, [this] { sampleDisk(); });
    QObject::connect(&daqInfo, &DAQInfo::deviceListChanged, q, &SessionController::devicesChanged);
    QObject::connect(&daqInfo, &DAQInfo::deviceListRefreshed, q, [this] { devicesRefreshed(); });
    QObject::connect(&daqInfo, &DAQInfo::waitingForDevice, q, [this](const QString& name) {
        user.showNotice(u"reconnecting"_s, SessionController::tr("DAQ Reconnecting"),
                        SessionController::tr("Waiting for DAQ \"%1\" to reconnect...").arg(name), QString(),
                        {});
    });
    QObject::connect(&daqInfo, &DAQInfo::waitingEnded, q, [this] { user.closeNotice(u"reconnecting"_s); });
    connectUnitEvents();
    auto stimulating = std::make_unique<StimulationSession>(daqInfo.stimulation(), time, user, textWorker);
    stimulation = stimulating.get();
    companions.push_back(std::move(stimulating));
    watchHealth();
}

SessionPrivate::~SessionPrivate()
{
    if (segment || state != SessionState::Idle) {
        const bool hasWriter = segment && segment->writer();
        if (hasWriter)
            qInfo("Destructor: Flushing FileWriter (defensive cleanup)");
        flushTimeoutMs = DestructionFlushTimeoutMs;
        if (!stopAndWait(EndReason::UserStop, destructionTimeoutMs) || result.losses.flushTimeouts > 0)
            qWarning("Destructor: FileWriter flush timeout");
        if (hasWriter && !segment)
            qInfo("Destructor: FileWriter deleted");
    }
    fileThread->quit();
    if (!fileThread->wait(fileThreadStopTimeoutMs)) {
        // A thread that hangs in the disk cannot be ended; what it uses is left to the end of the process.
        qCritical("The session's file thread does not return from the disk");
        [[maybe_unused]] const auto* abandonedThread = fileThread.release();
        [[maybe_unused]] const auto* abandonedWorker = fileWorker.release();
    }
    textThread->quit();
    if (!textThread->wait(fileThreadStopTimeoutMs)) {
        qCritical("The session's text thread does not return from the disk");
        keepAliveForever(textWorker);
        [[maybe_unused]] const auto* abandonedThread = textThread.release();
    }
    if (segment) { // its teardown hangs
        if (segment->device())
            QObject::disconnect(segment->device(), nullptr, q, nullptr);
        keepAliveForever(std::move(segment));
    }
    std::erase_if(stuckSegments, [](const auto& stuck) { return stuck->released(); });
    for (auto& stuck : stuckSegments) {
        qCritical("A device that does not return from the driver is left to the end of the process");
        keepAliveForever(std::move(stuck));
    }
}

void SessionPrivate::setState(SessionState next)
{
    if (state == next)
        return;
    state = next;
    emit q->stateChanged(next);
}

QString SessionPrivate::basePath() const
{
    return segment ? segment->paths().base : firstBase;
}

RecordingContext SessionPrivate::context() const
{
    return {basePath(),
            segmentNumber,
            setup.channelCount,
            mcu.animalType,
            completeAnimalIds(setup.animalIds, setup.channelCount),
            device.simulated,
            setup.activityOnly,
            setup.vexio,
            setup.dio,
            device.kind};
}

std::vector<ChannelSummary> SessionPrivate::channelSummaries() const
{
    std::vector<ChannelSummary> channels;
    const QStringList ids = completeAnimalIds(setup.animalIds, setup.channelCount);
    for (int i = 0; i < setup.channelCount; ++i) {
        ChannelSummary channel;
        channel.animalId = ids.at(i);
        if (manager) {
            const DataManager::SleepCounts counts = manager->sleepCounts(i);
            channel.steps = counts.steps;
            channel.asleep = counts.asleep;
            channel.noSignal = manager->noSignal(i);
        }
        const auto index = static_cast<std::size_t>(i);
        if (index < sleeping.size()) {
            channel.sleeping = sleeping[index];
            channel.decisionStat = decisionStats[index];
            channel.sleepBeginTime = sleepBeginTime[index];
        }
        channels.push_back(std::move(channel));
    }
    return channels;
}

void SessionPrivate::makeSegment(const QString& base, int number)
{
    auto created = std::make_shared<RecordingSegment>(segmentPaths(base, mcu.animalType), number, textWorker);
    const MutexLock lock(segmentMutex);
    segment = std::move(created);
}

void SessionPrivate::connectWriter()
{
    const FileWriter* writer = segment->writer();
    QObject::connect(writer, &FileWriter::queueOverflowWarning, q, [](int depth) {
        qWarning().noquote() << "FileWriter queue overflow warning: depth=" << depth;
    });
    QObject::connect(writer, &FileWriter::criticalOverflow, q,
                     [] { qCritical("FileWriter CRITICAL OVERFLOW - both buffers full!"); });
    QObject::connect(writer, &FileWriter::writeError, q,
                     [](const QString& text) { qWarning().noquote() << "FileWriter error:" << text; });
}

void SessionPrivate::sampleDisk()
{
    if (diskSamplePending)
        return;
    diskSamplePending = true;
    callAsync(
        *textWorker, answers,
        [folder = QFileInfo(firstBase).absolutePath()] { return QStorageInfo(folder).bytesAvailable(); },
        [this](qint64 bytes) {
            diskSamplePending = false;
            freeDiskBytes = bytes;
            if (recordingRan && state != SessionState::Idle)
                diskForecast.note(time.monotonicMs(), bytes, q->status().cameras.recording);
            if (state != SessionState::Idle)
                diskTimer->start(diskSampleIntervalMs, TimerMode::SingleShot);
        });
}

void SessionPrivate::markersUnwritten(int count)
{
    if (count == 0) {
        user.closeNotice(markersNoticeId());
        return;
    }
    user.showNotice(
        markersNoticeId(), SessionController::tr("Markers"),
        SessionController::tr("Markers that could not be written to the marker file yet: %1. This is tried "
                              "again with the next marker and at the end of the recording.")
            .arg(count),
        SessionController::tr("OK"), [] {});
}

SessionController::SessionController(DaqmxApi& driver, TimeSource& time, UserInteraction& user,
                                     Options options, QObject* parent)
    : QObject(parent)
{
    qRegisterMetaType<std::vector<bool>>("std::vector<bool>");
    qRegisterMetaType<std::vector<QDateTime>>("std::vector<QDateTime>");
    qRegisterMetaType<std::vector<double>>("std::vector<double>");
    qRegisterMetaType<FileWriter::Statistics>("FileWriter::Statistics");
    d = std::make_unique<SessionPrivate>(this, driver, time, user, std::move(options));
}

SessionController::~SessionController() = default;

void SessionController::addCompanion(std::unique_ptr<RecordingCompanion> companion)
{
    d->companions.push_back(std::move(companion));
}

void SessionController::refreshDevices()
{
    d->isRefreshAsked = true;
    d->daqInfo.refreshDAQList();
    if (d->amplifier.refresh())
        emit devicesChanged();
}

void SessionPrivate::devicesRefreshed()
{
    // Also with the same devices: another instance may have taken or released one.
    if (std::exchange(isRefreshAsked, false))
        emit q->devicesChanged();
    emit q->devicesRefreshed();
}

bool SessionController::isRefreshingDevices() const
{
    return d->daqInfo.isRefreshing();
}

std::vector<DeviceEntry> SessionController::devices() const
{
    std::vector<DeviceEntry> entries;
    for (const DAQDevice& device : d->daqInfo.devices()) {
        const auto holder = d->options.claim ? d->options.claim->otherHolder(device.serial) : std::nullopt;
        entries.push_back({device.name, device.productType, device.serial, device.simulated,
                           holder.has_value(), holder.value_or(0), DeviceKind::NiUnit});
    }
    for (const AmplifierPort& port : d->amplifier.ports()) {
        const QString claimName = StrivixRecordingDevice::claimName(port);
        const auto holder = d->options.claim ? d->options.claim->otherHolder(claimName) : std::nullopt;
        entries.push_back({port.name, port.description, port.serial, port.simulated, holder.has_value(),
                           holder.value_or(0), DeviceKind::SerialAmplifier});
    }
    return entries;
}

void SessionController::selectDevice(const QString& name)
{
    d->selectDevice(name);
}

void SessionController::prepare(const RecordingSetup& setup)
{
    d->startAfterPrepare = false;
    d->prepare(setup);
}

void SessionController::record(const RecordingSetup& setup)
{
    if (!d->options.lidQuery || !d->options.showLidWarning || !d->options.showLidWarning() ||
        d->state != SessionState::Idle || setup.basePath.isEmpty() ||
        !checkSetupValues(setup, d->device).isEmpty()) { // the user is told what is missing, and no more
        d->record(setup);
        return;
    }
    const quint64 mine = ++d->lidQuestion;
    d->options.lidQuery(this, [this, mine, setup](const PowerSchemeQuery::Result& scheme) {
        if (mine == d->lidQuestion)
            d->lidAnswered(scheme, setup);
    });
}

void SessionController::start()
{
    d->start();
}

void SessionController::requestStop()
{
    Question question{
        tr("Stop Recording"), tr("Are you sure you want to stop recording?"), {tr("&Yes"), tr("&No")}, 0, 1};
    question.id = stopQuestionId();
    d->user.ask(question, [guard = QPointer<SessionController>(this)](int answer) {
        if (guard && answer == 0)
            guard->stop(EndReason::UserStop);
    });
}

void SessionController::stop(EndReason reason)
{
    d->stop(reason);
}

bool SessionController::stopAndWait(EndReason reason, int timeoutMs)
{
    return d->stopAndWait(reason, timeoutMs);
}

int SessionController::addMarker(const QString& label)
{
    // While it is prepared, the file belongs to the file thread.
    if (!d->markers || d->state == SessionState::Preparing)
        return -1;
    const int event = d->markers->add(d->segmentNumber, d->time.now(), label);
    if (event > 0)
        noteMarkers();
    return event;
}

bool SessionController::setMarkerLabel(int event, const QString& label)
{
    if (!d->markers || d->state == SessionState::Preparing || !d->markers->setLabel(event, label))
        return false;
    noteMarkers();
    return true;
}

void SessionController::noteMarkers()
{
    d->shownMarkers = d->markers->markers();
    emit markersChanged();
}

const std::vector<MarkerFile::Marker>& SessionController::markers() const
{
    return d->shownMarkers;
}

ManualStimulation SessionController::stimulateNow()
{
    return d->stimulation->stimulateNow();
}

StimulationHardware& SessionController::stimulationHardware()
{
    return d->daqInfo.stimulation();
}

UnitHealth& SessionController::unitHealth()
{
    return *d->health;
}

UnitInfo SessionController::unitInfo() const
{
    const bool isRead = d->device.usable && d->device.kind == DeviceKind::NiUnit;
    return isRead ? describeUnit(d->mcu) : UnitInfo();
}

SessionState SessionController::state() const
{
    return d->state;
}

SessionStatus SessionController::status() const
{
    SessionStatus status;
    status.state = d->state;
    status.device = d->device;
    status.basePath = d->basePath();
    status.segment = d->segmentNumber;
    status.startTime = d->recordingStart;
    if (d->recordingStart.isValid())
        status.elapsedMs = d->time.monotonicMs() - d->recordingStartMs;
    status.framesAcquired = d->result.framesAcquired;
    status.framesProcessed = d->result.framesProcessed;
    status.readErrors = d->result.readErrors;
    status.restarts = d->result.restarts;
    status.losses = d->result.losses;
    status.losses.filesNotWritten += d->configurationFile.hasFailed() ? 1U : 0U;
    if (d->segment && d->segment->device()) {
        const AcquisitionCounters counters = d->segment->device()->counters();
        status.framesAcquired += counters.framesAcquired;
        status.framesProcessed += d->manager->segmentFramesProcessed();
        status.readErrors += counters.readErrors;
        status.restarts += counters.restarts;
        status.losses.framesDropped += counters.framesDropped;
        status.losses.bytesDamaged += counters.bytesDamaged;
        status.losses.interruptions += counters.interruptions;
        status.losses.samplesDropped += counters.samplesDropped;
        status.losses.restartGaps += counters.gaps + (counters.openGapMs > 0 ? 1U : 0U);
        status.losses.restartGapMs += counters.gapMs + counters.openGapMs;
        status.writer = d->segment->writer()->statistics();
        status.losses.writesDropped += status.writer.droppedWrites;
        status.losses.writesFailed += status.writer.errors;
        status.losses.bytesDropped += status.writer.bytesDropped;
        status.losses.bytesFailed += status.writer.bytesFailed;
        status.losses.writesReordered += status.writer.reorderedWrites;
    }
    status.freeDiskBytes = d->freeDiskBytes;
    status.channels = d->channelSummaries();
    status.stimulation = d->stimulation->status();
    const LossSummary ownLosses = status.losses;
    for (const auto& companion : d->companions)
        companion->report(status);
    if (!d->recordingRan) // what they have lost was an earlier recording's
        status.losses = ownLosses;
    status.bytesPerHour =
        d->diskForecast.bytesPerHour(recordedBytesPerHour(d->setup.channelCount, d->mcu.animalType));
    status.isFillRateKnown = status.cameras.enabled == 0 || d->diskForecast.isMeasured();
    return status;
}

std::shared_ptr<const DataManager> SessionController::processing() const
{
    return d->manager;
}

const StepHistory& SessionController::history() const
{
    return d->history;
}

EndReason SessionController::lastEndReason() const
{
    return d->endReason;
}

QString SessionController::lastSummary() const
{
    return d->lastReport.text;
}

const RecordingReport& SessionController::lastReport() const
{
    return d->lastReport;
}

bool SessionController::readyForMoreData() const
{
    const MutexLock lock(d->segmentMutex);
    if (!d->segment || !d->segment->device() || !d->segment->writer())
        return true;
    const FileWriter::Statistics writer = d->segment->writer()->statistics();
    return d->segment->device()->counters().framesQueued < readyFrameLimit &&
           writer.currentDepth < readyWriterDepth && writer.emergencyDepth == 0;
}

} // namespace vt
