// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/TerminationSignals.h"
#include "platform/windows/plain/ConsoleEvents.h"

#include <QDebug>

namespace vt {

struct TerminationSignals::Private
{};

TerminationSignals::TerminationSignals(QObject* parent) : QObject(parent)
{
    // The queued call brings the event to this object's thread.
    const unsigned long error = windows::startConsoleEvents([this] {
        QMetaObject::invokeMethod(
            this, [this] { emit requested(); }, Qt::QueuedConnection);
    });
    if (error != 0)
        qWarning("TerminationSignals: SetConsoleCtrlHandler failed, error: %lu", error);
}

TerminationSignals::~TerminationSignals()
{
    windows::stopConsoleEvents();
}

void TerminationSignals::leaveTerminal()
{
    windows::leaveConsole();
}

} // namespace vt
