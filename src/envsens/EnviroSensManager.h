// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"
#include "envsens/EnvSample.h"
#include "envsens/EnviroSensFileManager.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace vt {

class EnviroSens;
class EnvSensorSettings;
class SerialPortList;
struct SerialPortFacts;

/// What a window shows of one sensor.
struct EnvSensorInfo
{
    QString serialNumber;
    QString label;
    QString portName;
    bool isEnabled = true;
    bool isConnected = true;
    int firmwareMajor = 0;
    int firmwareMinor = 0;
    std::optional<EnvSample> lastReading;
};

/// Finds the environmental sensors at this computer's USB ports, keeps each for this instance of the program,
/// polls the enabled ones together on one timer while a recording runs, and hands each complete round of
/// readings to the log file. Follows sensors that are unplugged and come back, and tells the user once each
/// way.
///
/// All methods on the thread that created it (the interface thread); none waits for a sensor or the disk, but
/// for the destructor, which waits up to 3 s for polls in progress. Each sensor has a thread of its own;
/// sensors that are dropped end on theirs, all at the same time, and keep their claim until then.
///
/// A round is complete when every enabled sensor has delivered, readings or "no data". A sensor whose poll
/// does not even come back is treated as unplugged after 5 s, so that it holds up nobody's log.
class EnviroSensManager : public QObject
{
    Q_OBJECT

public:
    static constexpr int DefaultIntervalMs = 2000;
    static constexpr qint64 PollLimitMs = 5000;

    /// Keeps what it is given for as long as the thread in it may run: for the rest of the process.
    using Keep = std::function<void(std::shared_ptr<void>)>;

    /// time and ports outlive the object, and what keep was given: sensors whose threads do not come back
    /// from the system. programId: text in the log's header.
    EnviroSensManager(TimeSource& time, const SerialPortList& ports,
                      std::shared_ptr<EnvSensorSettings> settings, Keep keep,
                      const QString& programId = QStringLiteral("programID"));
    ~EnviroSensManager() override;

    /// Identified sensors in the order in which they were found.
    [[nodiscard]] QList<EnvSensorInfo> sensors() const;
    /// Readings of the last day, oldest first; empty for a sensor that is not listed.
    [[nodiscard]] QList<EnvSample> history(const QString& serialNumber) const;
    [[nodiscard]] int enabledCount() const;
    [[nodiscard]] bool isCollecting() const { return m_isCollecting; }
    /// True while sensors that were found have not told yet who they are.
    [[nodiscard]] bool isFinding() const;
    /// Sensors that are missing since a recording began.
    [[nodiscard]] QStringList disconnectedSerials() const;
    [[nodiscard]] bool isAcknowledged(const QString& serialNumber) const;

    /// In effect at once, stored on the sensor's thread. Nothing for a sensor that is not listed.
    void setSensorLabel(const QString& serialNumber, const QString& label);
    void setSensorEnabled(const QString& serialNumber, bool enabled);

    /// Open the file before startCollection(), close it after stopCollection().
    [[nodiscard]] EnviroSensFileManager& fileManager() { return m_fileManager; }
    [[nodiscard]] const EnviroSensFileManager& fileManager() const { return m_fileManager; }

    // Slots.
    /// Looks at the ports again: drops sensors that are gone (not while collecting), adds new ones, opens
    /// those that are back. SensorListReady follows.
    void FindSensors();
    void notifySelectionChanged();
    void emitSensorListReady();
    void startCollection(int interval = DefaultIntervalMs); ///< ms
    void stopCollection();
    void handleSensorSetPortDone(int rc, const QString& portName);
    void handleNewSample(const vt::EnvSample& sample, const QString& serialNumber);
    /// The size of a complete round.
    void setNumberSensorsEnabled(int numSensEnabled);
    void handleSensorDisconnected(const QString& serialNumber, const QString& label);
    void handleSensorReconnected(const QString& serialNumber, const QString& label);
    void acknowledgeDisconnect(const QString& serialNumber);

signals:
    void SensorListReady();
    void newSampleReady(const vt::EnvSample& sample, const QString& serialNumber); ///< as sensors deliver
    void sensorDisconnected(const QString& serialNumber, const QString& label);
    void sensorReconnected(const QString& serialNumber, const QString& label);
    void disconnectedSerialsChanged();
    void selectionChanged();

private:
    struct ManagedSensor;
    using SensorPointer = std::shared_ptr<ManagedSensor>;
    enum class Looking { ByUser, AfterDisconnect };

    // Finding, adding, dropping.
    void find(Looking why);
    void dropMissing(const QList<SerialPortFacts>& ports);
    void considerPort(const SerialPortFacts& port, Looking why);
    void addSensor(const SerialPortFacts& port);
    void connectSensor(const SensorPointer& managed);
    void retire(SensorPointer managed);
    void handleRetired(const ManagedSensor* managed);
    void forgetDisconnect(const QString& serialNumber);
    [[nodiscard]] SensorPointer findByPortSerial(const QString& portSerial) const;
    [[nodiscard]] SensorPointer findBySerial(const QString& serialNumber) const;

    // Collecting.
    void tick();
    void poll(const SensorPointer& managed);
    void pollEnded(const SensorPointer& managed, bool hasAnswered);
    void pollNewcomer(const SensorPointer& managed);
    void deliverNoData(const ManagedSensor& managed);
    void addToRound(const EnvSample& sample, const QString& serialNumber);
    void writeCompleteRound();
    void refreshBookkeeping();
    void describeCollection(int intervalMs);
    void enabledSensors(QStringList& serialNumbers, QStringList& labels) const;

    TimeSource& m_time;
    const SerialPortList& m_ports;
    const std::shared_ptr<EnvSensorSettings> m_settings;
    const Keep m_keep;
    const QString m_programId;
    std::vector<SensorPointer> m_sensors;
    std::vector<SensorPointer> m_retiring;
    bool m_isFindDue = false; ///< a port was passed over because its sensor is still retiring
    bool m_isCollecting = false;
    int m_numberEnabled = 0;
    QMap<QString, EnvSample> m_round;
    QSet<QString> m_disconnected;
    QSet<QString> m_acknowledged;
    EnviroSensFileManager m_fileManager;
    std::unique_ptr<Timer> m_timer;
    Inbox m_inbox; ///< what the sensors' threads have to say
};

} // namespace vt
