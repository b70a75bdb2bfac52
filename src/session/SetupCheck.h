// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "session/SessionTypes.h"

namespace vt {

/// Why this setup cannot be recorded on this device, or empty. Looks at values only.
[[nodiscard]] QString checkSetupValues(const RecordingSetup& setup, const DeviceDetails& device);

/// Why the files that a recording cannot do without, the four binary ones and the time stamps, cannot be
/// written at this base path, or empty. Looks at folder and existing files without changing any of them; may
/// block on the disk. animalType decides on the names.
[[nodiscard]] QString checkRecordingPath(const QString& basePath, int animalType);

/// Why this file cannot be written, or empty; also when there is none. May block on the disk.
[[nodiscard]] QString checkExistingFile(const QString& path);

/// Why a recording to this base path would replace one that the user was not asked about, or empty.
/// replaceable as in RecordingSetup, and see recordedFile; may block on the disk.
[[nodiscard]] QString checkReplaced(const QString& basePath, const std::optional<QString>& replaceable);

} // namespace vt
