// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/TerminationSignals.h"

#include <QDebug>
#include <atomic>

#include <qt_windows.h>

namespace vt {

namespace {

std::atomic<TerminationSignals*> receiver{nullptr};

// Runs on a thread of the system's own; the queued call brings the event to the object's thread.
BOOL WINAPI handleControlEvent(DWORD)
{
    TerminationSignals* target = receiver.load();
    if (!target)
        return FALSE;
    QMetaObject::invokeMethod(
        target, [target] { emit target->requested(); }, Qt::QueuedConnection);
    return TRUE;
}

} // namespace

struct TerminationSignals::Private
{
    bool installed = false;
};

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent), d(std::make_unique<Private>())
{
    receiver = this;
    d->installed = SetConsoleCtrlHandler(handleControlEvent, TRUE) != 0;
    if (!d->installed)
        qWarning("TerminationSignals: SetConsoleCtrlHandler failed, error: %lu", GetLastError());
}

TerminationSignals::~TerminationSignals()
{
    if (d->installed)
        SetConsoleCtrlHandler(handleControlEvent, FALSE);
    receiver = nullptr;
}

} // namespace vt
