// SPDX-License-Identifier: GPL-3.0-or-later
#include "Studio.h"

#include "StudioCameras.h"
#include "acquisition/AcquisitionFrame.h"
#include "app/StimulationWiring.h"
#include "session/SessionExtensions.h"
#include "ui/CameraView.h"
#include "ui/RecordingPages.h"
#include "ui/SetupPanel.h"
#include "ui/setup/SetupDialog.h"
#include "ui/setup/StimulationTab.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QListWidget>
#include <QMessageBox>
#include <QTextStream>
#include <thread>
#include <utility>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int StepTimeoutMs = 60000; ///< in real time
constexpr int FrameUs = 1000000 / FramesPerSecond;
/// Monday: the days of the actogram are those before a weekday.
const QDateTime Begin({2026, 3, 2}, {9, 0, 0});

SimulatedUnit::Config unitConfig(int channels)
{
    SimulatedUnit::Config config;
    config.channels = channels;
    config.clock = SimulatedUnit::Clock::Manual;
    return config;
}

WindowPreferences preferences(bool autoResume)
{
    WindowPreferences preferences;
    preferences.autoResumeOnDaqDisconnect = autoResume;
    return preferences;
}

class NoSerialPorts final : public SerialPortList
{
public:
    [[nodiscard]] QList<SerialPortFacts> ports() const override { return {}; }
};

class SensorPorts final : public SerialPortList
{
public:
    explicit SensorPorts(const std::vector<std::unique_ptr<SimulatedEnviro>>& sensors)
        : m_ports(m_none, portsOf(sensors))
    {}
    [[nodiscard]] QList<SerialPortFacts> ports() const override { return m_ports.ports(); }

private:
    static QList<SerialPortFacts> portsOf(const std::vector<std::unique_ptr<SimulatedEnviro>>& sensors)
    {
        QList<SerialPortFacts> ports;
        QString error;
        for (const auto& sensor : sensors)
            if (const auto port = parseExtraPort(sensor->portEntry(), &error))
                ports << *port;
        return ports;
    }
    NoSerialPorts m_none;
    ExtendedSerialPorts m_ports;
};

class StudioPower final : public PowerEvents
{
public:
    void setAcquiring(bool) override {}
    void readyForSystemEvent() override {}
};

} // namespace

Studio::Studio(const Options& options, PictureAlbum& album)
    : m_options(options), m_album(album), time(Begin), unit(unitConfig(options.channels)),
      simulatedSensors(makeSimulatedEnviros(roomClock, 2)),
      sensorPorts(std::make_unique<SensorPorts>(simulatedSensors)), sensors(roomClock, *sensorPorts, user),
      cameras(
          time, [] { return std::make_unique<StudioCameras>(); }, user),
      session(unit, time, user, sessionOptions()),
      window(session, user, preferences(options.autoResume), {&sensors, &cameras, &time})
{
    session.addCompanion(sensors.companion());
    session.addCompanion(cameras.companion());
    auto events = std::make_unique<StudioPower>();
    m_powerEvents = events.get();
    m_power = std::make_unique<PowerGuard>(session, time, user,
                                           PowerGuard::Services{std::move(events), [](bool) {}});
    connectStimulationTab(*window.setupDialog()->stimulationTab(), session);
    sensors.rescan();
    if (options.size.width() < window.minimumWidth() || options.size.height() < window.minimumHeight())
        window.setMinimumSize(options.size); // to see what a screen of that size would cut off
    window.resize(options.size);
    window.show();
}

Studio::~Studio() = default;

SessionController::Options Studio::sessionOptions()
{
    SessionController::Options options;
    options.autoResume = m_options.autoResume;
    options.lidQuery = [this](QObject*,
                              const std::function<void(const PowerSchemeQuery::Result&)>& answered) {
        using enum PowerSchemeQuery::LidAction;
        answered({true, DoNothing, m_isLidStopping ? Sleep : DoNothing, false});
    };
    options.showLidWarning = [] { return true; };
    return options;
}

bool Studio::step(const char* name, const std::function<bool()>& run)
{
    if (run())
        return true;
    QTextStream(stderr) << "The step did not come about: " << name << '\n';
    for (const QMessageBox* shown : window.findChildren<QMessageBox*>())
        if (shown->isVisible())
            QTextStream(stderr) << "  open: " << shown->windowTitle() << ": " << shown->text() << '\n';
    return false;
}

bool Studio::record(int seconds)
{
    for (int frame = 0; frame < seconds * FramesPerSecond; ++frame) {
        while (!session.readyForMoreData())
            std::this_thread::yield();
        if (unit.advanceFrames(1) != 1)
            return false;
        m_timeDebtUs += FrameUs;
        time.advance(m_timeDebtUs / 1000);
        m_timeDebtUs %= 1000;
        QCoreApplication::sendPostedEvents();
    }
    return true;
}

void Studio::pass(int milliseconds)
{
    time.advance(milliseconds);
    letEventsRun(1);
}

bool Studio::reach(const std::function<bool()>& condition)
{
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.elapsed() > StepTimeoutMs)
            return false;
        constexpr int stepMs = 100;
        constexpr int frames = stepMs * FramesPerSecond / 1000;
        if (unit.advanceFrames(session.state() == SessionState::Recording ? frames : 0) < 0)
            return false;
        pass(stepMs);
    }
    return true;
}

bool Studio::reachState(SessionState state)
{
    return reach([&] { return session.state() == state; });
}

bool Studio::chooseUnit()
{
    auto* list = window.findChild<QListWidget*>(u"deviceList"_s);
    if (!reach([list] { return list->count() > 0; }))
        return false;
    list->setCurrentRow(-1);
    list->setCurrentRow(0);
    return reach([this] { return session.status().device.usable; });
}

void Studio::setUp(const QString& name, bool isStimulating)
{
    RecordingSetup setup = window.setupPanel()->setup();
    setup.basePath = u"study/"_s + name;
    setup.animalIds.clear();
    for (int channel = 0; channel < m_options.channels - 1; ++channel) // the last one has none
        setup.animalIds << u"M-%1"_s.arg(101 + channel);
    setup.envSensorLabels = {{u"SIM1"_s, u"Rack A"_s}, {u"SIM2"_s, u"Rack B"_s}};
    VexioSettings stimulation;
    stimulation.enabled = isStimulating;
    stimulation.protocol = StimulationProtocol::SleepBased;
    stimulation.sleepDurationSec = 20;
    stimulation.cageEnableMask = 0b101;
    stimulation.cages.fill({.frequency = 7, .amplitude = 64, .duration = 4, .waveShape = 0});
    stimulation.cages[2].randomFrequency = true;
    stimulation.schedule = {{{8, 0}, {18, 0}, {true, true, true, true, true, false, false}}};
    setup.vexio = stimulation;
    VideoSettings video;
    video.cameras = {{StudioCameras::mac(0), 1, true, 1280, 720, 0},
                     {StudioCameras::mac(1), 3, true, 1280, 720, 180}};
    setup.video = video;
    window.setupPanel()->setSetup(setup);
}

bool Studio::start()
{
    button("startButton")->click();
    return reachState(SessionState::Recording);
}

bool Studio::stop()
{
    button("stopButton")->click();
    return press(box(u"Stop Recording"_s), u"&Yes"_s) && reachState(SessionState::Idle);
}

void Studio::save(const QString& name, const std::function<void()>& prepare)
{
    m_album.save(window, name, prepare);
}

void Studio::saveWidget(QWidget& widget, const QString& name, const std::function<void()>& prepare)
{
    m_album.save(widget, name, prepare);
}

bool Studio::saveBox(const QString& title, const QString& text, const QString& name,
                     const QString& buttonText)
{
    if (!reach([&] { return box(title, text) != nullptr; })) {
        QTextStream(stderr) << "No box \"" << title << "\" with \"" << text << "\"\n";
        return false;
    }
    if (!name.isEmpty())
        m_album.save(*box(title, text), name);
    return press(box(title, text), buttonText);
}

QMessageBox* Studio::box(const QString& title, const QString& text) const
{
    for (QMessageBox* candidate : window.findChildren<QMessageBox*>())
        if (candidate->isVisible() && candidate->windowTitle() == title && candidate->text().contains(text))
            return candidate;
    return nullptr;
}

bool Studio::press(QMessageBox* box, const QString& buttonText)
{
    if (!box)
        return false;
    for (QAbstractButton* candidate : box->buttons())
        if (candidate->text() == buttonText) {
            candidate->click();
            return true;
        }
    QTextStream(stderr) << "The box \"" << box->windowTitle() << "\" has no button \"" << buttonText
                        << "\"\n";
    return false;
}

QAbstractButton* Studio::button(const char* name) const
{
    return window.findChild<QAbstractButton*>(QLatin1String(name));
}

void Studio::showCameraPictures()
{
    int index = 0;
    for (CameraView* view : window.pages()->findChildren<CameraView*>()) {
        view->showState(CameraView::State::Playing, {});
        view->showPicture(StudioCameras::picture(index++ % StudioCameras::Count));
    }
    for (CameraView* view : window.setupDialog()->findChildren<CameraView*>()) {
        view->showState(CameraView::State::Playing, {});
        view->showPicture(StudioCameras::picture(0));
    }
}

bool Studio::fault(const char* command)
{
    QString error;
    if (unit.applyFaultCommand(QLatin1String(command), &error))
        return true;
    QTextStream(stderr) << error << '\n';
    return false;
}

void Studio::suspend()
{
    emit m_powerEvents->suspending(0);
}

} // namespace vt
