// SPDX-License-Identifier: GPL-3.0-or-later
#include "session/AppSettings.h"

#include <QSettings>

namespace vt::AppSettings {

using namespace Qt::StringLiterals;

QString saveFileName()
{
    return QSettings().value(u"saveFileName"_s).toString();
}

void setSaveFileName(const QString& basePath)
{
    QSettings().setValue(u"saveFileName"_s, basePath);
}

bool autoResumeOnDaqDisconnect()
{
    return QSettings().value(u"autoResumeOnDaqDisconnect"_s, false).toBool();
}

} // namespace vt::AppSettings
