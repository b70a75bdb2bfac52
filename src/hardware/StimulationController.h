// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/TimeSource.h"
#include "hardware/CageConfig.h"
#include "hardware/CageRandomiser.h"
#include "hardware/StimulationHeldOutputs.h"
#include "hardware/StimulationLatency.h"
#include "hardware/StimulationLog.h"
#include "hardware/StimulationRules.h"
#include "hardware/StimulationSettings.h"
#include "hardware/StimulationSummary.h"

#include <QObject>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

Q_DECLARE_METATYPE(vt::StimulationProtocol)

namespace vt {

/// Decides when cages are stimulated, asks the hardware for it by signals, and logs every stimulation.
///
///     stopped --start()--> running --stop()--> stopped
///
/// While running, the protocol chooses: sleep decisions (SleepBased, ActivityBased), a timer (OpenLoop), or
/// nobody (ManualTrigger); cages of the external-trigger mask follow their input instead, whatever the
/// protocol. A manual trigger also works while stopped. Everything only happens inside the schedule.
///
/// An input that rises starts its cage. One that is high already when the controller starts, when a window of
/// the schedule opens, or when it is read for the first time, has not risen: its cage is stimulated with the
/// next re-kick, as one whose input stays high.
///
/// Interface thread, without locks: decisions arrive and hardware requests leave by queued connections. Masks
/// have bit i for cage i + 1; the stimulation unit gets the lower eight bits.
class StimulationController : public QObject
{
    Q_OBJECT
public:
    /// The log is written on logWorker's thread; without one, at once on this thread. seed: what random
    /// intervals and cage profiles are drawn from; logged.
    StimulationController(TimeSource& time, std::shared_ptr<Inbox> logWorker,
                          std::uint32_t seed = CageRandomiser::systemSeed(), QObject* parent = nullptr);
    ~StimulationController() override;

    static constexpr int ExtTriggerRekickMs = 9500;
    /// An input that drives its cage has to be read at least this often.
    static constexpr int InputSilenceMs = 2000;
    static constexpr int PeriodCheckMs = 1000; ///< how late a window may be found open, for the triggers
    static constexpr int DioSyncMs = 50;
    static constexpr int DioPulseMs = 50; ///< of the port expanders; an output is held that long at least

    /// Takes over a recording's settings by the setters below. Draws the cages' profiles, once per call, and
    /// hands them to the unit when running (else start() does). The unit's settings count when they are
    /// enabled and the unit is present, the settings of the digital outputs when only these are; with
    /// neither, nothing is stimulated. Set channel count and presence before.
    void applySettings(const VexioSettings& vexio, const DioSettings& dio);
    /// Sets the seed, and logs it, as the constructor does.
    void setRandomSeed(std::uint32_t seed);

    /// Whose settings count: as applySettings decided, with the presence of now.
    [[nodiscard]] StimulationSource source() const;
    [[nodiscard]] bool isRunning() const { return m_running; }
    [[nodiscard]] StimulationProtocol protocol() const { return m_protocol; }
    [[nodiscard]] std::uint16_t cageEnableMask() const { return m_cageEnableMask; }
    [[nodiscard]] std::uint16_t extTriggerMask() const { return m_extTriggerMask; }
    /// The open-loop interval in force: the minimum, or the last random pick.
    [[nodiscard]] int openLoopIntervalMs() const { return m_openLoopIntervalMs; }
    [[nodiscard]] const QList<VEXIO_NS::CageConfig>& cageConfigs() const { return m_cageConfigs; }
    [[nodiscard]] const std::vector<double>& activityLevels() const { return m_activityLevels; }
    /// Local time, inside the schedule?
    [[nodiscard]] bool isWithinStimPeriod() const;

    /// Before handleNewSleepDecision: when the frame arrived that completed this decision (monotonicUs of the
    /// time source). Counts for the next decision only.
    void noteDecisionFrameArrival(qint64 monotonicUs);
    /// Number of the request that goes out; in slots of activateVexioStimulation.
    [[nodiscard]] quint64 activationRequest() const { return m_request; }
    /// Are the outputs to go off at once, in the middle of a pulse? In slots of clearDioOutput.
    [[nodiscard]] bool isHaltingOutputs() const { return m_isHalting; }
    /// When the unit's register write for a request had returned (monotonicUs), empty when there was none.
    /// The latency of the stimulation is logged.
    void noteActivationReturned(quint64 request, std::optional<qint64> returnedUs);
    /// At the end of a recording: logs median, 95th percentile and maximum, and begins anew.
    void logLatencySummary();

    /// A unit that appears while running gets its profiles and its enable mask.
    Q_SLOT void setVexioPresent(bool present);
    /// What inputs have started is ended when they go.
    Q_SLOT void setDioPresent(bool present);
    Q_SLOT void setProtocol(vt::StimulationProtocol protocol);
    /// The unit is told to enable these cages and those that follow an external trigger.
    Q_SLOT void setCageEnableMask(std::uint16_t mask);
    /// 0 to 16; other values are brought into this range.
    Q_SLOT void setActiveChannelCount(int count);
    Q_SLOT void setScheduleEntries(const QList<QHash<QString, QVariant>>& entries);
    Q_SLOT void setOpenLoopConfig(int minIntervalMs, int maxIntervalMs, bool randomInterval);
    Q_SLOT void setSleepDurationThreshold(int seconds);
    Q_SLOT void setActivityThreshold(double threshold);
    /// cageNum 0 to 15. How long the cage's digital output stays on; for the unit's cages also the duration
    /// of the profile, which the unit is told at once, in half seconds up to 127.5 s.
    Q_SLOT void setCageDuration(int cageNum, int durationMs);
    /// These cages follow their input, whether or not they are in the cage enable mask, and never the
    /// protocol.
    /// A cage that leaves them while its input is high is stopped.
    Q_SLOT void setExtTriggerMask(std::uint16_t mask);
    /// The profiles that the unit has: for the log, and as durations of the digital outputs.
    Q_SLOT void setCageConfigs(const QList<vt::VEXIO_NS::CageConfig>& configs);

    Q_SLOT void handleDioInputState(std::uint16_t inputMask);
    /// The inputs of readMask have just been read: whether or not they have changed, what they drive may go
    /// on.
    Q_SLOT void handleDioInputsRead(std::uint16_t inputMask, std::uint16_t readMask);
    Q_SLOT void handleOpenLoopConfigChanged(bool enabled, int minIntervalMs, int maxIntervalMs,
                                            bool randomInterval,
                                            const QList<QHash<QString, QVariant>>& scheduleEntries);
    Q_SLOT void handleSleepBasedConfigChanged(bool enabled, int sleepDurationSec,
                                              const QList<QHash<QString, QVariant>>& scheduleEntries);
    /// stimInterval in minutes, sleepDuration in seconds. Enabled: OpenLoop or SleepBased.
    Q_SLOT void handleDioConfigChanged(bool enabled, bool openLoop, double stimInterval, int sleepDuration);
    Q_SLOT void handleNewSleepDecision(const std::vector<bool>& sleeping,
                                       const std::vector<QDateTime>& sleepBeginTime,
                                       const std::vector<double>& decisionStats);
    /// Keeps the newest levels, at most 16, for displays. No protocol decides by them: ActivityBased takes
    /// the decision statistics, whose threshold has another unit.
    Q_SLOT void handleActivityData(const std::vector<double>& activityLevels);
    Q_SLOT void triggerManualStimulation();

    /// At the start of a recording and of every resumed segment. Hands the cages' profiles and the enable
    /// mask to the unit, which may have lost them. Who sleeps is learned anew. The inputs are those that have
    /// been read since stop().
    Q_SLOT void start();
    /// Profiles that the unit is playing go on; digital outputs that are held go off at once. The inputs have
    /// to be read again before the next start().
    Q_SLOT void stop();

    Q_SLOT void initStimFile(const QString& filename);
    Q_SLOT void closeStimFile();
    /// For whoever accounts for a recording's losses.
    [[nodiscard]] StimulationLog& stimLog() { return m_log; }
    [[nodiscard]] const StimulationLog& stimLog() const { return m_log; }
    Q_SLOT void writeDiagRow(std::uint8_t sysStatus, std::uint8_t sysExtraStatus,
                             std::uint8_t speakerFaults0C, std::uint8_t speakerFaults0D);

    Q_SLOT void handleOpenLoopTimeout();
    Q_SLOT void handleExtTrigRekickTimeout();
    Q_SLOT void handleCageClearTimeout(int cageNum);
    Q_SLOT void handleDioSyncTimeout();

signals:
    void activateVexioStimulation(std::uint8_t cageMask);
    void updateVexioCageEnable(std::uint8_t enableMask);
    void stopVexioStimulation(std::uint8_t cageMask);
    /// duration: register value, half seconds.
    void setVexioCageDuration(std::uint8_t cageMask, std::uint8_t duration);
    /// The eight profiles that the unit is to play from now on.
    void writeVexioCageConfigs(const QList<vt::VEXIO_NS::CageConfig>& configs);
    void pulseDioOutput(std::uint16_t mask);
    void setDioOutputHold(std::uint16_t mask);
    void clearDioOutput(std::uint16_t mask);
    void stimulationTriggered(std::uint16_t mask, const QString& reason);
    /// While true, all inputs are to be read again and again: a cage depends on one, or on its return.
    void watchDioInputs(bool isWatched);
    /// The inputs that drive these cages cannot be read any more: the cages have been stopped. They follow
    /// their inputs again from extTriggerInputsRestored on, which says that none is lost any more.
    void extTriggerInputsLost(std::uint16_t cages);
    void extTriggerInputsRestored();
    /// A stimulation was due, but not inside the schedule.
    void outsideStimulationPeriod();
    void configChanged();

private:
    [[nodiscard]] bool usesVexio() const { return m_vexioPresent && m_vexioEnabled; }
    [[nodiscard]] bool usesDio() const { return m_dioPresent && m_dioEnabled; }
    [[nodiscard]] bool isDioOnly() const { return usesDio() && !usesVexio(); }
    [[nodiscard]] EligibleCages eligibleCages() const;
    void setSchedule(std::vector<StimulationWindow> schedule);
    void applyVexioSettings(const VexioSettings& settings);
    void applyDioSettings(const DioSettings& settings);
    void writeCageEnable();
    void prepareUnit();
    void updateOpenLoopTimer();

    void stimulateDue(std::uint16_t due, const QString& reason, std::optional<qint64> frameArrivalUs);
    void trigger(std::uint16_t mask, const QString& reason,
                 std::optional<qint64> frameArrivalUs = std::nullopt);
    void stimulate(std::uint16_t mask, const QString& reason, std::optional<qint64> frameArrivalUs);
    void appendStimulationRow(std::uint16_t mask, const QString& reason);
    void driveOutputs(std::uint16_t mask);
    void startExternal(std::uint16_t cages);
    void endExternal(std::uint16_t cages);
    void forgetExternalInputs();
    void followHighInputs();
    void notePeriod();
    void updatePeriodCheck();
    void loseInputs(std::uint16_t cages);
    void noteInputsRead(std::uint16_t readMask);
    void updateInputWatch();
    void handleInputWatchTimeout();
    void releaseOutputs(std::uint16_t mask);

    TimeSource& m_time;
    CageRandomiser m_randomiser;
    StimulationLog m_log;
    StimulationLatency m_latency;
    quint64 m_request = 0;
    std::optional<qint64> m_decisionFrameUs;

    bool m_running = false;
    bool m_vexioPresent = false;
    bool m_dioPresent = false;
    bool m_vexioEnabled = true; ///< by the settings
    bool m_dioEnabled = true;
    StimulationProtocol m_protocol = StimulationProtocol::ManualTrigger;
    std::uint16_t m_cageEnableMask = 0;
    std::uint16_t m_extTriggerMask = 0;
    int m_activeChannelCount = 8;
    int m_minIntervalMs = 60000;
    int m_maxIntervalMs = 120000;
    bool m_randomInterval = false;
    int m_openLoopIntervalMs = 60000;
    int m_sleepThresholdSec = 2;
    double m_activityThreshold = 0.0;
    std::vector<StimulationWindow> m_schedule;
    QList<VEXIO_NS::CageConfig> m_cageConfigs;
    std::array<int, MaxStimulationChannels> m_cageDurationsMs{};

    SleepTracking m_sleep;
    std::vector<double> m_statistics;
    std::vector<double> m_activityLevels;
    bool m_outsideLogged = false;           ///< for decisions, which come every 2 s
    std::uint16_t m_inputs = 0;             ///< as they were last; 0 where that is not known
    std::uint16_t m_knownInputs = 0;        ///< have been read
    bool m_isPeriodOpen = false;            ///< running inside the schedule, as far as the triggers know
    std::uint16_t m_trackedInputs = 0;      ///< high, and their cages are stimulated
    std::uint16_t m_lostInputs = 0;         ///< were tracked, and cannot be read since
    std::array<qint64, 2> m_inputsReadMs{}; ///< when the inputs of cages 1 to 8 / 9 to 16 were read last
    bool m_isInputWatched = false;
    StimulationHeldOutputs m_outputs;
    bool m_isHalting = false; ///< in releaseOutputs

    std::unique_ptr<Timer> m_openLoopTimer;
    std::unique_ptr<Timer> m_rekickTimer;
    std::unique_ptr<Timer> m_periodTimer;
    std::unique_ptr<Timer> m_inputWatchTimer;
    std::unique_ptr<Timer> m_dioSyncTimer;
    std::array<std::unique_ptr<Timer>, MaxStimulationChannels> m_clearTimers;
};

} // namespace vt
