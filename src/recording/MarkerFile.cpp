// SPDX-License-Identifier: GPL-3.0-or-later
#include "recording/MarkerFile.h"

#include "recording/BlockWrite.h"

#include <QDebug>
#include <algorithm>
#include <utility>

namespace vt {

namespace {

const QByteArray& headerLine()
{
    static const QByteArray line("Event,Segment,DateTime,Label\n");
    return line;
}

/// One row per line, whatever the user typed or pasted.
QString withoutLineBreaks(QString label)
{
    return label.replace(QLatin1Char('\r'), QLatin1Char(' ')).replace(QLatin1Char('\n'), QLatin1Char(' '));
}

QByteArray row(const MarkerFile::Marker& marker)
{
    return QStringLiteral("%1,%2,%3,%4\n")
        .arg(QString::number(marker.event), QString::number(marker.segment),
             marker.when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz")), csvField(marker.label))
        .toUtf8();
}

} // namespace

bool MarkerFile::open(const QString& path)
{
    m_markers.clear();
    if (m_file.openForWriting(path) != FileUtils::OpenResult::Opened)
        return false;
    if (writeAll(headerLine()))
        return true;
    m_file.close();
    return false;
}

void MarkerFile::close()
{
    if (m_rewriteDue && m_file.isOpen() && !rewrite())
        qCritical().noquote() << "MarkerFile: markers not written to" << m_file.fileName();
    m_rewriteDue = false;
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
    if (m_rewriteDue && !rewrite())
        return -1;
    const Marker marker{static_cast<int>(m_markers.size()) + 1, segment, when, withoutLineBreaks(label)};
    if (!writeAll(row(marker)))
        return -1;
    m_markers.push_back(marker);
    return marker.event;
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
    marker->label = withoutLineBreaks(label);
    return rewrite();
}

/// From the first line on. What could not be written is due again with the next marker, label or close.
bool MarkerFile::rewrite()
{
    m_rewriteDue = true;
    if (!m_file.seek(0) || !m_file.resize(0)) {
        qWarning().noquote() << "MarkerFile: could not rewind" << m_file.fileName() << m_file.errorString();
        return false;
    }
    QByteArray content = headerLine();
    for (const Marker& each : std::as_const(m_markers))
        content += row(each);
    m_rewriteDue = !writeAll(content);
    return !m_rewriteDue;
}

const std::vector<MarkerFile::Marker>& MarkerFile::markers() const
{
    return m_markers;
}

bool MarkerFile::writeAll(const QByteArray& bytes)
{
    if (writeBlock(m_file, bytes).complete)
        return true;
    qWarning().noquote() << "MarkerFile: append failed for" << m_file.fileName() << m_file.errorString();
    return false;
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
