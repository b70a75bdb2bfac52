// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

namespace vt {

/// The first file of this base path that a recording under the same name would empty although there is
/// something in it, or empty when there is none: a binary file of either animal type with more than its
/// header, time stamps, or markers. Any one of them is enough: raw files are often moved away once they have
/// been converted. A file that cannot be read may hold anything.
///
/// agreedRaw: the raw file of a recording that may be replaced, and with it all files that belong to it; both
/// animal types have the same time stamps and markers. Any thread; blocks on the disk.
[[nodiscard]] QString recordedFile(const QString& base, const QString& agreedRaw = {});

/// Is there such a file?
[[nodiscard]] inline bool holdsRecording(const QString& base)
{
    return !recordedFile(base).isEmpty();
}

} // namespace vt
