// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/Inbox.h"
#include "base/TimeSource.h"

#include <QByteArray>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QString>
#include <QUrl>
#include <functional>
#include <memory>

namespace vt {

/// One HTTP request to a camera with its limits: 10 s in all, 1 MiB of answer, no way to another host.
/// Answers a basic or digest challenge once. On the thread of the network access manager.
class VapixRequest : public QObject
{
public:
    static constexpr int TimeLimitMs = 10000;
    static constexpr qint64 AnswerLimitBytes = 1 << 20;

    struct Answer
    {
        QString error; ///< empty: answered with success; never quotes the address or the password
        QByteArray body;
        int httpStatus = 0; ///< 0: no answer
    };
    using Answered = std::function<void(const Answer&)>;

    /// An empty body makes it a GET. answered is called once, later than this returns, unless the request is
    /// destroyed before.
    VapixRequest(QNetworkAccessManager& network, TimeSource& time, const QUrl& url, const QByteArray& body,
                 Answered answered);
    ~VapixRequest() override;

    /// Gives the credentials to the first challenge only: a second one means that they are wrong.
    void authenticate(QAuthenticator& authenticator, const QString& user, const QString& password);
    [[nodiscard]] const QNetworkReply* reply() const { return m_reply.get(); }

private:
    void read();
    void finish();
    void giveUp(const QString& error);
    [[nodiscard]] QString errorText(int httpStatus) const;

    Answered m_answered;
    Inbox m_timerContext;
    std::unique_ptr<Timer> m_timeout;
    std::unique_ptr<QNetworkReply> m_reply;
    QByteArray m_received;
    QString m_givenUp; ///< why this side ended the request
    bool m_isChallenged = false;
};

} // namespace vt
