// SPDX-License-Identifier: GPL-3.0-or-later
// The parts of the window by themselves: plain values in, key and mouse events, signals out.
#include "ui/ControlBar.h"
#include "ui/DevicePanel.h"
#include "ui/HardwareCard.h"
#include "ui/SetupPanel.h"
#include "ui/StatusStrip.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTableView>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeEdit>
#include <QVBoxLayout>
#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

void show(QWidget& widget)
{
    widget.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&widget));
}

DeviceDetails details(const QString& name, int channels, int animalType)
{
    return {name, u"USB-6218"_s, u"01"_s, channels, animalType, 100, false, true};
}

void clickRow(QListWidget* list, int row)
{
    const QRect rect = list->visualItemRect(list->item(row));
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, rect.center());
}

bool showsText(const QWidget& widget, const QString& text)
{
    for (const QLabel* label : widget.findChildren<QLabel*>())
        if (label->isVisible() && label->text().contains(text))
            return true;
    return false;
}

} // namespace

class DevicePanelTest : public testing::Test
{
protected:
    DevicePanelTest()
    {
        m_panel.setDevices({{u"Dev1"_s, u"USB-6218"_s, u"01"_s, false, false},
                            {u"Dev2"_s, u"USB-6218"_s, u"02"_s, false, true},
                            {u"sim"_s, u"Simulated"_s, u"03"_s, true, false}});
        show(m_panel);
    }
    DevicePanel m_panel;
    QListWidget* m_list = m_panel.findChild<QListWidget*>();
    QSignalSpy m_chosen{&m_panel, &DevicePanel::deviceChosen};
};

TEST_F(DevicePanelTest, AUnitIsChosenByMouseOrKeysUnlessItIsInUse)
{
    clickRow(m_list, 1);
    EXPECT_EQ(m_panel.selectedDevice(), QString());
    clickRow(m_list, 0);
    EXPECT_EQ(m_panel.selectedDevice(), u"Dev1"_s);
    QTest::keyClick(m_list, Qt::Key_Down); // past the one in use
    EXPECT_EQ(m_panel.selectedDevice(), u"sim"_s);
    ASSERT_EQ(m_chosen.count(), 2);
    EXPECT_EQ(m_chosen[1][0].toString(), u"sim"_s);
    EXPECT_TRUE(m_list->item(1)->data(Qt::AccessibleTextRole).toString().contains(u"in use"_s));
    EXPECT_TRUE(m_list->item(2)->data(Qt::AccessibleTextRole).toString().contains(u"simulated"_s));
}

TEST_F(DevicePanelTest, ShowsWhatTheChosenUnitAnswersAndIgnoresLateAnswersOfOthers)
{
    clickRow(m_list, 0);
    clickRow(m_list, 2);
    EXPECT_TRUE(showsText(m_panel, u"Reading the unit"_s));
    m_panel.setDetails(details(u"Dev1"_s, 8, 1));
    EXPECT_TRUE(showsText(m_panel, u"Reading the unit"_s));
    m_panel.setDetails(details(u"sim"_s, 16, 2));
    EXPECT_TRUE(showsText(m_panel, u"16"_s));
    EXPECT_TRUE(showsText(m_panel, u"Rat"_s));
}

TEST_F(DevicePanelTest, AUnitThatDoesNotAnswerCanBeTriedAgain)
{
    clickRow(m_list, 0);
    DeviceDetails silent = details(u"Dev1"_s, 0, 0);
    silent.usable = false;
    m_panel.setDetails(silent);
    EXPECT_TRUE(showsText(m_panel, u"does not answer"_s));
    clickRow(m_list, 0);
    EXPECT_EQ(m_chosen.count(), 2);
    EXPECT_EQ(m_panel.selectedDevice(), u"Dev1"_s);
}

TEST_F(DevicePanelTest, RefreshKeepsTheChoiceWhileItIsOffered)
{
    const QSignalSpy refresh(&m_panel, &DevicePanel::refreshRequested);
    QTest::mouseClick(m_panel.findChild<QPushButton*>(), Qt::LeftButton);
    QTest::keyClick(&m_panel, Qt::Key_F5);
    EXPECT_TRUE(QTest::qWaitFor([&] { return refresh.count() == 2; }));
    clickRow(m_list, 2);
    m_panel.setDevices({{u"sim"_s, u"Simulated"_s, u"03"_s, true, false}});
    EXPECT_EQ(m_panel.selectedDevice(), u"sim"_s);
    EXPECT_EQ(m_chosen.count(), 1);
    m_panel.setDevices({});
    EXPECT_EQ(m_panel.selectedDevice(), QString());
    ASSERT_EQ(m_chosen.count(), 2);
    EXPECT_EQ(m_chosen[1][0].toString(), QString());
    EXPECT_TRUE(showsText(m_panel, u"No unit found"_s));
}

class SetupPanelTest : public testing::Test
{
protected:
    SetupPanelTest() { show(m_panel); }
    void typeAnimalId(int row, const QString& text)
    {
        auto* table = m_panel.findChild<QTableWidget*>();
        table->setFocus();
        table->setCurrentCell(row, 1);
        auto* editor = table->viewport()->findChild<QLineEdit*>();
        if (!editor) {
            QTest::keyClick(table, Qt::Key_F2);
            editor = table->viewport()->findChild<QLineEdit*>();
        }
        ASSERT_NE(editor, nullptr);
        QTest::keyClicks(editor, text);
    }
    QFileDialog* openDialog()
    {
        for (QPushButton* button : m_panel.findChildren<QPushButton*>())
            if (button->text() == u"Select &File..."_s)
                QTest::mouseClick(button, Qt::LeftButton);
        return m_panel.findChild<QFileDialog*>();
    }
    SetupPanel m_panel;
};

TEST_F(SetupPanelTest, OffersTheUnitsChannelsAndFillsInMissingIds)
{
    EXPECT_EQ(m_panel.setup().channelCount, 0);
    m_panel.setDevice(details(u"Dev1"_s, 4, 2));
    EXPECT_EQ(m_panel.setup().channelCount, 4);
    typeAnimalId(1, u" R-7 "_s);
    m_panel.finishEditing(); // as when Start is pressed by a key while the editor is still open
    EXPECT_EQ(m_panel.setup().animalIds, (QStringList{u"1"_s, u"R-7"_s, u"3"_s, u"4"_s}));
    auto* count = m_panel.findChild<QSpinBox*>();
    QTest::keyClick(count, Qt::Key_Down);
    QTest::keyClick(count, Qt::Key_Down);
    QTest::keyClick(count, Qt::Key_Down);
    EXPECT_EQ(m_panel.setup().animalIds, QStringList{u"1"_s});
    QTest::keyClick(count, Qt::Key_Down);
    EXPECT_EQ(m_panel.setup().channelCount, 1) << "at least one channel";
    QTest::keyClick(count, Qt::Key_Up);
    EXPECT_EQ(m_panel.setup().animalIds, (QStringList{u"1"_s, u"R-7"_s})) << "an ID outlives its row";
    m_panel.setDevice(details(u"Dev2"_s, 1, 2));
    EXPECT_EQ(m_panel.setup().channelCount, 1);
}

TEST_F(SetupPanelTest, ASetupThatComesBeforeTheUnitIsKept)
{
    RecordingSetup wanted;
    wanted.channelCount = 3;
    wanted.animalIds = {u"a"_s, u"b"_s, u"c"_s};
    wanted.lightOnset = QTime(6, 30);
    wanted.darkOnset = QTime(18, 15);
    wanted.activityOnly = true;
    wanted.bandpass = true;
    wanted.basePath = u"/data/x"_s;
    m_panel.setSetup(wanted);
    m_panel.setDevice(details(u"Dev1"_s, 8, 1));
    const RecordingSetup setup = m_panel.setup();
    EXPECT_EQ(setup.channelCount, 3);
    EXPECT_EQ(setup.animalIds, wanted.animalIds);
    EXPECT_EQ(setup.lightOnset, wanted.lightOnset);
    EXPECT_EQ(setup.darkOnset, wanted.darkOnset);
    EXPECT_TRUE(setup.activityOnly);
    EXPECT_TRUE(setup.bandpass);
    EXPECT_EQ(setup.basePath, wanted.basePath);
}

TEST_F(SetupPanelTest, OnlyANumberOfChannelsThatWasAskedForStaysWithTheNextUnit)
{
    const auto choose = [this](int channels) {
        m_panel.setDevice({});
        m_panel.setDevice(details(u"Dev1"_s, channels, 1));
        return m_panel.setup().channelCount;
    };
    EXPECT_EQ(choose(8), 8);
    m_panel.setSetup(m_panel.setupToSave()); // as when a setup file is loaded
    EXPECT_EQ(choose(16), 16);
    RecordingSetup wanted = m_panel.setupToSave();
    wanted.channelCount = 12;
    m_panel.setSetup(wanted);
    EXPECT_EQ(choose(8), 8);
    m_panel.setSetup(m_panel.setupToSave());
    EXPECT_EQ(choose(16), 12);
    QTest::keyClick(m_panel.findChild<QSpinBox*>(), Qt::Key_Down);
    EXPECT_EQ(choose(16), 11);
}

TEST_F(SetupPanelTest, OptionsAndTimesAreSetByKeys)
{
    m_panel.setDevice(details(u"Dev1"_s, 2, 1));
    for (QCheckBox* box : m_panel.findChildren<QCheckBox*>())
        QTest::keyClick(box, Qt::Key_Space);
    QTimeEdit* lightOn = m_panel.findChildren<QTimeEdit*>().front();
    lightOn->setFocus();
    lightOn->setCurrentSection(QDateTimeEdit::HourSection);
    QTest::keyClick(lightOn, Qt::Key_Up);
    const RecordingSetup setup = m_panel.setup();
    EXPECT_TRUE(setup.activityOnly && setup.bandpass);
    EXPECT_EQ(setup.lightOnset, QTime(8, 0));
    EXPECT_EQ(setup.darkOnset, QTime(19, 0));
}

TEST_F(SetupPanelTest, TheFileDialogCarriesTheUnitsExtensionAndGivesABasePath)
{
    QSignalSpy chosen(&m_panel, &SetupPanel::basePathChosen);
    for (const auto& [animalType, extension] : {std::pair{1, u"binfb"_s}, std::pair{2, u"bin"_s}}) {
        m_panel.setDevice(details(u"Dev1"_s, 2, animalType));
        m_panel.setSuggestedPath(QDir::temp().filePath(u"last"_s));
        m_panel.setBasePath({});
        const QPointer<QFileDialog> dialog = openDialog();
        ASSERT_NE(dialog, nullptr);
        EXPECT_EQ(dialog->windowTitle(), u"Select new %1 file"_s.arg(extension));
        EXPECT_EQ(dialog->nameFilters(), QStringList{u"Vellumtide data files (*.%1)"_s.arg(extension)});
        EXPECT_EQ(dialog->defaultSuffix(), extension);
        EXPECT_EQ(dialog->directory(), QDir::temp());
        emit dialog->fileSelected(u"/data/night.bin.2."_s + extension);
        ASSERT_TRUE(QTest::qWaitFor([&] { return chosen.count() == 1; }));
        EXPECT_EQ(m_panel.setup().basePath, u"/data/night.bin.2"_s);
        ASSERT_EQ(chosen.count(), 1);
        EXPECT_EQ(chosen.takeFirst()[0].toString(), u"/data/night.bin.2"_s);
        dialog->reject();
        EXPECT_TRUE(QTest::qWaitFor([&] { return dialog.isNull(); }));
    }
}

TEST_F(SetupPanelTest, OnlyWhatTheFileDialogHasAskedAboutMayBeReplaced)
{
    const QTemporaryDir folder;
    const QString there = folder.filePath(u"night.binfb"_s);
    QFile file(there);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    m_panel.setDevice(details(u"Dev1"_s, 2, 1));
    for (const auto& [chosen, agreed] :
         {std::pair{there, there}, std::pair{folder.filePath(u"night.bin"_s), QString()}}) {
        const QPointer<QFileDialog> dialog = openDialog();
        ASSERT_NE(dialog, nullptr);
        emit dialog->fileSelected(chosen);
        dialog->reject();
        EXPECT_TRUE(QTest::qWaitFor([&, wanted = agreed] {
            return dialog.isNull() && m_panel.setup().basePath == folder.filePath(u"night"_s) &&
                   m_panel.setup().replaceable == wanted;
        }));
        m_panel.setBasePath({});
    }
}

TEST_F(SetupPanelTest, ANameThatAnotherKindOfAnimalHasIsRefusedAtOnce)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"night.FeatVecfb"_s)); // a mouse's, without its raw file
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(QByteArray(5000, 'x')) > 0 && file.flush());
    m_panel.setDevice(details(u"Dev1"_s, 2, 2));
    const QPointer<QFileDialog> dialog = openDialog();
    emit dialog->fileSelected(folder.filePath(u"night.bin"_s));
    dialog->reject();
    QPointer<QMessageBox> box;
    ASSERT_TRUE(QTest::qWaitFor([&] { return box = m_panel.findChild<QMessageBox*>(); }));
    EXPECT_TRUE(box->text().contains(u"night.FeatVecfb"_s)) << qPrintable(box->text());
    EXPECT_TRUE(m_panel.setup().basePath.isEmpty());
}

// A raw file that was moved away leaves the rest of its recording, which the file dialog does not ask about.
TEST_F(SetupPanelTest, WhatIsLeftOfARecordingIsAskedAbout)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"night_daq.Tstamp"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("0.033,4\n") > 0 && file.flush());
    const QString chosen = folder.filePath(u"night.binfb"_s);
    m_panel.setDevice(details(u"Dev1"_s, 2, 1));
    for (const bool agrees : {false, true}) {
        const QPointer<QFileDialog> dialog = openDialog();
        ASSERT_NE(dialog, nullptr);
        emit dialog->fileSelected(chosen);
        dialog->reject();
        QPointer<QMessageBox> box;
        ASSERT_TRUE(QTest::qWaitFor([&] { return box = m_panel.findChild<QMessageBox*>(); }));
        EXPECT_TRUE(box->text().contains(u"night_daq.Tstamp"_s));
        for (QAbstractButton* button : box->buttons())
            if (button->text() == (agrees ? u"&Replace"_s : u"&Cancel"_s))
                button->click();
        EXPECT_TRUE(QTest::qWaitFor([&] { return dialog.isNull() && box.isNull(); }));
        EXPECT_EQ(m_panel.setup().basePath, agrees ? folder.filePath(u"night"_s) : QString());
        EXPECT_EQ(m_panel.setup().replaceable, agrees ? chosen : QString());
    }
}

TEST_F(SetupPanelTest, TheAnimalTypeIsAskedForWhereTheDeviceDoesNotKnowIt)
{
    auto* type = m_panel.findChild<QComboBox*>(u"animalType"_s);
    m_panel.setDevice(details(u"Dev1"_s, 8, 2));
    EXPECT_FALSE(type->isVisible());
    m_panel.setDevice({});
    DeviceDetails amplifier = details(u"strivix:/dev/ttyACM0"_s, 2, 1);
    amplifier.kind = DeviceKind::SerialAmplifier;
    m_panel.setDevice(amplifier);
    ASSERT_TRUE(type->isVisible());
    EXPECT_EQ(m_panel.setup().animalType, 1);
    EXPECT_EQ(m_panel.setup().channelCount, 2);
    type->setFocus();
    QTest::keyClick(type, Qt::Key_Down);
    m_panel.findChild<QSpinBox*>()->setFocus();
    QTest::keyClick(m_panel.findChild<QSpinBox*>(), Qt::Key_Down);
    EXPECT_EQ(m_panel.setup().animalType, 2);
    EXPECT_EQ(m_panel.setup().channelCount, 1);
    m_panel.selectFile();
    EXPECT_EQ(m_panel.findChild<QFileDialog*>()->windowTitle(), u"Select new bin file"_s);
    m_panel.setDevice(amplifier); // as it is read again before a recording
    EXPECT_EQ(m_panel.setup().animalType, 2);
    EXPECT_EQ(m_panel.setup().channelCount, 1);
    m_panel.setLocked(true);
    EXPECT_FALSE(type->isEnabled());
}

TEST_F(SetupPanelTest, TheLastNameIsOnlySuggestedNotTaken)
{
    m_panel.setSuggestedPath(u"/data/last"_s);
    EXPECT_EQ(m_panel.setup().basePath, QString());
}

TEST_F(SetupPanelTest, LockedNothingCanBeChanged)
{
    m_panel.setDevice(details(u"Dev1"_s, 2, 1));
    m_panel.setLocked(true);
    for (const QWidget* field : m_panel.findChildren<QAbstractSpinBox*>())
        EXPECT_FALSE(field->isEnabled());
    for (const QWidget* field : m_panel.findChildren<QAbstractButton*>()) {
        const bool changesNothing = field->objectName() == u"saveConfig"_s;
        if (!qobject_cast<QTableWidget*>(field->parentWidget()) && !changesNothing) {
            EXPECT_FALSE(field->isEnabled()) << qPrintable(field->accessibleName());
        }
    }
    auto* table = m_panel.findChild<QTableWidget*>();
    table->setCurrentCell(0, 1);
    QTest::keyClick(table, Qt::Key_F2);
    EXPECT_EQ(table->viewport()->findChild<QLineEdit*>(), nullptr);
    m_panel.selectFile();
    EXPECT_EQ(m_panel.findChild<QFileDialog*>(), nullptr);
}

TEST(ControlBar, EachStateAllowsWhatMakesSense)
{
    ControlBar bar;
    const auto enabled = [&bar](const char* name) {
        return bar.findChild<QPushButton*>(QLatin1String(name))->isEnabled();
    };
    using S = SessionState;
    for (const auto& [state, start, stop, marker] :
         {std::tuple{S::Idle, true, false, false}, std::tuple{S::Preparing, false, true, false},
          std::tuple{S::Prepared, false, true, false}, std::tuple{S::Starting, false, true, false},
          std::tuple{S::Recording, false, true, true}, std::tuple{S::Paused, false, true, false},
          std::tuple{S::Resuming, false, true, false}, std::tuple{S::Stopping, false, false, false}}) {
        bar.setState(state);
        EXPECT_EQ(enabled("startButton"), start) << static_cast<int>(state);
        EXPECT_EQ(enabled("stopButton"), stop) << static_cast<int>(state);
        EXPECT_EQ(enabled("markerButton"), marker) << static_cast<int>(state);
    }
    bar.setState(S::Recording);
    DeviceDetails amplifier;
    amplifier.kind = DeviceKind::SerialAmplifier;
    bar.setDevice(amplifier);
    EXPECT_FALSE(enabled("markerButton"));
    EXPECT_TRUE(bar.findChild<QPushButton*>(u"markerButton"_s)->toolTip().contains(u"no marker file"_s));
    bar.setDevice({});
    EXPECT_TRUE(enabled("markerButton"));
}

TEST(ControlBar, KeyMSetsAMarkerButNotWhileTyping)
{
    QWidget window;
    auto* layout = new QVBoxLayout(&window);
    auto* bar = new ControlBar(&window);
    auto* text = new QLineEdit(&window);
    layout->addWidget(bar);
    layout->addWidget(text);
    show(window);
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    QSignalSpy marker(bar, &ControlBar::markerRequested);
    window.setFocus();
    QTest::keyClick(&window, Qt::Key_M);
    bar->setState(SessionState::Recording);
    QTest::keyClick(&window, Qt::Key_M);
    EXPECT_TRUE(QTest::qWaitFor([&] { return marker.count() >= 1; }));
    text->setFocus();
    QTest::keyClick(text, Qt::Key_M);
    EXPECT_EQ(text->text(), u"m"_s);
    QTest::mouseClick(bar->findChild<QPushButton*>(u"markerButton"_s), Qt::LeftButton);
    EXPECT_EQ(marker.count(), 2) << "one by the key while recording, one by the mouse";
}

TEST(StatusStrip, LossesAndLowDiskChangeTheWords)
{
    StatusStrip strip;
    const auto value = [&strip](const char* name) {
        return strip.findChild<QLabel*>(QLatin1String(name))->text();
    };
    EXPECT_EQ(value("state"), u"Idle"_s);
    EXPECT_EQ(value("elapsed"), u"–"_s);
    SessionStatus status;
    status.state = SessionState::Recording;
    status.basePath = u"/data/night (2)"_s;
    status.segment = 2;
    status.startTime = QDateTime(QDate(2026, 3, 2), QTime(10, 0));
    status.elapsedMs = 61000;
    status.framesAcquired = 1830;
    status.writer.currentDepth = 4;
    status.freeDiskBytes = 100'000'000'000;
    status.bytesPerHour = 1'000'000'000;
    strip.setStatus(status);
    EXPECT_EQ(value("state"), u"Recording"_s);
    EXPECT_EQ(value("elapsed"), u"0:01:01"_s);
    EXPECT_EQ(value("name"), u"night (2)"_s);
    EXPECT_EQ(value("segment"), u"(2)"_s);
    EXPECT_EQ(value("acquired"), u"1,830"_s);
    EXPECT_EQ(value("dropped"), u"0"_s);
    EXPECT_EQ(value("queue"), u"4"_s);
    EXPECT_EQ(value("disk"), u"100 GB, 4 days"_s);
    status.losses.framesDropped = 3;
    status.losses.writesFailed = 1;
    status.freeDiskBytes = 5'000'000'000;
    strip.setStatus(status);
    EXPECT_EQ(value("dropped"), u"3"_s);
    EXPECT_EQ(value("queue"), u"4, data lost"_s);
    EXPECT_EQ(value("disk"), u"5.0 GB, only 5 h"_s);
    status.losses = {};
    status.writer.currentDepth = 1001;
    strip.setStatus(status);
    EXPECT_EQ(value("queue"), u"1,001, filling"_s);
    EXPECT_EQ(value("dropped"), u"0"_s);
    status.losses.bytesDamaged = 5; // by a loose cable of the amplifier: no frame was dropped for it
    strip.setStatus(status);
    EXPECT_EQ(value("dropped"), u"0, faults"_s);
    status.losses = {};
    status.readErrors = 2;
    strip.setStatus(status);
    EXPECT_EQ(value("dropped"), u"0, faults"_s);
}

TEST(StatusStrip, KeepsWhatMattersWhenItIsNarrow)
{
    QWidget window;
    StatusStrip strip(&window);
    const auto isShown = [&strip](const char* name) {
        return strip.findChild<QLabel*>(QLatin1String(name))->isVisible();
    };
    strip.resize(1400, 60);
    show(window);
    EXPECT_TRUE(isShown("acquired") && isShown("segment"));
    strip.resize(strip.minimumSizeHint().width(), 60);
    EXPECT_FALSE(isShown("acquired") || isShown("segment"));
    for (const char* name : {"state", "elapsed", "name", "dropped", "queue", "disk"})
        EXPECT_TRUE(isShown(name)) << name;
    strip.resize(1400, 60);
    EXPECT_TRUE(isShown("acquired") && isShown("segment"));
}

TEST(HardwareCard, SaysWhatIsWrongInWordsAndIsQuietOrAwayOtherwise)
{
    QWidget window;
    QVBoxLayout layout(&window);
    auto* card = new HardwareCard(&window);
    layout.addWidget(card);
    show(window);
    const auto summary = [card] { return card->findChild<QLabel*>(u"hardwareSummary"_s)->text(); };
    EXPECT_FALSE(card->isVisible()) << "nothing is chosen";
    card->setUnit(u"Dev1"_s);
    EXPECT_TRUE(card->isVisible());
    EXPECT_EQ(summary(), u"✓ Dev1: No fault known"_s);
    const QDateTime since(QDate(2026, 3, 2), QTime(14, 32));
    card->setProblems({{HardwareFault::NoPower, false, u"12 V missing"_s, u"Nothing is stimulated."_s, since},
                       {HardwareFault::SensorShorted, true, u"Sensor shorted"_s, u"Channel 2"_s, since}});
    EXPECT_EQ(summary(), u"✗ Dev1: 1 fault, 1 warning"_s);
    const QLabel* line = card->findChild<QLabel*>(u"hardwareProblem"_s);
    EXPECT_TRUE(line->text().startsWith(u"✗ 12 V missing, since"_s)) << line->text().toStdString();
    EXPECT_EQ(line->accessibleName(), u"Fault: 12 V missing"_s);
    EXPECT_TRUE(line->toolTip().contains(u"Nothing is stimulated."_s));
    EXPECT_TRUE(showsText(window, u"⚠ Sensor shorted"_s));
    card->setProblems({});
    EXPECT_FALSE(showsText(window, u"Sensor shorted"_s));
    EXPECT_EQ(summary(), u"✓ Dev1: No fault known"_s);
}

TEST(HardwareCard, TheLightSwitchShowsWhatTheUnitHasTaken)
{
    HardwareCard card;
    card.setUnit(u"Dev1"_s);
    show(card);
    auto* light = card.findChild<QCheckBox*>(u"cageLight"_s);
    const QSignalSpy asked(&card, &HardwareCard::lightToggleRequested);
    EXPECT_FALSE(light->isEnabled());
    card.setLight(true, false);
    QTest::keyClick(light, Qt::Key_Space);
    EXPECT_EQ(asked.count(), 1);
    EXPECT_FALSE(light->isChecked());
    card.setLight(true, true);
    EXPECT_TRUE(light->isChecked());
    EXPECT_EQ(light->text(), u"Cage light: on"_s);
}

TEST_F(DevicePanelTest, SaysThatItSearchesAndCanBeUsedMeanwhile)
{
    m_panel.setSearching(true);
    EXPECT_TRUE(showsText(m_panel, u"Searching…"_s));
    clickRow(m_list, 0);
    EXPECT_EQ(m_panel.selectedDevice(), u"Dev1"_s);
    m_panel.setDevices({});
    EXPECT_TRUE(showsText(m_panel, u"Looking for acquisition units…"_s));
    m_panel.setSearching(false);
    EXPECT_TRUE(showsText(m_panel, u"No unit found."_s));
    EXPECT_FALSE(showsText(m_panel, u"Searching…"_s));
}
