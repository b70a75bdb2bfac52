// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraSettings.h"
#include "hardware/StimulationSettings.h"
#include "recording/FileWriter.h"

#include <QDateTime>
#include <QJsonObject>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTime>
#include <optional>
#include <vector>

namespace vt {

enum class SessionState {
    Idle,      ///< nothing open
    Preparing, ///< reading the unit, creating files
    Prepared,  ///< files created, writer running
    Starting,  ///< probing the unit, writing headers
    Recording,
    Paused,   ///< device gone, waiting for it to come back
    Resuming, ///< device back, opening the next segment
    Stopping  ///< draining, flushing and closing
};

/// "Idle", "Recording", ... for the window and the progress lines; translated there.
[[nodiscard]] QString sessionStateName(SessionState state);

enum class DeviceKind {
    NiUnit,         ///< NI-DAQmx unit with a microcontroller
    SerialAmplifier ///< no microcontroller, so no animal type, no push button, no marker file
};

/// One thing that can be recorded from.
struct DeviceEntry
{
    QString name; ///< NI-DAQmx name, or "strivix:" and a port
    QString productType;
    QString serial;
    bool simulated = false;
    bool inUse = false;   ///< claimed by another instance
    qint64 holderPid = 0; ///< of that instance; 0: not known
    DeviceKind kind = DeviceKind::NiUnit;
};

/// What is known about the selected device once its microcontroller has been read.
struct DeviceDetails
{
    QString name;
    QString productType;
    QString serial;
    int offeredChannels = 0;
    int animalType = 0; ///< 1 mouse, 2 rat, as the unit reports or, for the serial amplifier, as last chosen
    int gain = 0;
    bool simulated = false;
    bool usable = false;  ///< microcontroller or amplifier answered
    QString refusal = {}; ///< why it cannot be used, for the user: another instance has it. Empty: not known
    DeviceKind kind = DeviceKind::NiUnit;
};

/// What the user chose for the next recording.
struct RecordingSetup
{
    QString basePath;      ///< with or without ".bin" / ".binfb"
    int channelCount = 0;  ///< 1 .. the device's offered channels
    int animalType = 0;    ///< for a device that does not know it: 1 mouse, 2 rat; 0: not chosen, mouse
    QStringList animalIds; ///< one per channel; missing ones are filled with the channel number
    QTime lightOnset{7, 0};
    QTime darkOnset{19, 0};
    bool activityOnly = false;
    bool bandpass = false;
    quint64 frameLimit = 0; ///< recorded frames over all segments after which the recording stops by itself
    QMap<QString, QString> envSensorLabels; ///< serial number -> label
    std::optional<VexioSettings> vexio;     ///< empty: never set up, so not stimulated; likewise the next two
    std::optional<DioSettings> dio;
    std::optional<VideoSettings> video;
    /// The one raw data file with a recording that may be replaced, empty: none may; not set: any may.
    std::optional<QString> replaceable;
    QJsonObject setupFile; ///< as loaded: what this version does not know of it is kept when it is saved
};

struct ChannelSummary
{
    QString animalId;
    int steps = 0;
    int asleep = 0;
    bool sleeping = false;
    bool noSignal = false;
    double decisionStat = 0.0;
    QDateTime sleepBeginTime;
    [[nodiscard]] double percentSleep() const { return steps > 0 ? 100.0 * asleep / steps : 0.0; }
};

/// Everything that was lost so far, with numbers. All zero when nothing was.
struct LossSummary
{
    quint64 framesDropped = 0;
    quint64 framesUnaccounted = 0; ///< queued when the processing did not end in time
    quint64 writesDropped = 0;
    quint64 writesFailed = 0;
    quint64 bytesDropped = 0;
    quint64 bytesFailed = 0;
    quint64 flushTimeouts = 0;
    quint64 failedStamps = 0;           ///< lines of the time-stamp file
    quint64 markersNotWritten = 0;      ///< as far as is known when the disk hangs at the end
    quint64 filesNotWritten = 0;        ///< configuration summary
    quint64 bytesDamaged = 0;           ///< on the serial line
    quint64 interruptions = 0;          ///< of the serial amplifier's stream
    quint64 samplesDropped = 0;         ///< per channel, before they were a frame
    quint64 restartGaps = 0;            ///< times without data around a restart of the acquisition
    quint64 restartGapMs = 0;           ///< their length, all together
    quint64 writesReordered = 0;        ///< written, but after a younger write to the same file
    quint64 sensorRecordsLost = 0;      ///< rounds of readings that did not get into the log
    quint64 sensorLogsMissing = 0;      ///< logs of the environmental sensors that could not be opened
    quint64 cameraGaps = 0;             ///< times that a camera that had filmed did not
    quint64 camerasWithoutVideo = 0;    ///< set up to be recorded, of which there is no video at all
    quint64 stimulationRowsLost = 0;    ///< rows that did not get into a stimulation log
    quint64 stimulationLogsMissing = 0; ///< stimulation logs that could not be opened
    [[nodiscard]] bool any() const
    {
        return framesDropped || framesUnaccounted || writesDropped || writesFailed || bytesDropped ||
               bytesFailed || flushTimeouts || failedStamps || markersNotWritten || filesNotWritten ||
               bytesDamaged || interruptions || samplesDropped || restartGaps || restartGapMs ||
               sensorRecordsLost || sensorLogsMissing || cameraGaps || camerasWithoutVideo ||
               stimulationRowsLost || stimulationLogsMissing;
    }
};

/// What the stimulation of the running recording is doing.
struct StimulationStatus
{
    enum class State {
        NotSetUp,  ///< or no recording runs
        Unit,      ///< by the stimulation unit
        Outputs,   ///< by the digital outputs alone
        NoUnit,    ///< set up, but the stimulation unit does not answer
        NoOutputs, ///< set up, but the digital outputs do not answer
        NoPower    ///< the stimulation unit has no 12 V
    };
    State state = State::NotSetUp;
    bool isRunning = false; ///< false also while the recording is paused
    StimulationProtocol protocol = StimulationProtocol::ManualTrigger;
    quint16 cages = 0;          ///< enabled for the protocol; bit i: cage i + 1
    quint16 triggeredCages = 0; ///< follow an external trigger
    quint64 stimulations = 0;   ///< asked for so far
    quint64 refused = 0;        ///< of these, not carried out by the stimulation unit
};

/// The environmental sensors; log and records are those of the recording that runs, or else of the last one.
struct SensorsStatus
{
    enum class Log {
        NotWanted, ///< no recording yet, or no sensor was enabled
        Opening,
        Open,
        Failed ///< could not be opened: the recording has none
    };
    int found = 0;
    int enabled = 0;
    int missing = 0; ///< of the enabled ones: unplugged
    Log log = Log::NotWanted;
    quint64 records = 0;     ///< rounds of readings in this recording's log
    quint64 recordsLost = 0; ///< that this recording's log should have
};

/// The cameras, in a recording or outside.
struct CamerasStatus
{
    int enabled = 0;
    int recording = 0;        ///< video flows into a file
    int gaps = 0;             ///< times that a camera that had filmed did not; an open one counts
    qint64 gapMs = 0;         ///< their length, of all cameras together
    QStringList withoutVideo; ///< MAC addresses of those of which this recording has no video so far
};

/// A copy of the session's state for display; made on the interface thread, cheap enough for 10 Hz.
struct SessionStatus
{
    SessionState state = SessionState::Idle;
    DeviceDetails device;
    QString basePath; ///< of the current segment
    int segment = 0;  ///< 0 for the first
    QDateTime startTime;
    qint64 elapsedMs = 0; ///< since the start, pauses included
    quint64 framesAcquired = 0;
    quint64 framesProcessed = 0;
    quint64 readErrors = 0;
    quint64 restarts = 0;
    FileWriter::Statistics writer; ///< current segment
    LossSummary losses;            ///< whole recording
    qint64 freeDiskBytes = -1;     ///< -1: unknown
    qint64 bytesPerHour = 0;       ///< by which the disk fills, see DiskForecast
    bool isFillRateKnown = true;   ///< else it fills faster: cameras film, and nothing has been measured yet
    std::vector<ChannelSummary> channels;
    StimulationStatus stimulation;
    SensorsStatus sensors;
    CamerasStatus cameras;
};

/// What became of a stimulation by hand.
enum class ManualStimulation {
    Requested,
    NoCages,         ///< none is enabled
    OutsideSchedule, ///< not allowed now
    NotRunning       ///< no recording with stimulation runs
};

/// How a segment ends: the recording goes on later, or not.
enum class TeardownKind { Stop, Pause };

/// How a recording ended.
enum class EndReason {
    None, ///< none has ended yet
    UserStop,
    DurationReached,
    DeviceLost,
    ForcedStop, ///< system shutdown or sleep
    CouldNotStart
};

} // namespace vt
