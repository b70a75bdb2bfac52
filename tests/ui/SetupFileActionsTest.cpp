// SPDX-License-Identifier: GPL-3.0-or-later
// Loading and saving a setup file with the window's buttons, menu entries and dialogs.
#include "WindowHarness.h"

#include "session/SetupFile.h"
#include "ui/SetupFileActions.h"
#include "ui/SetupPanel.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimeEdit>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

QString loadTitle()
{
    return u"Load Configuration"_s;
}

QString saveTitle()
{
    return u"Save Configuration"_s;
}

class SetupFileActionsTest : public testing::Test
{
protected:
    SetupFileActionsTest()
    {
        QFile golden(QStringLiteral(VELLUMTIDE_TEST_DATA "/mice.vtconfig"));
        EXPECT_TRUE(golden.open(QIODevice::ReadOnly));
        m_golden = golden.readAll();
        h.window.setupFileActions()->setFolder(h.folder.path());
    }
    [[nodiscard]] QString written(const QString& name, const QByteArray& content) const
    {
        QFile file(h.folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
        return file.fileName();
    }
    static QByteArray read(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    void click(const QString& name) const { QTest::mouseClick(h.button(name), Qt::LeftButton); }
    [[nodiscard]] QFileDialog* dialog(const QString& title) const
    {
        for (QFileDialog* candidate : h.window.findChildren<QFileDialog*>())
            if (candidate->isVisible() && candidate->windowTitle() == title)
                return candidate;
        return nullptr;
    }
    [[nodiscard]] bool finished() const
    {
        return WindowHarness::waitUntil([this] { return !m_actions.isBusy(); });
    }
    void load(const QString& path)
    {
        m_actions.loadFrom(path);
        EXPECT_TRUE(finished());
    }
    void save(const QString& path)
    {
        m_actions.saveTo(path);
        EXPECT_TRUE(finished());
    }
    /// The text of the visible box, which is closed; empty without one.
    [[nodiscard]] QString boxText(const QString& title) const
    {
        const QPointer<QMessageBox> shown = h.box(title);
        if (!shown)
            return {};
        const QString text = shown->text();
        shown->done(QDialog::Rejected);
        return text;
    }
    /// What a file written by the window holds but for its version and time.
    static QByteArray withoutStamp(QByteArray text)
    {
        const qsizetype from = text.indexOf("\"appVersion\"");
        return text.remove(from, text.indexOf("\"channelCount\"") - from);
    }

    WindowHarness h{{.channels = 3}};
    SetupPanel& m_panel = *h.window.setupPanel();
    SetupFileActions& m_actions = *h.window.setupFileActions();
    QByteArray m_golden;
};

} // namespace

TEST_F(SetupFileActionsTest, WithoutAUnitThereIsNothingToLoadInto)
{
    for (const char* button : {"loadConfig", "saveConfig"}) {
        click(QLatin1String(button));
        EXPECT_EQ(boxText(u"Not Ready to Record"_s), u"Select a DAQ device on the Basic Config tab."_s);
        EXPECT_EQ(h.window.findChild<QFileDialog*>(), nullptr);
    }
}

TEST_F(SetupFileActionsTest, ALoadedSetupIsShownAndSavedWithAllThatIsInIt)
{
    ASSERT_TRUE(h.chooseUnit());
    QSignalSpy folderChosen(&h.window, &MainWindow::configDirChosen);
    click(u"loadConfig"_s);
    QFileDialog* open = dialog(loadTitle());
    ASSERT_NE(open, nullptr);
    EXPECT_EQ(open->nameFilters(), QStringList{u"Vellumtide Config (*.vtconfig)"_s});
    EXPECT_EQ(open->directory(), QDir(h.folder.path()));
    emit open->fileSelected(written(u"mice.vtconfig"_s, m_golden));
    open->reject();
    ASSERT_TRUE(finished());
    EXPECT_EQ(m_panel.setup().animalIds, (QStringList{u"M-101"_s, u"Müsli \"B\" \\ 2"_s, u"3"_s}));
    EXPECT_EQ(m_panel.findChildren<QTimeEdit*>().at(0)->time(), QTime(6, 30, 15));
    EXPECT_TRUE(m_panel.setup().vexio.has_value() && m_panel.setup().video.has_value());
    EXPECT_EQ(boxText(loadTitle()), QString());
    ASSERT_EQ(folderChosen.count(), 1);
    EXPECT_EQ(folderChosen[0][0].toString(), h.folder.path());

    click(u"saveConfig"_s);
    QFileDialog* save = dialog(saveTitle());
    ASSERT_NE(save, nullptr);
    EXPECT_EQ(save->nameFilters(), QStringList{u"Vellumtide Config (*.vtconfig)"_s});
    EXPECT_EQ(save->defaultSuffix(), u"vtconfig"_s);
    emit save->fileSelected(h.folder.filePath(u"copy"_s));
    ASSERT_TRUE(finished());
    EXPECT_EQ(withoutStamp(read(h.folder.filePath(u"copy.vtconfig"_s))), withoutStamp(m_golden));
    EXPECT_EQ(folderChosen.count(), 2);
}

TEST_F(SetupFileActionsTest, EveryFailureIsToldAndChangesNothing)
{
    ASSERT_TRUE(h.chooseUnit());
    const RecordingSetup before = m_panel.setup();
    const QString prefix = u"Could not load the configuration.\n\n"_s;
    load(written(u"a.vtconfig"_s, "{"));
    EXPECT_TRUE(boxText(loadTitle()).startsWith(prefix + u"Not a valid config file: "_s));
    QByteArray other = m_golden;
    load(written(u"b.vtconfig"_s, other.replace("\"channelCount\": 3", "\"channelCount\": 8")));
    EXPECT_EQ(boxText(loadTitle()),
              prefix + u"This config was saved for 8 channel(s); the selected DAQ has 3. Nothing was "
                       "applied."_s);
    EXPECT_EQ(m_panel.setup().animalIds, before.animalIds);
    EXPECT_EQ(m_panel.setup().lightOnset, before.lightOnset);

    const QString nowhere = h.folder.filePath(u"no/a.vtconfig"_s);
    save(nowhere);
    EXPECT_TRUE(
        boxText(saveTitle())
            .startsWith(
                u"Could not save the configuration.\n\nCould not open '%1' for writing: "_s.arg(nowhere)));
}

TEST_F(SetupFileActionsTest, AWrongStimulationUnitIsToldAndTheRestApplied)
{
    ASSERT_TRUE(h.chooseUnit());
    QByteArray other = m_golden;
    load(written(u"a.vtconfig"_s, other.replace("\"waveShape\": 2", "\"waveShape\": 3")));
    EXPECT_EQ(boxText(loadTitle()),
              u"Could not load the configuration.\n\nVEXIO config could not be applied: "
              "vexio.cages[2].waveShape must be a whole number from 0 to 2, not 3.\n\nEverything else was "
              "applied."_s);
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"M-101"_s);
    EXPECT_FALSE(m_panel.setup().vexio.has_value());
}

TEST_F(SetupFileActionsTest, ChangesAndFilesAreReplacedOnlyAfterAQuestion)
{
    ASSERT_TRUE(h.chooseUnit());
    const QString path = written(u"mice.vtconfig"_s, m_golden);
    RecordingSetup typed = m_panel.setup();
    typed.animalIds[0] = u"typed"_s;
    m_panel.setSetup(typed);
    load(path);
    ASSERT_TRUE(h.press(loadTitle(), u"&Cancel"_s));
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"typed"_s);
    load(path);
    ASSERT_TRUE(h.press(loadTitle(), u"&Load"_s));
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"M-101"_s);

    // The file dialog was given "mice" and could not ask about "mice.vtconfig".
    save(h.folder.filePath(u"mice"_s));
    ASSERT_TRUE(h.press(saveTitle(), u"&Cancel"_s));
    EXPECT_EQ(read(path), m_golden);
    save(h.folder.filePath(u"mice"_s));
    ASSERT_TRUE(h.press(saveTitle(), u"&Replace"_s));
    ASSERT_TRUE(finished());
    EXPECT_NE(read(path), m_golden) << "another time of saving";
    load(path);
    EXPECT_TRUE(h.box(loadTitle()).isNull()) << "what was saved is not lost";
}

TEST_F(SetupFileActionsTest, AFileNamedBeforehandIsLoadedOnceTheUnitIsKnown)
{
    QSignalSpy loaded(&m_actions, &SetupFileActions::loaded);
    const QString path = written(u"mice.vtconfig"_s, m_golden);
    m_actions.loadOnceReady(path, [](RecordingSetup& setup) { setup.animalIds[2] = u"given"_s; });
    EXPECT_EQ(loaded.count(), 0);
    ASSERT_TRUE(h.chooseUnit());
    ASSERT_TRUE(finished());
    EXPECT_EQ(loaded.count(), 1);
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"M-101"_s);
    EXPECT_EQ(m_panel.setup().animalIds.at(2), u"given"_s);
    EXPECT_TRUE(h.box(u"Not Ready to Record"_s).isNull());
    m_actions.setDevice(h.session.status().device);
    ASSERT_TRUE(finished());
    EXPECT_EQ(loaded.count(), 1) << "once";
    load(path);
    EXPECT_TRUE(h.box(loadTitle()).isNull()) << "the user changed nothing";
    EXPECT_EQ(m_panel.setup().animalIds.at(2), u"3"_s) << "the adjustment was for the other load";
}

TEST_F(SetupFileActionsTest, AFileNamedBeforehandForAnotherUnitWaitsUntilAnotherIsLoaded)
{
    RecordingSetup eight;
    eight.animalIds = {u"E1"_s, u"E2"_s};
    const QString waiting = written(
        u"eight.vtconfig"_s, formatSetup(setupContents(eight, 8), u"1"_s, QDateTime::currentDateTimeUtc()));
    const QString broken = written(u"broken.vtconfig"_s, "{");
    const QString mice = written(u"mice.vtconfig"_s, m_golden);
    ASSERT_TRUE(h.chooseUnit());
    DeviceDetails other = h.session.status().device;
    const DeviceDetails three = other;
    other.offeredChannels = 8;
    const auto choose = [this](const DeviceDetails& device) {
        m_panel.setDevice({});
        m_panel.setDevice(device);
        m_actions.setDevice(device);
        EXPECT_TRUE(finished());
        return m_panel.setup().animalIds.at(0);
    };
    int adjusted = 0;
    const auto adjust = [&](RecordingSetup&) { ++adjusted; };
    m_actions.loadOnceReady(waiting, adjust);
    ASSERT_TRUE(finished());
    EXPECT_TRUE(boxText(loadTitle()).contains(u"saved for 8 channel(s)"_s));
    EXPECT_EQ(choose(other), u"E1"_s);
    EXPECT_EQ(adjusted, 1);
    EXPECT_EQ(m_panel.setup().channelCount, 8);

    // The next two loads end without their file, and nothing of them is left for the one from the dialog.
    EXPECT_EQ(choose(three), u"E1"_s);
    for (const QString& path : {broken, waiting}) {
        m_actions.loadOnceReady(path, adjust);
        ASSERT_TRUE(finished());
    }
    load(mice);
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"M-101"_s);
    EXPECT_EQ(choose(other), u"M-101"_s);
    EXPECT_EQ(adjusted, 1);
}

TEST_F(SetupFileActionsTest, ARecordingKeepsItsSetup)
{
    ASSERT_TRUE(h.startRecording());
    EXPECT_FALSE(h.button(u"loadConfig"_s)->isEnabled());
    EXPECT_TRUE(h.button(u"saveConfig"_s)->isEnabled());
    for (const QAction* action : h.window.findChildren<QAction*>())
        EXPECT_TRUE(action->text() != u"Load Config…"_s || !action->isEnabled());
    load(written(u"mice.vtconfig"_s, m_golden));
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"1"_s);
}

TEST_F(SetupFileActionsTest, NothingIsReplacedByAFileThatComesTooLateAndWhatIsEditedMeanwhileIsNotSaved)
{
    ASSERT_TRUE(h.chooseUnit());
    RecordingSetup typed = m_panel.setup();
    const QString path = h.folder.filePath(u"mine.vtconfig"_s);
    m_actions.saveTo(path);
    typed.animalIds[0] = u"later"_s;
    m_panel.setSetup(typed);
    ASSERT_TRUE(finished());
    EXPECT_TRUE(m_actions.isChanged()) << "the file has the setup of the moment of saving";
    EXPECT_FALSE(read(path).contains("later"));

    m_actions.acceptPanel();
    m_actions.loadFrom(written(u"first.vtconfig"_s, "{"));
    m_actions.loadFrom(written(u"mice.vtconfig"_s, m_golden));
    m_actions.setLocked(true);
    ASSERT_TRUE(finished());
    EXPECT_TRUE(boxText(loadTitle()).contains(u"The recording began before"_s));
    EXPECT_EQ(boxText(loadTitle()), QString()) << "nothing of the file that was not wanted any more";
    EXPECT_EQ(m_panel.setup().animalIds.at(0), u"later"_s);
}
