// SPDX-License-Identifier: GPL-3.0-or-later
// How the stimulation unit is told to stimulate: checks, the resync of the enable mask, the activation; and
// to stop.
#include "hardware/ByteText.h"
#include "hardware/I2C.h"
#include "hardware/VEXIO.h"
#include "hardware/VexioRegisters.h"

#include <QDebug>
#include <algorithm>
#include <bit>
#include <utility>

namespace vt {

using namespace VEXIO_NS;

namespace {

constexpr int PowerSettleMs = 1000;

} // namespace

bool VEXIO::mayActivate(std::uint8_t cageMask)
{
    if (cageMask == 0) {
        qDebug("VEXIO::activateStimulation - No cages specified (mask = 0)");
        return false;
    }
    if (m_diagnostics) {
        qDebug("VEXIO::activateStimulation - Blocked during diagnostics");
        return false;
    }
    if (!isBelievable()) {
        qDebug("VEXIO::activateStimulation - Skipped: the unit does not answer");
        return false;
    }
    if ((m_cachedStatus & StatusNoPower) != 0) {
        qDebug("VEXIO::activateStimulation - Skipped: 12V power not present (cached status)");
        return false;
    }
    if (!m_powerEdgeMs)
        return true;
    const qint64 elapsedMs = m_context.time.monotonicMs() - *m_powerEdgeMs;
    if (elapsedMs >= PowerSettleMs)
        return true;
    qDebug().noquote() << "VEXIO::activateStimulation - Skipped: within" << PowerSettleMs
                       << "ms 12V settle window (" << elapsedMs << "ms since edge)";
    return false;
}

/// Interrupted diagnostics leave the unit in a mode in which it does not stimulate.
void VEXIO::leaveDiagnosticMode()
{
    const auto reg50 = readRegister(REG_50);
    if (!reg50 || (*reg50 & DiagnosticsEnable) == 0)
        return;
    qDebug("VEXIO: Clearing diagnostic mode before stimulation");
    if (!writeRegister(REG_50, static_cast<std::uint8_t>(*reg50 & ~DiagnosticsEnable)))
        qDebug("VEXIO::activateStimulation - I2C write failed for Reg50");
}

void VEXIO::logEnabledFaults(const QString& prefix)
{
    const auto faults = readSpeakerFaults();
    if (!faults)
        return;
    for (int cage = 0; cage < CageCount; ++cage) {
        const int code = speakerFaultCode(faults->faults0C, faults->faults0D, cage);
        if (((m_configMask >> cage) & 1) != 0 && code != 0)
            qDebug().noquote() << prefix << cage + 1 << "speaker fault:" << speakerFaultShortText(code);
    }
}

/// After a brown-out the unit has all cages disabled, so the mask is written before every activation.
void VEXIO::resyncCageEnable()
{
    const auto current = readRegister(REG_BSCONFIG);
    if (current && m_configMask != 0 && *current != m_configMask) {
        qDebug().noquote() << "VEXIO: *** HARDWARE CLEARED REG_BSCONFIG! *** Last:"
                           << binaryByte(m_configMask) << "Current:" << binaryByte(*current);
        logEnabledFaults(QStringLiteral("  Cage"));
        forgetWrittenProfiles(); // they went with the mask
        if (m_isPolled)          // a data line that is held low reads as zeros, too
            m_checkTimer->start(CheckSoonMs, TimerMode::SingleShot);
    }
    if (writeRegister(REG_BSCONFIG, m_configMask))
        m_isDisablingOwed = false;
    else
        qDebug("VEXIO: ERROR - Failed to restore REG_BSCONFIG!");
}

void VEXIO::warnBeforeActivation(std::uint8_t cageMask)
{
    if ((cageMask & ~m_configMask) != 0)
        qDebug().noquote() << "VEXIO: WARNING - Requested cages" << binaryByte(cageMask) << "but only"
                           << binaryByte(m_configMask) << "enabled in BSCONFIG";
    const auto status = readRegister(REG_SYSTEM_STATUS);
    if (!status)
        return;
    if ((*status & StatusNoPower) != 0) {
        qDebug("VEXIO: WARNING - 12V Power NOT PRESENT!");
        const auto& [extra, faults0C, faults0D] = m_lastDiagnostics;
        emit diagnosticsStatusRead(*status, extra, faults0C, faults0D);
    }
    if ((*status & StatusSpeakerFault) != 0)
        logEnabledFaults(QStringLiteral("VEXIO: WARNING - Cage"));
}

/// Profiles that the unit did not take when they were set: it may have been away then.
void VEXIO::rewriteProfiles(std::uint8_t cageMask)
{
    for (int cage = 0; cage < CageCount; ++cage) {
        const Profile profile = m_profiles[static_cast<std::size_t>(cage)];
        if (((cageMask >> cage) & 1) == 0 || profile.isWritten || !profile.wanted)
            continue;
        if (writeCageConfig(cage, *profile.wanted))
            qInfo("VEXIO: profile of cage %d written again before stimulation", cage + 1);
    }
}

/// Every profile is written again before its cage is stimulated next.
void VEXIO::forgetWrittenProfiles()
{
    for (Profile& profile : m_profiles)
        profile.isWritten = false;
}

VEXIO::Activation VEXIO::activateStimulation(std::uint8_t cageMask)
{
    return activateStimulation(cageMask, [cageMask] { return cageMask; });
}

VEXIO::Activation VEXIO::activateStimulation(std::uint8_t cageMask,
                                             const std::function<std::uint8_t()>& remaining)
{
    if (!hasBus("activateStimulation")) {
        emit operationComplete(false, QStringLiteral("Stimulation failed: I2C not initialized"));
        return std::nullopt;
    }
    if (!mayActivate(cageMask))
        return std::nullopt;
    leaveDiagnosticMode();
    resyncCageEnable();
    rewriteProfiles(cageMask);
    warnBeforeActivation(cageMask);
    const std::uint8_t cages = remaining();
    if (cages == 0)
        return std::nullopt;
    if (!writeRegister(REG_BSACTIVATE, cages)) {
        qDebug("VEXIO::activateStimulation - I2C write failed for REG_BSACTIVATE");
        emit operationComplete(false, QStringLiteral("Stimulation failed: I2C write error"));
        return std::nullopt;
    }
    const qint64 writtenUs = m_context.time.monotonicUs();
    settleStop(cages);
    m_uncheckedStops = static_cast<std::uint8_t>(m_uncheckedStops & ~cages);
    emit operationComplete(true,
                           QStringLiteral("Stimulation activated for %1 cage(s)").arg(std::popcount(cages)));
    m_refreshed = 0; // what has been read of them so far may have changed
    m_refreshTimer->start(RefreshDelayMs, TimerMode::SingleShot);
    return writtenUs;
}

void VEXIO::stopStimulation(std::uint8_t cageMask)
{
    if (!hasBus("stopStimulation") || cageMask == 0)
        return;
    if (m_diagnostics) {
        qDebug("VEXIO::stopStimulation - Blocked during diagnostics");
        return;
    }
    if (writeStop(cageMask))
        qDebug().noquote() << "VEXIO::stopStimulation - Stopped cages:" << binaryByte(cageMask);
    else
        qDebug("VEXIO::stopStimulation - I2C write failed for REG_BSSTOP");
}

/// A cage that is to be stopped is an animal that is being shaken: what the unit has not taken is written
/// again.
bool VEXIO::writeStop(std::uint8_t cageMask)
{
    if (writeRegister(REG_BSSTOP, cageMask)) {
        settleStop(cageMask);
        m_uncheckedStops |= cageMask;
        return true;
    }
    m_unstopped |= cageMask;
    if (m_bus->failed())
        tellUnstopped();
    else
        retryStopLater();
    return false;
}

void VEXIO::retryStopLater()
{
    if (m_stopTimer->isActive() || m_bus->failed())
        return;
    m_stopRetries = 0;
    m_stopTimer->start(FirstStopRetryMs, TimerMode::SingleShot);
}

void VEXIO::retryStop()
{
    m_stopTimer->stop();
    if (m_diagnostics)
        return; // they have stopped all cages
    const bool isStopped = m_unstopped == 0 || writeRegister(REG_BSSTOP, m_unstopped);
    if (isStopped && m_unstopped != 0) {
        qInfo().noquote() << "VEXIO: stopped at a further try, cages:" << binaryByte(m_unstopped);
        settleStop(m_unstopped);
    }
    m_isDisablingOwed = m_isDisablingOwed && !writeRegister(REG_BSCONFIG, m_configMask);
    if (isStopped && !m_isDisablingOwed)
        return;
    m_stopRetries = std::min(m_stopRetries + 1, MostStopRetries + 1);
    if (m_bus->failed() || m_stopRetries == MostStopRetries)
        tellUnstopped();
    // While the status is polled, its next answer is the time for a further try.
    if (!m_bus->failed() && (m_stopRetries < MostStopRetries || !m_isPolled))
        m_stopTimer->start(FirstStopRetryMs << std::min(m_stopRetries, MostStopRetries),
                           TimerMode::SingleShot);
}

/// These cages have been stopped, or started anew.
void VEXIO::settleStop(std::uint8_t cageMask)
{
    m_unstopped = static_cast<std::uint8_t>(m_unstopped & ~cageMask);
    if (m_unstopped == 0 && !m_isDisablingOwed)
        m_stopTimer->stop();
    if ((m_toldUnstopped & cageMask) != 0)
        tellUnstopped();
}

void VEXIO::tellUnstopped()
{
    if (m_unstopped != 0)
        qWarning().noquote() << "VEXIO: the unit does not take the order to stop cages:"
                             << binaryByte(m_unstopped);
    if (m_isDisablingOwed)
        qWarning("VEXIO: the unit does not take that no cage is enabled, its amplifiers may stay on");
    if (m_unstopped != std::exchange(m_toldUnstopped, m_unstopped))
        emit unstoppedCagesChanged(m_unstopped);
}

} // namespace vt
