// SPDX-License-Identifier: GPL-3.0-or-later
// The setters of StimulationController, and how a recording's settings reach them.
#include "hardware/StimulationController.h"
#include "hardware/StimulationMasks.h"
#include "hardware/StimulationRows.h"

#include <QDebug>
#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace vt {

namespace {

constexpr int MsPerDurationStep = 500;

int minutesToMs(double minutes)
{
    constexpr double Most = std::numeric_limits<int>::max();
    const double milliseconds = minutes * 60000.0;
    return std::isfinite(milliseconds) ? static_cast<int>(std::lround(std::clamp(milliseconds, 0.0, Most)))
                                       : 0;
}

} // namespace

void StimulationController::setRandomSeed(std::uint32_t seed)
{
    m_randomiser = CageRandomiser(seed);
    qDebug().noquote() << "StimulationController: Random seed" << seed;
}

void StimulationController::applySettings(const VexioSettings& vexio, const DioSettings& dio)
{
    m_vexioEnabled = vexio.enabled;
    m_dioEnabled = dio.enabled;
    if (usesVexio()) {
        applyVexioSettings(vexio);
    } else if (usesDio()) {
        applyDioSettings(dio);
    } else {
        setExtTriggerMask(0);
        setCageEnableMask(0);
        setProtocol(StimulationProtocol::ManualTrigger);
    }
}

void StimulationController::applyVexioSettings(const VexioSettings& settings)
{
    setSchedule(settings.schedule);
    setOpenLoopConfig(settings.minIntervalMs, settings.maxIntervalMs, settings.randomInterval);
    setSleepDurationThreshold(settings.sleepDurationSec);
    setActivityThreshold(settings.activityThreshold);
    m_cageDurationsMs.fill(0);
    setCageConfigs(m_randomiser.draw(settings.cages, settings.randomRange));
    if (m_running)
        emit writeVexioCageConfigs(m_cageConfigs);
    // What nobody records is not stimulated: the log would not show it.
    const std::uint16_t reachable = reachableCages(m_activeChannelCount, m_dioEnabled);
    setExtTriggerMask(settings.extTriggerMask & reachable);
    setCageEnableMask(settings.cageEnableMask & reachable);
    setProtocol(settings.protocol); // last: it may start the timer
}

void StimulationController::applyDioSettings(const DioSettings& settings)
{
    setSchedule(settings.schedule);
    m_cageDurationsMs.fill(0); // nothing but the port expanders' own pulse
    setCageConfigs({});
    setExtTriggerMask(0);
    handleDioConfigChanged(true, settings.openLoop, settings.stimIntervalMin, settings.sleepDurationSec);
}

void StimulationController::setVexioPresent(bool present)
{
    const bool appeared = present && !m_vexioPresent;
    m_vexioPresent = present;
    qDebug().noquote() << "StimulationController: VEXIO present =" << present;
    if (appeared && m_running)
        prepareUnit();
}

void StimulationController::setDioPresent(bool present)
{
    m_dioPresent = present;
    qDebug().noquote() << "StimulationController: DIO present =" << present;
    if (present)
        return;
    loseInputs(m_trackedInputs);
    m_inputs = m_knownInputs = 0;
}

void StimulationController::setProtocol(StimulationProtocol protocol)
{
    m_protocol = protocol;
    qDebug().noquote() << "StimulationController: Protocol changed to" << stimulationProtocolName(protocol);
    updateOpenLoopTimer();
    emit configChanged();
}

void StimulationController::setCageEnableMask(std::uint16_t mask)
{
    m_cageEnableMask = mask;
    qDebug().noquote() << "StimulationController: Cage enable mask changed to" << maskText(mask);
    writeCageEnable();
    emit configChanged();
}

void StimulationController::writeCageEnable()
{
    emit updateVexioCageEnable(static_cast<std::uint8_t>((m_cageEnableMask | m_extTriggerMask) & 0xFFU));
}

/// What a unit that was away or switched off has lost.
void StimulationController::prepareUnit()
{
    if (usesVexio() && !m_cageConfigs.isEmpty())
        emit writeVexioCageConfigs(m_cageConfigs);
    writeCageEnable();
}

StimulationSource StimulationController::source() const
{
    if (usesVexio())
        return StimulationSource::Unit;
    return usesDio() ? StimulationSource::Outputs : StimulationSource::None;
}

void StimulationController::setActiveChannelCount(int count)
{
    m_activeChannelCount = std::clamp(count, 0, MaxStimulationChannels);
    qDebug().noquote() << "StimulationController: Active channel count =" << m_activeChannelCount;
    emit configChanged();
}

void StimulationController::setScheduleEntries(const QList<QHash<QString, QVariant>>& entries)
{
    setSchedule(scheduleWindows(entries));
}

void StimulationController::setSchedule(std::vector<StimulationWindow> schedule)
{
    m_schedule = std::move(schedule);
    qDebug().noquote() << "StimulationController: Schedule updated," << m_schedule.size() << "entries";
    updatePeriodCheck();
    emit configChanged();
}

void StimulationController::setOpenLoopConfig(int minIntervalMs, int maxIntervalMs, bool randomInterval)
{
    m_minIntervalMs = minIntervalMs;
    m_maxIntervalMs = maxIntervalMs;
    m_randomInterval = randomInterval;
    qDebug().noquote().nospace() << "StimulationController: Open-loop config - min: " << minIntervalMs
                                 << " ms, max: " << maxIntervalMs << " ms, random: " << randomInterval;
    updateOpenLoopTimer();
    emit configChanged();
}

void StimulationController::setSleepDurationThreshold(int seconds)
{
    m_sleepThresholdSec = seconds;
    qDebug().noquote() << "StimulationController: Sleep duration threshold =" << seconds;
    emit configChanged();
}

void StimulationController::setActivityThreshold(double threshold)
{
    m_activityThreshold = threshold;
    qDebug().noquote() << "StimulationController: Activity threshold =" << threshold;
    emit configChanged();
}

void StimulationController::setCageDuration(int cageNum, int durationMs)
{
    if (cageNum < 0 || cageNum >= MaxStimulationChannels) {
        qWarning().noquote() << "StimulationController::setCageDuration - Invalid cage number:" << cageNum;
        return;
    }
    m_cageDurationsMs[static_cast<std::size_t>(cageNum)] = std::max(durationMs, 0);
    const std::uint8_t duration = durationRegister(durationMs);
    if (cageNum < m_cageConfigs.size())
        m_cageConfigs[cageNum].duration = duration; // what the unit plays is what the log shows
    if (usesVexio() && cageNum < VexioSettings::CageCount)
        emit setVexioCageDuration(static_cast<std::uint8_t>(1U << static_cast<unsigned>(cageNum)), duration);
    emit configChanged();
}

void StimulationController::setExtTriggerMask(std::uint16_t mask)
{
    m_extTriggerMask = mask;
    qDebug().noquote() << "StimulationController::setExtTriggerMask - Ext trigger mask set to"
                       << maskText(mask) << "cageEnableMask:" << maskText(m_cageEnableMask);
    endExternal(static_cast<std::uint16_t>(m_trackedInputs & ~unsigned{mask}));
    m_trackedInputs &= mask;
    m_lostInputs &= mask;
    if (m_trackedInputs == 0)
        forgetExternalInputs();
    updatePeriodCheck();
    if (m_isPeriodOpen)
        followHighInputs();
    writeCageEnable();
    emit configChanged();
}

void StimulationController::setCageConfigs(const QList<VEXIO_NS::CageConfig>& configs)
{
    m_cageConfigs = configs;
    const auto count = std::min<qsizetype>(configs.size(), MaxStimulationChannels);
    for (qsizetype cage = 0; cage < count; ++cage)
        m_cageDurationsMs[static_cast<std::size_t>(cage)] = configs[cage].duration * MsPerDurationStep;
    emit configChanged();
}

void StimulationController::handleOpenLoopConfigChanged(
    bool enabled, int minIntervalMs, int maxIntervalMs, bool randomInterval,
    const QList<QHash<QString, QVariant>>& scheduleEntries)
{
    if (enabled)
        setProtocol(StimulationProtocol::OpenLoop);
    else if (m_protocol == StimulationProtocol::OpenLoop)
        setProtocol(StimulationProtocol::ManualTrigger);
    setOpenLoopConfig(minIntervalMs, maxIntervalMs, randomInterval);
    setScheduleEntries(scheduleEntries);
}

void StimulationController::handleSleepBasedConfigChanged(
    bool enabled, int sleepDurationSec, const QList<QHash<QString, QVariant>>& scheduleEntries)
{
    if (enabled)
        setProtocol(StimulationProtocol::SleepBased);
    else if (m_protocol == StimulationProtocol::SleepBased)
        setProtocol(StimulationProtocol::ManualTrigger);
    setSleepDurationThreshold(sleepDurationSec);
    setScheduleEntries(scheduleEntries);
}

void StimulationController::handleDioConfigChanged(bool enabled, bool openLoop, double stimInterval,
                                                   int sleepDuration)
{
    qDebug().noquote() << "StimulationController::handleDioConfigChanged - enabled:" << enabled
                       << "openLoop:" << openLoop << "interval:" << stimInterval
                       << "sleepDuration:" << sleepDuration;
    if (!enabled) {
        qDebug().noquote() << "StimulationController: DIO disabled, switching to ManualTrigger protocol";
        setProtocol(StimulationProtocol::ManualTrigger);
        return;
    }
    if (!usesVexio()) {
        qDebug().noquote() << "StimulationController: Standalone DIO mode, enabling all"
                           << m_activeChannelCount << "channels";
        setCageEnableMask(
            static_cast<std::uint16_t>((1U << static_cast<unsigned>(m_activeChannelCount)) - 1U));
    }
    if (openLoop)
        setOpenLoopConfig(minutesToMs(stimInterval), minutesToMs(stimInterval), false);
    setSleepDurationThreshold(sleepDuration);
    setProtocol(openLoop ? StimulationProtocol::OpenLoop : StimulationProtocol::SleepBased);
}

} // namespace vt
