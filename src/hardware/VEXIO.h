// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/CageConfig.h"
#include "hardware/HardwareContext.h"
#include "hardware/InterruptLine.h"
#include "hardware/PollPace.h"

#include <QList>
#include <QObject>
#include <QString>
#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace vt {

class I2C;

/// The stimulation unit: eight cages, each with a speaker that plays a programmed profile when told to.
/// Register protocol over the stimulation bus (VexioRegisters.h). Lives on the hardware thread and is called
/// there only; signals are emitted there. Cage masks: bit c is cage c + 1. Cage numbers count from 0.
///
///     absent (no bus) -> initialised (initVexio) -> polling -> diagnostics active -> polling
///
/// While diagnostics are active, activations, stops and durations are refused and the enable mask is kept
/// until they end. Within 1000 ms after the 12 V supply came or went nothing is activated.
/// Without a bus every operation is logged as "I2C not initialized" and does nothing.
///
/// Beside the transfers of each operation there is a check of its own every 10 s while the status is polled,
/// and soon after an activation that found the enable mask cleared: the test register 0x77 is read, and when
/// it does not hold what the initialisation wrote, written and read once more. A unit that takes it then, and
/// has another enable mask than it should, has been without power and gets its settings again. One that does
/// not is no unit that answers, but a data line that is held low and acknowledges everything: every operation
/// fails, the register being written and read before, until it is taken.
class VEXIO : public QObject
{
    Q_OBJECT
public:
    /// What became of an activation: when the unit had taken it, on the monotonic clock; empty when it was
    /// refused or failed.
    using Activation = std::optional<qint64>;

    explicit VEXIO(const HardwareContext& context, QObject* parent = nullptr);
    ~VEXIO() override;

    /// Does the unit acknowledge its address?
    [[nodiscard]] static bool isThere(I2C& bus);
    /// Verifies that the unit answers, clears the activation counters, disables all cages and clears sticky
    /// faults. The bus outlives this object. False: no usable unit, and the object has no bus afterwards.
    [[nodiscard]] bool initVexio(I2C* bus, int nCages);
    [[nodiscard]] bool initInterruptTask(const QString& deviceName);
    [[nodiscard]] bool isInitialised() const { return m_bus != nullptr; }
    /// The unit has not taken that cages are to stop, or that none is enabled.
    [[nodiscard]] bool owesStop() const { return m_unstopped != 0 || m_isDisablingOwed; }
    /// After initVexio(): goes on over a new bus while a recording runs. The unit gets its enable mask and
    /// its profiles again; nothing is started or stopped.
    void restore(I2C* bus, const QString& deviceName);

    /// The enable mask that the unit should have. The setter writes nothing: the next activation does.
    [[nodiscard]] std::uint8_t configMask() const { return m_configMask; }
    void keepConfigMask(std::uint8_t mask) { m_configMask = mask; }

    /// As activateStimulation(cageMask). remaining is asked right before the unit is told to stimulate: the
    /// cages that are still to be. 0: the activation is given up without a word.
    [[nodiscard]] Activation activateStimulation(std::uint8_t cageMask,
                                                 const std::function<std::uint8_t()>& remaining);

    [[nodiscard]] bool writeCageConfig(int cage, const VEXIO_NS::CageConfig& config);
    [[nodiscard]] bool clearActivationCounter(int cage);
    [[nodiscard]] bool clearStickyBits(std::uint8_t registerAddress, std::uint8_t mask);

    /// Called between the transfers of a long operation that others may cut in on.
    void setBetweenTransfers(std::function<void()> step) { m_betweenTransfers = std::move(step); }
    /// isWaiting: is there something that must not wait for the bus? A refresh of the cages' data, 64 bytes
    /// at 25 driver calls each, is broken off then and made again later.
    void setUrgentWaiting(std::function<bool()> isWaiting) { m_isUrgentWaiting = std::move(isWaiting); }

    /// Reads the cages' status now and every 500 ms, less often while the unit does not answer; checkUnit()
    /// every 10 s.
    void startStatusPolling();
    void stopStatusPolling();
    /// Is it the unit that answers? Nothing while it is known not to, or while diagnostics are active.
    void checkUnit();

    /// Gives up diagnostics that run: the unit is about to be let go.
    void endDiagnostics();

    /// Looks at the interrupt line every 150 ms.
    Q_SLOT void startInterruptPolling();
    Q_SLOT void stopInterruptPolling();
    Q_SLOT void checkForInterrupt();

    Q_SLOT void readAllCagesFromHardware();
    Q_SLOT void writeAllCagesToHardware(const QList<vt::VEXIO_NS::CageConfig>& configs);
    Q_SLOT void clearAllActivationCounters();
    Q_SLOT void readCageStatusFromHardware();
    Q_SLOT void updateCageEnableConfig(std::uint8_t enableMask);
    Q_SLOT vt::VEXIO::Activation activateStimulation(std::uint8_t cageMask);
    Q_SLOT void stopStimulation(std::uint8_t cageMask);
    /// duration is the register value: 0.5 s per unit.
    Q_SLOT void setCageDuration(std::uint8_t cageMask, std::uint8_t duration);
    Q_SLOT void clearAllStickyFaults();

    Q_SLOT void readDiagnosticsStatus();
    /// Up to about 4 s, driven by timers; ends with diagnosticsComplete.
    Q_SLOT void runSpeakerDiagnostics();

signals:
    void cageDataRead(std::uint8_t cageNum, std::uint8_t frequency, std::uint8_t amplitude,
                      std::uint8_t duration, std::uint8_t waveShape, std::uint16_t activations);
    void operationComplete(bool success, const QString& message);
    void cageStatusRead(std::uint8_t stimMask);
    void diagnosticsStatusRead(std::uint8_t sysStatus, std::uint8_t sysExtraStatus,
                               std::uint8_t speakerFaults0C, std::uint8_t speakerFaults0D);
    void diagnosticsComplete(bool success, const QString& message);
    /// What readAllCagesFromHardware / readDiagnosticsStatus were asked for does not come: the unit does not
    /// answer or cannot be reached.
    void cageDataReadFailed();
    void diagnosticsStatusReadFailed();
    void powerFaultDetected();
    void powerRestored();
    void overTempDetected();
    void systemStatusChanged(std::uint8_t status);
    void speakerDiagnosticsResults(std::uint8_t faults0C, std::uint8_t faults0D);
    /// The unit has left three status polls in a row without an answer to be believed / it answers again. Not
    /// on a bus that has failed.
    void answeringChanged(bool isAnswering);
    /// These cages were to be stopped and may go on: the unit has not taken the order at six tries within 3
    /// s, or its bus has failed. 0: that has been settled. A unit that answers again is told to stop them.
    void unstoppedCagesChanged(std::uint8_t cageMask);

private:
    struct SpeakerFaults
    {
        std::uint8_t faults0C;
        std::uint8_t faults0D;
    };
    /// A run of the speaker diagnostics.
    struct Diagnostics
    {
        std::uint8_t pendingMask = 0; ///< what REG_BSCONFIG is to be when they end
        bool isMaskRequested = false; ///< updateCageEnableConfig came meanwhile
        std::uint8_t initialCounter = 0;
        std::uint8_t originalReg50 = 0;
        int polls = 0;
    };

    /// What a cage is to play, since somebody said so.
    struct Profile
    {
        std::optional<VEXIO_NS::CageConfig> wanted;
        bool isWritten = true; ///< the unit has taken it
    };

    static constexpr int RefreshDelayMs = 200; ///< by then the unit has counted an activation
    static constexpr std::size_t RefreshSize = 64;
    static constexpr int RefreshSliceMs = 100; ///< a refresh that takes longer lets others in at every cage
    static constexpr int MissesUntilAway = 3;
    static constexpr int FirstStopRetryMs = 100; ///< then 200 ... 1600 ms
    static constexpr int MostStopRetries = 5;

    static constexpr int CheckPeriodMs = 10'000;
    static constexpr int CheckSoonMs = 100;

    [[nodiscard]] bool hasBus(const char* operation) const;
    void letOthersIn();
    [[nodiscard]] bool readRegisters(std::uint8_t first, std::uint8_t* bytes, int count);
    [[nodiscard]] std::optional<std::uint8_t> readRegister(std::uint8_t address);
    [[nodiscard]] bool writeRegister(std::uint8_t address, std::uint8_t value);
    [[nodiscard]] bool writeRegisters(std::uint8_t first, std::span<const std::uint8_t> bytes);
    [[nodiscard]] std::optional<SpeakerFaults> readSpeakerFaults();

    [[nodiscard]] bool verifyUnit();
    [[nodiscard]] bool initialise(int nCages);
    void logUnitInformation();
    void pollStatus();
    void handlePowerEdge(std::uint8_t status);

    [[nodiscard]] bool takesTestPattern();
    [[nodiscard]] bool isBelievable();
    void doubtUnit();

    void rewriteProfiles(std::uint8_t cageMask);
    void forgetWrittenProfiles();
    void noteAnswer(bool isAnswer);
    void rewriteSettings();
    [[nodiscard]] bool writeStop(std::uint8_t cageMask);
    void retryStopLater();
    void retryStop();
    void settleStop(std::uint8_t cageMask);
    void tellUnstopped();
    [[nodiscard]] bool mayActivate(std::uint8_t cageMask);
    void leaveDiagnosticMode();
    void resyncCageEnable();
    void warnBeforeActivation(std::uint8_t cageMask);
    void logEnabledFaults(const QString& prefix);

    [[nodiscard]] bool enableDiagnostics();
    void abandonDiagnostics(const QString& message);
    void pollDiagnosticsCounter();
    void diagnosticsTimedOut();
    void finishDiagnostics();
    void restoreCageEnable(const char* operation);

    const HardwareContext m_context;
    I2C* m_bus = nullptr;
    InterruptLine m_interruptLine;
    std::function<void()> m_betweenTransfers;
    std::function<bool()> m_isUrgentWaiting;

    std::uint8_t m_configMask = 0; ///< what REG_BSCONFIG is to be, whether or not the unit has taken it
    std::array<Profile, VEXIO_NS::CageCount> m_profiles;
    std::uint8_t m_cachedStatus = 0; ///< last REG_SYSTEM_STATUS; bit 0 is clear while bit 7 is set
    std::optional<qint64> m_powerEdgeMs;
    std::optional<Diagnostics> m_diagnostics; ///< while they are active
    std::uint8_t m_unstopped = 0;             ///< cages that the unit has not taken the order to stop for
    std::uint8_t m_toldUnstopped = 0;         ///< as last told by unstoppedCagesChanged
    std::uint8_t m_uncheckedStops = 0;        ///< taken since the last check that found the unit in order
    bool m_isDisablingOwed = false;           ///< the unit has not taken that no cage is enabled
    int m_stopRetries = 0;
    bool m_isStatusReadErrorLogged = false;
    bool m_isInterruptReadErrorLogged = false;
    bool m_isInterruptHigh = false;
    bool m_isPolled = false; ///< the status, until stopStatusPolling
    PollPace m_statusPace;
    int m_statusMisses = 0; ///< in a row
    bool m_isAwayTold = false;
    bool m_isDoubted = false;                          ///< what acknowledges is not the unit
    std::array<std::uint8_t, 3> m_lastDiagnostics{};   ///< of 0x0B to 0x0D, as read last; 0 before that
    std::array<std::uint8_t, RefreshSize> m_refresh{}; ///< the cages' blocks, as far as they have been read
    int m_refreshed = 0;                               ///< bytes of m_refresh that have been read

    std::unique_ptr<Timer> m_interruptTimer;
    std::unique_ptr<Timer> m_statusTimer;
    std::unique_ptr<Timer> m_refreshTimer;
    std::unique_ptr<Timer> m_diagnosticsTimer;
    std::unique_ptr<Timer> m_stopTimer;
    std::unique_ptr<Timer> m_checkTimer;
};

} // namespace vt
