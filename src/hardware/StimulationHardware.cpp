// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationHardware.h"

#include "hardware/DIO.h"
#include "hardware/HardwareThread.h"
#include "hardware/VEXIO.h"

namespace vt {

namespace {

using Lane = HardwareThread::Lane;
using Target = StimulationOrder::Target;

constexpr std::uint16_t AllCages = 0xFFFF;

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

StimulationHardware::StimulationHardware(QObject* parent)
    : QObject(parent), m_check(std::make_shared<StimulationOrderCheck>())
{}

StimulationHardware::~StimulationHardware() = default;

void StimulationHardware::attach(std::shared_ptr<HardwareThread> hardware)
{
    m_hardware = std::move(hardware);
}

void StimulationHardware::beginSelection(quint64 selection)
{
    m_selection = selection;
    cancelPending();
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
    TimeSource& time = m_hardware->time();
    m_hardware->run(
        [order = m_orders.add(Target::Unit, cageMask, time.monotonicUs()), check = m_check, &time,
         isForNone = cageMask == 0](HardwareSession& session) -> VEXIO::Activation {
            const auto remaining = [&] {
                return static_cast<std::uint8_t>(check->remaining(*order, time.monotonicUs()));
            };
            const std::uint8_t cages = isForNone ? std::uint8_t{0} : remaining();
            if (cages == 0 && !isForNone)
                return std::nullopt;
            const VEXIO::Activation writtenUs = session.vexio().activateStimulation(cages, remaining);
            if (writtenUs)
                check->noteCarriedOut();
            return writtenUs;
        },
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
    m_orders.withdraw(Target::Unit, cageMask);
    onVexio(*m_hardware, Lane::Halt, [cageMask](VEXIO& unit) { unit.stopStimulation(cageMask); });
}

void StimulationHardware::updateCageEnableConfig(std::uint8_t enableMask)
{
    m_orders.withdraw(Target::Unit, static_cast<std::uint16_t>(~unsigned{enableMask}));
    onVexio(*m_hardware, Lane::Halt, [enableMask](VEXIO& unit) { unit.updateCageEnableConfig(enableMask); });
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

void StimulationHardware::drive(std::uint16_t cageMask, void (DIO::*step)(std::uint16_t))
{
    TimeSource& time = m_hardware->time();
    m_hardware->run(
        [order = m_orders.add(Target::Outputs, cageMask, time.monotonicUs()), check = m_check, &time,
         step](HardwareSession& session) {
            const std::uint16_t cages = check->remaining(*order, time.monotonicUs());
            if (cages == 0 || !session.dio())
                return false;
            (session.dio()->*step)(cages);
            check->noteCarriedOut();
            return true;
        },
        [](bool) {}, Lane::Stimulation);
}

void StimulationHardware::pulseOutputs(std::uint16_t cageMask)
{
    drive(cageMask, &DIO::handleManualPulse);
}

void StimulationHardware::setOutputHold(std::uint16_t cageMask)
{
    drive(cageMask, &DIO::setOutputHold);
}

void StimulationHardware::clearOutput(std::uint16_t cageMask)
{
    m_orders.withdraw(Target::Outputs, cageMask);
    m_hardware->run(
        [cageMask](HardwareSession& session) {
            session.clearOutput(cageMask);
            return true;
        },
        [](bool) {}, Lane::Halt);
}

void StimulationHardware::endOutputHold(std::uint16_t cageMask)
{
    const Lane lane = m_orders.isWaiting(Target::Outputs, cageMask) ? Lane::Stimulation : Lane::Halt;
    m_hardware->run(
        [cageMask](HardwareSession& session) {
            session.endOutputHold(cageMask);
            return true;
        },
        [](bool) {}, lane);
}

void StimulationHardware::cancelPending()
{
    m_orders.withdraw(Target::Unit, AllCages);
    m_orders.withdraw(Target::Outputs, AllCages);
}

void StimulationHardware::startDIORecording(int nChannels)
{
    onSession(*m_hardware, [nChannels](HardwareSession& session) { session.startDIORecording(nChannels); });
}

void StimulationHardware::stopDIORecording()
{
    onSession(*m_hardware, [](HardwareSession& session) { session.stopDIORecording(); });
}

void StimulationHardware::watchInputs(bool isWatched)
{
    onSession(*m_hardware, [isWatched](HardwareSession& session) { session.watchInputs(isWatched); });
}

} // namespace vt
