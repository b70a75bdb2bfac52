// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/ShortcutSheet.h"

#include "ui/Theme.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

namespace vt {

namespace {

void addGroup(QGridLayout* grid, const QString& title)
{
    auto* label = new QLabel(title, grid->parentWidget());
    setTextRole(label, TextRole::Title);
    const int row = grid->rowCount();
    if (row > 1)
        label->setContentsMargins(0, spacing::Medium, 0, 0);
    grid->addWidget(label, row, 0, 1, 2);
}

void addEntry(QGridLayout* grid, const ShortcutEntry& entry)
{
    auto* keys = new QLabel(entry.keys, grid->parentWidget());
    QFont bold = keys->font(); // of the description's size, so that both stand on one line
    bold.setBold(true);
    keys->setFont(bold);
    auto* action = new QLabel(entry.action, grid->parentWidget());
    action->setWordWrap(true);
    const int row = grid->rowCount();
    grid->addWidget(keys, row, 0, Qt::AlignTop);
    grid->addWidget(action, row, 1, Qt::AlignTop);
}

} // namespace

ShortcutSheet::ShortcutSheet(const std::vector<ShortcutEntry>& entries, QWidget* parent) : QDialog(parent)
{
    setWindowTitle(tr("Keyboard Shortcuts"));
    setObjectName(QStringLiteral("shortcutSheet"));
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* page = new QWidget(scroll);
    auto* grid = new QGridLayout(page);
    grid->setHorizontalSpacing(spacing::Huge);
    grid->setVerticalSpacing(spacing::Tiny);
    grid->setColumnStretch(1, 1);
    QString group;
    for (const ShortcutEntry& entry : entries) {
        if (entry.group != group)
            addGroup(grid, entry.group);
        group = entry.group;
        addEntry(grid, entry);
    }
    grid->setRowStretch(grid->rowCount(), 1);
    scroll->setWidget(page);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(scroll, 1);
    layout->addWidget(buttons);
    resize(560, 620);
}

} // namespace vt
