// SPDX-License-Identifier: GPL-3.0-or-later
// EnviroSensManager: which sensors there are.
#include "envsens/EnvSensorSettings.h"
#include "envsens/EnviroSensManager.h"
#include "envsens/ManagedSensor.h"
#include "envsens/SerialPortList.h"

#include <QDebug>
#include <QThread>
#include <algorithm>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr quint16 VendorId = 0x2405;
constexpr quint16 ProductId = 0x000B;
constexpr int RetiredWaitMs = 1000;

bool isSensor(const SerialPortFacts& port)
{
    return port.vendorId == VendorId && port.productId == ProductId &&
           port.description.contains("Tessaly Enviro"_L1) && !port.serialNumber.isEmpty();
}

QString hexText(const std::optional<quint16>& id)
{
    return id ? u"0x"_s + QString::number(*id, 16).rightJustified(4, u'0') : u"none"_s;
}

} // namespace

void EnviroSensManager::FindSensors()
{
    find(Looking::ByUser);
}

void EnviroSensManager::find(Looking why)
{
    qDebug() << "EnviroSensManager::FindSensors thread id:" << QThread::currentThreadId();
    m_isFindDue = false;
    const QList<SerialPortFacts> ports = m_ports.ports();
    for (const SerialPortFacts& port : ports)
        qDebug().noquote() << " " << port.path << port.serialNumber;
    if (!m_isCollecting) // else it keeps its columns in the log and delivers "no data"
        dropMissing(ports);
    for (const SerialPortFacts& port : ports)
        considerPort(port, why);
    if (!isFinding())
        emitSensorListReady();
}

void EnviroSensManager::dropMissing(const QList<SerialPortFacts>& ports)
{
    std::vector<SensorPointer> missing;
    for (const SensorPointer& managed : m_sensors) {
        const bool isThere = std::any_of(ports.begin(), ports.end(), [&managed](const SerialPortFacts& port) {
            return port.serialNumber == managed->portSerial;
        });
        if (!isThere)
            missing.push_back(managed);
    }
    for (const SensorPointer& managed : missing) {
        forgetDisconnect(managed->sensor->serialNumber());
        retire(managed);
    }
    if (!missing.empty())
        notifySelectionChanged();
}

void EnviroSensManager::considerPort(const SerialPortFacts& port, Looking why)
{
    if (const SensorPointer listed = findByPortSerial(port.serialNumber);
        listed && !port.serialNumber.isEmpty()) {
        if (listed->portName != port.path)
            qDebug().noquote() << u"SN: %1 already in list"_s.arg(port.serialNumber);
        if (why == Looking::ByUser && !listed->isAwaited)
            listed->thread.post([sensor = listed->sensor.get()] { sensor->reconnect(); });
        return;
    }
    qDebug().noquote() << "PID" << hexText(port.productId) << "VID" << hexText(port.vendorId) << "desc"
                       << port.description;
    if (!isSensor(port))
        return;
    const bool isRetiring =
        std::any_of(m_retiring.begin(), m_retiring.end(), [&port](const SensorPointer& retiring) {
            return retiring->portSerial == port.serialNumber;
        });
    if (isRetiring)
        m_isFindDue = true;
    else
        addSensor(port);
}

void EnviroSensManager::addSensor(const SerialPortFacts& port)
{
    platform::ClaimAttempt attempt = platform::takeClaim(port.serialNumber);
    if (!attempt.claim) {
        if (attempt.outcome == platform::ClaimAttempt::Outcome::Failed)
            qWarning().noquote() << "Env sensor" << port.serialNumber
                                 << "cannot be claimed:" << attempt.failedCall
                                 << "failed, error:" << attempt.errorCode;
        qWarning().noquote() << "Env sensor" << port.serialNumber
                             << "is claimed by another Vellumtide instance — skipping";
        return;
    }
    auto managed = std::make_shared<ManagedSensor>();
    managed->claim = std::move(attempt.claim);
    managed->portSerial = port.serialNumber;
    managed->portName = port.path;
    managed->sensor = std::make_unique<EnviroSens>(m_time, m_ports, m_settings, port.serialNumber);
    qDebug() << "  Before moveToThread - Sensor thread affinity:" << managed->sensor->thread();
    managed->sensor->moveToThread(managed->thread.thread());
    qDebug() << "  After moveToThread - Sensor thread affinity:" << managed->sensor->thread();
    managed->thread.start();
    qDebug() << "  Thread started:" << managed->thread.thread();
    connectSensor(managed);
    m_sensors.push_back(managed);
    qDebug().noquote() << "Attempting to init SN:" << port.serialNumber;
    managed->thread.post([sensor = managed->sensor.get(), path = port.path] { sensor->setPort(path); });
}

/// Each signal is emitted on the sensor's thread and handled on ours, in order, while the manager exists.
void EnviroSensManager::connectSensor(const SensorPointer& managed)
{
    const EnviroSens* sensor = managed->sensor.get();
    const auto answers = m_inbox.address();
    connect(
        sensor, &EnviroSens::setPortDone, sensor,
        [this, answers](int rc, const QString& port) {
            answers->post([this, rc, port] { handleSensorSetPortDone(rc, port); });
        },
        Qt::DirectConnection);
    connect(
        sensor, &EnviroSens::newSampleReady, sensor,
        [this, answers, weak = std::weak_ptr(managed)](const EnvSample& sample, const QString& serial) {
            answers->post([this, weak, sample, serial] {
                if (const SensorPointer ours = weak.lock())
                    ours->isPolling = false;
                handleNewSample(sample, serial);
            });
        },
        Qt::DirectConnection);
    connect(
        sensor, &EnviroSens::sensorDisconnected, sensor,
        [this, answers](const QString& serial, const QString& label) {
            answers->post([this, serial, label] {
                if (!m_disconnected.contains(serial)) // else the start of the collection has told it
                    handleSensorDisconnected(serial, label);
            });
        },
        Qt::DirectConnection);
    connect(
        sensor, &EnviroSens::sensorReconnected, sensor,
        [this, answers](const QString& serial, const QString& label) {
            answers->post([this, serial, label] { handleSensorReconnected(serial, label); });
        },
        Qt::DirectConnection);
}

void EnviroSensManager::handleSensorSetPortDone(int rc, const QString& portName)
{
    const auto found = std::find_if(m_sensors.begin(), m_sensors.end(), [&](const SensorPointer& managed) {
        return managed->isAwaited && managed->portName == portName;
    });
    if (found == m_sensors.end()) {
        qWarning("ERROR: handleSensorSetPortDone could not find sensor for port");
        return;
    }
    const SensorPointer managed = *found;
    const QString serialNumber = managed->sensor->serialNumber();
    const bool isTwice = rc == 0 && findBySerial(serialNumber) != nullptr;
    managed->isAwaited = false;
    if (isTwice)
        qWarning().noquote() << u"SN: %1 already in list"_s.arg(serialNumber);
    if (rc == 0 && !isTwice) {
        qInfo().noquote() << "Adding EnviroSen SN:" << serialNumber << "to list.";
        refreshBookkeeping();
    } else {
        qWarning().noquote() << u"Sensor init failed (rc=%1), cleaning up and removing:"_s.arg(rc)
                             << portName;
        managed->hasFailed = true;
        retire(managed);
    }
    if (!isFinding())
        emitSensorListReady();
}

/// It is off the list at once, and ends on its own thread: nobody waits for a poll in progress.
void EnviroSensManager::retire(SensorPointer managed)
{
    std::erase(m_sensors, managed);
    managed->thread.finish([this, answers = m_inbox.address(), raw = managed.get()] {
        raw->sensor->cleanupSerialPort();
        answers->post([this, raw] { handleRetired(raw); });
    });
    m_retiring.push_back(std::move(managed));
}

void EnviroSensManager::handleRetired(const ManagedSensor* managed)
{
    const auto found =
        std::find_if(m_retiring.begin(), m_retiring.end(),
                     [managed](const SensorPointer& retiring) { return retiring.get() == managed; });
    if (found == m_retiring.end())
        return;
    const SensorPointer retired = *found;
    m_retiring.erase(found);
    if (!retired->thread.wait(RetiredWaitMs)) // its last step has run
        m_keep(retired);
    if (retired->hasFailed) {
        qDebug() << "  Failed sensor thread stopped:" << retired->thread.thread();
        qDebug("  Failed sensor removed from list.");
    }
    if (m_isFindDue)
        find(Looking::AfterDisconnect);
}

void EnviroSensManager::forgetDisconnect(const QString& serialNumber)
{
    m_acknowledged.remove(serialNumber);
    if (m_disconnected.remove(serialNumber))
        emit disconnectedSerialsChanged();
}

EnviroSensManager::SensorPointer EnviroSensManager::findByPortSerial(const QString& portSerial) const
{
    const auto found = std::find_if(m_sensors.begin(), m_sensors.end(), [&](const SensorPointer& managed) {
        return managed->portSerial == portSerial;
    });
    return found == m_sensors.end() ? nullptr : *found;
}

EnviroSensManager::SensorPointer EnviroSensManager::findBySerial(const QString& serialNumber) const
{
    const auto found = std::find_if(m_sensors.begin(), m_sensors.end(), [&](const SensorPointer& managed) {
        return !managed->isAwaited && managed->sensor->serialNumber() == serialNumber;
    });
    return found == m_sensors.end() ? nullptr : *found;
}

bool EnviroSensManager::isFinding() const
{
    return std::any_of(m_sensors.begin(), m_sensors.end(),
                       [](const SensorPointer& managed) { return managed->isAwaited; });
}

} // namespace vt
