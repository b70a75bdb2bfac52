// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/FfmpegOutput.h"

#include <algorithm>

namespace vt {

namespace {

void readProgress(const QByteArray& line, FfmpegOutput::News& news)
{
    static const QByteArray key = QByteArrayLiteral("frame=");
    const qsizetype at = line.lastIndexOf(key);
    if (at < 0)
        return;
    news.progress = true;
    bool isNumber = false;
    const QByteArray rest = line.mid(at + key.size()).trimmed();
    const qint64 frame = rest.left(rest.indexOf(' ')).toLongLong(&isNumber);
    if (isNumber)
        news.frame = frame;
}

} // namespace

FfmpegOutput::News FfmpegOutput::take(const QByteArray& bytes)
{
    News news;
    for (const char byte : bytes) {
        if (byte == '\n' || byte == '\r')
            takeLine(news);
        else if (m_line.size() < MaxLineBytes)
            m_line.append(byte);
    }
    // Progress counts at once, a number only when its line is whole.
    news.progress = news.progress || m_line.contains("frame=");
    return news;
}

FfmpegOutput::News FfmpegOutput::finish()
{
    News news;
    takeLine(news);
    return news;
}

void FfmpegOutput::takeLine(News& news)
{
    readProgress(m_line, news);
    const QString text = QString::fromUtf8(m_line).trimmed();
    m_line.clear();
    if (!text.contains(QLatin1String("error"), Qt::CaseInsensitive))
        return;
    const qsizetype room = std::max<qsizetype>(0, MaxErrorCharacters - news.errorText.size());
    if (room > 0 && !news.errorText.isEmpty())
        news.errorText += QStringLiteral("; ");
    news.errorText += text.left(room);
    news.cutCharacters += std::max<qsizetype>(0, text.size() - room);
}

} // namespace vt
