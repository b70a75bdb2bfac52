// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "session/SessionController.h"
#include "simulation/SimulatedUnit.h"
#include "ui/MainWindow.h"
#include "ui/WindowInteraction.h"

#include <QPointer>
#include <QTemporaryDir>
#include <functional>

class QAbstractButton;
class QMessageBox;

namespace vt::test {

/// The whole window on a session with a simulated unit and stepped time. Data comes only from deliver.
class WindowHarness
{
public:
    struct Options
    {
        int channels = 2;
        bool autoResume = false;
        DaqClaim* claim = nullptr;
    };
    WindowHarness() : WindowHarness(Options{}) {}
    explicit WindowHarness(const Options& options);

    [[nodiscard]] static bool waitUntil(const std::function<bool()>& condition);
    /// Chooses the unit in the list with the mouse; true when its details have arrived.
    [[nodiscard]] bool chooseUnit();
    /// Chooses the unit, names the file, presses Start with the mouse; true when data flows.
    [[nodiscard]] bool startRecording();
    /// n frames at 1/30 s of fake time each; returns how many went in.
    int deliver(int frames);
    /// Unplugs the unit and lets the watchdog notice it.
    void unplug();

    [[nodiscard]] QAbstractButton* button(const QString& objectName) const;
    [[nodiscard]] QString label(const QString& objectName) const;
    /// A visible message box with this title, or null.
    [[nodiscard]] QPointer<QMessageBox> box(const QString& title) const;
    /// Presses a button of the box with this title; false when there is none.
    [[nodiscard]] bool press(const QString& title, const QString& buttonText) const;

    QTemporaryDir folder;
    FakeTimeSource time;
    SimulatedUnit unit;
    WindowInteraction user;
    SessionController session;
    MainWindow window;

private:
    int m_timeDebtUs = 0;
};

} // namespace vt::test
