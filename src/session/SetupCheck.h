// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

namespace vt {

/// Why this setup cannot be recorded on this device, or empty. Looks at values only.
[[nodiscard]] QString checkSetupValues(const RecordingSetup& setup, const DeviceDetails& device);

/// Why the files of this base path cannot be written, or empty. Looks at folder and existing files without
/// changing any of them; may block on the disk. animalType decides on the names.
[[nodiscard]] QString checkRecordingPath(const QString& basePath, int animalType);

/// A raw data file with at least one frame in it, or one that cannot be read; may block on the disk.
[[nodiscard]] bool holdsFrames(const QString& rawFile);

/// Why a recording to this base path would replace one that the user was not asked about, or empty.
/// replaceable as in RecordingSetup. Both animal types' names are looked at, as their recordings share files;
/// may block on the disk.
[[nodiscard]] QString checkReplaced(const QString& basePath, const std::optional<QString>& replaceable);

} // namespace vt
