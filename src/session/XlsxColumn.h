// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>
#include <QStringList>
#include <variant>

class QIODevice;

namespace vt {

/// Why a table could not be read, in words for the user.
struct TableError
{
    QString text;
};

/// What a list of animal IDs may hold, whatever its format: far more than any recording has channels, and
/// little enough to be shown.
namespace tablelimits {
inline constexpr int Rows = 10000;
inline constexpr int CellCharacters = 256;
inline constexpr qint64 Bytes = qint64{64} << 20; ///< of the file, and of all that is unpacked from it
} // namespace tablelimits

/// The first column of the first visible sheet of an Excel workbook (.xlsx), one text per row, empty where
/// the row has none. Memory stays small whatever the file claims to hold: it is unpacked piece by piece, up
/// to a limit. file is open for reading and can seek. May block on the disk.
[[nodiscard]] std::variant<QStringList, TableError> readXlsxColumn(QIODevice& file);

} // namespace vt
