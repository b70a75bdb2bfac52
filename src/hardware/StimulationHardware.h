// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hardware/CageConfig.h"
#include "hardware/StimulationOrder.h"

#include <QList>
#include <QObject>
#include <QString>
#include <cstdint>
#include <functional>
#include <memory>

namespace vt {

class DIO;
class HardwareThread;

/// The three buses on the unit's digital lines, by what hangs on them.
enum class UnitBus { Microcontroller, StimulationUnit, PortExpanders };

/// The stimulation unit (VEXIO) and the port expanders (DIO) of the selected device, as the interface thread
/// sees them. Every request returns at once and is carried out on the hardware thread in the order of the
/// calls; what stimulates (activate, stop, enable, durations, cage profiles, outputs) overtakes everything
/// else, also between the transfers of what is under way: it waits for one bus transfer, and for stimulation
/// that was asked for before. Signals arrive on the interface thread. Cage masks: bit c is cage c + 1.
///
/// What stimulates (activate, pulse, hold) is carried out within a second of the request or not at all. What
/// ends stimulation (stop, enable, clear output) overtakes it and takes the cages concerned out of requests
/// that still wait; for the enable mask these are the unit's cages that it leaves out.
///
/// Requests to a unit that is not there are answered as the unit does: operationComplete or
/// diagnosticsComplete with false and "I2C not initialized", where the request has an answer.
class StimulationHardware : public QObject
{
    Q_OBJECT
public:
    /// writtenUs: monotonic microseconds when the activation had been written to the unit; 0 without
    /// success.
    using ActivationDone = std::function<void(bool success, qint64 writtenUs)>;

    explicit StimulationHardware(QObject* parent = nullptr);
    ~StimulationHardware() override;

    [[nodiscard]] bool vexioPresent() const { return m_isVexioPresent; }
    [[nodiscard]] bool dioPresent() const { return m_isDioPresent; }

    /// done comes exactly once, on this thread, unless this object is destroyed before.
    void activateStimulation(std::uint8_t cageMask, ActivationDone done);

    /// What stimulates and has been asked for so far is not carried out any more; activations are answered
    /// without success.
    void cancelPending();

    // Between DAQInfo and the hardware thread.
    void attach(std::shared_ptr<HardwareThread> hardware);
    /// What is told about an older selection is dropped from now on; nothing is present.
    void beginSelection(quint64 selection);
    [[nodiscard]] quint64 selection() const { return m_selection; }
    void setPresence(bool isVexioPresent, bool isDioPresent);

    Q_SLOT void activateStimulation(std::uint8_t cageMask);
    Q_SLOT void stopStimulation(std::uint8_t cageMask);
    Q_SLOT void updateCageEnableConfig(std::uint8_t enableMask);
    Q_SLOT void writeAllCagesToHardware(const QList<vt::VEXIO_NS::CageConfig>& configs);
    /// duration: register value, 0.5 s per unit.
    Q_SLOT void setCageDuration(std::uint8_t cageMask, std::uint8_t duration);
    Q_SLOT void readAllCages();
    Q_SLOT void readCageStatus();
    Q_SLOT void clearAllActivationCounters();
    Q_SLOT void runSpeakerDiagnostics();
    Q_SLOT void readDiagnosticsStatus();
    /// Interrupt line every 150 ms, cage status every 500 ms; goes on after a recovery of the device.
    Q_SLOT void startVexioPolling();
    Q_SLOT void stopVexioPolling();

    /// A 50 ms pulse.
    Q_SLOT void pulseOutputs(std::uint16_t cageMask);
    Q_SLOT void setOutputHold(std::uint16_t cageMask);
    /// At once: pulses of these cages are cut short or taken back.
    Q_SLOT void clearOutput(std::uint16_t cageMask);
    /// When the time of a stimulation is over: its pulse comes and lasts, also one that still waits.
    Q_SLOT void endOutputHold(std::uint16_t cageMask);
    /// Tells the inputs as they are and looks for changed ones every 50 ms; goes on after a recovery of the
    /// device.
    Q_SLOT void startDIORecording(int nChannels);
    Q_SLOT void stopDIORecording();
    /// While true, and while inputs are looked at, all inputs are read every 500 ms.
    Q_SLOT void watchInputs(bool isWatched);

signals:
    void presenceChanged();
    /// The driver failed on a bus that was usable when the device was set up. What hangs on it cannot be
    /// reached until the bus has been restored, or the device recovered.
    void busLost(vt::UnitBus bus);
    void busRestored(vt::UnitBus bus);

    // As VEXIO emits them.
    void cageDataRead(std::uint8_t cageNum, std::uint8_t frequency, std::uint8_t amplitude,
                      std::uint8_t duration, std::uint8_t waveShape, std::uint16_t activations);
    void operationComplete(bool success, const QString& message);
    void cageStatusRead(std::uint8_t stimMask);
    void diagnosticsStatusRead(std::uint8_t sysStatus, std::uint8_t sysExtraStatus,
                               std::uint8_t speakerFaults0C, std::uint8_t speakerFaults0D);
    void diagnosticsComplete(bool success, const QString& message);
    void cageDataReadFailed();
    void diagnosticsStatusReadFailed();
    void powerFaultDetected();
    void powerRestored();
    void overTempDetected();
    void systemStatusChanged(std::uint8_t status);
    void speakerDiagnosticsResults(std::uint8_t faults0C, std::uint8_t faults0D);
    void vexioAnsweringChanged(bool isAnswering);
    void unstoppedCagesChanged(std::uint8_t cageMask);
    // As DIO emits them.
    void dioInputStateChanged(std::uint16_t inputMask);
    void dioInputsRead(std::uint16_t inputMask, std::uint16_t readMask);
    void dioAnsweringChanged(bool isAnswering);

    // The microcontroller's status byte; DAQInfo passes them on.
    void pushButtonPressed();
    void sensorCountChanged(int nSensors);
    void sensorShorted(bool shorted);
    void ledStateChanged(bool isEnabled);

private:
    /// Runs step(port expanders, cages) in time, for the cages that are left of the request by then.
    void drive(std::uint16_t cageMask, void (DIO::*step)(std::uint16_t));

    std::shared_ptr<HardwareThread> m_hardware;
    StimulationOrders m_orders;
    std::shared_ptr<StimulationOrderCheck> m_check; ///< hardware thread
    quint64 m_selection = 0;
    bool m_isVexioPresent = false;
    bool m_isDioPresent = false;
};

} // namespace vt
