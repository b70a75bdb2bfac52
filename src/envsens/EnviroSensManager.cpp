// SPDX-License-Identifier: GPL-3.0-or-later
// EnviroSensManager: collecting, and what is known of the sensors.
#include "envsens/EnviroSensManager.h"

#include "envsens/ManagedSensor.h"

#include <QDeadlineTimer>
#include <QDebug>
#include <QThread>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int FinishWaitMs = 3000; ///< more than a poll takes

} // namespace

EnviroSensManager::EnviroSensManager(TimeSource& time, const SerialPortList& ports,
                                     std::shared_ptr<EnvSensorSettings> settings, Keep keep,
                                     const QString& programId)
    : m_time(time), m_ports(ports), m_settings(std::move(settings)), m_keep(std::move(keep)),
      m_programId(programId), m_timer(time.createTimer(this, [this] { tick(); }))
{
    connect(thread(), &QThread::finished, this, [this] { m_timer->stop(); });
}

EnviroSensManager::~EnviroSensManager()
{
    qDebug() << "EnviroSensManager::~EnviroSensManager() - Current thread:" << QThread::currentThreadId();
    m_timer->stop();
    std::vector<SensorPointer> ending = m_sensors;
    for (const SensorPointer& managed : ending) {
        qDebug().noquote() << "Cleaning up sensor" << managed->portSerial;
        qDebug() << "- Sensor thread affinity:" << managed->sensor->thread();
        qDebug("Cleaning up serial port (via BlockingQueuedConnection)...");
        retire(managed); // all at once; waited for below
    }
    const QDeadlineTimer patience(FinishWaitMs);
    for (const SensorPointer& managed : m_retiring) {
        if (managed->thread.wait(static_cast<int>(patience.remainingTime()))) {
            qDebug("Serial port cleanup done.");
            continue;
        }
        qCritical().noquote() << "Env sensor" << managed->portSerial << "does not return, thread abandoned";
        m_keep(managed);
    }
}

QList<EnvSensorInfo> EnviroSensManager::sensors() const
{
    QList<EnvSensorInfo> infos;
    for (const SensorPointer& managed : m_sensors) {
        if (managed->isAwaited)
            continue;
        const EnviroSens& sensor = *managed->sensor;
        infos.append({sensor.serialNumber(), sensor.label(), sensor.portName(), sensor.isEnabled(),
                      !sensor.isDisconnected(), sensor.firmwareMajor(), sensor.firmwareMinor(),
                      sensor.lastReading()});
    }
    return infos;
}

QList<EnvSample> EnviroSensManager::history(const QString& serialNumber) const
{
    const SensorPointer managed = findBySerial(serialNumber);
    return managed ? managed->sensor->history() : QList<EnvSample>();
}

void EnviroSensManager::enabledSensors(QStringList& serialNumbers, QStringList& labels) const
{
    for (const SensorPointer& managed : m_sensors) {
        if (managed->isAwaited || !managed->sensor->isEnabled())
            continue;
        serialNumbers << managed->sensor->serialNumber();
        labels << managed->sensor->label();
    }
}

int EnviroSensManager::enabledCount() const
{
    QStringList serialNumbers;
    QStringList labels;
    enabledSensors(serialNumbers, labels);
    return static_cast<int>(serialNumbers.size());
}

QStringList EnviroSensManager::disconnectedSerials() const
{
    QStringList serials = m_disconnected.values();
    serials.sort();
    return serials;
}

bool EnviroSensManager::isAcknowledged(const QString& serialNumber) const
{
    return m_acknowledged.contains(serialNumber);
}

void EnviroSensManager::setSensorLabel(const QString& serialNumber, const QString& label)
{
    const SensorPointer managed = findBySerial(serialNumber);
    if (!managed)
        return;
    managed->sensor->applyLabel(label);
    managed->thread.post([sensor = managed->sensor.get()] { sensor->storeSettings(); });
}

void EnviroSensManager::setSensorEnabled(const QString& serialNumber, bool enabled)
{
    const SensorPointer managed = findBySerial(serialNumber);
    if (!managed || managed->sensor->isEnabled() == enabled)
        return;
    managed->sensor->applyEnabled(enabled);
    managed->thread.post([sensor = managed->sensor.get()] { sensor->storeSettings(); });
    if (!enabled)
        m_round.remove(serialNumber);
    notifySelectionChanged();
    if (!enabled || !m_isCollecting)
        return;
    if (managed->sensor->isDisconnected() && !m_disconnected.contains(serialNumber))
        handleSensorDisconnected(serialNumber, managed->sensor->label());
    pollNewcomer(managed);
}

/// Between a tick and the end of its round a sensor that has just been enabled is polled at once, or that
/// round would wait for it until the next tick and lose the others' readings.
void EnviroSensManager::pollNewcomer(const SensorPointer& managed)
{
    const bool isRoundOpen =
        !m_round.isEmpty() || std::any_of(m_sensors.begin(), m_sensors.end(),
                                          [](const SensorPointer& other) { return other->isPolling; });
    if (isRoundOpen && !managed->isPolling)
        poll(managed);
}

void EnviroSensManager::notifySelectionChanged()
{
    refreshBookkeeping();
    emit selectionChanged();
}

void EnviroSensManager::emitSensorListReady()
{
    emit SensorListReady();
}

void EnviroSensManager::refreshBookkeeping()
{
    setNumberSensorsEnabled(enabledCount());
}

void EnviroSensManager::setNumberSensorsEnabled(int numSensEnabled)
{
    m_numberEnabled = numSensEnabled;
    writeCompleteRound();
}

void EnviroSensManager::startCollection(int interval)
{
    qDebug() << "EnvironSensor::StartCollection thread id: " << QThread::currentThreadId();
    refreshBookkeeping();
    if (m_isCollecting)
        return;
    const int intervalMs = interval > 0 ? interval : DefaultIntervalMs;
    m_isCollecting = true;
    m_round.clear();
    describeCollection(intervalMs);
    for (const SensorPointer& managed : m_sensors)
        if (!managed->isAwaited && managed->sensor->isEnabled() && managed->sensor->isDisconnected())
            handleSensorDisconnected(managed->sensor->serialNumber(), managed->sensor->label());
    m_timer->start(intervalMs, TimerMode::Repeating);
}

void EnviroSensManager::describeCollection(int intervalMs)
{
    QStringList serialNumbers;
    QStringList labels;
    enabledSensors(serialNumbers, labels);
    m_fileManager.setLabels(labels);
    m_fileManager.setSerialNumbers(serialNumbers);
    m_fileManager.setColumnNames({u"ElapsedTime"_s, u"Lux"_s, u"Temp"_s, u"RelHum"_s, u"Pressure"_s});
    m_fileManager.setSensorCount(static_cast<int>(serialNumbers.size()));
    m_fileManager.setIntervalSeconds(intervalMs / 1000);
    m_fileManager.setStart(m_time.now());
    m_fileManager.setProgramId(m_programId);
}

void EnviroSensManager::stopCollection()
{
    m_timer->stop();
    m_isCollecting = false;
}

void EnviroSensManager::tick()
{
    for (const SensorPointer& managed : std::vector<SensorPointer>(m_sensors)) {
        if (managed->isAwaited)
            continue;
        managed->isDue = managed->isPolling;
        if (!managed->isPolling)
            poll(managed);
        else if (m_time.monotonicMs() - managed->pollStartMs >= PollLimitMs)
            deliverNoData(*managed);
    }
}

/// One at a time: a sensor that is slower than the ticks is asked when it has answered.
void EnviroSensManager::poll(const SensorPointer& managed)
{
    managed->isPolling = true;
    managed->isDue = false;
    managed->pollStartMs = m_time.monotonicMs();
    const quint64 number = ++managed->polls;
    managed->thread.post([this, answers = m_inbox.address(), sensor = managed->sensor.get(),
                          weak = std::weak_ptr(managed), number] {
        sensor->getNewSample();
        const bool hasAnswered = sensor->hasPolled();     // a disabled sensor delivers nothing
        answers->post([this, weak, number, hasAnswered] { // dropped when this is gone
            if (const SensorPointer ours = weak.lock(); ours && ours->polls == number)
                pollEnded(ours, hasAnswered);
        });
    });
}

void EnviroSensManager::pollEnded(const SensorPointer& managed, bool hasAnswered)
{
    managed->isPolling = false;
    if (hasAnswered || !m_isCollecting || !managed->sensor->isEnabled())
        return;
    if (managed->isDue) // enabled too late for this poll, and passed over since
        poll(managed);
    else
        pollNewcomer(managed);
}

void EnviroSensManager::deliverNoData(const ManagedSensor& managed)
{
    managed.sensor->reportDisconnected();
    EnvSample sample;
    sample.timeStampMs = m_time.now().toMSecsSinceEpoch();
    handleNewSample(sample, managed.sensor->serialNumber());
}

void EnviroSensManager::handleNewSample(const EnvSample& sample, const QString& serialNumber)
{
    emit newSampleReady(sample, serialNumber);
    const SensorPointer managed = findBySerial(serialNumber);
    if (managed && managed->sensor->isEnabled())
        addToRound(sample, serialNumber);
}

void EnviroSensManager::addToRound(const EnvSample& sample, const QString& serialNumber)
{
    m_round.insert(serialNumber, sample);
    writeCompleteRound();
}

void EnviroSensManager::writeCompleteRound()
{
    if (m_round.isEmpty() || m_round.size() < m_numberEnabled)
        return;
    QStringList serialNumbers;
    QStringList labels;
    enabledSensors(serialNumbers, labels);
    const bool hasNewSensors = m_fileManager.setSerialNumbers(serialNumbers);
    const bool hasNewLabels = m_fileManager.setLabels(labels);
    const bool isHeaderNeeded = hasNewSensors || hasNewLabels || m_fileManager.isHeaderNeeded();
    if (isHeaderNeeded && !serialNumbers.isEmpty()) {
        m_fileManager.writeSeparator();
        m_fileManager.setSensorCount(static_cast<int>(serialNumbers.size()));
        m_fileManager.writeFileHeader();
    }
    m_fileManager.writeRecords(m_round);
    m_round.clear();
}

void EnviroSensManager::handleSensorDisconnected(const QString& serialNumber, const QString& label)
{
    if (!m_isCollecting) {
        qInfo().noquote() << "Environmental sensor" << serialNumber
                          << "disconnect detected before recording — refreshing sensor list";
        find(Looking::AfterDisconnect);
        return;
    }
    m_disconnected.insert(serialNumber);
    qWarning().noquote() << "Environmental sensor" << serialNumber << "unplugged";
    emit disconnectedSerialsChanged();
    if (!m_acknowledged.contains(serialNumber))
        emit sensorDisconnected(serialNumber, label);
}

void EnviroSensManager::handleSensorReconnected(const QString& serialNumber, const QString& label)
{
    if (!m_disconnected.remove(serialNumber))
        return;
    m_acknowledged.remove(serialNumber);
    qInfo().noquote() << "Environmental sensor" << serialNumber << "reconnected";
    emit disconnectedSerialsChanged();
    emit sensorReconnected(serialNumber, label);
}

void EnviroSensManager::acknowledgeDisconnect(const QString& serialNumber)
{
    m_acknowledged.insert(serialNumber);
}

} // namespace vt
