// SPDX-License-Identifier: GPL-3.0-or-later
// How inputs are noticed: by the expanders' interrupt line, and by reading them where that is not enough.
#include "hardware/DIO.h"

#include "hardware/ByteText.h"
#include "hardware/DioRegisters.h"
#include "hardware/I2C.h"

#include <QDebug>
#include <utility>

namespace vt {

using namespace DIO_NS;

namespace {

/// INTFB, INTCAPA, INTCAPB, GPIOA, GPIOB.
constexpr int InterruptStatusSize = 5;
constexpr std::size_t GpioBAt = 4;

constexpr int InterruptPeriodMs = 50;
constexpr int CheckPeriodMs = 10'000;
constexpr int MissesUntilTold = 2; ///< of the check
constexpr int QuickMisses = 4;     ///< readings that may fail before a silent expander is asked less often
constexpr std::array<std::uint8_t, 2> OwnSetting{0x00, 0xFF}; ///< IODIRA and IODIRB
constexpr int MostIdleSignals = 3; ///< a change that was undone at once signals once or twice for nothing

/// "1" or "0" per line, line 0 first.
[[nodiscard]] QString lineText(std::uint8_t lines)
{
    QString text;
    for (int line = 0; line < LinesPerExpander; ++line)
        text += QLatin1Char(((lines >> line) & 1) != 0 ? '1' : '0');
    return text;
}

} // namespace

void DIO::initInterruptTask()
{
    m_isLineLost = !m_interruptLine.open(m_deviceName + QStringLiteral("/port1/line3"));
    if (m_isLineLost)
        qDebug().noquote() << "DIO::initInterruptTask"
                           << "DAQ ERROR" << m_interruptLine.errorText();
}

void DIO::startDIORecording(int nChannels)
{
    m_isPolling = true;
    m_isStuckLogged = false;
    m_periodMs = InterruptPeriodMs;
    m_pollTimer->start(m_periodMs, TimerMode::Repeating);
    m_checkMisses = 0;
    m_checkTimer->start(CheckPeriodMs, TimerMode::Repeating);
    updateWatch();
    qDebug().noquote() << QStringLiteral("DIO polling started on %0 channels.").arg(nChannels);
}

void DIO::stopDIORecording()
{
    m_isPolling = false;
    m_pollTimer->stop();
    m_checkTimer->stop();
    updateWatch();
    qDebug("DIO polling stopped.");
}

void DIO::watchInputs(bool isWatched)
{
    m_isWatched = isWatched;
    updateWatch();
}

void DIO::updateWatch()
{
    if (!m_isPolling || !(m_isWatched || m_isLineLost || m_isLineStuck)) {
        m_watchTimer->stop();
        return;
    }
    if (m_watchTimer->isActive())
        return;
    m_watchMisses = 0;
    m_watchTimer->start(m_watchPace.nextMs(PollPace::Poll::Answered), TimerMode::SingleShot);
}

void DIO::checkForInterrupt()
{
    if (!m_interruptLine.isOpen())
        return;
    const auto level = m_interruptLine.read();
    m_isLineLost = !level;
    updateWatch();
    if (!level) { // told once: 20 lines a second would bury everything else
        if (!std::exchange(m_isInterruptReadErrorLogged, true))
            qDebug().noquote() << "DIO::checkForInterrupt"
                               << "DAQ error (polling continues):" << m_interruptLine.errorText();
        return;
    }
    m_isInterruptReadErrorLogged = false;
    if (*level == InterruptLine::Level::Low) {
        if (!m_isLineStuck)
            readSignalledInputs();
        return;
    }
    m_idleSignals = 0;
    m_isLineStuck = false;
    updateWatch();
}

/// Reading also clears the expander's interrupt.
std::optional<std::uint8_t> DIO::readInterruptStatus(int expander)
{
    if (!write(expander, INTFB, {})) {
        qDebug().noquote() << expanderName(expander) << "clear interrupt error";
        return std::nullopt;
    }
    std::array<std::uint8_t, InterruptStatusSize> bytes{};
    if (!m_bus->i2cRead(expanderAddress8(expander), INTFB, bytes.data(), InterruptStatusSize)) {
        qDebug().noquote() << expanderName(expander) << "read interrupt status error";
        return std::nullopt;
    }
    const std::uint8_t inputs = bytes[GpioBAt];
    logInputs(expander, inputs, inputs ^ m_inputs[static_cast<std::size_t>(expander)]);
    return inputs;
}

/// The levels alone: a third of the driver calls.
std::optional<std::uint8_t> DIO::readLevels(int expander)
{
    std::uint8_t inputs = 0;
    if (!m_bus || !m_bus->i2cRead(expanderAddress8(expander), GPIOB, &inputs, 1))
        return std::nullopt;
    const auto changed = static_cast<std::uint8_t>(inputs ^ m_inputs[static_cast<std::size_t>(expander)]);
    if (changed != 0)
        logInputs(expander, inputs, changed);
    return inputs;
}

void DIO::logInputs(int expander, std::uint8_t inputs, std::uint8_t changed) const
{
    qDebug().noquote() << QStringLiteral("Port %1 (%2) status:")
                              .arg(expander)
                              .arg(prefixedHexByte(expanderAddress8(expander)))
                       << lineText(inputs);
    if (changed != 0)
        qDebug().noquote() << QStringLiteral("Changed Port %1:").arg(expander) << lineText(changed);
}

/// An expander that signals but does not answer is asked less often, or its errors would fill the log.
void DIO::setPace(PollPace::Poll last)
{
    const int paceMs = m_pace.nextMs(last);
    const int periodMs = last == PollPace::Poll::Answered ? InterruptPeriodMs : paceMs;
    if (m_pollTimer->isActive() && periodMs != std::exchange(m_periodMs, periodMs))
        m_pollTimer->start(periodMs, TimerMode::Repeating);
}

DIO::Reading DIO::readInputs(ReadExpander read)
{
    Reading reading;
    unsigned readMask = 0;
    for (int expander = 0; expander < expanderCount(); ++expander) {
        const auto index = static_cast<std::size_t>(expander);
        const std::optional<std::uint8_t> inputs =
            m_isDoubted[index] ? std::nullopt : (this->*read)(expander);
        if (!inputs)
            continue;
        m_isRead[index] = true;
        ++reading.answered;
        readMask |= 0xFFU << (LinesPerExpander * expander);
        const std::uint8_t before = std::exchange(m_inputs[index], *inputs);
        reading.isChanged = reading.isChanged || before != *inputs;
    }
    setPace(reading.answered == expanderCount() ? PollPace::Poll::Answered : PollPace::Poll::Missed);
    if (reading.answered > 0)
        emit inputsRead(inputMask(), static_cast<std::uint16_t>(readMask));
    return reading;
}

/// Inputs that have not been read yet are not high.
std::uint16_t DIO::inputMask() const
{
    unsigned mask = 0;
    for (std::size_t expander = 0; expander < m_inputs.size(); ++expander)
        if (m_isRead[expander])
            mask |= unsigned{m_inputs[expander]} << (LinesPerExpander * expander);
    return static_cast<std::uint16_t>(mask);
}

void DIO::readAllInputs()
{
    if (readInputs(&DIO::readLevels).isChanged)
        emit dioInputStateChanged(inputMask());
}

void DIO::readSignalledInputs()
{
    const Reading reading = readInputs(&DIO::readInterruptStatus);
    if (reading.answered == 0)
        return;
    m_idleSignals = reading.isChanged ? 0 : m_idleSignals + 1;
    if (m_idleSignals >= MostIdleSignals) { // a fault of the line: it would keep the thread busy for nothing
        m_isLineStuck = true;
        updateWatch();
        if (!std::exchange(m_isStuckLogged, true))
            qWarning("DIO: the interrupt line stays low, the inputs are read every %d ms instead",
                     PollPace::PeriodMs);
    }
    emit dioInputStateChanged(inputMask());
}

void DIO::pollInputs()
{
    if (m_isLineLost)
        m_isLineLost = !m_interruptLine.open(m_deviceName + QStringLiteral("/port1/line3"));
    const Reading reading = readInputs(&DIO::readLevels);
    const bool isComplete = reading.answered == expanderCount();
    if (!isComplete && !std::exchange(m_isWatchErrorLogged, true))
        qWarning("DIO: a port expander does not tell its inputs");
    m_isWatchErrorLogged = !isComplete;
    m_watchMisses = isComplete ? 0 : m_watchMisses + 1;
    if (reading.isChanged)
        emit dioInputStateChanged(inputMask());
    if (!m_isPolling)
        return;
    const auto last = m_watchMisses <= QuickMisses ? PollPace::Poll::Answered : PollPace::Poll::Missed;
    m_watchTimer->start(m_watchPace.nextMs(last), TimerMode::SingleShot);
}

// ---- the check ----

std::optional<DIO::Setting> DIO::readSetting(int expander)
{
    Setting setting{};
    if (!m_bus || !m_bus->i2cRead(expanderAddress8(expander), IODIRA, setting.data(), 2))
        return std::nullopt;
    return setting;
}

bool DIO::isBelievable(int expander)
{
    bool& isDoubted = m_isDoubted[static_cast<std::size_t>(expander)];
    if (!isDoubted)
        return true;
    const std::optional<Setting> setting = readSetting(expander);
    if (!setting || *setting == Setting{})
        return false;
    // Another setting is that of an expander that was without power meanwhile.
    isDoubted = *setting != OwnSetting && !restoreExpander(expander);
    return !isDoubted;
}

bool DIO::checkExpander(int expander)
{
    const auto index = static_cast<std::size_t>(expander);
    const std::optional<Setting> setting = readSetting(expander);
    if (!setting)
        return false;
    if (*setting == OwnSetting) {
        m_isDoubted[index] = false;
        return checkOutputs(expander);
    }
    if (*setting != Setting{}) {
        qWarning("DIO: port expander %d has lost its setting and is set up again", expander);
        return restoreExpander(expander);
    }
    if (!std::exchange(m_isDoubted[index], true))
        qWarning("DIO: port expander %d acknowledges everything and keeps nothing, the data line seems to be "
                 "held low",
                 expander);
    m_isTaken[index] = false; // what it has taken since the last check, nobody knows
    retryLater();
    return false;
}

/// What was written while the line was held low for a moment has not arrived.
bool DIO::checkOutputs(int expander)
{
    const auto index = static_cast<std::size_t>(expander);
    std::uint8_t latches = 0;
    if (!m_bus->i2cRead(expanderAddress8(expander), OLATA, &latches, 1))
        return false;
    if (latches == outputByte(m_wanted[index]))
        return true;
    qWarning("DIO: port expander %d has other outputs than it should, they are written again", expander);
    return writeOutputs(expander, m_wanted[index]);
}

/// An expander that was without power for a moment acknowledges everything, and drives and signals nothing.
void DIO::checkExpanders()
{
    if (!m_bus || m_bus->failed())
        return;
    bool isAnswering = true;
    for (int expander = 0; expander < expanderCount(); ++expander)
        isAnswering = checkExpander(expander) && isAnswering;
    const int misses = isAnswering ? 0 : m_checkMisses + 1;
    const bool wasTold = std::exchange(m_checkMisses, misses) >= MissesUntilTold;
    if (wasTold != (misses >= MissesUntilTold))
        emit answeringChanged(isAnswering);
}

} // namespace vt
