// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/CamerasTab.h"

#include "ui/CameraView.h"
#include "ui/Card.h"
#include "ui/Theme.h"
#include "ui/ToggleSwitch.h"
#include "ui/setup/Fields.h"

#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <set>

namespace vt {

namespace {

enum Column { Camera, Cage, Picture, State, ColumnCount };
constexpr int MostChannels = 16;
constexpr int MostSegmentMinutes = 24 * 60;

QString resolutionText(int width, int height)
{
    return width > 0 && height > 0 ? QStringLiteral("%1x%2").arg(width).arg(height) : QString();
}

QString pictureText(const CameraEntry& entry)
{
    const QString size = resolutionText(entry.width, entry.height);
    const QString shown = size.isEmpty() ? CamerasTab::tr("Default") : size;
    return entry.rotation == 0 ? shown : CamerasTab::tr("%1, %2°").arg(shown).arg(entry.rotation);
}

QString stateText(const CameraStatus& camera)
{
    if (!camera.lastError.isEmpty())
        return camera.lastError;
    if (camera.isRecording)
        return CamerasTab::tr("Recording");
    if (camera.isOnline)
        return CamerasTab::tr("Found at %1").arg(camera.address.toString());
    return camera.address.isNull() ? CamerasTab::tr("Not found yet") : CamerasTab::tr("Not found");
}

} // namespace

CamerasTab::CamerasTab(QWidget* parent)
    : QWidget(parent), m_table(new QTableWidget(this)), m_tableOrHint(new QStackedWidget(this)),
      m_hint(fields::hint({}, this)), m_scan(fields::hint({}, this)),
      m_rescan(new QPushButton(tr("&Rescan Cameras"), this)), m_form(new QWidget(this)),
      m_enabled(new ToggleSwitch(tr("&Film with this camera"), m_form)), m_channel(new QComboBox(m_form)),
      m_resolution(new QComboBox(m_form)), m_rotation(new QComboBox(m_form)),
      m_refusal(fields::hint({}, m_form)), m_view(new CameraView(this)), m_segment(new QSpinBox(this)),
      m_password(new QLineEdit(this)), m_setPassword(new QPushButton(tr("Set &Password"), this)),
      m_passwordNote(fields::hint({}, this))
{
    auto* left = new QVBoxLayout;
    left->setSpacing(spacing::Medium);
    left->addWidget(buildList(), 1);
    left->addWidget(buildAccess());
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->setSpacing(spacing::Medium);
    layout->addLayout(left, 3);
    layout->addWidget(buildDetails(), 2);
    connectDetails();
    showSettings({});
}

CamerasTab::~CamerasTab() = default;

Card* CamerasTab::buildList()
{
    auto* card = new Card(tr("Cameras"), this);
    m_rescan->setObjectName(QStringLiteral("rescanCameras"));
    m_rescan->setToolTip(tr("Search the local network; takes 10 s"));
    card->addHeaderWidget(m_rescan);
    m_table->setObjectName(QStringLiteral("cameraTable"));
    fields::describe(m_table, tr("Cameras"), tr("Choose a camera to set it up"));
    m_table->setColumnCount(ColumnCount);
    m_table->setHorizontalHeaderLabels({tr("Camera"), tr("Cage"), tr("Picture"), tr("State")});
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(State, QHeaderView::Stretch);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Medium);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setTabKeyNavigation(false);
    m_hint->setAlignment(Qt::AlignCenter);
    m_tableOrHint->addWidget(m_hint);
    m_tableOrHint->addWidget(m_table);
    card->body()->addWidget(m_tableOrHint, 1);
    card->body()->addWidget(m_scan);
    return card;
}

Card* CamerasTab::buildDetails()
{
    auto* card = new Card(tr("Camera"), this);
    m_view->setObjectName(QStringLiteral("liveView"));
    card->body()->addWidget(m_view, 1);
    fields::describe(m_channel, tr("Cage"), tr("Whose cage the camera films; a cage has one camera"));
    fields::describe(m_resolution, tr("Resolution"), tr("Set at the camera when a recording starts"));
    fields::describe(m_rotation, tr("Rotation"), tr("Set at the camera when a recording starts"));
    m_enabled->setToolTip(tr("Recordings are filmed by this camera"));
    m_enabled->setObjectName(QStringLiteral("cameraEnabled"));
    m_channel->setObjectName(QStringLiteral("cameraChannel"));
    for (const int degrees : {0, 90, 180, 270})
        m_rotation->addItem(tr("%1°").arg(degrees), degrees);
    setEmphasis(m_refusal, Emphasis::Danger);
    auto* grid = new QGridLayout(m_form);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(spacing::Small);
    grid->setVerticalSpacing(spacing::Tiny);
    grid->addWidget(fields::caption(tr("Ca&ge"), m_channel, m_form), 0, 0);
    grid->addWidget(m_channel, 0, 1);
    grid->addWidget(fields::caption(tr("R&esolution"), m_resolution, m_form), 1, 0);
    grid->addWidget(m_resolution, 1, 1);
    grid->addWidget(fields::caption(tr("R&otation"), m_rotation, m_form), 2, 0);
    grid->addWidget(m_rotation, 2, 1);
    grid->addWidget(m_enabled, 3, 0, 1, 2);
    grid->addWidget(m_refusal, 4, 0, 1, 2);
    grid->setColumnStretch(1, 1);
    card->body()->addWidget(m_form);
    return card;
}

Card* CamerasTab::buildAccess()
{
    auto* card = new Card(tr("All cameras"), this);
    m_segment->setRange(1, MostSegmentMinutes);
    m_segment->setSuffix(tr(" min"));
    fields::describe(m_segment, tr("Length of one video file"),
                     tr("A recording's video is cut into files of this length"));
    m_password->setEchoMode(QLineEdit::Password);
    m_password->setObjectName(QStringLiteral("cameraPassword"));
    fields::describe(m_password, tr("Password of the cameras"),
                     tr("It can be set here, and nobody can read it here"));
    m_setPassword->setObjectName(QStringLiteral("setPassword"));
    m_setPassword->setToolTip(tr("In effect at once, whatever becomes of the rest of the setup"));
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(spacing::Small);
    grid->setVerticalSpacing(spacing::Tiny);
    grid->addWidget(fields::caption(tr("Length of &video files"), m_segment, card), 0, 0);
    grid->addWidget(m_segment, 0, 1);
    grid->addWidget(fields::caption(tr("Pass&word"), m_password, card), 1, 0);
    grid->addWidget(m_password, 1, 1);
    grid->addWidget(m_setPassword, 1, 2);
    grid->addWidget(m_passwordNote, 2, 1, 1, 2);
    grid->setColumnStretch(1, 1);
    card->body()->addLayout(grid);
    return card;
}

void CamerasTab::connectDetails()
{
    connect(m_table, &QTableWidget::itemSelectionChanged, this, [this] {
        if (m_filling)
            return;
        m_refusal->hide();
        showDetails();
    });
    connect(m_rescan, &QPushButton::clicked, this, [this] {
        if (m_session)
            m_session->registry().rescan();
        emit rescanRequested();
    });
    connect(m_enabled, &ToggleSwitch::clicked, this, &CamerasTab::setFilming);
    connect(m_channel, &QComboBox::activated, this,
            [this] { handleChange(m_draft.setChannel(selectedMac(), m_channel->currentData().toInt())); });
    connect(m_resolution, &QComboBox::activated, this, [this] {
        const QSize size = m_resolution->currentData().toSize();
        handleChange(m_draft.setResolution(selectedMac(), size.width(), size.height()));
    });
    connect(m_rotation, &QComboBox::activated, this,
            [this] { handleChange(m_draft.setRotation(selectedMac(), m_rotation->currentData().toInt())); });
    connect(m_segment, &QSpinBox::valueChanged, this, [this](int minutes) {
        if (m_filling)
            return;
        VideoSettings settings = m_draft.settings();
        settings.segmentMinutes = minutes;
        handleChange(m_draft.setSettings(settings));
    });
    connect(m_setPassword, &QPushButton::clicked, this, &CamerasTab::setPassword);
    connect(m_password, &QLineEdit::returnPressed, this, &CamerasTab::setPassword);
    connect(m_password, &QLineEdit::textChanged, m_setPassword,
            [this](const QString& text) { m_setPassword->setEnabled(!text.isEmpty()); });
    m_setPassword->setEnabled(false);
}

void CamerasTab::bind(CameraSession* session)
{
    if (m_session) {
        m_session->registry().disconnect(this);
        m_session->registry().setSettingsWindow(false, false);
    }
    m_session = session;
    if (!session)
        return;
    CameraManagerRegistry* registry = &session->registry();
    connect(registry, &CameraManagerRegistry::camerasChanged, this, &CamerasTab::readSession);
    connect(registry, &CameraManagerRegistry::scanStarted, this, &CamerasTab::showScanStarted);
    connect(registry, &CameraManagerRegistry::scanFinished, this, &CamerasTab::showScanFinished);
    m_passwordNote->setText(session->hasOwnPassword() ? tr("A password of your own is set.")
                                                      : tr("The program's default password is used."));
    showSettings(session->settings());
    if (registry->isScanning())
        showScanStarted();
    readSession();
}

void CamerasTab::readSession()
{
    setCameras(m_session->registry().cameras());
}

void CamerasTab::setStreamFactory(CameraStreamFactory factory)
{
    m_factory = std::move(factory);
    m_streamed.clear();
    startStream();
}

void CamerasTab::setCameras(std::vector<CameraStatus> cameras)
{
    m_cameras = std::move(cameras);
    showTable();
}

void CamerasTab::setChannelCount(int count)
{
    m_channelCount = count;
    showDetails();
}

void CamerasTab::setLocked(bool isLocked)
{
    m_isLocked = isLocked;
    m_segment->setEnabled(!isLocked);
    showDetails();
}

QString CamerasTab::showSettings(const VideoSettings& settings)
{
    QString problem = m_draft.setSettings(settings);
    m_refusal->setText(problem);
    m_refusal->setVisible(!problem.isEmpty());
    m_filling = true;
    m_segment->setValue(settings.segmentMinutes);
    m_filling = false;
    showTable();
    return problem;
}

void CamerasTab::commit()
{
    if (m_session && m_session->settings() != m_draft.settings())
        m_session->applySettings(m_draft.settings());
}

CameraEntry CamerasTab::entryOf(const QString& mac) const
{
    if (const CameraEntry* entry = m_draft.find(mac))
        return *entry;
    CameraEntry entry;
    entry.mac = mac;
    return entry;
}

const CameraStatus* CamerasTab::statusOf(const QString& mac) const
{
    const auto camera = std::find_if(m_cameras.begin(), m_cameras.end(),
                                     [&](const CameraStatus& each) { return each.settings.mac == mac; });
    return camera == m_cameras.end() ? nullptr : &*camera;
}

QString CamerasTab::selectedMac() const
{
    const QList<QTableWidgetItem*> selected = m_table->selectedItems();
    return selected.isEmpty() ? QString() : m_table->item(selected.first()->row(), Camera)->text();
}

void CamerasTab::showTable()
{
    std::set<QString> macs;
    for (const CameraStatus& camera : m_cameras)
        macs.insert(camera.settings.mac);
    for (const CameraEntry& entry : m_draft.settings().cameras)
        macs.insert(entry.mac);

    const QString chosen = selectedMac();
    m_filling = true;
    m_table->setRowCount(static_cast<int>(macs.size()));
    int row = 0;
    int chosenRow = 0;
    for (const QString& mac : macs) {
        const CameraEntry entry = entryOf(mac);
        const CameraStatus* status = statusOf(mac);
        const QString cage = entry.channel == 0 ? tr("none")
                             : entry.enabled    ? tr("%1 ✓").arg(entry.channel)
                                                : tr("%1, off").arg(entry.channel);
        const QString texts[ColumnCount]{mac, cage, pictureText(entry),
                                         status ? stateText(*status) : tr("Not found yet")};
        for (int column = 0; column < ColumnCount; ++column)
            m_table->setItem(row, column, new QTableWidgetItem(texts[column])); // the table owns it
        QTableWidgetItem* state = m_table->item(row, State);
        state->setToolTip(texts[State]);
        if (status && !status->lastError.isEmpty())
            state->setForeground(Theme::current().danger);
        else if (!status || !status->isOnline)
            state->setForeground(Theme::current().mutedText);
        if (mac == chosen)
            chosenRow = row;
        ++row;
    }
    if (row > 0)
        m_table->selectRow(chosenRow);
    m_filling = false;
    m_hint->setText(m_isScanning ? tr("Searching the network…")
                                 : tr("No camera found. Connect one to this computer's network and press "
                                      "Rescan Cameras."));
    m_tableOrHint->setCurrentIndex(row > 0 ? 1 : 0);
    showDetails();
}

void CamerasTab::showDetails()
{
    const QString mac = selectedMac();
    const CameraEntry entry = entryOf(mac);
    m_form->setEnabled(!mac.isEmpty());
    for (QWidget* part : {m_channel, m_resolution, m_rotation})
        part->setEnabled(!m_isLocked);
    m_view->setTitle(mac);
    m_channel->clear();
    m_channel->addItem(tr("none"), 0);
    const int channels = std::max(m_channelCount > 0 ? m_channelCount : MostChannels, entry.channel);
    for (int channel = 1; channel <= channels; ++channel)
        m_channel->addItem(QString::number(channel), channel);
    m_channel->setCurrentIndex(m_channel->findData(entry.channel));
    m_rotation->setCurrentIndex(std::max(0, m_rotation->findData(entry.rotation)));
    m_enabled->setChecked(entry.enabled);
    m_enabled->setEnabled(entry.channel > 0);
    const CameraStatus* status = statusOf(mac);
    showResolutions(entry, status ? status->supportedResolutions : QStringList());
    startStream();
}

void CamerasTab::showResolutions(const CameraEntry& entry, const QStringList& supported)
{
    m_resolution->clear();
    m_resolution->addItem(tr("As the camera is set"), QSize(0, 0));
    QStringList offered = supported;
    const QString present = resolutionText(entry.width, entry.height);
    if (!present.isEmpty() && !offered.contains(present))
        offered.prepend(present);
    for (const QString& text : offered) {
        const QStringList sides = text.split(u'x');
        if (sides.size() == 2)
            m_resolution->addItem(text, QSize(sides[0].toInt(), sides[1].toInt()));
    }
    m_resolution->setCurrentIndex(present.isEmpty() ? 0 : m_resolution->findText(present));
}

void CamerasTab::startStream()
{
    const QString mac = selectedMac();
    const CameraStatus* status = statusOf(mac);
    const QString wanted = status && status->isOnline ? mac : QString();
    // What answers at a former address may be another camera.
    const QString streamed = wanted.isEmpty() ? wanted : wanted + u' ' + status->address.toString();
    if (streamed == m_streamed && m_stream)
        return;
    m_streamed = streamed;
    m_stream.reset();
    m_view->showPicture({});
    m_view->showState(CameraView::State::Stopped, mac.isEmpty() ? tr("No camera chosen")
                                                  : wanted.isEmpty()
                                                      ? tr("The camera was not found on the network")
                                                      : QString());
    if (m_factory && !wanted.isEmpty())
        m_stream = m_factory(*m_view, wanted);
}

void CamerasTab::handleChange(const QString& refusal)
{
    showTable();
    m_refusal->setText(refusal);
    m_refusal->setVisible(!refusal.isEmpty());
    if (refusal.isEmpty())
        emit changed();
}

void CamerasTab::setFilming(bool isOn)
{
    const QString mac = selectedMac();
    if (!m_isLocked) {
        handleChange(m_draft.setEnabled(mac, isOn));
        return;
    }
    QString refusal = m_session ? m_session->registry().setEnabled(mac, isOn) : QString();
    if (refusal.isEmpty())
        refusal = m_draft.setEnabled(mac, isOn);
    showTable();
    m_refusal->setText(refusal);
    m_refusal->setVisible(!refusal.isEmpty());
    if (refusal.isEmpty())
        emit filmChosen(mac, isOn);
}

void CamerasTab::setPassword()
{
    const QString password = m_password->text();
    if (password.isEmpty())
        return;
    m_password->clear();
    if (m_session)
        m_session->setPassword(password);
    m_passwordNote->setText(tr("The new password is in effect."));
    emit passwordChosen(password);
    m_streamed.clear();
    m_stream.reset();
    startStream();
}

void CamerasTab::showScanStarted()
{
    m_isScanning = true;
    m_rescan->setEnabled(false);
    m_scan->setText(tr("Searching the network…"));
    setEmphasis(m_scan, Emphasis::Muted);
    showTable();
}

void CamerasTab::showScanFinished(int found, const QString& error)
{
    m_isScanning = false;
    m_rescan->setEnabled(true);
    m_scan->setText(error.isEmpty() ? tr("Cameras found by the last search: %1.").arg(found) : error);
    setEmphasis(m_scan, error.isEmpty() ? Emphasis::Muted : Emphasis::Danger);
    showTable();
}

/// A dialog that was left open behind other windows does not search the network all night.
void CamerasTab::tellWatched()
{
    if (m_session)
        m_session->registry().setSettingsWindow(isVisible(), isVisible() && isActiveWindow());
}

void CamerasTab::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    tellWatched();
}

void CamerasTab::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    if (m_session)
        m_session->registry().setSettingsWindow(false, false);
}

bool CamerasTab::event(QEvent* event)
{
    const bool isDone = QWidget::event(event);
    if (event->type() == QEvent::WindowActivate || event->type() == QEvent::WindowDeactivate)
        tellWatched();
    return isDone;
}

void CamerasTab::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        showTable();
}

CameraStreamFactory liveCameraStreams(CameraSession& session, TimeSource& time)
{
    return [&session, &time](CameraView& view, const QString& mac) -> std::unique_ptr<QObject> {
        auto stream = std::make_unique<MjpegStream>(time);
        const auto follow = [&session, mac, stream = stream.get()](bool isWanted) {
            if (isWanted)
                stream->start(session.liveCamera(mac));
            else
                stream->stop();
        };
        QObject::connect(stream.get(), &MjpegStream::pictureReady, &view, &CameraView::showPicture);
        QObject::connect(stream.get(), &MjpegStream::stateChanged, &view,
                         [&view](MjpegState state, const QString& detail) {
                             view.showState(static_cast<CameraView::State>(state), detail);
                         });
        QObject::connect(&view, &CameraView::wanted, stream.get(), follow);
        if (view.isVisible())
            follow(true);
        return stream;
    };
}

static_assert(static_cast<int>(CameraView::State::Stopped) == static_cast<int>(MjpegState::Stopped) &&
              static_cast<int>(CameraView::State::Connecting) == static_cast<int>(MjpegState::Connecting) &&
              static_cast<int>(CameraView::State::Playing) == static_cast<int>(MjpegState::Playing) &&
              static_cast<int>(CameraView::State::Waiting) == static_cast<int>(MjpegState::Waiting));

} // namespace vt
