// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <optional>
#include <vector>

namespace vt {

struct TimeStamp
{
    double seconds = 0.0;    ///< since the start of the segment
    quint32 sampleCount = 0; ///< 120-Hz samples per channel up to then

    bool operator==(const TimeStamp&) const = default;
};

struct TimeStampTable
{
    std::vector<TimeStamp> stamps;
    int unreadableLines = 0; ///< neither a stamp nor the last, unfinished line
};

/// Reads "_daq.Tstamp". A last line without its line end, as a crash leaves it, is ignored: its number may
/// have lost digits. Empty when the file cannot be read. Any thread; blocks on the disk.
[[nodiscard]] std::optional<TimeStampTable> readTimeStamps(const QString& path);

} // namespace vt
