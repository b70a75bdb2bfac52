// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "camera/AxisDiscovery.h"
#include "camera/AxisVapixAPI.h"
#include "camera/CameraManager.h"
#include "camera/StepQueue.h"

#include <QDateTime>
#include <map>
#include <memory>
#include <optional>

namespace vt {

/// The Axis cameras: finds them, logs in, sets them up, has them recorded.
///
/// A camera that a recording wants is set up first (clock, resolution, rotation, text), because some of that
/// would interrupt its stream; but its recording starts SetupLimitMs later at the latest, set up or not. A
/// camera that was not to be reached then is set up when it is found again.
///
/// An address may belong to another camera by now, which lets us in by the same password. So an address that
/// no search has told of lately is not used before AddressLimitMs have passed, a camera that is found
/// elsewhere is set up anew, and a stream that came back by itself is in doubt until a search, which is asked
/// for, finds the camera where the stream comes from.
class AxisCameraManager final : public CameraManager
{
    Q_OBJECT

public:
    static constexpr int SetupLimitMs = 15000;
    /// An answer to a search takes up to 3 s, and so does the look-up of its MAC address.
    static constexpr int AddressLimitMs = 6000;
    /// Of one doubt: when the stream ends, when it is back, and when an answer was lost.
    static constexpr int MostSearches = 4;

    AxisCameraManager(TimeSource& time, std::unique_ptr<CameraRecorder> recorder,
                      ScanSurroundings surroundings = {}, quint16 httpPort = 80);
    ~AxisCameraManager() override;

    void setCredentials(const CameraCredentials& credentials) override;
    void startScan() override;
    void startCamera(const CameraOrder& order) override;
    void stopCamera(const QString& mac) override;
    void stopAll(std::function<void()> done) override;

private:
    /// Its film may be another camera's.
    struct Doubt
    {
        QDateTime since;
        bool hasFilm = false; ///< video has flowed since
        int searches = 0;     ///< asked for
    };
    struct Camera
    {
        QHostAddress address;          ///< null: not found, or at an address that another camera has by now
        std::optional<qint64> foundMs; ///< monotonic, at this address
        bool isLoggedIn = false;
        bool isRefused = false; ///< the present credentials are wrong; asking on could lock the account
        std::optional<CameraOrder> order;
        bool isConfirmed = false; ///< found at this address for this order
        bool isSetUp = false;     ///< all that the order says has been told to the camera
        bool isStarted = false;   ///< handed to the recorder
        bool isFilming = false;   ///< video flows
        std::optional<Doubt> doubt;
        bool hasOverlay = false;
        StepQueue steps;
        std::unique_ptr<Timer> addressLimit; ///< runs while a search is waited for
        std::unique_ptr<Timer> setupLimit;
        [[nodiscard]] bool isWaiting() const { return addressLimit && addressLimit->isActive(); }
    };

    void handleFound(const QString& mac, const QHostAddress& address);
    void handleMove(const QString& mac, Camera& camera);
    void takeFromOthers(const QString& mac, const QHostAddress& address);
    void handleScanFinished(int found, const QString& error);
    void handleRecordingStatus(const QString& mac, bool isRecording);
    void handlePersistentRetry(const QString& mac, int attempt);
    void askForSearch(const QString& mac, Doubt& doubt);
    void endDoubt(const QString& mac, Camera& camera);
    void waitForSearch(const QString& mac);
    [[nodiscard]] VapixCamera target(const Camera& camera) const;
    [[nodiscard]] Camera& cameraFor(const QString& mac);
    void addLogIn(const QString& mac);
    void addCheck(const QString& mac);
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
    static void stopLimits(Camera& camera);
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
