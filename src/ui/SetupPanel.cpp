// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SetupPanel.h"

#include "acquisition/AcquisitionFrame.h"
#include "recording/SegmentPaths.h"
#include "ui/ElidedLabel.h"
#include "ui/StatusText.h"
#include "ui/Theme.h"
#include "ui/ToggleSwitch.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTableWidget>
#include <QTimeEdit>
#include <QVBoxLayout>

namespace vt {

namespace {

constexpr int VisibleAnimalRows = 5;

template <typename Field>
Field* describe(Field* field, const QString& name, const QString& toolTip)
{
    field->setAccessibleName(name);
    field->setToolTip(toolTip);
    return field;
}

/// Caption above its field; the caption's mnemonic leads into the field.
void addField(QGridLayout* grid, int column, const QString& caption, QWidget* field)
{
    auto* label = new QLabel(caption, field->parentWidget());
    label->setBuddy(field);
    setTextRole(label, TextRole::Caption);
    grid->addWidget(label, 0, column);
    grid->addWidget(field, 1, column);
    grid->setColumnStretch(column, 1);
}

} // namespace

SetupPanel::SetupPanel(QWidget* parent)
    : QWidget(parent), m_channelCount(new QSpinBox(this)),
      m_animalTypeCaption(new QLabel(tr("Animal t&ype"), this)), m_animalTypeChoice(new QComboBox(this)),
      m_animals(new QTableWidget(this)), m_animalsOrHint(new QStackedWidget(this)),
      m_lightOn(new QTimeEdit(this)), m_darkOn(new QTimeEdit(this)), m_activityOnly(new ToggleSwitch(this)),
      m_bandpass(new ToggleSwitch(this)), m_fileName(new ElidedLabel(this)), m_folder(new ElidedLabel(this)),
      m_selectFile(new QPushButton(tr("Select &File..."), this)),
      m_importIds(new QPushButton(tr("I&mport IDs…"), this)),
      m_loadConfig(new QPushButton(tr("Load Config…"), this)),
      m_saveConfig(new QPushButton(tr("Save Config…"), this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    layout->addWidget(buildAnimals(), 1);
    layout->addWidget(buildFile());
    layout->addLayout(buildConfigButtons());
    setSetup({});
    setDevice({});
}

Card* SetupPanel::buildAnimals()
{
    auto* card = new Card(tr("Animals"), this);
    describe(m_importIds, tr("Import animal IDs"),
             tr("Take animal IDs from the first column of a spreadsheet or text file"));
    m_importIds->setObjectName(QStringLiteral("importIds"));
    card->addHeaderWidget(m_importIds);
    connect(m_importIds, &QPushButton::clicked, this, &SetupPanel::importIdsRequested);
    describe(m_channelCount, tr("Number of channels"),
             tr("How many channels are recorded, beginning with the first"));
    describe(m_lightOn, tr("Light on"), tr("Time of day at which the light goes on"));
    describe(m_darkOn, tr("Dark on"), tr("Time of day at which the light goes off"));
    for (QTimeEdit* edit : {m_lightOn, m_darkOn})
        edit->setDisplayFormat(QStringLiteral("HH:mm"));
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(spacing::Small);
    grid->setVerticalSpacing(2);
    addField(grid, 0, tr("&Channels"), m_channelCount);
    addField(grid, 1, tr("&Light on"), m_lightOn);
    addField(grid, 2, tr("&Dark on"), m_darkOn);
    describe(m_animalTypeChoice, tr("Animal type"),
             tr("What animals are recorded. The serial amplifier does not know it."));
    m_animalTypeChoice->setObjectName(QStringLiteral("animalType"));
    for (const int type : {AnimalMouse, AnimalRat})
        m_animalTypeChoice->addItem(statustext::animalTypeText(type), type);
    m_animalTypeCaption->setBuddy(m_animalTypeChoice);
    setTextRole(m_animalTypeCaption, TextRole::Caption);
    grid->addWidget(m_animalTypeCaption, 2, 0);
    grid->addWidget(m_animalTypeChoice, 2, 1, 1, 2);
    card->body()->addLayout(grid);

    describe(m_animals, tr("Animal IDs"),
             tr("The animal on each channel. Empty: the channel's number is used."));
    m_animals->setObjectName(QStringLiteral("animalTable"));
    m_animals->setColumnCount(2);
    m_animals->setHorizontalHeaderLabels({tr("Channel"), tr("Animal ID")});
    m_animals->horizontalHeader()->setStretchLastSection(true);
    m_animals->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_animals->horizontalHeader()->setHighlightSections(false);
    m_animals->verticalHeader()->hide();
    m_animals->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Small);
    m_animals->setSelectionMode(QAbstractItemView::SingleSelection);
    m_animals->setTabKeyNavigation(false);
    m_animals->setMinimumHeight((VisibleAnimalRows + 1) * (fontMetrics().height() + spacing::Small));
    auto* hint = new QLabel(tr("The channels of the chosen unit appear here."), m_animalsOrHint);
    hint->setAlignment(Qt::AlignCenter);
    hint->setWordWrap(true);
    setTextRole(hint, TextRole::Hint);
    m_animalsOrHint->addWidget(hint);
    m_animalsOrHint->addWidget(m_animals);
    card->body()->addWidget(m_animalsOrHint, 1);

    connect(m_channelCount, &QSpinBox::valueChanged, this, [this](int count) {
        m_wantedChannels = count;
        setChannelCount(count);
        emit setupChanged();
    });
    connect(m_animals, &QTableWidget::itemChanged, this, [this](QTableWidgetItem* item) {
        if (item->column() != 1)
            return;
        m_ids[item->row()] = item->text().trimmed();
        emit setupChanged();
    });
    for (QTimeEdit* edit : {m_lightOn, m_darkOn})
        connect(edit, &QTimeEdit::timeChanged, this, &SetupPanel::setupChanged);
    return card;
}

Card* SetupPanel::buildFile()
{
    auto* card = new Card(tr("Recording"), this);
    m_activityOnly->setText(tr("&Activity only"));
    describe(m_activityOnly, tr("Activity only"), tr("Record activity without scoring sleep and wake"));
    m_bandpass->setText(tr("&Band-pass"));
    describe(m_bandpass, tr("Band-pass"),
             tr("Band-pass the signals on the screen. What is recorded stays the same."));
    auto* options = new QHBoxLayout;
    options->setSpacing(spacing::Large);
    options->addWidget(m_activityOnly);
    options->addWidget(m_bandpass);
    options->addStretch();

    m_fileName->setObjectName(QStringLiteral("fileName"));
    setTextRole(m_folder, TextRole::Caption);
    describe(m_selectFile, tr("Select the recording file"), tr("Choose where the recording is saved"));
    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    names->addWidget(m_fileName);
    names->addWidget(m_folder);
    auto* file = new QHBoxLayout;
    file->setSpacing(spacing::Small);
    file->addLayout(names, 1);
    file->addWidget(m_selectFile);
    card->body()->addLayout(file);
    card->body()->addLayout(options);

    connect(m_selectFile, &QPushButton::clicked, this, &SetupPanel::selectFile);
    for (ToggleSwitch* option : {m_activityOnly, m_bandpass})
        connect(option, &ToggleSwitch::toggled, this, &SetupPanel::setupChanged);
    return card;
}

QLayout* SetupPanel::buildConfigButtons()
{
    describe(m_loadConfig, tr("Load a setup file"), tr("Take animals, light cycle and more from a file"));
    m_loadConfig->setObjectName(QStringLiteral("loadConfig"));
    describe(m_saveConfig, tr("Save a setup file"), tr("Keep this setup in a file for later recordings"));
    m_saveConfig->setObjectName(QStringLiteral("saveConfig"));
    connect(m_loadConfig, &QPushButton::clicked, this, &SetupPanel::loadConfigRequested);
    connect(m_saveConfig, &QPushButton::clicked, this, &SetupPanel::saveConfigRequested);
    auto buttons = std::make_unique<QHBoxLayout>();
    buttons->setSpacing(spacing::Small);
    buttons->addWidget(m_loadConfig, 1);
    buttons->addWidget(m_saveConfig, 1);
    return buttons.release();
}

void SetupPanel::setDevice(const DeviceDetails& details)
{
    m_offeredChannels = details.usable ? std::min(details.offeredChannels, MaxChannels) : 0;
    m_animalType = details.animalType;
    showAnimalTypeChoice(details.usable && details.kind == DeviceKind::SerialAmplifier);
    {
        const QSignalBlocker block(m_channelCount);
        m_channelCount->setRange(m_offeredChannels > 0 ? 1 : 0, m_offeredChannels);
    }
    showWantedChannels();
    setChannelCount(m_channelCount->value());
    setLocked(m_locked);
    emit setupChanged();
}

void SetupPanel::setSetup(const RecordingSetup& setup)
{
    m_carried = setup;
    m_ids = setup.animalIds;
    if (setup.channelCount != m_channelCount->value()) {
        m_wantedChannels = setup.channelCount;
        showWantedChannels();
    }
    setChannelCount(m_channelCount->value());
    if (const int index = m_animalTypeChoice->findData(setup.animalType); index >= 0)
        m_animalTypeChoice->setCurrentIndex(index);
    m_lightOn->setTime(setup.lightOnset);
    m_darkOn->setTime(setup.darkOnset);
    m_activityOnly->setChecked(setup.activityOnly);
    m_bandpass->setChecked(setup.bandpass);
    setBasePath(setup.basePath);
    emit setupReplaced();
}

void SetupPanel::setStimulation(const std::optional<VexioSettings>& vexio,
                                const std::optional<DioSettings>& dio)
{
    m_carried.vexio = vexio;
    m_carried.dio = dio;
    emit setupChanged();
}

void SetupPanel::setVideo(const VideoSettings& video)
{
    m_carried.video = video;
    emit setupChanged();
}

void SetupPanel::setEnvSensorLabels(const QMap<QString, QString>& labels)
{
    m_carried.envSensorLabels = labels;
    emit setupChanged();
}

int SetupPanel::channelCount() const
{
    return m_channelCount->value();
}

void SetupPanel::setAnimalIds(const QStringList& ids)
{
    for (qsizetype channel = 0; channel < std::min(ids.size(), m_ids.size()); ++channel)
        m_ids[channel] = ids[channel];
    setChannelCount(channelCount());
    emit setupChanged();
}

void SetupPanel::setConfigButtonsVisible(bool isVisible)
{
    m_loadConfig->setVisible(isVisible);
    m_saveConfig->setVisible(isVisible);
}

RecordingSetup SetupPanel::setup() const
{
    RecordingSetup setup = m_carried;
    setup.basePath = m_basePath;
    setup.replaceable = m_carried.replaceable.value_or(QString()); // only what was agreed to in the dialog
    setup.channelCount = m_channelCount->value();
    setup.animalType = m_animalTypeChoice->currentData().toInt();
    setup.animalIds = enteredAnimalIds();
    setup.lightOnset = m_lightOn->time();
    setup.darkOnset = m_darkOn->time();
    setup.activityOnly = m_activityOnly->isChecked();
    setup.bandpass = m_bandpass->isChecked();
    return setup;
}

RecordingSetup SetupPanel::setupToSave() const
{
    RecordingSetup all = setup();
    all.animalIds = m_ids;
    return all;
}

void SetupPanel::finishEditing()
{
    // An open cell editor hands over its text when it loses the focus.
    const QWidget* focus = QApplication::focusWidget();
    if (focus && focus != m_animals && m_animals->isAncestorOf(focus))
        m_animals->setFocus();
}

QStringList SetupPanel::enteredAnimalIds() const
{
    QStringList ids;
    for (int channel = 0; channel < m_channelCount->value(); ++channel)
        ids << (m_ids.value(channel).isEmpty() ? QString::number(channel + 1) : m_ids.value(channel));
    return ids;
}

void SetupPanel::showWantedChannels()
{
    const QSignalBlocker block(m_channelCount); // a limited number is not what was asked for
    m_channelCount->setValue(m_wantedChannels > 0 ? m_wantedChannels : m_offeredChannels);
}

void SetupPanel::setChannelCount(int count)
{
    const QSignalBlocker block(m_animals);
    while (m_ids.size() < count)
        m_ids.append(QString());
    m_animals->setRowCount(count);
    m_animalsOrHint->setCurrentIndex(count > 0 ? 1 : 0);
    for (int row = 0; row < count; ++row) {
        auto number = std::make_unique<QTableWidgetItem>(QString::number(row + 1));
        number->setFlags(Qt::ItemIsEnabled);
        number->setForeground(Theme::current().mutedText);
        m_animals->setItem(row, 0, number.release());
        auto id = std::make_unique<QTableWidgetItem>(m_ids[row]);
        id->setData(Qt::AccessibleDescriptionRole, tr("Animal ID of channel %1").arg(row + 1));
        m_animals->setItem(row, 1, id.release());
    }
}

void SetupPanel::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::PaletteChange)
        return;
    const QSignalBlocker block(m_animals);
    for (int row = 0; row < m_animals->rowCount(); ++row)
        m_animals->item(row, 0)->setForeground(Theme::current().mutedText);
}

void SetupPanel::showAnimalTypeChoice(bool shown)
{
    m_animalTypeCaption->setVisible(shown);
    m_animalTypeChoice->setVisible(shown);
}

int SetupPanel::animalType() const
{
    return m_animalTypeChoice->isHidden() ? m_animalType : m_animalTypeChoice->currentData().toInt();
}

void SetupPanel::setSuggestedPath(const QString& basePath)
{
    m_suggestedPath = basePath;
}

void SetupPanel::setBasePath(const QString& basePath)
{
    m_basePath = basePath;
    showBasePath();
    emit setupChanged();
}

void SetupPanel::forgetRecording()
{
    m_carried.frameLimit = 0;
    m_carried.replaceable.reset();
    setBasePath({});
}

void SetupPanel::showBasePath()
{
    const QFileInfo info(m_basePath);
    const bool named = !m_basePath.isEmpty();
    m_fileName->setText(named ? info.fileName() : tr("No file chosen"));
    setEmphasis(m_fileName, named ? Emphasis::Normal : Emphasis::Muted);
    m_folder->setText(named ? QDir::toNativeSeparators(info.path()) : tr("Every recording needs a name"));
    m_fileName->setAccessibleName(tr("Name of the recording: %1").arg(m_fileName->text()));
    m_folder->setAccessibleName(named ? tr("Folder of the recording: %1").arg(m_folder->text())
                                      : m_folder->text());
}

void SetupPanel::selectFile()
{
    if (m_locked)
        return;
    const QString extension = statustext::extensionFor(animalType());
    auto* dialog = new QFileDialog(this, tr("Select new %0 file").arg(extension));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setNameFilter(tr("Vellumtide data files (*.%0)").arg(extension));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setDefaultSuffix(extension);
    const QString start = m_basePath.isEmpty() ? m_suggestedPath : m_basePath;
    if (!start.isEmpty()) {
        dialog->setDirectory(QFileInfo(start).path());
        dialog->selectFile(QFileInfo(start).fileName());
    }
    connect(dialog, &QFileDialog::fileSelected, this, &SetupPanel::lookAtName);
    dialog->open();
}

/// The dialog asks about a file that is there, and about no other: another unit's files, or one that another
/// instance writes meanwhile, have other names or come later.
void SetupPanel::lookAtName(const QString& path)
{
    const QString base = stripRecordingExtension(path);
    const QString raw = segmentPaths(base, animalType()).raw;
    m_fileName->setText(tr("Looking at the disk…"));
    m_names.look(path, base, raw, [this, path, base, raw](const RecordingNameState& found) {
        showBasePath();
        if (m_locked)
            return;
        if (found.isThere)
            takeName(base, path);
        else if (!found.ofOtherKind.isEmpty())
            refuseName(found.ofOtherKind);
        else if (!found.any.isEmpty())
            askToReplace(base, raw, found.any);
        else
            takeName(base, {});
    });
}

void SetupPanel::refuseName(const QString& found)
{
    auto* box = new QMessageBox(QMessageBox::Warning, tr("Select File"),
                                tr("'%1' belongs to a recording of another kind of animal, which is not "
                                   "replaced. Choose another name.")
                                    .arg(QFileInfo(found).fileName()),
                                QMessageBox::Ok, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    box->open();
}

void SetupPanel::takeName(const QString& base, const QString& replaceable)
{
    m_carried.replaceable = replaceable;
    setBasePath(base);
    m_suggestedPath = m_basePath;
    emit basePathChosen(m_basePath);
}

/// The raw file is gone, so the dialog saw nothing to ask about, but other files of the recording are there.
void SetupPanel::askToReplace(const QString& base, const QString& raw, const QString& found)
{
    auto* box = new QMessageBox(
        QMessageBox::Warning, tr("Replace Recording"),
        tr("'%1' belongs to an earlier recording. Replace that recording?").arg(QFileInfo(found).fileName()),
        QMessageBox::NoButton, this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setTextFormat(Qt::PlainText);
    const auto* replace = box->addButton(tr("&Replace"), QMessageBox::AcceptRole);
    box->setDefaultButton(box->addButton(tr("&Cancel"), QMessageBox::RejectRole));
    connect(replace, &QPushButton::clicked, this, [this, base, raw] {
        if (!m_locked)
            takeName(base, raw);
    });
    box->open();
}

void SetupPanel::setLocked(bool locked)
{
    m_locked = locked;
    const bool channels = !locked && m_offeredChannels > 0;
    m_importIds->setEnabled(channels);
    for (QWidget* field : {static_cast<QWidget*>(m_channelCount), static_cast<QWidget*>(m_lightOn),
                           static_cast<QWidget*>(m_darkOn), static_cast<QWidget*>(m_animalTypeChoice)})
        field->setEnabled(channels);
    // What was entered stays readable during a recording.
    m_animals->setEditTriggers(channels ? QAbstractItemView::AllEditTriggers
                                        : QAbstractItemView::NoEditTriggers);
    for (QWidget* field : {static_cast<QWidget*>(m_activityOnly), static_cast<QWidget*>(m_bandpass),
                           static_cast<QWidget*>(m_selectFile), static_cast<QWidget*>(m_loadConfig)})
        field->setEnabled(!locked);
}

} // namespace vt
