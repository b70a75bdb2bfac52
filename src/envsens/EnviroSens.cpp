// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnviroSens.h"

#include "envsens/EnvProtocol.h"
#include "envsens/EnvSensorSettings.h"
#include "envsens/SerialPortList.h"

#include <QDebug>
#include <QThread>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

constexpr int WriteWaitMs = 100;
constexpr int IdentifyWaitMs = 300;
constexpr int SampleWaitMs = 1000;

} // namespace

EnviroSens::EnviroSens(TimeSource& time, const SerialPortList& ports,
                       std::shared_ptr<EnvSensorSettings> settings, const QString& portSerial)
    : m_time(time), m_ports(ports), m_settings(std::move(settings)), m_portSerial(portSerial)
{
    qRegisterMetaType<EnvSample>();
    m_buffer.reserve(EnvProtocol::ReplyLimitBytes);
}

EnviroSens::~EnviroSens()
{
    qDebug() << "EnviroSens::~EnviroSens() - Current thread:" << QThread::currentThreadId();
    if (m_port)
        qWarning("WARNING: mSerialPort not cleaned up before destructor!");
}

QString EnviroSens::portName() const
{
    const MutexLock lock(m_mutex);
    return m_portName;
}

QString EnviroSens::serialNumber() const
{
    const MutexLock lock(m_mutex);
    return m_serialNumber;
}

QString EnviroSens::label() const
{
    const MutexLock lock(m_mutex);
    return m_label;
}

bool EnviroSens::isEnabled() const
{
    const MutexLock lock(m_mutex);
    return m_isEnabled;
}

int EnviroSens::firmwareMajor() const
{
    const MutexLock lock(m_mutex);
    return m_firmwareMajor;
}

int EnviroSens::firmwareMinor() const
{
    const MutexLock lock(m_mutex);
    return m_firmwareMinor;
}

QList<EnvSample> EnviroSens::history() const
{
    const MutexLock lock(m_mutex);
    return {m_history.begin(), m_history.end()};
}

std::optional<EnvSample> EnviroSens::lastReading() const
{
    const MutexLock lock(m_mutex);
    return m_history.empty() ? std::nullopt : std::optional(m_history.back());
}

void EnviroSens::applyLabel(const QString& label)
{
    const MutexLock lock(m_mutex);
    m_label = label;
}

void EnviroSens::applyEnabled(bool enabled)
{
    const MutexLock lock(m_mutex);
    m_isEnabled = enabled;
}

void EnviroSens::storeSettings()
{
    const QString serial = serialNumber();
    m_settings->setLabel(serial, label());
    m_settings->setEnabled(serial, isEnabled());
}

void EnviroSens::setLabel(const QString& label)
{
    applyLabel(label);
    m_settings->setLabel(serialNumber(), label);
}

void EnviroSens::handleLabelChanged(const QString& label)
{
    setLabel(label);
}

void EnviroSens::handleDeviceSelectionChange(Qt::CheckState state)
{
    if (state == Qt::PartiallyChecked)
        return;
    applyEnabled(state == Qt::Checked);
    m_settings->setEnabled(serialNumber(), state == Qt::Checked);
}

void EnviroSens::setPort(const QString& port)
{
    qDebug() << "EnviroSens::setPort() - Current thread:" << QThread::currentThreadId();
    if (m_port) {
        qWarning("SerialPort already set.");
        return;
    }
    qDebug().noquote() << "Setting EnviroSens com port to:" << port;
    {
        const MutexLock lock(m_mutex);
        m_portName = port;
    }
    m_port = std::make_unique<QSerialPort>(port);
    qDebug() << "  Created QSerialPort - QSerialPort thread:" << m_port->thread();
    if (!m_port->open(QIODevice::ReadWrite)) {
        qWarning().noquote() << "Could not open" << port << m_port->errorString();
        m_port.reset();
        emit setPortDone(-1, port);
        return;
    }
    qDebug().noquote() << port << "opened successfully.";
    m_isPortGone = false;
    if (!identify()) {
        emit setPortDone(-1, port);
        return;
    }
    send(EnvProtocol::StartCommand);
    connect(m_port.get(), &QSerialPort::errorOccurred, this, &EnviroSens::handleSerialPortError);
    reportConnected();
    emit setPortDone(0, port);
}

bool EnviroSens::identify()
{
    drain();
    send(EnvProtocol::IdentifyCommand);
    const auto identity = EnvProtocol::parseIdentification(receive(IdentifyWaitMs));
    if (!identity)
        return false;
    const QString storedLabel = m_settings->label(identity->serialNumber);
    const bool isEnabledInStore = m_settings->isEnabled(identity->serialNumber);
    {
        const MutexLock lock(m_mutex);
        m_serialNumber = identity->serialNumber;
        m_label = storedLabel;
        m_isEnabled = isEnabledInStore;
        m_firmwareMajor = identity->firmwareMajor;
        m_firmwareMinor = identity->firmwareMinor;
    }
    qInfo().noquote().nospace() << "Sucessfully Initialized EnviroSen " << identity->serialNumber
                                << " version v" << identity->firmwareMajor << "." << identity->firmwareMinor;
    return true;
}

/// Whatever goes wrong shows in the answer that does not come.
void EnviroSens::send(const char* command)
{
    if (m_port->write(command) > 0)
        m_port->waitForBytesWritten(WriteWaitMs);
}

/// What has come unasked, or too late for the poll that asked.
void EnviroSens::drain()
{
    while (m_port->isOpen() && !m_isPortGone && m_port->bytesAvailable() > 0)
        if (m_port->read(EnvProtocol::ReplyLimitBytes).isEmpty())
            break;
    if (m_port->isOpen() && !m_isPortGone)
        m_port->clear(QSerialPort::Input); // what the system has not handed over yet
}

/// One line of at most 100 bytes, as much of it as came within timeoutMs. A line may come in pieces.
QByteArray EnviroSens::receive(int timeoutMs)
{
    m_buffer.resize(0);
    const qint64 deadlineMs = m_time.monotonicMs() + timeoutMs;
    while (m_port->isOpen()) {
        m_buffer += m_port->read(EnvProtocol::ReplyLimitBytes - m_buffer.size());
        if (EnvProtocol::isReplyComplete(m_buffer) || m_isPortGone)
            break;
        const auto leftMs = static_cast<int>(deadlineMs - m_time.monotonicMs());
        if (leftMs <= 0 || !m_port->waitForReadyRead(leftMs))
            break;
    }
    return m_buffer;
}

void EnviroSens::getNewSample()
{
    m_hasPolled = 0;
    EnvSample sample;
    sample.timeStampMs = m_time.now().toMSecsSinceEpoch();
    if (!isEnabled()) {
        qDebug().noquote() << label() << "Not enabled, Skipping.";
        return;
    }
    if (ensureOpen())
        sample = poll(sample);
    else
        reportDisconnected();
    m_hasPolled = 1;
    emit newSampleReady(sample, serialNumber());
}

/// False when there is no port, or it cannot be opened now.
bool EnviroSens::ensureOpen()
{
    if (!m_port)
        return false;
    if (m_port->error() != QSerialPort::NoError || m_isPortGone)
        closePort();
    if (m_port->isOpen())
        return true;
    if (!choosePort() || !m_port->open(QIODevice::ReadWrite))
        return false;
    send(EnvProtocol::StartCommand);
    return !m_isPortGone;
}

/// A sensor may come back under another name, another device under its old one. False when our sensor is not
/// there, as far as the list of ports can tell.
bool EnviroSens::choosePort()
{
    const QString name = portName();
    const QList<SerialPortFacts> ports = m_ports.ports();
    const auto ours = std::find_if(ports.begin(), ports.end(), [this](const SerialPortFacts& port) {
        return !m_portSerial.isEmpty() && port.serialNumber == m_portSerial;
    });
    if (ours != ports.end()) {
        m_isForeignTold = false;
        if (ours->path != name) {
            qInfo().noquote() << "Env sensor" << serialNumber() << "is at" << ours->path << "now";
            m_port->setPortName(ours->path);
            const MutexLock lock(m_mutex);
            m_portName = ours->path;
        }
        return true;
    }
    const bool isForeign = std::any_of(ports.begin(), ports.end(), [&name](const SerialPortFacts& port) {
        return port.path == name && !port.serialNumber.isEmpty();
    });
    if (isForeign && !m_portSerial.isEmpty()) {
        if (!m_isForeignTold)
            qWarning().noquote() << "Env sensor" << serialNumber() << "- another device is at" << name;
        m_isForeignTold = true;
        return false;
    }
    return true;
}

void EnviroSens::closePort()
{
    m_isPortGone = false;
    if (m_port->isOpen())
        m_port->close();
    m_port->clearError();
}

EnvSample EnviroSens::poll(EnvSample sample)
{
    drain();
    send(EnvProtocol::SampleCommand);
    const QByteArray reply = receive(SampleWaitMs);
    if (reply.isEmpty()) {
        qWarning().noquote() << "No bytes read on env sens:" << serialNumber();
        return sample;
    }
    const auto reading = EnvProtocol::parseReading(reply);
    if (!reading)
        return sample;
    sample = EnvProtocol::toSample(*reading, m_time.now().toMSecsSinceEpoch());
    remember(sample);
    reportConnected();
    return sample;
}

void EnviroSens::remember(const EnvSample& sample)
{
    const MutexLock lock(m_mutex);
    m_history.push_back(sample);
    while (m_history.size() > MaxHistory)
        m_history.pop_front();
}

void EnviroSens::reconnect()
{
    if (isDisconnected() && ensureOpen())
        reportConnected();
}

void EnviroSens::reportConnected()
{
    if (m_isDisconnected.exchange(0) == 1)
        emit sensorReconnected(serialNumber(), label());
}

void EnviroSens::reportDisconnected()
{
    if (m_isDisconnected.exchange(1) == 0)
        emit sensorDisconnected(serialNumber(), label());
}

/// An unplugged device is a resource error. On Linux it shows first as a read of no bytes, a read error,
/// again and again until the port is closed.
void EnviroSens::handleSerialPortError()
{
    const QSerialPort::SerialPortError error = m_port ? m_port->error() : QSerialPort::NoError;
    if (error == QSerialPort::DeviceNotFoundError || error == QSerialPort::ResourceError)
        reportDisconnected();
    const bool isGone = error == QSerialPort::ResourceError || error == QSerialPort::ReadError ||
                        error == QSerialPort::PermissionError;
    if (!isGone || m_isPortGone || !m_port->isOpen())
        return;
    m_isPortGone = true;
    reportDisconnected();
    // The port is in the middle of its own work; it is closed afterwards.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (m_port && m_isPortGone)
                closePort();
        },
        Qt::QueuedConnection);
}

void EnviroSens::cleanupSerialPort()
{
    qDebug() << "EnviroSens::cleanupSerialPort() - Current thread:" << QThread::currentThreadId();
    if (!m_port)
        return;
    qDebug() << "Closing and deleting QSerialPort - QSerialPort thread:" << m_port->thread();
    m_port->disconnect(this);
    closePort();
    m_port.reset();
    qDebug("QSerialPort cleaned up successfully");
}

} // namespace vt
