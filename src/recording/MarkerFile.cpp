// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/MarkerFile.h"

#include "recording/BlockWrite.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

QByteArray row(const MarkerFile::Marker& marker)
{
    return QStringLiteral("%1,%2,%3,%4\n")
        .arg(QString::number(marker.event), QString::number(marker.segment),
             marker.when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")), csvField(marker.label))
        .toUtf8();
}

} // namespace

const QByteArray& MarkerFile::headerLine()
{
    static const QByteArray line("Event,Segment,DateTime,Label\n");
    return line;
}

bool MarkerFile::open(const QString& path)
{
    m_markers.clear();
    m_rowsInFile = 0;
    m_rewriteDue = false;
    if (FileUtils::isWriteProtected(path)) {
        qWarning().noquote() << "MarkerFile: read-only:" << path;
        return false;
    }
    if (m_file.openForWriting(path) != FileUtils::OpenResult::Opened)
        return false;
    if (writeAll(headerLine()))
        return true;
    m_rewriteDue = false;
    m_file.close();
    return false;
}

void MarkerFile::close()
{
    if (m_file.isOpen() && !writeMissing())
        qCritical().noquote() << "MarkerFile: markers not written to" << m_file.fileName();
    m_file.close();
}

bool MarkerFile::isOpen() const
{
    return m_file.isOpen();
}

int MarkerFile::addMarker(int segment, const QDateTime& when, const QString& label)
{
    if (!m_file.isOpen()) {
        qWarning().noquote() << "MarkerFile: addMarker with no open file";
        return -1;
    }
    m_markers.push_back({static_cast<int>(m_markers.size()) + 1, segment, when, markerLabel(label)});
    return writeMissing() ? m_markers.back().event : -1;
}

bool MarkerFile::setLabel(int event, const QString& label)
{
    if (!m_file.isOpen()) {
        qWarning().noquote() << "MarkerFile: setLabel with no open file";
        return false;
    }
    const auto marker = std::find_if(m_markers.begin(), m_markers.end(),
                                     [event](const Marker& candidate) { return candidate.event == event; });
    if (marker == m_markers.end()) {
        qWarning().noquote() << "MarkerFile: setLabel for unknown event" << event;
        return false;
    }
    marker->label = markerLabel(label);
    return rewrite();
}

/// The rows that the file does not have yet; nothing when it has all.
bool MarkerFile::writeMissing()
{
    if (m_rewriteDue)
        return rewrite();
    QByteArray rows;
    for (std::size_t i = m_rowsInFile; i < m_markers.size(); ++i)
        rows += row(m_markers[i]);
    if (!rows.isEmpty() && !writeAll(rows))
        return false;
    m_rowsInFile = m_markers.size();
    return true;
}

/// From the first line on.
bool MarkerFile::rewrite()
{
    m_rewriteDue = true;
    if (!m_file.seek(0) || !m_file.resize(0)) {
        qWarning().noquote() << "MarkerFile: could not rewind" << m_file.fileName() << m_file.errorString();
        return false;
    }
    m_rowsInFile = 0;
    QByteArray content = headerLine();
    for (const Marker& each : std::as_const(m_markers))
        content += row(each);
    if (!writeAll(content))
        return false;
    m_rewriteDue = false;
    m_rowsInFile = m_markers.size();
    return true;
}

int MarkerFile::unwritten() const
{
    const auto missing = static_cast<int>(m_markers.size() - m_rowsInFile);
    return m_rewriteDue ? std::max(missing, 1) : missing;
}

const std::vector<MarkerFile::Marker>& MarkerFile::markers() const
{
    return m_markers;
}

bool MarkerFile::writeAll(const QByteArray& bytes)
{
    const BlockWriteResult result = writeBlock(m_file, bytes);
    if (result.complete)
        return true;
    m_rewriteDue = m_rewriteDue || result.remnant; // a part of a row stands there
    qWarning().noquote() << "MarkerFile: append failed for" << m_file.fileName() << m_file.errorString();
    return false;
}

QString markerLabel(QString label)
{
    return label.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
}

QString csvField(const QString& text)
{
    static const QString special = QStringLiteral(",\"\r\n");
    const bool quote = std::any_of(text.begin(), text.end(), [](QChar c) { return special.contains(c); });
    if (!quote)
        return text;
    QString inner = text;
    inner.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + inner + QLatin1Char('"');
}

} // namespace vt
