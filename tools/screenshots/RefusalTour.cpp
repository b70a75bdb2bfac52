// SPDX-License-Identifier: GPL-3.0-or-later
#include "Studio.h"
#include "Tour.h"
#include "ui/SetupPanel.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QTimer>

namespace vt {

using namespace Qt::StringLiterals;

namespace {

/// The file dialog asks by a box that it waits for, so the picture is taken from within.
bool saveReplaceQuestion(Studio& studio)
{
    studio.window.setupPanel()->selectFile();
    auto* dialog = studio.window.findChild<QFileDialog*>();
    if (!dialog)
        return false;
    bool isSaved = false;
    QTimer::singleShot(200, dialog, [&] {
        if (auto* question = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            studio.saveWidget(*question, u"question-existing"_s);
            isSaved = true;
            question->reject();
        }
    });
    dialog->setDirectory(u"study"_s);
    dialog->selectFile(u"cohort7_night2.binfb"_s);
    QMetaObject::invokeMethod(dialog, "accept");
    dialog->reject();
    return isSaved;
}

/// A folder where a file should be.
bool blocks(const QString& path)
{
    return QDir().mkpath(path);
}

bool saveUnwritable(Studio& studio)
{
    if (!blocks(u"study/blocked1.binfb"_s))
        return false;
    studio.setUp(u"blocked1"_s, false);
    studio.button("startButton")->click();
    return studio.saveBox(u"Not Ready to Record"_s, u"blocked1"_s, u"notice-not-writable"_s, u"OK"_s);
}

bool saveSuspended(Studio& studio)
{
    studio.setUp(u"cohort7_night3"_s, false);
    if (!studio.start())
        return false;
    studio.suspend();
    return studio.saveBox(u"Recording Stopped"_s, u"going to sleep"_s, u"notice-suspended"_s, u"OK"_s);
}

bool saveSilentUnit(Studio& studio)
{
    studio.setUp(u"cohort7_night4"_s, false);
    studio.unit.setBusNak(true);
    studio.button("startButton")->click();
    const bool isTold =
        studio.saveBox(u"DAQ Communication Failed"_s, {}, u"notice-communication-failed"_s, u"OK"_s);
    studio.unit.setBusNak(false);
    return isTold && studio.chooseUnit();
}

bool saveFatalError(Studio& studio)
{
    studio.user.fatalError(u"Fatal Error"_s,
                           u"Could not open data file:\n%1\n\nThe application will now close."_s.arg(
                               u"study/cohort7_night4.binfb"_s));
    return studio.saveBox(u"Fatal Error"_s, {}, u"notice-fatal"_s, u"OK"_s);
}

} // namespace

bool tourRefusals(Studio& studio)
{
    return studio.step("question about a recording that exists",
                       [&] { return saveReplaceQuestion(studio); }) &&
           studio.step("a file that cannot be written", [&] { return saveUnwritable(studio); }) &&
           studio.step("the computer goes to sleep", [&] { return saveSuspended(studio); }) &&
           studio.step("unit that does not answer", [&] { return saveSilentUnit(studio); }) &&
           studio.step("fatal error", [&] { return saveFatalError(studio); });
}

bool tourDeviceLost(Studio& studio)
{
    return studio.step("device lost", [&] {
        studio.setUp(u"cohort7_night5"_s, true);
        if (!studio.chooseUnit() || !studio.start() || !studio.record(30))
            return false;
        studio.unit.unplug();
        if (!studio.reach([&] { return studio.box(u"DAQ Disconnected"_s) != nullptr; }))
            return false;
        studio.save(u"window-device-lost"_s);
        return studio.saveBox(u"DAQ Disconnected"_s, u"stopped responding"_s, u"notice-device-lost"_s,
                              u"OK"_s);
    });
}

} // namespace vt
