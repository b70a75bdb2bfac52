// SPDX-License-Identifier: GPL-3.0-or-later
// The stimulation unit's speaker self-test. The unit counts its cycles in Reg52; after three of them the
// fault registers hold the result.
#include "hardware/ByteText.h"
#include "hardware/VEXIO.h"
#include "hardware/VexioRegisters.h"

#include <QDebug>
#include <array>

namespace vt {

using namespace VEXIO_NS;

namespace {

constexpr int PollPeriodMs = 10;
constexpr int MostPolls = 400;
constexpr int CyclesNeeded = 3;

[[nodiscard]] std::uint8_t withoutDiagnostics(std::uint8_t reg50)
{
    return static_cast<std::uint8_t>(reg50 & ~DiagnosticsEnable);
}

void logFaultTable(std::uint8_t faults0C, std::uint8_t faults0D)
{
    qDebug("=== Speaker Diagnostics Complete ===");
    qDebug("=== Base Shaker Speaker Faults (All Cages) ===");
    for (int cage = 0; cage < CageCount; ++cage)
        qDebug().noquote() << QStringLiteral("Cage %1:").arg(cage + 1)
                           << speakerFaultText(speakerFaultCode(faults0C, faults0D, cage));
}

[[nodiscard]] int countFaults(std::uint8_t faults0C, std::uint8_t faults0D)
{
    int count = 0;
    for (int cage = 0; cage < CageCount; ++cage)
        count += speakerFaultCode(faults0C, faults0D, cage) != 0 ? 1 : 0;
    return count;
}

} // namespace

void VEXIO::readDiagnosticsStatus()
{
    if (!hasBus("readDiagnosticsStatus")) {
        emit diagnosticsStatusReadFailed();
        return;
    }
    std::array<std::uint8_t, 4> status{};
    if (!readRegisters(REG_SYSTEM_STATUS, status.data(), 4)) {
        qDebug("VEXIO::readDiagnosticsStatus - I2C read failed for status registers");
        emit diagnosticsStatusReadFailed();
        return;
    }
    m_lastDiagnostics = {status[1], status[2], status[3]};
    qDebug("=== Diagnostics Status Read ===");
    qDebug().noquote() << "System Status (0x0A):" << prefixedHexByte(status[0]);
    qDebug().noquote() << "Sys Extra Status (0x0B):" << prefixedHexByte(status[1]);
    qDebug().noquote() << "Speaker Faults 1-4 (0x0C):" << prefixedHexByte(status[2]);
    qDebug().noquote() << "Speaker Faults 5-8 (0x0D):" << prefixedHexByte(status[3]);
    emit diagnosticsStatusRead(status[0], status[1], status[2], status[3]);
}

void VEXIO::runSpeakerDiagnostics()
{
    qDebug("VEXIO::runSpeakerDiagnostics - SLOT INVOKED (signal was received)");
    if (!hasBus("runSpeakerDiagnostics")) {
        emit diagnosticsComplete(false, QStringLiteral("I2C not initialized"));
        return;
    }
    if (m_diagnostics) {
        qDebug("VEXIO::runSpeakerDiagnostics - Already running");
        return; // the running one reports
    }
    const auto status = readRegister(REG_SYSTEM_STATUS);
    if (!status) {
        qDebug("VEXIO::runSpeakerDiagnostics - I2C read failed for REG_SYSTEM_STATUS");
        emit diagnosticsComplete(false, QStringLiteral("Failed to read system status"));
        return;
    }
    if ((*status & StatusNoPower) != 0) {
        const QString message =
            QStringLiteral("12V power not present - connect power supply to run diagnostics");
        qDebug().noquote() << "VEXIO::runSpeakerDiagnostics -" << message;
        emit diagnosticsComplete(false, message);
        return;
    }
    m_diagnostics = Diagnostics{};
    qDebug("=== Starting Speaker Diagnostics ===");
    const auto enabled = readRegister(REG_BSCONFIG);
    if (!enabled) {
        abandonDiagnostics(QStringLiteral("Failed to read REG_BSCONFIG"));
        return;
    }
    qDebug().noquote() << "Current REG_BSCONFIG:" << prefixedHexByte(*enabled);
    if (*enabled == 0) {
        m_diagnostics.reset();
        readDiagnosticsStatus();
        emit diagnosticsComplete(false, QStringLiteral("No cages enabled - enable at least one cage to run "
                                                       "speaker diagnostics (12V power present)"));
        return;
    }
    m_diagnostics->pendingMask = *enabled;
    if (enableDiagnostics())
        m_diagnosticsTimer->start(PollPeriodMs, TimerMode::SingleShot);
}

void VEXIO::abandonDiagnostics(const QString& message)
{
    qDebug().noquote() << "VEXIO::runSpeakerDiagnostics -" << message;
    m_diagnostics.reset();
    emit diagnosticsComplete(false, message);
}

/// Quietens the cages, clears old results and switches the unit's diagnostics on. False after it has been
/// reported.
bool VEXIO::enableDiagnostics()
{
    if (writeStop(AllCages))
        qDebug("Stopped all active stimulations (REG_BSCONFIG kept enabled for TDA power)");
    else
        qDebug("VEXIO::runSpeakerDiagnostics - Warning: I2C write failed for REG_BSSTOP");
    for (const std::uint8_t faults : {REG_SPEAKER_FAULTS_1_4, REG_SPEAKER_FAULTS_5_8})
        if (!writeRegister(faults, 0))
            qDebug().noquote() << "VEXIO::runSpeakerDiagnostics - Warning: failed to clear register"
                               << prefixedHexByte(faults);
    const auto counter = readRegister(REG_52);
    if (!counter) {
        abandonDiagnostics(QStringLiteral("Failed to read diagnostic counter"));
        return false;
    }
    m_diagnostics->initialCounter = *counter;
    qDebug().noquote() << "Initial diagnostic counter (Reg52):" << *counter;
    const auto reg50 = readRegister(REG_50);
    if (!reg50) {
        abandonDiagnostics(QStringLiteral("Failed to read Reg50"));
        return false;
    }
    m_diagnostics->originalReg50 = *reg50;
    qDebug().noquote() << "Current Reg50 value:" << prefixedHexByte(*reg50);
    const std::uint8_t off = withoutDiagnostics(*reg50);
    if (*reg50 != off) {
        if (!writeRegister(REG_50, off)) {
            abandonDiagnostics(QStringLiteral("Failed to clear diagnostics bit"));
            return false;
        }
        qDebug().noquote() << "Cleared Reg50 bit 6:" << prefixedHexByte(off);
    }
    const auto on = static_cast<std::uint8_t>(off | DiagnosticsEnable);
    if (!writeRegister(REG_50, on)) {
        abandonDiagnostics(QStringLiteral("Failed to enable diagnostics"));
        return false;
    }
    qDebug().noquote() << "Wrote Reg50:" << prefixedHexByte(on) << "(diagnostics enabled)";
    return true;
}

void VEXIO::pollDiagnosticsCounter()
{
    if (!m_diagnostics)
        return;
    ++m_diagnostics->polls;
    if (const auto counter = readRegister(REG_52)) {
        const auto cycles = static_cast<std::uint8_t>(*counter - m_diagnostics->initialCounter);
        if (cycles >= CyclesNeeded) {
            qDebug().noquote() << "Diagnostic counter incremented to" << *counter << "(+" << cycles
                               << ") after" << m_diagnostics->polls << "polls";
            finishDiagnostics();
            return;
        }
    } else {
        qDebug("VEXIO::pollDiagnosticsCounter - Failed to read diagnostic counter, retrying...");
    }
    if (m_diagnostics->polls >= MostPolls)
        diagnosticsTimedOut();
    else
        m_diagnosticsTimer->start(PollPeriodMs, TimerMode::SingleShot);
}

void VEXIO::endDiagnostics()
{
    if (!m_diagnostics)
        return;
    m_diagnosticsTimer->stop();
    // A unit that is left now would go on testing its speakers. On a bus that has failed this does nothing.
    if (!writeRegister(REG_50, withoutDiagnostics(m_diagnostics->originalReg50)))
        qDebug("VEXIO::endDiagnostics - I2C write failed for Reg50");
    m_configMask = m_diagnostics->pendingMask;
    abandonDiagnostics(QStringLiteral("Diagnostics abandoned"));
}

void VEXIO::diagnosticsTimedOut()
{
    qDebug().noquote() << "VEXIO::runSpeakerDiagnostics - Timeout waiting for diagnostics to complete"
                       << "Initial counter:" << m_diagnostics->initialCounter;
    if (!writeRegister(REG_50, withoutDiagnostics(m_diagnostics->originalReg50)))
        qDebug("VEXIO::pollDiagnosticsCounter - I2C write failed for Reg50");
    restoreCageEnable("pollDiagnosticsCounter");
    m_diagnostics.reset();
    qDebug("VEXIO::pollDiagnosticsCounter - Timeout recovery complete, stim/config writes re-enabled");
    emit diagnosticsComplete(false, QStringLiteral("Timeout waiting for diagnostics"));
}

void VEXIO::finishDiagnostics()
{
    const std::uint8_t off = withoutDiagnostics(m_diagnostics->originalReg50);
    qDebug().noquote().nospace() << "VEXIO::finishDiagnostics - Clearing diagnostic bit: writing "
                                 << prefixedHexByte(off) << " to Reg50 (original was "
                                 << prefixedHexByte(m_diagnostics->originalReg50) << ')';
    if (!writeRegister(REG_50, off))
        qDebug("VEXIO::finishDiagnostics - I2C write failed for Reg50");
    if (const auto reg50 = readRegister(REG_50); !reg50)
        qDebug("VEXIO::finishDiagnostics - I2C read failed for Reg50");
    else if ((*reg50 & DiagnosticsEnable) != 0)
        qDebug().noquote()
            << "VEXIO::finishDiagnostics - ERROR: Diagnostic bit still set after clear! Reg50 ="
            << prefixedHexByte(*reg50);
    else
        qDebug().noquote() << "VEXIO::finishDiagnostics - Diagnostic bit cleared successfully, Reg50 ="
                           << prefixedHexByte(*reg50);
    restoreCageEnable("finishDiagnostics");
    m_diagnostics.reset();
    qDebug("VEXIO::finishDiagnostics - Diagnostics complete, stim/config writes re-enabled");
    const auto faults = readSpeakerFaults();
    if (!faults) {
        emit diagnosticsComplete(false, QStringLiteral("Failed to read speaker faults"));
        return;
    }
    logFaultTable(faults->faults0C, faults->faults0D);
    emit speakerDiagnosticsResults(faults->faults0C, faults->faults0D);
    const int count = countFaults(faults->faults0C, faults->faults0D);
    emit diagnosticsComplete(
        true, count > 0 ? QStringLiteral("Diagnostics complete: %1 fault(s) detected").arg(count)
                        : QStringLiteral("Diagnostics complete: All speakers OK"));
}

/// Writes the mask that was asked for meanwhile, and the one before the diagnostics when the unit lost it.
void VEXIO::restoreCageEnable(const char* operation)
{
    const std::uint8_t pending = m_diagnostics->pendingMask;
    const auto enabled = readRegister(REG_BSCONFIG);
    if (!enabled) { // nobody knows: the next activation writes it
        qDebug().noquote().nospace() << "VEXIO::" << operation << " - I2C read failed for REG_BSCONFIG";
        m_configMask = pending;
    } else if (*enabled != pending) {
        qDebug().noquote() << QStringLiteral("VEXIO::%1 - REG_BSCONFIG was updated during diagnostics, "
                                             "writing")
                                  .arg(QLatin1String(operation))
                           << prefixedHexByte(pending);
        if (!writeRegister(REG_BSCONFIG, pending))
            qDebug().noquote().nospace() << "VEXIO::" << operation << " - I2C write failed for REG_BSCONFIG";
        m_configMask = pending; // if need be, the next activation writes it
    } else if (m_diagnostics->isMaskRequested) {
        m_configMask = pending;
    }
}

} // namespace vt
