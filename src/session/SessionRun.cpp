// SPDX-License-Identifier: GPL-3.0-or-later
// Starting a prepared recording, watching the device, pausing and resuming.
#include "session/SessionPrivate.h"

#include "acquisition/AcquisitionFrame.h"
#include "acquisition/DAQInterface.h"
#include "hardware/DAQInfo.h"
#include "session/HeaderBuilder.h"
#include "session/SessionTexts.h"
#include "session/UserInteraction.h"
#include "session/WatchdogVerdict.h"

#include <QDebug>
#include <QPointer>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

void SessionPrivate::start()
{
    if (state != SessionState::Prepared) {
        qWarning().noquote() << "SessionController::start - refused while" << sessionStateName(state);
        return;
    }
    qInfo("Starting Data Acquisition");
    setState(SessionState::Starting);
    const quint64 mine = ++operation;
    unit->probe([this, mine](bool answered) {
        if (mine != operation)
            return;
        if (answered) {
            startRecovered(true);
            return;
        }
        qWarning("DAQ I2C probe failed pre-acquisition; attempting recovery");
        unit->recover([this, mine](bool recovered) {
            if (mine == operation)
                startRecovered(recovered);
        });
    });
}

void SessionPrivate::startRecovered(bool ok)
{
    if (!ok) {
        user.notify(Severity::Critical, communicationFailedTitle(), notRespondingText());
        stop(EndReason::CouldNotStart);
        return;
    }
    user.setRecordingIndicator(SessionController::tr("Vellumtide is recording"));
    writeHeaders([this](bool written) { headersWritten(written); });
}

void SessionPrivate::writeHeaders(std::function<void(bool)> done)
{
    const QDateTime now = time.now();
    if (!recordingStart.isValid()) {
        recordingStart = now;
        recordingStartMs = time.monotonicMs();
    }
    onFileThread([files = segment, header = buildHeader(setup, device, mcu),
                  now] { return files->writeHeaders(header, now); },
                 [callback = std::move(done)](bool written) { callback(written); });
}

void SessionPrivate::headersWritten(bool ok)
{
    if (!ok) {
        const QString path = segment->paths().raw;
        qCritical().noquote() << "Could not open data file:" << path;
        user.fatalError(
            SessionController::tr("Fatal Error"),
            SessionController::tr("Could not open data file:\n%1\n\nThe application will now close.")
                .arg(path));
        pendingStop.reset();
        stop(EndReason::CouldNotStart);
        return;
    }
    if (stopPending())
        return;
    makeManager();
    history.begin(setup.channelCount);
    recordingRan = true;
    for (const auto& companion : companions)
        companion->recordingStarted(context());
    launchSegment();
    ConfigSummary configuration = buildConfigSummary(segment->paths().base, setup, device);
    stimulation->describe(configuration);
    textWorker->post(
        [configuration, path = segment->paths().configuration, answer = configurationFile.begin()] {
            answer(writeConfigSummary(path, configuration));
        });
    setState(SessionState::Recording);
    emit q->segmentStarted(segment->paths().base, segmentNumber);
}

void SessionPrivate::makeManager()
{
    const int amplifierType =
        device.kind == DeviceKind::SerialAmplifier ? StrivixRecordingDevice::AmplifierType : 0;
    manager = std::make_shared<DataManager>(
        DataManager::Config{setup.channelCount, mcu.animalType, amplifierType, setup.activityOnly,
                            setup.bandpass, inputOffsetVolts(mcu.gain, device.kind)},
        time);
    QObject::connect(
        manager.get(), &DataManager::newSleepDecision, manager.get(),
        [this, inbox = answers.address(), source = manager.get()](const std::vector<bool>& asleep,
                                                                  const std::vector<QDateTime>& since,
                                                                  const std::vector<double>& stats) {
            inbox->post(
                [this, news = SleepDecisionNews{asleep, since, stats, source->decisionFrameArrivedUs(),
                                                source->isDecided()}] { handleNewSleepDecision(news); });
        },
        Qt::DirectConnection);
    QObject::connect(
        manager.get(), &DataManager::stepCompleted, manager.get(),
        [this, inbox = answers.address()](const std::shared_ptr<const StepRecord>& step) {
            inbox->post([this, step] {
                if (options.keepsHistory)
                    history.append(*step);
                emit q->stepCompleted(*step);
            });
        },
        Qt::DirectConnection);
}

void SessionPrivate::handleNewSleepDecision(const SleepDecisionNews& news)
{
    sleeping = news.sleeping;
    sleepBeginTime = news.sleepBeginTime;
    decisionStats = news.decisionStats;
    for (const auto& companion : companions)
        companion->sleepDecision(news);
    emit q->sleepDecision(sleeping, sleepBeginTime, decisionStats);
}

void SessionPrivate::launchSegment()
{
    if (!manager)
        makeManager();
    lastDataMs = -1;
    auto acquisition = unit->makeAcquisition(
        setup.channelCount, [this, mine = ++launches, inbox = answers.address()](const QString& text) {
            inbox->post([this, mine, text] { acquisitionFailed(text, mine); });
        });
    if (setup.frameLimit > 0) {
        const quint64 done = manager->framesProcessed();
        acquisition->setFrameLimit(setup.frameLimit > done ? setup.frameLimit - done : 1);
    }
    QObject::connect(
        acquisition.get(), &DAQInterface::newDAQDataReady, q, [this](int) { noteData(); },
        Qt::DirectConnection);
    QObject::connect(
        acquisition.get(), &DAQInterface::frameLimitReached, q,
        [this] {
            if (state == SessionState::Recording)
                stop(EndReason::DurationReached);
        },
        Qt::QueuedConnection);
    daqInfo.setAcquisitionStarted(true);
    {
        const MutexLock lock(segmentMutex);
        segment->launch(std::move(acquisition), manager);
    }
    for (const auto& companion : companions)
        companion->segmentStarted(context());
    armWatchdog();
    qInfo("DAQ watchdog timer started (5 second timeout)");
}

void SessionPrivate::acquisitionFailed(const QString& text, quint64 launch)
{
    qWarning().noquote() << text;
    // Later failures are the watchdog's: what had arrived before is still being delivered. The same is true
    // of a resumed segment, which it takes back to the pause.
    const bool isFirstSegment = segmentNumber == 0 && state == SessionState::Recording;
    if (launch != launches || !isFirstSegment || lastDataMs >= 0)
        return;
    user.notify(Severity::Critical, communicationFailedTitle(), text);
    stop(EndReason::CouldNotStart);
}

void SessionPrivate::noteData()
{
    lastDataMs.store(time.monotonicMs(), std::memory_order_relaxed);
}

void SessionPrivate::armWatchdog()
{
    watchdogStartedMs = time.monotonicMs();
    watchdog->start(WatchdogIntervalMs, TimerMode::SingleShot);
}

void SessionPrivate::watchdogFired()
{
    if (state != SessionState::Recording)
        return;
    const WatchdogVerdict verdict = watchdogVerdict(watchdogStartedMs, lastDataMs, time.monotonicMs());
    if (verdict.timedOut)
        watchdogTimeout();
    else
        watchdog->start(verdict.sleepMs, TimerMode::SingleShot);
}

/// In warnings and worse from here to the resume: a log that has reached its limit takes nothing less.
void SessionPrivate::watchdogTimeout()
{
    const qint64 alive = std::max(lastDataMs.load(), watchdogStartedMs);
    const QDateTime lastData = time.now().addMSecs(alive - time.monotonicMs());
    qCritical().noquote() << banner();
    qCritical("DAQ WATCHDOG TIMEOUT - DEVICE STOPPED RESPONDING");
    qCritical().noquote() << "Last data received approximately:"
                          << lastData.toString(u"yyyy-MM-dd HH:mm:ss"_s);
    if (options.autoResume) {
        qWarning("Auto-resume enabled — entering pause state");
        pause(alive);
        return;
    }
    qWarning().noquote()
        << "Auto-resume NOT active for this run (m_autoResumeEnabled =" << options.autoResume
        << ", DAQ running =" << true
        << ") — the opt-in is only read at launch, so enabling it mid-session requires a restart to "
           "take effect.";
    qWarning("Initiating graceful shutdown...");
    pausedAt = lastData;
    stop(EndReason::DeviceLost);
}

void SessionPrivate::pause(qint64 lastData)
{
    qWarning().noquote() << banner();
    qWarning("DAQ disconnect detected — entering auto-resume PAUSE state");
    pauseLastDataMs = lastData;
    isResumeProblemTold = false;
    // After a resume that brought no data it is still the same pause, and the same gap.
    if (lastDataMs >= 0 || result.pauses == 0) {
        pausedAt = time.now().addMSecs(lastData - time.monotonicMs());
        gapStartMs = lastData;
        ++result.pauses;
    }
    setState(SessionState::Paused);
    tearDown(TeardownKind::Pause);
}

qint64 SessionPrivate::endPause()
{
    if (pauseLastDataMs < 0)
        return 0;
    const qint64 lengthMs = time.monotonicMs() - std::exchange(pauseLastDataMs, -1);
    result.withoutDataMs += lengthMs;
    return lengthMs;
}

void SessionPrivate::pollReconnect()
{
    if (state != SessionState::Paused || tearingDown)
        return;
    // A recording of limited length ends by the clock while there is no signal to count.
    if (setup.frameLimit > 0 && time.monotonicMs() - recordingStartMs >=
                                    static_cast<qint64>(setup.frameLimit * 1000 / FramesPerSecond)) {
        stop(EndReason::DeviceLost);
        return;
    }
    unit->lookForDevice([this](bool isThere) {
        if (isThere)
            deviceIsBack();
    });
}

void SessionPrivate::deviceIsBack()
{
    if (state != SessionState::Paused || tearingDown)
        return;
    qWarning("Reconnect poll: DAQ has re-enumerated — attempting resume");
    reconnectPoll->stop();
    attemptResume();
}

void SessionPrivate::attemptResume()
{
    qWarning("attemptResume: starting recovery + new segment");
    setState(SessionState::Resuming);
    const quint64 mine = ++operation;
    unit->recover([this, mine](bool ok) {
        if (mine == operation)
            resumeRecovered(ok);
    });
}

void SessionPrivate::resumeRecovered(bool ok)
{
    if (!ok) {
        qWarning().noquote() << unit->notBackText();
        resumeFailed();
        return;
    }
    openNextSegment(0);
}

void SessionPrivate::openNextSegment(int slot)
{
    const int animalType = mcu.animalType;
    onFileThread(
        [base = firstBase, animalType, slot] { return nextAvailableSegmentPath(base, animalType, slot); },
        [this](const QString& base) {
            if (stopPending())
                return;
            qWarning().noquote() << "attemptResume: new segment base =" << base;
            makeSegment(base, segmentNumber + 1);
            onFileThread(
                [files = segment] { return files->createFiles(); },
                [this](const RecordingSegment::CreateFailure& failure) { resumeFilesCreated(failure); });
        });
}

void SessionPrivate::resumeFilesCreated(const RecordingSegment::CreateFailure& failure)
{
    using Failure = RecordingSegment::CreateFailure;
    if (failure.which == Failure::Occupied) {
        const int slot = segmentSlot(segment->paths().base);
        qWarning().noquote() << "attemptResume: not empty, so the next number is taken:" << failure.path;
        retireSegment();
        if (!stopPending())
            openNextSegment(slot);
        return;
    }
    if (failure.which != Failure::None) {
        static constexpr std::array texts{"",
                                          "attemptResume: vtFile createFile failed:",
                                          "attemptResume: vtFileFv createFile failed:",
                                          "attemptResume: vtFileAt createFile failed:",
                                          "attemptResume: vtFileBr createFile failed:",
                                          "attemptResume: tsFile open failed for"};
        const QString detail = failure.which == Failure::TimeStamps ? failure.path : failure.error;
        tellResumeProblem(failure.path);
        qCritical().noquote() << texts.at(static_cast<std::size_t>(failure.which)) << detail;
        retireSegment();
        if (!stopPending())
            resumeFailed();
        return;
    }
    connectWriter();
    if (stopPending())
        return;
    writeHeaders([this](bool written) {
        if (!written) {
            qCritical("attemptResume: initSegmentHeaders failed");
            tellResumeProblem(segment->paths().raw);
        }
        if (stopPending())
            return;
        if (written) {
            resumeFinished();
            return;
        }
        tearDown(TeardownKind::Pause);
    });
}

/// Once in a pause: the notice of the pause speaks of the unit alone, and the disk is looked at by nobody
/// then.
void SessionPrivate::tellResumeProblem(const QString& path)
{
    if (std::exchange(isResumeProblemTold, true))
        return;
    user.showNotice(
        u"resumeProblem"_s, SessionController::tr("Recording Paused"),
        SessionController::tr("The DAQ is connected, but the recording could not go on at %1: '%2' "
                              "could not be written. Look at the disk and its folder. This is "
                              "tried again until it works.")
            .arg(time.now().toString(messageTimeFormat()), path),
        SessionController::tr("OK"), [] {});
}

void SessionPrivate::resumeFinished()
{
    ++segmentNumber;
    const QString base = segment->paths().base;
    segmentBases << base;
    launchSegment();
    user.closeNotice(u"paused"_s);
    user.closeNotice(u"resumeProblem"_s);
    const QDateTime now = time.now();
    const qint64 gapMs = time.monotonicMs() - gapStartMs;
    endPause();
    // A notice: a unit that comes and goes all night leaves one message, not hundreds.
    user.showNotice(
        u"resumed"_s, SessionController::tr("Recording Resumed"),
        SessionController::tr(
            "Recording paused at %1 and resumed at %2.\nApproximate gap: %3 seconds.\n\nContinuing in: %4")
            .arg(pausedAt.toString(messageTimeFormat()), now.toString(messageTimeFormat()))
            .arg(gapMs / 1000)
            .arg(base),
        u"OK"_s, [] {});
    qWarning().noquote() << "attemptResume: success — segment base now" << base;
    setState(SessionState::Recording);
    emit q->segmentStarted(base, segmentNumber);
}

void SessionPrivate::resumeFailed()
{
    qWarning("attemptResume failed; remaining in pause state");
    setState(SessionState::Paused);
    reconnectPoll->start(ReconnectPollIntervalMs, TimerMode::Repeating);
}

} // namespace vt
