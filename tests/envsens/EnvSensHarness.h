// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "base/Mutex.h"
#include "envsens/EnvSensorSettings.h"
#include "envsens/EnviroSensManager.h"
#include "envsens/SerialPortList.h"
#include "simulation/SimulatedEnviro.h"

#include <QCoreApplication>
#include <QDir>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <condition_variable>
#include <functional>
#include <memory>
#include <vector>

namespace vt::test {

template <typename Condition>
[[nodiscard]] bool waitFor(Condition condition)
{
    return QTest::qWaitFor(condition, 20000);
}

/// Claims and settings of a test are its own. Made before whatever looks for the temporary folder.
class OwnFolders
{
public:
    OwnFolders()
    {
        qputenv("XDG_RUNTIME_DIR", m_folder.path().toUtf8());
        qputenv("TMPDIR", m_folder.path().toUtf8());
    }
    ~OwnFolders() { qunsetenv("TMPDIR"); }
    OwnFolders(const OwnFolders&) = delete;
    OwnFolders& operator=(const OwnFolders&) = delete;
    [[nodiscard]] QString file(const char* name) const
    {
        return m_folder.filePath(QString::fromLatin1(name));
    }

private:
    QTemporaryDir m_folder;
};

/// The ports of the simulated sensors that are plugged in, and what a test adds.
class TestPorts final : public SerialPortList
{
public:
    std::vector<SimulatedEnviro*> sensors;
    QList<SerialPortFacts> extra;

    [[nodiscard]] QList<SerialPortFacts> ports() const override
    {
        if (QThread::currentThread() != QCoreApplication::instance()->thread())
            holdUp();
        QList<SerialPortFacts> facts = extra;
        QString error;
        for (const SimulatedEnviro* sensor : sensors)
            if (sensor->isPluggedIn())
                facts << parseExtraPort(sensor->portEntry(), &error).value();
        return facts;
    }
    /// Sensors' threads that look at the list do not come back meanwhile.
    void setHeld(bool held)
    {
        const MutexLock lock(m_mutex);
        m_isHeld = held;
        m_changed.notify_all();
    }
    [[nodiscard]] bool isSomeoneHeld() const
    {
        const MutexLock lock(m_mutex);
        return m_waiting > 0;
    }

private:
    void holdUp() const
    {
        const MutexLock lock(m_mutex);
        ++m_waiting;
        m_changed.wait(m_mutex, [this]() VT_REQUIRES(m_mutex) { return !m_isHeld; });
        --m_waiting;
    }
    mutable Mutex m_mutex;
    mutable std::condition_variable_any m_changed;
    bool m_isHeld VT_GUARDED_BY(m_mutex) = false;
    mutable int m_waiting VT_GUARDED_BY(m_mutex) = 0;
};

/// Simulated sensors, stepped time, and a manager on them with everything that it has announced.
class EnvSensHarness
{
public:
    explicit EnvSensHarness(int count)
        : settings(std::make_shared<StoredEnvSensorSettings>([file = folders.file("settings.ini")] {
              return std::make_unique<QSettings>(file, QSettings::IniFormat);
          })),
          sensors(makeSimulatedEnviros(time, count))
    {
        for (const auto& sensor : sensors) {
            sensor->setRawReply("1 250 25600 29360 4149248 -9600\r\n");
            ports.sensors.push_back(sensor.get());
        }
    }
    void makeManager()
    {
        manager =
            std::make_unique<EnviroSensManager>(time, ports, settings, [this](std::shared_ptr<void> object) {
                kept.push_back(std::move(object));
            });
        QObject::connect(manager.get(), &EnviroSensManager::SensorListReady, [this] { ++listReady; });
        QObject::connect(manager.get(), &EnviroSensManager::newSampleReady,
                         [this](const EnvSample&, const QString& serial) { ++samples[serial]; });
        QObject::connect(manager.get(), &EnviroSensManager::sensorDisconnected,
                         [this](const QString& serial) { disconnects << serial; });
        QObject::connect(manager.get(), &EnviroSensManager::sensorReconnected,
                         [this](const QString& serial) { reconnects << serial; });
    }
    /// Looks for sensors and waits for the answer.
    [[nodiscard]] bool find()
    {
        const int before = listReady;
        manager->FindSensors();
        return waitFor([&] { return listReady > before && !manager->isFinding(); });
    }
    [[nodiscard]] QStringList listed() const
    {
        QStringList serials;
        for (const EnvSensorInfo& info : manager->sensors())
            serials << info.serialNumber;
        return serials;
    }
    /// One tick on, until these sensors have answered.
    [[nodiscard]] bool tick(const QStringList& serials, int intervalMs = EnviroSensManager::DefaultIntervalMs)
    {
        const QMap<QString, int> before = samples;
        time.advance(intervalMs);
        return waitFor([&] {
            return std::all_of(serials.begin(), serials.end(), [&](const QString& serial) {
                return samples.value(serial) > before.value(serial);
            });
        });
    }

    OwnFolders folders;
    FakeTimeSource time;
    std::shared_ptr<EnvSensorSettings> settings;
    std::vector<std::unique_ptr<SimulatedEnviro>> sensors;
    TestPorts ports;
    QMap<QString, int> samples;
    QStringList disconnects;
    QStringList reconnects;
    int listReady = 0;
    std::vector<std::shared_ptr<void>> kept; ///< sensors that the manager could not wait for
    std::unique_ptr<EnviroSensManager> manager;
};

} // namespace vt::test
