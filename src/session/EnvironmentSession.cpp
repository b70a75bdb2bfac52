// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/EnvironmentSession.h"

#include "base/Mutex.h"
#include "base/TimeSource.h"
#include "daqmx/KeepAlive.h"
#include "session/AppSettings.h"
#include "session/SessionExtensions.h"
#include "session/SessionTexts.h"
#include "session/UserInteraction.h"

#include <QDebug>
#include <algorithm>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

QString noticeId(const QString& serialNumber)
{
    return u"envSensor:"_s + serialNumber;
}

/// "rack A (0071)", or the serial number alone where there is no other label.
QString shownName(const QString& serialNumber, const QString& label)
{
    return label.isEmpty() || label == serialNumber ? serialNumber : u"%1 (%2)"_s.arg(label, serialNumber);
}

/// Labels stand in one line, in the log's header and in setup files.
QString usableLabel(const QString& serialNumber, const QString& label)
{
    QString plain = label;
    plain.removeIf(
        [](QChar character) { return character.category() == QChar::Other_Control && !character.isSpace(); });
    plain = plain.simplified();
    return plain.isEmpty() ? serialNumber : plain;
}

} // namespace

/// Lets the file thread wait for the log's writer for as long as there is one.
struct EnvironmentSession::LogAccess
{
    explicit LogAccess(EnviroSensFileManager& fileManager) : file(&fileManager) {}
    void wait()
    {
        const MutexLock lock(mutex);
        if (file && !file->waitForWritten(LogPatienceMs))
            qCritical("Env-sens file: the disk did not take the last readings in time");
    }
    void forget()
    {
        const MutexLock lock(mutex);
        file = nullptr;
    }

private:
    Mutex mutex;
    EnviroSensFileManager* file VT_GUARDED_BY(mutex);
};

/// Hands the moments of a recording on.
class EnvironmentSession::Companion final : public RecordingCompanion
{
public:
    explicit Companion(EnvironmentSession& session) : m_session(session) {}
    void recordingStarted(const RecordingContext& context) override { m_session.begin(context); }
    [[nodiscard]] std::function<void()> lastWork() override { return m_session.endCollection(); }
    void recordingStopped() override { m_session.end(); }
    void report(SessionStatus& status) const override { m_session.report(status); }

private:
    EnvironmentSession& m_session;
};

EnvironmentSession::EnvironmentSession(TimeSource& time, const SerialPortList& ports, UserInteraction& user,
                                       QObject* parent)
    : QObject(parent), m_time(time), m_user(user),
      m_settings(std::make_shared<StoredEnvSensorSettings>(&AppSettings::openStore)),
      m_manager(time, ports, m_settings, &keepAliveForever),
      m_logAccess(std::make_shared<LogAccess>(m_manager.fileManager()))
{
    connectManager();
}

EnvironmentSession::~EnvironmentSession()
{
    m_manager.disconnect(this);
    m_logAccess->forget();
}

void EnvironmentSession::connectManager()
{
    connect(&m_manager, &EnviroSensManager::SensorListReady, this, &EnvironmentSession::handleListReady);
    connect(&m_manager, &EnviroSensManager::selectionChanged, this, [this] {
        openLogIfWanted();
        emit sensorsChanged();
    });
    connect(&m_manager, &EnviroSensManager::disconnectedSerialsChanged, this,
            &EnvironmentSession::sensorsChanged);
    connect(&m_manager, &EnviroSensManager::newSampleReady, this, &EnvironmentSession::handleSample);
    connect(&m_manager, &EnviroSensManager::sensorDisconnected, this,
            &EnvironmentSession::handleDisconnected);
    connect(&m_manager, &EnviroSensManager::sensorReconnected, this, &EnvironmentSession::handleReconnected);
}

std::unique_ptr<RecordingCompanion> EnvironmentSession::companion()
{
    return std::make_unique<Companion>(*this);
}

QList<EnvSensorInfo> EnvironmentSession::sensors() const
{
    return m_manager.sensors();
}

QList<EnvSample> EnvironmentSession::history(const QString& serialNumber) const
{
    return m_manager.history(serialNumber);
}

void EnvironmentSession::rescan()
{
    m_manager.FindSensors();
    if (m_manager.isFinding())
        emit sensorsChanged();
}

bool EnvironmentSession::isFinding() const
{
    return m_manager.isFinding();
}

void EnvironmentSession::setLabel(const QString& serialNumber, const QString& label)
{
    const QString plain = usableLabel(serialNumber, label);
    m_applied.remove(serialNumber);
    m_waiting.remove(serialNumber);
    m_manager.setSensorLabel(serialNumber, plain);
    emit sensorsChanged();
}

void EnvironmentSession::setEnabled(const QString& serialNumber, bool isEnabled)
{
    if (!isEnabled && m_silent.take(serialNumber).isTold)
        m_user.closeNotice(noticeId(serialNumber));
    m_manager.setSensorEnabled(serialNumber, isEnabled);
}

QMap<QString, QString> EnvironmentSession::labels() const
{
    QMap<QString, QString> labels = m_applied;
    const QList<EnvSensorInfo> present = sensors();
    for (const EnvSensorInfo& sensor : present)
        labels.insert(sensor.serialNumber, sensor.label);
    return labels;
}

void EnvironmentSession::applyLabels(const QMap<QString, QString>& labels)
{
    m_applied.clear();
    for (auto label = labels.begin(); label != labels.end(); ++label) {
        m_applied.insert(label.key(), usableLabel(label.key(), label.value()));
        m_settings->setLabel(label.key(), m_applied.value(label.key()));
    }
    m_waiting = m_applied;
    handleListReady();
}

/// Those that were on their way when labels came may have read their old ones.
void EnvironmentSession::handleListReady()
{
    const QList<EnvSensorInfo> present = sensors();
    for (const EnvSensorInfo& sensor : present) {
        const auto label = m_waiting.find(sensor.serialNumber);
        if (label == m_waiting.end())
            continue;
        if (sensor.label != *label)
            m_manager.setSensorLabel(sensor.serialNumber, *label);
        m_waiting.erase(label);
    }
    openLogIfWanted();
    emit sensorsChanged();
}

void EnvironmentSession::handleDisconnected(const QString& serialNumber, const QString& label)
{
    const QDateTime now = m_time.now();
    m_goneSince.insert(serialNumber, now);
    m_user.showNotice(noticeId(serialNumber), tr("Environmental Sensors"),
                      tr("The environmental sensor %1 is unplugged (%2). Its values are missing until it is "
                         "plugged in again. The recording goes on.")
                          .arg(shownName(serialNumber, label), now.toString(messageTimeFormat())),
                      tr("OK"), [this, serialNumber] { m_manager.acknowledgeDisconnect(serialNumber); });
}

void EnvironmentSession::handleReconnected(const QString& serialNumber, const QString& label)
{
    const QDateTime since = m_goneSince.take(serialNumber);
    if (!since.isValid())
        return; // the user does not know that it was away
    m_user.showNotice(noticeId(serialNumber), tr("Environmental Sensors"),
                      tr("The environmental sensor %1 is back. It was away from %2 to %3.")
                          .arg(shownName(serialNumber, label), since.toString(messageTimeFormat()),
                               m_time.now().toString(messageTimeFormat())),
                      tr("OK"), [] {});
}

void EnvironmentSession::handleSample(const EnvSample& sample, const QString& serialNumber)
{
    if (sample.hasReading())
        endSilence(serialNumber);
    else if (m_isRecording)
        noteSilence(serialNumber);
    emit sampleReady(sample, serialNumber);
}

/// Nothing else shows it: the sensor is plugged in, and its values are missing for the rest of the night.
void EnvironmentSession::noteSilence(const QString& serialNumber)
{
    // Of the manager: whether it is away does not depend on what this recording has told the user.
    if (m_manager.disconnectedSerials().contains(serialNumber)) {
        m_silent.remove(serialNumber);
        return;
    }
    const QDateTime now = m_time.now();
    Silence& silence = m_silent[serialNumber];
    if (!silence.since.isValid())
        silence.since = now;
    if (silence.isTold || silence.since.secsTo(now) < SilenceSeconds)
        return;
    silence.isTold = true;
    m_user.showNotice(noticeId(serialNumber), tr("Environmental Sensors"),
                      tr("The environmental sensor %1 is plugged in and gives no readings since %2. Its "
                         "values are missing until it does. The recording goes on.")
                          .arg(nameOf(serialNumber), silence.since.toString(messageTimeFormat())),
                      tr("OK"), [] {});
}

void EnvironmentSession::endSilence(const QString& serialNumber)
{
    const Silence silence = m_silent.take(serialNumber);
    if (!silence.isTold)
        return;
    m_user.showNotice(noticeId(serialNumber), tr("Environmental Sensors"),
                      tr("The environmental sensor %1 gives readings again. It gave none from %2 to %3.")
                          .arg(nameOf(serialNumber), silence.since.toString(messageTimeFormat()),
                               m_time.now().toString(messageTimeFormat())),
                      tr("OK"), [] {});
}

QString EnvironmentSession::nameOf(const QString& serialNumber) const
{
    return shownName(serialNumber, labels().value(serialNumber));
}

void EnvironmentSession::begin(const RecordingContext& context)
{
    m_silent.clear();
    m_isRecording = true;
    ++m_recording;
    m_log = SensorsStatus::Log::NotWanted;
    m_logPath = context.basePath + u".Env"_s;
    m_before = m_manager.fileManager().counts();
    openLogIfWanted();
    m_manager.startCollection();
}

void EnvironmentSession::openLogIfWanted()
{
    if (!m_isRecording || m_log != SensorsStatus::Log::NotWanted || m_manager.enabledCount() == 0)
        return;
    m_log = SensorsStatus::Log::Opening;
    m_manager.fileManager().openFileAsync(m_logPath, true, [this, mine = m_recording](bool isOpen) {
        if (mine == m_recording && m_log == SensorsStatus::Log::Opening)
            handleLogOpened(isOpen);
    });
}

void EnvironmentSession::handleLogOpened(bool isOpen)
{
    m_log = isOpen ? SensorsStatus::Log::Open : SensorsStatus::Log::Failed;
    if (!isOpen)
        m_user.announce(Severity::Warning, tr("Environmental Sensors"),
                        tr("Could not open the environmental sensor log file (it may be in use by another "
                           "application).\n\nRecording will continue without environmental sensor "
                           "logging."));
}

std::function<void()> EnvironmentSession::endCollection()
{
    if (!m_isRecording)
        return {};
    m_isRecording = false;
    m_manager.stopCollection();
    m_manager.fileManager().closeFile();
    return [access = m_logAccess] { access->wait(); };
}

void EnvironmentSession::end()
{
    if (m_isRecording)
        (void)endCollection();
    for (auto gone = m_goneSince.begin(); gone != m_goneSince.end(); ++gone)
        m_user.closeNotice(noticeId(gone.key()));
    m_goneSince.clear();
    for (auto silent = m_silent.begin(); silent != m_silent.end(); ++silent)
        if (silent->isTold)
            m_user.closeNotice(noticeId(silent.key()));
    m_silent.clear();
}

SensorsStatus EnvironmentSession::status() const
{
    SensorsStatus status;
    const QList<EnvSensorInfo> present = sensors();
    status.found = static_cast<int>(present.size());
    for (const EnvSensorInfo& sensor : present) {
        status.enabled += sensor.isEnabled ? 1 : 0;
        status.missing += sensor.isEnabled && !sensor.isConnected ? 1 : 0;
    }
    status.log = m_log;
    const EnvLogCounts now = m_manager.fileManager().counts();
    status.records = now.recordsWritten - m_before.recordsWritten;
    status.recordsLost = now.recordsLost() - m_before.recordsLost();
    if (!m_isRecording) // what the disk has not taken by now is not in the file
        status.recordsLost += now.recordsGiven - now.recordsWritten - now.recordsLost();
    return status;
}

void EnvironmentSession::report(SessionStatus& status) const
{
    status.sensors = this->status();
    status.losses.sensorRecordsLost += status.sensors.recordsLost;
    status.losses.sensorLogsMissing += status.sensors.log == SensorsStatus::Log::Failed ? 1 : 0;
}

} // namespace vt
