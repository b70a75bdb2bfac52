// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "session/XlsxColumn.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QThread>
#include <functional>
#include <memory>
#include <variant>
#include <vector>

/// Animal IDs from a list that somebody keeps: the first column of a spreadsheet or text file, one row for
/// each channel.
namespace vt {

/// The first column, one text per row, trimmed, without empty rows at the end; or why there is none.
using AnimalIdColumn = std::variant<QStringList, TableError>;

/// By the name's ending: .xlsx, else text. May block on the disk; any thread.
[[nodiscard]] AnimalIdColumn readAnimalIdFile(const QString& path);

/// Text in UTF-8, UTF-16 with its mark, or else Windows' Latin alphabet. Columns are separated by tabs,
/// semicolons or commas; quotes as in CSV.
[[nodiscard]] AnimalIdColumn parseAnimalIdText(const QByteArray& bytes);

/// Does the first row name the column ("Animal ID") rather than an animal?
[[nodiscard]] bool startsWithHeading(const QStringList& column);

/// What the import would do, to be shown before it is done.
struct AnimalIdPlan
{
    QStringList ids; ///< for each channel; empty stands for the channel's number
    int taken = 0;   ///< how many come from the list
    /// What the user should look at: empty rows, duplicates, too many or too few. In words.
    QStringList findings;
};
/// current: the ID of each channel now, which those beyond the end of the list keep.
[[nodiscard]] AnimalIdPlan planAnimalIds(const QStringList& column, bool hasHeading,
                                         const QStringList& current);

/// Reads a list without holding up its owner, whatever the disk does. Interface thread. The destructor waits
/// for half a second; a read that hangs longer is left to the end of the process.
class AnimalIdLoader
{
public:
    ~AnimalIdLoader();
    /// loaded comes later, on this thread; not when the object is gone or another list was asked for.
    void load(const QString& path, std::function<void(const AnimalIdColumn&)> loaded);

private:
    Inbox m_answers;
    std::vector<std::shared_ptr<QThread>> m_threads; ///< the last, and those that still hang
    quint64 m_request = 0;
};

} // namespace vt
