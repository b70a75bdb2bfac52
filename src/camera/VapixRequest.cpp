// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/VapixRequest.h"

#include <QAuthenticator>
#include <QNetworkRequest>
#include <utility>

namespace vt {

namespace {

QNetworkRequest requestFor(const QUrl& url)
{
    QNetworkRequest request(url);
    request.setRawHeader("User-Agent", "Vellumtide/1.0");
    request.setRawHeader("Accept-Encoding", "identity"); // the limit counts what really comes
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::SameOriginRedirectPolicy);
    request.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    return request;
}

} // namespace

VapixRequest::VapixRequest(QNetworkAccessManager& network, TimeSource& time, const QUrl& url,
                           const QByteArray& body, Answered answered)
    : m_answered(std::move(answered)), m_timeout(time.createTimer(&m_timerContext, [this] {
          giveUp(QStringLiteral("No complete answer within %1 s").arg(TimeLimitMs / 1000));
      }))
{
    QNetworkRequest request = requestFor(url);
    if (body.isEmpty()) {
        m_reply.reset(network.get(request));
    } else {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
        m_reply.reset(network.post(request, body));
    }
    connect(m_reply.get(), &QNetworkReply::readyRead, this, &VapixRequest::read);
    connect(m_reply.get(), &QNetworkReply::finished, this, &VapixRequest::finish);
    m_timeout->start(TimeLimitMs, TimerMode::SingleShot);
}

VapixRequest::~VapixRequest()
{
    m_reply->disconnect(this);
    m_reply->abort();
}

void VapixRequest::authenticate(QAuthenticator& authenticator, const QString& user, const QString& password)
{
    if (std::exchange(m_isChallenged, true))
        return;
    authenticator.setUser(user);
    authenticator.setPassword(password);
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

QString VapixRequest::errorText(int httpStatus) const
{
    if (!m_givenUp.isEmpty())
        return m_givenUp;
    if (m_reply->error() == QNetworkReply::NoError)
        return {};
    if (m_reply->error() == QNetworkReply::InsecureRedirectError)
        return QStringLiteral("The camera sends the request elsewhere, which is not followed");
    // Qt's texts about statuses quote the address, and with it what its query says.
    if (httpStatus >= 400)
        return QStringLiteral("HTTP status %1").arg(httpStatus);
    return m_reply->errorString();
}

void VapixRequest::finish()
{
    m_timeout->stop();
    if (m_givenUp.isEmpty())
        read();
    const int status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const Answer answer{errorText(status), m_received, status};
    const Answered answered = std::exchange(m_answered, nullptr);
    if (answered)
        answered(answer);
}

} // namespace vt
