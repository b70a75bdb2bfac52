// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "envsens/EnvSensorSettings.h"
#include "envsens/EnviroSensManager.h"
#include "session/SessionTypes.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

namespace vt {

class RecordingCompanion;
class SerialPortList;
class TimeSource;
class UserInteraction;
struct RecordingContext;

/// The environmental sensors for the rest of the program: which there are and what they read, and their log
/// beside a recording (base path + ".Env"). Sensors are read from the start of a recording to its end, pauses
/// included. The log is opened when the recording starts with an enabled sensor, or when the first is enabled
/// during it. A sensor that is unplugged or comes back is told to the user once each way; so is one that is
/// there and gives no reading for SilenceSeconds.
///
/// Labels and which sensors are enabled are kept in the application's settings. Interface thread; nothing
/// waits for a sensor or the disk, but for the destructor (3 s at most for each).
class EnvironmentSession : public QObject
{
    Q_OBJECT
public:
    static constexpr int LogPatienceMs = 3000; ///< for the last readings to get to the disk
    static constexpr int SilenceSeconds = 60;

    /// All three outlive the object.
    EnvironmentSession(TimeSource& time, const SerialPortList& ports, UserInteraction& user,
                       QObject* parent = nullptr);
    ~EnvironmentSession() override;

    /// In the order in which they were found.
    [[nodiscard]] QList<EnvSensorInfo> sensors() const;
    /// Readings of the last day, oldest first.
    [[nodiscard]] QList<EnvSample> history(const QString& serialNumber) const;
    /// Looks for sensors; sensorsChanged follows.
    void rescan();
    /// Sensors have been found that have not told yet who they are.
    [[nodiscard]] bool isFinding() const;

    /// In effect at once, also in the log of a running recording. Nothing for a sensor that is not there. An
    /// empty label stands for the serial number.
    void setLabel(const QString& serialNumber, const QString& label);
    void setEnabled(const QString& serialNumber, bool isEnabled);

    /// What a setup file keeps: the labels of the present sensors, and of others those that were applied.
    [[nodiscard]] QMap<QString, QString> labels() const;
    /// Of a setup file, by serial number. Sensors that are not there have them when they come.
    void applyLabels(const QMap<QString, QString>& labels);

    [[nodiscard]] SensorsStatus status() const;

    /// For the session controller, which this object outlives. Once.
    [[nodiscard]] std::unique_ptr<RecordingCompanion> companion();

signals:
    /// sensors(), isFinding() or labels() tell something new.
    void sensorsChanged();
    /// While a recording runs, as sensors deliver; without a reading, too.
    void sampleReady(const vt::EnvSample& sample, const QString& serialNumber);

private:
    class Companion;
    struct LogAccess;
    /// Of a sensor that is there and gives no readings.
    struct Silence
    {
        QDateTime since;
        bool isTold = false;
    };

    void connectManager();
    void handleListReady();
    void handleDisconnected(const QString& serialNumber, const QString& label);
    void handleReconnected(const QString& serialNumber, const QString& label);
    void handleSample(const EnvSample& sample, const QString& serialNumber);
    void noteSilence(const QString& serialNumber);
    void endSilence(const QString& serialNumber);
    [[nodiscard]] QString nameOf(const QString& serialNumber) const;
    void begin(const RecordingContext& context);
    void openLogIfWanted();
    void handleLogOpened(bool isOpen);
    [[nodiscard]] std::function<void()> endCollection();
    void end();
    void report(SessionStatus& status) const;

    TimeSource& m_time;
    UserInteraction& m_user;
    const std::shared_ptr<StoredEnvSensorSettings> m_settings;
    EnviroSensManager m_manager;
    std::shared_ptr<LogAccess> m_logAccess; ///< to m_manager's file, for the session's file thread
    QMap<QString, QString> m_applied;       ///< labels of a setup
    QMap<QString, QString> m_waiting;       ///< of these, for sensors that have not been there since
    QMap<QString, QDateTime> m_goneSince;   ///< sensors that the user was told of
    QMap<QString, Silence> m_silent;
    bool m_isRecording = false;
    quint64 m_recording = 0; ///< counts them; what concerns an earlier one is void
    QString m_logPath;
    SensorsStatus::Log m_log = SensorsStatus::Log::NotWanted;
    EnvLogCounts m_before; ///< of earlier recordings
};

} // namespace vt
