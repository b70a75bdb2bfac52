// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QString>

/// What the program remembers between runs, in the platform's settings store under the application's
/// organisation and name. Interface thread.
namespace vt::AppSettings {

/// Last recording base path chosen; empty when none was.
[[nodiscard]] QString saveFileName();
void setSaveFileName(const QString& basePath);

/// Opt-in for pause and resume when the device disconnects; default off. Read once at launch.
[[nodiscard]] bool autoResumeOnDaqDisconnect();
void setAutoResumeOnDaqDisconnect(bool enabled);

/// Geometry of the main window; empty when none was stored.
[[nodiscard]] QByteArray geometry();
void setGeometry(const QByteArray& geometry);

} // namespace vt::AppSettings
