// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/MarkerReader.h"

#include <QFile>

namespace vt {

namespace {

std::optional<MarkerFile::Marker> parseRow(const QStringList& fields)
{
    if (fields.size() != 4)
        return std::nullopt;
    bool eventOk = false;
    bool segmentOk = false;
    MarkerFile::Marker marker;
    marker.event = fields[0].toInt(&eventOk);
    marker.segment = fields[1].toInt(&segmentOk);
    marker.when = QDateTime::fromString(fields[2], QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    marker.label = fields[3];
    if (!eventOk || !segmentOk || !marker.when.isValid())
        return std::nullopt;
    return marker;
}

/// Fills rows field by field, one character at a time.
class CsvSplitter
{
public:
    void feed(QChar c)
    {
        if (m_inQuotes) {
            feedQuoted(c);
            return;
        }
        if (c == QLatin1Char('"')) {
            // Directly after a closing quote it is the second of a doubled pair.
            if (m_justClosed)
                m_field += c;
            m_inQuotes = true;
            m_rowBegun = true;
        } else if (c == QLatin1Char(',')) {
            endField();
        } else if (c == QLatin1Char('\n')) {
            endRow();
        } else if (c != QLatin1Char('\r')) {
            m_field += c;
            m_rowBegun = true;
        }
        m_justClosed = false;
    }
    [[nodiscard]] std::vector<QStringList> finish()
    {
        if (m_rowBegun || !m_row.isEmpty())
            endRow();
        return std::move(m_rows);
    }

private:
    void feedQuoted(QChar c)
    {
        if (c == QLatin1Char('"')) {
            m_inQuotes = false;
            m_justClosed = true;
        } else {
            m_field += c;
        }
    }
    void endField()
    {
        m_row << m_field;
        m_field.clear();
        m_rowBegun = true;
    }
    void endRow()
    {
        m_row << m_field;
        m_field.clear();
        m_rows.push_back(m_row);
        m_row.clear();
        m_rowBegun = false;
    }

    std::vector<QStringList> m_rows;
    QStringList m_row;
    QString m_field;
    bool m_inQuotes = false;
    bool m_justClosed = false;
    bool m_rowBegun = false;
};

} // namespace

std::vector<QStringList> parseCsv(const QString& text)
{
    CsvSplitter splitter;
    for (const QChar c : text)
        splitter.feed(c);
    return splitter.finish();
}

std::optional<MarkerTable> readMarkers(const QString& path)
{
    static const QStringList titles{QStringLiteral("Event"), QStringLiteral("Segment"),
                                    QStringLiteral("DateTime"), QStringLiteral("Label")};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const std::vector<QStringList> rows = parseCsv(QString::fromUtf8(file.readAll()));
    if (rows.empty() || rows.front() != titles)
        return std::nullopt;
    MarkerTable table;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        if (auto marker = parseRow(rows[i]))
            table.markers.push_back(std::move(*marker));
        else
            ++table.unreadableRows;
    }
    return table;
}

} // namespace vt
