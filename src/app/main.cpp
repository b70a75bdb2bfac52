// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/Application.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QCoreApplication>
#include <QIcon>

namespace {

void nameApplication()
{
    QCoreApplication::setOrganizationName(QStringLiteral("OrrinDale"));
    QCoreApplication::setApplicationName(QStringLiteral("Vellumtide5"));
}

} // namespace

int main(int argc, char** argv)
{
    nameApplication();
    if (vt::isConsoleRun(argc, argv)) {
        const QCoreApplication application(argc, argv);
        return vt::runConsole();
    }
    QApplication application(argc, argv);
    QIcon icon;
    for (const int size : {16, 32, 48, 256})
        icon.addFile(QStringLiteral(":/icons/vellumtide-%1.png").arg(size));
    QApplication::setWindowIcon(icon);
    vt::applyApplicationStyle(application);
    return vt::runWindow();
}
