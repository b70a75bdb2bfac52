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

/// One HTTP request to a camera with its limits: 10 s in all, 1 MiB of answer, no redirection.
/// Answers a basic or digest challenge once: a second one means that the credentials are wrong. It does so by
/// itself, and for each request anew: Qt's own login remembers users and nonces per connection, which fails
/// where a camera changes its nonce, and where one camera is asked under two names. On the thread of the
/// network access manager, and destroyed before it.
class VapixRequest : public QObject
{
public:
    static constexpr int TimeLimitMs = 10000;
    static constexpr qint64 AnswerLimitBytes = 1 << 20;

    struct Wanted
    {
        QUrl url;
        QByteArray body; ///< JSON; empty makes it a GET
        QString user;
        QString password;
    };
    struct Answer
    {
        QString error; ///< empty: answered with success; never quotes the address or the password
        QByteArray body;
        int httpStatus = 0; ///< 0: no answer
    };
    using Answered = std::function<void(const Answer&)>;

    /// answered is called once, later than this returns, unless the request is destroyed before; the request
    /// may not be destroyed from within.
    VapixRequest(QNetworkAccessManager& network, TimeSource& time, Wanted wanted, Answered answered);
    ~VapixRequest() override;

private:
    void send(const QByteArray& authorization);
    void read();
    void handleFinished();
    /// What "Authorization" has to say after a first refusal; empty: nothing that would help.
    [[nodiscard]] QByteArray loginFor(int httpStatus) const;
    void giveUp(const QString& error);
    [[nodiscard]] QString errorText(int httpStatus) const;

    QNetworkAccessManager& m_network;
    const Wanted m_wanted;
    Answered m_answered;
    Inbox m_timerContext;
    std::unique_ptr<Timer> m_timeout;
    std::unique_ptr<QNetworkReply> m_reply;
    QByteArray m_received;
    QString m_givenUp; ///< why this side ended the request
    bool m_hasLoggedIn = false;
};

} // namespace vt
