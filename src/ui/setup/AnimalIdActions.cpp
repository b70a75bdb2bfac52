// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/setup/AnimalIdActions.h"

#include "session/UserInteraction.h"
#include "ui/SetupPanel.h"
#include "ui/Theme.h"
#include "ui/setup/Fields.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

namespace vt {

namespace {

enum Column { Channel, Now, Next, ColumnCount };

} // namespace

AnimalIdPreview::AnimalIdPreview(const QString& fileName, const QStringList& column,
                                 const QStringList& current, QWidget* parent)
    : QDialog(parent), m_column(column), m_current(current),
      m_heading(new QCheckBox(tr("The &first row is a heading: “%1”").arg(column.first()), this)),
      m_table(new QTableWidget(static_cast<int>(current.size()), ColumnCount, this)),
      m_findings(fields::hint({}, this))
{
    setWindowTitle(tr("Import Animal IDs"));
    setAttribute(Qt::WA_DeleteOnClose);
    auto* source = fields::hint(tr("From the first column of %1").arg(fileName), this);
    m_heading->setObjectName(QStringLiteral("firstRowIsHeading"));
    m_heading->setToolTip(tr("Untick it when the first row is an animal"));
    m_heading->setChecked(startsWithHeading(column));
    m_findings->setObjectName(QStringLiteral("importFindings"));
    setEmphasis(m_findings, Emphasis::Warning);

    fields::describe(m_table, tr("Animal IDs after the import"), tr("What each channel would have"));
    m_table->setHorizontalHeaderLabels({tr("Channel"), tr("Now"), tr("After the import")});
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setHighlightSections(false);
    m_table->setColumnWidth(Now, fontMetrics().averageCharWidth() * 22);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + spacing::Small);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionMode(QAbstractItemView::NoSelection);
    m_table->setTabKeyNavigation(false);
    for (int row = 0; row < m_table->rowCount(); ++row)
        for (int each = 0; each < ColumnCount; ++each)
            m_table->setItem(row, each, new QTableWidgetItem); // the table owns it

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    m_apply = buttons->addButton(QString(), QDialogButtonBox::AcceptRole);
    m_apply->setObjectName(QStringLiteral("applyIds"));
    m_apply->setDefault(true);
    auto* layout = new QVBoxLayout(this);
    layout->setSpacing(spacing::Small);
    layout->addWidget(source);
    layout->addWidget(m_heading);
    layout->addWidget(m_table, 1);
    layout->addWidget(m_findings);
    layout->addWidget(buttons);
    connect(m_heading, &QCheckBox::toggled, this, &AnimalIdPreview::showPlan);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    showPlan();
    resize(460, 480);
}

void AnimalIdPreview::showPlan()
{
    m_plan = planAnimalIds(m_column, m_heading->isChecked(), m_current);
    const Theme theme = Theme::current();
    const auto shown = [](const QString& id, int channel) {
        return id.isEmpty() ? QString::number(channel + 1) : id;
    };
    for (int row = 0; row < m_table->rowCount(); ++row) {
        const bool isNew = m_plan.ids[row] != m_current[row];
        m_table->item(row, Channel)->setText(QString::number(row + 1));
        m_table->item(row, Now)->setText(shown(m_current[row], row));
        m_table->item(row, Next)->setText(shown(m_plan.ids[row], row));
        m_table->item(row, Channel)->setForeground(theme.mutedText);
        m_table->item(row, Now)->setForeground(theme.mutedText);
        QFont font = m_table->font();
        font.setBold(isNew);
        m_table->item(row, Next)->setFont(font);
    }
    m_findings->setText(m_plan.findings.join(u'\n'));
    m_findings->setVisible(!m_plan.findings.isEmpty());
    m_apply->setText(tr("&Take IDs (%1)").arg(m_plan.taken));
    m_apply->setEnabled(m_plan.taken > 0);
}

AnimalIdActions::AnimalIdActions(SetupPanel& panel, UserInteraction& user, QObject* parent)
    : QObject(parent), m_panel(panel), m_user(user)
{
    connect(&panel, &SetupPanel::importIdsRequested, this, &AnimalIdActions::import);
}

void AnimalIdActions::import()
{
    auto* dialog = new QFileDialog(&m_panel, tr("Import Animal IDs"), m_folder);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilters({tr("Lists of animals (*.xlsx *.csv *.txt)"), tr("All files (*)")});
    connect(dialog, &QFileDialog::fileSelected, this, &AnimalIdActions::importFrom);
    dialog->open();
}

void AnimalIdActions::importFrom(const QString& path)
{
    m_panel.finishEditing();
    m_loader.load(path, [this, path](const AnimalIdColumn& column) { show(path, column); });
}

void AnimalIdActions::show(const QString& path, const AnimalIdColumn& column)
{
    if (const auto* error = std::get_if<TableError>(&column)) {
        m_user.notify(Severity::Critical, tr("Import Animal IDs"),
                      tr("No animal IDs could be read from '%1'.\n\n%2")
                          .arg(QDir::toNativeSeparators(path), error->text));
        return;
    }
    m_folder = QFileInfo(path).absolutePath();
    emit folderChosen(m_folder);
    if (m_panel.channelCount() == 0)
        return; // the unit has gone meanwhile
    auto* preview = new AnimalIdPreview(QFileInfo(path).fileName(), std::get<QStringList>(column),
                                        m_panel.animalIds(), m_panel.window());
    connect(preview, &QDialog::accepted, this, [this, preview] { m_panel.setAnimalIds(preview->ids()); });
    preview->open();
}

} // namespace vt
