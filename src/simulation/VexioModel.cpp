// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/VexioModel.h"

#include <utility>

namespace vt {

namespace {

constexpr std::uint8_t Activate = 0x00;
constexpr std::uint8_t Stop = 0x04;
constexpr std::uint8_t Enabled = 0x08;
constexpr std::uint8_t Active = 0x09;
constexpr std::uint8_t SystemStatus = 0x0A;
constexpr std::uint8_t ExtraStatus = 0x0B;
constexpr std::uint8_t FaultsLow = 0x0C;
constexpr std::uint8_t FaultsHigh = 0x0D;
constexpr std::uint8_t DiagnosticControl = 0x32;
constexpr std::uint8_t DiagnosticCounter = 0x34;
constexpr std::uint8_t FirstCage = 0x38;
constexpr std::uint8_t UnitInformation = 0x78;
constexpr std::uint8_t UnitInformationEnd = 0x7F;

constexpr std::uint8_t BitOverTemperature = 0x01;
constexpr std::uint8_t BitSpeakerFault = 0x04;
constexpr std::uint8_t BitNoSupply = 0x80;
constexpr std::uint8_t StickyStatusMask = 0x79;
constexpr std::uint8_t BitBrownOut = 0x10;
constexpr std::uint8_t BitSupplyLost = 0x80;
constexpr std::uint8_t StickyExtraMask = 0x90;
constexpr std::uint8_t BitDiagnose = 0x40;

constexpr int CyclesUntilReport = 3;
constexpr std::uint8_t FirstCounterValue = 0xFD; ///< so that the first diagnosis wraps
constexpr std::int64_t DurationStepUs = 500'000;

constexpr std::uint8_t bit(int cage)
{
    return static_cast<std::uint8_t>(1U << cage);
}

constexpr std::size_t block(int cage)
{
    return FirstCage + 8U * static_cast<std::size_t>(cage);
}

} // namespace

VexioModel::VexioModel(std::uint32_t serialNumber, UnitClock clock, DeviceEventLog& events)
    : I2cSlave(Address8), m_serialNumber(serialNumber), m_clock(std::move(clock)), m_events(events)
{
    initialiseRegisters();
}

/// Profiles as delivered: 99 Hz, 5.0 V, 2 s, sine.
void VexioModel::initialiseRegisters()
{
    m_registers = {};
    m_registers[DiagnosticCounter] = FirstCounterValue;
    for (int cage = 0; cage < CageCount; ++cage) {
        m_registers[block(cage)] = 4;
        m_registers[block(cage) + 1] = 127;
        m_registers[block(cage) + 2] = 4;
    }
    for (unsigned i = 0; i < 4; ++i)
        m_registers[UnitInformation + i] = static_cast<std::uint8_t>(m_serialNumber >> (8 * i));
    m_registers[UnitInformation + 4] = 0x01;
    m_registers[UnitInformation + 6] = 0x10;
    m_stickyStatus = m_overTemperature ? BitOverTemperature : 0;
    m_stickyExtra = 0;
    m_cycles = 0;
}

// ---- the clock ----

void VexioModel::update()
{
    const std::int64_t nowUs = m_clock();
    endProfiles(nowUs);
    runDiagnostics(nowUs);
}

/// In the order in which they end, so that the events are in order too.
void VexioModel::endProfiles(std::int64_t nowUs)
{
    while (true) {
        int first = -1;
        for (int cage = 0; cage < CageCount; ++cage) {
            const auto index = static_cast<std::size_t>(cage);
            const bool due = (m_active & bit(cage)) != 0 && m_endUs[index] <= nowUs;
            if (due && (first < 0 || m_endUs[index] < m_endUs[static_cast<std::size_t>(first)]))
                first = cage;
        }
        if (first < 0)
            return;
        stop(bit(first), m_endUs[static_cast<std::size_t>(first)]);
    }
}

void VexioModel::runDiagnostics(std::int64_t nowUs)
{
    if (!diagnosing() || !amplifierPowered() || nowUs < m_nextCycleUs)
        return;
    const std::int64_t cycles = (nowUs - m_nextCycleUs) / DiagnosticCycleUs + 1;
    m_nextCycleUs += cycles * DiagnosticCycleUs;
    m_cycles += cycles;
    m_registers[DiagnosticCounter] = static_cast<std::uint8_t>(m_registers[DiagnosticCounter] + cycles);
    if (m_cycles >= CyclesUntilReport)
        reportFaults(m_registers[Enabled], 1);
}

bool VexioModel::diagnosing() const
{
    return (m_registers[DiagnosticControl] & BitDiagnose) != 0;
}

bool VexioModel::amplifierPowered() const
{
    return m_supplyPresent && m_registers[Enabled] != 0;
}

void VexioModel::reportFaults(std::uint8_t cages, std::uint8_t leastCode)
{
    for (int cage = 0; cage < CageCount; ++cage) {
        const auto code = static_cast<std::uint8_t>(m_speakers[static_cast<std::size_t>(cage)]);
        if ((cages & bit(cage)) == 0 || code == 0 || code < leastCode)
            continue;
        std::uint8_t& faults = m_registers[cage < 4 ? FaultsLow : FaultsHigh];
        const int shift = 2 * (cage % 4);
        faults = static_cast<std::uint8_t>((faults & ~(3 << shift)) | (code << shift));
    }
}

// ---- what the master does ----

std::uint8_t VexioModel::systemStatus() const
{
    const bool fault = (m_registers[FaultsLow] | m_registers[FaultsHigh]) != 0;
    return static_cast<std::uint8_t>(m_stickyStatus | (fault ? BitSpeakerFault : 0) |
                                     (m_supplyPresent ? 0 : BitNoSupply));
}

std::uint8_t VexioModel::readRegister(std::uint8_t address)
{
    update();
    switch (address) {
    case Active:
        return m_active;
    case SystemStatus:
        return systemStatus();
    case ExtraStatus:
        return m_stickyExtra;
    default:
        return m_registers[address];
    }
}

bool VexioModel::writeRegister(std::uint8_t address, std::uint8_t value)
{
    update();
    const std::int64_t nowUs = m_clock();
    switch (address) {
    case Activate:
        activate(value, nowUs);
        break;
    case Stop:
        stop(value, nowUs);
        break;
    case Enabled:
        configure(value, nowUs);
        break;
    case SystemStatus:
        m_stickyStatus = static_cast<std::uint8_t>(m_stickyStatus & ~(value & StickyStatusMask));
        if (m_overTemperature)
            m_stickyStatus |= BitOverTemperature;
        break;
    case ExtraStatus:
        m_stickyExtra = static_cast<std::uint8_t>(m_stickyExtra & ~(value & StickyExtraMask));
        break;
    case FaultsLow:
    case FaultsHigh:
        m_registers[address] &= value;
        break;
    case DiagnosticControl:
        setDiagnosticControl(value, nowUs);
        break;
    default:
        const bool readOnly = address == Active || address == DiagnosticCounter ||
                              (address >= UnitInformation && address < UnitInformationEnd);
        if (!readOnly)
            m_registers[address] = value;
    }
    return true;
}

void VexioModel::activate(std::uint8_t mask, std::int64_t nowUs)
{
    if (!m_supplyPresent || diagnosing())
        return;
    const auto cages = static_cast<std::uint8_t>(mask & m_registers[Enabled]);
    stop(cages, nowUs);
    for (int cage = 0; cage < CageCount; ++cage) {
        if ((cages & bit(cage)) == 0)
            continue;
        const std::size_t at = block(cage);
        if (++m_registers[at + 4] == 0)
            ++m_registers[at + 5];
        m_active |= bit(cage);
        m_endUs[static_cast<std::size_t>(cage)] = nowUs + m_registers[at + 2] * DurationStepUs;
        m_events.add({DeviceEvent::Kind::StimulationStarted, cage + 1, false, nowUs});
    }
    reportFaults(cages, static_cast<std::uint8_t>(Speaker::Short));
}

void VexioModel::stop(std::uint8_t mask, std::int64_t timeUs)
{
    for (int cage = 0; cage < CageCount; ++cage) {
        if ((m_active & mask & bit(cage)) == 0)
            continue;
        m_active = static_cast<std::uint8_t>(m_active & ~bit(cage));
        m_events.add({DeviceEvent::Kind::StimulationStopped, cage + 1, false, timeUs});
    }
}

void VexioModel::configure(std::uint8_t mask, std::int64_t nowUs)
{
    const bool wasPowered = amplifierPowered();
    m_registers[Enabled] = mask;
    stop(static_cast<std::uint8_t>(~mask), nowUs);
    if (!wasPowered)
        m_nextCycleUs = nowUs + DiagnosticCycleUs;
}

void VexioModel::setDiagnosticControl(std::uint8_t value, std::int64_t nowUs)
{
    const bool wasDiagnosing = diagnosing();
    m_registers[DiagnosticControl] = value;
    if (wasDiagnosing)
        return;
    m_nextCycleUs = nowUs + DiagnosticCycleUs;
    m_cycles = 0;
}

// ---- what happens to the unit ----

void VexioModel::setSupplyPresent(bool present)
{
    update();
    if (m_supplyPresent == present)
        return;
    m_supplyPresent = present;
    const std::int64_t nowUs = m_clock();
    m_nextCycleUs = nowUs + DiagnosticCycleUs;
    if (present)
        return;
    m_stickyExtra |= BitSupplyLost;
    stop(0xFF, nowUs);
}

void VexioModel::setOverTemperature(bool hot)
{
    m_overTemperature = hot;
    if (hot)
        m_stickyStatus |= BitOverTemperature;
}

void VexioModel::setSpeaker(int cage, Speaker speaker)
{
    update();
    m_speakers[static_cast<std::size_t>(cage)] = speaker;
}

void VexioModel::brownOut()
{
    update();
    m_registers[Enabled] = 0;
    m_stickyExtra |= BitBrownOut;
    stop(0xFF, m_clock());
}

void VexioModel::restart()
{
    update();
    stop(0xFF, m_clock());
    initialiseRegisters();
}

} // namespace vt
