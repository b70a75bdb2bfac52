// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DIO.h"

#include "hardware/ByteText.h"
#include "hardware/DioRegisters.h"
#include "hardware/I2C.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

using namespace DIO_NS;

namespace {

constexpr std::array<std::uint8_t, 2> PullUps{0xFF, 0xFF};
/// IODIRA to INTCONB: directions, no input inversion, interrupt on change of all B pins, DEFVALB, compared
/// with the previous value.
constexpr std::array<std::uint8_t, 10> Directions{0x00, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0x00};
constexpr std::array<std::uint8_t, 1> Configuration{0x44}; ///< INT pins mirrored, open-drain

constexpr std::uint8_t AllHigh = 0xFF;

constexpr int PulseMs = 50;
constexpr int LongestRetryMs = 6400;

[[nodiscard]] bool reportInitError(int expander, const char* what)
{
    qDebug().noquote() << expanderName(expander) << "init error:" << what;
    return false;
}

[[nodiscard]] std::uint8_t byteOf(std::uint16_t mask, int expander)
{
    return static_cast<std::uint8_t>(mask >> (LinesPerExpander * expander));
}

} // namespace

DIO::DIO(const HardwareContext& context, QString deviceName, const HeldOutputs& held, QObject* parent)
    : QObject(parent), m_context(context), m_deviceName(std::move(deviceName)), m_held(held),
      m_interruptLine(context.driver),
      m_pollTimer(context.time.createTimer(context.timerContext, [this] { checkForInterrupt(); })),
      m_watchTimer(context.time.createTimer(context.timerContext, [this] { pollInputs(); })),
      m_checkTimer(context.time.createTimer(context.timerContext, [this] { checkExpanders(); })),
      m_pulseTimer(context.time.createTimer(context.timerContext, [this] { clearOutputLines(); })),
      m_retryTimer(context.time.createTimer(context.timerContext, [this] { retryOutputs(); }))
{}

DIO::~DIO() = default;

// ---- initialisation ----

bool DIO::init(I2C* bus, int nChannels)
{
    qDebug("Begin PortExpander(s) init");
    if (!bus)
        return false;
    m_bus = bus;
    m_channels = nChannels;
    if (expanderCount() == 1)
        qDebug("Configuring for Plover (8-channel) hardware - outputs normal");
    else
        qDebug("Configuring for Kestrel Box (16-channel) hardware - outputs INVERTED");
    for (int expander = 0; expander < expanderCount(); ++expander)
        if (!initExpander(expander, AllHigh)) {
            switchAllOff(); // the setting-up itself sets all latches
            return false;
        }
    clearOutputLines();
    initInterruptTask();
    return true;
}

bool DIO::isThere(I2C& bus)
{
    return bus.i2cWrite(expanderAddress8(0), IODIRA, nullptr, 0);
}

bool DIO::restore(I2C* bus)
{
    m_bus = bus;
    bool isComplete = true;
    for (int expander = 0; expander < expanderCount(); ++expander)
        isComplete = restoreExpander(expander) && isComplete;
    m_isLineLost = true; // it hung on the device as the bus did: it is opened again
    updateWatch();
    if (isComplete)
        pollInputs();
    return isComplete;
}

/// The latches go to their levels before the pins drive: a cage that is off gets no pulse from this.
bool DIO::restoreExpander(int expander)
{
    const auto index = static_cast<std::size_t>(expander);
    const std::uint8_t lines = m_wanted[index];
    m_isDoubted[index] = false; // this verifies it
    return writeOutputs(expander, lines) && initExpander(expander, outputByte(lines));
}

bool DIO::initPullUps(int expander)
{
    qDebug().noquote() << QStringLiteral("%1: Setting GPPUA=0x%2 GPPUB=0x%3")
                              .arg(expanderName(expander), hexByte(PullUps[0]), hexByte(PullUps[1]));
    if (!write(expander, GPPUA, PullUps))
        return reportInitError(expander, "failed to write GPPUA/B");
    std::array<std::uint8_t, 2> echo{};
    if (!m_bus->i2cRead(expanderAddress8(expander), GPPUA, echo.data(), 2))
        return reportInitError(expander, "failed to read GPPUA/B");
    if (echo == PullUps)
        return true;
    const auto compared = [](char port, std::uint8_t wrote, std::uint8_t read) {
        return QStringLiteral("GPPU%1: wrote 0x%2, read 0x%3")
            .arg(QLatin1Char(port))
            .arg(hexByte(wrote), hexByte(read));
    };
    qDebug().noquote() << expanderName(expander) << "init error: GPPU readback mismatch"
                       << compared('A', PullUps[0], echo[0]) << compared('B', PullUps[1], echo[1]);
    return false;
}

bool DIO::initExpander(int expander, std::uint8_t latches)
{
    if (!initPullUps(expander))
        return false;
    if (!write(expander, OLATA, std::array{latches, AllHigh}))
        return reportInitError(expander, "failed to write OLATA/B");
    if (!write(expander, IODIRA, Directions))
        return reportInitError(expander, "failed to write IODIR/IPOL/GPINTEN registers");
    if (!write(expander, IOCONA, Configuration))
        return reportInitError(expander, "failed to write IOCONA");
    return true;
}

// ---- outputs ----

bool DIO::write(int expander, std::uint8_t registerAddress, std::span<const std::uint8_t> bytes)
{
    return m_bus && m_bus->i2cWrite(expanderAddress8(expander), registerAddress, bytes.data(),
                                    static_cast<int>(bytes.size()));
}

/// lines in the sense of "on"; the 16-channel hardware switches on a low level.
std::uint8_t DIO::outputByte(std::uint8_t lines) const
{
    return expanderCount() == MostExpanders ? static_cast<std::uint8_t>(~lines) : lines;
}

bool DIO::writeOutputs(int expander, std::uint8_t lines)
{
    const auto index = static_cast<std::size_t>(expander);
    m_wanted[index] = lines;
    m_isTaken[index] = writeWanted(expander) && !m_isDoubted[index];
    if (!m_isTaken[index])
        retryLater();
    return m_isTaken[index];
}

bool DIO::writeWanted(int expander)
{
    const std::uint8_t byte = outputByte(m_wanted[static_cast<std::size_t>(expander)]);
    return write(expander, OLATA, {&byte, 1});
}

/// An output that stays on may be a light that stays on: what is wanted is written until the expander has
/// taken it. A bus that has failed takes nothing; who makes a new one writes the outputs.
void DIO::retryLater()
{
    if (m_retryTimer->isActive() || !m_bus || m_bus->failed())
        return;
    m_retryMs = FirstRetryMs;
    m_retryTimer->start(m_retryMs, TimerMode::SingleShot);
}

void DIO::retryOutputs()
{
    bool isComplete = true;
    for (int expander = 0; expander < expanderCount(); ++expander) {
        const auto index = static_cast<std::size_t>(expander);
        if (m_isTaken[index])
            continue;
        m_isTaken[index] = isBelievable(expander) && writeWanted(expander);
        if (m_isTaken[index])
            qInfo("DIO: port expander %d has taken its outputs at a further try", expander);
        isComplete = m_isTaken[index] && isComplete;
    }
    if (isComplete || m_bus->failed())
        return;
    m_retryMs = std::min(2 * m_retryMs, LongestRetryMs);
    m_retryTimer->start(m_retryMs, TimerMode::SingleShot);
}

/// With what is pulsed. failure: log line with the expander's number as %1.
void DIO::writeHeldOutputs(const QString& failure)
{
    for (int expander = 0; expander < expanderCount(); ++expander) {
        const auto index = static_cast<std::size_t>(expander);
        if (!writeOutputs(expander, m_held[index] | m_pulsed[index]))
            qDebug().noquote() << failure.arg(expander);
    }
}

void DIO::setOutputLines(std::uint8_t lines, int port)
{
    if (port < 0 || port >= expanderCount())
        return; // cages that this hardware does not have
    m_pulsed[static_cast<std::size_t>(port)] = lines;
    if (!writeOutputs(port, lines | m_held[static_cast<std::size_t>(port)]))
        qDebug("port expander set active low error");
    m_pulseTimer->start(PulseMs, TimerMode::SingleShot);
}

void DIO::clearOutputLines()
{
    m_pulsed = {};
    writeHeldOutputs(QStringLiteral("port expander%1 clear/restore error"));
}

void DIO::switchAllOff()
{
    m_pulseTimer->stop();
    m_held = {};
    m_pulsed = {};
    m_wanted = {};
    if (m_bus && !m_bus->failed())
        writeHeldOutputs(QStringLiteral("port expander%1 could not be switched off"));
}

void DIO::handleManualPulse(std::uint16_t cageMask)
{
    for (int expander = 0; expander < MostExpanders; ++expander)
        if (const std::uint8_t lines = byteOf(cageMask, expander); lines != 0)
            setOutputLines(lines, expander);
}

void DIO::setOutputHold(std::uint16_t mask)
{
    for (int expander = 0; expander < MostExpanders; ++expander)
        m_held[static_cast<std::size_t>(expander)] |= byteOf(mask, expander);
    writeHeldOutputs(QStringLiteral("DIO::setOutputHold - port expander %1 write error"));
}

void DIO::clearOutput(std::uint16_t mask)
{
    for (int expander = 0; expander < MostExpanders; ++expander) {
        std::uint8_t& pulsed = m_pulsed[static_cast<std::size_t>(expander)];
        pulsed = static_cast<std::uint8_t>(pulsed & ~byteOf(mask, expander));
    }
    endOutputHold(mask);
}

void DIO::endOutputHold(std::uint16_t mask)
{
    for (int expander = 0; expander < MostExpanders; ++expander) {
        std::uint8_t& held = m_held[static_cast<std::size_t>(expander)];
        held = static_cast<std::uint8_t>(held & ~byteOf(mask, expander));
    }
    writeHeldOutputs(QStringLiteral("DIO::clearOutput - port expander %1 write error"));
}

} // namespace vt
