// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/DiagnosticsPanel.h"

#include "session/SessionTypes.h"
#include "session/StimulationValues.h"
#include "ui/Card.h"
#include "ui/Theme.h"
#include "ui/setup/Fields.h"

#include <QEvent>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>
#include <memory>

namespace vt {

namespace {

/// A reader says what the value is of, too.
void showValue(QLabel* value, const QString& text)
{
    value->setText(text);
    value->setAccessibleName(DiagnosticsPanel::tr("%1: %2").arg(value->property("caption").toString(), text));
}

QLabel* addValue(QGridLayout* grid, int column, const QString& name, QWidget* parent)
{
    auto* caption = new QLabel(name, parent);
    setTextRole(caption, TextRole::Caption);
    auto* value = new QLabel(parent);
    value->setProperty("caption", name);
    grid->addWidget(caption, 0, column);
    grid->addWidget(value, 1, column);
    grid->setColumnStretch(column, 1);
    return value;
}

QTableWidget* speakerTable(QWidget* parent)
{
    auto* table = new QTableWidget(VexioSettings::CageCount, 2, parent);
    fields::describe(table, DiagnosticsPanel::tr("Speaker faults"),
                     DiagnosticsPanel::tr("What the unit has found at each cage's speaker"));
    table->setObjectName(QStringLiteral("speakerTable"));
    table->setHorizontalHeaderLabels({DiagnosticsPanel::tr("Cage"), DiagnosticsPanel::tr("Speaker")});
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    table->horizontalHeader()->setHighlightSections(false);
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + spacing::Small);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setTabKeyNavigation(false);
    for (int cage = 0; cage < VexioSettings::CageCount; ++cage) {
        table->setItem(cage, 0, new QTableWidgetItem(DiagnosticsPanel::tr("Cage %1").arg(cage + 1)));
        table->setItem(cage, 1, new QTableWidgetItem);
    }
    return table;
}

} // namespace

DiagnosticsPanel::DiagnosticsPanel(QWidget* parent)
    : QWidget(parent), m_presence(fields::hint({}, this)), m_speakers(speakerTable(this)),
      m_result(fields::hint({}, this)), m_read(new QPushButton(tr("Re&ad Status"), this)),
      m_test(new QPushButton(tr("Test &Speakers"), this))
{
    auto* state = new Card(tr("Unit"), this);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(spacing::Large);
    grid->setVerticalSpacing(0);
    m_power = addValue(grid, 0, tr("12 V supply"), state);
    m_temperature = addValue(grid, 1, tr("Temperature"), state);
    m_registers = addValue(grid, 2, tr("Status registers"), state);
    m_registers->setToolTip(tr("Registers 0x0A to 0x0D, for a report to the maker"));
    m_read->setObjectName(QStringLiteral("readStatus"));
    m_read->setToolTip(tr("Ask the unit for its state"));
    state->addHeaderWidget(m_read);
    state->body()->addWidget(m_presence);
    state->body()->addLayout(grid);

    auto* speakers = new Card(tr("Speakers"), this);
    m_test->setObjectName(QStringLiteral("testSpeakers"));
    m_test->setToolTip(tr("Takes up to 4 s. Nothing is stimulated meanwhile."));
    speakers->addHeaderWidget(m_test);
    speakers->body()->addWidget(m_speakers, 1);
    speakers->body()->addWidget(m_result);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing::Medium);
    layout->addWidget(state);
    layout->addWidget(speakers, 1);
    connect(m_read, &QPushButton::clicked, this, [this] {
        for (QLabel* value : {m_power, m_temperature, m_registers}) { // a unit that does not answer has none
            showValue(value, QStringLiteral("…"));
            setEmphasis(value, Emphasis::Muted);
        }
        emit statusRequested();
    });
    connect(m_test, &QPushButton::clicked, this, [this] {
        m_isTesting = true;
        m_result->setText(tr("The speakers are being tested…"));
        setEmphasis(m_result, Emphasis::Muted);
        updateButtons();
        emit speakerTestRequested();
    });
    clear();
    updateButtons();
}

void DiagnosticsPanel::clear()
{
    for (QLabel* value : {m_power, m_temperature, m_registers}) {
        showValue(value, QStringLiteral("–"));
        setEmphasis(value, Emphasis::Normal);
    }
    m_faults.reset();
    showSpeakerTable();
    m_result->setText(tr("The test needs the 12 V supply and at least one enabled cage."));
    setEmphasis(m_result, Emphasis::Muted);
}

void DiagnosticsPanel::setUnitPresent(bool isPresent)
{
    if (!isPresent)
        m_isTesting = false;
    if (!isPresent || !m_isPresent)
        clear();
    m_isPresent = isPresent;
    updateButtons();
}

void DiagnosticsPanel::setLocked(bool isLocked)
{
    m_isLocked = isLocked;
    updateButtons();
}

void DiagnosticsPanel::updateButtons()
{
    m_read->setEnabled(m_isPresent && !m_isTesting);
    m_test->setEnabled(m_isPresent && !m_isLocked && !m_isTesting);
    m_presence->setText(tr("No stimulation unit answers at the chosen acquisition unit."));
    m_presence->setVisible(!m_isPresent);
}

void DiagnosticsPanel::showStatus(quint8 systemStatus, quint8 extraStatus, quint8 speakerFaults0C,
                                  quint8 speakerFaults0D)
{
    const UnitStatus status = unitStatus(systemStatus);
    showValue(m_power, status.hasPower ? tr("✓ Present") : tr("✗ NOT present"));
    setEmphasis(m_power, status.hasPower ? Emphasis::Good : Emphasis::Danger);
    showValue(m_temperature, !status.hasPower  ? tr("Not known without 12 V")
                             : status.isTooHot ? tr("✗ Too hot")
                                               : tr("✓ Normal"));
    setEmphasis(m_temperature, !status.hasPower  ? Emphasis::Muted
                               : status.isTooHot ? Emphasis::Danger
                                                 : Emphasis::Good);
    QString registers;
    for (const quint8 value : {systemStatus, extraStatus, speakerFaults0C, speakerFaults0D})
        registers +=
            QStringLiteral("0x%1 ").arg(QString::number(value, 16).toUpper().rightJustified(2, u'0'));
    showValue(m_registers, registers.trimmed());
    showSpeakers(speakerFaults0C, speakerFaults0D);
}

void DiagnosticsPanel::showStatusFailed()
{
    if (!m_isPresent)
        return; // which is told already
    for (QLabel* value : {m_power, m_temperature, m_registers}) {
        showValue(value, tr("No answer"));
        setEmphasis(value, Emphasis::Danger);
    }
}

void DiagnosticsPanel::showSpeakers(quint8 speakerFaults0C, quint8 speakerFaults0D)
{
    m_faults = {speakerFaults0C, speakerFaults0D};
    showSpeakerTable();
}

void DiagnosticsPanel::showSpeakerTable()
{
    const Theme theme = Theme::current();
    for (int cage = 0; cage < m_speakers->rowCount(); ++cage) {
        QTableWidgetItem* item = m_speakers->item(cage, 1);
        if (!m_faults) {
            item->setText(tr("Not tested"));
            item->setForeground(theme.mutedText);
            continue;
        }
        const int fault = speakerFault((*m_faults)[0], (*m_faults)[1], cage);
        item->setText(speakerFaultWords(fault));
        item->setForeground(fault == 0 ? theme.good : theme.danger);
    }
}

void DiagnosticsPanel::showComplete(bool isSuccess, const QString& message)
{
    m_isTesting = false;
    m_result->setText(message);
    setEmphasis(m_result, isSuccess ? Emphasis::Normal : Emphasis::Danger);
    updateButtons();
}

void DiagnosticsPanel::changeEvent(QEvent* event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        showSpeakerTable();
}

} // namespace vt
