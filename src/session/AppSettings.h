// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/DamagedSettings.h"

#include <QByteArray>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

class QSettings;

/// What the program remembers between runs, in the platform's settings store under the application's
/// organisation and name. Every change is on the disk when its function returns. A store that cannot be
/// written costs one warning in the log, however many values are lost. Any thread; a disk that hangs holds
/// the caller, so that a running program changes them through a StoreThread.
namespace vt::AppSettings {

/// Runs a change of the settings where it may wait for the disk; in the order in which they come.
using StoreThread = std::function<void(std::function<void()> change)>;

/// Last recording base path chosen; empty when none was.
[[nodiscard]] QString saveFileName();
void setSaveFileName(const QString& basePath);

/// Opt-in for pause and resume when the device disconnects; default off. Read once at launch.
[[nodiscard]] bool autoResumeOnDaqDisconnect();
void setAutoResumeOnDaqDisconnect(bool enabled);

/// Geometry of the main window; empty when none was stored.
[[nodiscard]] QByteArray geometry();
void setGeometry(const QByteArray& geometry);

/// Folder of the setup file last loaded or saved; empty when none was.
[[nodiscard]] QString lastConfigDir();
void setLastConfigDir(const QString& folder);

/// Folder of the list of animal IDs last loaded; empty when none was.
[[nodiscard]] QString lastAnimalIdDir();
void setLastAnimalIdDir(const QString& folder);

/// Units of the environment's charts, as words ("C", "hPa"; of a later release perhaps others); empty when
/// none were chosen.
[[nodiscard]] QString temperatureUnit();
[[nodiscard]] QString pressureUnit();
void setEnvironmentUnits(const QString& temperature, const QString& pressure);

/// Hours that the environment's charts show; 0 when none were chosen.
[[nodiscard]] int environmentHours();
void setEnvironmentHours(int hours);

/// Whether the user is warned that closing the lid would end the recording; default on.
[[nodiscard]] bool showLidWarning();
void setShowLidWarning(bool show);

/// A raw file that an instance of the program is writing.
struct OpenRecording
{
    QString rawFile;
    QString writer; ///< platform::ownProcessIdentity() of that instance; empty: noted by an earlier release
    bool operator==(const OpenRecording&) const = default;
};
/// One that is still there when nobody writes it was not closed. Each is kept for itself: instances that
/// change theirs at the same moment lose nothing.
[[nodiscard]] std::vector<OpenRecording> openRecordings();
void noteOpenRecording(const OpenRecording& recording);
void forgetOpenRecording(const QString& rawFile);

/// Looks at the files of both stores before anything is written to them, and keeps a copy of one that is
/// damaged. Before all other functions here.
[[nodiscard]] std::vector<DamagedSettings> keepDamagedFiles();

/// Takes over what an earlier release kept under another organisation's name. Keys that this program's own
/// store holds already win. The old store is emptied once the new one is safely written. At start-up, before
/// anything is read.
void migrateLegacySettings();

/// "--clear-settings". After the migration, or that would bring old values back. The open recordings stay:
/// they are no settings, and may be those of other instances.
void clearAll();

/// The store itself, opened anew, for what has groups of its own in it (cameras, environmental sensors). Any
/// thread.
[[nodiscard]] std::unique_ptr<QSettings> openStore();

/// Takes these ini files in place of the platform's two stores, for tests; empty names: the platform's
/// again. The next failure to write is told again. While no other thread uses the store.
void useFiles(const QString& currentFile, const QString& legacyFile);

} // namespace vt::AppSettings
