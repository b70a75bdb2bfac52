// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/SensorsTab.h"

#include "session/EnvironmentSession.h"
#include "ui/Card.h"
#include "ui/Theme.h"
#include "ui/setup/Fields.h"

#include <QEvent>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableWidget>
#include <QVBoxLayout>

namespace vt {

namespace {

enum Column { Use, Label, Serial, Port, State, ColumnCount };
constexpr int SerialRole = Qt::UserRole;

} // namespace

SensorsTab::SensorsTab(QWidget* parent)
    : QWidget(parent), m_table(new QTableWidget(this)), m_tableOrHint(new QStackedWidget(this)),
      m_hint(fields::hint({}, this)), m_searching(fields::hint(tr("Searching…"), this)),
      m_rescan(new QPushButton(tr("&Rescan"), this))
{
    auto* card = new Card(tr("Environmental sensors"), this);
    card->addHeaderWidget(m_searching);
    m_searching->setWordWrap(false);
    m_rescan->setObjectName(QStringLiteral("rescanSensors"));
    m_rescan->setToolTip(tr("Look at the computer's ports again"));
    card->addHeaderWidget(m_rescan);

    m_table->setObjectName(QStringLiteral("sensorTable"));
    fields::describe(m_table, tr("Environmental sensors"),
                     tr("Space ticks a sensor; F2 or a double click changes a label"));
    m_table->setColumnCount(ColumnCount);
    m_table->setHorizontalHeaderLabels(
        {tr("Use"), tr("Label"), tr("Serial number"), tr("Port"), tr("State")});
    m_table->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    m_table->horizontalHeader()->setSectionResizeMode(Label, QHeaderView::Stretch);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Medium);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setTabKeyNavigation(false);
    m_hint->setAlignment(Qt::AlignCenter);
    m_tableOrHint->addWidget(m_hint);
    m_tableOrHint->addWidget(m_table);
    card->body()->addWidget(m_tableOrHint, 1);
    card->body()->addWidget(fields::hint(
        tr("Ticked sensors are read every two seconds while a recording runs. Their readings are "
           "kept beside it, in a file that ends in .Env, under these labels."),
        card));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, spacing::Small, 0, 0);
    layout->addWidget(card, 1);

    connect(m_table, &QTableWidget::itemChanged, this, &SensorsTab::handleItem);
    connect(m_rescan, &QPushButton::clicked, this, [this] {
        if (m_session)
            m_session->rescan();
        emit rescanRequested();
    });
    showSensors();
}

void SensorsTab::bind(EnvironmentSession* session)
{
    if (m_session) {
        m_session->disconnect(this);
        disconnect(m_session);
    }
    m_session = session;
    if (!session)
        return;
    // Queued: the session's answer replaces the item that tells of it.
    connect(this, &SensorsTab::useChosen, session, &EnvironmentSession::setEnabled, Qt::QueuedConnection);
    connect(session, &EnvironmentSession::sensorsChanged, this, &SensorsTab::readSession);
    readSession();
}

void SensorsTab::readSession()
{
    QList<SensorRow> rows;
    for (const EnvSensorInfo& sensor : m_session->sensors())
        rows << SensorRow{sensor.serialNumber, sensor.label, sensor.portName, sensor.isEnabled,
                          sensor.isConnected};
    setSensors(rows, m_session->isFinding());
}

void SensorsTab::setSensors(const QList<SensorRow>& sensors, bool isSearching)
{
    if (sensors == m_sensors && isSearching == m_isSearching)
        return; // a label may be being typed
    m_sensors = sensors;
    m_isSearching = isSearching;
    for (const SensorRow& sensor : sensors)
        if (!m_labels.contains(sensor.serialNumber))
            m_labels.insert(sensor.serialNumber, sensor.label);
    showSensors();
}

void SensorsTab::showSensors()
{
    m_filling = true;
    m_searching->setVisible(m_isSearching);
    m_hint->setText(m_isSearching ? tr("Searching…")
                                  : tr("No sensor found. Plug one into a USB port and press Rescan."));
    m_tableOrHint->setCurrentIndex(m_sensors.isEmpty() ? 0 : 1);
    m_table->setRowCount(static_cast<int>(m_sensors.size()));
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const SensorRow& sensor = m_sensors[row];
        const QString texts[ColumnCount]{{},
                                         m_labels.value(sensor.serialNumber),
                                         sensor.serialNumber,
                                         sensor.portName,
                                         sensor.isConnected ? tr("Connected") : tr("Unplugged")};
        for (int column = 0; column < ColumnCount; ++column) {
            auto* item = new QTableWidgetItem(texts[column]); // the table owns it
            item->setData(SerialRole, sensor.serialNumber);
            Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
            if (column == Use)
                flags |= Qt::ItemIsUserCheckable;
            if (column == Label && !m_isLocked)
                flags |= Qt::ItemIsEditable;
            item->setFlags(flags);
            if (column == Serial || column == Port)
                item->setForeground(Theme::current().mutedText);
            m_table->setItem(row, column, item);
        }
        const bool isEnabled = m_enabled.value(sensor.serialNumber, sensor.isEnabled);
        m_table->item(row, Use)->setCheckState(isEnabled ? Qt::Checked : Qt::Unchecked);
        m_table->item(row, Use)->setData(Qt::AccessibleTextRole,
                                         tr("Use sensor %1").arg(sensor.serialNumber));
        if (!sensor.isConnected)
            m_table->item(row, State)->setForeground(Theme::current().danger);
    }
    m_filling = false;
}

void SensorsTab::handleItem(QTableWidgetItem* item)
{
    if (m_filling)
        return;
    const QString serial = item->data(SerialRole).toString();
    const bool isTicked = item->checkState() == Qt::Checked;
    if (item->column() == Use && m_isLocked) {
        emit useChosen(serial, isTicked);
        return;
    }
    if (item->column() == Use)
        m_enabled[serial] = isTicked;
    else if (item->column() == Label)
        m_labels[serial] = item->text().simplified().isEmpty() ? serial : item->text().simplified();
    else
        return;
    // The cell shows what is kept; not from within its own editor's notice.
    QMetaObject::invokeMethod(this, &SensorsTab::showSensors, Qt::QueuedConnection);
    emit changed();
}

void SensorsTab::setLabels(const QMap<QString, QString>& labels)
{
    m_labels = labels;
    for (const SensorRow& sensor : m_sensors)
        if (!m_labels.contains(sensor.serialNumber))
            m_labels.insert(sensor.serialNumber, sensor.label);
    showSensors();
}

void SensorsTab::setLocked(bool isLocked)
{
    m_isLocked = isLocked;
    showSensors();
}

void SensorsTab::commit()
{
    const QMap<QString, bool> changes = m_enabled;
    if (m_session) {
        m_session->applyLabels(m_labels);
        for (auto change = changes.begin(); change != changes.end(); ++change)
            m_session->setEnabled(change.key(), change.value());
    }
    m_enabled.clear();
}

void SensorsTab::discard()
{
    m_enabled.clear();
    showSensors();
}

void SensorsTab::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        showSensors();
}

} // namespace vt
