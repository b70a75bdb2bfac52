// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "camera/CameraRecorder.h"

#include <QString>
#include <QStringList>

/// How ffmpeg is asked to record a camera, and when it is started anew. Plain functions.
namespace vt::ffmpeg {

/// base, a separator unless base ends in one, and "CAM_<channel>".
[[nodiscard]] QString outputDirectory(const QString& base, int channel);
/// What ffmpeg names its files by; it fills in the time at which it opens each one. A percent sign of the
/// directory is doubled, or it would be taken for a part of the time.
[[nodiscard]] QString filePattern(const QString& directory, int channel);
/// User name and password percent-encoded; an IPv6 address in brackets.
[[nodiscard]] QString streamAddress(const QString& user, const QString& password, const QHostAddress& host);
/// All arguments; they carry the password.
[[nodiscard]] QStringList arguments(const CameraStream& stream);

/// text with "***" in place of passwords: within addresses whatever stands between user name and host, and
/// this password elsewhere, plain and percent-encoded.
[[nodiscard]] QString masked(QString text, const QString& password);

/// Value of the environment variable "TZ" for the child: local time at this offset, whatever daylight saving
/// does later. Without it the hour that is repeated in autumn would give a file the name of one that is there
/// already, and replace it.
[[nodiscard]] QString fixedTimeZone(int offsetFromUtcSeconds);

inline constexpr int FastRetries = 10;
inline constexpr int FastRetryDelayMs = 2000;
inline constexpr int PersistentRetryDelayMs = 30000;

enum class RetryMode { Fast, Persistent };
struct RestartPlan
{
    RetryMode mode = RetryMode::Fast;
    int delayMs = FastRetryDelayMs;
    QStringList logLines; ///< "<mac>" filled in
};
/// After the retryCount-th end or failed start in a row, counted from 1.
[[nodiscard]] RestartPlan restartPlan(int retryCount, const QString& mac);

} // namespace vt::ffmpeg
