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

void setAutoResumeOnDaqDisconnect(bool enabled)
{
    QSettings().setValue(u"autoResumeOnDaqDisconnect"_s, enabled);
}

QByteArray geometry()
{
    return QSettings().value(u"geometry"_s).toByteArray();
}

void setGeometry(const QByteArray& geometry)
{
    QSettings().setValue(u"geometry"_s, geometry);
}

} // namespace vt::AppSettings
