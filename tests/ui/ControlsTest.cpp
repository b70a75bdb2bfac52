// SPDX-License-Identifier: GPL-3.0-or-later
// The switch and the group of choices, by keys, mouse and what a screen reader is told.
#include "ui/RadioGroup.h"
#include "ui/ToggleSwitch.h"

#include <QAccessible>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

/// A window in which the control stands between two fields.
class ControlsTest : public testing::Test
{
protected:
    ControlsTest()
    {
        auto* layout = new QHBoxLayout(&m_window);
        for (QWidget* widget : {static_cast<QWidget*>(m_before), static_cast<QWidget*>(m_caption),
                                static_cast<QWidget*>(m_switch), static_cast<QWidget*>(m_group),
                                static_cast<QWidget*>(m_after)})
            layout->addWidget(widget);
        for (const auto& [hours, text] : {std::pair{1, u"1 h"_s}, {6, u"6 h"_s}, {24, u"24 h"_s}})
            m_group->addChoice(hours, text, u"Show the last %1"_s.arg(text));
        m_group->setAccessibleName(u"Hours shown"_s);
        m_caption->setBuddy(m_group);
        m_window.show();
        m_window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&m_window));
        m_before->setFocus();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
    }

    QWidget m_window;
    QLineEdit* m_before = new QLineEdit(&m_window);
    QLabel* m_caption = new QLabel(u"&Hours"_s, &m_window);
    ToggleSwitch* m_switch = new ToggleSwitch(u"&Film with this camera"_s, &m_window);
    RadioGroup* m_group = new RadioGroup(&m_window);
    QLineEdit* m_after = new QLineEdit(&m_window);
    QSignalSpy m_toggled{m_switch, &ToggleSwitch::toggled};
    QSignalSpy m_chosen{m_group, &RadioGroup::valueChanged};
};

} // namespace

TEST_F(ControlsTest, ASwitchIsThrownByKeysItsKnobAndItsText)
{
    press(Qt::Key_Tab);
    EXPECT_TRUE(m_switch->hasFocus());
    press(Qt::Key_Space);
    EXPECT_TRUE(m_switch->isChecked());
    m_before->setFocus();
    press(Qt::Key_F, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([this] { return !m_switch->isChecked(); })) << "its mnemonic";
    QTest::mouseClick(m_switch, Qt::LeftButton, {}, m_switch->trackRect().center());
    QTest::mouseClick(m_switch, Qt::LeftButton, {}, {m_switch->sizeHint().width() - 2, 5});
    EXPECT_EQ(m_toggled.count(), 4);
    m_switch->setMinimumWidth(m_switch->sizeHint().width() + 100);
    m_switch->resize(m_switch->minimumWidth(), m_switch->height());
    QTest::mouseClick(m_switch, Qt::LeftButton, {}, {m_switch->width() - 5, 5});
    EXPECT_EQ(m_toggled.count(), 4) << "beside its text is not on it";
    m_switch->setEnabled(false);
    QTest::mouseClick(m_switch, Qt::LeftButton, {}, m_switch->trackRect().center());
    EXPECT_EQ(m_toggled.count(), 4);
}

TEST_F(ControlsTest, AScreenReaderIsToldNameRoleAndState)
{
    const QAccessibleInterface* told = QAccessible::queryAccessibleInterface(m_switch);
    EXPECT_EQ(told->role(), QAccessible::CheckBox);
    EXPECT_EQ(told->text(QAccessible::Name), u"Film with this camera"_s);
    EXPECT_TRUE(told->state().checkable && !told->state().checked && !told->state().disabled);
    m_switch->setChecked(true);
    m_switch->setEnabled(false);
    EXPECT_TRUE(told->state().checked && told->state().disabled);

    const QAccessibleInterface* group = QAccessible::queryAccessibleInterface(m_group);
    EXPECT_EQ(group->role(), QAccessible::Grouping);
    EXPECT_EQ(group->text(QAccessible::Name), u"Hours shown"_s);
    ASSERT_EQ(group->childCount(), 3);
    m_group->setValue(6);
    for (int index = 0; index < 3; ++index) {
        EXPECT_EQ(group->child(index)->role(), QAccessible::RadioButton);
        EXPECT_EQ(group->child(index)->state().checked, index == 1);
    }
    EXPECT_EQ(group->child(1)->text(QAccessible::Name), u"6 h"_s);
}

TEST_F(ControlsTest, AGroupIsOneStopOfTheTabKeyAndItsArrowsChoose)
{
    EXPECT_EQ(m_group->value(), 1) << "something is always chosen";
    EXPECT_EQ(m_chosen.count(), 0);
    press(Qt::Key_H, Qt::AltModifier);
    EXPECT_TRUE(m_group->choice(1)->hasFocus()) << "the caption's mnemonic";
    press(Qt::Key_Right);
    press(Qt::Key_Right);
    press(Qt::Key_Right); // there is no further one
    EXPECT_EQ(m_group->value(), 24);
    EXPECT_TRUE(m_group->choice(24)->hasFocus());
    press(Qt::Key_Left);
    EXPECT_EQ(m_group->value(), 6);
    EXPECT_EQ(m_chosen.count(), 3);
    press(Qt::Key_Tab);
    EXPECT_TRUE(m_after->hasFocus());
    press(Qt::Key_Backtab);
    EXPECT_TRUE(m_group->choice(6)->hasFocus());
    QTest::mouseClick(m_group->choice(1), Qt::LeftButton);
    EXPECT_EQ(m_chosen.last()[0].toInt(), 1);
    m_group->setValue(1);
    m_group->setValue(7); // not offered
    EXPECT_EQ(m_chosen.count(), 4);
    m_group->setEnabled(false);
    QTest::mouseClick(m_group->choice(24), Qt::LeftButton);
    EXPECT_EQ(m_group->value(), 1);
    m_group->clear();
    EXPECT_EQ(m_group->value(), RadioGroup::NoValue);
}

TEST_F(ControlsTest, LongTextsAndLargeFontsGetTheirRoomAndRightToLeftIsMirrored)
{
    const QSize small = m_switch->sizeHint();
    const int track = m_switch->trackRect().height();
    m_switch->setText(u"Tag und Nacht mit dieser Kamera filmen, auch wenn die Aufzeichnung pausiert"_s);
    EXPECT_GE(m_switch->minimumSizeHint().width(),
              m_switch->fontMetrics().horizontalAdvance(m_switch->text()) + m_switch->trackRect().width());
    EXPECT_EQ(m_switch->sizeHint().height(), small.height());
    QFont large = m_switch->font();
    large.setPointSizeF(large.pointSizeF() * 2.0);
    m_switch->setFont(large);
    EXPECT_GT(m_switch->trackRect().height(), track * 3 / 2);
    EXPECT_GE(m_switch->sizeHint().height(), m_switch->trackRect().height());
    RadioSegment* choice = m_group->choice(24);
    choice->setText(u"In den markierten Stunden"_s);
    QFont bold = choice->font();
    bold.setWeight(QFont::DemiBold);
    EXPECT_GT(choice->minimumSizeHint().width(), QFontMetrics(bold).horizontalAdvance(choice->text()));

    EXPECT_LT(m_switch->trackRect().center().x(), m_switch->width() / 2);
    m_window.setLayoutDirection(Qt::RightToLeft);
    m_window.layout()->activate();
    m_group->layout()->activate();
    EXPECT_GT(m_switch->trackRect().center().x(), m_switch->width() / 2);
    EXPECT_GT(m_group->choice(1)->x(), m_group->choice(6)->x());
    m_group->choice(1)->setFocus();
    press(Qt::Key_Left);
    EXPECT_EQ(m_group->value(), 6);
}
