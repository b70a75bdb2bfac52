// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/AxisRecordingManager.h"

#include "camera/FfmpegCommand.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QStandardPaths>
#include <algorithm>
#include <optional>
#include <utility>

namespace vt {

namespace {

struct DeleteLater
{
    void operator()(QProcess* process) const { process->deleteLater(); }
};

QString errorText(QProcess::ProcessError error)
{
    switch (error) {
    case QProcess::FailedToStart:
        return QStringLiteral("Failed to start FFmpeg");
    case QProcess::Crashed:
        return QStringLiteral("FFmpeg crashed");
    case QProcess::Timedout:
        return QStringLiteral("FFmpeg timeout");
    case QProcess::ReadError:
        return QStringLiteral("Read error");
    case QProcess::WriteError:
        return QStringLiteral("Write error");
    case QProcess::UnknownError:
        break;
    }
    return QStringLiteral("Unknown error");
}

} // namespace

struct AxisRecordingManager::Entry
{
    enum class Ending { No, Asked, Killed };

    explicit Entry(const CameraStream& wanted) : stream(wanted), log(wanted.mac) {}

    CameraStream stream;
    QString directory;
    int offsetSeconds = 0; ///< from UTC, of the files' names
    QStringList arguments; ///< of the last start, kept for restarts; they carry the password
    std::unique_ptr<QProcess, DeleteLater> process;
    FfmpegOutput output;
    FfmpegLog log;
    bool recording = false;         ///< video flows
    bool shouldBeRecording = false; ///< cleared by a deliberate stop only
    int retryCount = 0;             ///< ends and failed starts since video flowed last
    Ending ending = Ending::No;
    bool isMoving = false; ///< asked to end because the camera is elsewhere: no failure, no wait
    std::unique_ptr<Timer> retryTimer;
    std::unique_ptr<Timer> endTimer;
    std::optional<CameraStream> next; ///< started when this one has ended
    qint64 newestFrame = -1;
    qint64 newestFrameMs = 0; ///< monotonic; of the process's start before there is one
    qint64 firstFrameMs = 0;  ///< monotonic; counts while recording
};

AxisRecordingManager::AxisRecordingManager(TimeSource& time, RecordingPrograms programs, QObject* parent)
    : CameraRecorder(parent), m_time(time), m_programs(std::move(programs)),
      m_job(std::make_unique<ChildProcessJob>()),
      m_files(std::make_unique<SegmentFiles>(time, *m_job, m_programs.ffprobe)),
      m_stopAllLimit(time.createTimer(this,
                                      [this] {
                                          m_files->writeNow();
                                          for (const auto& done : std::exchange(m_whenStopped, {}))
                                              done();
                                      })),
      m_check(time.createTimer(this, [this] { checkRecordingStatus(); }))
{
    switch (m_job->state()) {
    case ChildProcessJob::State::Ready:
        qInfo("AxisRecordingManager: Job object created for automatic child process cleanup");
        break;
    case ChildProcessJob::State::NotCreated:
        qWarning().noquote() << "AxisRecordingManager: Failed to create job object" << m_job->errorText();
        break;
    case ChildProcessJob::State::NotConfigured:
        qWarning().noquote() << "AxisRecordingManager: Failed to configure job object" << m_job->errorText();
        break;
    }
}

AxisRecordingManager::~AxisRecordingManager()
{
    if (!m_entries.empty() || !m_files->isIdle()) {
        stopAll([] {});
        endAllNow();
        m_files->writeNow();
    }
    for (const auto& done : std::exchange(m_whenStopped, {}))
        done();
    m_files.reset();
    m_job.reset();
    qInfo("AxisRecordingManager: Job object closed, all child processes terminated");
}

void AxisRecordingManager::startCamera(const CameraStream& stream)
{
    if (const EntryPtr known = find(stream.mac)) {
        if (known->shouldBeRecording)
            qInfo().noquote() << "AxisRecordingManager: Camera" << stream.mac << "already recording";
        else
            known->next = stream;
        return;
    }
    const QString directory = ffmpeg::outputDirectory(stream.baseDirectory, stream.channel);
    const auto entry = std::make_shared<Entry>(stream);
    m_entries[stream.mac] = entry;
    entry->directory = directory;
    entry->offsetSeconds = m_time.now().offsetFromUtc();
    entry->arguments = ffmpeg::arguments(stream);
    entry->shouldBeRecording = true;
    // The timers die with the entry.
    entry->retryTimer = m_time.createTimer(this, [this, plain = entry.get()] {
        if (const EntryPtr kept = find(plain->stream.mac))
            restart(kept);
    });
    entry->endTimer = m_time.createTimer(this, [this, plain = entry.get()] {
        if (const EntryPtr kept = find(plain->stream.mac))
            endPatienceOver(kept);
    });
    if (!m_check->isActive())
        m_check->start(CheckIntervalMs, TimerMode::Repeating);
    m_files->begin(directory, stream.channel, entry->offsetSeconds);
    if (!makeDirectory(entry) || !hasAddress(entry))
        return;

    qInfo().noquote() << "AxisRecordingManager: Starting recording for" << stream.mac << "to" << directory;
    if (launch(entry)) {
        emit recordingStarted(stream.mac);
        return;
    }
    qCritical().noquote() << "AxisRecordingManager: Failed to start FFmpeg for" << stream.mac;
    fail(entry, QStringLiteral("Failed to start FFmpeg"));
    attemptFailed(entry);
}

void AxisRecordingManager::changeAddress(const QString& mac, const QHostAddress& address)
{
    const EntryPtr entry = find(mac);
    if (entry && entry->next)
        entry->next->address = address;
    if (!entry || !entry->shouldBeRecording || entry->stream.address == address)
        return;
    qInfo().noquote() << "AxisRecordingManager: Camera" << mac << "is at"
                      << (address.isNull() ? QStringLiteral("an unknown address") : address.toString())
                      << "now";
    entry->stream.address = address;
    entry->arguments = ffmpeg::arguments(entry->stream);
    if (!entry->process) {
        tryAtOnce(*entry);
    } else if (entry->ending == Entry::Ending::No) {
        entry->isMoving = true;
        askToEnd(entry);
    }
}

void AxisRecordingManager::setCredentials(const QString& user, const QString& password)
{
    for (const auto& [mac, entry] : m_entries) {
        if (entry->next) {
            entry->next->user = user;
            entry->next->password = password;
        }
        entry->stream.user = user;
        entry->stream.password = password;
        entry->arguments = ffmpeg::arguments(entry->stream);
        tryAtOnce(*entry);
    }
}

/// A restart that is waited for has a better chance now.
void AxisRecordingManager::tryAtOnce(Entry& entry)
{
    if (entry.retryTimer->isActive() && !entry.stream.address.isNull())
        entry.retryTimer->start(0, TimerMode::SingleShot);
}

void AxisRecordingManager::stopCamera(const QString& mac)
{
    const EntryPtr entry = find(mac);
    if (!entry) {
        qInfo().noquote() << "AxisRecordingManager: No recording found for" << mac;
        return;
    }
    entry->next.reset();
    if (!entry->shouldBeRecording)
        return; // on its way already
    qInfo().noquote() << "AxisRecordingManager: Stopping recording for" << mac;
    entry->shouldBeRecording = false;
    entry->retryTimer->stop();
    if (entry->process)
        askToEnd(entry);
    else
        remove(entry);
}

void AxisRecordingManager::stopAll(std::function<void()> done)
{
    qInfo("AxisRecordingManager: Stopping all recordings");
    m_whenStopped.push_back(std::move(done));
    m_stopAllLimit->start(StopAllLimitMs, TimerMode::SingleShot);
    const std::map<QString, EntryPtr> entries = m_entries;
    for (const auto& [mac, entry] : entries)
        stopCamera(mac);
    callWhenStopped();
}

bool AxisRecordingManager::isRecording(const QString& mac) const
{
    const EntryPtr entry = find(mac);
    return entry && entry->recording;
}

qint64 AxisRecordingManager::processId(const QString& mac) const
{
    const EntryPtr entry = find(mac);
    return entry && entry->process ? entry->process->processId() : 0;
}

void AxisRecordingManager::onProcessStarted()
{
    const EntryPtr entry = senderEntry();
    if (!entry)
        return;
    const QString& mac = entry->stream.mac;
    qInfo().noquote() << "AxisRecordingManager: Process started for" << mac;
    const qint64 id = entry->process->processId();
    switch (m_job->add(id)) {
    case ChildProcessJob::Added::Yes:
        qInfo().noquote() << "AxisRecordingManager: Process" << id << "added to job object";
        break;
    case ChildProcessJob::Added::Refused:
        qWarning().noquote() << "AxisRecordingManager: Failed to add process" << id << "to job object";
        break;
    case ChildProcessJob::Added::NoHandle:
        qWarning().noquote() << "AxisRecordingManager: Failed to open process handle for" << mac;
        break;
    }
}

void AxisRecordingManager::onProcessFinished(int exitCode, QProcess::ExitStatus exitStatus)
{
    const EntryPtr entry = senderEntry();
    if (!entry)
        return;
    const QString mac = entry->stream.mac;
    // Frames that are told of now flow no more.
    const qint64 nowMs = m_time.monotonicMs();
    entry->log.logErrors(entry->output.take(entry->process->readAllStandardError()), nowMs);
    entry->log.logErrors(entry->output.finish(), nowMs);
    qInfo().noquote() << "AxisRecordingManager: Process finished for" << mac << "exitCode:" << exitCode
                      << "status:" << exitStatus;
    entry->process.reset();
    entry->endTimer->stop();
    entry->ending = Entry::Ending::No;
    noteEnd(entry);
    if (!isCurrent(entry))
        return;
    if (!entry->shouldBeRecording) {
        qInfo().noquote() << "AxisRecordingManager: FFmpeg stopped normally for" << mac;
        emit recordingStopped(mac);
        remove(entry);
        return;
    }
    if (entry->isMoving) {
        restart(entry);
        return;
    }
    qWarning().noquote() << "AxisRecordingManager: FFmpeg crashed/terminated unexpectedly for" << mac;
    fail(entry, QStringLiteral("FFmpeg process crashed or terminated unexpectedly"));
    attemptFailed(entry);
}

/// Of a process; whoever hears of it may end the entry.
void AxisRecordingManager::noteEnd(const EntryPtr& entry)
{
    if (std::exchange(entry->recording, false) && m_time.monotonicMs() - entry->firstFrameMs >= SteadyMs)
        entry->retryCount = 0;
    emit recordingStatusChanged(entry->stream.mac, false);
}

void AxisRecordingManager::onProcessError(QProcess::ProcessError error)
{
    const EntryPtr entry = senderEntry();
    if (!entry)
        return;
    const QString text = errorText(error);
    qWarning().noquote() << "AxisRecordingManager: Process error for" << entry->stream.mac << ":" << text;
    fail(entry, text);
}

void AxisRecordingManager::onReadyReadStandardError()
{
    if (const EntryPtr entry = senderEntry())
        handleOutput(entry, entry->output.take(entry->process->readAllStandardError()));
}

void AxisRecordingManager::onReadyReadStandardOutput()
{
    if (const EntryPtr entry = senderEntry())
        entry->log.logOutput(entry->process->readAllStandardOutput(), m_time.monotonicMs());
}

void AxisRecordingManager::checkRecordingStatus()
{
    const std::map<QString, EntryPtr> entries = m_entries;
    for (const auto& [mac, entry] : entries) {
        if (!isCurrent(entry) || !entry->process || !entry->shouldBeRecording ||
            entry->ending != Entry::Ending::No)
            continue;
        QString problem;
        if (!QFileInfo(entry->directory).isDir())
            problem = QStringLiteral("The folder of the video files is gone");
        else if (m_time.monotonicMs() - entry->newestFrameMs >= StallMs)
            problem = QStringLiteral("No video for %1 s").arg(StallMs / 1000);
        else
            continue;
        qCritical().noquote() << "AxisRecordingManager:" << problem << "for" << mac << "in"
                              << entry->directory << "- FFmpeg is started anew";
        fail(entry, problem);
        if (isCurrent(entry) && entry->process)
            askToEnd(entry);
    }
}

AxisRecordingManager::EntryPtr AxisRecordingManager::find(const QString& mac) const
{
    const auto found = m_entries.find(mac);
    return found == m_entries.end() ? nullptr : found->second;
}

AxisRecordingManager::EntryPtr AxisRecordingManager::senderEntry() const
{
    const QObject* process = sender();
    for (const auto& [mac, entry] : m_entries)
        if (process && entry->process.get() == process)
            return entry;
    return nullptr;
}

/// False when a receiver of a signal has ended this entry meanwhile.
bool AxisRecordingManager::isCurrent(const EntryPtr& entry) const
{
    return find(entry->stream.mac) == entry;
}

bool AxisRecordingManager::launch(const EntryPtr& entry)
{
    entry->process.reset(std::make_unique<QProcess>().release());
    QProcess* process = entry->process.get();
    entry->output = {};
    entry->ending = Entry::Ending::No;
    entry->isMoving = false;
    entry->log.begin(entry->stream.password);
    entry->newestFrame = -1;
    entry->newestFrameMs = m_time.monotonicMs();
    process->setProgram(m_programs.ffmpeg);
    process->setArguments(entry->arguments);
    process->setProcessChannelMode(QProcess::SeparateChannels);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TZ"), ffmpeg::fixedTimeZone(entry->offsetSeconds));
    environment.insert(QStringLiteral("AV_LOG_FORCE_NOCOLOR"), QStringLiteral("1"));
    process->setProcessEnvironment(environment);
    connect(process, &QProcess::started, this, &AxisRecordingManager::onProcessStarted);
    connect(process, &QProcess::finished, this, &AxisRecordingManager::onProcessFinished);
    connect(process, &QProcess::errorOccurred, this, &AxisRecordingManager::onProcessError);
    connect(process, &QProcess::readyReadStandardError, this,
            &AxisRecordingManager::onReadyReadStandardError);
    connect(process, &QProcess::readyReadStandardOutput, this,
            &AxisRecordingManager::onReadyReadStandardOutput);
    m_job->prepare(*process);
    process->start(QIODevice::ReadWrite);
    if (process->waitForStarted(StartPatienceMs))
        return true;
    if (entry->process.get() == process) {
        if (process->error() == QProcess::FailedToStart)
            tellMissingProgram(entry->stream.mac);
        discardProcess(entry);
    }
    return false;
}

void AxisRecordingManager::tellMissingProgram(const QString& mac)
{
    if (m_toldMissing || !QStandardPaths::findExecutable(m_programs.ffmpeg).isEmpty())
        return;
    m_toldMissing = true;
    const QString text = QStringLiteral("The program %1 was not found. Cameras are not recorded until FFmpeg "
                                        "is installed on this computer.")
                             .arg(m_programs.ffmpeg);
    qCritical().noquote() << "AxisRecordingManager:" << text;
    emit recordingError(mac, text);
}

/// When it cannot be made now, the next attempt makes it.
bool AxisRecordingManager::makeDirectory(const EntryPtr& entry)
{
    if (QDir().mkpath(entry->directory))
        return true;
    qCritical().noquote() << "AxisRecordingManager: Could not create output directory" << entry->directory;
    fail(entry, QStringLiteral("Could not create output directory"));
    attemptFailed(entry);
    return false;
}

/// A camera whose address another one has taken is waited for like one that does not answer.
bool AxisRecordingManager::hasAddress(const EntryPtr& entry)
{
    if (!entry->stream.address.isNull())
        return true;
    fail(entry, QStringLiteral("Another camera has its address, and it was not found at a new one"));
    attemptFailed(entry);
    return false;
}

void AxisRecordingManager::restart(const EntryPtr& entry)
{
    if (!entry->shouldBeRecording || entry->process)
        return;
    const QString mac = entry->stream.mac;
    const char* mode = entry->retryCount <= ffmpeg::FastRetries ? "fast" : "persistent";
    qInfo().noquote() << "AxisRecordingManager: Attempting" << mode << "restart for" << mac;
    qInfo().noquote() << "AxisRecordingManager: Restarting recording for" << mac;
    if (!makeDirectory(entry) || !hasAddress(entry))
        return;
    qInfo().noquote() << "AxisRecordingManager: Restart FFmpeg command:"
                      << ffmpeg::masked(entry->arguments.join(u' '), entry->stream.password);
    if (launch(entry)) {
        qInfo().noquote() << "AxisRecordingManager: Successfully restarted recording for" << mac;
        return;
    }
    qCritical().noquote() << "AxisRecordingManager: Failed to restart FFmpeg for" << mac;
    qCritical().noquote() << "AxisRecordingManager: Failed to restart recording for" << mac;
    fail(entry, QStringLiteral("Failed to restart FFmpeg"));
    attemptFailed(entry);
}

void AxisRecordingManager::attemptFailed(const EntryPtr& entry)
{
    if (!isCurrent(entry) || !entry->shouldBeRecording)
        return;
    const int count = ++entry->retryCount;
    const QString mac = entry->stream.mac;
    const ffmpeg::RestartPlan plan = ffmpeg::restartPlan(count, mac);
    for (const QString& line : plan.logLines)
        qWarning().noquote() << line;
    // Before the signal: its receiver may know a better address, which is tried at once.
    entry->retryTimer->start(plan.delayMs, TimerMode::SingleShot);
    if (plan.mode == ffmpeg::RetryMode::Persistent)
        emit persistentRetryAttempt(mac, count);
}

void AxisRecordingManager::askToEnd(const EntryPtr& entry)
{
    if (entry->ending != Entry::Ending::No)
        return;
    entry->ending = Entry::Ending::Asked;
    // Now, not when the event loop comes round: the next one is asked right after.
    QProcess* process = entry->process.get();
    process->write("q\n");
    (void)process->waitForBytesWritten(1000);
    if (entry->process.get() != process)
        return; // it has ended at this very moment, and may have been replaced
    process->closeWriteChannel();
    entry->endTimer->start(EndPatienceMs, TimerMode::SingleShot);
}

void AxisRecordingManager::endPatienceOver(const EntryPtr& entry)
{
    if (!entry->process)
        return;
    if (entry->ending == Entry::Ending::Asked) {
        qWarning("AxisRecordingManager: FFmpeg did not stop gracefully, killing");
        entry->ending = Entry::Ending::Killed;
        entry->endTimer->start(KillPatienceMs, TimerMode::SingleShot);
        entry->process->kill();
        if (entry->recording)
            emit filmCutOff(entry->stream.mac);
        return;
    }
    qCritical().noquote() << "AxisRecordingManager: FFmpeg for" << entry->stream.mac
                          << "does not end, even though it was killed";
    discardProcess(entry);
    if (entry->shouldBeRecording) {
        noteEnd(entry);
        attemptFailed(entry);
    } else {
        entry->recording = false;
        remove(entry);
    }
}

/// Forgets a process that cannot be waited for; its object stays until it has ended.
void AxisRecordingManager::discardProcess(const EntryPtr& entry)
{
    entry->process->disconnect(this);
    entry->endTimer->stop();
    entry->ending = Entry::Ending::No;
    if (entry->process->state() == QProcess::NotRunning) {
        entry->process.reset();
        return;
    }
    QProcess* process = entry->process.release();
    connect(process, &QProcess::finished, process, &QObject::deleteLater);
    process->kill();
}

void AxisRecordingManager::remove(const EntryPtr& entry)
{
    if (!isCurrent(entry))
        return;
    m_entries.erase(entry->stream.mac);
    if (m_entries.empty())
        m_check->stop();
    // One of its timers may be what has led here: it goes when that has returned.
    QMetaObject::invokeMethod(
        this, [entry] {}, Qt::QueuedConnection);
    m_files->end(entry->directory, [this] { callWhenStopped(); });
    emit recordingStatusChanged(entry->stream.mac, false);
    if (entry->next && !find(entry->stream.mac))
        startCamera(*entry->next);
    callWhenStopped();
}

void AxisRecordingManager::handleOutput(const EntryPtr& entry, const FfmpegOutput::News& news)
{
    if (news.frame > entry->newestFrame) {
        entry->newestFrame = news.frame;
        entry->newestFrameMs = m_time.monotonicMs();
    }
    entry->log.logErrors(news, m_time.monotonicMs());
    // A process that ends without a picture says "frame=    0".
    if (news.progress && news.frame != 0 && !entry->recording) {
        entry->recording = true;
        entry->firstFrameMs = m_time.monotonicMs();
        emit recordingStatusChanged(entry->stream.mac, true);
    }
}

void AxisRecordingManager::fail(const EntryPtr& entry, const QString& error)
{
    emit recordingError(entry->stream.mac, error);
}

void AxisRecordingManager::callWhenStopped()
{
    if (!m_entries.empty() || !m_files->isIdle())
        return;
    m_stopAllLimit->stop();
    for (const auto& done : std::exchange(m_whenStopped, {}))
        done();
}

/// For the destructor: waits for the processes, all at once, on the system's own clock.
void AxisRecordingManager::endAllNow()
{
    const QDeadlineTimer patience(EndPatienceMs);
    const std::map<QString, EntryPtr> entries = m_entries;
    for (const auto& [mac, entry] : entries)
        if (entry->process)
            (void)entry->process->waitForFinished(static_cast<int>(patience.remainingTime()));
    for (const auto& [mac, entry] : entries)
        if (entry->process && entry->ending != Entry::Ending::Killed)
            endPatienceOver(entry);
    const QDeadlineTimer killPatience(KillPatienceMs);
    for (const auto& [mac, entry] : entries)
        if (entry->process &&
            !entry->process->waitForFinished(static_cast<int>(killPatience.remainingTime())) &&
            entry->process)
            endPatienceOver(entry);
}

} // namespace vt
