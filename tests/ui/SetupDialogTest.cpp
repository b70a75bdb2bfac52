// SPDX-License-Identifier: GPL-3.0-or-later
// The setup dialog as a person uses it, with keys and mouse, and what becomes of it.
#include "ui/setup/SetupDialog.h"
#include "FakeTimeSource.h"
#include "session/CameraSession.h"
#include "session/UserInteraction.h"
#include "ui/DevicePanel.h"
#include "ui/SetupPanel.h"
#include "ui/setup/AnimalIdActions.h"
#include "ui/setup/CamerasTab.h"
#include "ui/setup/DiagnosticsPanel.h"
#include "ui/setup/RegisterBox.h"
#include "ui/setup/ScheduleGrid.h"
#include "ui/setup/SensorsTab.h"
#include "ui/setup/StimulationTab.h"
#include "ui/setup/VexioCageEditor.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

class User final : public UserInteraction
{
public:
    void notify(Severity, const QString& title, const QString& text) override
    {
        told << title + u": "_s + text;
    }
    void ask(const Question& question, std::function<void(int)> answered) override
    {
        asked << question.text;
        answered(answer);
    }
    void showNotice(const QString&, const QString&, const QString&, const QString&,
                    std::function<void()>) override
    {}
    void closeNotice(const QString&) override {}
    void setRecordingIndicator(const QString&) override {}
    void fatalError(const QString&, const QString&) override {}

    QStringList told;
    QStringList asked;
    int answer = 1;
};

/// A network without cameras, where a search does not end.
class NoCameras final : public CameraManager
{
public:
    void setCredentials(const CameraCredentials&) override {}
    void startScan() override {}
    void startCamera(const CameraOrder&) override {}
    void stopCamera(const QString&) override {}
    void stopAll(std::function<void()> done) override { done(); }
};

class SetupDialogTest : public testing::Test
{
protected:
    SetupDialogTest()
    {
        m_dialog.devicePanel()->setDevices({{u"Dev1"_s, u"USB-6218"_s, u"01"_s, false, false},
                                            {u"sim"_s, u"Simulated"_s, u"03"_s, true, false}});
        QObject::connect(m_dialog.devicePanel(), &DevicePanel::deviceChosen, &m_dialog,
                         [this](const QString& name) {
                             m_dialog.setDevice({name, u"USB-6218"_s, u"01"_s, 4, 1, 100, false, true});
                         });
        m_dialog.openAt(SetupDialog::BasicConfig);
        EXPECT_TRUE(QTest::qWaitForWindowActive(&m_dialog));
    }
    template <typename Widget>
    [[nodiscard]] Widget* find(const char* name) const
    {
        auto* widget = m_dialog.findChild<Widget*>(QLatin1String(name));
        EXPECT_NE(widget, nullptr) << name;
        return widget;
    }
    void click(const char* name) const
    {
        auto* button = find<QAbstractButton>(name);
        ASSERT_TRUE(button->isVisible() && button->isEnabled()) << name;
        // Where its text is, wherever the layout has put the rest.
        QTest::mouseClick(button, Qt::LeftButton, {}, QPoint(8, button->height() / 2));
    }
    void chooseUnit() const
    {
        auto* list = find<QListWidget>("deviceList");
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
    }
    void type(QWidget* field, const QString& text) const
    {
        field->setFocus();
        QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClicks(field, text);
    }
    [[nodiscard]] RecordingSetup setup() const { return m_dialog.setupPanel()->setup(); }

    User m_user;
    SetupDialog m_dialog{m_user, nullptr};
    QSignalSpy m_started{&m_dialog, &SetupDialog::startRequested};
};

} // namespace

TEST_F(SetupDialogTest, KeysAndMouseLeadFromTheOpenDialogToTheSetupOfARecording)
{
    click("dialogStart");
    EXPECT_EQ(m_user.told.takeFirst(),
              u"Not Ready to Record: Select a DAQ device on the Basic Config tab."_s);
    chooseUnit();
    click("dialogStart");
    EXPECT_TRUE(m_user.told.takeFirst().contains(u"Click \"Select File...\" to choose a location."_s));
    m_dialog.setupPanel()->setBasePath(u"/data/night"_s);

    QTest::keyClick(&m_dialog, Qt::Key_4, Qt::ControlModifier);
    click("useUnit");
    EXPECT_TRUE(find<QLabel>("stimulationNotes")->text().contains(u"No cage is enabled"_s));
    click("protocol0");
    click("stimulationPage1");
    auto* cages = find<QTableWidget>("cageTable");
    cages->setFocus();
    cages->setCurrentCell(2, 1);
    QTest::keyClick(cages, Qt::Key_Space);
    auto* duration = find<RegisterBox>("cageValue2");
    type(duration, u"1.3"_s);
    EXPECT_EQ(find<QLabel>("cageStored2")->text(), u"stored as 1.5 s"_s);
    QTest::keyClick(duration, Qt::Key_Tab);
    EXPECT_EQ(duration->value(), 1.5);
    type(find<RegisterBox>("cageValue1"), u"5"_s);
    click("stimulationPage2");
    click("scheduleHours");
    EXPECT_TRUE(find<QLabel>("stimulationNotes")->text().contains(u"no hour"_s));
    auto* grid = m_dialog.findChild<ScheduleGrid*>();
    QTest::mousePress(grid, Qt::LeftButton, {}, grid->cellRect(0, 22).center());
    QTest::mouseMove(grid, grid->cellRect(1, 23).center());
    QTest::mouseRelease(grid, Qt::LeftButton, {}, grid->cellRect(1, 23).center());
    QTest::keyClick(grid, Qt::Key_Home); // Tuesday
    QTest::keyClick(grid, Qt::Key_Space);
    QTest::keyClick(grid, Qt::Key_Right, Qt::ShiftModifier);

    click("dialogStart");
    ASSERT_EQ(m_started.count(), 1);
    EXPECT_FALSE(m_dialog.isVisible());
    const RecordingSetup made = setup();
    ASSERT_TRUE(made.vexio.has_value());
    EXPECT_FALSE(made.dio.has_value());
    EXPECT_EQ(made.basePath, u"/data/night"_s);
    EXPECT_TRUE(made.vexio->enabled);
    EXPECT_EQ(made.vexio->protocol, StimulationProtocol::SleepBased);
    EXPECT_EQ(made.vexio->cageEnableMask, 0b100);
    EXPECT_EQ(made.vexio->cages[2].duration, 3);
    EXPECT_EQ(made.vexio->cages[2].amplitude, 127);
    EXPECT_EQ(made.vexio->cages[1], CageSettings{});
    const std::vector<StimulationWindow> schedule{{QTime(22, 0), QTime(2, 0), {false, true}},
                                                  {QTime(22, 0), QTime(0, 0), {true}}};
    EXPECT_EQ(made.vexio->schedule, schedule);
}

TEST_F(SetupDialogTest, CancelUndoesEverythingAndAsksBeforeChangesAreLost)
{
    chooseUnit();
    RecordingSetup before = setup();
    before.vexio.emplace();
    before.vexio->minIntervalMs = 1234;
    before.vexio->activityThreshold = 0.123456789;
    before.vexio->schedule = {{QTime(20, 30), QTime(6, 0), {true}}};
    m_dialog.setupPanel()->setSetup(before);
    m_dialog.commit();
    m_dialog.sensorsTab()->setSensors({{u"0071"_s, u"0071"_s, u"ttyUSB0"_s, true, true}}, false);
    m_dialog.openAt(SetupDialog::Stimulation);
    EXPECT_FALSE(m_dialog.hasChanges());
    m_dialog.reject();
    EXPECT_TRUE(m_user.asked.isEmpty());

    m_dialog.openAt(SetupDialog::EnvSensors);
    auto* sensors = find<QTableWidget>("sensorTable");
    sensors->setFocus();
    sensors->setCurrentCell(0, 0);
    QTest::keyClick(sensors, Qt::Key_Space);
    EXPECT_EQ(m_dialog.sensorsTab()->enabledChanges().value(u"0071"_s, true), false);
    sensors->item(0, 1)->setText(u"rack A"_s);
    EXPECT_EQ(setup().envSensorLabels.value(u"0071"_s), u"rack A"_s);
    m_dialog.openAt(SetupDialog::Stimulation);
    click("useOutputs");
    m_dialog.setupPanel()->setAnimalIds({u"M1"_s});
    EXPECT_EQ(setup().vexio, before.vexio) << "what was not touched keeps what the fields cannot show";

    QTest::keyClick(&m_dialog, Qt::Key_Escape);
    EXPECT_EQ(m_user.asked.size(), 1);
    EXPECT_TRUE(m_dialog.isVisible()) << "keep editing";
    m_user.answer = 0;
    click("dialogCancel");
    EXPECT_FALSE(m_dialog.isVisible());
    const RecordingSetup after = setup();
    EXPECT_EQ(after.animalIds, before.animalIds);
    EXPECT_EQ(after.vexio, before.vexio);
    EXPECT_FALSE(after.dio.has_value());
    EXPECT_TRUE(after.envSensorLabels.isEmpty());
    EXPECT_TRUE(m_dialog.sensorsTab()->enabledChanges().isEmpty());
    EXPECT_EQ(m_started.count(), 0);
}

TEST_F(SetupDialogTest, AnimalIdsAreShownBeforeTheyAreTaken)
{
    chooseUnit();
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"mice.csv"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("Animal ID,cage\nM1,1\nM1,2\n");
    file.close();
    const auto preview = [this] { return m_dialog.findChild<AnimalIdPreview*>(); };
    for (const auto& [button, taken] : {std::pair{Qt::Key_Escape, false}, std::pair{Qt::Key_Return, true}}) {
        m_dialog.animalIdActions()->importFrom(file.fileName());
        ASSERT_TRUE(QTest::qWaitFor([&] { return preview() && preview()->isVisible(); }));
        const QString findings = preview()->findChild<QLabel*>(u"importFindings"_s)->text();
        EXPECT_TRUE(findings.contains(u"“M1” is on channels 1, 2"_s) && findings.contains(u"2 IDs for 4"_s));
        QTest::keyClick(preview(), button);
        EXPECT_TRUE(QTest::qWaitFor([&] { return !preview(); }));
        EXPECT_EQ(setup().animalIds.first(), taken ? u"M1"_s : u"1"_s);
    }
    EXPECT_EQ(setup().animalIds, (QStringList{u"M1"_s, u"M1"_s, u"3"_s, u"4"_s}));
    m_dialog.animalIdActions()->importFrom(folder.filePath(u"none.xlsx"_s));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !m_user.told.isEmpty(); }));
    EXPECT_TRUE(m_user.told.first().contains(u"none.xlsx"_s));
}

TEST_F(SetupDialogTest, CamerasAreSetUpWithoutTwoOnOneCage)
{
    chooseUnit();
    VideoSettings video;
    video.cameras = {{u"AC-CC-8E-00-00-01"_s, 1, true, 0, 0, 0}};
    RecordingSetup before = setup();
    before.video = video;
    m_dialog.setupPanel()->setSetup(before);
    CameraStatus found;
    found.settings.mac = u"AC-CC-8E-00-00-02"_s;
    found.isOnline = true;
    found.supportedResolutions = QStringList{u"1280x720"_s};
    m_dialog.camerasTab()->setCameras({found});
    int streams = 0;
    m_dialog.camerasTab()->setStreamFactory([&](CameraView&, const QString& mac) {
        EXPECT_EQ(mac, found.settings.mac);
        ++streams;
        return std::make_unique<QObject>();
    });
    m_dialog.openAt(SetupDialog::Video);
    auto* table = find<QTableWidget>("cameraTable");
    ASSERT_EQ(table->rowCount(), 2);
    QTest::keyClick(table, Qt::Key_Down);
    EXPECT_EQ(streams, 1);
    auto* cage = find<QComboBox>("cameraChannel");
    QTest::keyClick(cage, Qt::Key_1);
    ASSERT_EQ(setup().video, video) << "cage 1 has a camera";
    QTest::keyClick(cage, Qt::Key_End);
    ASSERT_EQ(setup().video->cameras.size(), 2U);
    EXPECT_EQ(setup().video->cameras[1].channel, 4);

    QSignalSpy password(m_dialog.camerasTab(), &CamerasTab::passwordChosen);
    auto* field = find<QLineEdit>("cameraPassword");
    QTest::keyClicks(field, u"secret"_s);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(password.count(), 1);
    EXPECT_TRUE(field->text().isEmpty());
    EXPECT_TRUE(m_dialog.isVisible()) << "Enter ends the field, not the dialog";
    for (const QLabel* label : m_dialog.findChildren<QLabel*>())
        EXPECT_FALSE(label->text().contains(u"secret"_s));
}

TEST_F(SetupDialogTest, TheUnitsAnswersFillCagesAndDiagnostics)
{
    StimulationTab* tab = m_dialog.stimulationTab();
    m_dialog.openAt(SetupDialog::Stimulation);
    tab->setPage(StimulationTab::Diagnostics);
    EXPECT_FALSE(find<QPushButton>("testSpeakers")->isEnabled());
    tab->setUnitPresent(true);
    QSignalSpy test(tab->diagnostics(), &DiagnosticsPanel::speakerTestRequested);
    click("testSpeakers");
    EXPECT_EQ(test.count(), 1);
    EXPECT_FALSE(find<QPushButton>("testSpeakers")->isEnabled()) << "one test at a time";
    tab->diagnostics()->showStatus(0x84, 0, 0b0100, 0b11);
    tab->diagnostics()->showComplete(true, u"Diagnostics complete: 2 fault(s) detected"_s);
    auto* speakers = find<QTableWidget>("speakerTable");
    EXPECT_EQ(speakers->item(0, 1)->text(), u"OK (connected)"_s);
    EXPECT_EQ(speakers->item(1, 1)->text(), u"FAULT - Open speaker (disconnected)"_s);
    EXPECT_EQ(speakers->item(4, 1)->text(), u"FAULT - Short to ground/power"_s);
    EXPECT_TRUE(find<QPushButton>("testSpeakers")->isEnabled());

    VexioCageEditor* editor = tab->cageEditor();
    const auto answer = [editor] {
        for (quint8 cage = 0; cage < VexioSettings::CageCount; ++cage)
            editor->showCage(cage, 100, 50, 4, 1, 7);
    };
    answer(); // after a stimulation: counts only
    editor->showReadFailed();
    EXPECT_FALSE(tab->vexio().has_value());
    EXPECT_EQ(find<QLabel>("cageResult")->text(), QString()) << "nobody asked";
    EXPECT_EQ(find<QTableWidget>("cageTable")->item(0, 7)->text(), u"7"_s);
    tab->setPage(StimulationTab::Cages);
    click("readCages");
    editor->showReadFailed();
    EXPECT_EQ(find<QLabel>("cageResult")->text(), u"The unit has not answered. Nothing was changed."_s);
    QObject::connect(editor, &VexioCageEditor::readRequested, editor, answer);
    click("readCages");
    ASSERT_TRUE(tab->vexio().has_value());
    EXPECT_EQ(tab->vexio()->cages[7], (CageSettings{100, 50, 4, 1, false, false, false}));
}

TEST_F(SetupDialogTest, WhatIsReadFromTheUnitWhileARecordingRunsChangesNoSetup)
{
    StimulationTab* tab = m_dialog.stimulationTab();
    m_dialog.openAt(SetupDialog::Stimulation);
    tab->setUnitPresent(true);
    tab->setPage(StimulationTab::Cages);
    const auto answer = [editor = tab->cageEditor()] {
        for (quint8 cage = 0; cage < VexioSettings::CageCount; ++cage)
            editor->showCage(cage, 100, 50, 4, 1, 7);
    };
    click("readCages"); // and the unit does not answer
    m_dialog.setLocked(true);
    EXPECT_EQ(find<QLabel>("cageResult")->text(), u"The reading was broken off."_s);
    answer();
    click("readCages");
    answer();
    EXPECT_EQ(find<QLabel>("cageResult")->text(), u"Counts read. The profiles are those of the setup."_s);
    EXPECT_EQ(tab->vexio().value_or(VexioSettings{}).cages, VexioSettings{}.cages);
    EXPECT_EQ(find<QTableWidget>("cageTable")->item(0, 7)->text(), u"7"_s);
}

TEST_F(SetupDialogTest, CageProfilesCanBeLookedAtButNotChangedWhileARecordingRuns)
{
    VexioSettings settings;
    settings.cages[2].frequency = 40;
    VexioCageEditor* editor = m_dialog.stimulationTab()->cageEditor();
    editor->showSettings(settings);
    const QSignalSpy changed(editor, &VexioCageEditor::changed);
    m_dialog.openAt(SetupDialog::Stimulation);
    click("stimulationPage1");
    auto* cages = find<QTableWidget>("cageTable");
    for (const bool isLocked : {true, false}) {
        m_dialog.setLocked(isLocked);
        cages->setFocus();
        cages->setCurrentCell(2, 1);
        EXPECT_EQ(find<RegisterBox>("cageValue0")->registerValue(), 40);
        QTest::keyClick(cages, Qt::Key_Space); // the tick
        for (auto* box : editor->findChildren<RegisterBox*>()) {
            EXPECT_EQ(box->isEnabled(), !isLocked);
            QTest::keyClick(box, Qt::Key_Up);
        }
        EXPECT_EQ(changed.isEmpty(), isLocked);
    }
    VexioSettings edited;
    editor->collect(edited);
    EXPECT_EQ(edited.cageEnableMask, 0b100);
}

TEST_F(SetupDialogTest, SensorsAreTakenInAndLeftOutWhileARecordingRuns)
{
    SensorsTab* tab = m_dialog.sensorsTab();
    QSignalSpy used(tab, &SensorsTab::useChosen);
    QSignalSpy searched(tab, &SensorsTab::rescanRequested);
    tab->setSensors({{u"0071"_s, u"0071"_s, u"ttyUSB0"_s, false, true}}, false);
    m_dialog.openAt(SetupDialog::EnvSensors);
    m_dialog.setLocked(true);
    auto* sensors = find<QTableWidget>("sensorTable");
    sensors->setFocus();
    sensors->setCurrentCell(0, 0);
    QTest::keyClick(sensors, Qt::Key_Space);
    ASSERT_EQ(used.count(), 1);
    EXPECT_EQ(used.first(), (QVariantList{u"0071"_s, true}));
    EXPECT_FALSE(m_dialog.hasChanges()) << "it is in effect";
    click("rescanSensors");
    EXPECT_EQ(searched.count(), 1);
}

TEST_F(SetupDialogTest, CamerasAreTurnedOffAndTheirPasswordIsSetWhileARecordingRuns)
{
    const QString mac = u"AC-CC-8E-00-00-01"_s;
    m_dialog.hide();
    RecordingSetup before = setup();
    before.video.emplace().cameras = {{mac, 1, true, 0, 0, 0}};
    m_dialog.setupPanel()->setSetup(before);
    m_dialog.openAt(SetupDialog::Video);
    m_dialog.setLocked(true);
    QSignalSpy films(m_dialog.camerasTab(), &CamerasTab::filmChosen);
    EXPECT_FALSE(find<QComboBox>("cameraChannel")->isEnabled());
    click("cameraEnabled");
    EXPECT_EQ(films.value(0), (QVariantList{mac, false}));
    EXPECT_FALSE(m_dialog.hasChanges()) << "it is in effect";
    EXPECT_FALSE(setup().video->cameras[0].enabled);
    QSignalSpy password(m_dialog.camerasTab(), &CamerasTab::passwordChosen);
    QTest::keyClicks(find<QLineEdit>("cameraPassword"), u"secret"_s);
    click("setPassword");
    EXPECT_EQ(password.count(), 1);
    m_dialog.reject();
    EXPECT_FALSE(m_dialog.camerasTab()->settings().cameras[0].enabled) << "it stays so";
}

TEST_F(SetupDialogTest, CamerasAreSearchedForWhileTheirTabIsInFront)
{
    FakeTimeSource time;
    CameraSession cameras(
        time, [] { return std::make_unique<NoCameras>(); }, m_user);
    CamerasTab* tab = m_dialog.camerasTab();
    tab->bind(&cameras);
    m_dialog.openAt(SetupDialog::Video);
    QWidget other;
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    time.advance(60000);
    EXPECT_FALSE(cameras.registry().isScanning());
    m_dialog.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&m_dialog));
    time.advance(30000);
    EXPECT_TRUE(cameras.registry().isScanning());
    tab->bind(nullptr);
}
