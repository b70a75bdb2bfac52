// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/StimulationController.h"
#include "session/SessionExtensions.h"

#include <memory>

namespace vt {

class StimulationHardware;
class UserInteraction;

/// Stimulation as a part of a recording: hands the recording's settings and decisions to the controller, the
/// controller's requests to the hardware, and starts and stops both at the right moments. Interface thread.
///
/// A recording whose setup does not ask for stimulation touches neither the stimulation unit nor the digital
/// outputs. One that asks for it while the hardware does not answer warns the user and goes on; stimulation
/// begins as soon as the hardware answers. What stops answering meanwhile is told by a notice that closes
/// when it answers again.
class StimulationSession final : public RecordingCompanion
{
public:
    /// All three outlive the object. The stimulation log is written on logWorker's thread.
    StimulationSession(StimulationHardware& hardware, TimeSource& time, UserInteraction& user,
                       std::shared_ptr<Inbox> logWorker);
    ~StimulationSession() override;

    void recordingStarted(const RecordingContext& context) override;
    void segmentStarted(const RecordingContext& context) override;
    void segmentStopping(TeardownKind kind) override;
    void recordingStopped() override;
    void sleepDecision(const SleepDecisionNews& news) override;
    void report(SessionStatus& status) const override;

    /// Fills in the stimulation rows; after recordingStarted.
    void describe(ConfigSummary& summary) const;
    /// Stimulates all enabled cages at once, or tells why not.
    ManualStimulation stimulateNow();
    [[nodiscard]] StimulationStatus status() const;

private:
    void connectHardware();
    void connectRequests();
    void notePresence();
    void applySettings();
    void takeUpHardware();
    void begin();
    void halt();
    void activate(std::uint8_t cageMask);
    void warnAboutSetup(const RecordingContext& context);
    void showPower(bool isPresent);
    void showAway(bool isUnitAway, bool areOutputsAway);
    void showTemperature(bool isTooHot);
    void showUnstopped(std::uint8_t cageMask);
    void closeNotices();

    StimulationHardware& m_hardware;
    UserInteraction& m_user;
    TimeSource& m_time;
    StimulationController m_controller;

    VexioSettings m_vexio;
    DioSettings m_dio;
    int m_channelCount = 0;
    bool m_isWanted = false; ///< by the setup of the recording that runs
    StimulationSource m_applied = StimulationSource::None;
    bool m_hasRun = false; ///< in this recording
    bool m_isInSegment = false;
    QString m_stimFile; ///< of the segment
    QDateTime m_segmentBegan;
    bool m_isPowerMissing = false;
    bool m_isUnitLost = false; ///< its bus has failed since it was found
    bool m_isUnitAway = false; ///< it does not answer on its bus
    bool m_areOutputsAway = false;
    QString m_toldProblem; ///< what the user has been told of this recording's setup
    quint64 m_stimulations = 0;
    quint64 m_refused = 0;
};

} // namespace vt
