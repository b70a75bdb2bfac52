// SPDX-License-Identifier: GPL-3.0-or-later
// How StimulationController follows external triggers.
#include "hardware/StimulationController.h"
#include "hardware/StimulationMasks.h"
#include "hardware/StimulationRows.h"

#include <QDebug>
#include <utility>

namespace vt {

namespace {
constexpr int InputWatchMs = 500;
} // namespace

void StimulationController::handleDioInputState(std::uint16_t inputMask)
{
    qDebug().noquote() << "StimulationController::handleDioInputState - inputMask:" << maskText(inputMask)
                       << "extTrigMask:" << maskText(m_extTriggerMask);
    notePeriod(); // with the inputs as they were
    // What is known of a lost input is old: it counts as low until it is read again.
    const TriggerEdges edges =
        externalTriggerEdges(m_inputs, without(inputMask, m_lostInputs), m_extTriggerMask);
    m_inputs = without(inputMask, m_lostInputs);
    if (!m_running)
        return;
    // Wherever the schedule stands: an ended trigger leaves no cage running.
    endExternal(edges.falling & m_trackedInputs);
    if (!m_isPeriodOpen) {
        qDebug().noquote() << "StimulationController: Outside stim period, clearing ext trigger tracking";
        forgetExternalInputs();
        if (edges.rising != 0)
            emit outsideStimulationPeriod();
        return;
    }
    m_trackedInputs = edges.high;
    noteInputsRead(edges.rising);
    updateInputWatch();
    startExternal(edges.rising);
    if (edges.high == 0 && m_rekickTimer->isActive()) {
        m_rekickTimer->stop();
        qDebug().noquote() << "StimulationController: All ext trigger inputs LOW, stopping re-kick timer";
    }
}

/// No edge, so no row and no stimulation now.
void StimulationController::followHighInputs()
{
    const auto high = static_cast<std::uint16_t>(m_inputs & m_extTriggerMask);
    if (const std::uint16_t joining = without(high, m_trackedInputs); joining != 0)
        qInfo().noquote() << "StimulationController: Ext trigger inputs are high already, cages:"
                          << maskText(joining);
    m_trackedInputs = high;
    if (high != 0 && !m_rekickTimer->isActive())
        m_rekickTimer->start(ExtTriggerRekickMs, TimerMode::Repeating);
    updateInputWatch();
}

void StimulationController::notePeriod()
{
    const bool isOpen = m_running && isWithinStimPeriod();
    if (isOpen != std::exchange(m_isPeriodOpen, isOpen) && isOpen)
        followHighInputs();
}

/// Nothing else tells that a window has opened.
void StimulationController::updatePeriodCheck()
{
    if (!m_running || m_extTriggerMask == 0 || m_schedule.empty())
        m_periodTimer->stop();
    else if (!m_periodTimer->isActive())
        m_periodTimer->start(PeriodCheckMs, TimerMode::Repeating);
    notePeriod();
}

void StimulationController::startExternal(std::uint16_t cages)
{
    if (cages == 0)
        return;
    qDebug().noquote() << "StimulationController: Ext trigger RISING EDGE for cages:" << maskText(cages);
    m_log.append(digInputRow(m_time.now(), InputEdge::High, m_activeChannelCount, cages));
    if (!m_rekickTimer->isActive())
        m_rekickTimer->start(ExtTriggerRekickMs, TimerMode::Repeating);
    stimulate(cages, QStringLiteral("ExtTrigger"), std::nullopt);
}

void StimulationController::endExternal(std::uint16_t cages)
{
    if (cages == 0)
        return;
    qDebug().noquote() << "StimulationController: Ext trigger FALLING EDGE, stopping cages:"
                       << maskText(cages);
    m_log.append(digInputRow(m_time.now(), InputEdge::Low, m_activeChannelCount, cages));
    if (usesVexio() && unitCages(cages) != 0)
        emit stopVexioStimulation(unitCages(cages));
    releaseOutputs(cages);
}

void StimulationController::forgetExternalInputs()
{
    m_trackedInputs = 0;
    m_rekickTimer->stop();
    updateInputWatch();
}

// An input whose port expander has died keeps the level that was read last. Followed on, it would stimulate
// its animal every 9.5 s for ever.

void StimulationController::updateInputWatch()
{
    const bool isWatched = (m_trackedInputs | m_lostInputs) != 0;
    if (isWatched == std::exchange(m_isInputWatched, isWatched))
        return;
    if (isWatched) {
        m_inputsReadMs.fill(m_time.monotonicMs());
        m_inputWatchTimer->start(InputWatchMs, TimerMode::Repeating);
    } else {
        m_inputWatchTimer->stop();
    }
    emit watchDioInputs(isWatched);
}

void StimulationController::noteInputsRead(std::uint16_t readMask)
{
    for (std::size_t half = 0; half < m_inputsReadMs.size(); ++half)
        if ((readMask >> (8 * half) & 0xFFU) != 0)
            m_inputsReadMs[half] = m_time.monotonicMs();
}

void StimulationController::handleDioInputsRead(std::uint16_t inputMask, std::uint16_t readMask)
{
    noteInputsRead(readMask);
    const std::uint16_t fresh = without(without(readMask, m_knownInputs), m_lostInputs);
    m_knownInputs |= readMask;
    m_inputs = static_cast<std::uint16_t>(without(m_inputs, fresh) | (inputMask & fresh));
    if (fresh != 0 && m_isPeriodOpen)
        followHighInputs();
    const auto back = static_cast<std::uint16_t>(m_lostInputs & readMask);
    if (back == 0)
        return;
    qInfo().noquote() << "StimulationController: Ext trigger inputs are read again, cages:" << maskText(back);
    m_lostInputs = without(m_lostInputs, back);
    const std::uint16_t elsewhere = without(m_inputs, readMask);
    handleDioInputState(static_cast<std::uint16_t>((inputMask & readMask) | elsewhere));
    updateInputWatch();
    if (m_lostInputs == 0)
        emit extTriggerInputsRestored();
}

void StimulationController::handleInputWatchTimeout()
{
    std::uint16_t silent = 0;
    for (std::size_t half = 0; half < m_inputsReadMs.size(); ++half)
        if (m_time.monotonicMs() - m_inputsReadMs[half] >= InputSilenceMs)
            silent |= static_cast<std::uint16_t>(0xFFU << (8 * half));
    loseInputs(m_trackedInputs & silent);
}

void StimulationController::loseInputs(std::uint16_t cages)
{
    if (cages == 0)
        return;
    qWarning().noquote() << "StimulationController: Ext trigger inputs cannot be read, stopping cages:"
                         << maskText(cages);
    m_lostInputs |= cages;
    m_knownInputs = without(m_knownInputs, cages);
    m_inputs = without(m_inputs, cages); // read again, they count as risen
    m_trackedInputs = without(m_trackedInputs, cages);
    endExternal(cages);
    if (m_trackedInputs == 0)
        m_rekickTimer->stop();
    emit extTriggerInputsLost(cages);
}

void StimulationController::handleExtTrigRekickTimeout()
{
    if (!m_running || m_trackedInputs == 0) {
        m_rekickTimer->stop();
        return;
    }
    if (!isWithinStimPeriod()) {
        qDebug().noquote() << "StimulationController: Re-kick timer - outside stim period, stopping";
        m_rekickTimer->stop(); // the inputs stay tracked: their falling edges still stop the cages
        return;
    }
    qDebug().noquote() << "StimulationController: Ext trigger RE-KICK for cages:"
                       << maskText(m_trackedInputs);
    stimulate(m_trackedInputs, QStringLiteral("ExtTrigger-Rekick"), std::nullopt);
}

} // namespace vt
