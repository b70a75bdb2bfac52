// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/DevicePanel.h"

#include "ui/DeviceDelegate.h"
#include "ui/ElidedLabel.h"
#include "ui/StatusText.h"
#include "ui/Theme.h"

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <memory>

namespace vt {

namespace {

QLabel* valueLabel(QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    return label;
}

QString spokenText(const DeviceEntry& device)
{
    QString text = DevicePanel::tr("%1, %2").arg(device.name, device.productType);
    if (!device.serial.isEmpty())
        text += DevicePanel::tr(", serial %1").arg(device.serial);
    if (device.simulated)
        text += DevicePanel::tr(", simulated");
    if (device.inUse)
        text += device.holderPid > 0 ? DevicePanel::tr(", in use by another Vellumtide instance (process %1)")
                                           .arg(device.holderPid)
                                     : DevicePanel::tr(", in use by another Vellumtide instance");
    return text;
}

} // namespace

DevicePanel::DevicePanel(QWidget* parent)
    : Card(tr("Unit"), parent), m_list(new QListWidget(this)), m_noDevices(new QLabel(this)),
      m_listOrHint(new QStackedWidget(this)), m_searching(new QLabel(tr("Searching…"), this)),
      m_refresh(new QPushButton(tr("Refres&h"), this)), m_message(new QLabel(this)),
      m_details(new QWidget(this)), m_channels(valueLabel(m_details)), m_animal(valueLabel(m_details)),
      m_gain(valueLabel(m_details)), m_warnings(valueLabel(this)), m_info(new QWidget(this)),
      m_infoGrid(new QGridLayout(m_info))
{
    m_refresh->setToolTip(tr("Look for acquisition units again (F5)"));
    m_refresh->setAccessibleName(tr("Refresh the list of units"));
    m_refresh->setShortcut(QKeySequence(Qt::Key_F5));
    m_searching->setObjectName(QStringLiteral("searching"));
    m_searching->setToolTip(tr("Looking for acquisition units; the list can be used meanwhile"));
    setTextRole(m_searching, TextRole::Hint);
    m_searching->hide();
    addHeaderWidget(m_searching);
    addHeaderWidget(m_refresh);

    setFocusProxy(m_list);
    m_list->setObjectName(QStringLiteral("deviceList"));
    m_list->setAccessibleName(tr("Acquisition units"));
    m_list->setToolTip(tr("The unit to record from"));
    m_list->setItemDelegate(new DeviceDelegate(m_list));
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setUniformItemSizes(true);
    setSearching(false);
    m_noDevices->setWordWrap(true);
    m_noDevices->setAlignment(Qt::AlignCenter);
    setTextRole(m_noDevices, TextRole::Hint);
    m_listOrHint->addWidget(m_noDevices);
    m_listOrHint->addWidget(m_list);
    fitList(0);

    m_message->setWordWrap(true);
    setTextRole(m_message, TextRole::Hint);
    auto* grid = new QGridLayout(m_details);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(spacing::Large);
    grid->setVerticalSpacing(0);
    int column = 0;
    for (const auto& [name, value] :
         {std::pair{tr("Channels offered"), m_channels}, std::pair{tr("Animal type"), m_animal},
          std::pair{tr("Gain"), m_gain}}) {
        auto* caption = new QLabel(name, m_details);
        setTextRole(caption, TextRole::Caption);
        value->setObjectName(QStringLiteral("detail%1").arg(column));
        grid->addWidget(caption, 0, column);
        grid->addWidget(value, 1, column);
        grid->setColumnStretch(column, 1);
        ++column;
    }
    body()->addWidget(m_listOrHint);
    body()->addWidget(m_message);
    body()->addWidget(m_details);
    m_warnings->setObjectName(QStringLiteral("unitWarnings"));
    m_warnings->setWordWrap(true);
    setEmphasis(m_warnings, Emphasis::Warning);
    body()->addWidget(m_warnings);
    m_infoGrid->setContentsMargins(0, 0, 0, 0);
    m_infoGrid->setHorizontalSpacing(spacing::Medium);
    m_infoGrid->setVerticalSpacing(2);
    m_infoGrid->setColumnStretch(1, 1);
    body()->addWidget(m_info);
    showMessage(tr("No unit chosen."));

    connect(m_refresh, &QPushButton::clicked, this, &DevicePanel::refreshRequested);
    connect(m_list, &QListWidget::itemSelectionChanged, this, &DevicePanel::handleSelection);
}

void DevicePanel::setDevices(const std::vector<DeviceEntry>& devices)
{
    m_filling = true;
    m_list->clear();
    bool stillThere = false;
    for (const DeviceEntry& device : devices) {
        auto* item = new QListWidgetItem(device.name, m_list);
        item->setData(DeviceDelegate::ProductType, device.productType);
        item->setData(DeviceDelegate::Serial, device.serial);
        item->setData(DeviceDelegate::Simulated, device.simulated);
        item->setData(DeviceDelegate::Amplifier, device.kind == DeviceKind::SerialAmplifier);
        item->setData(DeviceDelegate::InUse, device.inUse);
        item->setData(Qt::AccessibleTextRole, spokenText(device));
        item->setToolTip(spokenText(device));
        if (device.inUse)
            item->setFlags(item->flags() & ~(Qt::ItemIsSelectable | Qt::ItemIsEnabled));
        if (!device.inUse && device.name == m_chosen) {
            m_list->setCurrentItem(item);
            stillThere = true;
        }
    }
    m_listOrHint->setCurrentIndex(devices.empty() ? 0 : 1);
    fitList(static_cast<int>(devices.size()));
    m_filling = false;
    if (!stillThere && !m_chosen.isEmpty())
        handleSelection();
}

void DevicePanel::setSearching(bool isSearching)
{
    m_searching->setVisible(isSearching);
    m_noDevices->setText(isSearching ? tr("Looking for acquisition units…")
                                     : tr("No unit found. Connect one, switch it on and press Refresh."));
}

void DevicePanel::fitList(int devices)
{
    constexpr int FewestRows = 2;
    constexpr int MostRows = 4;
    const int rowHeight = m_list->fontMetrics().height() * 2 + 3 * spacing::Tiny;
    m_listOrHint->setFixedHeight(std::clamp(devices, FewestRows, MostRows) * rowHeight + 4);
}

void DevicePanel::handleSelection()
{
    if (m_filling)
        return;
    const QList<QListWidgetItem*> selected = m_list->selectedItems();
    const QString name = selected.isEmpty() ? QString() : selected.first()->text();
    if (name == m_chosen)
        return;
    m_chosen = name;
    showMessage(name.isEmpty() ? tr("No unit chosen.") : tr("Reading the unit…"));
    emit deviceChosen(name);
}

void DevicePanel::chooseDevice(const QString& name)
{
    const QList<QListWidgetItem*> offered = m_list->findItems(name, Qt::MatchExactly);
    if (!offered.isEmpty() && offered.first()->flags().testFlag(Qt::ItemIsEnabled))
        m_list->setCurrentItem(offered.first());
}

void DevicePanel::setDetails(const DeviceDetails& details)
{
    if (details.name != m_chosen)
        return; // an answer that the user's next choice has overtaken
    if (details.name.isEmpty()) {
        showMessage(tr("No unit chosen."));
        return;
    }
    if (!details.usable) {
        showMessage(
            details.refusal.isEmpty()
                ? tr("The unit does not answer. Make sure it is connected and switched on, then choose "
                     "it again.")
                : details.refusal);
        setEmphasis(m_message, Emphasis::Danger);
        // Choosing the same unit again has to reach it again.
        m_filling = true;
        m_list->setCurrentRow(-1);
        m_filling = false;
        m_chosen.clear();
        return;
    }
    const QString animal = details.kind == DeviceKind::SerialAmplifier
                               ? tr("See below")
                               : statustext::animalTypeText(details.animalType);
    showDetails(QString::number(details.offeredChannels), animal,
                details.gain == 0 ? tr("Not reported") : QString::number(details.gain));
}

void DevicePanel::setUnitInfo(const UnitInfo& info)
{
    while (const std::unique_ptr<QLayoutItem> item{m_infoGrid->takeAt(0)})
        item->widget()->deleteLater();
    int row = 0;
    for (const auto& [name, value] : info.rows) {
        auto* caption = new QLabel(name, m_info);
        setTextRole(caption, TextRole::Caption);
        auto* text = new ElidedLabel(m_info, Qt::ElideRight);
        text->setText(value);
        text->setAccessibleName(tr("%1: %2").arg(name, value));
        setTextRole(text, TextRole::Hint);
        m_infoGrid->addWidget(caption, row, 0);
        m_infoGrid->addWidget(text, row, 1);
        ++row;
    }
    m_info->setVisible(row > 0);
    QStringList warnings;
    for (const QString& warning : info.warnings)
        warnings << QStringLiteral("⚠ ") + warning;
    m_warnings->setText(warnings.join(u'\n'));
    m_warnings->setVisible(!warnings.isEmpty());
}

void DevicePanel::showDetails(const QString& channels, const QString& animal, const QString& gain)
{
    m_channels->setText(channels);
    m_animal->setText(animal);
    m_gain->setText(gain);
    m_channels->setAccessibleName(tr("Channels offered: %1").arg(channels));
    m_animal->setAccessibleName(tr("Animal type: %1").arg(animal));
    m_gain->setAccessibleName(tr("Gain: %1").arg(gain));
    m_message->hide();
    m_details->show();
}

void DevicePanel::showMessage(const QString& text)
{
    setEmphasis(m_message, Emphasis::Muted);
    m_message->setText(text);
    m_details->hide();
    setUnitInfo({});
    m_message->show();
}

QString DevicePanel::selectedDevice() const
{
    return m_chosen;
}

void DevicePanel::setLocked(bool locked)
{
    m_list->setEnabled(!locked);
    m_refresh->setEnabled(!locked);
}

} // namespace vt
