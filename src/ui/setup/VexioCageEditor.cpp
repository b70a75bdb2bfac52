// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/VexioCageEditor.h"

#include "ui/Card.h"
#include "ui/StatusText.h"
#include "ui/Theme.h"
#include "ui/setup/Fields.h"
#include "ui/setup/RegisterBox.h"

#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QStyledItemDelegate>
#include <QTableWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <memory>
#include <set>
#include <utility>

namespace vt {

namespace {

constexpr int WaveShapes = 3;
constexpr std::array<CageValue, 3> AllValues{CageValue::Frequency, CageValue::Amplitude, CageValue::Duration};

quint8& valueOf(CageSettings& cage, CageValue what)
{
    return what == CageValue::Frequency   ? cage.frequency
           : what == CageValue::Amplitude ? cage.amplitude
                                          : cage.duration;
}

bool& randomOf(CageSettings& cage, CageValue what)
{
    return what == CageValue::Frequency   ? cage.randomFrequency
           : what == CageValue::Amplitude ? cage.randomAmplitude
                                          : cage.randomDuration;
}

std::pair<quint8, quint8> rangeOf(const RandomRange& range, CageValue what)
{
    switch (what) {
    case CageValue::Frequency:
        return {range.frequencyMin, range.frequencyMax};
    case CageValue::Amplitude:
        return {range.amplitudeMin, range.amplitudeMax};
    case CageValue::Duration:
        break;
    }
    return {range.durationMin, range.durationMax};
}

void setRange(RandomRange& range, CageValue what, quint8 low, quint8 high)
{
    switch (what) {
    case CageValue::Frequency:
        range.frequencyMin = low;
        range.frequencyMax = high;
        break;
    case CageValue::Amplitude:
        range.amplitudeMin = low;
        range.amplitudeMax = high;
        break;
    case CageValue::Duration:
        range.durationMin = low;
        range.durationMax = high;
        break;
    }
}

QString numberText(CageValue what, quint8 registerValue)
{
    QLocale locale;
    locale.setNumberOptions(QLocale::OmitGroupSeparator); // as in the fields
    return locale.toString(cageNumber(what, registerValue), 'f', cageDecimals(what));
}

QString valueText(const CageSettings& cage, CageValue what)
{
    CageSettings copy = cage;
    return randomOf(copy, what) ? VexioCageEditor::tr("random")
                                : numberText(what, valueOf(copy, what)) + u' ' + cageUnit(what);
}

QString nameOf(CageValue what)
{
    return what == CageValue::Frequency   ? VexioCageEditor::tr("Frequency")
           : what == CageValue::Amplitude ? VexioCageEditor::tr("Amplitude")
                                          : VexioCageEditor::tr("Duration");
}

/// Greys ticks that cannot be changed now; their rows can still be selected.
class TickDelegate final : public QStyledItemDelegate
{
public:
    using QStyledItemDelegate::QStyledItemDelegate;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        option->state.setFlag(QStyle::State_Enabled, index.flags().testFlag(Qt::ItemIsUserCheckable));
    }
};

} // namespace

VexioCageEditor::VexioCageEditor(QWidget* parent)
    : QWidget(parent), m_table(new QTableWidget(this)), m_selected(new QLabel(this)),
      m_wave(new QComboBox(this)), m_rangeNote(fields::hint({}, this)),
      m_read(new QPushButton(tr("&Read from Unit"), this)),
      m_write(new QPushButton(tr("&Write to Unit"), this)),
      m_clear(new QPushButton(tr("Clear C&ounts"), this)), m_result(fields::hint({}, this))
{
    m_activations.fill(-1);
    buildTable();
    auto* cages = new Card(tr("Cages"), this);
    cages->body()->addWidget(m_table, 1);
    cages->body()->addWidget(
        fields::hint(tr("Trigger: the cage follows its digital input instead of the protocol. Connect the "
                        "input first: one "
                        "that nothing drives reads as high, and the cage is stimulated all the time."),
                     cages));
    cages->body()->addWidget(buildUnitButtons());
    auto* right = new QVBoxLayout;
    right->setSpacing(spacing::Medium);
    right->addWidget(buildProfile());
    right->addWidget(buildRange());
    right->addStretch();
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Medium);
    layout->addWidget(cages, 1);
    layout->addLayout(right);
    showSettings({});
    updateButtons();
}

void VexioCageEditor::buildTable()
{
    m_table->setObjectName(QStringLiteral("cageTable"));
    fields::describe(m_table, tr("Cages"),
                     tr("Select one or more cages to change their profile. Space ticks."));
    m_table->setColumnCount(ColumnCount);
    m_table->setHorizontalHeaderLabels({tr("Cage"), tr("Enable"), tr("Trigger"), tr("Frequency"),
                                        tr("Amplitude"), tr("Duration"), tr("Wave"), tr("Count")});
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    for (const int whole : {Cage, Enable, Trigger, Wave})
        m_table->horizontalHeader()->setSectionResizeMode(whole, QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Small);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setTabKeyNavigation(false);
    for (const int ticks : {Enable, Trigger})
        m_table->setItemDelegateForColumn(ticks, new TickDelegate(m_table));
    connect(m_table, &QTableWidget::itemChanged, this, &VexioCageEditor::handleItem);
    connect(m_table, &QTableWidget::itemSelectionChanged, this, &VexioCageEditor::handleSelection);
}

Card* VexioCageEditor::buildProfile()
{
    auto* card = new Card(tr("Profile"), this);
    setTextRole(m_selected, TextRole::Caption);
    card->body()->addWidget(m_selected);
    m_profileFields = new QWidget(card);
    auto* grid = new QGridLayout(m_profileFields);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(spacing::Small);
    grid->setVerticalSpacing(2);
    const QStringList captions{tr("&Frequency"), tr("A&mplitude"), tr("D&uration")};
    int row = 0;
    for (std::size_t index = 0; index < AllValues.size(); ++index, row += 2) {
        const CageValue what = AllValues[index];
        m_fields[index] = new RegisterBox(what, card);
        fields::describe(m_fields[index], nameOf(what),
                         tr("The unit holds steps: what it will hold is told as you type"));
        m_fields[index]->setObjectName(QStringLiteral("cageValue%1").arg(index));
        m_random[index] = new QCheckBox(tr("random"), card);
        fields::describe(m_random[index], tr("%1 is random").arg(nameOf(what)),
                         tr("Drawn from the range below whenever the profiles are written to the unit"));
        m_stored[index] = new QLabel(card);
        m_stored[index]->setObjectName(QStringLiteral("cageStored%1").arg(index));
        setTextRole(m_stored[index], TextRole::Hint);
        setEmphasis(m_stored[index], Emphasis::Warning);
        grid->addWidget(fields::caption(captions[static_cast<qsizetype>(index)], m_fields[index], card), row,
                        0);
        grid->addWidget(m_fields[index], row, 1);
        grid->addWidget(m_random[index], row, 2);
        grid->addWidget(m_stored[index], row + 1, 1, 1, 2);
        grid->setRowMinimumHeight(row + 1, fontMetrics().height());
        connectProfile(index);
    }
    for (quint8 shape = 0; shape < WaveShapes; ++shape)
        m_wave->addItem(waveShapeText(shape));
    fields::describe(m_wave, tr("Wave shape"), tr("The form of the signal on the speaker"));
    grid->addWidget(fields::caption(tr("Wave s&hape"), m_wave, card), row, 0);
    grid->addWidget(m_wave, row, 1);
    connect(m_wave, &QComboBox::activated, this, [this](int shape) {
        changeSelected([shape](CageSettings& cage) { cage.waveShape = static_cast<quint8>(shape); });
    });
    card->body()->addWidget(m_profileFields);
    return card;
}

void VexioCageEditor::connectProfile(std::size_t index)
{
    const CageValue what = AllValues[index];
    connect(m_fields[index], &RegisterBox::registerChanged, this, [this, what](quint8 value) {
        changeSelected([what, value](CageSettings& cage) { valueOf(cage, what) = value; });
    });
    connect(m_fields[index], &RegisterBox::storedTextChanged, m_stored[index], &QLabel::setText);
    connect(m_random[index], &QCheckBox::clicked, this, [this, what, index](bool isRandom) {
        m_random[index]->setTristate(false);
        changeSelected([what, isRandom](CageSettings& cage) { randomOf(cage, what) = isRandom; });
        m_fields[index]->setEnabled(!isRandom);
    });
}

Card* VexioCageEditor::buildRange()
{
    auto* card = new Card(tr("Randomization Range:"), this);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(spacing::Small);
    grid->setVerticalSpacing(spacing::Tiny);
    for (std::size_t index = 0; index < AllValues.size(); ++index) {
        const CageValue what = AllValues[index];
        const int row = static_cast<int>(index);
        m_lowest[index] = new RegisterBox(what, card);
        m_highest[index] = new RegisterBox(what, card);
        fields::describe(m_lowest[index], tr("Lowest random %1").arg(nameOf(what).toLower()),
                         tr("The lowest value that is drawn"));
        fields::describe(m_highest[index], tr("Highest random %1").arg(nameOf(what).toLower()),
                         tr("The highest value that is drawn"));
        grid->addWidget(fields::caption(nameOf(what), m_lowest[index], card), row, 0);
        grid->addWidget(m_lowest[index], row, 1);
        grid->addWidget(new QLabel(tr("to"), card), row, 2);
        grid->addWidget(m_highest[index], row, 3);
        for (RegisterBox* box : {m_lowest[index], m_highest[index]}) {
            box->setMinimumWidth(fontMetrics().averageCharWidth() * 14);
            connect(box, &RegisterBox::registerChanged, this, &VexioCageEditor::handleRange);
        }
    }
    card->body()->addLayout(grid);
    card->body()->addWidget(m_rangeNote);
    setEmphasis(m_rangeNote, Emphasis::Warning);
    card->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    return card;
}

QWidget* VexioCageEditor::buildUnitButtons()
{
    auto* row = new QWidget(this);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Small);
    m_read->setObjectName(QStringLiteral("readCages"));
    m_result->setObjectName(QStringLiteral("cageResult"));
    m_read->setToolTip(tr("Take the profiles and counts that the unit holds now"));
    m_write->setToolTip(tr("Try the profiles at once. A recording writes them anyway when it starts."));
    m_clear->setToolTip(tr("Set the unit's counts of stimulations to 0"));
    for (QPushButton* button : {m_read, m_write, m_clear})
        layout->addWidget(button);
    layout->addWidget(m_result, 1);
    connect(m_read, &QPushButton::clicked, this, [this] {
        m_takesProfiles = true;
        showOperation(true, tr("Reading…"));
        emit readRequested();
    });
    connect(m_write, &QPushButton::clicked, this, [this] { emit writeRequested(m_settings); });
    connect(m_clear, &QPushButton::clicked, this, &VexioCageEditor::clearCountersRequested);
    return row;
}

void VexioCageEditor::showSettings(const VexioSettings& settings)
{
    m_settings = settings;
    m_filling = true;
    for (std::size_t index = 0; index < AllValues.size(); ++index) {
        const auto [low, high] = rangeOf(settings.randomRange, AllValues[index]);
        m_lowest[index]->setRegister(low);
        m_highest[index]->setRegister(high);
    }
    m_filling = false;
    m_rangeNote->hide();
    showTable();
    handleSelection();
}

void VexioCageEditor::collect(VexioSettings& settings) const
{
    settings.cages = m_settings.cages;
    settings.cageEnableMask = m_settings.cageEnableMask;
    settings.extTriggerMask = m_settings.extTriggerMask;
    settings.randomRange = m_settings.randomRange;
}

void VexioCageEditor::setChannelCount(int count)
{
    if (count == m_channelCount)
        return;
    m_channelCount = count;
    showTable();
}

void VexioCageEditor::setUnitPresent(bool isPresent)
{
    m_isPresent = isPresent;
    m_takesProfiles = false;
    m_activations.fill(-1);
    showTable();
    updateButtons();
}

void VexioCageEditor::setLocked(bool isLocked)
{
    if (isLocked == m_isLocked)
        return;
    m_isLocked = isLocked;
    if (std::exchange(m_takesProfiles, false)) // what a recording reads later is not what was asked for
        showOperation(false, tr("The reading was broken off."));
    for (std::size_t index = 0; index < AllValues.size(); ++index)
        for (RegisterBox* box : {m_lowest[index], m_highest[index]})
            box->setEnabled(!isLocked);
    showTable();
    handleSelection();
    updateButtons();
}

void VexioCageEditor::updateButtons()
{
    m_read->setEnabled(m_isPresent);
    m_write->setEnabled(m_isPresent && !m_isLocked);
    m_clear->setEnabled(m_isPresent && !m_isLocked);
    if (!m_isPresent)
        m_result->setText(tr("No stimulation unit answers."));
    else if (m_result->text() == tr("No stimulation unit answers."))
        m_result->clear();
    setEmphasis(m_result, Emphasis::Muted);
}

void VexioCageEditor::showTable()
{
    const int rows = std::max(VexioSettings::CageCount, m_channelCount);
    m_filling = true;
    if (m_table->rowCount() != rows) {
        m_table->setRowCount(rows);
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < ColumnCount; ++column)
                m_table->setItem(row, column, new QTableWidgetItem); // the table owns it
            m_table->item(row, Cage)->setText(QString::number(row + 1));
        }
    }
    for (int row = 0; row < rows; ++row)
        showRow(row);
    m_filling = false;
    if (m_table->selectedItems().isEmpty())
        m_table->selectRow(0);
}

void VexioCageEditor::showRow(int row)
{
    const bool hasProfile = row < VexioSettings::CageCount;
    const bool isRecorded = m_channelCount == 0 || row < m_channelCount;
    const auto tick = [&](int column, quint16 mask, const QString& spoken) {
        QTableWidgetItem* item = m_table->item(row, column);
        item->setFlags(m_isLocked ? item->flags() & ~Qt::ItemIsUserCheckable
                                  : item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState((mask >> row & 1) != 0 ? Qt::Checked : Qt::Unchecked);
        item->setData(Qt::AccessibleTextRole, spoken.arg(row + 1));
    };
    tick(Enable, m_settings.cageEnableMask, tr("Stimulate cage %1"));
    tick(Trigger, m_settings.extTriggerMask, tr("Cage %1 follows its trigger"));
    m_table->item(row, Cage)->setToolTip(!isRecorded   ? tr("No channel of the unit")
                                         : !hasProfile ? tr("The stimulation unit has eight cages: this one "
                                                            "has a digital output only")
                                                       : QString());
    m_table->item(row, Cage)->setForeground(isRecorded ? Theme::current().text : Theme::current().mutedText);
    if (!hasProfile) {
        for (int column = Frequency; column < ColumnCount; ++column)
            m_table->item(row, column)->setText(QStringLiteral("–"));
        return;
    }
    const CageSettings& cage = m_settings.cages[static_cast<std::size_t>(row)];
    m_table->item(row, Frequency)->setText(valueText(cage, CageValue::Frequency));
    m_table->item(row, Amplitude)->setText(valueText(cage, CageValue::Amplitude));
    m_table->item(row, Duration)->setText(valueText(cage, CageValue::Duration));
    m_table->item(row, Wave)->setText(waveShapeText(cage.waveShape));
    const int count = m_activations[static_cast<std::size_t>(row)];
    m_table->item(row, Count)->setText(count < 0 ? QStringLiteral("–") : QString::number(count));
}

std::vector<std::size_t> VexioCageEditor::selectedCages() const
{
    std::set<std::size_t> rows;
    for (const QTableWidgetItem* item : m_table->selectedItems())
        if (item->row() < VexioSettings::CageCount)
            rows.insert(static_cast<std::size_t>(item->row()));
    return {rows.begin(), rows.end()};
}

template <typename Change>
void VexioCageEditor::changeSelected(Change change)
{
    if (m_filling)
        return;
    m_filling = true;
    for (const std::size_t cage : selectedCages()) {
        change(m_settings.cages[cage]);
        showRow(static_cast<int>(cage));
    }
    m_filling = false;
    emit changed();
}

void VexioCageEditor::handleItem(QTableWidgetItem* item)
{
    if (m_filling || (item->column() != Enable && item->column() != Trigger))
        return;
    quint16& mask = item->column() == Enable ? m_settings.cageEnableMask : m_settings.extTriggerMask;
    const auto bit = static_cast<quint16>(1U << static_cast<unsigned>(item->row()));
    mask = static_cast<quint16>(item->checkState() == Qt::Checked ? mask | bit : mask & ~bit);
    emit changed();
}

void VexioCageEditor::handleSelection()
{
    if (m_filling)
        return;
    const std::vector<std::size_t> cages = selectedCages();
    m_profileFields->setEnabled(!cages.empty() && !m_isLocked);
    quint16 mask = 0;
    for (const std::size_t cage : cages)
        mask = static_cast<quint16>(mask | 1U << cage);
    m_selected->setText(cages.empty() ? tr("No cage of the stimulation unit is selected.")
                        : cages.size() == 1
                            ? tr("Cage %1").arg(statustext::cageList(mask))
                            : tr("Cages %1: a change holds for all of them").arg(statustext::cageList(mask)));
    if (cages.empty())
        return;
    CageSettings cage = m_settings.cages[cages.front()];
    m_filling = true;
    for (std::size_t index = 0; index < AllValues.size(); ++index) {
        const bool isRandom = randomOf(cage, AllValues[index]);
        m_fields[index]->setRegister(valueOf(cage, AllValues[index]));
        m_fields[index]->setEnabled(!isRandom);
        m_random[index]->setChecked(isRandom);
    }
    m_wave->setCurrentIndex(cage.waveShape);
    m_filling = false;
}

void VexioCageEditor::handleRange()
{
    if (m_filling)
        return;
    bool isOrdered = true;
    for (std::size_t index = 0; index < AllValues.size(); ++index) {
        const quint8 low = m_lowest[index]->registerValue();
        const quint8 high = m_highest[index]->registerValue();
        isOrdered = isOrdered && low <= high;
        if (low > high)
            continue; // while one end is typed the other may still be on the wrong side
        setRange(m_settings.randomRange, AllValues[index], low, high);
    }
    m_rangeNote->setText(tr("A lowest value is above its highest: the range before it stays."));
    m_rangeNote->setVisible(!isOrdered);
    emit changed();
}

void VexioCageEditor::showCage(quint8 cage, quint8 frequency, quint8 amplitude, quint8 duration,
                               quint8 waveShape, quint16 activations)
{
    if (cage >= VexioSettings::CageCount)
        return;
    m_activations[cage] = activations;
    CageSettings& settings = m_settings.cages[cage];
    if (m_takesProfiles && !m_isLocked) {
        settings.frequency = frequency;
        settings.amplitude = amplitude;
        settings.duration = duration;
        if (waveShape < WaveShapes)
            settings.waveShape = waveShape;
    }
    m_filling = true;
    showRow(cage);
    m_filling = false;
    if (m_takesProfiles && cage == VexioSettings::CageCount - 1) {
        m_takesProfiles = false;
        showOperation(true, m_isLocked ? tr("Counts read. The profiles are those of the setup.")
                                       : tr("Read from the unit."));
        if (m_isLocked)
            return;
        handleSelection();
        emit changed();
    }
}

void VexioCageEditor::showOperation(bool isSuccess, const QString& message)
{
    m_result->setText(message);
    setEmphasis(m_result, isSuccess ? Emphasis::Normal : Emphasis::Danger);
}

void VexioCageEditor::showReadFailed()
{
    if (std::exchange(m_takesProfiles, false)) // else nobody waits: counts after a stimulation
        showOperation(false, tr("The unit has not answered. Nothing was changed."));
}

void VexioCageEditor::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        showTable();
}

} // namespace vt
