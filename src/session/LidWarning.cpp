// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/LidWarning.h"

#include <QCoreApplication>

namespace vt::LidWarning {

Question question(const PowerSchemeQuery::Result& scheme)
{
    const auto tr = [](const char* text) { return QCoreApplication::translate("LidWarning", text); };
    Question asked;
    asked.title = tr("Closing the lid will stop recording");
    asked.text =
        tr("This laptop is configured to %1 when the lid is closed on battery, and to %2 when plugged "
           "in. Closing the lid during a recording will suspend the system and stop data acquisition.")
            .arg(PowerSchemeQuery::lidActionText(scheme.lidDC),
                 PowerSchemeQuery::lidActionText(scheme.lidAC));
    asked.informativeText =
        tr("To keep recording with the lid closed, set the lid-close action to \"Do nothing\" "
           "in Windows Power & Sleep settings.");
    asked.buttons = QStringList{tr("Open Power Settings"), tr("Continue")};
    asked.defaultButton = Continue;
    asked.escapeButton = -1; // both buttons start the recording
    asked.checkBox = tr("Don't show this again");
    return asked;
}

} // namespace vt::LidWarning
