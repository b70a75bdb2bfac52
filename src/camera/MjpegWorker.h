// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/Mutex.h"
#include "base/TimeSource.h"
#include "camera/MjpegParser.h"
#include "camera/MjpegStream.h"

#include <QImage>
#include <QNetworkAccessManager>
#include <functional>
#include <memory>
#include <optional>

class QAuthenticator;
class QNetworkReply;

namespace vt {

/// The part of MjpegStream that lives on the stream's thread: request, parser, decoder, and the waits between
/// attempts. Memory is bounded: what is not read yet stays in the network, MaxUnreadBytes at most with us.
class MjpegWorker : public Inbox
{
public:
    static constexpr qint64 MaxUnreadBytes = qint64{1024} * 1024;
    static constexpr int SilenceLimitMs = 10000;
    static constexpr int LastDelayMs = 15000;

    /// Called on the worker's thread, with the number that open was given.
    struct Callbacks
    {
        std::function<void(quint64 run)> pictureWaits; ///< take it with takePicture
        std::function<void(quint64 run, MjpegState state, const QString& detail)> stateChanged;
    };
    MjpegWorker(TimeSource& time, Callbacks callbacks);
    ~MjpegWorker() override;

    void open(quint64 run, const MjpegCamera& camera);
    /// Ends everything, timers included; before the thread ends.
    void close();
    /// Any thread. The newest picture that nobody has taken yet.
    [[nodiscard]] QImage takePicture() VT_EXCLUDES(m_mutex);
    /// Wait before the n-th attempt in a row after a failure, counted from 1.
    [[nodiscard]] static int delayMs(int attempt);

private:
    void request();
    void read();
    void finished();
    void authenticate(QAuthenticator* authenticator);
    void abandon();
    void retry(const QString& detail);
    void tell(MjpegState state, const QString& detail);
    void show(const QByteArray& jpeg);

    TimeSource& m_time;
    const Callbacks m_callbacks;
    quint64 m_run = 0;
    MjpegCamera m_camera;
    std::unique_ptr<QNetworkAccessManager> m_network; ///< a new one for each attempt: it remembers logins
    QNetworkReply* m_reply = nullptr;                 ///< owned by m_network
    std::optional<MjpegParser> m_parser;
    std::unique_ptr<Timer> m_silence;
    std::unique_ptr<Timer> m_retry;
    bool m_loggedIn = false;
    bool m_isPlaying = false;
    int m_failures = 0;
    Mutex m_mutex;
    QImage m_picture VT_GUARDED_BY(m_mutex);
};

} // namespace vt
