// SPDX-License-Identifier: GPL-3.0-or-later
// The whole story of a recording, with the keys and the mouse of a user.
#include "WindowHarness.h"
#include "session/UserInteraction.h"
#include "ui/LiveTraces.h"
#include "ui/RecordingPages.h"
#include "ui/SetupPanel.h"
#include "ui/setup/SetupDialog.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QTest>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace vt;
using test::WindowHarness;

namespace {

class Story : public ::testing::Test
{
protected:
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(QApplication::focusWidget() ? QApplication::focusWidget() : &h.window, key,
                        modifiers);
    }
    [[nodiscard]] QByteArray content(const QString& suffix) const
    {
        QFile file(h.folder.filePath(u"run"_s + suffix));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not there");
    }
    [[nodiscard]] bool reaches(SessionState state)
    {
        return WindowHarness::waitUntil([&] {
            h.time.advance(100);
            return h.session.state() == state;
        });
    }

    WindowHarness h{{.channels = 2, .autoResume = true}};
    LiveTraces* traces = h.window.liveTraces();
};

} // namespace

TEST_F(Story, FromTheUnitToTheFilesByKeysAndMouse)
{
    ASSERT_TRUE(h.chooseUnit());
    RecordingSetup setup = h.window.setupPanel()->setup();
    setup.basePath = h.folder.filePath(u"run"_s);
    setup.vexio.emplace();
    setup.vexio->enabled = true;
    setup.vexio->cageEnableMask = 0b01;
    h.window.setupPanel()->setSetup(setup);
    key(Qt::Key_R, Qt::ControlModifier);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Recording; }));
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.deliver(1) == 1; })) << "the unit's task is set up";
    ASSERT_EQ(h.deliver(599), 599);

    // A marker, and its label typed afterwards.
    h.window.setFocus();
    key(Qt::Key_M);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.markers().size() == 1; }));
    key(Qt::Key_M, Qt::ControlModifier);
    auto* editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    ASSERT_NE(editor, nullptr) << "the newest label is edited";
    QTest::keyClicks(editor, u"cage 2, cleaned"_s);
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_TRUE(
        WindowHarness::waitUntil([&] { return content(u"_Marks.csv"_s).contains("\"cage 2, cleaned\"\n"); }));

    // A frozen picture stays and can be scrolled while the recording goes on.
    traces->setFocus();
    traces->refresh();
    key(Qt::Key_F);
    ASSERT_TRUE(traces->isFrozen());
    const quint64 frozenAt = traces->shownEnd();
    ASSERT_EQ(h.deliver(60), 60);
    traces->refresh();
    EXPECT_EQ(traces->shownEnd(), frozenAt);
    traces->setFocus();
    key(Qt::Key_Left);
    EXPECT_LT(traces->shownEnd(), frozenAt);
    key(Qt::Key_F);
    EXPECT_FALSE(traces->isFrozen());
    traces->refresh();
    EXPECT_GT(traces->shownEnd(), frozenAt);

    key(Qt::Key_T, Qt::ControlModifier);
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.session.status().stimulation.stimulations == 1; }));

    h.unplug();
    ASSERT_TRUE(reaches(SessionState::Paused));
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return !h.box(u"DAQ Disconnected"_s).isNull(); }));
    h.unit.replug();
    ASSERT_TRUE(reaches(SessionState::Recording));
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.label(u"segment"_s) == u"(1)"_s; }));
    ASSERT_EQ(h.deliver(60), 60);

    QTest::mouseClick(h.button(u"stopButton"_s), Qt::LeftButton);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.press(u"Stop Recording"_s, u"&Yes"_s); }));
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Idle; }));
    EXPECT_TRUE(h.label(u"reportVerdict"_s).startsWith(u"⚠ "_s));
    for (const QString& file :
         {u".binfb"_s, u".FeatVecfb"_s, u"_at.Featfb"_s, u"_br.Featfb"_s, u" (1).binfb"_s})
        EXPECT_GT(content(file).size(), 300) << qPrintable(file);
    EXPECT_EQ(content(u"_Marks.csv"_s).count('\n'), 2);
    EXPECT_GE(content(u"_Stim.csv"_s).count('\n'), 2);
}

TEST_F(Story, EveryPageOpensByItsKeyAndTheSheetNamesThem)
{
    ASSERT_TRUE(h.startRecording());
    ASSERT_EQ(h.deliver(300), 300);
    for (int page = 0; page < h.window.pages()->count(); ++page) {
        QTest::keyClick(&h.window, static_cast<Qt::Key>(Qt::Key_1 + page), Qt::AltModifier);
        EXPECT_EQ(h.window.pages()->currentIndex(), page);
    }
    EXPECT_FALSE(traces->isRefreshing()) << "a page that cannot be seen draws nothing";
    QTest::keyClick(&h.window, Qt::Key_F1);
    const auto* sheet = h.window.findChild<QDialog*>(u"shortcutSheet"_s);
    ASSERT_NE(sheet, nullptr);
    QStringList texts;
    for (const QLabel* label : sheet->findChildren<QLabel*>())
        texts << label->text();
    EXPECT_TRUE(texts.contains(u"F1"_s));
    EXPECT_TRUE(texts.contains(u"Ctrl+Shift+R"_s));
}

// The dialog may stay open over a whole recording. What it remembers must not bring the used name back: the
// next start would empty the recording's files.
TEST_F(Story, ANameThatWasUsedUpStaysForgottenWhateverTheDialogRemembers)
{
    ASSERT_TRUE(h.startRecording());
    h.window.setupDialog()->openAt(SetupDialog::Video);
    ASSERT_EQ(h.deliver(30), 30);
    h.session.stop(EndReason::UserStop);
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.session.state() == SessionState::Idle; }));
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return h.window.setupPanel()->basePath().isEmpty(); }));
    EXPECT_FALSE(h.window.setupDialog()->hasChanges());
    h.window.setupDialog()->reject();
    EXPECT_FALSE(h.window.setupDialog()->isVisible());
    EXPECT_EQ(h.window.setupPanel()->basePath(), QString());
}

// The unit's button may be pressed while a label is being typed.
TEST_F(Story, AMarkerThatComesMeanwhileLeavesTheLabelThatIsTypedAlone)
{
    ASSERT_TRUE(h.startRecording());
    ASSERT_EQ(h.session.addMarker(u"Push button"_s), 1);
    key(Qt::Key_M, Qt::ControlModifier);
    const QPointer<QLineEdit> editor = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    ASSERT_FALSE(editor.isNull());
    QTest::keyClicks(editor, u"dos"_s);
    ASSERT_EQ(h.session.addMarker(u"Push button"_s), 2);
    ASSERT_FALSE(editor.isNull());
    QTest::keyClicks(editor, u"ed"_s);
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_TRUE(WindowHarness::waitUntil([&] { return h.session.markers()[0].label == u"dosed"_s; }));
}
