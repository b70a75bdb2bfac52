// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/SetupDialog.h"

#include "session/SetupCheck.h"
#include "session/SetupFile.h"
#include "session/UserInteraction.h"
#include "ui/DevicePanel.h"
#include "ui/SetupFileActions.h"
#include "ui/SetupPanel.h"
#include "ui/Theme.h"
#include "ui/setup/AnimalIdActions.h"
#include "ui/setup/CamerasTab.h"
#include "ui/setup/Fields.h"
#include "ui/setup/SensorsTab.h"
#include "ui/setup/StimulationTab.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QTabWidget>
#include <QVBoxLayout>
#include <utility>

namespace vt {

namespace {

/// What the user can change in the dialog, comparable.
QByteArray fingerprint(const RecordingSetup& setup, const VideoSettings& video)
{
    RecordingSetup all = setup;
    all.video = video;
    const QString rest = setup.basePath + QStringLiteral("\n%1\n%2\n%3\n%4")
                                              .arg(setup.channelCount)
                                              .arg(setup.animalType)
                                              .arg(setup.activityOnly)
                                              .arg(setup.bandpass);
    return formatSetup(setupContents(all, static_cast<int>(setup.animalIds.size())), {}, {}) + rest.toUtf8();
}

} // namespace

SetupDialog::SetupDialog(UserInteraction& user, QWidget* parent)
    : QDialog(parent), m_user(user), m_tabs(new QTabWidget(this))
{
    setWindowTitle(tr("Setup"));
    m_tabs->setDocumentMode(true);
    m_tabs->setObjectName(QStringLiteral("setupTabs"));
    m_tabs->addTab(buildBasicConfig(), tr("Basic Config"));
    m_sensors = new SensorsTab(m_tabs);
    m_cameras = new CamerasTab(m_tabs);
    m_stimulation = new StimulationTab(m_tabs);
    m_tabs->addTab(m_sensors, tr("Env. Sensors"));
    m_tabs->addTab(m_cameras, tr("Video"));
    m_tabs->addTab(m_stimulation, tr("Stimulation"));
    m_files = new SetupFileActions(*m_setup, user, this);
    m_ids = new AnimalIdActions(*m_setup, user, this);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(spacing::Medium, spacing::Small, spacing::Medium, spacing::Medium);
    layout->setSpacing(spacing::Medium);
    layout->addWidget(m_tabs, 1);
    layout->addWidget(buildButtons());
    for (int tab = 0; tab < m_tabs->count(); ++tab) {
        m_tabs->setTabToolTip(tab, tr("Ctrl+%1").arg(tab + 1));
        auto* shortcut = new QShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + tab)), this);
        connect(shortcut, &QShortcut::activated, m_tabs, [this, tab] { m_tabs->setCurrentIndex(tab); });
    }
    connectTabs();
    setMinimumSize(960, 560);
    resize(1000, 660);
    keep();
}

SetupDialog::~SetupDialog() = default;

QWidget* SetupDialog::buildBasicConfig()
{
    auto* page = new QWidget(m_tabs);
    m_devices = new DevicePanel(page);
    m_setup = new SetupPanel(page);
    m_setup->setConfigButtonsVisible(false);
    auto* left = new QVBoxLayout;
    left->addWidget(m_devices);
    left->addStretch(1);
    auto* layout = new QHBoxLayout(page);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Medium);
    layout->addLayout(left, 1);
    layout->addWidget(m_setup, 1);
    return page;
}

QWidget* SetupDialog::buildButtons()
{
    auto* row = new QWidget(this);
    m_load = new QPushButton(tr("Load Config…"), row);
    auto* save = new QPushButton(tr("Save Config…"), row);
    auto* cancel = new QPushButton(tr("Cancel"), row);
    m_start = new QPushButton(tr("Start Recording"), row);
    m_load->setObjectName(QStringLiteral("dialogLoadConfig"));
    save->setObjectName(QStringLiteral("dialogSaveConfig"));
    cancel->setObjectName(QStringLiteral("dialogCancel"));
    m_start->setObjectName(QStringLiteral("dialogStart"));
    m_load->setToolTip(tr("Take all of the setup from a file (Ctrl+O)"));
    save->setToolTip(tr("Keep this setup in a file for later recordings (Ctrl+S)"));
    cancel->setToolTip(tr("Close, and leave the setup as it was (Esc)"));
    m_start->setToolTip(tr("Record with this setup (Ctrl+Enter)"));
    m_load->setShortcut(QKeySequence::Open);
    save->setShortcut(QKeySequence::Save);
    m_start->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Return));
    setKind(m_start, QStringLiteral("primary"));
    for (QPushButton* plain : {m_load, save, cancel})
        setKind(plain, QStringLiteral("plain"));
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(m_load);
    layout->addWidget(save);
    m_lockedNote =
        fields::hint(tr("While a recording runs, sensors and cameras can be taken in and left out, and "
                        "the cameras' password can be set. Everything else can be looked at and "
                        "changed after it."),
                     row);
    m_lockedNote->setObjectName(QStringLiteral("lockedNote"));
    m_lockedNote->hide();
    layout->addSpacing(spacing::Small);
    layout->addWidget(m_lockedNote, 1);
    layout->addStretch();
    layout->addWidget(cancel);
    layout->addWidget(m_start);
    connect(m_load, &QPushButton::clicked, this, [this] { m_files->load(); });
    connect(save, &QPushButton::clicked, this, [this] {
        carryParts();
        m_files->save();
    });
    connect(cancel, &QPushButton::clicked, this, &SetupDialog::reject);
    connect(m_start, &QPushButton::clicked, this, &SetupDialog::start);
    // Enter in a field ends its editing and presses nothing.
    for (QPushButton* button : findChildren<QPushButton*>())
        button->setAutoDefault(false);
    return row;
}

void SetupDialog::connectTabs()
{
    connect(m_stimulation, &StimulationTab::changed, this,
            [this] { m_setup->setStimulation(m_stimulation->vexio(), m_stimulation->dio()); });
    connect(m_cameras, &CamerasTab::changed, this, [this] { m_setup->setVideo(m_cameras->settings()); });
    connect(m_cameras, &CamerasTab::filmChosen, this, &SetupDialog::followFilm);
    connect(m_sensors, &SensorsTab::changed, this,
            [this] { m_setup->setEnvSensorLabels(m_sensors->labels()); });
    connect(m_setup, &SetupPanel::setupReplaced, this, &SetupDialog::showParts);
    connect(m_setup, &SetupPanel::setupChanged, this, [this] {
        const RecordingSetup setup = m_setup->setup();
        m_stimulation->setLightCycle(setup.lightOnset, setup.darkOnset);
        m_stimulation->setChannelCount(setup.channelCount);
        m_cameras->setChannelCount(setup.channelCount);
    });
}

void SetupDialog::showParts()
{
    const RecordingSetup setup = m_setup->setup();
    m_stimulation->showSettings(setup.vexio, setup.dio);
    m_sensors->setLabels(setup.envSensorLabels);
    if (setup.video)
        if (const QString problem = m_cameras->showSettings(*setup.video); !problem.isEmpty())
            m_user.notify(Severity::Warning, tr("Cameras"), problem);
}

/// What was made during a recording is no change that could be lost or taken back.
void SetupDialog::followFilm(const QString& mac, bool isOn)
{
    const auto follow = [&](VideoSettings& video) {
        for (CameraEntry& camera : video.cameras)
            if (camera.mac == mac)
                camera.enabled = isOn;
    };
    follow(m_kept.video);
    if (m_kept.setup.video)
        follow(*m_kept.setup.video);
    if (std::optional<VideoSettings> video = m_setup->setup().video) {
        follow(*video);
        m_setup->setVideo(*video);
    }
}

void SetupDialog::carryParts()
{
    m_setup->finishEditing();
    m_setup->setEnvSensorLabels(m_sensors->labels());
    if (m_setup->setup().video || m_cameras->settings() != VideoSettings{})
        m_setup->setVideo(m_cameras->settings());
}

void SetupDialog::setDevice(const DeviceDetails& details)
{
    m_device = details;
    m_devices->setDetails(details);
    m_setup->setDevice(details);
    m_files->setDevice(details);
}

void SetupDialog::setLocked(bool isLocked)
{
    m_devices->setLocked(isLocked);
    m_setup->setLocked(isLocked);
    m_files->setLocked(isLocked);
    m_sensors->setLocked(isLocked);
    m_cameras->setLocked(isLocked);
    m_stimulation->setLocked(isLocked);
    m_load->setEnabled(!isLocked);
    m_lockedNote->setVisible(isLocked);
    m_start->setEnabled(!isLocked);
}

void SetupDialog::openAt(Tab tab)
{
    m_tabs->setCurrentIndex(tab);
    if (!isVisible())
        keep();
    show();
    raise();
    activateWindow();
}

void SetupDialog::keep()
{
    m_kept = {m_setup->setupToSave(), m_cameras->settings(), m_device.name};
}

bool SetupDialog::hasChanges() const
{
    if (!m_sensors->enabledChanges().isEmpty())
        return true;
    RecordingSetup now = m_setup->setupToSave();
    RecordingSetup then = m_kept.setup;
    if (m_device.name != m_kept.deviceName) { // another unit has other channels, which nobody typed
        now.channelCount = then.channelCount;
        now.animalIds.removeAll(QString());
        then.animalIds.removeAll(QString());
    }
    return fingerprint(now, m_cameras->settings()) != fingerprint(then, m_kept.video);
}

void SetupDialog::discard()
{
    RecordingSetup then = m_kept.setup;
    if (m_device.name != m_kept.deviceName)
        then.channelCount = m_setup->channelCount();
    m_setup->setSetup(then);
    m_cameras->showSettings(m_kept.video);
    m_sensors->discard();
}

void SetupDialog::commit()
{
    carryParts();
    m_sensors->commit();
    m_cameras->commit();
    keep();
}

void SetupDialog::forgetRecording()
{
    m_setup->forgetRecording();
    m_kept.setup.basePath.clear();
    m_kept.setup.frameLimit = 0;
}

void SetupDialog::reject()
{
    m_setup->finishEditing();
    if (!isVisible() || !hasChanges()) {
        QDialog::reject();
        return;
    }
    if (std::exchange(m_isAsking, true))
        return;
    m_user.ask({tr("Setup"),
                tr("The setup was changed. Close it and lose the changes?"),
                {tr("&Lose Changes"), tr("&Keep Editing")},
                1,
                1},
               [guard = QPointer<SetupDialog>(this)](int answer) {
                   if (!guard)
                       return;
                   guard->m_isAsking = false;
                   if (answer != 0)
                       return;
                   guard->discard();
                   guard->QDialog::reject();
               });
}

void SetupDialog::closeEvent(QCloseEvent* event)
{
    event->ignore();
    reject();
}

QString SetupDialog::whyNotReady() const
{
    const RecordingSetup setup = m_setup->setup();
    DeviceDetails device = m_device;
    if (!device.usable)
        device.name.clear();
    if (QString problem = checkSetupValues(setup, device); !problem.isEmpty())
        return problem;
    // Whether the file can be written is looked at when the recording is prepared: that may take time.
    return setup.basePath.isEmpty() ? checkRecordingPath({}, device.animalType) : QString();
}

void SetupDialog::start()
{
    m_setup->finishEditing();
    if (const QString problem = whyNotReady(); !problem.isEmpty()) {
        m_tabs->setCurrentIndex(BasicConfig);
        m_user.notify(Severity::Warning, tr("Not Ready to Record"), problem);
        return;
    }
    commit();
    accept();
    emit startRequested();
}

} // namespace vt
