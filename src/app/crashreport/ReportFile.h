// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt::crash {

/// Replaces a report by one with function names and source lines, in one step: whoever reads it sees the old
/// or the new one. False when it cannot be read or written; it then stays as it is.
[[nodiscard]] bool annotateReport(const QString& path);

} // namespace vt::crash
