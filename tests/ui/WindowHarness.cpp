// SPDX-License-Identifier: GPL-3.0-or-later
#include "WindowHarness.h"

#include "acquisition/AcquisitionFrame.h"
#include "ui/SetupPanel.h"
#include "ui/setup/SetupDialog.h"

#include <QCoreApplication>
#include <QLabel>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <thread>

namespace vt::test {

namespace {

constexpr int WaitMs = 20000;

SimulatedUnit::Config unitConfig(int channels)
{
    SimulatedUnit::Config config;
    config.channels = channels;
    config.clock = SimulatedUnit::Clock::Manual;
    return config;
}

} // namespace

WindowHarness::WindowHarness(const Options& options)
    : unit(unitConfig(options.channels)),
      session(unit, time, user,
              {.autoResume = options.autoResume, .rememberSaveName = {}, .claim = options.claim}),
      window(session, user)
{
    window.show();
    window.activateWindow(); // keys go to the active window
    if (!QTest::qWaitForWindowActive(&window))
        qFatal("The window does not become active");
}

bool WindowHarness::waitUntil(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, WaitMs);
}

bool WindowHarness::chooseUnit()
{
    window.activateWindow();
    if (!QTest::qWaitForWindowActive(&window))
        return false;
    QTest::keyClick(&window, Qt::Key_1, Qt::ControlModifier);
    auto* list = window.findChild<QListWidget*>(QStringLiteral("deviceList"));
    if (!waitUntil([list] { return list->count() > 0 && list->isVisible(); }))
        return false;
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
    const bool isUsable = waitUntil([this] { return session.status().device.usable; });
    window.setupDialog()->reject();
    window.activateWindow();
    return isUsable && QTest::qWaitForWindowActive(&window);
}

bool WindowHarness::startRecording()
{
    if (!chooseUnit())
        return false;
    window.setupPanel()->setBasePath(folder.filePath(QStringLiteral("run")));
    QTest::mouseClick(button(QStringLiteral("startButton")), Qt::LeftButton);
    return waitUntil([this] { return session.state() == SessionState::Recording; }) &&
           waitUntil([this] { return deliver(1) == 1; });
}

int WindowHarness::deliver(int frames)
{
    constexpr int frameUs = 1000000 / FramesPerSecond;
    for (int delivered = 0; delivered < frames; ++delivered) {
        while (!session.readyForMoreData())
            std::this_thread::yield();
        if (unit.advanceFrames(1) != 1)
            return delivered;
        m_timeDebtUs += frameUs;
        time.advance(m_timeDebtUs / 1000);
        m_timeDebtUs %= 1000;
        QCoreApplication::sendPostedEvents();
    }
    return frames;
}

void WindowHarness::unplug()
{
    unit.unplug();
    for (int passedMs = 0; passedMs < 5200; passedMs += 100) {
        time.advance(100);
        QCoreApplication::sendPostedEvents();
    }
}

QAbstractButton* WindowHarness::button(const QString& objectName) const
{
    return window.findChild<QAbstractButton*>(objectName);
}

QString WindowHarness::label(const QString& objectName) const
{
    return window.findChild<QLabel*>(objectName)->text();
}

QPointer<QMessageBox> WindowHarness::box(const QString& title) const
{
    for (QMessageBox* candidate : window.findChildren<QMessageBox*>())
        if (candidate->isVisible() && candidate->windowTitle() == title)
            return candidate;
    return nullptr;
}

bool WindowHarness::press(const QString& title, const QString& buttonText) const
{
    const QPointer<QMessageBox> shown = box(title);
    if (!shown)
        return false;
    for (QAbstractButton* candidate : shown->buttons()) {
        if (candidate->text() == buttonText) {
            QTest::mouseClick(candidate, Qt::LeftButton);
            return true;
        }
    }
    return false;
}

} // namespace vt::test
