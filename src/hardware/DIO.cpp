// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/DIO.h"

#include "hardware/ByteText.h"
#include "hardware/I2C.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

constexpr std::array<std::uint8_t, DIO::MostExpanders> Addresses8{0x40, 0x4E};

// Registers of an expander, bank 0 addressing; A drives, B listens.
constexpr std::uint8_t IODIRA = 0x00;
constexpr std::uint8_t IOCONA = 0x0A;
constexpr std::uint8_t GPPUA = 0x0C;
constexpr std::uint8_t INTFB = 0x0F;
constexpr std::uint8_t OLATA = 0x14;

constexpr std::array<std::uint8_t, 2> PullUps{0xFF, 0xFF};
constexpr std::array<std::uint8_t, 2> Latches{0xFF, 0xFF};
/// IODIRA to INTCONB: directions, no input inversion, interrupt on change of all B pins, DEFVALB, compared
/// with the previous value.
constexpr std::array<std::uint8_t, 10> Directions{0x00, 0xFF, 0x00, 0x00, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0x00};
constexpr std::array<std::uint8_t, 1> Configuration{0x44}; ///< INT pins mirrored, open-drain

/// INTFB, INTCAPA, INTCAPB, GPIOA, GPIOB.
constexpr int InterruptStatusSize = 5;
constexpr std::size_t GpioBAt = 4;

constexpr int InterruptPeriodMs = 50;
constexpr int PulseMs = 50;
constexpr int LinesPerExpander = 8;

[[nodiscard]] QString expanderName(int expander)
{
    return QStringLiteral("Port expander ") + prefixedHexByte(Addresses8[static_cast<std::size_t>(expander)]);
}

[[nodiscard]] bool reportInitError(int expander, const char* what)
{
    qDebug().noquote() << expanderName(expander) << "init error:" << what;
    return false;
}

/// "1" or "0" per line, line 0 first.
[[nodiscard]] QString lineText(std::uint8_t lines)
{
    QString text;
    for (int line = 0; line < LinesPerExpander; ++line)
        text += QLatin1Char(((lines >> line) & 1) != 0 ? '1' : '0');
    return text;
}

[[nodiscard]] std::uint8_t byteOf(std::uint16_t mask, int expander)
{
    return static_cast<std::uint8_t>(mask >> (LinesPerExpander * expander));
}

} // namespace

DIO::DIO(const HardwareContext& context, QString deviceName, const HeldOutputs& held, QObject* parent)
    : QObject(parent), m_context(context), m_deviceName(std::move(deviceName)), m_held(held),
      m_interruptLine(context.driver),
      m_pulseTimer(context.time.createTimer(context.timerContext, [this] { clearOutputLines(); }))
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
        if (!initExpander(expander)) {
            switchAllOff(); // the setting-up itself sets all latches
            return false;
        }
    clearOutputLines();
    initInterruptTask();
    return true;
}

bool DIO::initPullUps(int expander)
{
    qDebug().noquote() << QStringLiteral("%1: Setting GPPUA=0x%2 GPPUB=0x%3")
                              .arg(expanderName(expander), hexByte(PullUps[0]), hexByte(PullUps[1]));
    if (!write(expander, GPPUA, PullUps))
        return reportInitError(expander, "failed to write GPPUA/B");
    std::array<std::uint8_t, 2> echo{};
    if (!m_bus->i2cRead(Addresses8[static_cast<std::size_t>(expander)], GPPUA, echo.data(), 2))
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

bool DIO::initExpander(int expander)
{
    if (!initPullUps(expander))
        return false;
    if (!write(expander, OLATA, Latches))
        return reportInitError(expander, "failed to write OLATA/B");
    if (!write(expander, IODIRA, Directions))
        return reportInitError(expander, "failed to write IODIR/IPOL/GPINTEN registers");
    if (!write(expander, IOCONA, Configuration))
        return reportInitError(expander, "failed to write IOCONA");
    return true;
}

void DIO::initInterruptTask()
{
    if (!m_interruptLine.open(m_deviceName + QStringLiteral("/port1/line3"))) {
        qDebug().noquote() << "DIO::initInterruptTask"
                           << "DAQ ERROR" << m_interruptLine.errorText();
        return;
    }
    m_pollTimer = m_context.time.createTimer(m_context.timerContext, [this] { checkForInterrupt(); });
}

// ---- outputs ----

bool DIO::write(int expander, std::uint8_t registerAddress, std::span<const std::uint8_t> bytes)
{
    return m_bus && m_bus->i2cWrite(Addresses8[static_cast<std::size_t>(expander)], registerAddress,
                                    bytes.data(), static_cast<int>(bytes.size()));
}

/// lines in the sense of "on"; the 16-channel hardware switches on a low level.
bool DIO::writeOutputs(int expander, std::uint8_t lines)
{
    const bool isInverted = expanderCount() == MostExpanders;
    const std::uint8_t byte = isInverted ? static_cast<std::uint8_t>(~lines) : lines;
    return write(expander, OLATA, {&byte, 1});
}

/// failure: log line with the expander's number as %1.
void DIO::writeHeldOutputs(const QString& failure)
{
    for (int expander = 0; expander < expanderCount(); ++expander)
        if (!writeOutputs(expander, m_held[static_cast<std::size_t>(expander)]))
            qDebug().noquote() << failure.arg(expander);
}

void DIO::setOutputLines(std::uint8_t lines, int port)
{
    if (port < 0 || port >= expanderCount())
        return; // cages that this hardware does not have
    if (!writeOutputs(port, lines | m_held[static_cast<std::size_t>(port)]))
        qDebug("port expander set active low error");
    m_pulseTimer->start(PulseMs, TimerMode::SingleShot);
}

void DIO::clearOutputLines()
{
    writeHeldOutputs(QStringLiteral("port expander%1 clear/restore error"));
}

void DIO::switchAllOff()
{
    m_pulseTimer->stop();
    m_held = {};
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
        std::uint8_t& held = m_held[static_cast<std::size_t>(expander)];
        held = static_cast<std::uint8_t>(held & ~byteOf(mask, expander));
    }
    writeHeldOutputs(QStringLiteral("DIO::clearOutput - port expander %1 write error"));
}

// ---- inputs ----

void DIO::startDIORecording(int nChannels)
{
    m_periodMs = InterruptPeriodMs;
    if (m_pollTimer)
        m_pollTimer->start(m_periodMs, TimerMode::Repeating);
    qDebug().noquote() << QStringLiteral("DIO polling started on %0 channels.").arg(nChannels);
}

void DIO::stopDIORecording()
{
    if (m_pollTimer)
        m_pollTimer->stop();
    qDebug("DIO polling stopped.");
}

void DIO::checkForInterrupt()
{
    if (!m_interruptLine.isOpen())
        return;
    const auto level = m_interruptLine.read();
    if (!level) { // told once: 20 lines a second would bury everything else
        if (!std::exchange(m_isInterruptReadErrorLogged, true))
            qDebug().noquote() << "DIO::checkForInterrupt"
                               << "DAQ error (polling continues):" << m_interruptLine.errorText();
        return;
    }
    m_isInterruptReadErrorLogged = false;
    if (*level == InterruptLine::Level::Low)
        readInputs();
}

/// Reading also clears the expander's interrupt.
bool DIO::readInputs(int expander)
{
    if (!write(expander, INTFB, {})) {
        qDebug().noquote() << expanderName(expander) << "clear interrupt error";
        return false;
    }
    std::array<std::uint8_t, InterruptStatusSize> bytes{};
    if (!m_bus->i2cRead(Addresses8[static_cast<std::size_t>(expander)], INTFB, bytes.data(),
                        InterruptStatusSize)) {
        qDebug().noquote() << expanderName(expander) << "read interrupt status error";
        return false;
    }
    const std::uint8_t inputs = bytes[GpioBAt];
    std::uint8_t& last = m_inputs[static_cast<std::size_t>(expander)];
    const auto changed = static_cast<std::uint8_t>(inputs ^ last);
    last = inputs;
    qDebug().noquote() << QStringLiteral("Port %1 (%2) status:")
                              .arg(expander)
                              .arg(prefixedHexByte(Addresses8[static_cast<std::size_t>(expander)]))
                       << lineText(inputs);
    if (changed != 0)
        qDebug().noquote() << QStringLiteral("Changed Port %1:").arg(expander) << lineText(changed);
    return true;
}

/// An expander that signals but does not answer is asked less often, or its errors would fill the log.
void DIO::setPace(PollPace::Poll last)
{
    const int paceMs = m_pace.nextMs(last);
    const int periodMs = last == PollPace::Poll::Answered ? InterruptPeriodMs : paceMs;
    if (m_pollTimer && m_pollTimer->isActive() && periodMs != std::exchange(m_periodMs, periodMs))
        m_pollTimer->start(periodMs, TimerMode::Repeating);
}

void DIO::readInputs()
{
    int answered = 0;
    for (int expander = 0; expander < expanderCount(); ++expander)
        answered += readInputs(expander) ? 1 : 0;
    setPace(answered == expanderCount() ? PollPace::Poll::Answered : PollPace::Poll::Missed);
    if (answered == 0)
        return;
    const int upper = expanderCount() == MostExpanders ? m_inputs[1] << LinesPerExpander : 0;
    emit dioInputStateChanged(static_cast<std::uint16_t>(m_inputs[0] | upper));
}

} // namespace vt
