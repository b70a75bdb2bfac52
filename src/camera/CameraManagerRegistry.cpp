// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/CameraManagerRegistry.h"

#include "platform/CrashHandler.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <utility>

namespace vt {

/// The cameras' thread and what lives there.
struct CameraManagerRegistry::Worker
{
    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker() { (void)wait(QDeadlineTimer::Forever); }

    QThread thread;
    Inbox inbox;
    std::unique_ptr<CameraManager> manager; ///< built, used and destroyed on the thread
    std::atomic<bool> hasEnded = false;     ///< the manager is gone

    /// True when the thread has ended in time; what it did comes before what follows.
    [[nodiscard]] bool wait(QDeadlineTimer until)
    {
        return thread.wait(until) && hasEnded.load(std::memory_order_acquire);
    }

    /// Once; ends the thread when what is recorded has ended.
    void end()
    {
        inbox.post([this] { manager->stopAll([this] { inbox.post([this] { endNow(); }); }); });
    }
    void endNow()
    {
        manager.reset();
        hasEnded.store(true, std::memory_order_release);
        thread.quit();
    }
};

CameraManagerRegistry::CameraManagerRegistry(TimeSource& time, ManagerFactory factory, Keep keep,
                                             int endLimitMs)
    : m_time(time),
      m_scanTimer(time.createTimer(&m_inbox,
                                   [this] {
                                       qDebug() << "Discovery timer timeout - triggering rescan";
                                       rescan();
                                   })),
      m_stopLimit(time.createTimer(&m_inbox, [this] { handleStopped(m_stopNumber, false); })),
      m_keep(std::move(keep)), m_endLimitMs(endLimitMs), m_worker(std::make_shared<Worker>())
{
    startWorker(std::move(factory));
}

void CameraManagerRegistry::startWorker(ManagerFactory factory)
{
    m_worker->thread.setObjectName(QStringLiteral("cameras"));
    m_worker->inbox.moveToThread(&m_worker->thread);
    m_worker->inbox.post(&CrashHandler::prepareThread);
    m_worker->inbox.post([registry = this, worker = m_worker.get(), factory = std::move(factory),
                          answers = m_inbox.address()] {
        worker->manager = factory();
        listen(registry, *worker->manager, answers);
    });
    m_worker->thread.start();
}

CameraManagerRegistry::~CameraManagerRegistry()
{
    const auto hasEnded = [this] { return m_worker->wait(QDeadlineTimer(m_endLimitMs)); };
    m_worker->end();
    if (hasEnded())
        return;
    qCritical() << "CameraManagerRegistry: The cameras did not stop in time";
    m_worker->inbox.post([worker = m_worker.get()] { worker->endNow(); });
    if (hasEnded())
        return;
    qCritical() << "CameraManagerRegistry: The cameras' thread does not end; it is left behind";
    m_keep(m_worker);
}

void CameraManagerRegistry::listen(CameraManagerRegistry* registry, CameraManager& manager,
                                   const std::shared_ptr<Inbox::Address>& answers)
{
    // On the cameras' thread, which may outlive the registry: nothing here looks into it. Each piece of news
    // is handed over to its thread, by an address that knows whether the registry is still there.
    using Registry = CameraManagerRegistry;
    const auto bring = [registry, answers](std::function<void(Registry&)> step) {
        answers->post([registry, step = std::move(step)] { step(*registry); });
    };
    connect(&manager, &CameraManager::cameraFound, &manager,
            [bring](const QString& mac, const QHostAddress& address) {
                bring([mac, address](Registry& ours) { ours.handleFound(mac, address); });
            });
    connect(&manager, &CameraManager::scanFinished, &manager, [bring](int found, const QString& error) {
        bring([found, error](Registry& ours) { ours.handleScanFinished(found, error); });
    });
    connect(&manager, &CameraManager::resolutionsKnown, &manager,
            [bring](const QString& mac, const QStringList& resolutions) {
                bring([mac, resolutions](Registry& ours) {
                    ours.m_news[mac].resolutions = resolutions;
                    emit ours.camerasChanged();
                });
            });
    connect(&manager, &CameraManager::setupProblem, &manager,
            [bring](const QString& mac, const QString& text) {
                bring([mac, text](Registry& ours) {
                    ours.m_news[mac].setupProblem = text;
                    emit ours.camerasChanged();
                });
            });
    connect(&manager, &CameraManager::recordingError, &manager,
            [bring](const QString& mac, const QString& text) {
                bring([mac, text](Registry& ours) { ours.handleRecordingError(mac, text); });
            });
    connect(&manager, &CameraManager::recordingStatusChanged, &manager,
            [bring](const QString& mac, bool isRecording) {
                bring([mac, isRecording](Registry& ours) { ours.handleRecordingStatus(mac, isRecording); });
            });
    connect(&manager, &CameraManager::persistentRetryAttempt, &manager,
            [bring](const QString& mac, int attempt) {
                bring([mac, attempt](Registry& ours) { ours.handlePersistentRetry(mac, attempt); });
            });
    connect(&manager, &CameraManager::filmCutOff, &manager,
            [bring](const QString& mac) { bring([mac](Registry& ours) { ours.handleFilmCutOff(mac); }); });
    connect(&manager, &CameraManager::searchWanted, &manager,
            [bring](const QString& mac) { bring([mac](Registry& ours) { ours.handleSearchWanted(mac); }); });
    connect(&manager, &CameraManager::filmDoubtful, &manager,
            [bring](const QString& mac, const QDateTime& since) {
                bring([mac, since](Registry& ours) { emit ours.filmDoubtful(mac, since); });
            });
}

void CameraManagerRegistry::run(std::function<void(CameraManager&)> step)
{
    m_worker->inbox.post([worker = m_worker.get(), step = std::move(step)] {
        if (worker->manager)
            step(*worker->manager);
    });
}

QString CameraManagerRegistry::setSettings(const VideoSettings& settings)
{
    if (m_plan)
        return QStringLiteral(
            "Cameras are being recorded. They can be set up anew when the recording has ended.");
    const VideoSettings before = m_table.settings();
    QString problem = m_table.setSettings(settings);
    if (!problem.isEmpty())
        qWarning().noquote() << "CameraManagerRegistry:" << problem;
    if (m_table.settings() == before)
        return problem;
    tellChange();
    return problem;
}

void CameraManagerRegistry::setCredentials(const CameraCredentials& credentials)
{
    run([credentials](CameraManager& manager) { manager.setCredentials(credentials); });
}

QString CameraManagerRegistry::setChannel(const QString& mac, int channel)
{
    const CameraEntry* before = m_table.find(mac);
    if (m_plan && before && before->enabled && before->channel != channel && channel > 0)
        return QStringLiteral(
                   "Camera %1 is being recorded. Its channel can be changed when the recording has "
                   "ended.")
            .arg(mac);
    QString refusal = m_table.setChannel(mac, channel);
    if (refusal.isEmpty()) {
        follow(mac);
        tellChange();
    }
    return refusal;
}

QString CameraManagerRegistry::setEnabled(const QString& mac, bool isEnabled)
{
    QString refusal = m_table.setEnabled(mac, isEnabled);
    if (refusal.isEmpty()) {
        follow(mac);
        tellChange();
    }
    return refusal;
}

QString CameraManagerRegistry::setResolution(const QString& mac, int width, int height)
{
    QString refusal = m_table.setResolution(mac, width, height);
    if (refusal.isEmpty())
        tellChange();
    return refusal;
}

QString CameraManagerRegistry::setRotation(const QString& mac, int degrees)
{
    QString refusal = m_table.setRotation(mac, degrees);
    if (refusal.isEmpty())
        tellChange();
    return refusal;
}

void CameraManagerRegistry::tellChange()
{
    emit settingsChanged(m_table.settings());
    emit camerasChanged();
}

std::vector<CameraStatus> CameraManagerRegistry::cameras() const
{
    std::map<QString, CameraStatus> all;
    for (const CameraEntry& entry : m_table.settings().cameras)
        all[entry.mac].settings = entry;
    for (const auto& [mac, seen] : m_presence.known()) {
        CameraStatus& status = all[mac];
        status.settings.mac = mac;
        status.address = seen.address;
        status.isOnline = seen.isOnline;
        status.lastSeen = seen.lastSeen;
    }
    std::vector<CameraStatus> result;
    for (auto& [mac, status] : all) {
        const auto news = m_news.find(mac);
        if (news != m_news.end()) {
            status.supportedResolutions = news->second.resolutions;
            status.isRecording = news->second.isRecording;
            const bool isRecordingTrouble = !news->second.recordingProblem.isEmpty();
            // A wrong password explains why no video comes, and not the other way round.
            status.lastError = isRecordingTrouble && news->second.setupProblem.isEmpty()
                                   ? news->second.recordingProblem
                                   : news->second.setupProblem;
        }
        result.push_back(status);
    }
    return result;
}

void CameraManagerRegistry::rescan()
{
    m_presence.beginRound(m_isScanning, 0);
    if (m_isScanning)
        return;
    m_isScanning = true;
    run([](CameraManager& manager) { manager.startScan(); });
    emit scanStarted();
}

/// Cameras that have answered the present search do not answer it again.
void CameraManagerRegistry::searchSoon()
{
    m_isSearchWanted = m_isScanning;
    rescan();
}

void CameraManagerRegistry::apply(const std::optional<ScanSchedule::Step>& step)
{
    if (!step)
        return;
    qDebug().noquote() << step->logLine;
    if (step->intervalMs == m_scanIntervalMs)
        return; // starting it again would put the next search off
    m_scanIntervalMs = step->intervalMs;
    if (m_scanIntervalMs)
        m_scanTimer->start(*m_scanIntervalMs, TimerMode::Repeating);
    else
        m_scanTimer->stop();
}

void CameraManagerRegistry::setSettingsWindow(bool isVisible, bool isActive)
{
    apply(m_schedule.setSettingsWindow(isVisible, isActive));
}

void CameraManagerRegistry::setRecordingMode(bool isOn)
{
    apply(m_schedule.setRecordingMode(isOn));
}

void CameraManagerRegistry::handleFound(const QString& mac, const QHostAddress& address)
{
    (void)m_presence.track(mac, address, m_time.now());
    emit camerasChanged();
}

void CameraManagerRegistry::handleScanFinished(int found, const QString& error)
{
    m_isScanning = false;
    (void)m_presence.endRound();
    emit scanFinished(found, error);
    emit camerasChanged();
    if (std::exchange(m_isSearchWanted, false))
        rescan();
}

void CameraManagerRegistry::handleRecordingError(const QString& mac, const QString& text)
{
    m_news[mac].recordingProblem = text;
    emit recordingError(mac, text);
    emit camerasChanged();
}

void CameraManagerRegistry::handleRecordingStatus(const QString& mac, bool isRecording)
{
    News& news = m_news[mac];
    news.isRecording = isRecording;
    if (isRecording) {
        news.recordingProblem.clear();
        news.isGivenUp = false;
    }
    emit camerasChanged();
}

void CameraManagerRegistry::handleFilmCutOff(const QString& mac)
{
    if (std::exchange(m_news[mac].isGivenUp, false))
        return;
    m_isStopClean = false;
    emit filmCutOff(mac);
}

/// Of a stop that has taken too long. The cameras' thread may say the same of them later.
void CameraManagerRegistry::giveFilmsUp()
{
    for (auto& [mac, news] : m_news) {
        if (!news.isRecording)
            continue;
        news.isRecording = false;
        news.isGivenUp = true;
        emit filmCutOff(mac);
    }
    emit camerasChanged();
}

void CameraManagerRegistry::handlePersistentRetry(const QString& mac, int attempt)
{
    qInfo().noquote() << "CameraManagerRegistry: Camera" << mac << "in persistent retry, attempt" << attempt
                      << "- triggering event-driven discovery scan";
    rescan();
}

void CameraManagerRegistry::handleSearchWanted(const QString& mac)
{
    if (!m_plan)
        return;
    qInfo().noquote() << "CameraManagerRegistry: Another camera may have the address of camera" << mac
                      << "by now - searching";
    searchSoon();
}

CameraOrder CameraManagerRegistry::orderFor(const CameraEntry& camera) const
{
    CameraOrder order;
    order.stream.mac = camera.mac;
    order.stream.baseDirectory = m_plan->baseDirectory;
    order.stream.segmentMinutes = m_plan->segmentMinutes;
    order.stream.channel = camera.channel;
    order.width = camera.width;
    order.height = camera.height;
    order.rotation = camera.rotation;
    order.overlayText = QStringLiteral("Channel %1").arg(camera.channel);
    const auto label = std::find_if(m_plan->labels.begin(), m_plan->labels.end(),
                                    [&](const ChannelLabel& each) { return each.channel == camera.channel; });
    if (label != m_plan->labels.end() && !label->animalId.isEmpty())
        order.overlayText += QStringLiteral(" - ") + label->animalId;
    return order;
}

void CameraManagerRegistry::follow(const QString& mac)
{
    if (!m_plan)
        return;
    const CameraEntry* camera = m_table.find(mac);
    if (!camera || !camera->enabled) {
        run([mac](CameraManager& manager) { manager.stopCamera(mac); });
        return;
    }
    run([order = orderFor(*camera)](CameraManager& manager) { manager.startCamera(order); });
}

void CameraManagerRegistry::startRecording(const CameraRecordingPlan& plan)
{
    if (!m_stopped.empty()) {
        m_nextPlan = plan;
        return;
    }
    m_plan = plan;
    for (auto& [mac, news] : m_news)
        news.recordingProblem.clear();
    setRecordingMode(true);
    for (const CameraEntry& camera : m_table.settings().cameras)
        if (camera.enabled)
            follow(camera.mac);
    searchSoon(); // finds those that are missing, and the present addresses of the others
}

void CameraManagerRegistry::stopRecording(Stopped stopped)
{
    m_stopped.push_back(std::move(stopped));
    m_nextPlan.reset();
    if (m_stopped.size() > 1)
        return;
    m_plan.reset();
    m_isSearchWanted = false;
    m_isStopClean = true;
    setRecordingMode(false);
    m_stopLimit->start(StopLimitMs, TimerMode::SingleShot);
    const auto ended = std::make_shared<std::promise<void>>();
    m_stopEnded = ended->get_future().share();
    run([this, ended, stop = ++m_stopNumber, answers = m_inbox.address()](CameraManager& manager) {
        manager.stopAll([this, ended, stop, answers] {
            ended->set_value();
            answers->post([this, stop] { handleStopped(stop, true); });
        });
    });
}

bool CameraManagerRegistry::waitForStop(int timeoutMs) const
{
    return m_stopped.empty() ||
           m_stopEnded.wait_for(std::chrono::milliseconds(timeoutMs)) == std::future_status::ready;
}

void CameraManagerRegistry::handleStopped(quint64 stop, bool isComplete)
{
    if (stop != m_stopNumber || m_stopped.empty())
        return;
    m_stopLimit->stop();
    if (!isComplete) {
        qCritical() << "CameraManagerRegistry: The cameras' recordings did not stop in time";
        giveFilmsUp();
    }
    const bool isClean = isComplete && m_isStopClean;
    const std::vector<Stopped> waiting = std::exchange(m_stopped, {});
    if (const auto next = std::exchange(m_nextPlan, std::nullopt))
        startRecording(*next);
    for (const Stopped& each : waiting)
        if (each)
            each(isClean);
}

} // namespace vt
