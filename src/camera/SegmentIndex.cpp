// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/SegmentIndex.h"

#include <QStringList>

namespace vt {

namespace {

QString readableText(Readable readable)
{
    switch (readable) {
    case Readable::Yes:
        return QStringLiteral("yes");
    case Readable::No:
        return QStringLiteral("no");
    case Readable::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

std::optional<VideoSegment> parseRow(const QString& line)
{
    const QStringList cells = line.split(u',');
    if (cells.size() != 4 || cells[0].isEmpty())
        return std::nullopt;
    VideoSegment row;
    row.file = cells[0];
    row.start = QDateTime::fromString(cells[1], Qt::ISODate);
    if (!row.start.isValid())
        return std::nullopt;
    if (cells[2] != QLatin1String("unknown")) {
        bool isNumber = false;
        row.lengthSeconds = cells[2].toDouble(&isNumber);
        if (!isNumber)
            return std::nullopt;
    }
    for (const Readable readable : {Readable::Yes, Readable::No})
        if (cells[3] == readableText(readable))
            row.readable = readable;
    return row;
}

} // namespace

SegmentIndex SegmentIndex::parse(const QByteArray& table, qsizetype* badLines)
{
    SegmentIndex index;
    qsizetype bad = 0;
    for (const QString& line : QString::fromUtf8(table).split(u'\n')) {
        const QString text = line.trimmed();
        if (text.isEmpty() || text == QLatin1String(HeaderLine))
            continue;
        if (const std::optional<VideoSegment> row = parseRow(text))
            index.put(*row);
        else
            ++bad;
    }
    if (badLines)
        *badLines = bad;
    return index;
}

QByteArray SegmentIndex::toCsv() const
{
    QByteArray table = QByteArray(HeaderLine) + '\n';
    for (const auto& [file, row] : m_rows) {
        const QString length =
            row.lengthSeconds ? QString::number(*row.lengthSeconds, 'f', 3) : QStringLiteral("unknown");
        table += file.toUtf8() + ',' + row.start.toString(Qt::ISODate).toUtf8() + ',' + length.toUtf8() +
                 ',' + readableText(row.readable).toUtf8() + '\n';
    }
    return table;
}

bool SegmentIndex::isSettled(const QString& file) const
{
    const auto row = m_rows.find(file);
    return row != m_rows.end() && row->second.readable != Readable::Unknown;
}

std::optional<QDateTime> SegmentIndex::startOf(const QString& file, int channel,
                                               std::optional<int> offsetSeconds)
{
    const QString prefix = QString::number(channel) + u'_';
    const QString suffix = QStringLiteral(".mp4");
    if (!file.startsWith(prefix) || !file.endsWith(suffix))
        return std::nullopt;
    const QString time = file.mid(prefix.size(), file.size() - prefix.size() - suffix.size());
    QDateTime start = QDateTime::fromString(time, QStringLiteral("yyyy-MM-dd_HH-mm-ss"));
    if (!start.isValid())
        return std::nullopt;
    start.setOffsetFromUtc(offsetSeconds ? *offsetSeconds : start.offsetFromUtc());
    return start;
}

} // namespace vt
