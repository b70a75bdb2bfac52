// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/VapixRequest.h"

#include "camera/HttpLogin.h"

#include <QNetworkRequest>
#include <QRandomGenerator>
#include <utility>

namespace vt {

namespace {

constexpr int Unauthorized = 401;

QNetworkRequest requestFor(const QUrl& url)
{
    QNetworkRequest request(url);
    request.setRawHeader("User-Agent", "Vellumtide/1.0");
    request.setRawHeader("Accept-Encoding", "identity"); // the limit counts what really comes
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    return request;
}

QByteArray targetOf(const QUrl& url)
{
    QString target = url.path(QUrl::FullyEncoded);
    if (url.hasQuery())
        target += QLatin1Char('?') + url.query(QUrl::FullyEncoded);
    return target.toLatin1();
}

} // namespace

VapixRequest::VapixRequest(QNetworkAccessManager& network, TimeSource& time, Wanted wanted, Answered answered)
    : m_network(network), m_wanted(std::move(wanted)), m_answered(std::move(answered)),
      m_timeout(time.createTimer(&m_timerContext, [this] {
          giveUp(QStringLiteral("No complete answer within %1 s").arg(TimeLimitMs / 1000));
      }))
{
    send({});
    m_timeout->start(TimeLimitMs, TimerMode::SingleShot);
}

VapixRequest::~VapixRequest()
{
    m_reply->disconnect(this);
    m_reply->abort();
}

void VapixRequest::send(const QByteArray& authorization)
{
    QNetworkRequest request = requestFor(m_wanted.url);
    if (!authorization.isEmpty())
        request.setRawHeader("Authorization", authorization);
    if (m_reply)
        m_reply.release()
            ->deleteLater(); // one of its signals led here; the network access manager owns it, too
    m_received.clear();
    if (m_wanted.body.isEmpty()) {
        m_reply.reset(m_network.get(request));
    } else {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        m_reply.reset(m_network.post(request, m_wanted.body));
    }
    connect(m_reply.get(), &QNetworkReply::readyRead, this, &VapixRequest::read);
    connect(m_reply.get(), &QNetworkReply::finished, this, &VapixRequest::handleFinished);
}

void VapixRequest::read()
{
    m_received += m_reply->read(AnswerLimitBytes + 1 - m_received.size());
    if (m_received.size() > AnswerLimitBytes)
        giveUp(QStringLiteral("The answer is larger than %1 bytes").arg(AnswerLimitBytes));
}

void VapixRequest::giveUp(const QString& error)
{
    if (!m_givenUp.isEmpty())
        return;
    m_givenUp = error;
    m_reply->abort(); // comes back as finished
}

QByteArray VapixRequest::loginFor(int httpStatus) const
{
    if (httpStatus != Unauthorized || m_hasLoggedIn || !m_givenUp.isEmpty())
        return {};
    http::LoginRequest login;
    login.method = m_wanted.body.isEmpty() ? "GET" : "POST";
    login.target = targetOf(m_wanted.url);
    login.user = m_wanted.user;
    login.password = m_wanted.password;
    login.clientNonce = QByteArray::number(QRandomGenerator::system()->generate64(), 16);
    return http::authorization(http::challenges(m_reply->rawHeader("WWW-Authenticate")), login);
}

QString VapixRequest::errorText(int httpStatus) const
{
    if (!m_givenUp.isEmpty())
        return m_givenUp;
    if (httpStatus >= 300 && httpStatus < 400)
        return QStringLiteral("The camera sends the request elsewhere, which is not followed");
    if (m_reply->error() == QNetworkReply::NoError)
        return {};
    // Qt's texts about statuses quote the address, and with it what its query says.
    if (httpStatus >= 400)
        return QStringLiteral("HTTP status %1").arg(httpStatus);
    return m_reply->errorString();
}

void VapixRequest::handleFinished()
{
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray login = loginFor(status);
    if (!login.isEmpty()) {
        m_hasLoggedIn = true;
        send(login);
        return;
    }
    m_timeout->stop();
    if (m_givenUp.isEmpty())
        read();
    const Answer answer{errorText(status), m_received, status};
    const Answered answered = std::exchange(m_answered, nullptr);
    if (answered)
        answered(answer);
}

} // namespace vt
