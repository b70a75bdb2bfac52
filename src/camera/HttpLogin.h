// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>
#include <vector>

/// Logging in at an HTTP server by the basic or the digest scheme (RFC 7617, RFC 7616). Plain functions.
namespace vt::http {

/// One way of logging in that a server offers.
struct Challenge
{
    QByteArray scheme;                       ///< in lower case
    QMap<QByteArray, QByteArray> parameters; ///< names in lower case, values without quotes
};

/// What "WWW-Authenticate" says; several such headers joined by commas.
[[nodiscard]] std::vector<Challenge> challenges(const QByteArray& header);

struct LoginRequest
{
    QByteArray method; ///< "GET", "POST"
    QByteArray target; ///< path and query, as sent
    QString user;
    QString password;
    QByteArray clientNonce; ///< a new random one for each request
};

/// What "Authorization" has to say to one of the challenges, digest before basic; empty when none of them can
/// be answered.
[[nodiscard]] QByteArray authorization(const std::vector<Challenge>& challenges, const LoginRequest& request);

} // namespace vt::http
