// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraRecorder.h"

#include <QDateTime>
#include <QHostAddress>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>

namespace vt {

/// Who logs in at the cameras. The password is never logged and never part of an error text.
struct CameraCredentials
{
    QString user = QStringLiteral("root");
    QString password = QStringLiteral("lensgate");
};

/// What a recording wants of one camera.
struct CameraOrder
{
    CameraStream stream; ///< without address and credentials, which the manager knows
    int width = 0;       ///< pixels; 0: as the camera is set
    int height = 0;
    int rotation = 0;    ///< degrees
    QString overlayText; ///< printed into the picture
};

/// Finds, sets up and records the cameras of one type. Lives on the cameras' thread, which lives as long as
/// the registry; everything is called and emitted there. Nothing waits for a camera.
class CameraManager : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    /// Ends what is recorded, bounded.
    ~CameraManager() override = default;

    /// For requests and streams from now on.
    virtual void setCredentials(const CameraCredentials& credentials) = 0;
    /// scanFinished comes when it is over; does nothing while a scan runs.
    virtual void startScan() = 0;
    /// Sets the camera up and records it until it is stopped: as soon as it is found, when its address is not
    /// known yet, and from its new address when that changes.
    virtual void startCamera(const CameraOrder& order) = 0;
    virtual void stopCamera(const QString& mac) = 0;
    /// Ends all recordings in parallel; calls done when the files are closed, once.
    virtual void stopAll(std::function<void()> done) = 0;

signals:
    void cameraFound(QString macAddress, QHostAddress address);
    /// error: why nothing could be searched.
    void scanFinished(int found, QString error);
    /// "1920x1080", ...
    void resolutionsKnown(QString macAddress, QStringList resolutions);
    /// What keeps the camera from being set up, in words for the user; empty: nothing any more.
    void setupProblem(QString macAddress, QString text);
    void recordingError(QString macAddress, QString text);
    void recordingStatusChanged(QString macAddress, bool isRecording);
    void persistentRetryAttempt(QString macAddress, int attemptNumber);
    void filmCutOff(QString macAddress); ///< see CameraRecorder
    /// Video comes, or will come, from an address at which another camera may be by now: a search would tell.
    void searchWanted(QString macAddress);
    /// What was filmed from since on came from an address at which the camera was not found; it may show
    /// another cage. From now on it is recorded from where it is.
    void filmDoubtful(QString macAddress, QDateTime since);
};

} // namespace vt
