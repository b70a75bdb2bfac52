// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "camera/CameraManager.h"
#include "camera/CameraPresence.h"
#include "camera/CameraSettings.h"
#include "camera/CameraTable.h"
#include "camera/ScanSchedule.h"

#include <QDateTime>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

/// A camera as it is shown to the user.
struct CameraStatus
{
    CameraEntry settings; ///< mac, channel, enabled, resolution, rotation
    QHostAddress address; ///< null: not found since the program started
    bool isOnline = false;
    QDateTime lastSeen;
    QStringList supportedResolutions; ///< "1920x1080", ...; empty: not known
    bool isRecording = false;         ///< video flows into its file
    QString lastError;                ///< in words for the user; empty: none
};

/// A cage as it is named in the picture.
struct ChannelLabel
{
    int channel = 0; ///< 1-based
    QString animalId;
};

/// What a recording of the cameras needs to know.
struct CameraRecordingPlan
{
    QString baseDirectory;
    int segmentMinutes = 60;
    std::vector<ChannelLabel> labels;
};

/// The cameras, for the rest of the program: which there are, which cage each films, when they are searched,
/// and their recording. Lives on the interface thread and never waits there, but for the end of what is
/// recorded when it is destroyed. What takes time runs on a thread of its own, which lives as long as the
/// registry: child processes end with the thread that started them.
///
/// A thread that does not end in time (a disk or a network that does not answer) is handed to keep with all
/// that is its own, and is not waited for any more.
class CameraManagerRegistry : public QObject
{
    Q_OBJECT

public:
    static constexpr int StopLimitMs = 15000;
    /// Builds the manager; called on the cameras' thread.
    using ManagerFactory = std::function<std::unique_ptr<CameraManager>()>;
    /// isComplete: every file was closed in good order in time.
    using Stopped = std::function<void(bool isComplete)>;
    /// Keeps what it is given for as long as the thread in it may run: for the rest of the process.
    using Keep = std::function<void(std::shared_ptr<void>)>;

    /// time, and what factory uses, outlive the object, and what keep was given. endLimitMs: how long the end
    /// of the object waits for the films, and then for the thread.
    CameraManagerRegistry(TimeSource& time, ManagerFactory factory, Keep keep, int endLimitMs = StopLimitMs);
    ~CameraManagerRegistry() override;

    /// Takes what was stored, or comes from a setup file. Returns what of it contradicts itself and was left
    /// out, or that nothing can be taken during a recording, in words for the user; empty: all was taken.
    QString setSettings(const VideoSettings& settings);
    [[nodiscard]] const VideoSettings& settings() const { return m_table.settings(); }
    /// In effect at once, but for a film that flows.
    void setCredentials(const CameraCredentials& credentials);

    /// Changes by the user. Return why they are refused, empty when they are made. Resolution and rotation
    /// reach the camera with the next recording; the others at once.
    [[nodiscard]] QString setChannel(const QString& mac, int channel);
    [[nodiscard]] QString setEnabled(const QString& mac, bool isEnabled);
    [[nodiscard]] QString setResolution(const QString& mac, int width, int height);
    [[nodiscard]] QString setRotation(const QString& mac, int degrees);

    /// All cameras that are set up or were found, by MAC address.
    [[nodiscard]] std::vector<CameraStatus> cameras() const;
    [[nodiscard]] bool isScanning() const { return m_isScanning; }

    /// Searches now; does nothing while a search runs.
    void rescan();
    void setSettingsWindow(bool isVisible, bool isActive);
    /// Only paces the search; startRecording() and stopRecording() set it themselves.
    void setRecordingMode(bool isOn);

    /// Sets up and records every enabled camera: those that are not found yet as soon as they are.
    void startRecording(const CameraRecordingPlan& plan);
    /// stopped is called once, within StopLimitMs, later than this returns; not after the registry's end.
    void stopRecording(Stopped stopped);
    /// Blocks until the stop that is under way has ended, up to timeoutMs; true when none is. Its callbacks
    /// come later all the same. For systems that go on when a handler returns.
    [[nodiscard]] bool waitForStop(int timeoutMs) const;
    /// From startRecording() to stopRecording().
    [[nodiscard]] bool isRecordingSession() const { return m_plan.has_value() || m_nextPlan.has_value(); }

signals:
    /// Something changed that is to be kept.
    void settingsChanged(const vt::VideoSettings& settings);
    /// cameras() tells something new.
    void camerasChanged();
    void scanStarted();
    /// error: why nothing could be searched; empty after an ordinary scan.
    void scanFinished(int found, const QString& error);
    void recordingError(const QString& macAddress, const QString& error);
    /// The camera's film was not closed by ffmpeg itself: the last file of it may be unreadable. Comes before
    /// the answer to a stop.
    void filmCutOff(const QString& macAddress);
    /// See CameraManager.
    void filmDoubtful(const QString& macAddress, const QDateTime& since);

private:
    struct Worker;
    struct News
    {
        QStringList resolutions;
        bool isRecording = false;
        bool isGivenUp = false; ///< its film was told as cut off; the cameras' thread may still say so
        QString setupProblem;
        QString recordingProblem;
    };

    void startWorker(ManagerFactory factory);
    static void listen(CameraManagerRegistry* registry, CameraManager& manager,
                       const std::shared_ptr<Inbox::Address>& answers);
    void run(std::function<void(CameraManager&)> step);
    void apply(const std::optional<ScanSchedule::Step>& step);
    void handleFound(const QString& mac, const QHostAddress& address);
    void handleScanFinished(int found, const QString& error);
    void handleRecordingError(const QString& mac, const QString& text);
    void handleRecordingStatus(const QString& mac, bool isRecording);
    void handlePersistentRetry(const QString& mac, int attempt);
    void handleFilmCutOff(const QString& mac);
    void handleSearchWanted(const QString& mac);
    void giveFilmsUp();
    void searchSoon();
    void tellChange();
    /// Makes what is recorded agree with the table.
    void follow(const QString& mac);
    [[nodiscard]] CameraOrder orderFor(const CameraEntry& camera) const;
    void handleStopped(quint64 stop, bool isComplete);

    TimeSource& m_time;
    Inbox m_inbox; ///< news of the cameras' thread; context of the timers
    CameraTable m_table;
    CameraPresence m_presence;
    ScanSchedule m_schedule;
    std::optional<int> m_scanIntervalMs; ///< of the running timer
    std::map<QString, News> m_news;
    bool m_isScanning = false;
    bool m_isSearchWanted = false; ///< after the one that runs, whose question has been answered
    std::optional<CameraRecordingPlan> m_plan;
    std::optional<CameraRecordingPlan> m_nextPlan; ///< asked for while a stop was under way
    std::vector<Stopped> m_stopped;                ///< wait for the stop that is under way
    quint64 m_stopNumber = 0;
    bool m_isStopClean = true;            ///< no film was cut off by the stop that is under way
    std::shared_future<void> m_stopEnded; ///< of the stop that is under way, on the cameras' thread
    std::unique_ptr<Timer> m_scanTimer;
    std::unique_ptr<Timer> m_stopLimit;
    const Keep m_keep;
    const int m_endLimitMs;
    std::shared_ptr<Worker> m_worker;
};

} // namespace vt
