// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/UnitHealth.h"

#include "base/TimeSource.h"
#include "hardware/DAQInfo.h"
#include "recording/McuHeader.h"
#include "session/StimulationValues.h"
#include "session/UnitInfo.h"

#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int CageCount = VexioSettings::CageCount;

struct FaultText
{
    QString text;
    QString detail;
};

FaultText stimulationFault(HardwareFault fault)
{
    switch (fault) {
    case HardwareFault::StimulationBus:
        return {UnitHealth::tr("Connection to the stimulation unit lost"),
                UnitHealth::tr("It stimulates no cage. The connection is tried again until it works.")};
    case HardwareFault::StimulationMissing:
        return {
            UnitHealth::tr("Stimulation unit not found"),
            UnitHealth::tr("This recording is set up to stimulate. Check the unit's cable and power supply; "
                           "it is used as soon as it answers.")};
    case HardwareFault::StimulationSilent:
        return {UnitHealth::tr("Stimulation unit does not answer"),
                UnitHealth::tr("It stimulates no cage until it does.")};
    case HardwareFault::NoPower:
        return {UnitHealth::tr("12 V of the stimulation unit missing"),
                UnitHealth::tr("No cage is stimulated until the supply is back.")};
    case HardwareFault::TooHot:
        return {UnitHealth::tr("Stimulation unit too hot"),
                UnitHealth::tr("Check that it is not covered, and how often it stimulates. The unit keeps "
                               "this mark until the next recording or segment begins.")};
    case HardwareFault::SpeakerFault:
        return {UnitHealth::tr("Speaker fault"),
                UnitHealth::tr("At least one cage's speaker has a fault. \"Read Status\" in the diagnostics "
                               "tells which.")};
    default:
        return {UnitHealth::tr("Cages could not be stopped"), {}};
    }
}

FaultText faultText(HardwareFault fault)
{
    switch (fault) {
    case HardwareFault::UnitAway:
        return {
            UnitHealth::tr("Waiting for the unit"),
            UnitHealth::tr("The acquisition unit does not answer. Check its cable and its power supply.")};
    case HardwareFault::OutputsBus:
        return {UnitHealth::tr("Connection to the digital outputs and inputs lost"),
                UnitHealth::tr("Outputs keep the state that they have, and inputs are not noticed. The "
                               "connection is tried again until it works.")};
    case HardwareFault::OutputsMissing:
        return {
            UnitHealth::tr("Digital outputs and inputs not found"),
            UnitHealth::tr("This recording is set up to use them; they are used as soon as they answer.")};
    case HardwareFault::OutputsSilent:
        return {UnitHealth::tr("Digital outputs and inputs do not answer"),
                UnitHealth::tr("Outputs do not switch and inputs are not noticed until they do.")};
    case HardwareFault::SensorShorted:
        return {UnitHealth::tr("Sensor shorted"),
                UnitHealth::tr("At least one sensor is shorted. Its channel has no usable signal until its "
                               "cable or the sensor has been changed.")};
    case HardwareFault::McuBus:
        return {UnitHealth::tr("Push button and sensors not supervised"),
                UnitHealth::tr("The connection to the unit's microcontroller has failed. It is tried again "
                               "until it works.")};
    case HardwareFault::SensorCountChanged:
        return {UnitHealth::tr("Number of sensors changed"),
                UnitHealth::tr("Select the unit again to record from them.")};
    default:
        return stimulationFault(fault);
    }
}

HardwareFault busFault(UnitBus bus)
{
    switch (bus) {
    case UnitBus::StimulationUnit:
        return HardwareFault::StimulationBus;
    case UnitBus::PortExpanders:
        return HardwareFault::OutputsBus;
    case UnitBus::Microcontroller:
        break;
    }
    return HardwareFault::McuBus;
}

} // namespace

UnitHealth::UnitHealth(DAQInfo& daqInfo, TimeSource& time)
    : m_daqInfo(daqInfo), m_hardware(daqInfo.stimulation()), m_time(time)
{
    connectUnit();
    connectStimulation();
    connectOutputs();
}

void UnitHealth::connectUnit()
{
    connect(&m_daqInfo, &DAQInfo::sensorShorted, this,
            [this](bool isShorted) { set(HardwareFault::SensorShorted, isShorted); });
    connect(&m_daqInfo, &DAQInfo::sensorCountChanged, this, [this](int sensors) {
        set(HardwareFault::SensorCountChanged, sensors != m_sensorCount,
            tr("Sensors that the unit finds now: %1; when it was selected: %2. A recording goes on with the "
               "channels that it began with; select the unit again to record from all of them.")
                .arg(sensors)
                .arg(m_sensorCount));
    });
    connect(&m_daqInfo, &DAQInfo::ledStateChanged, this, [this](bool isOn) {
        if (std::exchange(m_isLightOn, isOn) != isOn)
            emit changed();
    });
    connect(&m_daqInfo, &DAQInfo::waitingForDevice, this, [this] {
        m_isWaiting = true;
        noteAway();
    });
    connect(&m_daqInfo, &DAQInfo::waitingEnded, this, [this] {
        m_isWaiting = false;
        noteAway();
    });
    connect(&m_hardware, &StimulationHardware::busLost, this, [this](UnitBus bus) {
        set(busFault(bus), true);
        if (bus == UnitBus::Microcontroller)
            set(HardwareFault::SensorShorted, false); // told again when the bus works
    });
    connect(&m_hardware, &StimulationHardware::busRestored, this,
            [this](UnitBus bus) { set(busFault(bus), false); });
}

void UnitHealth::connectStimulation()
{
    connect(&m_hardware, &StimulationHardware::presenceChanged, this, &UnitHealth::notePresence);
    connect(&m_hardware, &StimulationHardware::powerFaultDetected, this,
            [this] { set(HardwareFault::NoPower, true); });
    connect(&m_hardware, &StimulationHardware::powerRestored, this,
            [this] { set(HardwareFault::NoPower, false); });
    connect(&m_hardware, &StimulationHardware::overTempDetected, this,
            [this] { set(HardwareFault::TooHot, true); });
    connect(&m_hardware, &StimulationHardware::systemStatusChanged, this, &UnitHealth::noteSystemStatus);
    connect(&m_hardware, &StimulationHardware::diagnosticsStatusRead, this,
            [this](std::uint8_t status, std::uint8_t, std::uint8_t faults0C, std::uint8_t faults0D) {
                noteSystemStatus(status);
                noteSpeakers(faults0C, faults0D);
            });
    connect(&m_hardware, &StimulationHardware::speakerDiagnosticsResults, this, &UnitHealth::noteSpeakers);
    connect(&m_hardware, &StimulationHardware::vexioAnsweringChanged, this,
            [this](bool isAnswering) { set(HardwareFault::StimulationSilent, !isAnswering); });
    connect(&m_hardware, &StimulationHardware::unstoppedCagesChanged, this, [this](std::uint8_t cageMask) {
        QStringList cages;
        for (int cage = 0; cage < CageCount; ++cage)
            if (((cageMask >> cage) & 1) != 0)
                cages << QString::number(cage + 1);
        set(HardwareFault::CagesNotStopped, cageMask != 0,
            tr("These cages may still be stimulated: %1. Stopping them is tried again until it works.")
                .arg(cages.join(u", "_s)));
    });
}

void UnitHealth::connectOutputs()
{
    connect(&m_hardware, &StimulationHardware::dioAnsweringChanged, this,
            [this](bool isAnswering) { set(HardwareFault::OutputsSilent, !isAnswering); });
}

void UnitHealth::set(HardwareFault fault, bool isThere, const QString& detail)
{
    const std::vector<HardwareProblem> before = problems();
    if (!isThere)
        m_facts.erase(fault);
    else if (const auto [fact, isNew] = m_facts.try_emplace(fault, Fact{m_time.now(), detail});
             !isNew && !detail.isEmpty())
        fact->second.detail = detail;
    if (problems() != before)
        emit changed();
}

void UnitHealth::noteSystemStatus(std::uint8_t status)
{
    const UnitStatus state = unitStatus(status);
    set(HardwareFault::NoPower, !state.hasPower);
    set(HardwareFault::TooHot, state.hasPower && state.isTooHot);
    // Which speaker it is may be known already.
    if (!state.hasSpeakerFault || !m_facts.contains(HardwareFault::SpeakerFault))
        set(HardwareFault::SpeakerFault, state.hasSpeakerFault);
}

void UnitHealth::noteSpeakers(std::uint8_t faults0C, std::uint8_t faults0D)
{
    QStringList lines;
    for (int cage = 0; cage < CageCount; ++cage)
        if (const int fault = speakerFault(faults0C, faults0D, cage); fault != 0)
            lines << tr("Cage %1: %2").arg(QString::number(cage + 1), speakerFaultWords(fault));
    set(HardwareFault::SpeakerFault, !lines.isEmpty(), lines.join(u'\n'));
}

void UnitHealth::notePresence()
{
    if (!m_hardware.vexioPresent()) // not there, or about to be set up again
        for (const HardwareFault fault :
             {HardwareFault::NoPower, HardwareFault::TooHot, HardwareFault::SpeakerFault,
              HardwareFault::StimulationSilent, HardwareFault::CagesNotStopped})
            set(fault, false);
    if (!m_hardware.dioPresent())
        set(HardwareFault::OutputsSilent, false);
    set(HardwareFault::StimulationMissing, m_isUnitWanted && !m_hardware.vexioPresent());
    set(HardwareFault::OutputsMissing, m_areOutputsWanted && !m_hardware.dioPresent());
}

void UnitHealth::noteAway()
{
    const bool isAway = m_isPaused || m_isWaiting || m_isLost;
    if (isAway)
        set(HardwareFault::SensorShorted, false); // told again when the unit is back
    QString detail;
    if (m_isPaused)
        detail = tr("The recording is paused. It goes on by itself when the acquisition unit is back.");
    else if (m_isLost && !m_isWaiting)
        detail = tr("The unit stopped responding and the recording was ended. Choose the unit again in the "
                    "setup when it is back.");
    set(HardwareFault::UnitAway, isAway, detail);
}

void UnitHealth::unitLost()
{
    m_isLost = true;
    noteAway();
}

bool UnitHealth::isTold(HardwareFault fault) const
{
    if (fault == HardwareFault::UnitAway || !m_facts.contains(HardwareFault::UnitAway))
        switch (fault) {
        case HardwareFault::StimulationSilent: // they are only polled while they are wanted
        case HardwareFault::NoPower:
        case HardwareFault::TooHot:
        case HardwareFault::SpeakerFault:
            return m_isUnitWanted;
        case HardwareFault::OutputsSilent:
            return m_areOutputsWanted;
        default:
            return true;
        }
    return false;
}

std::vector<HardwareProblem> UnitHealth::problems() const
{
    std::vector<HardwareProblem> told;
    for (const auto& [fault, fact] : m_facts) {
        if (!isTold(fault))
            continue;
        const FaultText words = faultText(fault);
        const bool isWarning = fault >= HardwareFault::SensorShorted;
        told.push_back(
            {fault, isWarning, words.text, fact.detail.isEmpty() ? words.detail : fact.detail, fact.since});
    }
    return told;
}

void UnitHealth::toggleLight()
{
    m_daqInfo.toggleLEDCtrl();
}

void UnitHealth::unitSelected()
{
    m_facts.clear();
    m_isLost = false;
    m_sensorCount = 0;
    m_isLightOn = false; // the driver's reset switches it off
    emit changed();
}

void UnitHealth::unitRead(const MCUHeader& header)
{
    m_sensorCount = header.sensorCount;
    const bool isShorted = header.shortedMask != 0 || (header.status & McuSensorShorted) != 0;
    set(HardwareFault::SensorShorted, isShorted, shortedSensorsText(header.shortedMask));
    set(HardwareFault::SensorCountChanged, (header.status & McuSensorCountChanged) != 0);
}

void UnitHealth::recordingStarted(const RecordingContext& context)
{
    const bool isUnit = context.vexio && context.vexio->enabled;
    m_isUnitWanted = isUnit;
    m_areOutputsWanted =
        (context.dio && context.dio->enabled) || (isUnit && context.vexio->extTriggerMask != 0);
    notePresence();
    emit changed(); // what is told depends on what is wanted
}

/// A failed bus keeps a segment from starting, so that all of them work.
void UnitHealth::segmentStarted(const RecordingContext&)
{
    m_isPaused = false;
    m_isLost = false;
    for (const HardwareFault fault :
         {HardwareFault::McuBus, HardwareFault::StimulationBus, HardwareFault::OutputsBus})
        set(fault, false);
    noteAway();
}

void UnitHealth::segmentStopping(TeardownKind kind)
{
    m_isPaused = kind == TeardownKind::Pause;
    noteAway();
}

void UnitHealth::recordingStopped()
{
    m_isPaused = false;
    m_isUnitWanted = false;
    m_areOutputsWanted = false;
    noteAway();
    notePresence();
    emit changed();
}

} // namespace vt
