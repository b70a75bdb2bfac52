// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "base/ThreadCall.h"
#include "base/TimeSource.h"
#include "hardware/DAQInfo.h"
#include "processing/DataManager.h"
#include "recording/MarkerLog.h"
#include "session/AwaitedWrite.h"
#include "session/DiskForecast.h"
#include "session/NiRecordingDevice.h"
#include "session/RecordingSegment.h"
#include "session/RecordingSummary.h"
#include "session/SessionController.h"
#include "session/SessionExtensions.h"
#include "session/StepHistory.h"
#include "session/StimulationSession.h"
#include "session/StrivixRecordingDevice.h"
#include "session/UnitHealth.h"

#include <QThread>
#include <atomic>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

class UserInteraction;

/// State and steps of the session controller. Interface thread, but for noteData and readyForMoreData.
///
/// Long steps are handed to the hardware thread (by DAQInfo) or to the session's file thread; each comes
/// back with a callback. A callback of an operation that has been given up meanwhile is recognised by
/// m_operation. File work cannot be given up: m_fileWork says that some is under way, and a stop that arrives
/// then is carried out when it comes back (m_pendingStop).
struct SessionPrivate
{
    SessionPrivate(SessionController* controller, DaqmxApi& driverApi, TimeSource& timeSource,
                   UserInteraction& interaction, SessionController::Options sessionOptions);
    ~SessionPrivate();

    // Preparing (SessionPrepare.cpp)
    void lidAnswered(const PowerSchemeQuery::Result& scheme, const RecordingSetup& wanted);
    void record(const RecordingSetup& wanted);
    void selectDevice(const QString& name);
    /// Why the device cannot be claimed for this instance, or empty.
    [[nodiscard]] QString claimDevice(const QString& serial, const QString& name);
    [[nodiscard]] RecordingDevice::Reserve reserve();
    void deviceRead(const RecordingDevice::Reading& reading);
    void prepareRead(const RecordingDevice::Reading& reading);
    void prepare(const RecordingSetup& wanted);
    void createFiles();
    struct PreparedFiles
    {
        QString problem; ///< for the user; empty when all is well
        bool markersFailed = false;
        QString stimulationLogProblem = {}; ///< why it cannot be written, for the user
    };
    void filesCreated(const PreparedFiles& result);
    void prepareFailed(const QString& problem);

    // Starting, watching, pausing, resuming (SessionRun.cpp)
    void start();
    void startRecovered(bool ok);
    void writeHeaders(std::function<void(bool)> done);
    void launchSegment();
    void acquisitionFailed(const QString& text, quint64 launch);
    void makeManager();
    void handleNewSleepDecision(const SleepDecisionNews& news);
    void headersWritten(bool ok);
    void armWatchdog();
    void watchdogFired();
    void watchdogTimeout();
    /// lastData: when the last data came, monotonic.
    void pause(qint64 lastData);
    /// Adds the time without data to the result; how long it was, 0 outside a pause.
    qint64 endPause();
    void pollReconnect();
    void deviceIsBack();
    void attemptResume();
    void resumeRecovered(bool ok);
    /// In the first free slot behind this one.
    void openNextSegment(int slot);
    void resumeFilesCreated(const RecordingSegment::CreateFailure& failure);
    void resumeFinished();
    void tellResumeProblem(const QString& path);
    void resumeFailed();
    void noteData();

    // Stopping (SessionStop.cpp)
    void stop(EndReason reason);
    void tearDown(TeardownKind kind);
    void teardownDone();
    bool stopAndWait(EndReason reason, int timeoutMs);
    /// What companions and the markers have to do before the recording ends, for the file thread.
    [[nodiscard]] std::function<bool()> lastWork();
    /// What became of the marker file, for the summary.
    void retireMarkers();
    void finishPaused();
    void finish();
    void summarise();
    void whenClosed(QObject* receiver, const std::function<void()>& done);
    [[nodiscard]] bool waitUntilClosed(int timeoutMs) const;
    /// The last line of a forced stop.
    void readyForSystem();
    void forcedStop(int waitMs);
    void absorb(const TeardownReport& report);
    void retireSegment();
    /// True when a stop arrived during the file work that has just come back; it is carried out.
    [[nodiscard]] bool stopPending();

    // Small shared pieces (SessionController.cpp)
    void setState(SessionState next);
    [[nodiscard]] QString basePath() const;
    [[nodiscard]] RecordingContext context() const;
    [[nodiscard]] std::vector<ChannelSummary> channelSummaries() const;
    void makeSegment(const QString& base, int number);
    void connectWriter();
    void sampleDisk();
    void markersUnwritten(int count);
    void devicesRefreshed();
    void connectUnitEvents();
    void watchHealth();
    template <typename Work, typename Done>
    void onFileThread(Work work, Done done);

    SessionController* const q;
    DaqmxApi& driver;
    TimeSource& time;
    UserInteraction& user;
    const SessionController::Options options;
    DAQInfo daqInfo;
    NiRecordingDevice niUnit;
    StrivixRecordingDevice amplifier;
    RecordingDevice* unit; ///< of the kind that was selected last

    std::unique_ptr<QThread> fileThread;
    std::unique_ptr<Inbox> fileWorker;   ///< lives on fileThread
    std::unique_ptr<QThread> textThread; ///< time stamps, markers, configuration summary, free disk space
    std::shared_ptr<Inbox> textWorker;   ///< lives on textThread
    Inbox answers;                       ///< lives on the interface thread

    SessionState state = SessionState::Idle;
    EndReason endReason = EndReason::None;
    RecordingReport lastReport;

    DeviceDetails device;
    MCUHeader mcu;
    RecordingSetup setup;
    bool startAfterPrepare = false;
    quint64 operation = 0;
    quint64 selection = 0; ///< counts selections; answers to older ones are void
    bool selecting = false;
    bool isRefreshAsked = false; ///< by refreshDevices, not only for a selection
    quint64 lidQuestion = 0;     ///< counts questions to the system; answers to older ones are void
    quint64 lidWarning = 0;      ///< likewise, to the user
    bool fileWork = false;
    quint64 fileGeneration = 0; ///< callbacks of older file work are void
    std::optional<EndReason> pendingStop;
    bool tearingDown = false;
    bool teardownQueued = false; ///< its work is on the file thread, after the companions' last words
    int flushTimeoutMs = FlushTimeoutMs;
    bool forced = false;    ///< the system wants the recording closed, whatever ends it
    bool finishing = false; ///< in finish(); what it tells others may come back here

    QString firstBase;
    QStringList segmentBases;
    int segmentNumber = 0;
    QDateTime recordingStart;
    qint64 recordingStartMs = 0;
    QDateTime pausedAt;
    qint64 pauseLastDataMs = -1; ///< when the last data before the pause came; -1: no pause
    qint64 gapStartMs = 0;       ///< monotonic, of the last data before the pause that is told
    bool isResumeProblemTold = false;
    bool recordingRan = false; ///< Recording was reached

    std::shared_ptr<DataManager> manager;
    Mutex segmentMutex; ///< guards the pointer for readyForMoreData
    std::shared_ptr<RecordingSegment> segment;
    std::vector<std::shared_ptr<RecordingSegment>> stuckSegments; ///< a hanging driver still holds them
    std::shared_ptr<TeardownReport> teardownReport;
    std::unique_ptr<MarkerLog> markers;
    std::vector<MarkerFile::Marker> shownMarkers; ///< as in markers; stay when the file is closed
    /// Marker file that this recording brought into being; written on the file thread.
    std::shared_ptr<QString> newMarkerPath = std::make_shared<QString>();

    std::unique_ptr<Timer> watchdog;
    std::unique_ptr<Timer> reconnectPoll;
    std::unique_ptr<Timer> diskTimer;
    std::atomic<qint64> lastDataMs{-1};
    qint64 watchdogStartedMs = 0;
    quint64 launches = 0; ///< counts segments that were launched; messages of older devices are void

    RecordingResult result;
    AwaitedWrite configurationFile; ///< of the recording that runs
    StepHistory history;
    std::vector<bool> sleeping;
    std::vector<QDateTime> sleepBeginTime;
    std::vector<double> decisionStats;
    qint64 freeDiskBytes = -1;
    DiskForecast diskForecast; ///< of the recording that runs, or of the last one
    bool diskSamplePending = false;
    std::vector<std::unique_ptr<RecordingCompanion>> companions; ///< the first is stimulation
    StimulationSession* stimulation = nullptr;                   ///< in companions
    UnitHealth* health = nullptr;                                ///< likewise
};

template <typename Work, typename Done>
void SessionPrivate::onFileThread(Work work, Done done)
{
    fileWork = true;
    callAsync(*fileWorker, answers, std::move(work),
              [this, mine = fileGeneration, done = std::move(done)](auto value) mutable {
                  if (mine != fileGeneration)
                      return;
                  fileWork = false;
                  done(std::move(value));
              });
}

} // namespace vt
