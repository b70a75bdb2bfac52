// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Mutex.h"
#include "base/TimeSource.h"
#include "envsens/EnvSample.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QSerialPort>
#include <QString>
#include <atomic>
#include <deque>
#include <memory>
#include <optional>

namespace vt {

class EnvSensorSettings;
class SerialPortList;

/// One environmental sensor on a serial port. Lives on a worker thread of its own, where all slots run and
/// may wait for the device (a poll up to 1.2 s); the port belongs to that thread alone. What others read,
/// under the object's mutex, is never held while the device is waited for: the const methods, applyLabel,
/// applyEnabled and reportDisconnected may be called from any thread and return at once.
///
///   created --setPort--> connected <--> disconnected --cleanupSerialPort--> (port gone)
///
/// Each passage between connected and disconnected is announced once. A poll that finds the port closed opens
/// it again: wherever the list of ports shows the sensor's serial number, and never where it shows another.
class EnviroSens : public QObject
{
    Q_OBJECT

public:
    static constexpr std::size_t MaxHistory = 17280; ///< a day at one sample every 5 s

    /// time and ports outlive the object. portSerial: of the USB device, as the list of ports shows it; empty
    /// when that does not know.
    EnviroSens(TimeSource& time, const SerialPortList& ports, std::shared_ptr<EnvSensorSettings> settings,
               const QString& portSerial);
    ~EnviroSens() override;

    // ---- any thread ----
    [[nodiscard]] QString portName() const;
    [[nodiscard]] QString serialNumber() const;
    [[nodiscard]] QString label() const;
    [[nodiscard]] bool isEnabled() const;
    [[nodiscard]] int firmwareMajor() const;
    [[nodiscard]] int firmwareMinor() const;
    [[nodiscard]] bool isDisconnected() const { return m_isDisconnected != 0; }
    [[nodiscard]] bool hasPolled() const { return m_hasPolled != 0; }
    /// Oldest first, readings only.
    [[nodiscard]] QList<EnvSample> history() const;
    [[nodiscard]] std::optional<EnvSample> lastReading() const;
    /// At once, not stored: follow by storeSettings() on the sensor's thread.
    void applyLabel(const QString& label);
    void applyEnabled(bool enabled);
    /// Announces the sensor as disconnected, unless it is already.
    void reportDisconnected();

    // Slots.
    void setPort(const QString& port);
    void getNewSample();
    void setLabel(const QString& label);
    void handleLabelChanged(const QString& label);
    void handleDeviceSelectionChange(Qt::CheckState state);
    void storeSettings();
    /// Opens the port of a disconnected sensor if it is there again. For when it is not polled.
    void reconnect();
    void cleanupSerialPort();
    void handleSerialPortError();

signals:
    void newSampleReady(const vt::EnvSample& sample, const QString& serialNumber);
    void setPortDone(int rc, const QString& portName); ///< 0 initialised, -1 failed
    void sensorDisconnected(const QString& serialNumber, const QString& label);
    void sensorReconnected(const QString& serialNumber, const QString& label);

private:
    [[nodiscard]] bool identify();
    void send(const char* command);
    void drain();
    [[nodiscard]] QByteArray receive(int timeoutMs);
    [[nodiscard]] bool ensureOpen();
    [[nodiscard]] bool choosePort();
    void closePort();
    [[nodiscard]] EnvSample poll(EnvSample sample);
    void remember(const EnvSample& sample);
    void reportConnected();

    TimeSource& m_time;
    const SerialPortList& m_ports;
    const std::shared_ptr<EnvSensorSettings> m_settings;
    const QString m_portSerial;

    // The sensor's thread only.
    std::unique_ptr<QSerialPort> m_port;
    QByteArray m_buffer;
    bool m_isPortGone = false;    ///< the open port has failed; it is closed as soon as it can be
    bool m_isForeignTold = false; ///< the log knows that another device is at our port

    std::atomic<int> m_isDisconnected{0};
    std::atomic<int> m_hasPolled{0};

    mutable Mutex m_mutex;
    QString m_portName VT_GUARDED_BY(m_mutex);
    QString m_serialNumber VT_GUARDED_BY(m_mutex);
    QString m_label VT_GUARDED_BY(m_mutex);
    bool m_isEnabled VT_GUARDED_BY(m_mutex) = true;
    int m_firmwareMajor VT_GUARDED_BY(m_mutex) = 0;
    int m_firmwareMinor VT_GUARDED_BY(m_mutex) = 0;
    std::deque<EnvSample> m_history VT_GUARDED_BY(m_mutex);
};

} // namespace vt
