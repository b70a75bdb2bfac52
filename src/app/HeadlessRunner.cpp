// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/HeadlessRunner.h"

#include "acquisition/AcquisitionFrame.h"
#include "app/CommandLineSetup.h"
#include "app/ConsoleInteraction.h"
#include "app/ExistingRecording.h"
#include "base/TimeSource.h"
#include "recording/RecordedFiles.h"
#include "recording/SegmentPaths.h"
#include "session/CameraSession.h"
#include "session/EnvironmentSession.h"
#include "session/RecordingSummary.h"
#include "session/SessionController.h"
#include "session/SetupCheck.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int progressIntervalMs = 2000;
constexpr int selectionTimeoutMs = 60000;
constexpr int sensorTimeoutMs = 5000; ///< a sensor says within half a second who it is
const auto endedTooEarly = u"Ended before the recording began."_s;

/// "  lost: 4 bytes damaged, 2 interruptions, 1.3 s without data": what the acquisition has lost beside
/// frames, and read errors, each only when there was one.
QString acquisitionLossText(const SessionStatus& status)
{
    QStringList parts;
    const auto add = [&parts](quint64 count, const QString& one, const QString& more) {
        if (count > 0)
            parts << QString::number(count) + (count == 1 ? one : more);
    };
    const LossSummary& lost = status.losses;
    add(lost.bytesDamaged, u" byte damaged"_s, u" bytes damaged"_s);
    add(lost.interruptions, u" interruption"_s, u" interruptions"_s);
    add(lost.samplesDropped, u" sample dropped"_s, u" samples dropped"_s);
    add(status.readErrors, u" read error"_s, u" read errors"_s);
    if (lost.restartGapMs > 0)
        parts << secondsRoundedUp(lost.restartGapMs) + u" s without data"_s;
    return parts.isEmpty() ? QString() : u"  lost: "_s + parts.join(u", "_s);
}

/// "  sensors 1 of 2  cameras 3 of 3": only what is set up.
QString surroundingsText(const SessionStatus& status)
{
    QString text;
    const SensorsStatus& sensors = status.sensors;
    if (sensors.enabled > 0)
        text += u"  sensors %1 of %2"_s.arg(sensors.enabled - sensors.missing).arg(sensors.enabled);
    if (sensors.enabled > 0 && sensors.log == SensorsStatus::Log::Failed)
        text += u" (not logged)"_s;
    if (status.cameras.enabled > 0)
        text += u"  cameras %1 of %2"_s.arg(status.cameras.recording).arg(status.cameras.enabled);
    if (const QString problem = stimulationProblem(status.stimulation); !problem.isEmpty())
        text += u"  "_s + problem;
    return text;
}

QString kindName(int animalType)
{
    return animalType == 1 ? u"mouse"_s : animalType == 2 ? u"rat"_s : u"unknown animal"_s;
}

} // namespace

QString progressLine(const SessionStatus& status)
{
    QString asleep;
    for (const ChannelSummary& channel : status.channels)
        asleep += channel.steps == 0 ? u'-' : channel.noSignal ? u'x' : channel.sleeping ? u'S' : u'W';
    const QString disk =
        status.freeDiskBytes < 0
            ? u"?"_s
            : QString::number(static_cast<double>(status.freeDiskBytes) / 1e9, 'f', 1) + u" GB"_s;
    return u"%1 s  %2  segment %3  frames %4 (%5 dropped)  queue %6  disk %7  [%8]"_s
               .arg(static_cast<double>(status.elapsedMs) / 1000.0, 0, 'f', 0)
               .arg(sessionStateName(status.state))
               .arg(status.segment)
               .arg(status.framesProcessed)
               .arg(status.losses.framesDropped)
               .arg(status.writer.currentDepth + status.writer.emergencyDepth)
               .arg(disk, asleep) +
           acquisitionLossText(status) + surroundingsText(status);
}

int exitStatusFor(EndReason reason, const LossSummary& losses)
{
    const bool wanted = reason == EndReason::UserStop || reason == EndReason::DurationReached;
    return wanted && !losses.any() ? 0 : 1;
}

HeadlessRunner::HeadlessRunner(SessionController& session, EnvironmentSession& sensors,
                               CameraSession& cameras, TimeSource& time, const CommandLine& line,
                               QObject* parent)
    : QObject(parent), m_session(session), m_sensors(sensors), m_cameras(cameras), m_line(line),
      m_progress(time.createTimer(this, [this] { printProgress(); })),
      m_selection(time.createTimer(this,
                                   [this] {
                                       if (!m_done)
                                           fail(u"The device does not answer."_s);
                                   })),
      m_sensorLimit(time.createTimer(this, [this] { recordOnceSensorsAreKnown(); }))
{
    connect(&sensors, &EnvironmentSession::sensorsChanged, this, &HeadlessRunner::recordOnceSensorsAreKnown);
    connect(&session, &SessionController::devicesRefreshed, this, &HeadlessRunner::devicesRefreshed);
    connect(&session, &SessionController::deviceSelected, this, &HeadlessRunner::deviceSelected);
    connect(&session, &SessionController::recordingEnded, this, &HeadlessRunner::recordingEnded);
}

HeadlessRunner::~HeadlessRunner() = default;

QString HeadlessRunner::chooseDevice(QString* problem) const
{
    const std::vector<DeviceEntry> devices = m_session.devices();
    QStringList names;
    QStringList units; // who is at a serial port is not known before it is chosen
    for (const DeviceEntry& device : devices) {
        names << device.name;
        if (device.kind == DeviceKind::NiUnit)
            units << device.name;
    }
    const QString listed =
        names.isEmpty() ? u"none was found"_s : u"available: %1"_s.arg(names.join(u", "_s));
    if (!m_line.device.isEmpty()) {
        if (names.contains(m_line.device))
            return m_line.device;
        *problem = u"There is no device '%1' (%2)."_s.arg(m_line.device, listed);
    } else if (m_line.simulate && names.contains(u"sim"_s)) {
        return u"sim"_s;
    } else if (units.size() == 1) {
        return units.first();
    } else {
        *problem = u"Choose a device with --device (%1)."_s.arg(listed);
    }
    return {};
}

void HeadlessRunner::run()
{
    m_waitingForList = true;
    m_session.refreshDevices();
}

void HeadlessRunner::devicesRefreshed()
{
    if (!std::exchange(m_waitingForList, false) || m_done)
        return;
    QString problem;
    const QString name = chooseDevice(&problem);
    if (name.isEmpty()) {
        fail(problem);
        return;
    }
    m_sensors.rescan();
    m_waitingForDevice = true;
    m_selection->start(selectionTimeoutMs, TimerMode::SingleShot);
    m_session.selectDevice(name);
}

void HeadlessRunner::deviceSelected(const DeviceDetails& details)
{
    if (!m_waitingForDevice)
        return;
    m_waitingForDevice = false;
    m_selection->stop();
    if (m_done)
        return;
    if (!details.refusal.isEmpty()) {
        fail(details.refusal);
        return;
    }
    if (m_line.animalType > 0 && details.usable && !details.simulated && details.kind == DeviceKind::NiUnit &&
        m_line.animalType != details.animalType)
        printError(
            u"--animal is ignored: %1 itself says %2."_s.arg(details.name, kindName(details.animalType)));
    std::optional<SetupFileContents> contents;
    if (!m_line.setupFile.isEmpty() && details.usable) {
        contents = readSetup(details);
        if (!contents)
            return;
        applyToSurroundings(*contents);
    }
    RecordingSetup setup = setupFromCommandLine(m_line, details, contents ? &*contents : nullptr);
    if (!keepExisting(setup, setup.animalType > 0 ? setup.animalType : details.animalType))
        return;
    m_progress->start(progressIntervalMs, TimerMode::Repeating);
    m_sensorLimit->start(sensorTimeoutMs, TimerMode::SingleShot);
    m_ready = setup;
    recordOnceSensorsAreKnown();
}

void HeadlessRunner::applyToSurroundings(const SetupFileContents& contents)
{
    if (contents.envSensorLabels)
        m_sensors.applyLabels(*contents.envSensorLabels);
    if (contents.video)
        m_cameras.applySettings(*contents.video);
}

void HeadlessRunner::recordOnceSensorsAreKnown()
{
    if (!m_ready || m_done || (m_sensors.isFinding() && m_sensorLimit->isActive()))
        return;
    m_sensorLimit->stop();
    const RecordingSetup setup = *std::exchange(m_ready, std::nullopt);
    m_session.record(setup);
}

// A job that starts anew after a power cut has the same command line as before: what it recorded then must
// stay, and there is nobody to ask.
bool HeadlessRunner::keepExisting(RecordingSetup& setup, int animalType)
{
    const QString base = stripRecordingExtension(setup.basePath);
    if (base.isEmpty() || !holdsRecording(base) || !checkRecordingPath(base, animalType).isEmpty())
        return true; // nothing to keep, or the session says what is wrong with it
    const QString free = freeNumberedName(base);
    if (free.isEmpty()) {
        fail(u"%1 holds a recording, and so do all numbered names after it."_s.arg(base));
        return false;
    }
    setup.basePath = free;
    printError(u"%1 holds a recording, which is kept. Recording to: %2"_s.arg(base, free));
    return true;
}

std::optional<SetupFileContents> HeadlessRunner::readSetup(const DeviceDetails& details)
{
    const auto explain = [](const QString& problem) {
        return u"Could not load the configuration.\n\n%1"_s.arg(problem);
    };
    auto read = readSetupFile(m_line.setupFile, details.offeredChannels);
    if (const auto* error = std::get_if<SetupFileError>(&read)) {
        fail(explain(error->text));
        return std::nullopt;
    }
    auto contents = std::get<SetupFileContents>(std::move(read));
    if (!contents.vexioProblem.isEmpty())
        printError(explain(contents.vexioProblem));
    return contents;
}

void HeadlessRunner::printProgress()
{
    if (m_session.state() != SessionState::Idle)
        printError(progressLine(m_session.status()));
}

void HeadlessRunner::terminate()
{
    if (m_done)
        return;
    m_endRequested = true;
    if (m_session.state() == SessionState::Idle)
        fail(endedTooEarly);
    else
        m_session.stop(EndReason::UserStop);
}

void HeadlessRunner::recordingEnded(EndReason reason)
{
    if (m_done)
        return;
    m_done = true;
    m_progress->stop();
    if (m_session.lastSummary().isEmpty()) { // nothing was recorded, however it ended
        if (m_endRequested)
            printError(endedTooEarly);
        emit finished(1);
        return;
    }
    printOutput(m_session.lastSummary().trimmed());
    auto isClosed = std::make_shared<bool>(false);
    m_session.whenClosed(this, [this, isClosed, reason] {
        *isClosed = true;
        emit finished(exitStatusFor(reason, m_session.status().losses)); // a film may have lost its end
    });
    if (!*isClosed)
        printError(u"The cameras' films are being closed..."_s);
}

void HeadlessRunner::fail(const QString& message)
{
    m_done = true;
    printError(message);
    emit finished(1);
}

} // namespace vt
