// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "FakeTimeSource.h"
#include "PictureAlbum.h"
#include "envsens/SerialPortList.h"
#include "platform/PowerEvents.h"
#include "platform/PowerSchemeQuery.h"
#include "session/CameraSession.h"
#include "session/EnvironmentSession.h"
#include "session/PowerGuard.h"
#include "session/SessionController.h"
#include "simulation/SimulatedEnviro.h"
#include "simulation/SimulatedUnit.h"
#include "ui/MainWindow.h"
#include "ui/WindowInteraction.h"

#include <QSize>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

class QAbstractButton;
class QMessageBox;

namespace vt {

/// Time as the studio steps it, for what waits in real time: sensors answer over real (pseudo) serial lines.
class RoomClock final : public TimeSource
{
public:
    explicit RoomClock(const TimeSource& wallClock) : m_wallClock(wallClock) {}
    [[nodiscard]] QDateTime now() const override { return m_wallClock.now(); }
    [[nodiscard]] qint64 monotonicMs() const override { return m_system.monotonicMs(); }
    [[nodiscard]] qint64 monotonicUs() const override { return m_system.monotonicUs(); }
    [[nodiscard]] std::unique_ptr<Timer> createTimer(QObject* context,
                                                     std::function<void()> onTimeout) override
    {
        return m_system.createTimer(context, std::move(onTimeout));
    }

private:
    const TimeSource& m_wallClock;
    SystemTimeSource m_system;
};

/// The real window on a simulated unit, two simulated sensors and two drawn cameras, in a time that only
/// moves when a step of the tour lets it: as fast as the program works. Recordings lie in the folder "study"
/// of the current folder. Interface thread.
class Studio
{
public:
    struct Options
    {
        QSize size{1280, 800};
        int channels = 8;
        bool autoResume = true;
    };

private:
    const Options m_options;
    PictureAlbum& m_album;
    bool m_isLidStopping = false;
    int m_timeDebtUs = 0;

public:
    Studio(const Options& options, PictureAlbum& album);
    ~Studio();

    /// Names the step that runs, for what is told when it fails.
    [[nodiscard]] bool step(const char* name, const std::function<bool()>& run);

    /// Records for so long; false when the unit delivers no more.
    [[nodiscard]] bool record(int seconds);
    /// Time without blocks.
    void pass(int milliseconds);
    /// Lets time pass, with blocks while a recording runs, until the condition holds.
    [[nodiscard]] bool reach(const std::function<bool()>& condition);
    [[nodiscard]] bool reachState(SessionState state);
    /// Chooses the unit, or any device of the list.
    [[nodiscard]] bool chooseUnit();
    /// A setup as a study has it; the name lies in the folder "study".
    void setUp(const QString& name, bool isStimulating);
    [[nodiscard]] bool start();
    /// Presses Stop and answers with yes.
    [[nodiscard]] bool stop();

    void save(const QString& name, const std::function<void()>& prepare = {});
    void saveWidget(QWidget& widget, const QString& name, const std::function<void()>& prepare = {});
    /// Waits for a box with this title and text in it, saves it unless the name is empty, presses the button
    /// with this text.
    [[nodiscard]] bool saveBox(const QString& title, const QString& text, const QString& name,
                               const QString& buttonText);
    [[nodiscard]] QMessageBox* box(const QString& title, const QString& text = {}) const;
    [[nodiscard]] static bool press(QMessageBox* box, const QString& buttonText);
    [[nodiscard]] QAbstractButton* button(const char* name) const;
    /// Pictures in place of those that the cameras would send.
    void showCameraPictures();
    [[nodiscard]] bool fault(const char* command);
    /// The operating system goes to sleep.
    void suspend();
    /// Whether closing the lid would stop a recording.
    void setLidStops(bool isStopping) { m_isLidStopping = isStopping; }
    [[nodiscard]] int channels() const { return m_options.channels; }

    test::FakeTimeSource time;
    RoomClock roomClock{time};
    SimulatedUnit unit;
    WindowInteraction user;
    std::vector<std::unique_ptr<SimulatedEnviro>> simulatedSensors;
    std::unique_ptr<SerialPortList> sensorPorts;
    EnvironmentSession sensors;
    CameraSession cameras;
    SessionController session; ///< ends its recording, with sensors and cameras, when it goes
    MainWindow window;

private:
    [[nodiscard]] SessionController::Options sessionOptions();

    std::unique_ptr<PowerGuard> m_power;
    PowerEvents* m_powerEvents = nullptr; ///< owned by m_power
};

} // namespace vt
