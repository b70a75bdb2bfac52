// SPDX-License-Identifier: GPL-3.0-or-later
#include "Studio.h"
#include "Tour.h"
#include "simulation/EnviroRoom.h"
#include "ui/EnvironmentView.h"
#include "ui/LiveTraces.h"
#include "ui/MarkerPanel.h"
#include "ui/RecordingPages.h"
#include "ui/SummaryView.h"
#include "ui/setup/SetupDialog.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QTabWidget>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int SettleMs = 300;

void openPage(Studio& studio, RecordingPages::Page page)
{
    studio.window.pages()->setCurrentIndex(page);
    letEventsRun(SettleMs);
}

/// The sensors are read in real time, so that most of the studio's day passes without them: their room is
/// asked what they would have read.
void fillEnvironment(Studio& studio)
{
    EnvironmentView* view = studio.window.pages()->environment();
    const QDateTime now = studio.time.now();
    constexpr int stepSeconds = 10;
    constexpr int daySeconds = 24 * 3600;
    quint64 seed = 1;
    for (const EnvSensorInfo& sensor : studio.sensors.sensors()) {
        EnviroRoom room(seed++);
        for (int before = daySeconds; before > 0; before -= stepSeconds) {
            const QDateTime when = now.addSecs(-before);
            const RoomClimate climate = room.at(when);
            const bool isUnplugged = seed == 3 && before > 9 * 3600 && before < 11 * 3600;
            if (!isUnplugged)
                view->addReading(sensor.serialNumber,
                                 {when.toMSecsSinceEpoch(), climate.temperatureC, climate.humidityPercent,
                                  climate.lightLux, climate.pressureHpa});
        }
    }
    view->setHours(24);
}

void savePages(Studio& studio)
{
    LiveTraces* live = studio.window.liveTraces();
    openPage(studio, RecordingPages::Live);
    live->setTimeBase(30);
    studio.save(u"window-signals"_s);
    live->setView(traceview::View::BreathRate);
    letEventsRun(SettleMs);
    studio.save(u"window-breath-rate"_s);
    live->setView(traceview::View::Power);
    letEventsRun(SettleMs);
    studio.save(u"window-power"_s);
    live->setView(traceview::View::Signal);
    letEventsRun(SettleMs);
    live->setFrozen(true);
    studio.save(u"window-frozen"_s);
    live->setFrozen(false);
    openPage(studio, RecordingPages::Channel);
    studio.save(u"window-channel"_s);
    openPage(studio, RecordingPages::Cameras);
    studio.save(u"window-cameras"_s, [&] { studio.showCameraPictures(); });
    openPage(studio, RecordingPages::Live);
}

bool saveMarkers(Studio& studio)
{
    for (const char* label : {"cage 3 cleaned", "food", "technician in the room"}) {
        studio.button("markerButton")->click();
        const int event = static_cast<int>(studio.session.markers().size());
        if (!studio.session.setMarkerLabel(event, QLatin1String(label)) || !studio.record(20))
            return false;
    }
    auto* markers = studio.window.findChild<MarkerPanel*>();
    markers->editNewest();
    studio.save(u"window-marker-editing"_s);
    auto* editor = markers->findChild<QLineEdit*>();
    if (!editor)
        return false;
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QCoreApplication::sendEvent(editor, &escape);
    return true;
}

bool saveFaults(Studio& studio)
{
    const struct
    {
        const char* on;
        const char* off;
        const char* title;
        const char* text;
        const char* name;
    } faults[]{
        {"vexio overtemp on", "vexio overtemp off", "Stimulation", "too hot", "notice-too-hot"},
        {"vexio 12v off", "vexio 12v on", "Stimulation", "12 V", "notice-no-power"},
        {"sensors 6", "sensors 8", "Sensors", "now: 6", "notice-sensor-count"},
        {"shorted 4", "shorted 0", "Sensors", "shorted", "notice-sensor-shorted"},
    };
    for (const auto& fault : faults)
        if (!studio.fault(fault.on) || !studio.saveBox(QLatin1String(fault.title), QLatin1String(fault.text),
                                                       QLatin1String(fault.name), u"OK"_s))
            return false;
    studio.save(u"window-hardware-faults"_s);
    for (const auto& fault : faults)
        if (!studio.fault(fault.off))
            return false;
    return true;
}

bool saveSensorGone(Studio& studio)
{
    studio.simulatedSensors.front()->unplug();
    if (!studio.saveBox(u"Environmental Sensors"_s, {}, u"notice-sensor-unplugged"_s, u"OK"_s))
        return false;
    return studio.simulatedSensors.front()->plugIn() &&
           studio.saveBox(u"Environmental Sensors"_s, u"is back"_s, u"notice-sensor-back"_s, u"OK"_s);
}

bool savePause(Studio& studio)
{
    studio.unit.unplug();
    if (!studio.reach([&] { return studio.box(u"DAQ Disconnected"_s) != nullptr; }))
        return false;
    studio.save(u"window-paused"_s);
    studio.saveWidget(*studio.box(u"DAQ Disconnected"_s), u"notice-disconnected"_s);
    studio.unit.replug();
    return studio.saveBox(u"Recording Resumed"_s, {}, u"notice-resumed"_s, u"OK"_s) && studio.record(60);
}

bool saveEnd(Studio& studio)
{
    openPage(studio, RecordingPages::Live);
    studio.button("stopButton")->click();
    QMessageBox* question = studio.box(u"Stop Recording"_s);
    if (!question)
        return false;
    studio.saveWidget(*question, u"question-stop"_s);
    if (!Studio::press(question, u"&Yes"_s) || !studio.reachState(SessionState::Idle))
        return false;
    studio.save(u"window-ended"_s);
    studio.button("reportButton")->click();
    auto* report = studio.window.findChild<QDialog*>(u"reportDialog"_s);
    if (!report)
        return false;
    studio.saveWidget(*report, u"report"_s);
    return report->close();
}

/// With the lid's warning, which comes at the start only.
bool startPastLid(Studio& studio)
{
    studio.setLidStops(true);
    studio.button("startButton")->click();
    const bool isAsked =
        studio.saveBox(u"Closing the lid will stop recording"_s, {}, u"question-lid"_s, u"Continue"_s);
    studio.setLidStops(false);
    return isAsked && studio.reachState(SessionState::Recording);
}

} // namespace

bool tourDays(Studio& studio, int days)
{
    constexpr int daySeconds = 24 * 3600;
    return studio.step("recording of days", [&] {
        studio.setUp(u"cohort7_week1"_s, false);
        return studio.start() && studio.record(days * daySeconds);
    }) && studio.step("summaries", [&] {
        openPage(studio, RecordingPages::Summary);
        studio.save(u"window-summary"_s);
        studio.window.findChild<SummaryView*>()->showChannel(1);
        letEventsRun(SettleMs);
        studio.save(u"window-days"_s);
        fillEnvironment(studio);
        openPage(studio, RecordingPages::Environment);
        studio.save(u"window-environment"_s);
        return studio.stop();
    });
}

bool tourRecording(Studio& studio)
{
    return studio.step("start past the lid's warning", [&] {
        studio.setUp(u"cohort7_night2"_s, true);
        return startPastLid(studio) && studio.record(12 * 60);
    }) && studio.step("markers", [&] {
        return saveMarkers(studio);
    }) && studio.step("pages of a recording", [&] {
        savePages(studio);
        return true;
    }) && studio.step("setup while a recording runs", [&] {
        studio.window.setupDialog()->openAt(SetupDialog::BasicConfig);
        studio.saveWidget(*studio.window.setupDialog(), u"setup-locked"_s);
        studio.window.setupDialog()->reject();
        return true;
    }) && studio.step("faults of the hardware", [&] {
        return saveFaults(studio);
    }) && studio.step("sensor unplugged", [&] {
        return saveSensorGone(studio);
    }) && studio.step("pause and resume", [&] {
        return savePause(studio);
    }) && studio.step("end", [&] { return saveEnd(studio); });
}

} // namespace vt
