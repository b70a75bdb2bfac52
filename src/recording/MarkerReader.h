// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "recording/MarkerFile.h"

#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

namespace vt {

/// Splits CSV text into rows of fields. Quoted fields may hold commas, line breaks and doubled quotes; a
/// quote that is never closed ends with the text. Rows end with LF or CR LF.
[[nodiscard]] std::vector<QStringList> parseCsv(const QString& text);

struct MarkerTable
{
    std::vector<MarkerFile::Marker> markers;
    int unreadableRows = 0;
};

/// Reads "_Marks.csv". Empty when the file cannot be read or does not begin with the marker file's header
/// line. Any thread; blocks on the disk.
[[nodiscard]] std::optional<MarkerTable> readMarkers(const QString& path);

} // namespace vt
