// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixDevice.h"

#include "acquisition/AcquisitionFrame.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int WriteWaitMs = 150;
constexpr int FlushQuietMs = 400;
constexpr qint64 FlushLimitMs = 2000;
constexpr int ReplyWaitMs = 500;
constexpr int ReplyQuietMs = 100;
// A device that never falls silent after the question is judged by what it has said until then.
constexpr qint64 ReplyLimitMs = 2000;
constexpr qsizetype ReplyLimitBytes = 4096;
constexpr int TimerValue = 64292; // what the device expects; its meaning is the device's own
constexpr std::size_t UsualFifoSamples = 2048;
constexpr std::size_t FifoLimitSamples = 36000; // a minute; a port may bring far more than an amplifier sends

int depthMs(int depth)
{
    return static_cast<int>(depth * 1000 / RawSampleRateHz);
}

} // namespace

StrivixDevice::StrivixDevice(TimeSource& time, StrivixCounters& counters, QObject* parent)
    : QObject(parent), m_time(time), m_counters(counters)
{
    m_fifo.reserve(UsualFifoSamples);
    m_phaseTimer = m_time.createTimer(&m_inbox, [this] { onPhaseTimeout(); });
    m_drainTimer = m_time.createTimer(&m_inbox, [this] { drainTick(); });
    connect(&m_port, &QSerialPort::readyRead, this, &StrivixDevice::onReadyRead);
    connect(&m_port, &QSerialPort::errorOccurred, this, &StrivixDevice::onSerialError);
}

StrivixDevice::~StrivixDevice()
{
    close();
}

void StrivixDevice::open(const QString& portName)
{
    if (m_state != State::Closed)
        return;
    m_portName = portName;
    m_identity.clear();
    m_triesLeft = m_tries;
    tryOpen();
}

void StrivixDevice::tryOpen()
{
    --m_triesLeft;
    m_state = State::Closed;
    m_isPortGone = false;
    m_port.setPortName(m_portName);
    m_port.setBaudRate(115200);
    m_port.setDataBits(QSerialPort::Data8);
    m_port.setParity(QSerialPort::NoParity);
    m_port.setStopBits(QSerialPort::OneStop);
    m_port.setFlowControl(QSerialPort::NoFlowControl);
    if (!m_port.open(QIODevice::ReadWrite)) {
        qWarning().noquote() << "StrivixDevice: Failed to open" << m_port.error();
        fail(u"Failed to open port: "_s + m_port.errorString());
        return;
    }
    m_state = State::Flushing;
    m_phaseStartMs = m_time.monotonicMs();
    send("s"_ba);
    send("\r\n\r\n"_ba);
    if (m_state == State::Flushing)
        m_phaseTimer->start(FlushQuietMs, TimerMode::SingleShot);
}

void StrivixDevice::send(const QByteArray& command)
{
    if (!m_port.isOpen())
        return;
    const qint64 accepted = m_port.write(command);
    // Both failures are logged as serial errors. The wait is this thread's own.
    const bool isWritten = accepted == command.size() && m_port.waitForBytesWritten(WriteWaitMs);
    if (isWritten)
        m_counters.bytesSent += static_cast<quint64>(command.size());
}

qint64 StrivixDevice::phaseElapsedMs() const
{
    return m_time.monotonicMs() - m_phaseStartMs;
}

void StrivixDevice::onReadyRead()
{
    const QByteArray bytes = m_port.readAll();
    switch (m_state) {
    case State::Flushing:
        handleFlushed();
        break;
    case State::AwaitingReply:
    case State::ReadingReply:
        handleReply(bytes);
        break;
    case State::Streaming:
        handleStream(bytes);
        break;
    case State::Closed:
    case State::Retrying:
    case State::Identified:
    case State::Emptying:
        break;
    }
    m_counters.bytesReceived += static_cast<quint64>(bytes.size());
}

void StrivixDevice::handleFlushed()
{
    const qint64 elapsedMs = phaseElapsedMs();
    if (elapsedMs < FlushLimitMs) {
        m_phaseTimer->start(FlushQuietMs, TimerMode::SingleShot);
        return;
    }
    qWarning().noquote() << "StrivixDevice:" << m_portName
                         << "kept streaming after the stop command; abandoning probe after" << elapsedMs
                         << "ms";
    fail(u"Device kept streaming and could not be identified"_s);
}

void StrivixDevice::onPhaseTimeout()
{
    if (m_state == State::Retrying)
        tryOpen();
    else if (m_state == State::Flushing)
        askIdentity();
    else if (m_state == State::AwaitingReply || m_state == State::ReadingReply)
        judgeReply();
}

void StrivixDevice::askIdentity()
{
    m_state = State::AwaitingReply;
    m_reply.clear();
    m_phaseStartMs = m_time.monotonicMs();
    send("?"_ba);
    if (m_state == State::AwaitingReply) // else the reply came while the question was being written
        m_phaseTimer->start(ReplyWaitMs, TimerMode::SingleShot);
}

void StrivixDevice::handleReply(const QByteArray& bytes)
{
    m_state = State::ReadingReply;
    m_reply += bytes.first(std::min(bytes.size(), ReplyLimitBytes - m_reply.size()));
    if (phaseElapsedMs() < ReplyLimitMs)
        m_phaseTimer->start(ReplyQuietMs, TimerMode::SingleShot);
    else
        judgeReply();
}

void StrivixDevice::judgeReply()
{
    m_phaseTimer->stop();
    const QString reply = QString::fromLatin1(m_reply).trimmed();
    if (!m_reply.isEmpty())
        qInfo().noquote() << "StrivixDevice: ID response:" << reply;
    const qsizetype start = reply.indexOf("Strivix"_L1, 0, Qt::CaseSensitive);
    if (start < 0) {
        qWarning().noquote() << "StrivixDevice: Device on" << m_portName << "did not identify as Strivix";
        fail(u"Device did not identify as Strivix"_s);
        return;
    }
    m_identity = reply.mid(start).section(u'\n', 0, 0).trimmed();
    m_state = State::Identified;
    m_triesLeft = 0;
    qInfo().noquote() << "StrivixDevice: Connected to" << m_portName << "on" << m_identity;
    emit identified(m_identity);
}

void StrivixDevice::start()
{
    if (m_state != State::Identified)
        return;
    m_fifo.clear();
    m_parser.clear();
    m_drain.reset();
    m_countedUnderruns = 0;
    m_drainIntervalMs = StrivixDrain::NominalIntervalMs;
    m_state = State::Streaming;
    send("b"_ba);
    qInfo().noquote() << "setting timer val:" << TimerValue;
    send("f" + QByteArray::number(TimerValue) + "\r\n");
    send("c"_ba);
    m_drainTimer->start(m_drainIntervalMs, TimerMode::Repeating);
}

void StrivixDevice::handleStream(const QByteArray& bytes)
{
    const std::size_t before = m_fifo.size();
    const quint64 droppedBefore = m_parser.droppedBytes();
    m_parser.parse(bytes, m_fifo);
    m_counters.samples += m_fifo.size() - before;
    m_counters.bytesDropped += m_parser.droppedBytes() - droppedBefore;
    m_counters.bytesDamaged = m_parser.damagedBytes();
    limitFifo();
    const int depth = static_cast<int>(m_fifo.size());
    if (m_drain.noteArrival(depth))
        qDebug().noquote() << "StrivixDevice: FIFO depth new high:" << depth << "samples (~" << depthMs(depth)
                           << "ms)";
}

void StrivixDevice::limitFifo()
{
    if (m_fifo.size() <= FifoLimitSamples)
        return;
    const std::size_t excess = m_fifo.size() - FifoLimitSamples;
    if (m_counters.samplesDropped.fetch_add(excess) == 0)
        qWarning("StrivixDevice: FIFO full, dropping the oldest samples");
    m_fifo.erase(m_fifo.begin(), m_fifo.begin() + static_cast<std::ptrdiff_t>(excess));
}

void StrivixDevice::drainTick()
{
    const int depth = static_cast<int>(m_fifo.size());
    const StrivixDrain::Tick tick = m_drain.tick(depth);
    if (depth > 0)
        m_counters.underruns += static_cast<quint64>(m_drain.underruns() -
                                                     std::exchange(m_countedUnderruns, m_drain.underruns()));
    if (tick.underrun)
        qWarning("StrivixDevice: FIFO underrun — drain tick had no samples");
    if (tick.fastDrain)
        qWarning().noquote() << "StrivixDevice: FIFO fast-drain triggered, depth:" << depth << "draining"
                             << tick.amount << "samples";
    if (tick.newLow)
        qDebug().noquote() << "StrivixDevice: FIFO depth new low:" << depth << "samples (~" << depthMs(depth)
                           << "ms)";
    // Restarted only on a change, so that the timer's own phase takes up the time that a tick needs.
    if (tick.intervalMs != m_drainIntervalMs && m_drainTimer->isActive()) {
        m_drainIntervalMs = tick.intervalMs;
        m_drainTimer->start(m_drainIntervalMs, TimerMode::Repeating);
    }
    if (tick.amount == 0) {
        if (m_state == State::Emptying) {
            closePort();
            emit emptied();
        }
        return;
    }
    handOn(static_cast<std::size_t>(tick.amount));
}

void StrivixDevice::handOn(std::size_t count)
{
    emit samplesDrained(std::span(m_fifo).first(count));
    m_fifo.erase(m_fifo.begin(), m_fifo.begin() + static_cast<std::ptrdiff_t>(count));
}

void StrivixDevice::stop()
{
    if (m_state != State::Streaming && m_state != State::Emptying)
        return;
    m_drainTimer->stop();
    m_fifo.clear();
    m_state = m_port.isOpen() ? State::Identified : State::Closed;
    send("s"_ba);
}

void StrivixDevice::close()
{
    stop();
    closePort();
}

void StrivixDevice::closePort()
{
    m_phaseTimer->stop();
    m_drainTimer->stop();
    m_state = State::Closed;
    if (m_port.isOpen())
        m_port.close();
}

void StrivixDevice::fail(const QString& text)
{
    closePort();
    if (m_triesLeft > 0) {
        m_state = State::Retrying;
        m_phaseTimer->start(RetryPauseMs, TimerMode::SingleShot);
        return;
    }
    emit errorOccurred(text);
}

void StrivixDevice::onSerialError(QSerialPort::SerialPortError error)
{
    // A port that is gone repeats its error without end until it is closed.
    if (error == QSerialPort::NoError || m_state == State::Closed || m_state == State::Retrying ||
        m_isPortGone)
        return;
    ++m_counters.serialErrors;
    qWarning().noquote() << "StrivixDevice: Serial error:" << error;
    // Linux shows a removed device first as a read of no bytes, which the port calls a read error.
    if (error != QSerialPort::ResourceError && error != QSerialPort::ReadError &&
        error != QSerialPort::PermissionError)
        return;
    m_isPortGone = true;
    // The port is in the middle of its own work; it is closed afterwards.
    m_inbox.post([this] { portGone(); });
}

void StrivixDevice::portGone()
{
    if (m_state == State::Closed || m_state == State::Retrying || !m_isPortGone)
        return;
    const QString text = u"Device disconnected: "_s + m_portName;
    if (m_state != State::Streaming) {
        fail(text);
        return;
    }
    m_phaseTimer->stop();
    m_port.close();
    m_state = State::Emptying; // what has arrived is still handed on, at its pace
    // A FIFO that has not been primed has no pace, and never will: it is less than the cushion.
    if (!m_drain.isPrimed())
        handOn(m_fifo.size());
    emit errorOccurred(text);
}

} // namespace vt
