// SPDX-License-Identifier: GPL-3.0-or-later
// What the acquisition unit tells by itself: its push button, the state of its sensors, buses that fail.
#include "session/SessionPrivate.h"

#include "session/LostBuses.h"
#include "session/UserInteraction.h"

#include <QDebug>

namespace vt {

using namespace Qt::StringLiterals;

void SessionPrivate::connectUnitEvents()
{
    QObject::connect(&daqInfo, &DAQInfo::pushButtonPressed, q, [this] {
        if (state != SessionState::Recording)
            return;
        const int event = q->addMarker(u"Push button"_s);
        qInfo().noquote() << "Push button pressed, marker" << event;
    });
    QObject::connect(&daqInfo, &DAQInfo::sensorCountChanged, q, [this](int sensors) {
        qWarning().noquote() << "The unit counts" << sensors << "sensors now";
        const QString found = SessionController::tr("Sensors that the unit finds now: %1.").arg(sensors);
        const QString advice =
            state == SessionState::Idle
                ? SessionController::tr("Select the unit again to record from them.")
                : SessionController::tr("The recording goes on with the channels that it began with.");
        user.showNotice(u"sensorCount"_s, SessionController::tr("Sensors"), found + u"\n\n"_s + advice,
                        SessionController::tr("OK"), [] {});
    });
    QObject::connect(&daqInfo, &DAQInfo::sensorShorted, q, [this](bool isShorted) {
        qWarning().noquote() << (isShorted ? "A sensor is shorted" : "No sensor is shorted any more");
        if (!isShorted) {
            user.closeNotice(u"sensorShorted"_s);
            return;
        }
        user.showNotice(
            u"sensorShorted"_s, SessionController::tr("Sensors"),
            SessionController::tr("At least one sensor is shorted. Its channel has no usable signal "
                                  "until its cable or the sensor has been changed."),
            SessionController::tr("OK"), [] {});
    });
    auto* lostBuses = new LostBuses(
        time,
        [this](Severity severity, const QString& text) {
            user.announce(severity, SessionController::tr("Acquisition Unit"), text);
        },
        q);
    QObject::connect(&daqInfo.stimulation(), &StimulationHardware::busLost, lostBuses, &LostBuses::noteLost);
    QObject::connect(&daqInfo.stimulation(), &StimulationHardware::busRestored, lostBuses,
                     &LostBuses::noteRestored);
    QObject::connect(q, &SessionController::stateChanged, lostBuses, [lostBuses](SessionState next) {
        if (next == SessionState::Recording)
            lostBuses->recordingRuns();
        else
            lostBuses->recordingHalts();
    });
}

void SessionPrivate::watchHealth()
{
    auto watching = std::make_unique<UnitHealth>(daqInfo, time);
    health = watching.get();
    companions.push_back(std::move(watching));
    QObject::connect(q, &SessionController::deviceSelected, health, [this](const DeviceDetails& details) {
        if (state == SessionState::Idle) // else the same unit is only read again
            health->unitSelected();
        if (details.usable && details.kind == DeviceKind::NiUnit)
            health->unitRead(mcu);
    });
}

} // namespace vt
