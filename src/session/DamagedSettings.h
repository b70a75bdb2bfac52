// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <optional>

class QSettings;

namespace vt {

/// A settings file that is not what QSettings writes: cut off by a power cut, overwritten by another program.
/// QSettings takes what it can read of one without a word, and drops the rest when it next writes.
struct DamagedSettings
{
    QString file;
    QString copy; ///< where all that the file held is kept; empty: nowhere
    bool isReadable = true;

    /// What the user is told, in one line.
    [[nodiscard]] QString message() const;
    bool operator==(const DamagedSettings&) const = default;
};

/// Looks at the file of an ini store before anything writes to it. One that is damaged is copied to
/// "<file>.damaged", next to it and with its permissions; an earlier copy with other contents stays, and the
/// new one gets a number. Logged. Nothing for a file that is not there, or for a store that is no file (the
/// registry). store is the first object that reads the file in this process: only the first is told of a
/// damaged title of a section. Any thread; may wait for the disk.
[[nodiscard]] std::optional<DamagedSettings> keepIfDamaged(const QSettings& store);

} // namespace vt
