// SPDX-License-Identifier: GPL-3.0-or-later
// main() of the tests with widgets: no display is needed.
#include "ui/Theme.h"

#include <QApplication>
#include <QStandardPaths>
#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("vellumtide-test"));
    QApplication::setQuitOnLastWindowClosed(false);
    vt::applyApplicationStyle(application);
    QApplication::setPalette(vt::Theme::lightPalette());
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
