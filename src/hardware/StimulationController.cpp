// SPDX-License-Identifier: GPL-3.0-or-later
#include "hardware/StimulationController.h"

#include "hardware/StimulationMasks.h"
#include "hardware/StimulationRows.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

StimulationController::StimulationController(TimeSource& time, std::shared_ptr<Inbox> logWorker,
                                             std::uint32_t seed, QObject* parent)
    : QObject(parent), m_time(time), m_randomiser(seed), m_log(std::move(logWorker))
{
    setRandomSeed(seed);
    m_openLoopTimer = time.createTimer(this, [this] { handleOpenLoopTimeout(); });
    m_rekickTimer = time.createTimer(this, [this] { handleExtTrigRekickTimeout(); });
    m_periodTimer = time.createTimer(this, [this] { notePeriod(); });
    m_inputWatchTimer = time.createTimer(this, [this] { handleInputWatchTimeout(); });
    m_dioSyncTimer = time.createTimer(this, [this] { handleDioSyncTimeout(); });
    for (int cage = 0; cage < MaxStimulationChannels; ++cage)
        m_clearTimers[static_cast<std::size_t>(cage)] =
            time.createTimer(this, [this, cage] { handleCageClearTimeout(cage); });
}

StimulationController::~StimulationController() = default;

bool StimulationController::isWithinStimPeriod() const
{
    return vt::isWithinStimPeriod(m_schedule, m_time.now());
}

EligibleCages StimulationController::eligibleCages() const
{
    return {m_activeChannelCount, m_cageEnableMask, m_extTriggerMask};
}

void StimulationController::start()
{
    m_sleep = {};
    m_sleep.earliestMs = m_time.monotonicMs();
    m_statistics.clear();
    m_outsideLogged = false;
    m_decisionFrameUs.reset();
    m_latency.forgetRequests();
    m_lostInputs = 0;
    forgetExternalInputs();
    prepareUnit();
    m_isPeriodOpen = false;
    m_running = true;
    updateOpenLoopTimer();
    updatePeriodCheck();
    qDebug().noquote() << "StimulationController: Started";
}

void StimulationController::stop()
{
    m_running = false;
    updateOpenLoopTimer();
    m_lostInputs = 0;
    m_inputs = m_knownInputs = 0;
    updatePeriodCheck();
    forgetExternalInputs();
    releaseOutputs(m_outputs.held());
    qDebug().noquote() << "StimulationController: Stopped";
}

void StimulationController::updateOpenLoopTimer()
{
    if (!m_running || m_protocol != StimulationProtocol::OpenLoop || m_minIntervalMs <= 0) {
        if (m_openLoopTimer->isActive())
            qDebug().noquote() << "StimulationController: Open-loop timer stopped";
        m_openLoopTimer->stop();
        m_openLoopIntervalMs = m_minIntervalMs;
        return;
    }
    if (m_openLoopTimer->isActive() && m_openLoopIntervalMs == m_minIntervalMs)
        return;
    m_openLoopIntervalMs = m_minIntervalMs;
    m_openLoopTimer->start(m_openLoopIntervalMs, TimerMode::Repeating);
    qDebug().noquote() << "StimulationController: Open-loop timer started, interval:" << m_openLoopIntervalMs
                       << "ms";
}

void StimulationController::handleNewSleepDecision(const std::vector<bool>& sleeping,
                                                   const std::vector<QDateTime>& sleepBeginTime,
                                                   const std::vector<double>& decisionStats)
{
    const std::optional<qint64> frameArrivalUs = std::exchange(m_decisionFrameUs, std::nullopt);
    if (!m_running)
        return;
    const SleepMoment now{m_time.now(), m_time.monotonicMs()};
    const auto kept = std::min<std::size_t>(decisionStats.size(), MaxStimulationChannels);
    m_statistics.assign(decisionStats.begin(), decisionStats.begin() + static_cast<std::ptrdiff_t>(kept));
    followSleep(m_sleep, sleeping, sleepBeginTime, now);
    if (m_protocol == StimulationProtocol::SleepBased)
        stimulateDue(dueForSleep(m_sleep, eligibleCages(), m_sleepThresholdSec, now.monotonicMs),
                     QStringLiteral("Sleep-based"), frameArrivalUs);
    else if (m_protocol == StimulationProtocol::ActivityBased)
        stimulateDue(dueForActivity(m_statistics, eligibleCages(), m_activityThreshold),
                     QStringLiteral("ActivityBased"), frameArrivalUs);
}

void StimulationController::stimulateDue(std::uint16_t due, const QString& reason,
                                         std::optional<qint64> frameArrivalUs)
{
    if (due == 0)
        return;
    if (isWithinStimPeriod()) {
        m_outsideLogged = false;
        trigger(due, reason, frameArrivalUs);
        return;
    }
    if (!m_outsideLogged)
        qDebug().noquote() << "StimulationController:" << reason << "stimulation due but outside stim period";
    m_outsideLogged = true;
    emit outsideStimulationPeriod();
}

void StimulationController::handleActivityData(const std::vector<double>& activityLevels)
{
    const auto kept = std::min<std::size_t>(activityLevels.size(), MaxStimulationChannels);
    m_activityLevels.assign(activityLevels.begin(),
                            activityLevels.begin() + static_cast<std::ptrdiff_t>(kept));
}

void StimulationController::handleOpenLoopTimeout()
{
    if (!m_running || m_protocol != StimulationProtocol::OpenLoop)
        return;
    if (m_cageEnableMask == 0) {
        qDebug().noquote() << "StimulationController: Open-loop timeout but no cages enabled";
        return;
    }
    if (!isWithinStimPeriod()) {
        qDebug().noquote() << "StimulationController: Open-loop timeout but outside stim period";
        emit outsideStimulationPeriod();
        return;
    }
    trigger(m_cageEnableMask, QStringLiteral("Open-loop timer"));
    if (!m_randomInterval || !m_running)
        return;
    const auto next = nextRandomIntervalMs(m_minIntervalMs, m_maxIntervalMs, m_randomiser.next());
    if (!next)
        return;
    m_openLoopIntervalMs = *next;
    m_openLoopTimer->start(m_openLoopIntervalMs, TimerMode::Repeating);
    qDebug().noquote().nospace() << "StimulationController: Next random interval: " << m_openLoopIntervalMs
                                 << " ms (range: " << m_minIntervalMs << " - " << m_maxIntervalMs << ")";
}

void StimulationController::triggerManualStimulation()
{
    if (m_cageEnableMask == 0) {
        qDebug().noquote() << "StimulationController: Manual stim requested but no cages enabled";
        return;
    }
    if (!isWithinStimPeriod()) {
        qDebug().noquote() << "StimulationController: Manual stim requested but outside stim period";
        emit outsideStimulationPeriod();
        return;
    }
    trigger(m_cageEnableMask, QStringLiteral("Manual trigger"));
}

void StimulationController::trigger(std::uint16_t mask, const QString& reason,
                                    std::optional<qint64> frameArrivalUs)
{
    const auto excluded = static_cast<std::uint16_t>(mask & m_extTriggerMask);
    const std::uint16_t remaining = without(mask, excluded);
    const QString exclusion =
        excluded == 0 ? QString() : QStringLiteral("  (ext-trig excluded: %1)").arg(maskText(excluded));
    if (remaining == 0) {
        qDebug().noquote() << "StimulationController:" << reason
                           << QStringLiteral("stimulation dropped, no cages left") + exclusion;
        return;
    }
    qDebug().noquote() << "StimulationController:" << reason
                       << "stimulation of cages:" << maskText(remaining) + exclusion;
    stimulate(remaining, reason, frameArrivalUs);
}

void StimulationController::stimulate(std::uint16_t mask, const QString& reason,
                                      std::optional<qint64> frameArrivalUs)
{
    // Cages behind the unit's eight have digital outputs only: without these nothing is driven for them.
    const std::uint16_t driven = usesVexio() && !usesDio() ? unitCages(mask) : mask;
    if (driven == 0) {
        qDebug().noquote() << "StimulationController: no output for cages:" << maskText(mask);
        return;
    }
    appendStimulationRow(driven, reason);
    if (usesVexio() && unitCages(mask) != 0) {
        m_request = m_latency.requestSent(frameArrivalUs);
        emit activateVexioStimulation(unitCages(mask));
    }
    if (usesDio())
        driveOutputs(mask);
    if (!usesVexio() && !usesDio())
        qWarning().noquote() << "StimulationController: no stimulation hardware, nothing was driven";
    emit stimulationTriggered(driven, reason);
}

void StimulationController::appendStimulationRow(std::uint16_t mask, const QString& reason)
{
    if (!m_log.isOpen())
        return;
    if (isDioOnly()) {
        m_log.append(digOutputRow(m_time.now(), m_activeChannelCount, mask));
        return;
    }
    StimulationRow row;
    row.when = m_time.now();
    row.reason = reason;
    row.intervalMs = m_openLoopIntervalMs;
    row.sleepDurationSec = m_sleepThresholdSec;
    row.channelCount = m_activeChannelCount;
    row.mask = mask;
    row.cages = m_cageConfigs;
    m_log.append(stimRow(row));
}

void StimulationController::driveOutputs(std::uint16_t mask)
{
    emit pulseDioOutput(mask);
    // At once, not with the next sync tick: the pulse may end before that, and the output would drop.
    m_outputs.hold(mask);
    emit setDioOutputHold(mask);
    for (std::size_t cage = 0; cage < m_clearTimers.size(); ++cage)
        if ((mask >> cage) & 1U)
            m_clearTimers[cage]->start(std::max(m_cageDurationsMs[cage], DioPulseMs), TimerMode::SingleShot);
    if (!m_dioSyncTimer->isActive())
        m_dioSyncTimer->start(DioSyncMs, TimerMode::Repeating);
}

void StimulationController::handleCageClearTimeout(int cageNum)
{
    m_outputs.release(static_cast<std::uint16_t>(1U << static_cast<unsigned>(cageNum)));
}

void StimulationController::handleDioSyncTimeout()
{
    const std::uint16_t released = m_outputs.takeReleased();
    if (m_outputs.held() == 0)
        m_dioSyncTimer->stop();
    if (released != 0)
        emit clearDioOutput(released);
}

void StimulationController::releaseOutputs(std::uint16_t mask)
{
    for (std::size_t cage = 0; cage < m_clearTimers.size(); ++cage)
        if ((mask >> cage) & 1U)
            m_clearTimers[cage]->stop();
    m_outputs.release(mask);
    m_isHalting = true;
    handleDioSyncTimeout();
    m_isHalting = false;
}

void StimulationController::initStimFile(const QString& filename)
{
    m_log.open(filename, isDioOnly() ? QStringLiteral("DIO-only") : stimulationProtocolName(m_protocol));
}

void StimulationController::closeStimFile()
{
    m_log.close();
}

void StimulationController::writeDiagRow(std::uint8_t sysStatus, std::uint8_t sysExtraStatus,
                                         std::uint8_t speakerFaults0C, std::uint8_t speakerFaults0D)
{
    m_log.append(diagRow(m_time.now(), {sysStatus, sysExtraStatus, speakerFaults0C, speakerFaults0D}));
}

void StimulationController::noteDecisionFrameArrival(qint64 monotonicUs)
{
    m_decisionFrameUs = monotonicUs;
}

void StimulationController::noteActivationReturned(quint64 request, std::optional<qint64> returnedUs)
{
    const std::optional<qint64> latencyUs = m_latency.requestReturned(request, returnedUs);
    if (latencyUs)
        qInfo().noquote() << "StimulationController: Latency from frame to register write:"
                          << QString::number(static_cast<double>(*latencyUs) / 1000.0, 'f', 1) << "ms";
}

void StimulationController::logLatencySummary()
{
    qInfo().noquote() << "StimulationController: Latency from frame to register write,"
                      << m_latency.summary();
    m_latency.clear();
}

} // namespace vt
