// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/StimulationHardware.h"
#include "session/SessionExtensions.h"

#include <QDateTime>
#include <QObject>
#include <QString>
#include <map>
#include <vector>

namespace vt {

class DAQInfo;
class TimeSource;
struct MCUHeader;

/// What can be wrong with the acquisition unit and what hangs on it, the worst first.
enum class HardwareFault {
    UnitAway,        ///< unplugged or switched off; the session waits for it
    CagesNotStopped, ///< cages that should have been stopped and were not
    StimulationBus,
    StimulationMissing, ///< the recording asks for it, and it was not found
    StimulationSilent,  ///< it was found and does not answer any more
    NoPower,            ///< 12 V of the stimulation unit
    TooHot,             ///< the stimulation unit
    OutputsBus,
    OutputsMissing,
    OutputsSilent,
    SensorShorted,
    McuBus,
    SpeakerFault,
    SensorCountChanged
};

/// A fault that there is now, in words for the user.
struct HardwareProblem
{
    HardwareFault fault = HardwareFault::UnitAway;
    bool isWarning = false; ///< everything works that the recording asks for, so far
    QString text;           ///< a few words
    QString detail;         ///< what it means and what to do
    QDateTime since;        ///< when it was noticed
    [[nodiscard]] bool operator==(const HardwareProblem&) const = default;
};

/// The health of the selected acquisition unit and of the hardware on its digital lines: which faults there
/// are now, and since when. A fault goes when its cause goes, or when another unit is selected. What is only
/// supervised for stimulation is told while a recording with stimulation runs. While the unit is away
/// nothing is said of what hangs on it. Interface thread; daqInfo and time outlive the object.
class UnitHealth final : public QObject, public RecordingCompanion
{
    Q_OBJECT
public:
    UnitHealth(DAQInfo& daqInfo, TimeSource& time);

    /// The worst first.
    [[nodiscard]] std::vector<HardwareProblem> problems() const;
    /// The cage light of the selected unit, as the unit has taken it.
    [[nodiscard]] bool isLightOn() const { return m_isLightOn; }
    /// changed() follows when the unit has taken it.
    void toggleLight();

    /// Another unit was selected, or none: its light is off, and nothing is known of it.
    void unitSelected();
    /// It stopped responding, and the recording was ended for that.
    void unitLost();
    /// The register file was read.
    void unitRead(const MCUHeader& header);

    void recordingStarted(const RecordingContext& context) override;
    void segmentStarted(const RecordingContext& context) override;
    void segmentStopping(TeardownKind kind) override;
    void recordingStopped() override;

signals:
    void changed();

private:
    struct Fact
    {
        QDateTime since;
        QString detail; ///< empty: what problems() says of the fault in general
    };

    void connectUnit();
    void connectStimulation();
    void connectOutputs();
    void set(HardwareFault fault, bool isThere, const QString& detail = {});
    void noteSystemStatus(std::uint8_t status);
    void noteSpeakers(std::uint8_t faults0C, std::uint8_t faults0D);
    void notePresence();
    void noteAway();
    [[nodiscard]] bool isTold(HardwareFault fault) const;

    DAQInfo& m_daqInfo;
    StimulationHardware& m_hardware;
    TimeSource& m_time;
    std::map<HardwareFault, Fact> m_facts;
    int m_sensorCount = 0; ///< when the unit was read
    bool m_isLightOn = false;
    bool m_isUnitWanted = false;     ///< by the recording that runs: the stimulation unit
    bool m_areOutputsWanted = false; ///< likewise: digital outputs or inputs
    bool m_isPaused = false;
    bool m_isLost = false;    ///< it ended a recording, and was not chosen again since
    bool m_isWaiting = false; ///< for a unit to come back while nothing is paused
};

} // namespace vt
