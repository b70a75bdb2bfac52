// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/FfmpegCommand.h"

#include <QRegularExpression>
#include <QUrl>
#include <cstdlib>

namespace vt::ffmpeg {

namespace {

QString encoded(const QString& text)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

} // namespace

QString outputDirectory(const QString& base, int channel)
{
    const bool separated = base.endsWith(u'/') || base.endsWith(u'\\');
    return base + (separated ? QString() : QStringLiteral("/")) + QStringLiteral("CAM_%1").arg(channel);
}

QString filePattern(const QString& directory, int channel)
{
    return QString(directory).replace(u'%', QStringLiteral("%%")) + u'/' + QString::number(channel) +
           QStringLiteral("_%Y-%m-%d_%H-%M-%S.mp4");
}

QString streamAddress(const QString& user, const QString& password, const QHostAddress& host)
{
    const QString name =
        host.protocol() == QHostAddress::IPv6Protocol ? u'[' + host.toString() + u']' : host.toString();
    return QStringLiteral("rtsp://") + encoded(user) + u':' + encoded(password) + u'@' + name +
           QStringLiteral("/axis-media/media.amp?");
}

QStringList arguments(const CameraStream& stream)
{
    const auto text = [](const char* word) { return QString::fromLatin1(word); };
    return {text("-rtsp_transport"),
            text("tcp"),
            text("-y"),
            text("-timeout"),
            text("5000000"), // microseconds
            text("-i"),
            streamAddress(stream.user, stream.password, stream.address),
            text("-metadata"),
            text("title="),
            text("-metadata"),
            text("comment="),
            text("-acodec"),
            text("copy"),
            text("-vcodec"),
            text("copy"),
            text("-f"),
            text("segment"),
            text("-strftime"),
            text("1"),
            text("-segment_time"),
            QString::number(stream.segmentMinutes * 60),
            text("-reset_timestamps"),
            text("1"),
            text("-use_wallclock_as_timestamps"),
            text("1"),
            filePattern(outputDirectory(stream.baseDirectory, stream.channel), stream.channel)};
}

QString masked(QString text, const QString& password)
{
    static const QRegularExpression inAddress(QStringLiteral("(://[^:@/\\s]*:)[^@\\s]*@"));
    text.replace(inAddress, QStringLiteral("\\1***@"));
    if (!password.isEmpty()) {
        text.replace(password, QStringLiteral("***"));
        text.replace(encoded(password), QStringLiteral("***"));
    }
    return text;
}

QString fixedTimeZone(int offsetFromUtcSeconds)
{
    // The sign of "TZ" counts westwards.
    const int minutes = std::abs(offsetFromUtcSeconds) / 60;
    return QStringLiteral("REC%1%2:%3")
        .arg(offsetFromUtcSeconds > 0 ? QLatin1Char('-') : QLatin1Char('+'))
        .arg(minutes / 60, 2, 10, QLatin1Char('0'))
        .arg(minutes % 60, 2, 10, QLatin1Char('0'));
}

RestartPlan restartPlan(int retryCount, const QString& mac)
{
    RestartPlan plan;
    if (retryCount <= FastRetries) {
        plan.logLines << QStringLiteral("AxisRecordingManager: Fast retry attempt %1 of %2 for %3")
                             .arg(retryCount)
                             .arg(FastRetries)
                             .arg(mac);
        return plan;
    }
    plan.mode = RetryMode::Persistent;
    plan.delayMs = PersistentRetryDelayMs;
    if (retryCount == FastRetries + 1)
        plan.logLines << QStringLiteral("AxisRecordingManager: Fast retries exhausted for %1 - switching to "
                                        "persistent retry mode (30s intervals)")
                             .arg(mac);
    plan.logLines << QStringLiteral("AxisRecordingManager: Persistent retry attempt %1 for %2 (will retry "
                                    "indefinitely every 30s)")
                         .arg(retryCount)
                         .arg(mac);
    return plan;
}

} // namespace vt::ffmpeg
