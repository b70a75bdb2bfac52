// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/AnimalIdImport.h"

#include <QDialog>
#include <QObject>
#include <QString>
#include <QStringList>

class QCheckBox;
class QLabel;
class QPushButton;
class QTableWidget;

namespace vt {

class SetupPanel;
class UserInteraction;

/// Shows what an import of animal IDs would do. Interface thread.
class AnimalIdPreview : public QDialog
{
    Q_OBJECT
public:
    /// column: not empty. current: the ID of each recorded channel now.
    AnimalIdPreview(const QString& fileName, const QStringList& column, const QStringList& current,
                    QWidget* parent);
    /// One for each channel.
    [[nodiscard]] const QStringList& ids() const { return m_plan.ids; }

private:
    void showPlan();

    const QStringList m_column;
    const QStringList m_current;
    AnimalIdPlan m_plan;
    QCheckBox* m_heading;
    QTableWidget* m_table;
    QLabel* m_findings;
    QPushButton* m_apply;
};

/// Imports animal IDs into the panel: asks for a file, reads it in the background, shows what it would do,
/// does it. Every dialog is left to the event loop. Interface thread; panel and user outlive it.
class AnimalIdActions : public QObject
{
    Q_OBJECT
public:
    AnimalIdActions(SetupPanel& panel, UserInteraction& user, QObject* parent = nullptr);

    /// Where the dialog starts.
    void setFolder(const QString& folder) { m_folder = folder; }
    /// Opens the file dialog and returns at once.
    void import();
    /// What follows after a file was chosen.
    void importFrom(const QString& path);

signals:
    /// A list in this folder was taken: remember it for the next start.
    void folderChosen(const QString& folder);

private:
    void show(const QString& path, const AnimalIdColumn& column);

    SetupPanel& m_panel;
    UserInteraction& m_user;
    QString m_folder;
    AnimalIdLoader m_loader;
};

} // namespace vt
