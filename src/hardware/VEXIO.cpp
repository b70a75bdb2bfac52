// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/VEXIO.h"

#include "hardware/ByteText.h"
#include "hardware/I2C.h"
#include "hardware/VexioRegisters.h"

#include <QDebug>
#include <algorithm>
#include <array>
#include <utility>

namespace vt {

using namespace VEXIO_NS;

namespace {

constexpr std::uint16_t ExpectedConfiguration = 0x0001;
constexpr std::uint8_t ExpectedTableVersion = 0x10;

[[nodiscard]] std::uint16_t u16(const std::uint8_t* bytes)
{
    return static_cast<std::uint16_t>(bytes[0] | (bytes[1] << 8));
}

[[nodiscard]] bool isIn(std::uint8_t mask, int cage)
{
    return ((mask >> cage) & 1) != 0;
}

[[nodiscard]] QString verdict(bool isExpected)
{
    return isExpected ? QStringLiteral("OK") : QStringLiteral("UNEXPECTED");
}

} // namespace

VEXIO::VEXIO(const HardwareContext& context, QObject* parent)
    : QObject(parent), m_context(context), m_interruptLine(context.driver),
      m_statusTimer(context.time.createTimer(context.timerContext, [this] { pollStatus(); })),
      m_refreshTimer(context.time.createTimer(context.timerContext, [this] { readAllCagesFromHardware(); })),
      m_diagnosticsTimer(
          context.time.createTimer(context.timerContext, [this] { pollDiagnosticsCounter(); })),
      m_stopTimer(context.time.createTimer(context.timerContext, [this] { retryStop(); })),
      m_checkTimer(context.time.createTimer(context.timerContext, [this] { checkUnit(); }))
{}

VEXIO::~VEXIO() = default;

// ---- registers ----

bool VEXIO::hasBus(const char* operation) const
{
    if (!m_bus)
        qDebug().noquote().nospace() << "VEXIO::" << operation << " - I2C not initialized";
    return m_bus != nullptr;
}

void VEXIO::letOthersIn()
{
    if (m_betweenTransfers)
        m_betweenTransfers();
}

bool VEXIO::readRegisters(std::uint8_t first, std::uint8_t* bytes, int count)
{
    return isBelievable() && m_bus->i2cRead(UnitAddress8, first, bytes, count);
}

std::optional<std::uint8_t> VEXIO::readRegister(std::uint8_t address)
{
    std::uint8_t value = 0;
    if (!readRegisters(address, &value, 1))
        return std::nullopt;
    return value;
}

bool VEXIO::writeRegister(std::uint8_t address, std::uint8_t value)
{
    return writeRegisters(address, {&value, 1});
}

bool VEXIO::writeRegisters(std::uint8_t first, std::span<const std::uint8_t> bytes)
{
    return isBelievable() &&
           m_bus->i2cWrite(UnitAddress8, first, bytes.data(), static_cast<int>(bytes.size()));
}

std::optional<VEXIO::SpeakerFaults> VEXIO::readSpeakerFaults()
{
    std::array<std::uint8_t, 2> bytes{};
    if (!readRegisters(REG_SPEAKER_FAULTS_1_4, bytes.data(), 2))
        return std::nullopt;
    m_lastDiagnostics[1] = bytes[0];
    m_lastDiagnostics[2] = bytes[1];
    return SpeakerFaults{bytes[0], bytes[1]};
}

// ---- initialisation ----

bool VEXIO::isThere(I2C& bus)
{
    return bus.i2cWrite(UnitAddress8, REG_TEST, nullptr, 0);
}

bool VEXIO::initVexio(I2C* bus, int nCages)
{
    if (!bus) {
        qDebug("VEXIO::initVexio - NULL I2C pointer");
        return false;
    }
    m_bus = bus;
    m_isDoubted = false; // this verifies it
    if (initialise(nCages))
        return true;
    m_bus = nullptr;
    return false;
}

bool VEXIO::verifyUnit()
{
    if (!writeRegister(REG_TEST, TestPattern)) {
        qDebug("VEXIO::initVexio - ERROR: Write test failed");
        return false;
    }
    const auto echo = readRegister(REG_TEST);
    if (!echo) {
        qDebug("VEXIO::initVexio - ERROR: Read test failed");
        return false;
    }
    qDebug().noquote() << "VEXIO::initVexio - Read test register 0x77:" << prefixedHexByte(*echo);
    if (*echo != TestPattern) {
        qDebug("VEXIO::initVexio - ERROR: Device not responding correctly");
        return false;
    }
    qDebug("*** Vexio device verified at 0x10 ***");
    return true;
}

bool VEXIO::initialise(int nCages)
{
    qDebug("VEXIO::initVexio - Initializing Vexio device at 0x10");
    if (!verifyUnit())
        return false;
    constexpr std::array<std::uint8_t, 2> Zero{};
    for (int cage = 0; cage < nCages; ++cage)
        if (!writeRegisters(cageRegister(cage, CageActivationsAt), Zero))
            qDebug().noquote() << "VEXIO::initVexio - Write error clearing cage" << cage
                               << "activation counter";
    if (!writeRegister(REG_BSCONFIG, 0)) {
        qDebug("VEXIO::initVexio - Write error initializing Base Shaker Config");
        return false;
    }
    m_configMask = 0;
    clearAllStickyFaults();
    qDebug("VEXIO::initVexio - Initialization writes complete");
    logUnitInformation();
    return true;
}

void VEXIO::restore(I2C* bus, const QString& deviceName)
{
    if (!m_bus)
        return; // nothing was there before
    endDiagnostics();
    m_bus = bus;
    // It hung on the device as the bus did.
    if (m_interruptTimer && !m_interruptLine.open(deviceName + QStringLiteral("/port0/line7")))
        qDebug().noquote() << "VEXIO::restore"
                           << "DAQ ERROR" << m_interruptLine.errorText();
    if (!m_isPolled) {
        rewriteSettings();
        return;
    }
    m_statusMisses = std::max(m_statusMisses, 1); // its next answer is the first one after that
    pollStatus();
}

/// For a unit that may have lost them.
void VEXIO::rewriteSettings()
{
    forgetWrittenProfiles();
    if (!readRegister(REG_BSCONFIG))
        return; // it does not answer: the status poll tells when it does
    retryStop();
    rewriteProfiles(AllCages);
    resyncCageEnable();
    qInfo("VEXIO: settings written again, the unit had been away");
}

void VEXIO::logUnitInformation()
{
    std::array<std::uint8_t, UnitInfoSize> info{};
    if (!readRegisters(REG_UNIT_INFO, info.data(), UnitInfoSize)) {
        qDebug("VEXIO::initVexio - Unit Info read error");
        return;
    }
    QString raw;
    for (const std::uint8_t byte : info)
        raw += QLatin1Char(' ') + hexByte(byte);
    const std::uint32_t serial = u16(info.data()) | (static_cast<std::uint32_t>(u16(&info[2])) << 16);
    const std::uint16_t configuration = u16(&info[4]);
    const std::uint8_t tableVersion = info[6];
    qDebug("=== Vexio Unit Information (Reg 0x78-0x7E) ===");
    qDebug().noquote() << QStringLiteral("Raw:") + raw;
    qDebug().noquote() << "Serial number:" << serial;
    qDebug().noquote() << QStringLiteral("Configuration: 0x%1 (%2, expected 0x0001)")
                              .arg(configuration, 4, 16, QLatin1Char('0'))
                              .arg(verdict(configuration == ExpectedConfiguration));
    qDebug().noquote() << QStringLiteral("Table version: 0x%1 (%2, expected 0x10)")
                              .arg(hexByte(tableVersion), verdict(tableVersion == ExpectedTableVersion));
}

void VEXIO::clearAllStickyFaults()
{
    if (!hasBus("clearAllStickyFaults"))
        return;
    qDebug("=== Clearing Sticky Fault Bits ===");
    qDebug("%s", clearStickyBits(REG_SYSTEM_STATUS, StatusStickyBits)
                     ? "Cleared System Status sticky bits (0x0A mask 0x79)"
                     : "Failed to clear System Status sticky bits");
    qDebug("%s", clearStickyBits(REG_SYS_EXTRA_STATUS, ExtraStatusStickyBits)
                     ? "Cleared Sys Extra Status sticky bits (0x0B mask 0x90)"
                     : "Failed to clear Sys Extra Status sticky bits");
    qDebug("=== Sticky Bits Cleared ===");
}

bool VEXIO::clearStickyBits(std::uint8_t registerAddress, std::uint8_t mask)
{
    if (!hasBus("clearStickyBits"))
        return false;
    if (!writeRegister(registerAddress, mask)) {
        qDebug().noquote() << "VEXIO::clearStickyBits - I2C write failed for register"
                           << prefixedHexByte(registerAddress);
        return false;
    }
    qDebug().noquote() << "VEXIO::clearStickyBits - Register" << prefixedHexByte(registerAddress)
                       << "cleared bits: 0x" << hexByte(mask);
    return true;
}

// ---- cages ----

bool VEXIO::writeCageConfig(int cage, const CageConfig& config)
{
    if (!hasBus("writeCageConfig"))
        return false;
    if (cage < 0 || cage >= CageCount) {
        qDebug().noquote() << "VEXIO::writeCageConfig - Invalid cage number" << cage << "(valid range: 0-7)";
        return false;
    }
    const std::array<std::uint8_t, CageProfileSize> profile{config.frequency, config.amplitude,
                                                            config.duration, config.waveShape};
    const bool isWritten = writeRegisters(cageRegister(cage, 0), profile);
    m_profiles[static_cast<std::size_t>(cage)] = {config, isWritten};
    if (isWritten)
        return true;
    qDebug().noquote() << "VEXIO::writeCageConfig - I2C write failed for cage" << cage;
    return false;
}

void VEXIO::writeAllCagesToHardware(const QList<CageConfig>& configs)
{
    if (!hasBus("writeAllCagesToHardware")) {
        emit operationComplete(false, QStringLiteral("I2C not initialized"));
        return;
    }
    if (configs.size() != CageCount) {
        emit operationComplete(false, QStringLiteral("Invalid data size - expected 8 cages"));
        return;
    }
    if (writeRegister(REG_BSSTOP, AllCages))
        settleStop(AllCages);
    else
        qDebug("VEXIO::writeAllCagesToHardware - Warning: failed to stop active profiles before config "
               "write");
    int written = 0;
    for (int cage = 0; cage < CageCount; ++cage)
        written += writeCageConfig(cage, configs[cage]) ? 1 : 0;
    emit operationComplete(written == CageCount, QStringLiteral("Wrote %1/8 cages").arg(written));
}

/// One transfer, unless it takes so long that polls would wait for it: then it ends behind a cage and goes on
/// after them. What is urgent breaks it off at any byte.
void VEXIO::readAllCagesFromHardware()
{
    if (!hasBus("readAllCagesFromHardware")) {
        emit cageDataReadFailed();
        return;
    }
    if (!isBelievable()) {
        m_refreshed = 0;
        qDebug("VEXIO::readAllCagesFromHardware - the unit does not answer");
        emit cageDataReadFailed();
        return;
    }
    const qint64 startedMs = m_context.time.monotonicMs();
    bool isUrgent = false;
    int atByte = m_refreshed;
    const auto isToEnd = [&] {
        const bool isLastOfCage = ++atByte % CageBlockSize == CageBlockSize - 1;
        isUrgent = m_isUrgentWaiting && m_isUrgentWaiting();
        return isUrgent || (isLastOfCage && m_context.time.monotonicMs() - startedMs >= RefreshSliceMs);
    };
    const auto first = static_cast<std::uint8_t>(REG_CAGES + m_refreshed);
    const int wanted = static_cast<int>(m_refresh.size()) - m_refreshed;
    const bool isComplete = m_bus->i2cRead(
        UnitAddress8, first, &m_refresh[static_cast<std::size_t>(m_refreshed)], wanted, isToEnd);
    if (isComplete) {
        m_refreshed = 0;
        for (int cage = 0; cage < CageCount; ++cage) {
            const std::uint8_t* block = &m_refresh[static_cast<std::size_t>(cage) * CageBlockSize];
            emit cageDataRead(static_cast<std::uint8_t>(cage), block[0], block[1], block[2], block[3],
                              u16(block + CageActivationsAt));
        }
        return;
    }
    const int wholeCages = m_bus->bytesRead() / CageBlockSize * CageBlockSize;
    if (m_bus->failed() || (!isUrgent && wholeCages == 0)) {
        m_refreshed = 0;
        qDebug("VEXIO::readAllCagesFromHardware - I2C read failed");
        emit cageDataReadFailed();
        return;
    }
    m_refreshed += wholeCages;
    m_refreshTimer->start(isUrgent ? RefreshDelayMs : 0, TimerMode::SingleShot);
}

bool VEXIO::clearActivationCounter(int cage)
{
    if (!hasBus("clearActivationCounter"))
        return false;
    if (cage < 0 || cage >= CageCount) {
        qDebug().noquote() << "VEXIO::clearActivationCounter - Invalid cage number" << cage
                           << "(valid range: 0-7)";
        return false;
    }
    constexpr std::array<std::uint8_t, 2> Zero{};
    const bool isCleared = writeRegisters(cageRegister(cage, CageActivationsAt), Zero);
    qDebug().noquote() << (isCleared ? "VEXIO::clearActivationCounter - Cleared activation counter for cage"
                                     : "VEXIO::clearActivationCounter - I2C write failed for cage")
                       << cage;
    return isCleared;
}

void VEXIO::clearAllActivationCounters()
{
    if (!hasBus("clearAllActivationCounters")) {
        emit operationComplete(false, QStringLiteral("I2C not initialized"));
        return;
    }
    int cleared = 0;
    for (int cage = 0; cage < CageCount; ++cage) {
        letOthersIn();
        cleared += clearActivationCounter(cage) ? 1 : 0;
    }
    QString message = QStringLiteral("Cleared %1 activation counters").arg(cleared);
    if (cleared < CageCount)
        message += QStringLiteral(", %1 failed").arg(CageCount - cleared);
    emit operationComplete(cleared == CageCount, message);
}

void VEXIO::updateCageEnableConfig(std::uint8_t enableMask)
{
    if (!hasBus("updateCageEnableConfig"))
        return;
    if (m_diagnostics) {
        m_diagnostics->pendingMask = enableMask;
        m_diagnostics->isMaskRequested = true;
        qDebug().noquote() << "VEXIO::updateCageEnableConfig - Blocked during diagnostics, saving for later:"
                           << binaryByte(enableMask);
        return;
    }
    m_configMask = enableMask; // if need be, the next activation writes it
    m_isDisablingOwed = false;
    if (!writeRegister(REG_BSCONFIG, enableMask)) {
        qDebug("VEXIO::updateCageEnableConfig - I2C write failed for REG_BSCONFIG");
        m_isDisablingOwed = enableMask == 0; // no activation follows
        if (m_isDisablingOwed)
            retryStopLater();
        return;
    }
    qDebug().noquote() << "VEXIO::updateCageEnableConfig - Successfully wrote to REG_BSCONFIG, mask:"
                       << binaryByte(enableMask);
}

void VEXIO::setCageDuration(std::uint8_t cageMask, std::uint8_t duration)
{
    if (!hasBus("setCageDuration"))
        return;
    if (m_diagnostics) {
        qDebug("VEXIO::setCageDuration - Blocked during diagnostics");
        return;
    }
    for (int cage = 0; cage < CageCount; ++cage) {
        if (!isIn(cageMask, cage))
            continue;
        Profile& profile = m_profiles[static_cast<std::size_t>(cage)];
        if (profile.wanted)
            profile.wanted->duration = duration;
        if (writeRegister(cageRegister(cage, CageDurationAt), duration))
            continue;
        profile.isWritten = false;
        qDebug().noquote() << "VEXIO::setCageDuration - I2C write failed for cage" << cage;
    }
    qDebug().noquote() << "VEXIO::setCageDuration - Set duration" << duration
                       << "for cages:" << binaryByte(cageMask);
}

} // namespace vt
