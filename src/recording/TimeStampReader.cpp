// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/TimeStampReader.h"

#include <QFile>

namespace vt {

namespace {

constexpr qint64 MaxLineBytes = 256; ///< a stamp has some twenty

std::optional<TimeStamp> parseLine(const QByteArray& line)
{
    const qsizetype comma = line.indexOf(',');
    if (comma < 0)
        return std::nullopt;
    bool secondsOk = false;
    bool countOk = false;
    TimeStamp stamp;
    stamp.seconds = line.left(comma).toDouble(&secondsOk);
    stamp.sampleCount = line.mid(comma + 1).toUInt(&countOk);
    if (!secondsOk || !countOk)
        return std::nullopt;
    return stamp;
}

} // namespace

std::optional<TimeStampTable> readTimeStamps(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    TimeStampTable table;
    while (!file.atEnd()) {
        const QByteArray line = file.readLine(MaxLineBytes);
        if (line.isEmpty())
            return std::nullopt; // read error
        const bool finished = line.endsWith('\n');
        if (!finished && file.atEnd())
            break;
        if (const auto stamp = finished ? parseLine(line.chopped(1)) : std::nullopt)
            table.stamps.push_back(*stamp);
        else
            ++table.unreadableLines;
    }
    return table;
}

} // namespace vt
