// SPDX-License-Identifier: GPL-3.0-or-later
// What the stimulation unit tells by itself: the status poll with its 12 V and temperature edges, and the
// interrupt line.
#include "hardware/ByteText.h"
#include "hardware/I2C.h"
#include "hardware/VEXIO.h"
#include "hardware/VexioRegisters.h"

#include <QDebug>
#include <algorithm>
#include <array>
#include <utility>

namespace vt {

using namespace VEXIO_NS;

namespace {

constexpr int InterruptPeriodMs = 150;

} // namespace

// ---- status poll ----

void VEXIO::startStatusPolling()
{
    if (!hasBus("startStatusPolling"))
        return;
    m_isPolled = true;
    letOthersIn();
    m_checkTimer->start(CheckPeriodMs, TimerMode::SingleShot);
    pollStatus();
}

void VEXIO::stopStatusPolling()
{
    m_isPolled = false;
    m_statusTimer->stop();
    m_checkTimer->stop();
}

void VEXIO::pollStatus()
{
    readCageStatusFromHardware();
    const auto last = m_statusMisses > 0 ? PollPace::Poll::Missed : PollPace::Poll::Answered;
    m_statusTimer->start(m_statusPace.nextMs(last), TimerMode::SingleShot);
}

void VEXIO::readCageStatusFromHardware()
{
    if (!hasBus("readCageStatusFromHardware"))
        return;
    std::array<std::uint8_t, 2> bytes{};
    const bool isAnswer = readRegisters(REG_BSACTIVE, bytes.data(), 2);
    noteAnswer(isAnswer);
    if (!isAnswer) {
        if (!std::exchange(m_isStatusReadErrorLogged, true))
            qDebug("VEXIO::readCageStatusFromHardware - I2C read failed for REG_BSACTIVE/REG_SYSTEM_STATUS "
                   "(polling continues)");
        return;
    }
    m_isStatusReadErrorLogged = false;
    emit cageStatusRead(bytes[0]);
    std::uint8_t status = bytes[1];
    if ((status & StatusNoPower) != 0)
        status = static_cast<std::uint8_t>(status & ~StatusOverTemperature); // meaningless without 12 V
    handlePowerEdge(status);
    if (status != m_cachedStatus)
        emit systemStatusChanged(status);
    if ((status & ~m_cachedStatus & StatusOverTemperature) != 0) {
        qDebug("VEXIO: over-temperature detected (status poll edge)");
        emit overTempDetected();
    }
    m_cachedStatus = status;
}

void VEXIO::noteAnswer(bool isAnswer)
{
    if (!isAnswer) {
        ++m_statusMisses;
        if (m_statusMisses >= MissesUntilAway && !m_bus->failed() && !std::exchange(m_isAwayTold, true))
            emit answeringChanged(false);
        return;
    }
    if (std::exchange(m_statusMisses, 0) > 0 && !m_diagnostics)
        rewriteSettings();
    if (std::exchange(m_isAwayTold, false))
        emit answeringChanged(true);
}

void VEXIO::handlePowerEdge(std::uint8_t status)
{
    if (((status ^ m_cachedStatus) & StatusNoPower) == 0)
        return;
    if ((status & StatusNoPower) != 0) {
        qDebug("VEXIO: 12V power NOT PRESENT (status poll edge)");
        if (!writeStop(AllCages))
            qDebug("VEXIO: failed to BSSTOP on 12V-loss edge");
        m_powerEdgeMs = m_context.time.monotonicMs();
        emit powerFaultDetected();
        return;
    }
    qDebug("VEXIO: 12V power restored (status poll edge)");
    m_powerEdgeMs = m_context.time.monotonicMs();
    emit powerRestored();
}

// ---- is it the unit that answers? ----

bool VEXIO::takesTestPattern()
{
    std::uint8_t echo = 0;
    return m_bus->i2cWrite(UnitAddress8, REG_TEST, &TestPattern, 1) &&
           m_bus->i2cRead(UnitAddress8, REG_TEST, &echo, 1) && echo == TestPattern;
}

bool VEXIO::isBelievable()
{
    if (m_isDoubted && takesTestPattern()) {
        m_isDoubted = false;
        qInfo("VEXIO: the unit answers again");
    }
    return !m_isDoubted;
}

void VEXIO::checkUnit()
{
    if (m_isPolled) // not by the status timer, which may have run out at this very moment
        m_checkTimer->start(CheckPeriodMs, TimerMode::SingleShot);
    if (!m_bus || m_bus->failed() || m_diagnostics || m_isDoubted || m_statusMisses > 0)
        return;
    const auto pattern = readRegister(REG_TEST);
    if (!pattern)
        return; // the status poll will notice
    if (*pattern != TestPattern && !takesTestPattern()) {
        if (!m_bus->failed())
            doubtUnit();
        return;
    }
    // The line may have been held for a moment only, while a stop or the end of all cages was written.
    if (const std::uint8_t stopped = std::exchange(m_uncheckedStops, std::uint8_t{0}); stopped != 0) {
        const int running = readRegister(REG_BSACTIVE).value_or(stopped) & stopped;
        if (running != 0)
            (void)writeStop(static_cast<std::uint8_t>(running)); // and looked at again with the next check
    }
    if (m_configMask == 0 && readRegister(REG_BSCONFIG).value_or(0) != 0) {
        m_isDisablingOwed = true;
        retryStopLater();
    }
    if (*pattern == TestPattern || readRegister(REG_BSCONFIG) == m_configMask)
        return;
    qWarning("VEXIO: the unit has lost its registers, they are written again");
    rewriteSettings();
}

/// What was written since the last check was acknowledged by nobody.
void VEXIO::doubtUnit()
{
    qWarning("VEXIO: everything is acknowledged and nothing is kept, the unit's data line seems to be held "
             "low");
    m_isDoubted = true;
    m_statusMisses = std::max(m_statusMisses, 1); // its next answer is the first one after that
    forgetWrittenProfiles();
    m_unstopped |= std::exchange(m_uncheckedStops, std::uint8_t{0});
    m_isDisablingOwed = m_configMask == 0;
    if (m_unstopped != 0 || m_isDisablingOwed)
        retryStopLater();
}

// ---- interrupt line ----

bool VEXIO::initInterruptTask(const QString& deviceName)
{
    if (!m_interruptLine.open(deviceName + QStringLiteral("/port0/line7"))) {
        qDebug().noquote() << "VEXIO::initInterruptTask"
                           << "DAQ ERROR" << m_interruptLine.errorText();
        return false;
    }
    m_interruptTimer = m_context.time.createTimer(m_context.timerContext, [this] { checkForInterrupt(); });
    qDebug("VEXIO::initInterruptTask - Timer connected to checkForInterrupt");
    return true;
}

void VEXIO::startInterruptPolling()
{
    if (!hasBus("startInterruptPolling"))
        return;
    qDebug("Vexio interrupt polling starting - clearing interrupt sources first...");
    clearAllStickyFaults();
    letOthersIn();
    std::array<std::uint8_t, 4> status{};
    if (readRegisters(REG_SYSTEM_STATUS, status.data(), 4)) {
        m_lastDiagnostics = {status[1], status[2], status[3]};
        qDebug().noquote() << "VEXIO::startInterruptPolling - Cleared pending status:"
                           << "SysStatus=0x" << hexByte(status[0]) << "SysExtra=0x" << hexByte(status[1])
                           << "SpkFaults1-4=0x" << hexByte(status[2]) << "SpkFaults5-8=0x"
                           << hexByte(status[3]);
    } else {
        qDebug("VEXIO::startInterruptPolling - I2C read failed for status registers");
    }
    if (m_interruptTimer)
        m_interruptTimer->start(InterruptPeriodMs, TimerMode::Repeating);
    qDebug("Vexio interrupt polling started.");
}

void VEXIO::stopInterruptPolling()
{
    if (!hasBus("stopInterruptPolling"))
        return;
    if (m_interruptTimer)
        m_interruptTimer->stop();
    qDebug("Vexio interrupt polling stopped.");
}

void VEXIO::checkForInterrupt()
{
    if (!m_interruptLine.isOpen())
        return;
    const auto level = m_interruptLine.read();
    if (!level) {
        if (!std::exchange(m_isInterruptReadErrorLogged, true))
            qDebug().noquote() << "VEXIO::checkForInterrupt"
                               << "DAQ error reading interrupt line (polling continues):"
                               << m_interruptLine.errorText();
        return;
    }
    m_isInterruptReadErrorLogged = false;
    // A fault that stays holds the line for hours: it is told once.
    const bool isHigh = *level == InterruptLine::Level::High;
    if (isHigh && !m_isInterruptHigh)
        qDebug("Vexio interrupt detected on port0/line7!");
    m_isInterruptHigh = isHigh;
}

} // namespace vt
