// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationHardware.h"

#include "hardware/DIO.h"
#include "hardware/HardwareThread.h"
#include "hardware/VEXIO.h"

namespace vt {

namespace {

using Lane = HardwareThread::Lane;

/// Runs step(unit) on the hardware thread.
template <typename Step>
void onVexio(HardwareThread& hardware, Lane lane, Step step)
{
    hardware.run(
        [step = std::move(step)](HardwareSession& session) {
            step(session.vexio());
            return true;
        },
        [](bool) {}, lane);
}

/// The same; dropped when there are no port expanders.
template <typename Step>
void onDio(HardwareThread& hardware, Step step)
{
    hardware.run(
        [step = std::move(step)](HardwareSession& session) {
            if (session.dio())
                step(*session.dio());
            return true;
        },
        [](bool) {}, Lane::Stimulation);
}

/// Runs step(session) on the hardware thread.
template <typename Step>
void onSession(HardwareThread& hardware, Step step)
{
    hardware.run(
        [step = std::move(step)](HardwareSession& session) {
            step(session);
            return true;
        },
        [](bool) {});
}

} // namespace

StimulationHardware::StimulationHardware(QObject* parent) : QObject(parent) {}

StimulationHardware::~StimulationHardware() = default;

void StimulationHardware::attach(std::shared_ptr<HardwareThread> hardware)
{
    m_hardware = std::move(hardware);
}

void StimulationHardware::beginSelection(quint64 selection)
{
    m_selection = selection;
    setPresence(false, false);
}

void StimulationHardware::setPresence(bool isVexioPresent, bool isDioPresent)
{
    const bool isChanged = isVexioPresent != m_isVexioPresent || isDioPresent != m_isDioPresent;
    m_isVexioPresent = isVexioPresent;
    m_isDioPresent = isDioPresent;
    if (isChanged)
        emit presenceChanged();
}

void StimulationHardware::activateStimulation(std::uint8_t cageMask, ActivationDone done)
{
    m_hardware->run(
        [cageMask](HardwareSession& session) { return session.vexio().activateStimulation(cageMask); },
        [done = std::move(done)](VEXIO::Activation writtenUs) {
            if (done)
                done(writtenUs.has_value(), writtenUs.value_or(0));
        },
        Lane::Stimulation);
}

void StimulationHardware::activateStimulation(std::uint8_t cageMask)
{
    activateStimulation(cageMask, {});
}

void StimulationHardware::stopStimulation(std::uint8_t cageMask)
{
    onVexio(*m_hardware, Lane::Stimulation, [cageMask](VEXIO& unit) { unit.stopStimulation(cageMask); });
}

void StimulationHardware::updateCageEnableConfig(std::uint8_t enableMask)
{
    onVexio(*m_hardware, Lane::Stimulation,
            [enableMask](VEXIO& unit) { unit.updateCageEnableConfig(enableMask); });
}

void StimulationHardware::writeAllCagesToHardware(const QList<VEXIO_NS::CageConfig>& configs)
{
    onVexio(*m_hardware, Lane::Stimulation,
            [configs](VEXIO& unit) { unit.writeAllCagesToHardware(configs); });
}

void StimulationHardware::setCageDuration(std::uint8_t cageMask, std::uint8_t duration)
{
    onVexio(*m_hardware, Lane::Stimulation,
            [cageMask, duration](VEXIO& unit) { unit.setCageDuration(cageMask, duration); });
}

void StimulationHardware::readAllCages()
{
    onVexio(*m_hardware, Lane::Ordinary, [](VEXIO& unit) { unit.readAllCagesFromHardware(); });
}

void StimulationHardware::readCageStatus()
{
    onVexio(*m_hardware, Lane::Ordinary, [](VEXIO& unit) { unit.readCageStatusFromHardware(); });
}

void StimulationHardware::clearAllActivationCounters()
{
    onVexio(*m_hardware, Lane::Ordinary, [](VEXIO& unit) { unit.clearAllActivationCounters(); });
}

void StimulationHardware::runSpeakerDiagnostics()
{
    onVexio(*m_hardware, Lane::Ordinary, [](VEXIO& unit) { unit.runSpeakerDiagnostics(); });
}

void StimulationHardware::readDiagnosticsStatus()
{
    onVexio(*m_hardware, Lane::Ordinary, [](VEXIO& unit) { unit.readDiagnosticsStatus(); });
}

void StimulationHardware::startVexioPolling()
{
    onSession(*m_hardware, [](HardwareSession& session) { session.startVexioPolling(); });
}

void StimulationHardware::stopVexioPolling()
{
    onSession(*m_hardware, [](HardwareSession& session) { session.stopVexioPolling(); });
}

void StimulationHardware::pulseOutputs(std::uint16_t cageMask)
{
    onDio(*m_hardware, [cageMask](DIO& dio) { dio.handleManualPulse(cageMask); });
}

void StimulationHardware::setOutputHold(std::uint16_t cageMask)
{
    onDio(*m_hardware, [cageMask](DIO& dio) { dio.setOutputHold(cageMask); });
}

void StimulationHardware::clearOutput(std::uint16_t cageMask)
{
    onDio(*m_hardware, [cageMask](DIO& dio) { dio.clearOutput(cageMask); });
}

void StimulationHardware::startDIORecording(int nChannels)
{
    onSession(*m_hardware, [nChannels](HardwareSession& session) { session.startDIORecording(nChannels); });
}

void StimulationHardware::stopDIORecording()
{
    onSession(*m_hardware, [](HardwareSession& session) { session.stopDIORecording(); });
}

} // namespace vt
