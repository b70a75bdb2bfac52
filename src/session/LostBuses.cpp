// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LostBuses.h"

#include <QStringList>
#include <utility>

namespace vt {

namespace {

QString lossText(UnitBus bus)
{
    switch (bus) {
    case UnitBus::Microcontroller:
        break;
    case UnitBus::StimulationUnit:
        return LostBuses::tr("The connection to the stimulation unit has failed: it stimulates no cage.");
    case UnitBus::PortExpanders:
        return LostBuses::tr("The connection to the digital outputs and inputs has failed: outputs keep the "
                             "state that they have, and inputs are not noticed.");
    }
    return LostBuses::tr(
        "The connection to the push button and to the supervision of the sensors has failed: "
        "neither is noticed.");
}

QString restoredText(UnitBus bus)
{
    switch (bus) {
    case UnitBus::Microcontroller:
        break;
    case UnitBus::StimulationUnit:
        return LostBuses::tr("The connection to the stimulation unit works again.");
    case UnitBus::PortExpanders:
        return LostBuses::tr("The connection to the digital outputs and inputs works again.");
    }
    return LostBuses::tr(
        "The connection to the push button and to the supervision of the sensors works again.");
}

} // namespace

LostBuses::LostBuses(TimeSource& time, Tell tell, QObject* parent)
    : QObject(parent), m_tell(std::move(tell)), m_timer(time.createTimer(this, [this] { tellAll(); }))
{}

LostBuses::~LostBuses() = default;

void LostBuses::recordingRuns()
{
    m_isRunning = true;
}

void LostBuses::recordingHalts()
{
    m_isRunning = false;
    m_lost.clear();
    m_told.clear();
    m_timesTold.clear();
    m_timer->stop();
}

void LostBuses::noteLost(UnitBus bus)
{
    if (!m_isRunning || m_told.contains(bus) || m_timesTold[bus] == MostTold)
        return;
    m_lost.insert(bus);
    m_timer->start(TellAfterMs, TimerMode::SingleShot);
}

void LostBuses::noteRestored(UnitBus bus)
{
    m_lost.erase(bus);
    if (m_lost.empty())
        m_timer->stop();
    if (m_told.erase(bus) > 0)
        m_tell(Severity::Information, restoredText(bus));
}

void LostBuses::tellAll()
{
    QStringList paragraphs;
    for (const UnitBus bus : std::exchange(m_lost, {})) {
        paragraphs << lossText(bus);
        m_told.insert(bus);
        ++m_timesTold[bus];
    }
    paragraphs << tr("The recording goes on, and the connection is tried again until it works.");
    m_tell(Severity::Warning, paragraphs.join(QStringLiteral("\n\n")));
}

} // namespace vt
