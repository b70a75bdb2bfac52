// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/crashreport/CrashBox.h"

#include <QApplication>
#include <QMessageBox>
#include <QProcessEnvironment>
#include <QSysInfo>
#include <array>
#include <cstdio>

namespace vt::crash {

using namespace Qt::StringLiterals;

namespace {

bool hasScreen()
{
    const QString platform = qEnvironmentVariable("QT_QPA_PLATFORM");
    if (platform.startsWith(u"offscreen"_s) || platform.startsWith(u"minimal"_s))
        return false; // nobody could close the box
    constexpr std::array<const char*, 3> names{"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"};
    for (const char* name : names)
        if (!qEnvironmentVariableIsEmpty(name))
            return true;
    return QSysInfo::kernelType() == u"winnt"_s;
}

} // namespace

int showCrashBox(int argc, char** argv, const QString& report, const QString& exception)
{
    const QString text = u"Application crashed!\nCrash log saved to:\n%1\n\nException: %2"_s.arg(
        report.isEmpty() ? u"(not saved)"_s : report, exception);
    if (!hasScreen()) {
        std::fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
        return 0;
    }
    const QApplication application(argc, argv);
    QMessageBox box(QMessageBox::Critical, u"Crash"_s, text, QMessageBox::Ok);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse);
    box.exec();
    return 0;
}

} // namespace vt::crash
