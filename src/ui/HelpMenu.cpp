// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/HelpMenu.h"

#include "recording/FileHeader.h"
#include "ui/ShortcutSheet.h"
#include "ui/WindowShortcuts.h"

#include <QAction>
#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QMessageBox>
#include <QUrl>

namespace vt {

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("HelpMenu", source);
}

/// Above the window that has the keyboard, which may be the setup or a box.
QWidget* parentFor(QWidget& window)
{
    QWidget* active = QApplication::activeWindow();
    return active ? active : &window;
}

void showShortcuts(QWidget& window)
{
    auto* sheet = new ShortcutSheet(windowShortcuts(), parentFor(window));
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    sheet->open();
}

QString aboutText(const QString& logFile)
{
    QString about = text("Sleep and wake of laboratory mice and rats, from piezoelectric cage floors.\n\n"
                         "Free software under the GNU General Public License, version 3 or later; it comes "
                         "without any warranty.\n\nVersion, as recordings name it: %1\nQt: %2")
                        .arg(softwareVersionText(), QLatin1String(qVersion()));
    if (!logFile.isEmpty())
        about += text("\nLog of this run: %1").arg(QDir::toNativeSeparators(logFile));
    return about;
}

void showAbout(QWidget& window, const QString& logFile)
{
    auto* box = new QMessageBox(parentFor(window));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName(QStringLiteral("about"));
    box->setWindowTitle(text("About Vellumtide"));
    box->setIconPixmap(QApplication::windowIcon().pixmap(64));
    box->setTextFormat(Qt::PlainText);
    box->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    box->setText(text("Vellumtide"));
    box->setInformativeText(aboutText(logFile));
    box->setStandardButtons(QMessageBox::Ok);
    box->open();
}

} // namespace

void fillHelpMenu(QMenu& menu, QWidget& window, const QString& logFile)
{
    QAction* keys =
        menu.addAction(text("&Keyboard Shortcuts"), &window, [&window] { showShortcuts(window); });
    keys->setShortcut(QKeySequence(Qt::Key_F1));
    keys->setShortcutContext(Qt::ApplicationShortcut);
    if (!logFile.isEmpty())
        menu.addAction(text("Open &Log Folder"), &window, [folder = QFileInfo(logFile).path()] {
            QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
        });
    menu.addSeparator();
    menu.addAction(text("&About Vellumtide"), &window, [&window, logFile] { showAbout(window, logFile); });
}

} // namespace vt
