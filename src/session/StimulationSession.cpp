// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/StimulationSession.h"

#include "hardware/StimulationHardware.h"
#include "hardware/StimulationMasks.h"
#include "hardware/VexioRegisters.h"
#include "recording/SegmentPaths.h"
#include "session/UserInteraction.h"

#include <QCoreApplication>
#include <QDebug>
#include <QPointer>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

const auto powerNotice = u"stimulationPower"_s;
const auto awayNotice = u"stimulationAway"_s;
const auto temperatureNotice = u"stimulationTemperature"_s;
const auto triggerNotice = u"stimulationTriggers"_s;
const auto stopNotice = u"stimulationStop"_s;

QString text(const char* source)
{
    return QCoreApplication::translate("StimulationSession", source);
}

/// What the setup asks for and does not answer, for the user; empty when all is there.
QString missingHardwareText(const VexioSettings& vexio, const DioSettings& dio,
                            const StimulationHardware& hardware)
{
    const bool isUnitMissing = vexio.enabled && !hardware.vexioPresent();
    const bool isDioMissing = dio.enabled && !hardware.dioPresent();
    const QString advice = text("Check its cable and its power supply. It is used as soon as it answers.");
    if (isUnitMissing && dio.enabled && !isDioMissing)
        return text("This recording is set up to stimulate, but the stimulation unit does not answer. Only "
                    "the digital outputs are used, as they are set up.") +
               u"\n\n"_s + advice;
    if (isUnitMissing)
        return text("This recording is set up to stimulate, but the stimulation unit does not answer. The "
                    "recording goes on, and no cage is stimulated.") +
               u"\n\n"_s + advice;
    if (vexio.enabled && vexio.extTriggerMask != 0 && !hardware.dioPresent())
        return text("Cages are set up to follow external triggers, but the digital inputs do not answer. As "
                    "long as they do not, these cages are not stimulated.");
    if (isDioMissing && vexio.enabled)
        return text("The digital outputs are set up, but do not answer. The stimulation unit is used without "
                    "them.");
    if (isDioMissing)
        return text("This recording is set up to stimulate by the digital outputs, but they do not answer. "
                    "The recording goes on, and no cage is stimulated.");
    return {};
}

QString awayText(bool isUnitAway, bool areOutputsAway)
{
    if (isUnitAway && areOutputsAway)
        return text("The stimulation unit and the digital outputs and inputs do not answer: no cage is "
                    "stimulated until they do. The recording goes on.");
    if (isUnitAway)
        return text(
            "The stimulation unit does not answer: it stimulates no cage until it does. The recording "
            "goes on.");
    return text("The digital outputs and inputs do not answer: outputs do not switch and inputs are not "
                "noticed until they do. The recording goes on.");
}

/// "1, 3"
QString cageNumbers(std::uint16_t cages)
{
    QStringList numbers;
    for (int cage = 0; cage < MaxStimulationChannels; ++cage)
        if (((cages >> cage) & 1) != 0)
            numbers << QString::number(cage + 1);
    return numbers.join(u", "_s);
}

/// Cages that the setup names and this recording cannot stimulate, for the user; empty when there are none.
QString unreachableCagesText(const VexioSettings& vexio, const DioSettings& dio, int channelCount)
{
    const auto wanted = static_cast<std::uint16_t>(vexio.cageEnableMask | vexio.extTriggerMask);
    const std::uint16_t missed = without(wanted, reachableCages(channelCount, dio.enabled));
    if (!vexio.enabled || missed == 0)
        return {};
    return text("These cages are set up to be stimulated, but are not: %1. A recording stimulates the cages "
                "of "
                "its own channels, and the stimulation unit has eight cages.")
        .arg(cageNumbers(missed));
}

bool followsSleep(StimulationProtocol protocol)
{
    return protocol == StimulationProtocol::SleepBased || protocol == StimulationProtocol::ActivityBased;
}

} // namespace

StimulationSession::StimulationSession(StimulationHardware& hardware, TimeSource& time, UserInteraction& user,
                                       std::shared_ptr<Inbox> logWorker)
    : m_hardware(hardware), m_user(user), m_time(time), m_controller(time, std::move(logWorker))
{
    connectHardware();
    connectRequests();
    notePresence();
}

StimulationSession::~StimulationSession() = default;

void StimulationSession::connectHardware()
{
    const auto* hardware = &m_hardware;
    auto* controller = &m_controller;
    QObject::connect(hardware, &StimulationHardware::presenceChanged, controller, [this] { notePresence(); });
    QObject::connect(hardware, &StimulationHardware::dioInputStateChanged, controller,
                     &StimulationController::handleDioInputState);
    QObject::connect(hardware, &StimulationHardware::diagnosticsStatusRead, controller,
                     &StimulationController::writeDiagRow);
    QObject::connect(hardware, &StimulationHardware::powerFaultDetected, controller,
                     [this] { showPower(false); });
    QObject::connect(hardware, &StimulationHardware::powerRestored, controller, [this] { showPower(true); });
    QObject::connect(hardware, &StimulationHardware::overTempDetected, controller,
                     [this] { showTemperature(true); });
    QObject::connect(hardware, &StimulationHardware::systemStatusChanged, controller,
                     [this](std::uint8_t status) {
                         if ((status & VEXIO_NS::StatusOverTemperature) == 0)
                             showTemperature(false);
                     });
    QObject::connect(hardware, &StimulationHardware::busLost, controller,
                     [this](UnitBus bus) { m_isUnitLost = m_isUnitLost || bus == UnitBus::StimulationUnit; });
    QObject::connect(hardware, &StimulationHardware::busRestored, controller,
                     [this](UnitBus bus) { m_isUnitLost = m_isUnitLost && bus != UnitBus::StimulationUnit; });
    QObject::connect(hardware, &StimulationHardware::vexioAnsweringChanged, controller,
                     [this](bool isAnswering) { showAway(!isAnswering, m_areOutputsAway); });
    QObject::connect(hardware, &StimulationHardware::dioAnsweringChanged, controller,
                     [this](bool isAnswering) { showAway(m_isUnitAway, !isAnswering); });
    QObject::connect(hardware, &StimulationHardware::unstoppedCagesChanged, controller,
                     [this](std::uint8_t cageMask) { showUnstopped(cageMask); });
    QObject::connect(hardware, &StimulationHardware::dioInputsRead, controller,
                     &StimulationController::handleDioInputsRead);
}

void StimulationSession::connectRequests()
{
    const auto* controller = &m_controller;
    auto* hardware = &m_hardware;
    QObject::connect(controller, &StimulationController::activateVexioStimulation, hardware,
                     [this](std::uint8_t cageMask) { activate(cageMask); });
    // Also sent while settings change that nobody asked to be carried out.
    QObject::connect(controller, &StimulationController::updateVexioCageEnable, hardware,
                     [this](std::uint8_t enableMask) {
                         if (m_isWanted && m_controller.source() == StimulationSource::Unit)
                             m_hardware.updateCageEnableConfig(enableMask);
                     });
    QObject::connect(controller, &StimulationController::stopVexioStimulation, hardware,
                     &StimulationHardware::stopStimulation);
    QObject::connect(controller, &StimulationController::setVexioCageDuration, hardware,
                     &StimulationHardware::setCageDuration);
    QObject::connect(controller, &StimulationController::writeVexioCageConfigs, hardware,
                     &StimulationHardware::writeAllCagesToHardware);
    QObject::connect(controller, &StimulationController::pulseDioOutput, hardware,
                     &StimulationHardware::pulseOutputs);
    QObject::connect(controller, &StimulationController::setDioOutputHold, hardware,
                     &StimulationHardware::setOutputHold);
    QObject::connect(controller, &StimulationController::clearDioOutput, hardware,
                     [this](std::uint16_t mask) {
                         if (m_controller.isHaltingOutputs())
                             m_hardware.clearOutput(mask);
                         else
                             m_hardware.endOutputHold(mask);
                     });
    QObject::connect(controller, &StimulationController::watchDioInputs, hardware,
                     &StimulationHardware::watchInputs);
    QObject::connect(controller, &StimulationController::extTriggerInputsLost, controller, [this] {
        m_user.showNotice(
            triggerNotice, text("Stimulation"),
            text("The digital inputs cannot be read any more. Cages that were stimulated because "
                 "their input was high have been stopped. They follow their inputs again when "
                 "these can be read. The recording goes on."),
            text("OK"), [] {});
    });
    QObject::connect(controller, &StimulationController::extTriggerInputsRestored, controller,
                     [this] { m_user.closeNotice(triggerNotice); });
    QObject::connect(controller, &StimulationController::stimulationTriggered, controller,
                     [this] { ++m_stimulations; });
}

void StimulationSession::notePresence()
{
    m_controller.setVexioPresent(m_hardware.vexioPresent());
    if (!m_hardware.vexioPresent()) { // not there, or about to be set up again
        if (std::exchange(m_isPowerMissing, false))
            m_user.closeNotice(powerNotice);
        showTemperature(false);
        showUnstopped(0);
        m_isUnitLost = false;
    }
    showAway(m_isUnitAway && m_hardware.vexioPresent(), m_areOutputsAway && m_hardware.dioPresent());
    m_controller.setDioPresent(m_hardware.dioPresent());
    takeUpHardware();
}

/// Goes on in the middle of a segment with what was missing when it began.
void StimulationSession::takeUpHardware()
{
    const StimulationSource source = m_controller.source();
    const bool isBetter = m_applied == StimulationSource::None || source == StimulationSource::Unit;
    if (!m_isInSegment || source == m_applied || source == StimulationSource::None || !isBetter)
        return;
    qInfo("Stimulation hardware that was missing answers now");
    halt();
    applySettings();
    begin();
    m_user.announce(Severity::Information, text("Stimulation"),
                    source == StimulationSource::Unit
                        ? text("The stimulation unit answers now: cages are stimulated from now on.")
                        : text("The digital outputs answer now: cages are stimulated from now on."));
}

void StimulationSession::activate(std::uint8_t cageMask)
{
    m_hardware.activateStimulation(
        cageMask, [this, request = m_controller.activationRequest(),
                   guard = QPointer<StimulationController>(&m_controller)](bool isDone, qint64 writtenUs) {
            if (!guard)
                return;
            m_refused += isDone ? 0U : 1U;
            m_controller.noteActivationReturned(request, isDone ? std::optional(writtenUs) : std::nullopt);
        });
}

void StimulationSession::applySettings()
{
    m_controller.setActiveChannelCount(m_channelCount);
    m_controller.applySettings(m_vexio, m_dio);
    m_applied = m_controller.source();
    // Also when they are missing: they are used when they come.
    if (m_vexio.enabled)
        m_hardware.startVexioPolling();
    const bool isInputNeeded = m_vexio.enabled && m_vexio.extTriggerMask != 0;
    if (m_dio.enabled || isInputNeeded)
        m_hardware.startDIORecording(m_channelCount);
}

void StimulationSession::recordingStarted(const RecordingContext& context)
{
    m_vexio = context.vexio.value_or(VexioSettings{});
    m_dio = context.dio.value_or(DioSettings{});
    m_channelCount = context.channelCount;
    m_isWanted = m_vexio.enabled || m_dio.enabled;
    m_applied = StimulationSource::None;
    m_hasRun = false;
    m_toldProblem.clear();
    m_stimulations = 0;
    m_refused = 0;
    m_controller.stimLog().beginAccount();
    if (!m_isWanted)
        return;
    notePresence();
    if (m_isPowerMissing)
        showPower(false); // as it was when the last recording ended; polling tells when it has changed
    applySettings();
    warnAboutSetup(context);
}

void StimulationSession::warnAboutSetup(const RecordingContext& context)
{
    QString problem =
        context.deviceKind == DeviceKind::SerialAmplifier
            ? text(
                  "This recording is set up to stimulate, but the serial amplifier has neither a stimulation "
                  "unit nor digital outputs. The recording goes on, and no cage is stimulated.")
            : missingHardwareText(m_vexio, m_dio, m_hardware);
    if (problem.isEmpty() && context.isActivityOnly && followsSleep(m_controller.protocol()))
        problem =
            text("This recording is set up to stimulate by sleep decisions, but a recording of activity "
                 "only makes none. Cages are only stimulated by hand or by their triggers.");
    if (problem.isEmpty())
        problem = unreachableCagesText(m_vexio, m_dio, m_channelCount);
    if (problem.isEmpty() || problem == m_toldProblem)
        return;
    m_toldProblem = problem;
    qWarning().noquote() << "Stimulation:" << problem.section(u'\n', 0, 0);
    m_user.announce(Severity::Warning, text("Stimulation"), problem);
}

void StimulationSession::segmentStarted(const RecordingContext& context)
{
    if (!m_isWanted)
        return;
    // The unit's own settings stay when it goes; what was set up without it does not fit it.
    if (m_applied != StimulationSource::Unit && m_controller.source() != m_applied) {
        qInfo("Stimulation hardware that was missing answers now");
        applySettings();
    }
    warnAboutSetup(context); // what has gone since
    m_isInSegment = true;
    m_stimFile = segmentPaths(context.basePath, context.animalType).stimulation;
    m_segmentBegan = m_time.now();
    if (m_controller.source() != StimulationSource::None)
        begin();
}

void StimulationSession::begin()
{
    m_controller.initStimFile(m_stimFile);
    m_controller.start();
    m_hasRun = true;
    qInfo("StimulationController started");
}

void StimulationSession::halt()
{
    if (!m_controller.isRunning())
        return;
    m_controller.stop();
    m_hardware.cancelPending();
    m_controller.closeStimFile();
}

void StimulationSession::segmentStopping(TeardownKind kind)
{
    m_isInSegment = false;
    if (!m_controller.isRunning())
        return;
    halt();
    // A profile lasts up to two minutes, and nobody could end it any more. At a pause the unit is away.
    const std::uint16_t cages = m_controller.cageEnableMask() | m_controller.extTriggerMask();
    if (kind == TeardownKind::Stop && m_controller.source() == StimulationSource::Unit)
        m_hardware.stopStimulation(unitCages(cages));
    qInfo("%s", kind == TeardownKind::Pause ? "StimulationController stopped (pause)"
                                            : "StimulationController stopped");
}

void StimulationSession::recordingStopped()
{
    if (!m_isWanted)
        return;
    if (m_controller.source() == StimulationSource::Unit)
        m_hardware.updateCageEnableConfig(0); // also powers their amplifiers down
    m_hardware.stopVexioPolling();
    m_hardware.stopDIORecording();
    closeNotices();
    m_controller.stimLog().endAccount();
    if (m_hasRun) {
        m_controller.logLatencySummary();
        qInfo().noquote() << "Stimulations:" << m_stimulations << "requested," << m_refused
                          << "not carried out by the stimulation unit";
    }
    m_isWanted = false;
    m_isInSegment = false;
}

void StimulationSession::sleepDecision(const SleepDecisionNews& news)
{
    if (!m_controller.isRunning() || !news.isDecided)
        return;
    // Nobody has seen the animal sleep through a pause.
    std::vector<QDateTime> since = news.sleepBeginTime;
    for (QDateTime& begun : since)
        if (begun.isValid() && begun < m_segmentBegan)
            begun = m_segmentBegan;
    if (news.frameArrivedUs >= 0)
        m_controller.noteDecisionFrameArrival(news.frameArrivedUs);
    m_controller.handleNewSleepDecision(news.sleeping, since, news.decisionStats);
}

void StimulationSession::showPower(bool isPresent)
{
    m_isPowerMissing = !isPresent;
    if (!m_isWanted)
        return;
    if (isPresent) {
        m_user.closeNotice(powerNotice);
        return;
    }
    m_user.showNotice(powerNotice, text("Stimulation"),
                      text("The stimulation unit has lost its 12 V supply: no cage is stimulated until the "
                           "supply is back. The recording goes on."),
                      text("OK"), [] {});
}

void StimulationSession::showAway(bool isUnitAway, bool areOutputsAway)
{
    if (isUnitAway == m_isUnitAway && areOutputsAway == m_areOutputsAway)
        return;
    m_isUnitAway = isUnitAway;
    m_areOutputsAway = areOutputsAway;
    m_user.closeNotice(awayNotice);
    if (m_isWanted && (isUnitAway || areOutputsAway))
        m_user.showNotice(awayNotice, text("Stimulation"), awayText(isUnitAway, areOutputsAway), text("OK"),
                          [] {});
}

void StimulationSession::showTemperature(bool isTooHot)
{
    if (!isTooHot)
        m_user.closeNotice(temperatureNotice);
    else if (m_isWanted)
        m_user.showNotice(
            temperatureNotice, text("Stimulation"),
            text("The stimulation unit is too hot. Check that it is not covered, and how often it "
                 "stimulates. The recording goes on."),
            text("OK"), [] {});
}

void StimulationSession::showUnstopped(std::uint8_t cageMask)
{
    m_user.closeNotice(stopNotice);
    if (cageMask == 0)
        return;
    QString notice =
        text("The stimulation unit has not taken the order to stop these cages: %1. They may go "
             "on until their stimulation ends by itself. The unit is told again when it answers.")
            .arg(cageNumbers(cageMask));
    if (m_isWanted)
        notice += text(" The recording goes on.");
    m_user.showNotice(stopNotice, text("Stimulation"), notice, text("OK"), [] {});
}

void StimulationSession::closeNotices()
{
    // Not of cages that are not stopped: that one goes when they are.
    for (const QString& notice : {powerNotice, awayNotice, temperatureNotice, triggerNotice})
        m_user.closeNotice(notice);
    m_isUnitAway = false;
    m_areOutputsAway = false;
}

void StimulationSession::describe(ConfigSummary& summary) const
{
    describeStimulation(summary, m_isWanted ? m_applied : StimulationSource::None, m_vexio, m_dio);
}

ManualStimulation StimulationSession::stimulateNow()
{
    if (!m_controller.isRunning())
        return ManualStimulation::NotRunning;
    m_controller.triggerManualStimulation();
    if ((m_controller.cageEnableMask() & ~unsigned{m_controller.extTriggerMask()}) == 0)
        return ManualStimulation::NoCages;
    return m_controller.isWithinStimPeriod() ? ManualStimulation::Requested
                                             : ManualStimulation::OutsideSchedule;
}

void StimulationSession::report(SessionStatus& status) const
{
    const StimulationLog::Losses losses = m_controller.stimLog().losses();
    status.losses.stimulationRowsLost += losses.rows;
    status.losses.stimulationLogsMissing += losses.files;
}

StimulationStatus StimulationSession::status() const
{
    StimulationStatus status;
    if (!m_isWanted)
        return status;
    status.protocol = m_controller.protocol();
    status.cages = m_controller.cageEnableMask();
    status.triggeredCages = m_controller.extTriggerMask();
    status.isRunning = m_controller.isRunning();
    status.stimulations = m_stimulations;
    status.refused = m_refused;
    using State = StimulationStatus::State;
    if (m_controller.source() == StimulationSource::None)
        status.state = m_vexio.enabled ? State::NoUnit : State::NoOutputs;
    else if (m_controller.source() != StimulationSource::Unit)
        status.state = State::Outputs;
    else if (m_isUnitLost || m_isUnitAway)
        status.state = State::NoUnit;
    else
        status.state = m_isPowerMissing ? State::NoPower : State::Unit;
    return status;
}

} // namespace vt
