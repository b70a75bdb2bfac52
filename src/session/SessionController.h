// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/MarkerFile.h"
#include "session/AmplifierPort.h"
#include "session/LidWarning.h"
#include "session/SessionTypes.h"

#include <QObject>

#include <functional>
#include <memory>

namespace vt {

class DaqClaim;
class DaqmxApi;
class DataManager;
class RecordingCompanion;
class StepHistory;
class StimulationHardware;
class TimeSource;
class UnitHealth;
class UserInteraction;
struct SessionPrivate;
struct RecordingReport;
struct StepRecord;
struct UnitInfo;

/// Prepares, starts, pauses, resumes and stops a recording. Interface thread only. No method waits for a
/// device or the disk; long steps run elsewhere and end in stateChanged. The window and the headless mode
/// drive the same object.
///
///     Idle -> Preparing -> Prepared -> Starting -> Recording -> (Paused -> Resuming -> Recording)* ->
///     Stopping -> Idle
class SessionController : public QObject
{
    Q_OBJECT
public:
    struct Options
    {
        bool autoResume = false; ///< "autoResumeOnDaqDisconnect" as read at launch
        /// Called with the base path of each prepared recording, to be remembered for the next one.
        std::function<void(const QString&)> rememberSaveName;
        /// Claims of devices among running instances; outlives the controller. Null: none are made.
        DaqClaim* claim = nullptr;
        /// What happens when the lid is closed; empty: nobody is warned.
        LidWarning::Query lidQuery = {};
        /// "PowerWarnings/showLidWarning", and how it is switched off.
        std::function<bool()> showLidWarning = {};
        std::function<void()> hideLidWarning = {};
        /// Where serial amplifiers may be; empty: nowhere.
        AmplifierPorts amplifierPorts = {};
        /// Whether history() is kept; off where nobody looks at it.
        bool keepsHistory = true;
    };
    /// driver, time and user outlive the controller.
    SessionController(DaqmxApi& driver, TimeSource& time, UserInteraction& user, Options options,
                      QObject* parent = nullptr);
    /// Ends a running recording first, waiting for it.
    ~SessionController() override;

    void addCompanion(std::unique_ptr<RecordingCompanion> companion);

    /// Asks for the devices again; devicesRefreshed follows, later, after 5 s at most also when the driver
    /// hangs.
    void refreshDevices();
    /// From refreshDevices or the choice of an NI-DAQmx unit to devicesRefreshed: a search is under way.
    [[nodiscard]] bool isRefreshingDevices() const;
    /// Devices of the driver and serial ports, as known so far.
    [[nodiscard]] std::vector<DeviceEntry> devices() const;
    /// Claims the device and reads its microcontroller, or asks who is at the serial port;
    /// deviceSelected(details) follows. A device that another instance holds is left alone. An empty name
    /// selects none.
    void selectDevice(const QString& name);

    /// Checks the setup, reads the device, creates the files. prepared(ok) follows. On failure the user has
    /// been told why and the state is Idle again.
    void prepare(const RecordingSetup& setup);
    /// From Prepared. Ends in Recording, or in Idle after a message.
    void start();
    /// Prepare and start in one go, after a warning when closing the lid would end the recording.
    void record(const RecordingSetup& setup);

    /// Asks "Are you sure you want to stop recording?" first.
    void requestStop();
    /// Stops without asking.
    void stop(EndReason reason);
    /// System shutdown, sleep or hibernation. With waitMs > 0 it returns only when the recording is closed,
    /// films included, or after that time.
    void forcedGracefulStop(int waitMs);
    /// A start that still waits for the system's answer about the lid does not happen.
    void abandonStart();
    /// Stops without asking and waits for it, up to timeoutMs; false when that was not enough.
    bool stopAndWait(EndReason reason, int timeoutMs);
    /// Calls done, once, when nothing of ended recordings is being written any more: films may end some
    /// seconds after their recording. At once or later; never when receiver is gone by then.
    void whenClosed(QObject* receiver, const std::function<void()>& done);
    /// Waits for the same, up to timeoutMs.
    [[nodiscard]] bool waitUntilClosed(int timeoutMs) const;

    /// Event number of the new marker, which is on its way to the file then; -1 when there is no marker file,
    /// as with the serial amplifier. The user is told when it cannot be written.
    int addMarker(const QString& label);
    /// Of the recording that runs; false when there is no such marker. The user is told when the file cannot
    /// be rewritten.
    bool setMarkerLabel(int event, const QString& label);
    /// Of the recording that runs, or of the last one when none runs; in order.
    [[nodiscard]] const std::vector<MarkerFile::Marker>& markers() const;

    /// Stimulates all enabled cages at once, whatever the protocol.
    ManualStimulation stimulateNow();

    /// What hangs on the chosen unit's stimulation buses, for setting it up and testing it while no recording
    /// runs.
    [[nodiscard]] StimulationHardware& stimulationHardware();
    /// What the chosen unit says of itself; nothing before one was read, and for the serial amplifier.
    [[nodiscard]] UnitInfo unitInfo() const;
    /// Its faults and its cage light; lives as long as the session.
    [[nodiscard]] UnitHealth& unitHealth();

    [[nodiscard]] SessionState state() const;
    [[nodiscard]] SessionStatus status() const;
    /// The processing object of the running segment for displays, or null. Its display channels are safe to
    /// read from the interface thread until segmentEnded.
    [[nodiscard]] std::shared_ptr<const DataManager> processing() const;
    /// The steps of this recording, or of the last one when none runs.
    [[nodiscard]] const StepHistory& history() const;
    [[nodiscard]] EndReason lastEndReason() const;
    /// Text of the last recording's summary: files, steps, asleep, percent per channel, losses.
    [[nodiscard]] QString lastSummary() const;
    [[nodiscard]] const RecordingReport& lastReport() const;

    /// Frames that the device has queued and the processing has not pulled, and the writer's depth: what a
    /// simulated unit that runs faster than real time waits for. Any thread.
    [[nodiscard]] bool readyForMoreData() const;

signals:
    void stateChanged(vt::SessionState state);
    void devicesChanged();
    /// A search has ended, also when it has changed nothing or took too long.
    void devicesRefreshed();
    void deviceSelected(const vt::DeviceDetails& details);
    void prepared(bool ok);
    void segmentStarted(const QString& basePath, int segment);
    void segmentEnded();
    void recordingEnded(vt::EndReason reason);
    /// A marker was set, by whatever means, or its label was changed.
    void markersChanged();
    /// Every 2 s, activity-only recordings included; history() has it already.
    void stepCompleted(const vt::StepRecord& step);
    void sleepDecision(const std::vector<bool>& sleeping, const std::vector<QDateTime>& sleepBeginTime,
                       const std::vector<double>& decisionStats);

private:
    void noteMarkers();
    std::unique_ptr<SessionPrivate> d;
};

} // namespace vt
