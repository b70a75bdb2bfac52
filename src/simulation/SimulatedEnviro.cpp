// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedEnviro.h"

#include "base/ThreadCall.h"
#include "platform/CrashHandler.h"
#include "platform/PseudoTerminal.h"
#include "simulation/EnviroRoom.h"

#include <QDebug>
#include <QFile>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int CallTimeoutMs = 5000;
constexpr int SlowMs = 400;
constexpr int SplitMs = 50;

} // namespace

/// The device itself, on its thread.
class SimulatedEnviro::Device
{
public:
    Device(TimeSource& time, Inbox& context, const Options& options, const QString& folder)
        : identification("EnviroSen v" + options.firmware.toLatin1() + '#' + options.serialNumber.toLatin1() +
                         "\r\n"),
          m_time(time), m_folder(folder), m_room(options.seed), m_startMs(time.monotonicMs()),
          m_timer(time.createTimer(&context, [this] { transmit(std::exchange(m_later, {})); }))
    {}
    ~Device() { unplug(); }
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    bool plugIn(Comeback comeback)
    {
        unplug();
        if (comeback == Comeback::OtherPath)
            ++m_pathNumber;
        if (!m_terminal.open([this] { receive(); })) {
            m_errorText = m_terminal.errorText();
        } else if (!QFile::link(m_terminal.peerPath(), path())) {
            m_errorText = u"cannot create the link "_s + path();
            m_terminal.close();
        } else {
            m_errorText.clear();
        }
        return m_terminal.isOpen();
    }
    void unplug()
    {
        m_timer->stop();
        QFile::remove(path());
        m_terminal.close();
    }
    [[nodiscard]] QString path() const { return m_folder + u"/enviro"_s + QString::number(m_pathNumber); }
    [[nodiscard]] bool isPluggedIn() const { return m_terminal.isOpen(); }
    [[nodiscard]] QString errorText() const { return m_errorText; }
    [[nodiscard]] QByteArray received() const { return m_received; }

    QByteArray identification;
    Reply reply = Reply::Proper;
    std::optional<QByteArray> rawReply;

private:
    void transmit(const QByteArray& bytes)
    {
        if (m_terminal.write(bytes) != bytes.size())
            qWarning("SimulatedEnviro: the line is full, an answer is lost");
    }
    void receive()
    {
        const QByteArray bytes = m_terminal.read();
        m_received += bytes;
        for (const char byte : bytes) {
            if (byte == '?')
                transmit(identification);
            else if (byte == 's')
                answer();
        }
    }
    void answer()
    {
        if (rawReply) {
            transmit(*rawReply);
            return;
        }
        const QByteArray reading =
            enviroReading((m_time.monotonicMs() - m_startMs) / 1000, m_room.at(m_time.now()));
        switch (reply) {
        case Reply::Proper:
            transmit(reading + "\r\n");
            break;
        case Reply::None:
            break;
        case Reply::FiveFields:
            transmit(reading.left(reading.lastIndexOf(' ')) + "\r\n");
            break;
        case Reply::SevenFields:
            transmit(reading + " 7\r\n");
            break;
        case Reply::Text:
            transmit("sensor chip missing\r\n");
            break;
        case Reply::Slow:
            writeLater(reading + "\r\n", SlowMs);
            break;
        case Reply::Split:
            transmit(reading.left(reading.size() / 2));
            writeLater(reading.mid(reading.size() / 2) + "\r\n", SplitMs);
            break;
        }
    }
    void writeLater(const QByteArray& bytes, int delayMs)
    {
        m_later = bytes;
        m_timer->start(delayMs, TimerMode::SingleShot);
    }

    TimeSource& m_time;
    const QString m_folder;
    EnviroRoom m_room;
    const qint64 m_startMs;
    int m_pathNumber = 0;
    PseudoTerminal m_terminal;
    QByteArray m_received;
    QByteArray m_later;
    QString m_errorText;
    std::unique_ptr<Timer> m_timer;
};

template <typename Call>
auto SimulatedEnviro::onDevice(Call call) const
{
    auto result =
        callOn(m_inbox, CallTimeoutMs, [device = m_device, call = std::move(call)] { return call(*device); });
    if (!result)
        qCritical("SimulatedEnviro: its thread does not answer");
    return std::move(result).value_or(std::invoke_result_t<Call, Device&>{});
}

SimulatedEnviro::SimulatedEnviro(TimeSource& time, Options options) : m_serialNumber(options.serialNumber)
{
    m_thread.setObjectName(u"simulated environmental sensor"_s);
    m_inbox.moveToThread(&m_thread);
    m_inbox.post(&CrashHandler::prepareThread);
    m_thread.start();
    auto device =
        callOn(m_inbox, CallTimeoutMs, [&time, this, options = std::move(options), folder = m_folder.path()] {
            auto made = std::make_shared<Device>(time, m_inbox, options, folder);
            if (!made->plugIn(Comeback::SamePath))
                qWarning().noquote() << "SimulatedEnviro: not plugged in:" << made->errorText();
            return made;
        });
    m_device = std::move(device).value_or(nullptr);
}

SimulatedEnviro::~SimulatedEnviro()
{
    const auto closed = callOn(m_inbox, CallTimeoutMs, [this] {
        m_device.reset();
        m_thread.quit();
        return true;
    });
    if (!closed)
        qCritical("SimulatedEnviro: its thread does not end");
    m_thread.wait();
}

QString SimulatedEnviro::errorText() const
{
    return onDevice([](Device& device) { return device.errorText(); });
}

QString SimulatedEnviro::portPath() const
{
    return onDevice([](Device& device) { return device.path(); });
}

QString SimulatedEnviro::portEntry() const
{
    return u"path=%1;vid=2405;pid=000B;serial=%2;description=Tessaly Enviro"_s.arg(portPath(),
                                                                                   m_serialNumber);
}

bool SimulatedEnviro::isPluggedIn() const
{
    return onDevice([](Device& device) { return device.isPluggedIn(); });
}

void SimulatedEnviro::setReply(Reply reply)
{
    onDevice([reply](Device& device) {
        device.reply = reply;
        return true;
    });
}

void SimulatedEnviro::setRawReply(std::optional<QByteArray> bytes)
{
    onDevice([bytes = std::move(bytes)](Device& device) {
        device.rawReply = bytes;
        return true;
    });
}

void SimulatedEnviro::setIdentification(const QByteArray& bytes)
{
    onDevice([bytes](Device& device) {
        device.identification = bytes;
        return true;
    });
}

void SimulatedEnviro::unplug()
{
    onDevice([](Device& device) {
        device.unplug();
        return true;
    });
}

bool SimulatedEnviro::plugIn(Comeback comeback)
{
    return onDevice([comeback](Device& device) { return device.plugIn(comeback); });
}

QByteArray SimulatedEnviro::received() const
{
    return onDevice([](Device& device) { return device.received(); });
}

std::vector<std::unique_ptr<SimulatedEnviro>> makeSimulatedEnviros(TimeSource& time, int count)
{
    std::vector<std::unique_ptr<SimulatedEnviro>> sensors;
    for (int number = 1; number <= count; ++number)
        sensors.push_back(std::make_unique<SimulatedEnviro>(
            time, SimulatedEnviro::Options{.serialNumber = u"SIM"_s + QString::number(number),
                                           .seed = static_cast<std::uint64_t>(number)}));
    return sensors;
}

} // namespace vt
