// SPDX-License-Identifier: GPL-3.0-or-later
// A window that nobody sees draws nothing, whatever the recording does underneath.
#include "WindowHarness.h"
#include "ui/LiveTraces.h"
#include "ui/RecordingPages.h"
#include "ui/RefreshTimer.h"

#include <QApplication>
#include <QSignalSpy>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;

namespace {

// After each change of the window what the platform tells of it has to be heard: it comes late, by events.

/// Counts the widgets that are painted in the whole program.
class PaintCounter : public QObject
{
public:
    PaintCounter() { qApp->installEventFilter(this); }
    int count = 0;
    QStringList painted; ///< for the message

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && watched->isWidgetType()) {
            ++count;
            painted << QString::fromLatin1(watched->metaObject()->className());
        }
        return false;
    }
};

class UnseenWindowTest : public testing::TestWithParam<RecordingPages::Page>
{
protected:
    int runningTimers() const
    {
        int running = 0;
        for (const RefreshTimer* timer : m_harness.window.findChildren<RefreshTimer*>())
            running += timer->isActive() ? 1 : 0;
        return running;
    }
    /// The next step of the recording, with all that the window does about it.
    bool deliverStep()
    {
        constexpr int FramesPerStep = 60;
        const QSignalSpy steps(&m_harness.session, &SessionController::stepCompleted);
        return m_harness.deliver(FramesPerStep) == FramesPerStep &&
               WindowHarness::waitUntil([&] { return steps.count() > 0; });
    }
    void expectDrawsNothing()
    {
        ASSERT_TRUE(WindowHarness::waitUntil([this] { return runningTimers() == 0; }));
        PaintCounter counter;
        ASSERT_TRUE(deliverStep() && deliverStep());
        EXPECT_EQ(counter.count, 0) << qPrintable(counter.painted.join(u' '));
        EXPECT_EQ(runningTimers(), 0);
    }
    bool drawsAgain()
    {
        PaintCounter painted;
        return deliverStep() && WindowHarness::waitUntil([&] {
                   return painted.count > 0 &&
                          (GetParam() == RecordingPages::Summary || runningTimers() == 1);
               });
    }

    WindowHarness m_harness;
};

} // namespace

TEST_P(UnseenWindowTest, HiddenOrMinimisedDrawsNothingAndGoesOnWhenShown)
{
    ASSERT_TRUE(m_harness.startRecording());
    m_harness.window.pages()->setCurrentIndex(GetParam());
    ASSERT_TRUE(drawsAgain());
    m_harness.window.showMinimized();
    QGuiApplication::sync();
    {
        SCOPED_TRACE("minimised");
        expectDrawsNothing();
    }
    m_harness.window.showNormal();
    QGuiApplication::sync();
    EXPECT_TRUE(drawsAgain());
    m_harness.window.hide();
    QGuiApplication::sync();
    {
        SCOPED_TRACE("hidden");
        expectDrawsNothing();
    }
    m_harness.window.show();
    QGuiApplication::sync();
    EXPECT_TRUE(drawsAgain());
}

INSTANTIATE_TEST_SUITE_P(Pages, UnseenWindowTest,
                         testing::Values(RecordingPages::Live, RecordingPages::Channel,
                                         RecordingPages::Summary));
