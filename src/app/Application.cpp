// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/Application.h"

#include "app/AmplifierSetup.h"
#include "app/CommandLineSetup.h"
#include "app/ConsoleInteraction.h"
#include "app/DriverSetup.h"
#include "app/ExistingRecording.h"
#include "app/HeadlessRunner.h"
#include "app/Safeguards.h"
#include "app/SensorPorts.h"
#include "app/StimulationWiring.h"
#include "base/TimeSource.h"
#include "daqmx/KeepAlive.h"
#include "platform/TerminationSignals.h"
#include "recording/RecordedFiles.h"
#include "recording/SegmentPaths.h"
#include "session/AppSettings.h"
#include "session/CameraSession.h"
#include "session/EnvironmentSession.h"
#include "session/LogManager.h"
#include "session/SessionController.h"
#include "session/SessionExtensions.h"
#include "ui/EnvironmentUnits.h"
#include "ui/EnvironmentView.h"
#include "ui/MainWindow.h"
#include "ui/SetupFileActions.h"
#include "ui/SetupPanel.h"
#include "ui/WindowInteraction.h"
#include "ui/setup/SetupDialog.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

constexpr int badArguments = 2;

/// The log of this run; what follows in the run is in it.
LogManager::Options logOptions(CrashHandler::Notice crashNotice)
{
    LogManager::Options options;
    options.crashNotice = crashNotice;
    return options;
}

/// What was damaged of them, to be told once there is somebody to tell.
[[nodiscard]] std::vector<DamagedSettings> prepareSettings(const CommandLine& line)
{
    std::vector<DamagedSettings> damaged = AppSettings::keepDamagedFiles();
    AppSettings::migrateLegacySettings();
    if (line.clearSettings)
        AppSettings::clearAll();
    return damaged;
}

void tellDamaged(const std::vector<DamagedSettings>& damaged, UserInteraction& user)
{
    for (const DamagedSettings& each : damaged)
        user.notify(Severity::Warning, QCoreApplication::translate("Settings", "Settings"), each.message());
}

/// Handles everything but an actual run; empty when a run is wanted.
std::optional<int> answerAtOnce(const CommandLine& line)
{
    switch (line.action) {
    case CommandLine::Action::Invalid:
        printError(u"vellumtide: %1\nTry 'vellumtide --help'."_s.arg(line.message));
        return badArguments;
    case CommandLine::Action::ShowHelp:
    case CommandLine::Action::ShowVersion:
        printOutput(line.message);
        return 0;
    case CommandLine::Action::ListDevices:
    case CommandLine::Action::Run:
        break;
    }
    return std::nullopt;
}

int listDevices(SessionController& session)
{
    QEventLoop search;
    QObject::connect(&session, &SessionController::devicesRefreshed, &search, &QEventLoop::quit);
    session.refreshDevices();
    search.exec(); // the session gives a driver that hangs 5 s
    for (const DeviceEntry& device : session.devices())
        printOutput(
            QStringList{device.name, device.productType, device.serial, device.simulated ? u"yes"_s : u"no"_s}
                .join(u'\t'));
    return 0;
}

/// True for arguments that only lead to an error message. Single-dash words ("-platform") may be the window
/// toolkit's, which takes them out itself.
bool isMistaken(int argc, char** argv)
{
    QStringList arguments;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-' && argv[i][1] != '-' && argv[i][1] != '\0')
            return false;
        arguments << QString::fromLocal8Bit(argv[i]);
    }
    return parseCommandLine(arguments).action == CommandLine::Action::Invalid;
}

/// Driver and time of a run. A driver call that never returns leaves threads behind that still use them; they
/// are then kept for the rest of the process.
class Services
{
public:
    explicit Services(const CommandLine& line) : m_shared(std::make_shared<Shared>(line)) {}
    ~Services()
    {
        if (isAnythingKeptAlive())
            keepAliveForever(m_shared);
    }
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    /// True, after a message, when there is no driver to run on.
    [[nodiscard]] bool failed() const
    {
        if (m_shared->drivers.error().isEmpty())
            return false;
        printError(u"vellumtide: %1"_s.arg(m_shared->drivers.error()));
        return true;
    }
    [[nodiscard]] DaqmxApi& driver() const { return m_shared->drivers.driver(); }
    [[nodiscard]] TimeSource& time() const { return m_shared->time; }
    [[nodiscard]] const SerialPortList& sensorPorts() const { return m_shared->sensors.ports(); }
    /// The session's options with what this run offers.
    [[nodiscard]] SessionController::Options complete(SessionController::Options options) const
    {
        options.amplifierPorts = m_shared->amplifiers.finder();
        return options;
    }
    void paceBy(const SessionController& session) const
    {
        m_shared->drivers.setReadyForMore([&session] { return session.readyForMoreData(); });
    }

private:
    struct Shared
    {
        explicit Shared(const CommandLine& line) : drivers(line), amplifiers(line, time), sensors(line, time)
        {}
        DriverSetup drivers;
        SystemTimeSource time;
        AmplifierSetup amplifiers;
        SensorPorts sensors;
    };
    std::shared_ptr<Shared> m_shared;
};

/// What a recording has around it, and outlives it: what is still being written of it ends here.
struct Surroundings
{
    Surroundings(const Services& services, UserInteraction& user)
        : sensors(services.time(), services.sensorPorts(), user),
          cameras(services.time(), CameraSession::networkCameras(services.time()), user)
    {}
    void accompany(SessionController& session)
    {
        session.addCompanion(sensors.companion());
        session.addCompanion(cameras.companion());
    }
    EnvironmentSession sensors;
    CameraSession cameras;
};

/// What is chosen in the window is kept for the next launch.
void keepChoices(MainWindow& window, const AppSettings::StoreThread& store)
{
    const auto keep = [&window, &store](auto signal, auto setter) {
        QObject::connect(&window, signal, &window, [store, setter](const auto& chosen) {
            store([setter, chosen] { setter(chosen); });
        });
    };
    keep(&MainWindow::saveFileNameChosen, &AppSettings::setSaveFileName);
    keep(&MainWindow::autoResumeChosen, &AppSettings::setAutoResumeOnDaqDisconnect);
    keep(&MainWindow::configDirChosen, &AppSettings::setLastConfigDir);
    keep(&MainWindow::animalIdDirChosen, &AppSettings::setLastAnimalIdDir);
    keep(&MainWindow::geometryToKeep, &AppSettings::setGeometry);
}

/// Units and hours of the environment's charts: those of the last launch, and kept for the next one.
void keepChartChoices(EnvironmentView& charts, const AppSettings::StoreThread& store)
{
    charts.setUnits(envunits::fromKeys(AppSettings::temperatureUnit(), AppSettings::pressureUnit()));
    charts.setHours(AppSettings::environmentHours());
    QObject::connect(&charts, &EnvironmentView::unitsChosen, &charts, [store](const envunits::Units& units) {
        store([temperature = envunits::key(units.temperature), pressure = envunits::key(units.pressure)] {
            AppSettings::setEnvironmentUnits(temperature, pressure);
        });
    });
    QObject::connect(&charts, &EnvironmentView::hoursChosen, &charts,
                     [store](int hours) { store([hours] { AppSettings::setEnvironmentHours(hours); }); });
}

void connectWindow(MainWindow& window, SessionController& session, WindowInteraction& user,
                   const TerminationSignals& termination)
{
    QObject::connect(&user, &WindowInteraction::fatalErrorSeen, &window, [&window, &session] {
        session.whenClosed(&window, [] { QCoreApplication::exit(1); }); // films of the recording before
    });
    // Whoever asks the process to end cannot answer a question.
    QObject::connect(&termination, &TerminationSignals::requested, &window, [&window, &session] {
        if (session.state() == SessionState::Idle) {
            window.closeUnattended();
            return;
        }
        QObject::connect(&session, &SessionController::recordingEnded, &window, &MainWindow::closeUnattended,
                         Qt::QueuedConnection);
        session.stop(EndReason::UserStop);
    });
}

/// A name that nobody was asked about replaces nothing.
void keepExisting(RecordingSetup& setup, UserInteraction& user)
{
    const QString base = stripRecordingExtension(setup.basePath);
    if (base.isEmpty() || !holdsRecording(base))
        return;
    setup.basePath = freeNumberedName(base);
    user.notify(Severity::Information, u"Output"_s,
                setup.basePath.isEmpty()
                    ? u"%1 holds a recording, and so do all numbered names after it."_s.arg(base)
                    : u"%1 holds a recording, which is kept. Recording to: %2"_s.arg(base, setup.basePath));
}

void applyCommandLine(MainWindow& window, UserInteraction& user, const CommandLine& line)
{
    RecordingSetup setup = window.setupPanel()->setupToSave();
    applyExplicitOptions(line, setup);
    keepExisting(setup, user);
    window.setupPanel()->setSetup(setup);
    window.setupFileActions()->acceptPanel();
    // What was given on the command line goes before what the file says. Of that a setup file holds the
    // animal IDs only; the rest is in the panel already and the user's from here on.
    if (!line.setupFile.isEmpty())
        window.setupFileActions()->loadOnceReady(
            line.setupFile,
            [ids = line.animalIds](RecordingSetup& loaded) { applyAnimalIds(ids, loaded.animalIds); });
    // After the window's own first look for devices.
    if (!line.device.isEmpty())
        QMetaObject::invokeMethod(
            &window, [&window, name = line.device] { window.chooseDevice(name); }, Qt::QueuedConnection);
}

} // namespace

bool isConsoleRun(int argc, char** argv)
{
    static constexpr std::array<std::string_view, 6> console{"--headless", "--list-devices", "--help",
                                                             "-h",         "--version",      "-v"};
    const auto isConsoleOption = [](const char* argument) {
        return std::find(console.begin(), console.end(), argument) != console.end();
    };
    return std::any_of(argv + 1, argv + argc, isConsoleOption) || isMistaken(argc, argv);
}

int runConsole()
{
    const CommandLine line = parseCommandLine(QCoreApplication::arguments().mid(1));
    if (const auto status = answerAtOnce(line))
        return *status;
    const LogManager log(logOptions(CrashHandler::Notice::StandardError));
    const TerminationSignals termination; // before and longer than all that takes time
    const std::vector<DamagedSettings> damaged = prepareSettings(line);
    const Services services(line);
    if (services.failed())
        return 1;
    ConsoleInteraction user;
    tellDamaged(damaged, user);
    Safeguards safeguards;
    Surroundings surroundings(services, user);
    SessionController::Options options = services.complete(safeguards.sessionOptions());
    options.keepsHistory = false;
    SessionController session(services.driver(), services.time(), user, options);
    if (line.action == CommandLine::Action::ListDevices)
        return listDevices(session);
    const auto power = safeguards.protect(session, services.time(), user);
    surroundings.accompany(session);
    safeguards.tellUnclosed(user);
    services.paceBy(session);

    HeadlessRunner runner(session, surroundings.sensors, surroundings.cameras, services.time(), line);
    QObject::connect(&termination, &TerminationSignals::requested, &runner, &HeadlessRunner::terminate);
    QObject::connect(
        &runner, &HeadlessRunner::finished, &runner, [](int status) { QCoreApplication::exit(status); },
        Qt::QueuedConnection);
    QMetaObject::invokeMethod(&runner, &HeadlessRunner::run, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

int runWindow()
{
    const CommandLine line = parseCommandLine(QCoreApplication::arguments().mid(1));
    if (const auto status = answerAtOnce(line))
        return *status;
    const LogManager log(logOptions(CrashHandler::Notice::MessageBox));
    const TerminationSignals termination; // before and longer than all that takes time
    const std::vector<DamagedSettings> damaged = prepareSettings(line);
    const Services services(line);
    if (services.failed())
        return 1;
    TerminationSignals::leaveTerminal();
    WindowInteraction user;
    Safeguards safeguards;
    Surroundings surroundings(services, user);
    SessionController session(services.driver(), services.time(), user,
                              services.complete(safeguards.sessionOptions()));
    const auto power = safeguards.protect(session, services.time(), user);
    surroundings.accompany(session);
    services.paceBy(session);
    const QString suggestedName = line.output.isEmpty() ? AppSettings::saveFileName() : line.output;
    MainWindow window(session, user,
                      {suggestedName, AppSettings::geometry(), AppSettings::autoResumeOnDaqDisconnect(),
                       AppSettings::lastConfigDir(), AppSettings::lastAnimalIdDir(), log.logFilePath()},
                      {&surroundings.sensors, &surroundings.cameras, &services.time()});
    keepChoices(window, safeguards.store());
    keepChartChoices(*window.pages()->environment(), safeguards.store());
    connectWindow(window, session, user, termination);
    connectStimulationTab(*window.setupDialog()->stimulationTab(), session);
    applyCommandLine(window, user, line);
    window.show();
    surroundings.sensors.rescan();
    tellDamaged(damaged, user);
    safeguards.tellUnclosed(user);
    const int status = QCoreApplication::exec();
    return user.hadFatalError() ? 1 : status;
}

} // namespace vt
