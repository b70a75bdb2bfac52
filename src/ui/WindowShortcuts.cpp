// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/WindowShortcuts.h"

#include <QCoreApplication>
#include <QKeySequence>

namespace vt {

namespace {

QString text(const char* source)
{
    return QCoreApplication::translate("WindowShortcuts", source);
}

QString keys(const QKeySequence& sequence)
{
    return sequence.toString(QKeySequence::NativeText);
}

} // namespace

std::vector<ShortcutEntry> windowShortcuts()
{
    const QString recording = text("Recording");
    const QString window = text("Window");
    const QString signalsGroup = text("Signals and channel");
    return {
        {recording, keys(Qt::CTRL | Qt::Key_R), text("Start recording")},
        {recording, keys(Qt::CTRL | Qt::SHIFT | Qt::Key_R), text("Stop recording; asks first")},
        {recording, keys(Qt::Key_M), text("Add a marker")},
        {recording, keys(Qt::CTRL | Qt::Key_M), text("Label the newest marker")},
        {recording, keys(Qt::Key_F2), text("Label the marker that is chosen in the list")},
        {recording, keys(Qt::CTRL | Qt::Key_T), text("Stimulate all enabled cages now")},
        {recording, keys(Qt::CTRL | Qt::Key_L), text("Switch the cage light")},
        {recording, keys(Qt::CTRL | Qt::Key_D), text("Diagnostics of the stimulation unit")},
        {recording, keys(Qt::CTRL | Qt::SHIFT | Qt::Key_S), text("Choose where to save")},
        {recording, keys(QKeySequence::Open), text("Load a setup file")},
        {recording, keys(QKeySequence::Save), text("Save a setup file")},
        {window, text("Ctrl+1 … Ctrl+4"), text("Setup: basic, sensors, video, stimulation")},
        {window, keys(Qt::Key_F5), text("Look for acquisition units, in the setup")},
        {window, keys(Qt::CTRL | Qt::Key_Return), text("Start recording, in the setup")},
        {window, text("Alt+1 … Alt+5"), text("Signals, channel, sleep summary, environment, cameras")},
        {window, keys(QKeySequence::Copy), text("Copy the rows chosen in the sleep table")},
        {window, keys(Qt::Key_F1), text("This sheet")},
        {window, keys(Qt::CTRL | Qt::Key_Q), text("Quit; asks while a recording runs")},
        {signalsGroup, keys(Qt::Key_F), text("Freeze the picture, or follow the recording again")},
        {signalsGroup, text("Left, Right"), text("Scroll the frozen picture by a part of it")},
        {signalsGroup, text("PgUp, PgDown"), text("Scroll the frozen picture by all of it")},
        {signalsGroup, text("Home, End"), text("Oldest or newest part of the frozen picture")},
        {signalsGroup, keys(Qt::Key_Escape), text("Leave the frozen picture")},
        {signalsGroup, text("Ctrl+PgUp, Ctrl+PgDown"),
         text("Channels before or after, on the page of signals")},
        {signalsGroup, text("Enter, Menu"), text("A channel's name: show it alone, choose its scale")},
        {signalsGroup, text("Up, Down"), text("Channel before or after, on the page of one channel")},
    };
}

} // namespace vt
