// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/CommandLine.h"
#include "session/SessionTypes.h"
#include "session/SetupFile.h"

#include <QObject>
#include <memory>
#include <optional>

namespace vt {

class CameraSession;
class EnvironmentSession;
class SessionController;
class Timer;
class TimeSource;

/// Drives a session without a window: selects the device, sets everything up as the setup file says, records,
/// prints a progress line every 2 s and the summary at the end. Interface thread.
class HeadlessRunner : public QObject
{
    Q_OBJECT
public:
    /// All but line outlive the object.
    HeadlessRunner(SessionController& session, EnvironmentSession& sensors, CameraSession& cameras,
                   TimeSource& time, const CommandLine& line, QObject* parent = nullptr);
    ~HeadlessRunner() override;

    void run();
    /// Ctrl-C or SIGTERM: ends the recording gracefully, or the run when none has begun.
    void terminate();

signals:
    /// 0 recorded and closed, nothing missing; 1 could not start, ended by a fault, or data is missing. When
    /// the films are closed, too.
    void finished(int exitStatus);

private:
    [[nodiscard]] QString chooseDevice(QString* problem) const;
    void devicesRefreshed();
    void deviceSelected(const DeviceDetails& details);
    void recordingEnded(EndReason reason);
    /// The setup file, or nothing after the run has failed with the reason.
    [[nodiscard]] std::optional<SetupFileContents> readSetup(const DeviceDetails& details);
    void applyToSurroundings(const SetupFileContents& contents);
    /// Sensors that have not told yet who they are would begin their log late.
    void recordOnceSensorsAreKnown();
    /// Chooses another name where there is a recording already. False when the run has failed.
    [[nodiscard]] bool keepExisting(RecordingSetup& setup, int animalType);
    void printProgress();
    void fail(const QString& message);

    SessionController& m_session;
    EnvironmentSession& m_sensors;
    CameraSession& m_cameras;
    const CommandLine m_line;
    std::unique_ptr<Timer> m_progress;
    std::unique_ptr<Timer> m_selection;
    std::unique_ptr<Timer> m_sensorLimit;
    std::optional<RecordingSetup> m_ready; ///< to be recorded once the sensors are known
    bool m_waitingForList = false;
    bool m_waitingForDevice = false;
    bool m_endRequested = false;
    bool m_done = false;
};

/// "120 s  Recording  segment 0  frames 3600 (0 dropped)  ..." in one line, with what has been lost so far.
[[nodiscard]] QString progressLine(const SessionStatus& status);

/// What the process returns for a recording that ended like this.
[[nodiscard]] int exitStatusFor(EndReason reason, const LossSummary& losses);

} // namespace vt
