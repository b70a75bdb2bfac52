// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/FfmpegOutput.h"

#include <QByteArray>
#include <QString>
#include <utility>

namespace vt {

/// Logs what the ffmpeg of one camera says: passwords masked, MostTexts in a minute, the rest counted. The
/// thread of the recording manager.
class FfmpegLog
{
public:
    static constexpr int MostTexts = 20;

    explicit FfmpegLog(QString mac) : m_mac(std::move(mac)) {}
    /// A process begins; its address holds this password.
    void begin(const QString& password) { m_password = password; }
    /// Of its error output. nowMs: monotonic.
    void logErrors(const FfmpegOutput::News& news, qint64 nowMs);
    /// Of its standard output; progress is passed over.
    void logOutput(const QByteArray& output, qint64 nowMs);

private:
    [[nodiscard]] bool mayLog(qint64 nowMs);

    const QString m_mac;
    QString m_password;
    int m_textsInMinute = 0;
    qint64 m_minuteBeginMs = 0;
    qint64 m_suppressedTexts = 0;
};

} // namespace vt
