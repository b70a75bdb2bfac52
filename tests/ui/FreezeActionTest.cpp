// SPDX-License-Identifier: GPL-3.0-or-later
#include "WindowHarness.h"
#include "ui/LiveTraces.h"
#include "ui/RecordingPages.h"
#include "ui/SingleChannelView.h"

#include <QAction>
#include <QTest>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;

TEST(FreezeAction, IsTickedWhenThePageThatIsOpenIsFrozen)
{
    WindowHarness harness;
    const RecordingPages& pages = *harness.window.pages();
    const QAction* freeze = nullptr;
    for (const QAction* action : harness.window.findChildren<QAction*>())
        if (action->shortcut() == QKeySequence(Qt::Key_F))
            freeze = action;
    ASSERT_NE(freeze, nullptr);
    QTest::keyClick(&harness.window, Qt::Key_F);
    EXPECT_FALSE(freeze->isChecked()) << "nothing to freeze yet";
    ASSERT_TRUE(harness.startRecording());
    ASSERT_TRUE(WindowHarness::waitUntil([&] { return pages.liveTraces()->shownEnd() > 0; }));
    QTest::keyClick(&harness.window, Qt::Key_F);
    EXPECT_TRUE(pages.liveTraces()->isFrozen());
    EXPECT_TRUE(freeze->isChecked());
    harness.window.pages()->setCurrentIndex(RecordingPages::Channel);
    EXPECT_FALSE(freeze->isChecked());
    pages.singleChannel()->setFrozen(true); // by its own button
    EXPECT_TRUE(freeze->isChecked());
    harness.window.pages()->setCurrentIndex(RecordingPages::Summary);
    EXPECT_FALSE(freeze->isEnabled());
    harness.window.pages()->setCurrentIndex(RecordingPages::Live);
    QTest::keyClick(&harness.window, Qt::Key_F);
    EXPECT_FALSE(pages.liveTraces()->isFrozen());
    EXPECT_FALSE(freeze->isChecked());
}
