// SPDX-License-Identifier: GPL-3.0-or-later
// main() of every test without widgets: Qt objects need an application object.
#include <QCoreApplication>
#include <QStandardPaths>
#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("vellumtide-test"));
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
