// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/FfmpegLog.h"

#include "camera/FfmpegCommand.h"

#include <QDebug>

namespace vt {

void FfmpegLog::logErrors(const FfmpegOutput::News& news, qint64 nowMs)
{
    if (news.errorText.isEmpty() || !mayLog(nowMs))
        return;
    QString text = ffmpeg::masked(news.errorText, m_password);
    if (news.cutCharacters > 0)
        text += QStringLiteral(" ... (%1 more characters)").arg(news.cutCharacters);
    qWarning().noquote() << "AxisRecordingManager: FFmpeg output for" << m_mac << ":" << text;
}

void FfmpegLog::logOutput(const QByteArray& output, qint64 nowMs)
{
    if (output.contains("frame=") || !mayLog(nowMs))
        return;
    const QString text =
        ffmpeg::masked(QString::fromUtf8(output.left(FfmpegOutput::MaxErrorCharacters)), m_password);
    qInfo().noquote() << "AxisRecordingManager: FFmpeg stdout for" << m_mac << ":" << text.trimmed();
}

bool FfmpegLog::mayLog(qint64 nowMs)
{
    if (nowMs - m_minuteBeginMs >= 60000 || m_textsInMinute == 0) {
        if (m_suppressedTexts > 0)
            qWarning().noquote() << "AxisRecordingManager: FFmpeg output for" << m_mac << ":"
                                 << m_suppressedTexts << "more texts were not logged";
        m_minuteBeginMs = nowMs;
        m_textsInMinute = 0;
        m_suppressedTexts = 0;
    }
    if (m_textsInMinute >= MostTexts) {
        ++m_suppressedTexts;
        return false;
    }
    ++m_textsInMinute;
    return true;
}

} // namespace vt
