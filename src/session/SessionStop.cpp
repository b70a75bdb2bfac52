// SPDX-License-Identifier: GPL-3.0-or-later
// Ending a segment and a recording.
#include "session/SessionPrivate.h"

#include "session/SessionTexts.h"
#include "session/UserInteraction.h"
#include "session/WatchdogVerdict.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QPointer>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int MarkersCloseTimeoutMs = 5000;
constexpr int ForcedMarkersCloseTimeoutMs = 1000; ///< when the system waits for a few seconds in all

} // namespace

bool SessionPrivate::stopPending()
{
    if (!pendingStop)
        return false;
    const EndReason reason = *std::exchange(pendingStop, std::nullopt);
    stop(reason);
    return true;
}

void SessionPrivate::stop(EndReason reason)
{
    if (state == SessionState::Idle) {
        qInfo("Stop requested but no recording is active — nothing to tear down.");
        return;
    }
    if (state == SessionState::Stopping)
        return; // it ends for the reason that came first
    if (fileWork || tearingDown) {
        if (!pendingStop)
            pendingStop = reason;
        return;
    }
    ++operation; // callbacks of probes and recoveries under way find that they are no longer wanted
    endReason = reason;
    if (state == SessionState::Preparing) {
        if (!segment) {
            prepareFailed(QString());
            return;
        }
        emit q->prepared(false);
        if (state != SessionState::Preparing)
            return; // whoever heard of it has ended it
    }
    reconnectPoll->stop();
    setState(SessionState::Stopping);
    if (state != SessionState::Stopping || tearingDown)
        return;
    if (segment)
        tearDown(TeardownKind::Stop);
    else
        finishPaused();
}

std::function<bool()> SessionPrivate::lastWork()
{
    std::vector<std::function<void()>> works;
    for (const auto& companion : companions)
        if (std::function<void()> work = companion->lastWork())
            works.push_back(std::move(work));
    if (markers && !markers->isClosing())
        works.push_back(
            [close = markers->closing(forced ? ForcedMarkersCloseTimeoutMs : MarkersCloseTimeoutMs),
             unused = recordingRan ? nullptr : newMarkerPath] { close(unused ? *unused : QString()); });
    return [works = std::move(works)] {
        for (const auto& work : works)
            work();
        return true;
    };
}

/// There is no segment whose teardown would take the last work along.
void SessionPrivate::finishPaused()
{
    if (!recordingRan && !markers) {
        finish();
        return;
    }
    onFileThread(lastWork(), [this](bool) { finish(); });
}

void SessionPrivate::tearDown(TeardownKind kind)
{
    tearingDown = true;
    teardownQueued = false;
    watchdog->stop();
    if (segment->device()) {
        for (const auto& companion : companions)
            companion->segmentStopping(kind);
    }
    const std::function<bool()> last = kind == TeardownKind::Stop ? lastWork() : [] { return true; };
    teardownReport = std::make_shared<TeardownReport>();
    fileWork = true;
    callAsync(
        *fileWorker, answers,
        [files = segment, report = teardownReport, kind, last, flushMs = flushTimeoutMs,
         deviceMs = forced ? ForcedDeviceStopTimeoutMs : DeviceStopTimeoutMs] {
            *report = files->tearDown(kind, deviceMs, flushMs);
            // A resumed segment that got no data goes again: a unit that answers but does not acquire would
            // use up all segment names in a night.
            const bool empty = files->number() > 0 && report->acquisition.framesAcquired == 0;
            if ((!files->device() || empty) && files->released())
                files->discardUnusedFiles();
            return last();
        },
        [this, mine = teardownReport](bool) {
            if (mine == teardownReport) // else stopAndWait has dealt with it
                teardownDone();
        });
    teardownQueued = true;
}

void SessionPrivate::teardownDone()
{
    if (!teardownReport)
        return; // a stop that waited has dealt with it
    fileWork = false;
    tearingDown = false;
    const bool wasRunning = segment->device() != nullptr;
    const TeardownReport report = *std::exchange(teardownReport, nullptr);
    absorb(report);
    if (wasRunning && segmentNumber > 0 && report.acquisition.framesAcquired == 0) {
        segmentBases.removeLast();
        --segmentNumber;
    }
    if (!report.processingFinished)
        manager.reset(); // its thread may still be in it; a resumed segment gets a new one
    daqInfo.setAcquisitionStarted(false);
    retireSegment();
    emit q->segmentEnded();
    if (state == SessionState::Stopping)
        finish();
    if (state == SessionState::Idle)
        return;
    if (stopPending())
        return;
    if (!wasRunning) { // the new segment of a resume could not be used
        resumeFailed();
        return;
    }
    user.showNotice(
        u"paused"_s, SessionController::tr("DAQ Disconnected"),
        SessionController::tr(
            "Recording paused at %1.\n\nThe recording will resume automatically when the DAQ is "
            "reconnected.\nA new file with a numbered suffix will be created for the resumed segment.")
            .arg(pausedAt.toString(messageTimeFormat())),
        SessionController::tr("Stop Recording"), [guard = QPointer<SessionController>(q)] {
            if (guard)
                guard->stop(EndReason::UserStop);
        });
    reconnectPoll->start(ReconnectPollIntervalMs, TimerMode::Repeating);
}

void SessionPrivate::absorb(const TeardownReport& report)
{
    result.framesAcquired += report.acquisition.framesAcquired;
    result.framesProcessed += report.framesProcessed;
    result.readErrors += report.acquisition.readErrors;
    result.restarts += report.acquisition.restarts;
    result.writesTotal += report.writer.totalWrites;
    result.bytesWritten += report.writer.bytesWritten;
    LossSummary& lost = result.losses;
    lost.failedStamps += report.failedStamps;
    const quint64 accounted = report.framesProcessed + report.acquisition.framesDropped;
    if (report.acquisition.framesAcquired > accounted)
        lost.framesUnaccounted += report.acquisition.framesAcquired - accounted;
    lost.framesDropped += report.acquisition.framesDropped;
    lost.bytesDamaged += report.acquisition.bytesDamaged;
    lost.interruptions += report.acquisition.interruptions;
    lost.samplesDropped += report.acquisition.samplesDropped;
    lost.restartGaps += report.acquisition.gaps;
    lost.restartGapMs += report.acquisition.gapMs;
    // What is missing behind the last frame belongs to the pause that follows, if there is one, which is told
    // from the last data on. So is the loss of a device.
    const bool isPause = pauseLastDataMs >= 0;
    if (!isPause)
        lost.samplesDropped += report.acquisition.samplesCut;
    if (!isPause && endReason != EndReason::DeviceLost && report.acquisition.openGapMs > 0) {
        ++lost.restartGaps;
        lost.restartGapMs += report.acquisition.openGapMs;
    }
    lost.writesDropped += report.writer.droppedWrites;
    lost.writesFailed += report.writer.errors;
    lost.bytesDropped += report.writer.bytesDropped;
    lost.bytesFailed += report.writer.bytesFailed;
    lost.writesReordered += report.writer.reorderedWrites;
    lost.flushTimeouts += report.flushed ? 0U : 1U;
}

void SessionPrivate::retireSegment()
{
    std::shared_ptr<RecordingSegment> ended;
    {
        const MutexLock lock(segmentMutex);
        ended = std::move(segment);
        segment = nullptr;
    }
    if (ended)
        stuckSegments.push_back(std::move(ended));
    // What closes with them may wait for the disk.
    for (auto& candidate : stuckSegments)
        if (candidate->released())
            fileWorker->post([last = std::move(candidate)]() mutable { last.reset(); });
    std::erase(stuckSegments, nullptr);
}

void SessionPrivate::finish()
{
    // What is told below may be answered by an event of the system that wants to finish, too.
    if (state != SessionState::Stopping || std::exchange(finishing, true))
        return;
    retireMarkers();
    user.closeNotice(u"paused"_s);
    user.closeNotice(u"resumeProblem"_s);
    user.closeNotice(u"reconnecting"_s);
    user.setRecordingIndicator(QString());
    endPause();
    if (recordingRan)
        summarise();
    recordingStart = QDateTime();
    diskTimer->stop();
    finishing = false;
    setState(SessionState::Idle);
    if (endReason == EndReason::DeviceLost) {
        qWarning("DAQ watchdog shutdown completed");
        if (device.kind == DeviceKind::NiUnit)
            health->unitLost();
        user.announce(
            Severity::Critical, SessionController::tr("DAQ Disconnected"),
            SessionController::tr(
                "The DAQ device stopped responding at approximately %1.\n\nData acquisition has been stopped "
                "and files have been closed.")
                .arg(pausedAt.toString(messageTimeFormat())));
    }
    readyForSystem();
    emit q->recordingEnded(endReason);
}

void SessionPrivate::retireMarkers()
{
    if (!markers)
        return;
    const MarkerLog::Closed closed = markers->closed();
    result.losses.markersNotWritten += static_cast<quint64>(closed.unwritten);
    result.losses.flushTimeouts += closed.isLate ? 1U : 0U;
    markers.reset();
    if (closed.unwritten > 0)
        user.showNotice(markersNoticeId(), SessionController::tr("Markers"),
                        SessionController::tr("Markers that could not be written to the marker file: %1.")
                            .arg(closed.unwritten),
                        SessionController::tr("OK"), [] {});
    else
        user.closeNotice(markersNoticeId());
}

void SessionPrivate::summarise()
{
    result.stimulation = stimulation->status(); // which forgets it now
    for (const auto& companion : companions)
        companion->recordingStopped();
    result.reason = endReason;
    result.segmentBases = segmentBases;
    result.deviceName = device.name;
    result.deviceSerial = device.serial;
    result.begun = recordingStart;
    result.ended = time.now();
    result.elapsedMs = time.monotonicMs() - recordingStartMs;
    result.channels = channelSummaries();
    result.losses.filesNotWritten += configurationFile.endsMissing() ? 1U : 0U;
    const SessionStatus atEnd = q->status();
    result.sensors = atEnd.sensors;
    result.cameras = atEnd.cameras;
    RecordingResult told = result;
    told.losses = atEnd.losses; // with those of the companions
    lastReport = reportOf(told);
    if (lastReport.hasLosses)
        qWarning().noquote() << lastReport.text;
    else
        qInfo().noquote() << lastReport.text;
}

void SessionPrivate::whenClosed(QObject* receiver, const std::function<void()>& done)
{
    auto waiting = std::make_shared<std::size_t>(companions.size());
    for (const auto& companion : companions)
        companion->whenClosed([waiting, done, guard = QPointer<QObject>(receiver)] {
            if (--*waiting == 0 && guard)
                done();
        });
}

void SessionPrivate::readyForSystem()
{
    if (std::exchange(forced, false))
        whenClosed(q,
                   [] { qWarning("Forced graceful stop completed - application ready for system event"); });
}

bool SessionPrivate::stopAndWait(EndReason reason, int timeoutMs)
{
    if (!tearingDown)
        stop(reason);
    if (state == SessionState::Idle)
        return true;
    // Work on the file thread runs in order: once an empty job has run there, all that was queued has.
    const QDeadlineTimer deadline(timeoutMs);
    const auto drain = [this, &deadline] {
        return callOn(*fileWorker, static_cast<int>(deadline.remainingTime()), [] { return true; })
            .has_value();
    };
    if (!drain())
        return false;
    pendingStop.reset();
    fileWork = false;
    ++fileGeneration;
    ++operation;
    const bool wasPreparing = state == SessionState::Preparing;
    if (state != SessionState::Stopping)
        endReason = reason;
    setState(SessionState::Stopping);
    if (wasPreparing)
        emit q->prepared(false);
    if (!tearingDown && !segment) { // a stop that came during other file work, whose callback is void now
        (void)callOn(*fileWorker, static_cast<int>(deadline.remainingTime()), lastWork());
        finish();
        return true;
    }
    if (!tearingDown)
        tearDown(TeardownKind::Stop);
    // Again, also for a teardown that somebody else began meanwhile. One that is only being prepared, further
    // up this stack, cannot be waited for.
    if (!teardownQueued || !drain())
        return false;
    if (markers && !markers->isClosing()) // it was the teardown of a pause
        (void)callOn(*fileWorker, static_cast<int>(deadline.remainingTime()), lastWork());
    teardownDone();
    return true;
}

/// In warnings, which a log takes that has reached its limit: it tells the end of the longest recordings.
void SessionPrivate::forcedStop(int waitMs)
{
    qWarning().noquote() << banner();
    qWarning("FORCED GRACEFUL STOP INITIATED");
    qWarning("System shutdown/sleep/hibernate event detected");
    qWarning("Stopping DAQ acquisition and flushing all data...");
    forced = forced || state != SessionState::Idle;
    const QDeadlineTimer deadline(waitMs);
    stop(EndReason::ForcedStop);
    if (waitMs <= 0)
        return;
    const bool isIdle = state == SessionState::Idle || stopAndWait(EndReason::ForcedStop, waitMs);
    if (!waitUntilClosed(static_cast<int>(deadline.remainingTime())) || !isIdle)
        qCritical("The recording could not be closed within %d ms", waitMs);
}

bool SessionPrivate::waitUntilClosed(int timeoutMs) const
{
    const QDeadlineTimer deadline(timeoutMs);
    bool isClosed = true;
    for (const auto& companion : companions)
        isClosed = companion->waitUntilClosed(static_cast<int>(deadline.remainingTime())) && isClosed;
    return isClosed;
}

bool SessionController::waitUntilClosed(int timeoutMs) const
{
    return d->waitUntilClosed(timeoutMs);
}

void SessionController::whenClosed(QObject* receiver, const std::function<void()>& done)
{
    d->whenClosed(receiver, done);
}

void SessionController::forcedGracefulStop(int waitMs)
{
    d->forcedStop(waitMs);
}

void SessionController::abandonStart()
{
    ++d->lidQuestion;
}

} // namespace vt
