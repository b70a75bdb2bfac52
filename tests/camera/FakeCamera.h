// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QHostAddress>
#include <QJsonArray>
#include <QList>
#include <QMap>
#include <QTcpServer>
#include <QTcpSocket>
#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace vt::test {

/// A camera's HTTP side on loopback, which shares nothing with the program's own client: it takes requests
/// apart by itself, and computes by itself what a login has to look like.
class FakeCamera : public QObject
{
public:
    enum class Login { None, Basic, Digest };
    enum class Mood {
        Well,
        Silent,    ///< takes the request and never answers
        Late,      ///< answers when the test says so
        Endless,   ///< sends its answer for ever, a little each time
        LongHead,  ///< sends header lines for ever
        Huge,      ///< sends 2 MiB at once
        Redirects, ///< points to elsewhere
        Cuts       ///< announces more than it sends
    };
    struct Request
    {
        QByteArray method;
        QByteArray target;                    ///< path and query, as sent
        QMap<QByteArray, QByteArray> headers; ///< names in lower case
        QByteArray body;
        bool isLoggedIn = false;
    };

    /// Every address of 127.0.0.0/8 is a camera of its own; port 0: a free one.
    explicit FakeCamera(const QString& address = QStringLiteral("127.0.0.1"), quint16 port = 0);

    [[nodiscard]] quint16 port() const { return m_server.serverPort(); }
    /// Those that were let in, as "GET target" or "POST target body"; without those that were challenged
    /// first.
    [[nodiscard]] QByteArrayList accepted() const;
    [[nodiscard]] int challenges() const { return m_challenges; }
    [[nodiscard]] qsizetype connections() const { return m_connections; }

    /// Of Mood::Late.
    void answerLate();

    Login login = Login::Digest;
    Mood mood = Mood::Well;
    QByteArray user = "root";
    QByteArray password = "lensgate"; ///< empty: factory state
    bool hasDynamicOverlay = true;
    bool hasOldRotation = false; ///< knows only the older parameter
    QByteArray jsonError;        ///< every JSON call is answered by this, when it is not empty
    QJsonArray overlays;         ///< the answer to "list"
    QByteArray elsewhere;        ///< of Mood::Redirects
    std::vector<Request> requests;

private:
    struct Answer
    {
        int status = 200;
        QByteArray body;
        QByteArray headers;
    };
    void serve(QTcpSocket* socket);
    [[nodiscard]] bool takeRequest(QByteArray& buffer, Request& request) const;
    void handle(QTcpSocket* socket, Request request);
    void respond(QTcpSocket* socket, const Request& request);
    [[nodiscard]] bool isLoginRight(const Request& request) const;
    [[nodiscard]] bool isDigestRight(const Request& request, const QByteArray& credentials) const;
    [[nodiscard]] QByteArray challenge();
    [[nodiscard]] Answer answerTo(const Request& request);
    [[nodiscard]] Answer answerToJson(const Request& request) const;
    void send(QTcpSocket* socket, const Answer& answer) const;

    QTcpServer m_server;
    std::map<QTcpSocket*, QByteArray> m_buffers;
    std::vector<std::pair<QTcpSocket*, Request>> m_late;
    QByteArray m_nonce;
    int m_challenges = 0;
    qsizetype m_connections = 0;
};

} // namespace vt::test
