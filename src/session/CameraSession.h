// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "camera/CameraManagerRegistry.h"
#include "camera/MjpegStream.h"
#include "hardware/DiskThread.h"
#include "session/CameraSettingsStore.h"
#include "session/CameraTroubles.h"
#include "session/SessionTypes.h"

#include <QDateTime>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

namespace vt {

class RecordingCompanion;
class TimeSource;
class Timer;
class UserInteraction;
struct RecordingContext;

/// The cameras for the rest of the program: their registry with what is remembered of them, and their films
/// beside a recording (folders in base path + "_video"). Every enabled camera is filmed from the start of a
/// recording to its end, pauses included. A recording ends without waiting for the films; whoever lets the
/// computer or the program go waits for them (RecordingCompanion::whenClosed, the destructor).
///
/// A film that ffmpeg did not close itself counts as a gap. Most such films are known only while the cameras
/// are being stopped, after the recording's summary: they are logged and told to the user then, and whoever
/// judges the recording by its losses asks for them when its films are closed.
///
/// A camera that does not film is told to the user, and that it films again (CameraTroubles); so is a film
/// that may show another camera's cage, which counts as a gap. Interface thread; nothing waits for a camera,
/// but for the destructor (see CameraManagerRegistry).
class CameraSession : public QObject
{
    Q_OBJECT
public:
    /// time and user outlive the object.
    CameraSession(TimeSource& time, CameraManagerRegistry::ManagerFactory factory, UserInteraction& user,
                  QObject* parent = nullptr);
    ~CameraSession() override;
    /// For the cameras on the local network. time outlives what it builds.
    [[nodiscard]] static CameraManagerRegistry::ManagerFactory networkCameras(TimeSource& time);

    /// Changes made there are kept. Recordings are started and stopped here.
    [[nodiscard]] CameraManagerRegistry& registry() { return m_registry; }
    [[nodiscard]] const CameraManagerRegistry& registry() const { return m_registry; }

    /// What a setup file keeps.
    [[nodiscard]] const VideoSettings& settings() const { return m_registry.settings(); }
    /// Of a setup file. Tells the user what of it cannot be taken. Not during a recording.
    void applySettings(const VideoSettings& settings);
    /// 1 to 1440; false during a recording.
    bool setSegmentMinutes(int minutes);

    /// That the cameras were given; empty: the program's default. Kept for the user alone; tells the user
    /// when it cannot be kept. In effect at once, but for films that flow.
    void setPassword(const QString& password);
    [[nodiscard]] bool hasOwnPassword() const { return m_hasOwnPassword; }

    /// For MjpegStream::start; without an address when the camera has not been found. Not to be shown or
    /// kept: it holds the password.
    [[nodiscard]] MjpegCamera liveCamera(const QString& mac) const;

    [[nodiscard]] CamerasStatus status() const;

    /// For the session controller, which this object outlives. Once.
    [[nodiscard]] std::unique_ptr<RecordingCompanion> companion();

signals:
    /// liveCamera() answers differently from now on.
    void credentialsChanged();

private:
    class Companion;

    void begin(const RecordingContext& context);
    void filmIfWanted();
    void end();
    void report(SessionStatus& status) const;
    void handleStopped();
    void whenClosed(const std::function<void()>& done);

    [[nodiscard]] const CameraStatus* find(const std::vector<CameraStatus>& cameras,
                                           const QString& mac) const;
    void noteTrouble(const CameraStatus& camera, const QString& what, bool isCause);
    void tell(const CameraTroubles::News& news);
    void reviewTroubles();
    [[nodiscard]] QString channelOf(const QString& mac) const;
    void noteFilm(const CameraStatus& camera);
    void closeGap(const QString& mac);
    void handleCutOff(const QString& mac);
    void handleDoubtful(const QString& mac, const QDateTime& since);
    void handleError(const QString& mac, const QString& text);
    void handleScanFinished(const QString& error);
    void handleChange();

    TimeSource& m_time;
    UserInteraction& m_user;
    const CameraSettingsStore m_store;
    DiskThread m_disk{QStringLiteral("camera settings"), 5000};
    Inbox m_answers;
    CameraCredentials m_credentials;
    bool m_hasOwnPassword = false;
    CameraRecordingPlan m_plan; ///< of the recording that runs
    bool m_isRecording = false;
    QSet<QString> m_wanted; ///< cameras that this recording was to film
    QSet<QString> m_filmed; ///< those of which there is a film
    CameraTroubles m_troubles;
    QMap<QString, QDateTime> m_toldAt;  ///< that its film was cut off, by notice
    QMap<QString, qint64> m_gapSinceMs; ///< cameras that have filmed and do not now; monotonic
    int m_gaps = 0;                     ///< of this recording's films, without those in m_gapSinceMs
    int m_badFilms = 0;                 ///< of this recording: cut off, or perhaps of another cage
    qint64 m_gapMs = 0;
    int m_stops = 0; ///< under way
    std::vector<std::function<void()>> m_whenClosed;
    std::unique_ptr<Timer> m_troubleReview;
    CameraManagerRegistry m_registry; ///< the last: waits for its films when it goes
};

} // namespace vt
