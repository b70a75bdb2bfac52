// SPDX-License-Identifier: GPL-3.0-or-later
// HardwareSession while an acquisition runs: a bus that has failed is set up again alone, over and over.
#include "hardware/HardwareSession.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {

[[nodiscard]] const char* busOwner(UnitBus which)
{
    switch (which) {
    case UnitBus::Microcontroller:
        break;
    case UnitBus::StimulationUnit:
        return "the stimulation unit";
    case UnitBus::PortExpanders:
        return "the port expanders";
    }
    return "the microcontroller";
}

} // namespace

std::unique_ptr<I2C> HardwareSession::makeBus(UnitBus which) const
{
    switch (which) {
    case UnitBus::Microcontroller:
        break;
    case UnitBus::StimulationUnit:
        return std::make_unique<I2C>(m_context.driver, m_device.name, 0, 4, 5, 6);
    case UnitBus::PortExpanders:
        return std::make_unique<I2C>(m_context.driver, m_device.name, 1, 0, 1, 2);
    }
    return std::make_unique<I2C>(m_context.driver, m_device.name, 0, 0, 1, 2);
}

std::unique_ptr<I2C>& HardwareSession::bus(UnitBus which)
{
    switch (which) {
    case UnitBus::Microcontroller:
        break;
    case UnitBus::StimulationUnit:
        return m_stimulationBus;
    case UnitBus::PortExpanders:
        return m_dioBus;
    }
    return m_mcuBus;
}

/// A bus that failed before, as one on lines that this unit does not have, counts as not there.
void HardwareSession::watchBus(UnitBus which)
{
    if (bus(which)->failed())
        return;
    bus(which)->setFailureHandler([this, which] {
        qWarning("HardwareSession: the bus of %s has failed", busOwner(which));
        m_lostBuses.insert(which);
        tell([which](StimulationHardware& receiver) { emit receiver.busLost(which); });
        updateAttempts();
    });
}

void HardwareSession::setAcquiring(bool isAcquiring)
{
    m_isAcquiring = isAcquiring;
    updateAttempts();
}

void HardwareSession::updateAttempts()
{
    for (const UnitBus which : AllBuses) {
        RepeatedAttempt* repeated = m_attempts[static_cast<std::size_t>(which)].get();
        if (!repeated)
            continue; // nothing is set up
        bool isDue = m_lostBuses.contains(which);
        bool isUrgent = false; // with or without an acquisition
        if (which == UnitBus::StimulationUnit) {
            isUrgent = isDue && m_vexio && m_vexio->owesStop();
            isDue = isDue || (m_isVexioPolling && m_vexio && !m_vexio->isInitialised());
        }
        if (which == UnitBus::PortExpanders) {
            isUrgent = isDue && m_dio && !m_dio->areOutputsTaken();
            isDue = isDue || m_isDioIncomplete || (m_dioRecordingChannels && !m_dio);
        }
        if (isDue && (m_isAcquiring || isUrgent))
            repeated->begin();
        else
            repeated->giveUp();
    }
}

bool HardwareSession::attempt(UnitBus which)
{
    // Another unit under this name would get what is meant for this one.
    if (lookForDevice(m_context.driver, m_device) != DevicePresence::Present)
        return false;
    if (bus(which)->failed() && !replaceBus(which))
        return false;
    bool isDone = true;
    if (which == UnitBus::StimulationUnit)
        isDone = attemptVexio();
    else if (which == UnitBus::PortExpanders)
        isDone = attemptDio();
    return isDone && !m_lostBuses.contains(which); // it may have failed again meanwhile
}

/// A unit that was not there when the device was set up, or was not ready.
bool HardwareSession::attemptVexio()
{
    if (m_vexio->isInitialised() || !m_isVexioPolling)
        return true; // nobody misses it
    if (!VEXIO::isThere(*m_stimulationBus))
        return false;
    initVexio();
    if (!m_vexio->isInitialised())
        return false;
    qInfo("HardwareSession: the stimulation unit answers now");
    startVexioPolling();
    tellPresence();
    return true;
}

/// A new bus in place of one that has failed, under what hangs on it.
bool HardwareSession::replaceBus(UnitBus which)
{
    std::unique_ptr<I2C> fresh = makeBus(which);
    if (fresh->failed())
        return false;
    qInfo("HardwareSession: the bus of %s works again", busOwner(which));
    const std::unique_ptr<I2C> old = std::exchange(bus(which), std::move(fresh)); // until nobody uses it
    m_lostBuses.erase(which);
    watchBus(which);
    if (which == UnitBus::Microcontroller)
        startStatusPoll();
    else if (which == UnitBus::StimulationUnit)
        m_vexio->restore(m_stimulationBus.get(), m_device.name);
    else
        m_isDioIncomplete = m_dio != nullptr;
    tell([which](StimulationHardware& receiver) { emit receiver.busRestored(which); });
    return bus(which) && !bus(which)->failed();
}

bool HardwareSession::attemptDio()
{
    if (m_dio) {
        m_isDioIncomplete = !m_dio->restore(m_dioBus.get());
        return !m_isDioIncomplete;
    }
    if (!m_dioRecordingChannels)
        return true; // nobody misses them
    if (!DIO::isThere(*m_dioBus))
        return false;
    initDio();
    if (!m_dio)
        return false;
    tellPresence();
    lookAtInputs();
    return true;
}

} // namespace vt
