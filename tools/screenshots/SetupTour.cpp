// SPDX-License-Identifier: GPL-3.0-or-later
#include "Studio.h"
#include "Tour.h"
#include "ui/DevicePanel.h"
#include "ui/RecordingPages.h"
#include "ui/SetupFileActions.h"
#include "ui/SetupPanel.h"
#include "ui/WindowShortcuts.h"
#include "ui/setup/AnimalIdActions.h"
#include "ui/setup/SensorsTab.h"
#include "ui/setup/SetupDialog.h"
#include "ui/setup/StimulationTab.h"

#include <QAbstractButton>
#include <QAction>
#include <QFile>
#include <QTabBar>
#include <QTabWidget>
#include <array>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

bool write(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

void openTab(Studio& studio, SetupDialog::Tab tab)
{
    SetupDialog* dialog = studio.window.setupDialog();
    dialog->openAt(tab);
    dialog->findChild<QTabWidget*>(u"setupTabs"_s)->tabBar()->setFocus(); // as after a click on the tab
    letEventsRun(50);
}

/// As a computer names the ports of sensors: those of the simulated ones are links in temporary folders.
void nameSensorPorts(Studio& studio)
{
    QList<SensorRow> rows;
    for (const EnvSensorInfo& sensor : studio.sensors.sensors())
        rows << SensorRow{sensor.serialNumber, sensor.label, u"/dev/ttyACM%1"_s.arg(rows.size()),
                          sensor.isEnabled, sensor.isConnected};
    studio.window.setupDialog()->sensorsTab()->setSensors(rows, false);
}

void saveTabs(Studio& studio, const QString& prefix)
{
    SetupDialog* dialog = studio.window.setupDialog();
    openTab(studio, SetupDialog::BasicConfig);
    studio.saveWidget(*dialog, prefix + u"-basic"_s);
    openTab(studio, SetupDialog::EnvSensors);
    studio.saveWidget(*dialog, prefix + u"-sensors"_s, [&] { nameSensorPorts(studio); });
    openTab(studio, SetupDialog::Video);
    studio.saveWidget(*dialog, prefix + u"-cameras"_s, [&] { studio.showCameraPictures(); });
    openTab(studio, SetupDialog::Stimulation);
    static const std::array pages{u"-protocol"_s, u"-cages"_s, u"-schedule"_s, u"-diagnostics"_s};
    for (std::size_t page = 0; page < pages.size(); ++page) {
        dialog->stimulationTab()->setPage(static_cast<StimulationTab::Page>(page));
        letEventsRun(50);
        studio.saveWidget(*dialog, prefix + pages[page]);
    }
    dialog->stimulationTab()->setPage(StimulationTab::Protocol);
}

/// Nothing has been chosen yet.
bool saveFirstLook(Studio& studio)
{
    studio.pass(100);
    studio.save(u"window-idle"_s);
    static const std::array names{u"channel"_s, u"summary"_s, u"environment"_s, u"cameras"_s};
    for (int page = RecordingPages::Channel; page <= RecordingPages::Cameras; ++page) {
        studio.window.pages()->setCurrentIndex(page);
        letEventsRun(50);
        studio.save(u"empty-"_s + names[static_cast<std::size_t>(page - 1)]);
    }
    studio.window.pages()->setCurrentIndex(RecordingPages::Live);
    openTab(studio, SetupDialog::BasicConfig);
    studio.saveWidget(*studio.window.setupDialog(), u"setup-nothing-chosen"_s);
    studio.window.setupDialog()->reject();
    studio.button("startButton")->click();
    return studio.saveBox(u"Not Ready to Record"_s, u"Select a DAQ device"_s, u"notice-no-device"_s, u"OK"_s);
}

/// The list with what this computer does not have: a unit that another instance uses, a serial amplifier.
bool saveOtherDevices(Studio& studio)
{
    auto* panel = studio.window.findChild<DevicePanel*>();
    DeviceEntry amplifier{u"strivix:/dev/ttyACM2"_s, u"USB serial device"_s, u"5583231353735190F1C1"_s,
                          false};
    amplifier.kind = DeviceKind::SerialAmplifier;
    panel->setDevices({{u"Dev1"_s, u"USB-6218"_s, u"01A2B3C4"_s, false, true, 4711}, amplifier});
    DeviceDetails details{amplifier.name, u"Strivix"_s, amplifier.serial, 2, 0, 0, false, true};
    details.kind = DeviceKind::SerialAmplifier;
    panel->blockSignals(true); // nothing answers at that port
    panel->chooseDevice(amplifier.name);
    panel->blockSignals(false);
    panel->setDetails(details);
    studio.window.setupPanel()->setDevice(details);
    openTab(studio, SetupDialog::BasicConfig);
    studio.saveWidget(*studio.window.setupDialog(), u"setup-amplifier"_s);
    studio.window.setupPanel()->setDevice({});
    panel->setDevices(studio.session.devices());
    studio.window.setupDialog()->reject();
    return true;
}

bool saveImport(Studio& studio)
{
    if (!write(u"animals.csv"_s,
               "Animal,Sex\nM-201,f\nM-202,m\n,m\nM-204,f\nM-202,f\nM-206,m\nM-207,f\nM-208,f\n"
               "M-209,m\n"))
        return false;
    openTab(studio, SetupDialog::BasicConfig);
    AnimalIdActions* ids = studio.window.setupDialog()->animalIdActions();
    ids->importFrom(u"animals.csv"_s);
    const auto preview = [&] { return studio.window.findChild<AnimalIdPreview*>(); };
    if (!studio.reach([&] { return preview() != nullptr && preview()->isVisible(); }))
        return false;
    studio.saveWidget(*preview(), u"setup-import"_s);
    preview()->reject();
    ids->importFrom(u"missing.xlsx"_s);
    return studio.saveBox(u"Import Animal IDs"_s, u"missing.xlsx"_s, u"notice-import-failed"_s, u"OK"_s);
}

bool saveSetupFiles(Studio& studio)
{
    SetupFileActions* files = studio.window.setupFileActions();
    files->saveTo(u"mice.vtconfig"_s);
    files->saveTo(u"mice"_s); // asks when the first is there
    if (!studio.saveBox(u"Save Configuration"_s, u"mice.vtconfig"_s, u"question-replace-config"_s,
                        u"&Cancel"_s))
        return false;
    QStringList ids = studio.window.setupPanel()->animalIds();
    ids[0] = u"M-111"_s;
    studio.window.setupPanel()->setAnimalIds(ids);
    files->loadFrom(u"mice.vtconfig"_s);
    if (!studio.saveBox(u"Load Configuration"_s, u"mice.vtconfig"_s, u"question-load-config"_s, u"&Load"_s))
        return false;
    if (!write(u"other.vtconfig"_s, "{\"payloadType\": \"other\"}"))
        return false;
    files->loadFrom(u"other.vtconfig"_s);
    return studio.saveBox(u"Load Configuration"_s, u"Could not load"_s, u"notice-load-failed"_s, u"OK"_s);
}

bool saveDiscard(Studio& studio)
{
    openTab(studio, SetupDialog::BasicConfig);
    QStringList ids = studio.window.setupPanel()->animalIds();
    ids[0] = u"M-111"_s;
    studio.window.setupPanel()->setAnimalIds(ids);
    studio.window.setupDialog()->reject();
    return studio.saveBox(u"Setup"_s, u"lose the changes"_s, u"question-discard"_s, u"&Lose Changes"_s);
}

bool saveAutoResume(Studio& studio)
{
    for (QAction* action : studio.window.findChildren<QAction*>())
        if (action->text() == u"Auto-Resume on DAQ &Disconnect"_s) {
            action->trigger();
            return studio.saveBox(u"Restart Required"_s, u"disabled"_s, u"notice-restart"_s, u"OK"_s);
        }
    return false;
}

bool saveShortcuts(Studio& studio)
{
    ShortcutSheet sheet(windowShortcuts(), &studio.window);
    sheet.show();
    studio.saveWidget(sheet, u"shortcuts"_s);
    return true;
}

} // namespace

bool tourSetup(Studio& studio)
{
    studio.cameras.registry().rescan();
    return studio.step("nothing chosen", [&] { return saveFirstLook(studio); }) &&
           studio.step("other devices", [&] { return saveOtherDevices(studio); }) &&
           studio.step("choice of the unit", [&] { return studio.chooseUnit(); }) &&
           studio.step("no file name",
                       [&] {
                           studio.button("startButton")->click();
                           return studio.saveBox(u"Not Ready to Record"_s, u"Select File"_s,
                                                 u"notice-no-file"_s, u"OK"_s);
                       }) &&
           studio.step("setup",
                       [&] {
                           studio.setUp(u"cohort7_night2"_s, true);
                           return studio.reach([&] { return studio.sensors.sensors().size() == 2; });
                       }) &&
           studio.step("import of animal IDs", [&] { return saveImport(studio); }) &&
           studio.step("tabs of the setup",
                       [&] {
                           saveTabs(studio, u"setup"_s);
                           studio.window.setupDialog()->commit();
                           studio.window.setupDialog()->reject();
                           studio.save(u"window-ready"_s);
                           return true;
                       }) &&
           studio.step("setup files", [&] { return saveSetupFiles(studio); }) &&
           studio.step("changes to lose", [&] { return saveDiscard(studio); }) &&
           studio.step("auto-resume", [&] { return saveAutoResume(studio); }) &&
           studio.step("shortcuts", [&] { return saveShortcuts(studio); });
}

} // namespace vt
