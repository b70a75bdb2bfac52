// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/MainWindow.h"

#include "processing/DataManager.h"
#include "session/UnitHealth.h"
#include "session/UnitInfo.h"
#include "ui/ControlBar.h"
#include "ui/DevicePanel.h"
#include "ui/HardwareCard.h"
#include "ui/HelpMenu.h"
#include "ui/LiveTraces.h"
#include "ui/MarkerPanel.h"
#include "ui/RecordingPanel.h"
#include "ui/ReportCard.h"
#include "ui/SetupFileActions.h"
#include "ui/SetupPanel.h"
#include "ui/SetupSummary.h"
#include "ui/StatusStrip.h"
#include "ui/Theme.h"
#include "ui/WindowInteraction.h"
#include "ui/setup/AnimalIdActions.h"
#include "ui/setup/CamerasTab.h"
#include "ui/setup/SensorsTab.h"
#include "ui/setup/SetupDialog.h"
#include "ui/setup/StimulationTab.h"

#include <QAction>
#include <QCloseEvent>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLocale>
#include <QMenuBar>
#include <QScrollArea>
#include <QScrollBar>
#include <QStatusBar>
#include <QVBoxLayout>
#include <array>
#include <memory>
#include <utility>

namespace vt {

namespace {

constexpr int StatusIntervalMs = 200;
constexpr int MessageMs = 5000;
constexpr int WideWindowWidth = 1180;

} // namespace

MainWindow::MainWindow(SessionController& controller, WindowInteraction& user,
                       const WindowPreferences& preferences, const RecordingSurroundings& surroundings,
                       QWidget* parent)
    : QMainWindow(parent), m_controller(controller), m_user(user)
{
    setWindowTitle(tr("Vellumtide"));
    m_user.attachTo(this);
    buildSetup(surroundings);
    buildCentral(surroundings);
    buildStatusBar();
    buildMenus(preferences);
    applyTheme();
    m_setup->setSuggestedPath(preferences.saveFileName);
    m_setupFile->setFolder(preferences.lastConfigDir);
    m_dialog->animalIdActions()->setFolder(preferences.lastAnimalIdDir);
    connectPanels();
    connectSession();
    setMinimumSize(1090, 560);
    resize(1280, 800);
    if (!preferences.geometry.isEmpty())
        restoreGeometry(preferences.geometry);
    m_devices->setDevices(m_controller.devices());
    handleState(m_controller.state());
    m_statusTimer.start(StatusIntervalMs);
    QMetaObject::invokeMethod(&m_controller, &SessionController::refreshDevices, Qt::QueuedConnection);
}

void MainWindow::setSaveFileName(const QString& basePath)
{
    m_setup->setSuggestedPath(basePath);
}

MainWindow::~MainWindow()
{
    m_user.attachTo(nullptr);
}

LiveTraces* MainWindow::liveTraces() const
{
    return m_pages->liveTraces();
}

void MainWindow::buildCentral(const RecordingSurroundings& surroundings)
{
    auto* central = new QWidget(this);
    m_controls = new ControlBar(central);
    m_strip = new StatusStrip(central);
    m_pages = new RecordingPages(m_controller, surroundings, central);
    m_side = buildSide();
    m_controls->setFixedHeight(spacing::HeaderHeight);
    m_strip->setFixedHeight(spacing::HeaderHeight);

    auto* grid = new QGridLayout(central);
    grid->setContentsMargins(spacing::Medium, spacing::Small, spacing::Medium, spacing::Small);
    grid->setHorizontalSpacing(spacing::Medium);
    grid->setVerticalSpacing(spacing::Small);
    grid->addWidget(m_controls, 0, 0);
    grid->addWidget(m_strip, 0, 1);
    grid->addWidget(m_side, 1, 0);
    grid->addWidget(m_pages, 1, 1);
    grid->setRowStretch(1, 1);
    grid->setColumnStretch(1, 1);
    setCentralWidget(central);
}

/// In a narrow window the pages need the place more.
void MainWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    const int side = width() < WideWindowWidth ? spacing::NarrowSideColumnWidth : spacing::SideColumnWidth;
    for (QWidget* part : {static_cast<QWidget*>(m_controls), m_side})
        part->setFixedWidth(side);
}

/// The dialog holds the setup from the start, shown or not.
void MainWindow::buildSetup(const RecordingSurroundings& surroundings)
{
    m_dialog = new SetupDialog(m_user, this);
    m_devices = m_dialog->devicePanel();
    m_setup = m_dialog->setupPanel();
    m_setupFile = m_dialog->setupFileActions();
    if (surroundings.sensors)
        m_dialog->sensorsTab()->bind(surroundings.sensors);
    if (surroundings.cameras && surroundings.time) {
        m_dialog->camerasTab()->bind(surroundings.cameras);
        m_dialog->camerasTab()->setStreamFactory(
            liveCameraStreams(*surroundings.cameras, *surroundings.time));
    }
    connect(m_dialog, &SetupDialog::startRequested, this, &MainWindow::startRecording);
}

QWidget* MainWindow::buildSide()
{
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* page = new QWidget(scroll);
    m_summary = new SetupSummary(page);
    m_hardware = new HardwareCard(page);
    m_recording = new RecordingPanel(page);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_summary);
    layout->addSpacing(spacing::Small);
    layout->addWidget(m_hardware);
    layout->addWidget(m_recording, 1);
    scroll->setWidget(page);
    return scroll;
}

void MainWindow::buildStatusBar()
{
    auto* right = new QWidget(this);
    m_indicator = new QLabel(right);
    m_indicator->setObjectName(QStringLiteral("recordingIndicator"));
    setEmphasis(m_indicator, Emphasis::Danger);
    m_simulated = new QLabel(tr("Simulated unit: the signals do not come from animals"), right);
    setEmphasis(m_simulated, Emphasis::Warning);
    m_simulated->hide();
    auto* layout = new QHBoxLayout(right); // a style sheet leaves its margins alone, unlike a label's
    layout->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    layout->setSpacing(spacing::Large);
    layout->addWidget(m_simulated);
    layout->addWidget(m_indicator);
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addPermanentWidget(right);
}

void MainWindow::buildMenus(const WindowPreferences& preferences)
{
    buildRecordingMenu();
    QMenu* options = menuBar()->addMenu(tr("&Options"));
    QAction* autoResume = options->addAction(tr("Auto-Resume on DAQ &Disconnect"));
    autoResume->setCheckable(true);
    autoResume->setChecked(preferences.autoResumeOnDaqDisconnect);
    connect(autoResume, &QAction::toggled, this, &MainWindow::handleAutoResume);
    buildHardwareMenu();
    buildViewMenu();
    fillHelpMenu(*menuBar()->addMenu(tr("&Help")), *this, preferences.logFile);
}

void MainWindow::buildRecordingMenu()
{
    QMenu* recording = menuBar()->addMenu(tr("&Recording"));
    // The keys of these three belong to their buttons; behind a tabulator the menu only shows them.
    const auto withKey = [](const QString& entry, const QKeySequence& key) {
        return entry + u'\t' + key.toString(QKeySequence::NativeText);
    };
    m_startAction = recording->addAction(withKey(tr("&Start Recording"), Qt::CTRL | Qt::Key_R), this,
                                         &MainWindow::startRecording);
    m_stopAction = recording->addAction(withKey(tr("S&top Recording"), Qt::CTRL | Qt::SHIFT | Qt::Key_R),
                                        this, [this] { m_controller.requestStop(); });
    m_markerAction =
        recording->addAction(withKey(tr("Add &Marker"), Qt::Key_M), this, &MainWindow::handleMarker);
    recording
        ->addAction(tr("Edit Newest Marker's &Label"), this, [this] { m_recording->markers()->editNewest(); })
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_M));
    m_stimulateAction = recording->addAction(tr("Stimulate &Now"), this, &MainWindow::handleStimulateNow);
    m_stimulateAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_T));
    m_stimulateAction->setEnabled(false);
    recording->addSeparator();
    const std::array<QString, 4> tabs{tr("Basic &Config…"), tr("&Env. Sensors…"), tr("&Video…"),
                                      tr("St&imulation…")};
    for (int tab = 0; tab < static_cast<int>(tabs.size()); ++tab)
        recording
            ->addAction(tabs[static_cast<std::size_t>(tab)], this,
                        [this, tab] { m_dialog->openAt(static_cast<SetupDialog::Tab>(tab)); })
            ->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + tab)));
    recording->addSeparator();
    QAction* file = recording->addAction(tr("Select &File..."), this, [this] { m_setup->selectFile(); });
    file->setShortcut(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_S));
    m_loadConfigAction = recording->addAction(tr("Load Config…"), m_setupFile, &SetupFileActions::load);
    m_loadConfigAction->setShortcut(QKeySequence::Open);
    recording->addAction(tr("Save Config…"), m_setupFile, &SetupFileActions::save)
        ->setShortcut(QKeySequence::Save);
    recording->addSeparator();
    QAction* quit = recording->addAction(tr("&Quit"), this, &QWidget::close);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
}

void MainWindow::buildHardwareMenu()
{
    QMenu* hardware = menuBar()->addMenu(tr("H&ardware"));
    m_lightAction = hardware->addAction(tr("Cage &Light"));
    m_lightAction->setCheckable(true);
    m_lightAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_L));
    connect(m_lightAction, &QAction::triggered, this, [this] {
        m_controller.unitHealth().toggleLight();
        refreshStatus(); // the switch shows what the unit has taken
    });
    hardware->addAction(tr("&Diagnostics…"), this, &MainWindow::showDiagnostics)
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_D));
}

void MainWindow::buildViewMenu()
{
    QMenu* view = menuBar()->addMenu(tr("&View"));
    for (int page = 0; page < m_pages->count(); ++page)
        view->addAction(m_pages->tabText(page), this, [this, page] { m_pages->setCurrentIndex(page); })
            ->setShortcut(QKeySequence(Qt::ALT | static_cast<Qt::Key>(Qt::Key_1 + page)));
    view->addSeparator();
    m_freezeAction = view->addAction(tr("&Freeze or Follow"));
    m_freezeAction->setCheckable(true);
    m_freezeAction->setShortcut(QKeySequence(Qt::Key_F));
    const auto showFrozen = [this] {
        m_freezeAction->setEnabled(m_pages->canFreeze());
        m_freezeAction->setChecked(m_pages->isFrozen());
    };
    connect(m_pages, &RecordingPages::frozenChanged, this, showFrozen);
    connect(m_freezeAction, &QAction::triggered, this, [this, showFrozen] {
        m_pages->toggleFrozen();
        showFrozen(); // there may have been nothing to freeze
    });
}

void MainWindow::showDiagnostics()
{
    m_dialog->stimulationTab()->setPage(StimulationTab::Diagnostics);
    m_dialog->openAt(SetupDialog::Stimulation);
}

void MainWindow::connectPanels()
{
    connect(m_hardware, &HardwareCard::lightToggleRequested, m_lightAction, &QAction::trigger);
    connect(m_hardware, &HardwareCard::diagnosticsRequested, this, &MainWindow::showDiagnostics);
    connect(m_controls, &ControlBar::startRequested, this, &MainWindow::startRecording);
    connect(m_controls, &ControlBar::stopRequested, this, [this] { m_controller.requestStop(); });
    connect(m_controls, &ControlBar::markerRequested, this, &MainWindow::handleMarker);
    connect(m_summary, &SetupSummary::openRequested, this,
            [this] { m_dialog->openAt(SetupDialog::BasicConfig); });
    connect(m_recording, &RecordingPanel::stimulateRequested, this, &MainWindow::handleStimulateNow);
    connect(m_recording->markers(), &MarkerPanel::labelEdited, this, &MainWindow::handleMarkerLabel);
    connect(m_devices, &DevicePanel::refreshRequested, this, [this] { m_controller.refreshDevices(); });
    connect(m_devices, &DevicePanel::deviceChosen, this, [this](const QString& name) {
        m_device = {};
        m_setup->setDevice({});
        m_setupFile->setDevice({});
        updateSteps();
        m_controller.selectDevice(name);
    });
    connect(m_setup, &SetupPanel::basePathChosen, this, &MainWindow::saveFileNameChosen);
    connect(m_setup, &SetupPanel::setupChanged, this, &MainWindow::updateSteps);
    connect(m_setupFile, &SetupFileActions::folderChosen, this, &MainWindow::configDirChosen);
    connect(m_dialog->animalIdActions(), &AnimalIdActions::folderChosen, this,
            &MainWindow::animalIdDirChosen);
    connect(m_setupFile, &SetupFileActions::done, this,
            [this](const QString& message) { statusBar()->showMessage(message, MessageMs); });
    connect(&m_user, &WindowInteraction::recordingIndicatorChanged, this, [this](const QString& text) {
        m_indicator->setText(text.isEmpty() ? QString() : QStringLiteral("●  ") + text);
        m_indicator->setAccessibleName(text);
    });
    connect(&m_user, &WindowInteraction::questionAnswered, this, &MainWindow::handleQuestionAnswered);
}

void MainWindow::connectSession()
{
    connect(&m_controller, &SessionController::stateChanged, this, &MainWindow::handleState);
    connect(&m_controller, &SessionController::devicesChanged, this,
            [this] { m_devices->setDevices(m_controller.devices()); });
    // The first thing to do is to choose a unit, so the keyboard starts there.
    connect(&m_controller, &SessionController::devicesChanged, m_devices, qOverload<>(&QWidget::setFocus),
            Qt::SingleShotConnection);
    connect(&m_controller, &SessionController::deviceSelected, this, [this](const DeviceDetails& details) {
        m_device = details;
        m_controls->setDevice(details);
        m_dialog->setDevice(details);
        m_devices->setUnitInfo(m_controller.unitInfo());
        m_simulated->setVisible(details.usable && details.simulated);
        if (!details.refusal.isEmpty()) // the list may not know yet that another instance has it
            m_devices->setDevices(m_controller.devices());
        updateSteps();
    });
    connect(&m_controller, &SessionController::segmentStarted, this,
            [this](const QString&, int segment) { handleSegmentStarted(segment); });
    connect(&m_controller, &SessionController::markersChanged, this,
            [this] { m_recording->markers()->setMarkers(m_controller.markers()); });
    connect(&m_controller, &SessionController::recordingEnded, this, &MainWindow::handleRecordingEnded);
    connect(&m_controller, &SessionController::devicesRefreshed, this, &MainWindow::refreshStatus);
    connect(&m_controller.unitHealth(), &UnitHealth::changed, this, &MainWindow::refreshStatus);
    connect(&m_statusTimer, &QTimer::timeout, this, &MainWindow::refreshStatus);
}

void MainWindow::startRecording()
{
    m_dialog->commit();
    const RecordingSetup setup = m_setup->setup();
    m_pages->setLightCycle(setup.lightOnset, setup.darkOnset);
    m_controller.record(setup);
}

void MainWindow::handleState(SessionState state)
{
    m_controls->setState(state);
    const bool idle = state == SessionState::Idle;
    const bool isPaused = state == SessionState::Paused || state == SessionState::Resuming;
    m_indicator->setVisible(!isPaused); // the strip says what it is instead
    m_dialog->setLocked(!idle);
    m_loadConfigAction->setEnabled(idle);
    m_startAction->setEnabled(idle);
    m_stopAction->setEnabled(!idle && state != SessionState::Stopping);
    m_markerAction->setEnabled(state == SessionState::Recording && m_device.kind == DeviceKind::NiUnit);
    m_recording->markers()->setEditable(state == SessionState::Recording || state == SessionState::Paused ||
                                        state == SessionState::Resuming);
    refreshStatus();
    // Whoever ends the recording, whether to end it is no question any more.
    if (idle || state == SessionState::Stopping)
        m_user.closeQuestion(stopQuestionId());
    if (idle && m_closeWhenIdle) // behind the last messages of the recording
        QMetaObject::invokeMethod(this, &MainWindow::closeUnlessCutShort, Qt::QueuedConnection);
}

/// A recording that ended for a reason of its own has a message to be read first.
void MainWindow::closeUnlessCutShort()
{
    const bool isCutShort = m_controller.lastEndReason() == EndReason::DeviceLost;
    if (std::exchange(m_closeWhenIdle, false) && m_controller.state() == SessionState::Idle && !isCutShort)
        close();
}

void MainWindow::closeUnattended()
{
    m_isUnattended = true;
    close();
}

/// False while films of ended recordings are still being closed; the window then closes with the last of
/// them. Until it does, the computer is kept awake and the user is told of a film that loses its end.
bool MainWindow::areFilmsClosed()
{
    if (m_waitsForFilms)
        return false;
    m_waitsForFilms = true;
    const auto isLater = std::make_shared<bool>(false);
    m_controller.whenClosed(this, [this, isLater, gaps = m_controller.status().losses.cameraGaps] {
        m_waitsForFilms = false;
        if (*isLater)
            closeWithFilms(gaps);
    });
    *isLater = m_waitsForFilms;
    return !m_waitsForFilms;
}

/// A film that has lost its end meanwhile has a message to be read first.
void MainWindow::closeWithFilms(quint64 gapsBefore)
{
    statusBar()->clearMessage();
    const bool isMessageNew = m_controller.status().losses.cameraGaps > gapsBefore;
    if (m_controller.state() == SessionState::Idle && (!isMessageNew || m_isUnattended))
        close();
}

void MainWindow::handleSegmentStarted(int segment)
{
    if (const std::shared_ptr<const DataManager> processing = m_controller.processing())
        m_scoring = processing->config().activityOnly ? statustext::Scoring::ActivityOnly
                                                      : statustext::Scoring::SleepWake;
    if (segment == 0)
        m_recording->report()->setReport({});
    refreshStatus();
}

void MainWindow::handleRecordingEnded(EndReason reason)
{
    refreshStatus();
    // Without a summary nothing was recorded: the name is still free and the last report still the last.
    if (reason == EndReason::CouldNotStart || m_controller.lastSummary().isEmpty())
        return;
    // The name is used up: the next recording must not replace this one.
    m_dialog->forgetRecording();
    m_recording->report()->setReport(m_controller.lastReport());
}

void MainWindow::handleMarker()
{
    const int event = m_controller.addMarker(QString());
    statusBar()->showMessage(event < 0 ? tr("No marker was set: there is no marker file")
                                       : tr("Marker %1 set").arg(event),
                             MessageMs);
}

void MainWindow::handleMarkerLabel(int event, const QString& label)
{
    if (!m_controller.setMarkerLabel(event, label))
        statusBar()->showMessage(tr("The label of marker %1 could not be written").arg(event), MessageMs);
}

void MainWindow::handleStimulateNow()
{
    const quint16 cages = m_controller.status().stimulation.cages;
    statusBar()->showMessage(statustext::manualStimulationText(m_controller.stimulateNow(), cages),
                             MessageMs);
}

void MainWindow::handleAutoResume(bool enabled)
{
    emit autoResumeChosen(enabled);
    m_user.notify(
        Severity::Information, tr("Restart Required"),
        tr("Auto-resume on DAQ disconnect has been %1.\n\nRestart Vellumtide for the change to take "
           "effect.")
            .arg(enabled ? tr("enabled") : tr("disabled")));
}

void MainWindow::refreshStatus()
{
    const SessionStatus status = m_controller.status();
    m_strip->setStatus(status);
    m_recording->setStatus(status);
    refreshHardware(status);
    m_stimulateAction->setEnabled(status.stimulation.isRunning);
    if (!status.channels.empty() || status.state != SessionState::Idle)
        m_pages->setChannels(status.channels, m_scoring);
    const bool named = status.state != SessionState::Idle && !status.basePath.isEmpty();
    setWindowTitle(named ? tr("%1 – Vellumtide").arg(statustext::recordingName(status.basePath))
                         : tr("Vellumtide"));
}

void MainWindow::refreshHardware(const SessionStatus& status)
{
    const UnitHealth& health = m_controller.unitHealth();
    const std::vector<HardwareProblem> problems = health.problems();
    const bool isAway = !problems.empty() && problems.front().fault == HardwareFault::UnitAway;
    const bool hasLight = status.device.usable && status.device.kind == DeviceKind::NiUnit && !isAway;
    m_hardware->setUnit(status.device.usable ? status.device.name : QString());
    m_hardware->setProblems(problems);
    m_hardware->setLight(hasLight, health.isLightOn());
    m_lightAction->setEnabled(hasLight);
    m_lightAction->setChecked(health.isLightOn());
    m_devices->setSearching(m_controller.isRefreshingDevices());
}

void MainWindow::updateSteps()
{
    liveTraces()->emptyState()->setStepDone(EmptyState::ChooseUnit, m_device.usable);
    liveTraces()->emptyState()->setStepDone(EmptyState::NameFile, !m_setup->basePath().isEmpty());
    m_summary->show(m_device, m_setup->setup());
}

void MainWindow::handleQuestionAnswered(const QString& id, int index)
{
    if (id != stopQuestionId() || !std::exchange(m_askedToClose, false) || index != 0)
        return;
    m_closeWhenIdle = true;
    if (m_controller.state() == SessionState::Idle)
        close();
}

void MainWindow::chooseDevice(const QString& name)
{
    m_devices->chooseDevice(name);
}

void MainWindow::closeEvent(QCloseEvent* event)
{
    const SessionState state = m_controller.state();
    const bool isOver = state == SessionState::Idle || state == SessionState::Prepared;
    if (isOver && areFilmsClosed()) {
        emit geometryToKeep(saveGeometry());
        event->accept();
        return;
    }
    event->ignore();
    if (isOver) {
        statusBar()->showMessage(tr("The window closes when the films are closed"));
        return;
    }
    if (state == SessionState::Stopping) {
        statusBar()->showMessage(tr("The window closes when the recording is closed"), MessageMs);
        m_closeWhenIdle = true;
        return;
    }
    if (m_closeWhenIdle || m_askedToClose)
        return;
    m_controller.requestStop();
    m_askedToClose = true;
}

void MainWindow::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    // A change of the application's palette comes as the window's own; a new style sheet makes more of them.
    const bool isThemeNew = event->type() == QEvent::PaletteChange && QGuiApplication::palette() != m_themed;
    if (isThemeNew || event->type() == QEvent::ApplicationFontChange)
        applyTheme();
    if (event->type() == QEvent::WindowStateChange)
        setUpdatesEnabled(!isMinimized()); // the status goes on changing, and nobody sees it
}

void MainWindow::applyTheme()
{
    if (m_applyingTheme)
        return;
    m_applyingTheme = true;
    m_themed = QGuiApplication::palette();
    setStyleSheet(Theme::current().styleSheet(font()));
    m_applyingTheme = false;
}

} // namespace vt
