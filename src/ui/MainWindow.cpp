// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/MainWindow.h"

#include "processing/DataManager.h"
#include "ui/Card.h"
#include "ui/ControlBar.h"
#include "ui/DevicePanel.h"
#include "ui/LiveTraces.h"
#include "ui/SetupFileActions.h"
#include "ui/SetupPanel.h"
#include "ui/SleepTable.h"
#include "ui/StatusStrip.h"
#include "ui/Theme.h"
#include "ui/WindowInteraction.h"

#include <QAction>
#include <QCloseEvent>
#include <QFontDatabase>
#include <QGridLayout>
#include <QLabel>
#include <QLocale>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QStatusBar>
#include <QTabWidget>
#include <QVBoxLayout>
#include <utility>

namespace vt {

namespace {

constexpr int StatusIntervalMs = 200;
constexpr int MessageMs = 5000;
enum SideTab { ConfigTab, SleepTab };

} // namespace

MainWindow::MainWindow(SessionController& controller, WindowInteraction& user,
                       const WindowPreferences& preferences, QWidget* parent)
    : QMainWindow(parent), m_controller(controller), m_user(user)
{
    setWindowTitle(tr("Vellumtide"));
    m_user.attachTo(this);
    buildCentral();
    buildStatusBar();
    buildMenus(preferences);
    applyTheme();
    m_setup->setSuggestedPath(preferences.saveFileName);
    m_setupFile->setFolder(preferences.lastConfigDir);
    connectPanels();
    connectSession();
    setMinimumSize(1180, 640);
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

void MainWindow::buildCentral()
{
    auto* central = new QWidget(this);
    m_controls = new ControlBar(central);
    m_strip = new StatusStrip(central);
    m_traces = new LiveTraces(central);
    m_side = new QTabWidget(central);
    m_side->setDocumentMode(true);
    m_side->addTab(buildConfigPage(), tr("Basic Config"));
    m_side->addTab(buildSleepPage(), tr("Sleep Summary"));
    for (QWidget* wide : {static_cast<QWidget*>(m_controls), static_cast<QWidget*>(m_side)})
        wide->setFixedWidth(spacing::SideColumnWidth);
    m_controls->setFixedHeight(spacing::HeaderHeight);
    m_strip->setFixedHeight(spacing::HeaderHeight);

    auto* grid = new QGridLayout(central);
    grid->setContentsMargins(spacing::Medium, spacing::Small, spacing::Medium, spacing::Small);
    grid->setHorizontalSpacing(spacing::Medium);
    grid->setVerticalSpacing(spacing::Small);
    grid->addWidget(m_controls, 0, 0);
    grid->addWidget(m_strip, 0, 1);
    grid->addWidget(m_side, 1, 0);
    grid->addWidget(m_traces, 1, 1);
    grid->setRowStretch(1, 1);
    grid->setColumnStretch(1, 1);
    setCentralWidget(central);
}

QWidget* MainWindow::buildConfigPage()
{
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* page = new QWidget(scroll);
    m_devices = new DevicePanel(page);
    m_setup = new SetupPanel(page);
    m_setupFile = new SetupFileActions(*m_setup, m_user, this);
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_devices);
    layout->addWidget(m_setup, 1);
    scroll->setWidget(page);
    return scroll;
}

QWidget* MainWindow::buildSleepPage()
{
    auto* page = new QWidget;
    m_sleep = new SleepTable(page);
    auto* card = new Card(tr("Last recording"), page);
    m_report = new QPlainTextEdit(card);
    m_report->setReadOnly(true);
    m_report->setFont(Theme::font(TextRole::Caption, QFontDatabase::systemFont(QFontDatabase::FixedFont)));
    m_report->setFrameShape(QFrame::NoFrame);
    m_report->setAccessibleName(tr("Report of the last recording"));
    m_report->setToolTip(tr("Files, sleep and losses of the last recording"));
    m_report->setTabChangesFocus(true);
    card->body()->addWidget(m_report);
    m_reportCard = card;
    m_reportCard->hide();
    auto* layout = new QVBoxLayout(page);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_sleep, 3);
    layout->addWidget(m_reportCard, 2);
    return page;
}

void MainWindow::buildStatusBar()
{
    m_indicator = new QLabel(this);
    m_indicator->setObjectName(QStringLiteral("recordingIndicator"));
    m_indicator->setContentsMargins(spacing::Medium, 0, spacing::Medium, 0);
    setEmphasis(m_indicator, Emphasis::Danger);
    m_simulated = new QLabel(tr("Simulated unit: the signals do not come from animals"), this);
    setEmphasis(m_simulated, Emphasis::Warning);
    m_simulated->hide();
    m_stimulation = new QLabel(this);
    m_stimulation->setObjectName(QStringLiteral("stimulation"));
    m_stimulation->setContentsMargins(0, 0, spacing::Medium, 0);
    m_stimulation->hide();
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addPermanentWidget(m_stimulation);
    statusBar()->addPermanentWidget(m_simulated);
    statusBar()->addPermanentWidget(m_indicator);
}

void MainWindow::buildMenus(const WindowPreferences& preferences)
{
    QMenu* recording = menuBar()->addMenu(tr("&Recording"));
    m_startAction = recording->addAction(tr("&Start Recording"), this, &MainWindow::startRecording);
    m_stopAction = recording->addAction(tr("S&top Recording"), this, [this] { m_controller.requestStop(); });
    m_markerAction = recording->addAction(tr("Add &Marker"), this, &MainWindow::handleMarker);
    m_stimulateAction = recording->addAction(tr("Stimulate &Now"), this, &MainWindow::handleStimulateNow);
    m_stimulateAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_T));
    m_stimulateAction->setEnabled(false);
    recording->addSeparator();
    QAction* file = recording->addAction(tr("Select &File..."), this, [this] { m_setup->selectFile(); });
    file->setShortcut(QKeySequence::SaveAs);
    m_loadConfigAction = recording->addAction(tr("Load Config…"), m_setupFile, &SetupFileActions::load);
    m_loadConfigAction->setShortcut(QKeySequence::Open);
    recording->addAction(tr("Save Config…"), m_setupFile, &SetupFileActions::save)
        ->setShortcut(QKeySequence::Save);
    recording->addSeparator();
    QAction* quit = recording->addAction(tr("&Quit"), this, &QWidget::close);
    quit->setShortcut(QKeySequence::Quit);

    QMenu* options = menuBar()->addMenu(tr("&Options"));
    QAction* autoResume = options->addAction(tr("Auto-Resume on DAQ &Disconnect"));
    autoResume->setCheckable(true);
    autoResume->setChecked(preferences.autoResumeOnDaqDisconnect);
    connect(autoResume, &QAction::toggled, this, &MainWindow::handleAutoResume);

    QMenu* view = menuBar()->addMenu(tr("&View"));
    view->addAction(tr("&Basic Config"), this, [this] { m_side->setCurrentIndex(ConfigTab); })
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_1));
    view->addAction(tr("&Sleep Summary"), this, [this] { m_side->setCurrentIndex(SleepTab); })
        ->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_2));
}

void MainWindow::connectPanels()
{
    connect(m_controls, &ControlBar::startRequested, this, &MainWindow::startRecording);
    connect(m_controls, &ControlBar::stopRequested, this, [this] { m_controller.requestStop(); });
    connect(m_controls, &ControlBar::markerRequested, this, &MainWindow::handleMarker);
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
        m_devices->setDetails(details);
        m_controls->setDevice(details);
        m_setup->setDevice(details);
        m_setupFile->setDevice(details);
        m_simulated->setVisible(details.usable && details.simulated);
        if (!details.refusal.isEmpty()) // the list may not know yet that another instance has it
            m_devices->setDevices(m_controller.devices());
        updateSteps();
    });
    connect(&m_controller, &SessionController::segmentStarted, this,
            [this](const QString&, int segment) { handleSegmentStarted(segment); });
    connect(&m_controller, &SessionController::segmentEnded, this, &MainWindow::freezeTraces);
    connect(&m_controller, &SessionController::recordingEnded, this, &MainWindow::handleRecordingEnded);
    connect(&m_statusTimer, &QTimer::timeout, this, &MainWindow::refreshStatus);
}

void MainWindow::startRecording()
{
    m_setup->finishEditing();
    m_controller.record(m_setup->setup());
}

void MainWindow::handleState(SessionState state)
{
    m_controls->setState(state);
    const bool idle = state == SessionState::Idle;
    m_devices->setLocked(!idle);
    m_setup->setLocked(!idle);
    m_setupFile->setLocked(!idle);
    m_loadConfigAction->setEnabled(idle);
    m_startAction->setEnabled(idle);
    m_stopAction->setEnabled(!idle && state != SessionState::Stopping);
    m_markerAction->setEnabled(state == SessionState::Recording && m_device.kind == DeviceKind::NiUnit);
    if (state == SessionState::Paused)
        freezeTraces();
    refreshStatus();
    // Whoever ends the recording, whether to end it is no question any more.
    if (idle || state == SessionState::Stopping)
        m_user.closeQuestion(stopQuestionId());
    if (idle && m_closeWhenIdle)
        close();
}

void MainWindow::handleSegmentStarted(int segment)
{
    const std::shared_ptr<const DataManager> processing = m_controller.processing();
    if (!processing)
        return;
    m_scoring = processing->config().activityOnly ? statustext::Scoring::ActivityOnly
                                                  : statustext::Scoring::SleepWake;
    QStringList animalIds;
    for (const ChannelSummary& channel : m_controller.status().channels)
        animalIds << channel.animalId;
    while (animalIds.size() < processing->config().channelCount)
        animalIds << QString::number(animalIds.size() + 1);
    m_traces->start(animalIds, [processing](int channel, std::span<float> out) {
        return processing->copyRawTrace(channel, out);
    });
    if (segment == 0) {
        m_reportCard->hide();
        m_side->setCurrentIndex(SleepTab);
    }
    refreshStatus();
}

void MainWindow::freezeTraces()
{
    m_traces->clearSource(m_controller.state() == SessionState::Paused ? tr("Paused, waiting for the unit")
                                                                       : tr("Signals stopped"));
}

void MainWindow::handleRecordingEnded(EndReason reason)
{
    refreshStatus();
    // Without a summary nothing was recorded: the name is still free and the last report still the last.
    if (reason == EndReason::CouldNotStart || m_controller.lastSummary().isEmpty())
        return;
    m_traces->clearSource(tr("Recording ended"));
    // The name is used up: the next recording must not replace this one.
    m_setup->setBasePath({});
    m_report->setPlainText(m_controller.lastSummary());
    m_reportCard->show();
}

void MainWindow::handleMarker()
{
    const int event = m_controller.addMarker(QString());
    statusBar()->showMessage(event < 0 ? tr("The marker was not written: there is no marker file")
                                       : tr("Marker %1 written").arg(event),
                             MessageMs);
}

void MainWindow::handleStimulateNow()
{
    const quint16 cages = m_controller.status().stimulation.cages;
    statusBar()->showMessage(statustext::manualStimulationText(m_controller.stimulateNow(), cages),
                             MessageMs);
}

void MainWindow::showStimulation(const StimulationStatus& stimulation)
{
    using State = StimulationStatus::State;
    m_stimulateAction->setEnabled(stimulation.isRunning);
    const QString line = statustext::stimulationText(stimulation);
    m_stimulation->setVisible(!line.isEmpty());
    m_stimulation->setText(line);
    const bool works = stimulation.state == State::Unit || stimulation.state == State::Outputs;
    setEmphasis(m_stimulation, works ? Emphasis::Normal : Emphasis::Warning);
    m_stimulation->setToolTip(
        tr("Stimulations asked for: %1\nNot carried out by the stimulation unit: %2")
            .arg(QLocale().toString(stimulation.stimulations), QLocale().toString(stimulation.refused)));
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
    showStimulation(status.stimulation);
    if (!status.channels.empty() || status.state != SessionState::Idle) {
        m_sleep->setChannels(status.channels, m_scoring,
                             status.state == SessionState::Idle ? SleepTable::Phase::Ended
                                                                : SleepTable::Phase::Running);
        m_traces->setChannels(status.channels, m_scoring);
    }
    const bool named = status.state != SessionState::Idle && !status.basePath.isEmpty();
    setWindowTitle(named ? tr("%1 – Vellumtide").arg(statustext::recordingName(status.basePath))
                         : tr("Vellumtide"));
}

void MainWindow::updateSteps()
{
    m_traces->emptyState()->setStepDone(EmptyState::ChooseUnit, m_device.usable);
    m_traces->emptyState()->setStepDone(EmptyState::NameFile, !m_setup->basePath().isEmpty());
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
    if (state == SessionState::Idle || state == SessionState::Prepared) {
        emit geometryToKeep(saveGeometry());
        event->accept();
        return;
    }
    event->ignore();
    if (state == SessionState::Stopping && !m_closeWhenIdle)
        statusBar()->showMessage(tr("Wait until the recording is closed"), MessageMs);
    if (state == SessionState::Stopping || m_closeWhenIdle || m_askedToClose)
        return;
    m_controller.requestStop();
    m_askedToClose = true;
}

void MainWindow::changeEvent(QEvent* event)
{
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange || event->type() == QEvent::ApplicationFontChange)
        applyTheme();
}

void MainWindow::applyTheme()
{
    if (m_applyingTheme)
        return;
    m_applyingTheme = true;
    setStyleSheet(Theme::current().styleSheet(font()));
    m_applyingTheme = false;
}

} // namespace vt
