// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QHostAddress>
#include <QObject>
#include <QString>
#include <functional>

namespace vt {

/// What a recorder needs to know to record one camera.
struct CameraStream
{
    QString mac; ///< upper-case pairs joined by "-"
    QHostAddress address;
    QString user;
    QString password;      ///< never logged, never part of an error text
    QString baseDirectory; ///< the camera's files go to its subfolder "CAM_<channel>"
    int channel = 0;       ///< 1-based cage
    int segmentMinutes = 60;
};

/// Records the streams of cameras into files, for as long as it is asked to, whatever the network does
/// meanwhile. Lives on the thread of the camera manager, which lives as long as the registry; everything is
/// called and emitted there. Nothing here blocks for more than the start of a process (3 s).
class CameraRecorder : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    /// Ends all recordings, bounded, and leaves no child process behind.
    ~CameraRecorder() override = default;

    /// Records from now on. A camera that is recorded already is left alone; one whose recording is about to
    /// end is recorded anew when it has ended.
    virtual void startCamera(const CameraStream& stream) = 0;
    /// The camera answers at another address now: its stream goes on from there, also in restarts to come.
    /// What comes from the former address is not recorded any more, lest it is another camera's. Null: nobody
    /// knows where it is, and it is waited for. Does nothing for a camera that is not to be recorded, or is
    /// at this address already.
    virtual void changeAddress(const QString& mac, const QHostAddress& address) = 0;
    /// For every camera, from the next start of its stream on; a stream that flows goes on.
    virtual void setCredentials(const QString& user, const QString& password) = 0;
    /// Ends the camera's recording in good order; recordingStatusChanged(mac, false) tells when it has ended.
    virtual void stopCamera(const QString& mac) = 0;
    /// Ends all recordings in good order and in parallel, within 12 s; then calls done, once. Calls it, too,
    /// when nothing was recorded.
    virtual void stopAll(std::function<void()> done) = 0;
    /// Does video flow into the camera's file?
    [[nodiscard]] virtual bool isRecording(const QString& mac) const = 0;

signals:
    void recordingStarted(QString macAddress);
    void recordingStopped(QString macAddress);
    void recordingError(QString macAddress, QString error);
    void recordingStatusChanged(QString macAddress, bool isRecording);
    /// A restart of the slow kind (every 30 s): the camera may have another address by now.
    void persistentRetryAttempt(QString macAddress, int attemptNumber);
    /// The recorder had to end a recording by force, during which video had been written: the file that was
    /// open then may be unreadable. Comes before stopAll() calls done.
    void filmCutOff(QString macAddress);
};

} // namespace vt
