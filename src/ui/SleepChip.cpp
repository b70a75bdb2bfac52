// SPDX-License-Identifier: GPL-3.0-or-later
#include "ui/SleepChip.h"

#include "ui/Theme.h"

namespace vt {

using statustext::SleepDisplay;

SleepChip::SleepChip(QWidget* parent) : QLabel(parent)
{
    setKind(this, QStringLiteral("chip"));
    setAlignment(Qt::AlignCenter);
    setToolTip(tr("Sleep state of the last 2-s step"));
    setSleep(SleepDisplay::Waiting);
}

bool SleepChip::setSleep(SleepDisplay display)
{
    const QString word = statustext::sleepText(display);
    if (text() == word)
        return false;
    setText(word);
    setSleepLook(this, display == SleepDisplay::Asleep     ? QStringLiteral("asleep")
                       : display == SleepDisplay::Awake    ? QStringLiteral("awake")
                       : display == SleepDisplay::NoSignal ? QStringLiteral("nosignal")
                                                           : QStringLiteral("other"));
    return true;
}

} // namespace vt
