// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/MjpegWorker.h"

#include "camera/MjpegPicture.h"

#include <QAuthenticator>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QUrl>
#include <algorithm>
#include <utility>

namespace vt {

MjpegWorker::MjpegWorker(TimeSource& time, Callbacks callbacks)
    : m_time(time), m_callbacks(std::move(callbacks))
{}

MjpegWorker::~MjpegWorker() = default;

void MjpegWorker::open(quint64 run, const MjpegCamera& camera)
{
    close();
    m_run = run;
    m_camera = camera;
    m_failures = 0;
    m_retry = m_time.createTimer(this, [this] { request(); });
    m_silence = m_time.createTimer(this, [this] { retry(QStringLiteral("The camera sends nothing")); });
    request();
}

void MjpegWorker::close()
{
    abandon();
    m_retry.reset();
    m_silence.reset();
    m_network.reset();
    const MutexLock lock(m_mutex);
    m_picture = {};
}

QImage MjpegWorker::takePicture()
{
    const MutexLock lock(m_mutex);
    return std::exchange(m_picture, {});
}

int MjpegWorker::delayMs(int attempt)
{
    return std::min(LastDelayMs, 1000 << std::clamp(attempt - 1, 0, 10));
}

void MjpegWorker::request()
{
    if (m_network)
        m_network.release()->deleteLater(); // its own signal may have led here
    m_network = std::make_unique<QNetworkAccessManager>();
    m_network->setProxy(QNetworkProxy::NoProxy);
    m_loggedIn = false;
    m_isPlaying = false;
    m_parser.reset();
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    url.setHost(m_camera.address.toString());
    url.setPort(m_camera.port);
    url.setPath(QStringLiteral("/axis-cgi/mjpg/video.cgi"));
    QNetworkRequest wanted(url);
    wanted.setRawHeader("User-Agent", "Vellumtide/1.0");
    wanted.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    wanted.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    QObject::connect(m_network.get(), &QNetworkAccessManager::authenticationRequired, this,
                     [this](QNetworkReply*, QAuthenticator* authenticator) { authenticate(authenticator); });
    tell(MjpegState::Connecting, {});
    m_reply = m_network->get(wanted);
    m_reply->setReadBufferSize(MaxUnreadBytes);
    QObject::connect(m_reply, &QNetworkReply::readyRead, this, [this] { read(); });
    QObject::connect(m_reply, &QNetworkReply::finished, this, [this] { finished(); });
    m_silence->start(SilenceLimitMs, TimerMode::SingleShot);
}

void MjpegWorker::read()
{
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status != 200)
        return; // finished() says what it was
    if (!m_parser)
        m_parser.emplace(m_reply->rawHeader("Content-Type"));
    const qint64 before = m_parser->pictures();
    if (!m_parser->feed(m_reply->readAll())) {
        retry(m_parser->errorText());
        return;
    }
    if (m_parser->pictures() == before)
        return; // the limit of silence is one of pictures: a trickle of bytes does not count
    m_silence->start(SilenceLimitMs, TimerMode::SingleShot);
    show(m_parser->takePicture());
}

void MjpegWorker::finished()
{
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 401)
        retry(QStringLiteral("The camera does not accept the password"));
    else if (status != 0 && status != 200)
        retry(QStringLiteral("The camera answers with status %1").arg(status));
    else if (m_parser && !m_parser->finish())
        retry(m_parser->errorText());
    else if (m_reply->error() != QNetworkReply::NoError)
        retry(QStringLiteral("The camera cannot be reached: ") + m_reply->errorString());
    else
        retry(QStringLiteral("The video stream has ended"));
}

void MjpegWorker::authenticate(QAuthenticator* authenticator)
{
    // Asked a second time means that the first answer was wrong; leaving it empty ends the request.
    if (std::exchange(m_loggedIn, true))
        return;
    authenticator->setUser(m_camera.user);
    authenticator->setPassword(m_camera.password);
}

void MjpegWorker::abandon()
{
    if (QNetworkReply* reply = std::exchange(m_reply, nullptr)) {
        reply->disconnect(this);
        reply->abort();
    }
}

void MjpegWorker::retry(const QString& detail)
{
    abandon();
    m_silence->stop();
    ++m_failures;
    m_retry->start(delayMs(m_failures), TimerMode::SingleShot); // runs by the time that anyone hears of it
    tell(MjpegState::Waiting, detail);
}

void MjpegWorker::tell(MjpegState state, const QString& detail)
{
    m_callbacks.stateChanged(m_run, state, detail);
}

void MjpegWorker::show(const QByteArray& jpeg)
{
    DecodedPicture decoded = decodeJpeg(jpeg);
    if (decoded.image.isNull()) {
        retry(decoded.error);
        return;
    }
    m_failures = 0;
    if (!std::exchange(m_isPlaying, true))
        tell(MjpegState::Playing, {});
    bool waits = false;
    {
        const MutexLock lock(m_mutex);
        waits = !m_picture.isNull();
        m_picture = std::move(decoded.image);
    }
    if (!waits) // one notice is on its way already and will take the newest
        m_callbacks.pictureWaits(m_run);
}

} // namespace vt
