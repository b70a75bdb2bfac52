// SPDX-License-Identifier: GPL-3.0-or-later
// vt_screenshots [--sizes] [FOLDER]: runs the window on the simulated unit, without a display and faster than
// real time, and saves a picture of every page, tab and dialog that a user sees from the first look to the
// end of a recording, light and dark; with --sizes also of small and large windows and of 16 channels. FOLDER
// is docs/images when none is given. Prints what a refresh of the traces costs. Exit status 1 when a step did
// not come about or a picture could not be saved.
#include "app/StimulationWiring.h"
#include "base/TimeSource.h"
#include "envsens/SerialPortList.h"
#include "session/AppSettings.h"
#include "session/CameraSession.h"
#include "session/EnvironmentSession.h"
#include "session/LidWarning.h"
#include "session/SessionController.h"
#include "session/SessionExtensions.h"
#include "simulation/SimulatedEnviro.h"
#include "simulation/SimulatedUnit.h"
#include "ui/DevicePanel.h"
#include "ui/LiveTraces.h"
#include "ui/MainWindow.h"
#include "ui/RecordingPages.h"
#include "ui/SetupPanel.h"
#include "ui/Theme.h"
#include "ui/WindowInteraction.h"
#include "ui/WindowShortcuts.h"
#include "ui/setup/SetupDialog.h"
#include "ui/setup/StimulationTab.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>
#include <array>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

using namespace vt;

namespace {

constexpr int StepTimeoutMs = 30000;
constexpr int PollMs = 20;
constexpr int MeasuredRefreshes = 100;
constexpr int SmallestFile = 0; ///< quality of a PNG picture: the most compression

struct Look
{
    QString name;
    QPalette palette;
    QSize size;
    bool withLocked = false; ///< the setup's tabs as they are while a recording runs, too
};

/// Lets the program run until the condition holds.
bool runUntil(const std::function<bool()>& condition, int timeoutMs = StepTimeoutMs)
{
    QEventLoop loop;
    QElapsedTimer elapsed;
    elapsed.start();
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (condition() || elapsed.elapsed() > timeoutMs)
            loop.quit();
    });
    poll.start(PollMs);
    loop.exec();
    return condition();
}

void runFor(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Processor time, so that the figure does not depend on what else the machine does.
double processorMs()
{
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

class NoSerialPorts final : public SerialPortList
{
public:
    [[nodiscard]] QList<SerialPortFacts> ports() const override { return {}; }
};

QList<SerialPortFacts> portsOf(const std::vector<std::unique_ptr<SimulatedEnviro>>& sensors)
{
    QList<SerialPortFacts> ports;
    QString error;
    for (const auto& sensor : sensors)
        if (const auto port = parseExtraPort(sensor->portEntry(), &error))
            ports << *port;
    return ports;
}

/// One window on one simulated unit, taken through a recording.
class Tour
{
public:
    Tour(const Look& look, int channels, const QString& folder)
        : m_look(look), m_channels(channels), m_folder(folder), m_unit(unitConfig(channels)),
          m_session(m_unit, m_time, m_user, {.autoResume = true, .rememberSaveName = {}}),
          m_sensorPorts(m_noPorts, portsOf(m_simulatedSensors)), m_sensors(m_time, m_sensorPorts, m_user),
          m_cameras(m_time, CameraSession::networkCameras(m_time), m_user),
          m_window(m_session, m_user, {}, {&m_sensors, &m_cameras, &m_time})
    {
        m_session.addCompanion(m_sensors.companion());
        m_sensors.rescan();
        connectStimulationTab(*m_window.setupDialog()->stimulationTab(), m_session);
        m_unit.setReadyForMore([this] { return m_session.readyForMoreData(); });
        m_window.resize(look.size);
        m_window.show();
    }

    bool run()
    {
        if (!QDir::setCurrent(m_recordings.path()) || !QDir().mkpath(QStringLiteral("study7")))
            return failed("there is no folder to record to");
        const bool isDone = record();
        return isDone && m_isSaved;
    }

private:
    bool record()
    {
        runFor(300);
        save(QStringLiteral("window-idle"));
        if (!saveSpecialCases())
            return failed("the lid warning is not shown");
        auto* list = m_window.findChild<QListWidget*>(QStringLiteral("deviceList"));
        if (!runUntil([list] { return list->count() > 0; }))
            return failed("no device is offered");
        list->setCurrentRow(0);
        if (!runUntil([this] { return m_session.status().device.usable; }))
            return failed("the device does not answer");
        RecordingSetup setup = m_window.setupPanel()->setup();
        setup.basePath = QStringLiteral("study7/cohort7_night2");
        setup.animalIds.clear();
        for (int channel = 0; channel < m_channels - 1; ++channel)
            setup.animalIds << QStringLiteral("M-%1").arg(101 + channel);
        setup.vexio.emplace();
        setup.vexio->enabled = true;
        setup.vexio->protocol = StimulationProtocol::SleepBased;
        setup.vexio->cageEnableMask = 0b101;
        m_window.setupPanel()->setSetup(setup);
        runFor(100);
        save(QStringLiteral("window-ready"));
        saveTabs(QStringLiteral("setup"));

        button("startButton")->click();
        const auto scored = [this] {
            const SessionStatus status = m_session.status();
            return status.framesProcessed > 30 * 60 * 12 && status.freeDiskBytes >= 0;
        };
        if (!runUntil(scored))
            return failed("the recording does not get going");
        m_window.liveTraces()->setTimeBase(30);
        button("markerButton")->click();
        m_session.setMarkerLabel(1, QStringLiteral("cage 3 cleaned"));
        runFor(300);
        save(QStringLiteral("window-signals"));
        measure();
        m_window.liveTraces()->setFrozen(true);
        runFor(100);
        save(QStringLiteral("window-frozen"));
        m_window.liveTraces()->setFrozen(false);
        savePages();
        return endRecording();
    }

    /// What this unit and this computer do not have.
    bool saveSpecialCases()
    {
        const Question lid = LidWarning::question(
            {true, PowerSchemeQuery::LidAction::DoNothing, PowerSchemeQuery::LidAction::Sleep, false});
        m_user.ask(lid, [](int) {});
        runFor(100);
        QMessageBox* warning = notice(lid.title);
        if (!warning)
            return false;
        saveWidget(warning, QStringLiteral("question-lid"));
        warning->reject();

        auto* panel = m_window.findChild<DevicePanel*>();
        DeviceEntry amplifier{QStringLiteral("strivix:/dev/ttyACM0"), QStringLiteral("USB serial device"),
                              QStringLiteral("5583231353735190F1C1"), false};
        amplifier.kind = DeviceKind::SerialAmplifier;
        panel->setDevices({{QStringLiteral("Dev1"), QStringLiteral("USB-6218"), QStringLiteral("01A2B3C4"),
                            false, true, 4711},
                           amplifier});
        DeviceDetails details{
            amplifier.name, QStringLiteral("Strivix"), amplifier.serial, 2, 0, 0, false, true};
        details.kind = DeviceKind::SerialAmplifier;
        panel->blockSignals(true); // nothing answers at that port
        panel->chooseDevice(amplifier.name);
        panel->blockSignals(false);
        panel->setDetails(details);
        m_window.setupPanel()->setDevice(details);
        runFor(100);
        save(QStringLiteral("window-amplifier"));
        m_window.setupPanel()->setDevice({});
        panel->setDevices(m_session.devices());
        return true;
    }

    static SimulatedUnit::Config unitConfig(int channels)
    {
        SimulatedUnit::Config config;
        config.channels = channels;
        config.clock = SimulatedUnit::Clock::AsReady;
        config.speed = 200.0; // animals take minutes to fall asleep
        return config;
    }

    /// Every page but the first, and the sheet of keys.
    void savePages()
    {
        static const QStringList names{QStringLiteral("channel"), QStringLiteral("summary"),
                                       QStringLiteral("environment"), QStringLiteral("cameras")};
        for (int page = 1; page < m_window.pages()->count(); ++page) {
            m_window.pages()->setCurrentIndex(page);
            runFor(400);
            save(QStringLiteral("window-") + names.value(page - 1, QString::number(page)));
        }
        m_window.pages()->setCurrentIndex(RecordingPages::Summary);
        if (auto* views = m_window.pages()->currentWidget()->findChild<QTabWidget*>()) {
            views->setCurrentIndex(1);
            runFor(400);
            save(QStringLiteral("window-days"));
        }
        m_window.pages()->setCurrentIndex(RecordingPages::Live);
        if (m_look.withLocked)
            saveTabs(QStringLiteral("locked"));
        ShortcutSheet sheet(windowShortcuts(), &m_window);
        sheet.show();
        runFor(100);
        saveWidget(&sheet, QStringLiteral("shortcuts"));
    }

    void saveTabs(const QString& step)
    {
        SetupDialog* dialog = m_window.setupDialog();
        const auto saveTab = [&](SetupDialog::Tab tab, const char* name) {
            dialog->openAt(tab);
            runFor(100);
            saveWidget(dialog, step + QLatin1Char('-') + QLatin1String(name));
        };
        saveTab(SetupDialog::BasicConfig, "basic");
        saveTab(SetupDialog::EnvSensors, "sensors");
        saveTab(SetupDialog::Video, "cameras");
        static constexpr std::array stimulation{"protocol", "cages", "schedule", "diagnostics"};
        for (std::size_t page = 0; page < stimulation.size(); ++page) {
            dialog->stimulationTab()->setPage(static_cast<StimulationTab::Page>(page));
            saveTab(SetupDialog::Stimulation, stimulation[page]);
        }
        dialog->stimulationTab()->setPage(StimulationTab::Page{});
        dialog->reject();
    }

    bool endRecording()
    {
        m_unit.unplug();
        if (!runUntil([this] { return notice(QStringLiteral("DAQ Disconnected")) != nullptr; }))
            return failed("the disconnect is not noticed");
        runFor(100);
        save(QStringLiteral("window-paused"));
        saveWidget(notice(QStringLiteral("DAQ Disconnected")), QStringLiteral("notice-disconnected"));
        m_unit.replug();
        if (!runUntil([this] { return m_session.state() == SessionState::Recording; }))
            return failed("the recording does not go on");
        runFor(500);
        button("stopButton")->click();
        runFor(100);
        QMessageBox* question = notice(QStringLiteral("Stop Recording"));
        if (!question)
            return failed("the stop question is not asked");
        saveWidget(question, QStringLiteral("question-stop"));
        question->defaultButton()->click();
        if (!runUntil([this] { return m_session.state() == SessionState::Idle; }))
            return failed("the recording does not end");
        runFor(100);
        save(QStringLiteral("window-ended"));
        return true;
    }

    QAbstractButton* button(const char* name) const
    {
        return m_window.findChild<QAbstractButton*>(QLatin1String(name));
    }

    QMessageBox* notice(const QString& title) const
    {
        for (QMessageBox* box : m_window.findChildren<QMessageBox*>())
            if (box->isVisible() && box->windowTitle() == title)
                return box;
        return nullptr;
    }

    void measure()
    {
        const double before = processorMs();
        for (int i = 0; i < MeasuredRefreshes; ++i) {
            m_window.liveTraces()->refresh();
            m_window.liveTraces()->repaint();
        }
        QTextStream(stdout) << m_look.name << ", " << m_channels
                            << " channels: " << (processorMs() - before) / MeasuredRefreshes
                            << " ms of processor time for a refresh of the visible page (all threads)\n";
    }

    void save(const QString& step) { saveWidget(&m_window, step); }

    void saveWidget(QWidget* widget, const QString& step)
    {
        const QString name = QStringLiteral("%1-%2.png").arg(step, m_look.name);
        const QImage picture = widget->grab().toImage().convertToFormat(QImage::Format_RGB888);
        if (!picture.save(QDir(m_folder).filePath(name), "PNG", SmallestFile)) {
            QTextStream(stderr) << "Could not save " << name << '\n';
            m_isSaved = false;
        }
    }

    bool failed(const char* what)
    {
        QTextStream(stderr) << m_look.name << ": " << what << '\n';
        return false;
    }

    const Look m_look;
    const int m_channels;
    const QString m_folder;
    bool m_isSaved = true;
    QTemporaryDir m_recordings; ///< the current folder, so that no picture shows where it is
    SystemTimeSource m_time;
    WindowInteraction m_user;
    SimulatedUnit m_unit;
    SessionController m_session;
    std::vector<std::unique_ptr<SimulatedEnviro>> m_simulatedSensors = makeSimulatedEnviros(m_time, 2);
    NoSerialPorts m_noPorts;
    ExtendedSerialPorts m_sensorPorts;
    EnvironmentSession m_sensors;
    CameraSession m_cameras;
    MainWindow m_window;
};

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    applyApplicationStyle(application);
    QStringList arguments = QApplication::arguments().mid(1);
    const bool allSizes = arguments.removeAll(QStringLiteral("--sizes")) > 0;
    const QString folder = QDir(arguments.value(0, QStringLiteral(VELLUMTIDE_PICTURES)))
                               .absolutePath(); // of where it was called
    if (arguments.size() > 1 || arguments.value(0).startsWith(QLatin1Char('-')) || !QDir().mkpath(folder)) {
        QTextStream(stderr) << "usage: vt_screenshots [--sizes] [FOLDER]\n";
        return 2;
    }
    const QTemporaryDir settings; // nobody's own are read or changed
    AppSettings::useFiles(settings.filePath(QStringLiteral("current.ini")),
                          settings.filePath(QStringLiteral("legacy.ini")));
    const QSize small(1280, 800);
    const QSize large(1920, 1080);
    const QSize smallest(1180, 640);
    std::vector<std::pair<Look, int>> looks{
        {{QStringLiteral("light"), Theme::lightPalette(), small}, 8},
        {{QStringLiteral("dark"), Theme::darkPalette(), small}, 8},
    };
    if (allSizes) {
        looks.push_back({{QStringLiteral("dark-16"), Theme::darkPalette(), small, true}, 16});
        looks.push_back({{QStringLiteral("light-16-large"), Theme::lightPalette(), large, true}, 16});
        looks.push_back({{QStringLiteral("dark-large"), Theme::darkPalette(), large}, 8});
        looks.push_back({{QStringLiteral("light-16-small"), Theme::lightPalette(), smallest}, 16});
    }
    bool complete = true;
    for (const auto& [look, channels] : looks) {
        QApplication::setPalette(look.palette);
        complete = Tour(look, channels, folder).run() && complete;
    }
    return complete ? 0 : 1;
}
