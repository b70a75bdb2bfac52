// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "camera/AxisDiscovery.h"
#include "camera/AxisVapixAPI.h"
#include "camera/CameraManager.h"
#include "camera/StepQueue.h"

#include <map>
#include <memory>
#include <optional>

namespace vt {

/// The Axis cameras: finds them, logs in, sets them up, has them recorded.
///
/// A camera that a recording wants is set up first (clock, resolution, rotation, text), because some of that
/// would interrupt its stream; but its recording starts SetupLimitMs later at the latest, set up or not. A
/// camera that was not to be reached then is set up when it is found again.
class AxisCameraManager final : public CameraManager
{
    Q_OBJECT

public:
    static constexpr int SetupLimitMs = 15000;

    AxisCameraManager(TimeSource& time, std::unique_ptr<CameraRecorder> recorder,
                      ScanSurroundings surroundings = {}, quint16 httpPort = 80);
    ~AxisCameraManager() override;

    void setCredentials(const CameraCredentials& credentials) override;
    void startScan() override;
    void startCamera(const CameraOrder& order) override;
    void stopCamera(const QString& mac) override;
    void stopAll(std::function<void()> done) override;

private:
    struct Camera
    {
        QHostAddress address; ///< null: not found yet
        bool isLoggedIn = false;
        bool isRefused = false; ///< the present credentials are wrong; asking on could lock the account
        std::optional<CameraOrder> order;
        bool isSetUp = false;   ///< all that the order says has been told to the camera
        bool isStarted = false; ///< handed to the recorder
        bool hasOverlay = false;
        StepQueue steps;
        std::unique_ptr<Timer> setupLimit;
    };

    void handleFound(const QString& mac, const QHostAddress& address);
    [[nodiscard]] VapixCamera target(const Camera& camera) const;
    [[nodiscard]] Camera& cameraFor(const QString& mac);
    void addLogIn(const QString& mac);
    void logIn(const QString& mac, bool mayInitialise, const StepQueue::Next& next);
    void addSetup(const QString& mac);
    void startSetupLimit(const QString& mac);
    void addPictureSteps(const QString& mac);
    void addLastSetupStep(const QString& mac);
    void addClockSteps(const QString& mac);
    void addOverlaySteps(const QString& mac);
    void startRecorder(const QString& mac);
    void removeOverlays(const QString& mac);
    void cancelOrder(Camera& camera);
    /// For the end of a step of the set-up that what names.
    [[nodiscard]] AxisVapixAPI::Done toldAs(const QString& mac, const QString& what, StepQueue::Next next);

    TimeSource& m_time;
    const quint16 m_httpPort;
    CameraCredentials m_credentials;
    Inbox m_timerContext;
    std::map<QString, Camera> m_cameras;
    std::unique_ptr<CameraRecorder> m_recorder;
    AxisDiscovery m_discovery;
    AxisVapixAPI m_api; ///< destroyed first: no answer reaches what is gone
};

} // namespace vt
