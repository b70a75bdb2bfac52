// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// What a name on a command line would replace: a job that starts anew after a power cut has the same command
/// line as before, and what it recorded then must stay. Any thread; looks at the disk.
namespace vt {

/// "base (1)" to "base (99)", the first without a recording; empty when there is none.
[[nodiscard]] QString freeNumberedName(const QString& base);

} // namespace vt
