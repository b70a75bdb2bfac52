// SPDX-License-Identifier: GPL-3.0-or-later
// The whole window: real clicks and keys, a real session, a simulated unit, stepped time.
#include "WindowHarness.h"

#include "platform/DaqClaim.h"
#include "session/SessionExtensions.h"
#include "session/StepHistory.h"
#include "ui/EmptyState.h"
#include "ui/LiveTraces.h"
#include "ui/RecordingPages.h"
#include "ui/SetupPanel.h"
#include "ui/SleepTable.h"
#include "ui/Theme.h"
#include "ui/setup/SetupDialog.h"

#include <QAccessible>
#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QMenuBar>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QStatusBar>
#include <QTabWidget>
#include <QTableView>
#include <QTest>
#include <gtest/gtest.h>
#include <map>
#include <utility>
#include <vector>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

QString stopTitle()
{
    return u"Stop Recording"_s;
}

/// Films that are open from the end of a recording until they are closed here.
struct Films
{
    void close(quint64 lostEnds)
    {
        isOpen = false;
        gaps = lostEnds;
        for (const auto& done : std::exchange(waiting, {}))
            done();
    }
    bool isOpen = false;
    quint64 gaps = 0;
    std::vector<std::function<void()>> waiting;
};

class FilmCompanion final : public RecordingCompanion
{
public:
    explicit FilmCompanion(Films& films) : m_films(films) {}
    void recordingStopped() override { m_films.isOpen = true; }
    void report(SessionStatus& status) const override { status.losses.cameraGaps += m_films.gaps; }
    void whenClosed(const std::function<void()>& done) override
    {
        if (m_films.isOpen)
            m_films.waiting.push_back(done);
        else
            done();
    }

private:
    Films& m_films;
};

} // namespace

TEST(MainWindow, RecordsFromTheFirstClickToTheReport)
{
    WindowHarness h;
    EXPECT_TRUE(h.window.liveTraces()->emptyState()->isVisible());
    ASSERT_TRUE(h.startRecording());
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.label(u"state"_s) == u"Recording"_s; }));
    EXPECT_EQ(h.label(u"recordingIndicator"_s), u"●  Vellumtide is recording"_s);
    EXPECT_EQ(h.window.windowTitle(), u"run – Vellumtide"_s);
    EXPECT_FALSE(h.window.liveTraces()->emptyState()->isVisible());
    EXPECT_TRUE(h.window.liveTraces()->isRefreshing());
    EXPECT_FALSE(h.button(u"startButton"_s)->isEnabled());

    ASSERT_EQ(h.deliver(300), 300);
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.session.history().totals(0).steps == 2; }))
        << "10 s give two scored steps: after 8 s and after 10 s";
    QTest::keyClick(&h.window, Qt::Key_3, Qt::AltModifier);
    const auto* sleep = h.window.findChild<SleepTable*>()->findChild<QTableView*>();
    EXPECT_EQ(sleep->model()->rowCount(), 2);

    QTest::keyClick(&h.window, Qt::Key_M);
    QFile markers(h.folder.filePath(u"run_Marks.csv"_s));
    ASSERT_TRUE(markers.open(QIODevice::ReadOnly));
    EXPECT_TRUE(WindowHarness::waitUntil([&] {
        markers.seek(0);
        return markers.readAll().count('\n') == 2;
    })) << "the title and one marker";

    QTest::mouseClick(h.button(u"stopButton"_s), Qt::LeftButton);
    ASSERT_TRUE(h.press(stopTitle(), u"&Yes"_s));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.label(u"state"_s) == u"Idle"_s; }));
    EXPECT_EQ(h.label(u"recordingIndicator"_s), QString());
    EXPECT_FALSE(h.window.liveTraces()->isRefreshing());
    EXPECT_TRUE(h.label(u"reportEnd"_s).startsWith(u"Stopped after 0:00:"_s));
    EXPECT_EQ(h.label(u"reportVerdict"_s), u"✓ Nothing is missing"_s);
    EXPECT_EQ(h.window.setupPanel()->basePath(), QString()) << "the next recording must not replace this one";
}

TEST(MainWindow, StartWithoutAUnitOrANameSaysWhatIsMissing)
{
    WindowHarness h;
    const auto pressStart = [&] {
        h.window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&h.window));
        QTest::keyClick(&h.window, Qt::Key_R, Qt::ControlModifier);
        EXPECT_TRUE(WindowHarness::waitUntil([&] { return !h.box(u"Not Ready to Record"_s).isNull(); }));
        const QPointer<QMessageBox> shown = h.box(u"Not Ready to Record"_s);
        const QString text = shown ? shown->text() : QString();
        EXPECT_TRUE(h.press(u"Not Ready to Record"_s, u"OK"_s) ||
                    h.press(u"Not Ready to Record"_s, u"&OK"_s));
        EXPECT_TRUE(WindowHarness::waitUntil([&] { return shown.isNull(); }));
        return text;
    };
    EXPECT_EQ(pressStart(), u"Select a DAQ device on the Basic Config tab."_s);
    ASSERT_TRUE(h.chooseUnit());
    EXPECT_EQ(pressStart(), u"Choose where to save the recording on the Basic Config tab.\nClick \"Select "
                            u"File...\" to choose a location."_s);
    EXPECT_EQ(h.session.state(), SessionState::Idle);
    EXPECT_TRUE(h.window.liveTraces()->emptyState()->isVisible());
}

TEST(MainWindow, ClosingWhileRecordingAsksAndAStayIsForgotten)
{
    WindowHarness h;
    QSignalSpy closed(&h.window, &MainWindow::geometryToKeep);
    ASSERT_TRUE(h.startRecording());
    EXPECT_FALSE(h.window.close());
    const QPointer<QMessageBox> question = h.box(stopTitle());
    ASSERT_FALSE(question.isNull());
    QTest::keyClick(question, Qt::Key_Escape);
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return question.isNull(); }));
    EXPECT_EQ(h.session.state(), SessionState::Recording);
    EXPECT_TRUE(h.window.isVisible());
    EXPECT_EQ(h.deliver(30), 30);

    // A stop by the button later is a stop, not a late close.
    QTest::mouseClick(h.button(u"stopButton"_s), Qt::LeftButton);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.press(stopTitle(), u"&Yes"_s); }));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Idle; }));
    EXPECT_TRUE(h.window.isVisible());
    EXPECT_EQ(closed.count(), 0);
    EXPECT_TRUE(h.window.close());
    ASSERT_EQ(closed.count(), 1);
    EXPECT_FALSE(closed[0][0].toByteArray().isEmpty());
}

TEST(MainWindow, ClosingWhileRecordingEndsTheRecordingFirst)
{
    WindowHarness h;
    ASSERT_TRUE(h.startRecording());
    EXPECT_FALSE(h.window.close());
    EXPECT_FALSE(h.window.close()) << "impatience asks no second question";
    int questions = 0;
    for (const QMessageBox* box : h.window.findChildren<QMessageBox*>())
        questions += box->isVisible() ? 1 : 0;
    EXPECT_EQ(questions, 1);
    EXPECT_TRUE(h.window.isVisible());
    ASSERT_TRUE(h.press(stopTitle(), u"&Yes"_s));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return !h.window.isVisible(); }));
    EXPECT_EQ(h.session.state(), SessionState::Idle);
    EXPECT_EQ(h.session.lastEndReason(), EndReason::UserStop);
}

// It went at once, and with it whatever kept the computer awake and would have told of a film without an end.
TEST(MainWindow, ClosesWithTheFilmsAndStaysWhenOneHasLostItsEnd)
{
    struct Case
    {
        quint64 lostEnds;
        bool isUnattended;
        bool stays;
    };
    for (const Case& each : {Case{0, false, false}, Case{1, false, true}, Case{1, true, false}}) {
        Films films;
        WindowHarness h;
        h.session.addCompanion(std::make_unique<FilmCompanion>(films));
        ASSERT_TRUE(h.startRecording());
        EXPECT_FALSE(h.window.close());
        ASSERT_TRUE(h.press(stopTitle(), u"&Yes"_s));
        ASSERT_TRUE(WindowHarness::waitUntil([&] { return !films.waiting.empty(); }));
        if (each.isUnattended)
            h.window.closeUnattended();
        EXPECT_FALSE(h.window.close());
        EXPECT_TRUE(h.window.isVisible());
        EXPECT_EQ(h.window.statusBar()->currentMessage(), u"The window closes when the films are closed"_s);
        EXPECT_EQ(films.waiting.size(), 1U);
        films.close(each.lostEnds);
        EXPECT_EQ(h.window.isVisible(), each.stays);
        EXPECT_TRUE(h.window.close());
    }
}

TEST(MainWindow, ClosingWhileTheRecordingIsBeingClosedNeedsNoSecondTry)
{
    WindowHarness h;
    ASSERT_TRUE(h.startRecording());
    h.session.stop(EndReason::UserStop);
    ASSERT_EQ(h.session.state(), SessionState::Stopping);
    EXPECT_FALSE(h.window.close());
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return !h.window.isVisible(); }));
    EXPECT_EQ(h.session.state(), SessionState::Idle);
}

TEST(MainWindow, ACloseThatWasNotConfirmedIsForgottenWhenTheRecordingEndsByItself)
{
    WindowHarness h;
    ASSERT_TRUE(h.startRecording());
    EXPECT_FALSE(h.window.close());
    const QPointer<QMessageBox> question = h.box(stopTitle());
    ASSERT_FALSE(question.isNull());
    h.unplug();
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return !h.box(u"DAQ Disconnected"_s).isNull(); }));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return question.isNull(); })) << "nothing is left to stop";
    EXPECT_EQ(h.session.lastEndReason(), EndReason::DeviceLost);
    EXPECT_TRUE(h.window.isVisible());
    EXPECT_FALSE(h.box(u"DAQ Disconnected"_s).isNull()) << "the user has not seen it yet";
    EXPECT_TRUE(h.window.close());
}

TEST(MainWindow, AStopBeforeTheRecordingBeganUsesUpNoName)
{
    WindowHarness h;
    ASSERT_TRUE(h.startRecording());
    h.session.stop(EndReason::UserStop);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.window.setupPanel()->basePath().isEmpty(); }));
    const auto report = [&h] {
        QTest::mouseClick(h.button(u"reportButton"_s), Qt::LeftButton);
        return h.window.findChild<QPlainTextEdit*>()->toPlainText();
    };
    const QString first = report();
    EXPECT_TRUE(first.contains(u"Lost: nothing"_s));
    const QString second = h.folder.filePath(u"second"_s);
    h.window.setupPanel()->setBasePath(second);
    QTest::mouseClick(h.button(u"startButton"_s), Qt::LeftButton);
    ASSERT_EQ(h.session.state(), SessionState::Preparing);
    h.session.stop(EndReason::UserStop);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Idle; }));
    EXPECT_EQ(h.window.setupPanel()->basePath(), second);
    EXPECT_EQ(report(), first) << "still the last recording";
}

TEST(MainWindow, AUnitThatAnotherInstanceGaveUpCanBeChosenAfterARefresh)
{
    const QTemporaryDir runtime; // of this test's own instances
    const QByteArray runtimeBefore = qgetenv("XDG_RUNTIME_DIR");
    const QByteArray temporaryBefore = qgetenv("TMPDIR");
    for (const char* name : {"XDG_RUNTIME_DIR", "TMPDIR"})
        qputenv(name, runtime.path().toLocal8Bit());
    DaqClaim ours;
    DaqClaim theirs;
    WindowHarness h({.claim = &ours});
    const auto* list = h.window.findChild<QListWidget*>(u"deviceList"_s);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return list->count() == 1; }));
    const auto canBeChosen = [&] { return list->item(0)->flags().testFlag(Qt::ItemIsEnabled); };
    EXPECT_TRUE(canBeChosen());

    QTest::keyClick(&h.window, Qt::Key_1, Qt::ControlModifier);
    ASSERT_TRUE(theirs.tryClaim(h.session.devices().at(0).serial)); // after the list was shown
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return !canBeChosen(); })) << "it was refused";
    theirs.release();
    QTest::keyClick(h.window.setupDialog(), Qt::Key_F5);
    EXPECT_TRUE(WindowHarness::waitUntil(canBeChosen));
    EXPECT_TRUE(h.chooseUnit());
    qputenv("XDG_RUNTIME_DIR", runtimeBefore);
    qputenv("TMPDIR", temporaryBefore);
}

TEST(MainWindow, ADisconnectShowsTheNoticeWhoseButtonEndsTheRecording)
{
    WindowHarness h({.channels = 2, .autoResume = true});
    ASSERT_TRUE(h.startRecording());
    h.unplug();
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return !h.box(u"DAQ Disconnected"_s).isNull(); }));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.label(u"state"_s) == u"Paused"_s; }));
    EXPECT_EQ(h.label(u"tracesNote"_s), u"Paused, waiting for the unit"_s);
    EXPECT_FALSE(h.window.liveTraces()->isRefreshing());
    ASSERT_TRUE(h.press(u"DAQ Disconnected"_s, u"Stop Recording"_s));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Idle; }));
    EXPECT_TRUE(h.box(u"DAQ Disconnected"_s).isNull());
}

TEST(MainWindow, AResumeGoesOnShowingSignalsInTheNextSegment)
{
    WindowHarness h({.channels = 2, .autoResume = true});
    ASSERT_TRUE(h.startRecording());
    h.unplug();
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Paused; }));
    h.unit.replug();
    ASSERT_TRUE(WindowHarness::waitUntil([&] {
        h.time.advance(100);
        return h.session.state() == SessionState::Recording;
    }));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.label(u"segment"_s) == u"(1)"_s; }));
    EXPECT_TRUE(h.window.liveTraces()->isRefreshing());
    EXPECT_EQ(h.label(u"tracesNote"_s), QString());
    EXPECT_FALSE(h.box(u"Recording Resumed"_s).isNull());
}

TEST(MainWindow, TheAutoResumeEntryPassesTheChoiceOnAndSaysWhenItCounts)
{
    WindowHarness h;
    QSignalSpy chosen(&h.window, &MainWindow::autoResumeChosen);
    QAction* entry = nullptr;
    for (QAction* action : h.window.findChildren<QAction*>())
        if (action->text() == u"Auto-Resume on DAQ &Disconnect"_s)
            entry = action;
    ASSERT_NE(entry, nullptr);
    entry->trigger();
    ASSERT_EQ(chosen.count(), 1);
    EXPECT_TRUE(chosen[0][0].toBool());
    ASSERT_FALSE(h.box(u"Restart Required"_s).isNull());
    EXPECT_EQ(h.box(u"Restart Required"_s)->text(),
              u"Auto-resume on DAQ disconnect has been enabled.\n\nRestart Vellumtide for the change to take "
              u"effect."_s);
}

namespace {

QString nameOf(QWidget* widget)
{
    return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
}

} // namespace

TEST(MainWindow, EveryControlHasAToolTipAndAName)
{
    WindowHarness h({.channels = 16});
    ASSERT_TRUE(h.startRecording()); // 16 channels: with page buttons
    int controls = 0;
    for (QWidget* widget : h.window.findChildren<QWidget*>()) {
        const bool control =
            qobject_cast<const QAbstractButton*>(widget) || qobject_cast<const QComboBox*>(widget) ||
            qobject_cast<const QAbstractSpinBox*>(widget) || qobject_cast<const QAbstractItemView*>(widget) ||
            qobject_cast<const QPlainTextEdit*>(widget);
        // Parts that Qt puts into its own controls are described by those.
        const QString parent = QString::fromLatin1(widget->parentWidget()->metaObject()->className());
        const bool ours =
            parent.startsWith(u"vt::"_s) || parent == u"QWidget"_s || parent == u"QStackedWidget"_s;
        if (!control || !ours || widget->inherits("QHeaderView") || widget->inherits("QTableCornerButton"))
            continue;
        ++controls;
        const QString which =
            QString::fromLatin1(widget->metaObject()->className()) + u' ' + widget->objectName();
        EXPECT_FALSE(widget->toolTip().isEmpty()) << qPrintable(which);
        // What a screen reader says: the name that was given, else the text of a button.
        EXPECT_FALSE(nameOf(widget).isEmpty()) << qPrintable(which);
    }
    EXPECT_GE(controls, 16) << "the search must not miss them";
}

TEST(MainWindow, NoTwoControlsThatAreSeenTogetherShareAMnemonic)
{
    WindowHarness h({.channels = 16});
    ASSERT_TRUE(h.chooseUnit());
    // Of a window or dialog, as it is seen now.
    const auto check = [](const QWidget& window, const QMenuBar* menus) {
        std::map<QChar, QString> owners;
        const auto add = [&owners](const QString& text) {
            const qsizetype at = text.indexOf(u'&');
            if (at < 0)
                return;
            const QChar key = text[at + 1].toLower();
            EXPECT_FALSE(owners.contains(key)) << qPrintable(text) << " and " << qPrintable(owners[key]);
            owners[key] = text;
        };
        for (const QAbstractButton* button : window.findChildren<QAbstractButton*>())
            if (button->isVisible() && button->window() == &window)
                add(button->text());
        for (const QLabel* label : window.findChildren<QLabel*>())
            if (label->buddy() && label->isVisible() && label->window() == &window)
                add(label->text());
        for (const QAction* action : menus ? menus->actions() : QList<QAction*>())
            add(action->text());
        return owners.size();
    };
    std::size_t found = 0;
    for (int page = 0; page < h.window.pages()->count(); ++page) {
        h.window.pages()->setCurrentIndex(page);
        found += check(h.window, h.window.menuBar());
    }
    for (int tab = SetupDialog::BasicConfig; tab <= SetupDialog::Stimulation; ++tab) {
        h.window.setupDialog()->openAt(static_cast<SetupDialog::Tab>(tab));
        found += check(*h.window.setupDialog(), nullptr);
    }
    EXPECT_GE(found, 40U) << "the search must not miss them";
}

TEST(MainWindow, FitsTheSmallestScreen)
{
    WindowHarness h({.channels = 16});
    ASSERT_TRUE(h.startRecording());
    const QSize least = h.window.minimumSize();
    EXPECT_LE(least.width(), 1093) << "1366 pixels at 125 %";
    EXPECT_LE(least.height(), 560);
    for (const QSize size : {QSize(1280, 800), least}) {
        h.window.resize(size);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        const QSize needed = h.window.centralWidget()->minimumSizeHint();
        EXPECT_LE(needed.width(), h.window.centralWidget()->width());
        EXPECT_LE(needed.height(), h.window.centralWidget()->height());
        for (const char* name : {"state", "elapsed", "segment", "acquired", "dropped", "queue", "disk"}) {
            const auto* value = h.window.findChild<QLabel*>(QLatin1String(name));
            if (value->isVisible()) {
                EXPECT_LE(value->fontMetrics().horizontalAdvance(value->text()), value->width()) << name;
            }
        }
    }
}

TEST(MainWindow, StimulatesByTheMenusKeyWhileARecordingIsSetUpForIt)
{
    WindowHarness h;
    const auto* shown = h.window.findChild<QLabel*>(u"stimulation"_s);
    ASSERT_TRUE(h.chooseUnit());
    RecordingSetup setup = h.window.setupPanel()->setup();
    setup.basePath = h.folder.filePath(u"run"_s);
    setup.vexio.emplace();
    setup.vexio->enabled = true;
    setup.vexio->cageEnableMask = 0b10;
    h.window.setupPanel()->setSetup(setup);
    QTest::keyClick(&h.window, Qt::Key_T, Qt::ControlModifier);
    EXPECT_FALSE(shown->isVisible()) << "none runs";

    h.button(u"startButton"_s)->click();
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.deliver(1) == 1; }));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return shown->text() == u"Stimulation: by hand, cage 2"_s; }));
    h.unit.clearDeviceEvents();
    QTest::keyClick(&h.window, Qt::Key_T, Qt::ControlModifier);
    EXPECT_EQ(h.session.status().stimulation.stimulations, 1U);
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return !h.unit.deviceEvents().empty(); }));

    h.session.stop(EndReason::UserStop);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Idle; }));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return !shown->isVisible(); }));
}

TEST(MainWindow, ARunningWindowFollowsTheSystemsTheme)
{
    const QPalette before = QApplication::palette();
    QApplication::setPalette(Theme::lightPalette());
    WindowHarness h;
    const QString light = h.window.styleSheet();
    QApplication::setPalette(Theme::darkPalette());
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.window.styleSheet() != light; }));
    EXPECT_EQ(h.window.styleSheet(), Theme::current().styleSheet(h.window.font()));
    QApplication::setPalette(before);
}
