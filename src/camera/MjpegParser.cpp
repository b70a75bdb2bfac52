// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/MjpegParser.h"

#include <QList>
#include <utility>

namespace vt {

namespace {

/// "multipart/x-mixed-replace; boundary=--x" and "...; boundary=x" both announce "--x".
QByteArray delimiterOf(const QByteArray& contentType)
{
    const QList<QByteArray> pieces = contentType.split(';');
    if (pieces.first().trimmed().compare("multipart/x-mixed-replace", Qt::CaseInsensitive) != 0)
        return {};
    for (const QByteArray& piece : pieces.mid(1)) {
        const qsizetype equals = piece.indexOf('=');
        if (equals < 0 || piece.left(equals).trimmed().compare("boundary", Qt::CaseInsensitive) != 0)
            continue;
        QByteArray boundary = piece.mid(equals + 1).trimmed();
        if (boundary.size() > 1 && boundary.startsWith('"') && boundary.endsWith('"'))
            boundary = boundary.mid(1, boundary.size() - 2);
        if (boundary.isEmpty() || boundary.size() > 200)
            return {};
        return boundary.startsWith("--") ? boundary : "--" + boundary;
    }
    return {};
}

} // namespace

MjpegParser::MjpegParser(const QByteArray& contentType) : m_delimiter(delimiterOf(contentType))
{
    if (m_delimiter.isEmpty())
        fail(QStringLiteral("The camera does not answer with a video stream"));
}

bool MjpegParser::feed(const QByteArray& bytes)
{
    if (m_state == State::Failed)
        return false;
    if (m_state == State::Ended)
        return true;
    m_buffer += bytes;
    while (step()) {
    }
    m_buffer.remove(0, m_begin);
    m_begin = 0;
    return m_state != State::Failed;
}

bool MjpegParser::finish()
{
    if (m_state == State::Failed)
        return false;
    if (m_state == State::Body || m_state == State::Header)
        return fail(QStringLiteral("The video stream ended within a picture"));
    m_state = State::Ended;
    return true;
}

QByteArray MjpegParser::takePicture()
{
    return std::exchange(m_picture, {});
}

bool MjpegParser::step()
{
    if (m_state == State::Failed || m_state == State::Ended)
        return false;
    if (m_state == State::Body)
        return takeBody();
    const qsizetype end = m_buffer.indexOf('\n', m_begin);
    const qsizetype size = (end < 0 ? m_buffer.size() : end + 1) - m_begin;
    if (m_headerBytes + size > MaxHeaderBytes)
        return fail(QStringLiteral("The head of a picture is longer than %1 bytes").arg(MaxHeaderBytes));
    if (end < 0)
        return false;
    m_headerBytes += size;
    const QByteArray line = m_buffer.mid(m_begin, size).trimmed();
    m_begin = end + 1;
    return m_state == State::Delimiter ? takeDelimiter(line) : takeHeaderLine(line);
}

bool MjpegParser::takeDelimiter(const QByteArray& line)
{
    if (line.isEmpty())
        return true;
    if (line == m_delimiter + "--") {
        m_state = State::Ended;
        return false;
    }
    if (line != m_delimiter)
        return fail(QStringLiteral("The video stream is not divided as it announced"));
    m_state = State::Header;
    m_length = -1;
    return true;
}

bool MjpegParser::takeHeaderLine(const QByteArray& line)
{
    if (!line.isEmpty()) {
        const qsizetype colon = line.indexOf(':');
        if (colon > 0 && line.left(colon).trimmed().compare("Content-Length", Qt::CaseInsensitive) == 0) {
            bool isNumber = false;
            m_length = line.mid(colon + 1).trimmed().toLongLong(&isNumber);
            if (!isNumber || m_length <= 0)
                return fail(QStringLiteral("The length of a picture is not a number"));
        }
        return true;
    }
    if (m_length < 0)
        return fail(QStringLiteral("The camera does not tell the length of a picture"));
    if (m_length > MaxPartBytes)
        return fail(QStringLiteral("A picture is larger than %1 MB").arg(MaxPartBytes / 1024 / 1024));
    m_state = State::Body;
    return true;
}

bool MjpegParser::takeBody()
{
    if (m_buffer.size() - m_begin < m_length)
        return false;
    m_picture = m_buffer.mid(m_begin, m_length);
    ++m_pictures;
    m_begin += m_length;
    m_headerBytes = 0;
    m_state = State::Delimiter;
    return true;
}

bool MjpegParser::fail(const QString& error)
{
    m_state = State::Failed;
    m_error = error;
    m_buffer.clear();
    m_begin = 0;
    return false;
}

} // namespace vt
