// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedAmplifier.h"

#include "base/ThreadCall.h"
#include "platform/CrashHandler.h"
#include "platform/PseudoTerminal.h"
#include "simulation/AmplifierWire.h"
#include "simulation/AnimalModel.h"

#include <QDebug>
#include <QFile>
#include <algorithm>
#include <array>
#include <atomic>
#include <vector>

namespace vt {

namespace {

constexpr int StepMs = 10;
constexpr int CallTimeoutMs = 5000;
constexpr double NominalRateHz = 600.0;
constexpr double MicrosecondsPerSecond = 1e6;

} // namespace

/// The device itself. All methods but statistics() on the amplifier's thread.
class SimulatedAmplifier::Line
{
public:
    Line(TimeSource& time, Inbox& context, const Options& options, const QString& linkPath)
        : identity(options.identity), m_time(time), m_options(options),
          m_linkPath(linkPath), m_animals{AnimalModel(options.animalType, options.seed),
                                          AnimalModel(options.animalType, options.seed + 1)},
          m_timer(time.createTimer(&context, [this] { step(); }))
    {
        m_timer->start(StepMs, TimerMode::Repeating);
    }
    ~Line() { unplug(); }
    Line(const Line&) = delete;
    Line& operator=(const Line&) = delete;

    bool plugIn()
    {
        unplug();
        m_commands = AmplifierCommands();
        if (!m_terminal.open([this] { receive(); })) {
            m_errorText = m_terminal.errorText();
        } else if (!QFile::link(m_terminal.peerPath(), m_linkPath)) {
            m_errorText = QStringLiteral("cannot create the link %1").arg(m_linkPath);
            m_terminal.close();
        } else {
            m_errorText.clear();
        }
        return m_terminal.isOpen();
    }
    void unplug()
    {
        m_isStreaming = false;
        QFile::remove(m_linkPath);
        m_terminal.close();
    }
    void stream()
    {
        m_isStreaming = true;
        m_streamStartUs = m_time.monotonicUs();
        m_produced = 0;
    }
    void produce(std::size_t packets)
    {
        QByteArray bytes;
        std::array<std::vector<double>, 2> volts{std::vector<double>(packets), std::vector<double>(packets)};
        for (std::size_t channel = 0; channel < volts.size(); ++channel)
            m_animals[channel].generate(volts[channel].data(), packets);
        if (m_time.monotonicUs() < stalledUntilUs)
            return;
        for (std::size_t i = 0; i < packets; ++i)
            bytes += amplifierPacket(volts[0][i], volts[1][i]);
        m_packets += packets;
        transmit(std::move(bytes));
    }

    [[nodiscard]] Statistics statistics() const
    {
        return {m_steps, m_packets, m_bytesSent, m_bytesLost, m_bytesReceived};
    }
    [[nodiscard]] QString errorText() const { return m_errorText; }
    [[nodiscard]] QByteArray received() const { return m_received; }
    [[nodiscard]] qint64 nowUs() const { return m_time.monotonicUs(); }

    // Faults.
    qint64 stalledUntilUs = 0;
    qsizetype bytesToDrop = 0;
    qsizetype bytesToCorrupt = 0;
    StopBehaviour stopBehaviour = StopBehaviour::Obeys;
    Identification identification = Identification::Proper;
    QString identity;

private:
    void step()
    {
        if (m_isStreaming) {
            const double rateHz = NominalRateHz * (1.0 + m_options.clockError);
            const double elapsedUs = static_cast<double>(m_time.monotonicUs() - m_streamStartUs);
            const auto due = static_cast<std::uint64_t>(elapsedUs * rateHz / MicrosecondsPerSecond);
            const std::uint64_t missing = due - std::min(due, m_produced);
            m_produced += missing;
            produce(missing);
        }
        ++m_steps;
    }

    void transmit(QByteArray bytes)
    {
        const qsizetype dropped = std::min(bytesToDrop, bytes.size());
        bytesToDrop -= dropped;
        bytes.remove(0, dropped);
        const qsizetype corrupted = std::min(bytesToCorrupt, bytes.size());
        bytesToCorrupt -= corrupted;
        for (qsizetype i = 0; i < corrupted; ++i)
            bytes[i] = static_cast<char>(bytes.at(i) ^ 0x80);
        const qsizetype sent = m_terminal.write(bytes);
        m_bytesSent += static_cast<quint64>(sent);
        m_bytesLost += static_cast<quint64>(bytes.size() - sent);
    }

    void receive()
    {
        const QByteArray bytes = m_terminal.read();
        m_received += bytes;
        for (const char byte : bytes)
            if (const auto command = m_commands.feed(byte))
                obey(*command);
        m_bytesReceived += static_cast<quint64>(bytes.size());
    }

    void obey(AmplifierCommands::Command command)
    {
        switch (command) {
        case AmplifierCommands::Command::Stop:
            if (stopBehaviour == StopBehaviour::Obeys)
                m_isStreaming = m_isPrepared = m_isTimerSet = false;
            break;
        case AmplifierCommands::Command::Identify:
            if (identification == Identification::Proper)
                transmit("\r\n" + identity.toLatin1() + "\r\n2 channels\r\n");
            else if (identification == Identification::Wrong)
                transmit("Thermometer 3, strivix compatible\r\n");
            else if (identification == Identification::Endless)
                stream();
            break;
        case AmplifierCommands::Command::Prepare:
            m_isPrepared = true;
            break;
        case AmplifierCommands::Command::SetTimer:
            m_isTimerSet = m_commands.timerValue() > 0;
            break;
        case AmplifierCommands::Command::Stream:
            if (m_isPrepared && m_isTimerSet)
                stream();
            break;
        }
    }

    TimeSource& m_time;
    const Options m_options;
    const QString m_linkPath;
    std::array<AnimalModel, 2> m_animals;
    PseudoTerminal m_terminal;
    AmplifierCommands m_commands;
    QByteArray m_received;
    QString m_errorText;
    bool m_isPrepared = false;
    bool m_isTimerSet = false;
    bool m_isStreaming = false;
    qint64 m_streamStartUs = 0;
    std::uint64_t m_produced = 0; ///< since the stream was started, bursts apart

    std::atomic<quint64> m_steps{0};
    std::atomic<quint64> m_packets{0};
    std::atomic<quint64> m_bytesSent{0};
    std::atomic<quint64> m_bytesLost{0};
    std::atomic<quint64> m_bytesReceived{0};
    std::unique_ptr<Timer> m_timer;
};

template <typename Call>
auto SimulatedAmplifier::onLine(Call call) const
{
    auto result =
        callOn(m_inbox, CallTimeoutMs, [line = m_line, call = std::move(call)] { return call(*line); });
    if (!result)
        qCritical("SimulatedAmplifier: its thread does not answer");
    return std::move(result).value_or(std::invoke_result_t<Call, Line&>{});
}

SimulatedAmplifier::SimulatedAmplifier(TimeSource& time, Options options)
    : m_linkPath(m_folder.filePath(QStringLiteral("strivix")))
{
    m_thread.setObjectName(QStringLiteral("simulated amplifier"));
    m_inbox.moveToThread(&m_thread);
    m_inbox.post(&CrashHandler::prepareThread);
    m_thread.start();
    auto line = callOn(m_inbox, CallTimeoutMs, [&time, this, options = std::move(options)] {
        auto made = std::make_shared<Line>(time, m_inbox, options, m_linkPath);
        if (!made->plugIn())
            qWarning().noquote() << "SimulatedAmplifier: not plugged in:" << made->errorText();
        return made;
    });
    m_line = std::move(line).value_or(nullptr);
}

SimulatedAmplifier::~SimulatedAmplifier()
{
    const auto closed = callOn(m_inbox, CallTimeoutMs, [this] {
        m_line.reset();
        m_thread.quit();
        return true;
    });
    if (!closed)
        qCritical("SimulatedAmplifier: its thread does not end");
    m_thread.wait();
}

bool SimulatedAmplifier::isAvailable()
{
    return PseudoTerminal::isAvailable();
}

QString SimulatedAmplifier::errorText() const
{
    return onLine([](Line& line) { return line.errorText(); });
}

void SimulatedAmplifier::stall(int durationMs)
{
    onLine(
        [durationMs](Line& line) { return line.stalledUntilUs = line.nowUs() + qint64{durationMs} * 1000; });
}

void SimulatedAmplifier::burst(int packets)
{
    onLine([packets](Line& line) {
        line.produce(static_cast<std::size_t>(std::max(packets, 0)));
        return true;
    });
}

void SimulatedAmplifier::dropBytes(int count)
{
    onLine([count](Line& line) { return line.bytesToDrop = count; });
}

void SimulatedAmplifier::corruptBytes(int count)
{
    onLine([count](Line& line) { return line.bytesToCorrupt = count; });
}

void SimulatedAmplifier::startStreaming()
{
    onLine([](Line& line) {
        line.stream();
        return true;
    });
}

void SimulatedAmplifier::setStopBehaviour(StopBehaviour behaviour)
{
    onLine([behaviour](Line& line) { return line.stopBehaviour = behaviour; });
}

void SimulatedAmplifier::setIdentification(Identification identification)
{
    onLine([identification](Line& line) { return line.identification = identification; });
}

void SimulatedAmplifier::setIdentity(const QString& identity)
{
    onLine([identity](Line& line) {
        line.identity = identity;
        return true;
    });
}

void SimulatedAmplifier::disappear()
{
    onLine([](Line& line) {
        line.unplug();
        return true;
    });
}

bool SimulatedAmplifier::comeBack()
{
    return onLine([](Line& line) { return line.plugIn(); });
}

SimulatedAmplifier::Statistics SimulatedAmplifier::statistics() const
{
    return m_line->statistics();
}

QByteArray SimulatedAmplifier::received() const
{
    return onLine([](Line& line) { return line.received(); });
}

} // namespace vt
