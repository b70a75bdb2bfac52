// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/WindowInteraction.h"
#include "session/LidWarning.h"

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>
#include <gtest/gtest.h>
#include <optional>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

class WindowInteractionTest : public testing::Test
{
protected:
    WindowInteractionTest()
    {
        m_user.attachTo(&m_window);
        m_window.show();
    }
    QMessageBox* box(const QString& title) const
    {
        for (QMessageBox* candidate : m_window.findChildren<QMessageBox*>())
            if (candidate->isVisible() && candidate->windowTitle() == title)
                return candidate;
        return nullptr;
    }
    static bool gone(const QPointer<QMessageBox>& box)
    {
        return QTest::qWaitFor([&] { return box.isNull(); });
    }
    void ask(int defaultButton = 0)
    {
        m_user.ask({u"Stop Recording"_s, u"Are you sure?"_s, {u"&Yes"_s, u"&No"_s}, defaultButton, 1},
                   [this](int index) { m_answers.push_back(index); });
    }

    QWidget m_window;
    WindowInteraction m_user;
    std::vector<int> m_answers;
};

} // namespace

TEST_F(WindowInteractionTest, MessagesReturnAtOnceAndStandSideBySide)
{
    m_user.notify(Severity::Critical, u"First"_s, u"One\n<b>two</b>"_s);
    m_user.notify(Severity::Information, u"Second"_s, u"Three"_s);
    ASSERT_NE(box(u"First"_s), nullptr);
    EXPECT_EQ(box(u"First"_s)->text(), u"One\n<b>two</b>"_s);
    EXPECT_EQ(box(u"First"_s)->textFormat(), Qt::PlainText);
    EXPECT_EQ(box(u"First"_s)->icon(), QMessageBox::Critical);
    EXPECT_FALSE(box(u"First"_s)->isModal());
    const QPointer<QMessageBox> second = box(u"Second"_s);
    ASSERT_NE(second, nullptr);
    QTest::keyClick(second, Qt::Key_Escape);
    EXPECT_TRUE(gone(second));
    EXPECT_NE(box(u"First"_s), nullptr);
}

TEST_F(WindowInteractionTest, AQuestionIsAnsweredOnceByWhicheverWay)
{
    const auto button = [](QMessageBox* box, const QString& text) {
        for (QAbstractButton* candidate : box->buttons())
            if (candidate->text() == text)
                return candidate;
        return static_cast<QAbstractButton*>(nullptr);
    };
    const auto byReturn = [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Return); };
    const auto byMouse = [&](QMessageBox* box) { QTest::mouseClick(button(box, u"&No"_s), Qt::LeftButton); };
    const auto byMnemonic = [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_N, Qt::AltModifier); };
    const auto byEscape = [](QMessageBox* box) { QTest::keyClick(box, Qt::Key_Escape); };
    const auto byFrame = [](QMessageBox* box) { box->close(); };
    const std::vector<std::pair<std::function<void(QMessageBox*)>, int>> ways{
        {byReturn, 0}, {byMouse, 1}, {byMnemonic, 1}, {byEscape, 1}, {byFrame, 1}};
    for (std::size_t way = 0; way < ways.size(); ++way) {
        SCOPED_TRACE(way);
        m_answers.clear();
        const QSignalSpy answered(&m_user, &WindowInteraction::questionAnswered);
        ask();
        const QPointer<QMessageBox> shown = box(u"Stop Recording"_s);
        ASSERT_NE(shown, nullptr);
        EXPECT_TRUE(m_answers.empty());
        ASSERT_TRUE(QTest::qWaitForWindowActive(shown));
        ways[way].first(shown);
        EXPECT_TRUE(gone(shown));
        EXPECT_EQ(m_answers, std::vector<int>{ways[way].second});
        EXPECT_EQ(answered.count(), 1);
    }
}

TEST_F(WindowInteractionTest, ClosingTheLidWarningDecidesNothing)
{
    Question lid = LidWarning::question(
        {true, PowerSchemeQuery::LidAction::DoNothing, PowerSchemeQuery::LidAction::Sleep, false});
    int checked = 0;
    lid.checked = [&](bool) { ++checked; };
    for (const bool byKey : {true, false}) {
        SCOPED_TRACE(byKey);
        m_answers.clear();
        m_user.ask(lid, [this](int index) { m_answers.push_back(index); });
        const QPointer<QMessageBox> shown = box(lid.title);
        ASSERT_NE(shown, nullptr);
        shown->checkBox()->setChecked(true);
        if (byKey)
            QTest::keyClick(shown, Qt::Key_Escape);
        else
            shown->close();
        EXPECT_TRUE(gone(shown));
        EXPECT_EQ(m_answers, std::vector<int>{-1});
    }
    EXPECT_EQ(checked, 0);
}

TEST_F(WindowInteractionTest, TheDefaultButtonIsTheOneAskedFor)
{
    ask(1);
    const QPointer<QMessageBox> shown = box(u"Stop Recording"_s);
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(shown->defaultButton()->text(), u"&No"_s);
    ASSERT_TRUE(QTest::qWaitForWindowActive(shown));
    EXPECT_EQ(shown->focusWidget(), shown->defaultButton()) << "Space presses what has the keyboard";
    QTest::keyClick(shown->focusWidget(), Qt::Key_Return);
    EXPECT_EQ(m_answers, std::vector<int>{1});
}

TEST_F(WindowInteractionTest, ANoticeWithAButtonGoesOnlyByThatButtonOrByTheSession)
{
    int pressed = 0;
    const auto show = [&](const QString& text) {
        m_user.showNotice(u"paused"_s, u"DAQ Disconnected"_s, text, u"Stop Recording"_s, [&] { ++pressed; });
    };
    show(u"old"_s);
    const QPointer<QMessageBox> old = box(u"DAQ Disconnected"_s);
    ASSERT_NE(old, nullptr);
    show(u"new"_s);
    EXPECT_TRUE(gone(old)) << "a newer notice takes the place of the older one";
    const QPointer<QMessageBox> notice = box(u"DAQ Disconnected"_s);
    ASSERT_NE(notice, nullptr);
    EXPECT_EQ(notice->text(), u"new"_s);
    ASSERT_EQ(notice->buttons().size(), 1);
    EXPECT_EQ(notice->buttons().first()->text(), u"Stop Recording"_s);
    // A person who is typing while the notice comes up must not end the recording.
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Space})
        QTest::keyClick(notice, key);
    notice->close();
    EXPECT_TRUE(notice && notice->isVisible());
    EXPECT_EQ(pressed, 0);
    QTest::mouseClick(notice->buttons().first(), Qt::LeftButton);
    EXPECT_TRUE(gone(notice));
    EXPECT_EQ(pressed, 1);

    show(u"again"_s);
    const QPointer<QMessageBox> again = box(u"DAQ Disconnected"_s);
    m_user.closeNotice(u"paused"_s);
    EXPECT_TRUE(gone(again));
    EXPECT_EQ(pressed, 1);
    m_user.closeNotice(u"paused"_s); // a second time does nothing
}

TEST_F(WindowInteractionTest, TheProgramMayEndOnlyWhenTheFatalMessageWasSeen)
{
    const QSignalSpy seen(&m_user, &WindowInteraction::fatalErrorSeen);
    m_user.fatalError(u"Fatal Error"_s, u"Could not open data file"_s);
    const QPointer<QMessageBox> shown = box(u"Fatal Error"_s);
    ASSERT_NE(shown, nullptr);
    EXPECT_EQ(seen.count(), 0);
    EXPECT_TRUE(m_user.hadFatalError()) << "whatever ends the program now";
    QTest::keyClick(shown, Qt::Key_Return);
    EXPECT_TRUE(gone(shown));
    EXPECT_EQ(seen.count(), 1);
}

TEST_F(WindowInteractionTest, TheIndicatorIsPassedOn)
{
    const QSignalSpy changed(&m_user, &WindowInteraction::recordingIndicatorChanged);
    m_user.setRecordingIndicator(u"Vellumtide is recording"_s);
    m_user.setRecordingIndicator({});
    ASSERT_EQ(changed.count(), 2);
    EXPECT_EQ(changed[0][0].toString(), u"Vellumtide is recording"_s);
    EXPECT_EQ(m_user.recordingIndicator(), QString());
}
