// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "acquisition/StrivixDrain.h"
#include "acquisition/StrivixParser.h"
#include "base/Inbox.h"
#include "base/TimeSource.h"

#include <QObject>
#include <QSerialPort>
#include <QString>
#include <atomic>
#include <memory>
#include <span>
#include <vector>

namespace vt {

/// What a StrivixDevice has done so far. Outlives it; any thread may read.
struct StrivixCounters
{
    std::atomic<quint64> bytesSent{0};
    std::atomic<quint64> bytesReceived{0};
    std::atomic<quint64> bytesDropped{0};   ///< received while streaming, part of no packet
    std::atomic<quint64> bytesDamaged{0};   ///< of these, more than a packet that the stream began within
    std::atomic<quint64> samples{0};        ///< per channel, decoded
    std::atomic<quint64> samplesDropped{0}; ///< decoded, and dropped because too many waited
    /// Times that no samples were left to hand on, and then there were again. A stream that does not go on
    /// has ended.
    std::atomic<quint64> underruns{0};
    std::atomic<quint64> serialErrors{0};
};

/// The USB amplifier with two channels that shows up as a serial port.
///
///   Closed --open--> Flushing --quiet for 400 ms--> AwaitingReply --bytes--> ReadingReply --quiet 100 ms-->
///   Identified --start--> Streaming --stop--> Identified --close--> Closed
///   Streaming --port gone--> Emptying --no samples left--> Closed
///   Closed .. ReadingReply --not what we look for--> Retrying --500 ms--> Flushing; Closed after the last
///   try
///
/// Everything happens on the thread that the object was made on, which needs an event loop and may block
/// there for up to 150 ms per command until it is written (three commands at most in a row). Never longer,
/// whatever the other end does.
class StrivixDevice : public QObject
{
    Q_OBJECT
public:
    enum class State {
        Closed,
        Retrying,
        Flushing,
        AwaitingReply,
        ReadingReply,
        Identified,
        Streaming,
        Emptying
    };

    /// time and counters outlive the object.
    StrivixDevice(TimeSource& time, StrivixCounters& counters, QObject* parent = nullptr);
    ~StrivixDevice() override;

    static constexpr int RetryPauseMs = 500;

    /// How often open() tries before it tells the error of the last try: a port that has just appeared is
    /// often still held by what looks at new devices. 1 unless told otherwise. Before open().
    void setTries(int tries) { m_tries = tries; }
    /// Opens the port and asks who is there. Ends with identified() or, the port closed again, with
    /// errorOccurred(). portName: as the system names it, or a path. Only when Closed.
    void open(const QString& portName);
    /// Starts the stream. Only when Identified; does nothing otherwise.
    void start();
    /// Ends the stream; samples that were not handed on yet are dropped.
    void stop();
    /// Ends whatever is under way and closes the port.
    void close();

    [[nodiscard]] State state() const { return m_state; }
    [[nodiscard]] QString portName() const { return m_portName; }
    /// "Strivix ..." as the device calls itself; empty before.
    [[nodiscard]] QString identity() const { return m_identity; }

signals:
    void identified(const QString& identity);
    /// Why it could not be opened, or that it is gone.
    void errorOccurred(const QString& text);
    /// The next samples at the 600 Hz pace, oldest first. Valid during the call: connect directly.
    void samplesDrained(std::span<const vt::StrivixSample> samples);
    /// The port is gone, and all that had arrived has been handed on.
    void emptied();

private:
    void tryOpen();
    void onReadyRead();
    void onSerialError(QSerialPort::SerialPortError error);
    void onPhaseTimeout();
    void handleFlushed();
    void handleReply(const QByteArray& bytes);
    void askIdentity();
    void judgeReply();
    void handleStream(const QByteArray& bytes);
    void limitFifo();
    void drainTick();
    void handOn(std::size_t count);
    void portGone();
    void send(const QByteArray& command);
    void fail(const QString& text);
    void closePort();
    [[nodiscard]] qint64 phaseElapsedMs() const;

    TimeSource& m_time;
    StrivixCounters& m_counters;
    State m_state = State::Closed;
    int m_tries = 1;
    int m_triesLeft = 0; ///< 0 also once somebody has been identified
    QString m_portName;
    QString m_identity;
    QSerialPort m_port;
    bool m_isPortGone = false;

    QByteArray m_reply;
    qint64 m_phaseStartMs = 0;

    StrivixParser m_parser;
    StrivixDrain m_drain;
    std::vector<StrivixSample> m_fifo; ///< both channels in step, oldest first
    int m_countedUnderruns = 0;        ///< of m_drain
    int m_drainIntervalMs = StrivixDrain::NominalIntervalMs;

    Inbox m_inbox; ///< context of the timers
    std::unique_ptr<Timer> m_phaseTimer;
    std::unique_ptr<Timer> m_drainTimer;
};

} // namespace vt
