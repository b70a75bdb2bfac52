// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/AxisCameraManager.h"

#include <QDebug>
#include <QTimeZone>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int Unauthorized = 401;

QString zoneName()
{
    const QByteArray zone = QTimeZone::systemTimeZoneId();
    return QTimeZone::isTimeZoneIdAvailable(zone) ? QString::fromLatin1(zone) : u"UTC"_s;
}

} // namespace

AxisCameraManager::AxisCameraManager(TimeSource& time, std::unique_ptr<CameraRecorder> recorder,
                                     ScanSurroundings surroundings, quint16 httpPort)
    : m_time(time), m_httpPort(httpPort), m_recorder(std::move(recorder)),
      m_discovery(time, std::move(surroundings)), m_api(time)
{
    connect(&m_discovery, &AxisDiscovery::cameraFound, this, &AxisCameraManager::handleFound);
    connect(&m_discovery, &AxisDiscovery::discoveryFinished, this, &AxisCameraManager::handleScanFinished);
    connect(m_recorder.get(), &CameraRecorder::recordingError, this, &CameraManager::recordingError);
    connect(m_recorder.get(), &CameraRecorder::recordingStatusChanged, this,
            &AxisCameraManager::handleRecordingStatus);
    connect(m_recorder.get(), &CameraRecorder::persistentRetryAttempt, this,
            &AxisCameraManager::handlePersistentRetry);
    connect(m_recorder.get(), &CameraRecorder::filmCutOff, this, &CameraManager::filmCutOff);
}

AxisCameraManager::~AxisCameraManager()
{
    m_discovery.disconnect(this);
    m_recorder->disconnect(this);
}

void AxisCameraManager::setCredentials(const CameraCredentials& credentials)
{
    m_credentials = credentials;
    m_recorder->setCredentials(credentials.user, credentials.password);
    for (auto& [mac, camera] : m_cameras) {
        camera.isLoggedIn = false;
        camera.isRefused = false;
        if (camera.address.isNull() || camera.isWaiting())
            continue;
        if (camera.order && !camera.isSetUp)
            addSetup(mac);
        else
            addCheck(mac);
    }
}

void AxisCameraManager::startScan()
{
    m_discovery.startDiscovery();
}

AxisCameraManager::Camera& AxisCameraManager::cameraFor(const QString& mac)
{
    return m_cameras[mac];
}

VapixCamera AxisCameraManager::target(const Camera& camera) const
{
    return {camera.address, m_credentials.user, m_credentials.password, m_httpPort};
}

void AxisCameraManager::handleFound(const QString& mac, const QHostAddress& address)
{
    takeFromOthers(mac, address);
    Camera& camera = cameraFor(mac);
    const bool hasMoved = camera.address != address && (!camera.address.isNull() || camera.isStarted);
    camera.address = address;
    camera.foundMs = m_time.monotonicMs();
    camera.isConfirmed = true;
    emit cameraFound(mac, address);
    if (hasMoved)
        handleMove(mac, camera);
    else if (camera.isFilming)
        camera.doubt.reset(); // before, the system's table of neighbours may have been out of date
    const bool isBusy = !camera.steps.isIdle() && !hasMoved; // what is under way asks the former address
    if (isBusy || camera.isRefused)
        return;
    if (camera.order && !camera.isSetUp)
        addSetup(mac);
    else if (!camera.isLoggedIn)
        addCheck(mac);
}

void AxisCameraManager::handleMove(const QString& mac, Camera& camera)
{
    camera.isLoggedIn = false;
    camera.isRefused = false; // another address is most often another network, or a camera that was reset
    camera.isSetUp = false;   // what was told to the former address, another camera may have been told
    if (!camera.isStarted)
        return;
    qInfo().noquote() << "AxisCameraManager: Camera" << mac << "is recorded from its new address"
                      << camera.address.toString();
    endDoubt(mac, camera);
    m_recorder->changeAddress(mac, camera.address);
}

/// Two cameras never have one address: whoever answered there before is elsewhere.
void AxisCameraManager::takeFromOthers(const QString& mac, const QHostAddress& address)
{
    for (auto& [other, camera] : m_cameras) {
        if (other == mac || camera.address != address)
            continue;
        qWarning().noquote() << "AxisCameraManager: The address" << address.toString() << "of camera" << other
                             << "belongs to camera" << mac << "now";
        camera.address.clear();
        camera.foundMs.reset();
        camera.isConfirmed = false;
        camera.isLoggedIn = false;
        camera.isRefused = false;
        camera.isSetUp = false;
        camera.hasOverlay = false; // whose text it is by now nobody knows
        camera.steps.clear();
        stopLimits(camera);
        if (!camera.isStarted)
            continue;
        endDoubt(other, camera);
        m_recorder->changeAddress(other, {});
    }
}

/// The camera is not where its stream came from.
void AxisCameraManager::endDoubt(const QString& mac, Camera& camera)
{
    const std::optional<Doubt> doubt = std::exchange(camera.doubt, std::nullopt);
    if (doubt && doubt->hasFilm)
        emit filmDoubtful(mac, doubt->since);
}

void AxisCameraManager::handleScanFinished(int found, const QString& error)
{
    emit scanFinished(found, error);
    for (auto& [mac, camera] : m_cameras) {
        if (!error.isEmpty()) {
            if (camera.isWaiting())
                addSetup(mac);
            continue;
        }
        const bool isFound = std::any_of(m_discovery.found().begin(), m_discovery.found().end(),
                                         [&mac = mac](const auto& each) { return each.mac == mac; });
        if (!isFound)
            camera.isRefused = false; // it may be being reset
        if (camera.doubt && camera.isFilming)
            askForSearch(mac, *camera.doubt);
    }
}

void AxisCameraManager::handleRecordingStatus(const QString& mac, bool isRecording)
{
    emit recordingStatusChanged(mac, isRecording);
    Camera& camera = cameraFor(mac);
    const bool wasFilming = std::exchange(camera.isFilming, isRecording);
    if (!camera.isStarted)
        return;
    if (!isRecording && !camera.doubt)
        camera.doubt = Doubt{m_time.now()};
    if (!camera.doubt || wasFilming == isRecording)
        return;
    camera.doubt->hasFilm = camera.doubt->hasFilm || isRecording;
    askForSearch(mac, *camera.doubt);
}

void AxisCameraManager::askForSearch(const QString& mac, Doubt& doubt)
{
    if (doubt.searches >= MostSearches)
        return;
    ++doubt.searches;
    emit searchWanted(mac);
}

void AxisCameraManager::handlePersistentRetry(const QString& mac, int attempt)
{
    // The next search shows whether it lets us in still: its password may have been changed.
    cameraFor(mac).isLoggedIn = false;
    emit persistentRetryAttempt(mac, attempt);
}

void AxisCameraManager::addLogIn(const QString& mac)
{
    cameraFor(mac).steps.add([this, mac](const StepQueue::Next& next) { logIn(mac, true, next); });
}

/// Outside of a set-up; one follows when the camera turns out to need it.
void AxisCameraManager::addCheck(const QString& mac)
{
    addLogIn(mac);
    cameraFor(mac).steps.add([this, mac](const StepQueue::Next& next) {
        next(true);
        if (cameraFor(mac).order && !cameraFor(mac).isSetUp)
            addSetup(mac);
    });
}

void AxisCameraManager::logIn(const QString& mac, bool mayInitialise, const StepQueue::Next& next)
{
    m_api.getSupportedResolutions(target(cameraFor(mac)), [this, mac, mayInitialise,
                                                           next](const VapixResult& result) {
        Camera& camera = cameraFor(mac);
        camera.isLoggedIn = result.isOk;
        camera.isRefused = result.httpStatus == Unauthorized && !mayInitialise;
        if (result.isOk) {
            emit resolutionsKnown(mac, result.values);
            emit setupProblem(mac, {});
            next(true);
        } else if (result.httpStatus == Unauthorized && mayInitialise) {
            // In its factory state a camera takes a password from anyone, and nothing else from anyone.
            m_api.initializePassword(target(camera), [this, mac, next](const VapixResult& initialised) {
                if (initialised.isOk)
                    cameraFor(mac).isSetUp = false; // it was reset, and knows nothing any more
                if (!initialised.isUnreachable())
                    logIn(mac, false, next);
                else
                    next(false);
            });
        } else if (camera.isRefused) {
            emit setupProblem(mac, u"The camera refuses the user name or the password. Enter those that were "
                                   "set on the camera, or reset it to its factory state."_s);
            next(false);
        } else {
            emit setupProblem(mac, u"The camera does not answer as expected: %1"_s.arg(result.text));
            next(!result.isUnreachable());
        }
    });
}

void AxisCameraManager::startCamera(const CameraOrder& order)
{
    const QString mac = order.stream.mac;
    Camera& camera = cameraFor(mac);
    if (camera.order)
        return;
    camera.order = order;
    camera.isRefused = false;
    camera.isConfirmed = !camera.address.isNull() && camera.foundMs &&
                         m_time.monotonicMs() - *camera.foundMs <= AxisDiscovery::ScanMs;
    if (camera.address.isNull())
        qInfo().noquote() << "AxisCameraManager: Camera" << mac << "is recorded as soon as it is found";
    else if (camera.isConfirmed)
        addSetup(mac);
    else
        waitForSearch(mac);
}

void AxisCameraManager::waitForSearch(const QString& mac)
{
    Camera& camera = cameraFor(mac);
    startSetupLimit(mac);
    camera.addressLimit = m_time.createTimer(&m_timerContext, [this, mac] {
        qInfo().noquote() << "AxisCameraManager: Camera" << mac
                          << "was not found yet and is looked for at its former address"
                          << cameraFor(mac).address.toString();
        addSetup(mac);
    });
    camera.addressLimit->start(AddressLimitMs, TimerMode::SingleShot);
}

void AxisCameraManager::addSetup(const QString& mac)
{
    Camera& camera = cameraFor(mac);
    camera.steps.clear();
    if (camera.addressLimit)
        camera.addressLimit->stop();
    if (!camera.isStarted && !(camera.setupLimit && camera.setupLimit->isActive()))
        startSetupLimit(mac);
    addLogIn(mac);
    addClockSteps(mac);
    addPictureSteps(mac);
    addOverlaySteps(mac);
    addLastSetupStep(mac);
    camera.steps.addMilestone([this, mac](const StepQueue::Next& next) {
        startRecorder(mac);
        next(true);
    });
}

void AxisCameraManager::startSetupLimit(const QString& mac)
{
    Camera& camera = cameraFor(mac);
    camera.setupLimit = m_time.createTimer(&m_timerContext, [this, mac] {
        qWarning().noquote() << "AxisCameraManager: Camera" << mac
                             << "is recorded before its set-up has been answered";
        emit setupProblem(mac, u"The camera took too long to set up and is recorded as it is."_s);
        // Resolution and rotation would interrupt the recording; clock and text do not.
        cameraFor(mac).steps.clear();
        stopLimits(cameraFor(mac));
        addClockSteps(mac);
        addOverlaySteps(mac);
        addLastSetupStep(mac);
        startRecorder(mac);
    });
    camera.setupLimit->start(SetupLimitMs, TimerMode::SingleShot);
}

void AxisCameraManager::addPictureSteps(const QString& mac)
{
    StepQueue& steps = cameraFor(mac).steps;
    const CameraOrder order = *cameraFor(mac).order;
    if (order.width > 0 && order.height > 0)
        steps.add([this, mac, order](StepQueue::Next next) {
            m_api.setResolution(target(cameraFor(mac)), order.width, order.height,
                                toldAs(mac, u"resolution"_s, std::move(next)));
        });
    steps.add([this, mac, order](const StepQueue::Next& next) {
        const AxisVapixAPI::Done told = toldAs(mac, u"rotation"_s, next);
        m_api.setRotation(target(cameraFor(mac)), order.rotation,
                          [order, told, next](const VapixResult& result) {
                              // A camera that cannot turn its picture refuses 0 degrees, too, and does them.
                              if (order.rotation == 0 && !result.isOk && !result.isUnreachable())
                                  next(true);
                              else
                                  told(result);
                          });
    });
}

/// Passed over when the camera could not be reached or does not let us in.
void AxisCameraManager::addLastSetupStep(const QString& mac)
{
    cameraFor(mac).steps.add([this, mac](const StepQueue::Next& next) {
        cameraFor(mac).isSetUp = true;
        next(true);
    });
}

void AxisCameraManager::addClockSteps(const QString& mac)
{
    StepQueue& steps = cameraFor(mac).steps;
    // A camera that follows a time server refuses to be set.
    steps.add([this, mac](StepQueue::Next next) {
        m_api.setTimeSource(target(cameraFor(mac)), u"None"_s,
                            toldAs(mac, u"time source"_s, std::move(next)));
    });
    steps.add([this, mac](StepQueue::Next next) {
        m_api.setTimeZone(target(cameraFor(mac)), zoneName(), toldAs(mac, u"time zone"_s, std::move(next)));
    });
    steps.add([this, mac](StepQueue::Next next) {
        m_api.setTime(target(cameraFor(mac)), m_time.now(), toldAs(mac, u"clock"_s, std::move(next)));
    });
}

void AxisCameraManager::addOverlaySteps(const QString& mac)
{
    Camera& camera = cameraFor(mac);
    if (camera.order->overlayText.isEmpty())
        return;
    // What a recording that was cut off has left behind would show the wrong animal.
    camera.steps.add([this, mac](StepQueue::Next next) {
        m_api.removeAllOverlays(target(cameraFor(mac)), toldAs(mac, u"old text"_s, std::move(next)));
    });
    camera.steps.add([this, mac, text = camera.order->overlayText](StepQueue::Next next) {
        cameraFor(mac).hasOverlay = true;
        m_api.setTextOverlay(target(cameraFor(mac)), text, u"topLeft"_s,
                             toldAs(mac, u"text in the picture"_s, std::move(next)));
    });
}

AxisVapixAPI::Done AxisCameraManager::toldAs(const QString& mac, const QString& what, StepQueue::Next next)
{
    return [this, mac, what, next = std::move(next)](const VapixResult& result) {
        if (!result.isOk)
            emit setupProblem(mac, u"The camera's %1 could not be set: %2"_s.arg(what, result.text));
        next(!result.isUnreachable());
    };
}

void AxisCameraManager::startRecorder(const QString& mac)
{
    Camera& camera = cameraFor(mac);
    if (!camera.order || camera.isStarted)
        return;
    stopLimits(camera);
    camera.isStarted = true;
    camera.doubt.reset();
    if (!camera.isConfirmed || !camera.isSetUp)
        camera.doubt = Doubt{m_time.now()};
    CameraStream stream = camera.order->stream;
    stream.address = camera.address;
    stream.user = m_credentials.user;
    stream.password = m_credentials.password;
    m_recorder->startCamera(stream);
}

void AxisCameraManager::cancelOrder(Camera& camera)
{
    camera.steps.clear();
    stopLimits(camera);
    camera.order.reset();
    camera.isConfirmed = false;
    camera.isSetUp = false;
    camera.isStarted = false;
    if (camera.doubt && camera.doubt->hasFilm)
        qWarning().noquote() << "The camera at" << camera.address.toString()
                             << "was not found again before its film ended: since"
                             << camera.doubt->since.toString(Qt::ISODate)
                             << "it may show what another camera sees";
    camera.doubt.reset();
}

void AxisCameraManager::stopLimits(Camera& camera)
{
    for (const auto& limit : {&camera.addressLimit, &camera.setupLimit})
        if (*limit)
            (*limit)->stop();
}

void AxisCameraManager::removeOverlays(const QString& mac)
{
    Camera& camera = cameraFor(mac);
    if (!std::exchange(camera.hasOverlay, false) || camera.address.isNull())
        return;
    camera.steps.add([this, mac](const StepQueue::Next& next) {
        m_api.removeAllOverlays(target(cameraFor(mac)), [next](const VapixResult&) { next(true); });
    });
}

void AxisCameraManager::stopCamera(const QString& mac)
{
    const auto entry = m_cameras.find(mac);
    if (entry == m_cameras.end() || !entry->second.order)
        return;
    const bool wasStarted = entry->second.isStarted;
    cancelOrder(entry->second);
    if (wasStarted)
        m_recorder->stopCamera(mac);
    removeOverlays(mac);
}

void AxisCameraManager::stopAll(std::function<void()> done)
{
    for (auto& [mac, camera] : m_cameras)
        if (camera.order)
            cancelOrder(camera);
    m_recorder->stopAll([this, done = std::move(done)] {
        // The text belongs to the video to its last picture. Nobody waits for its end.
        for (auto& [mac, camera] : m_cameras)
            if (!camera.order)
                removeOverlays(mac);
        done();
    });
}

} // namespace vt
