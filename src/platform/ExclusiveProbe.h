// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt::platform {

/// True when another writer holds the existing file at path, so that openExclusive would answer "in use".
/// Leaves the file as it is. Any thread; may block on the disk.
[[nodiscard]] bool isHeldByWriter(const QString& path);

} // namespace vt::platform
