// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeCamera.h"

#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QtGlobal>
#include <utility>

namespace vt::test {

namespace {

const QByteArray Realm = "AXIS_00408C123456";

QByteArray md5(const QByteArray& text)
{
    return QCryptographicHash::hash(text, QCryptographicHash::Md5).toHex();
}

/// name="value" or name=value in an Authorization header.
QByteArray field(const QByteArray& credentials, const QString& name)
{
    const QRegularExpression form(QStringLiteral("[ ,]%1=(?:\"([^\"]*)\"|([^, ]+))").arg(name));
    const auto match = form.match(QString::fromLatin1(credentials));
    return (match.captured(1) + match.captured(2)).toLatin1();
}

} // namespace

FakeCamera::FakeCamera(const QString& address, quint16 port)
{
    connect(&m_server, &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket* socket = m_server.nextPendingConnection()) {
            ++m_connections;
            connect(socket, &QTcpSocket::readyRead, this, [this, socket] { serve(socket); });
            connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            connect(socket, &QTcpSocket::bytesWritten, this, [this, socket] {
                if (socket->bytesToWrite() > 0)
                    return;
                if (mood == Mood::Endless)
                    socket->write(QByteArray(4096, 'x'));
                else if (mood == Mood::LongHead)
                    socket->write("X-Header: " + QByteArray(4096, 'x') + "\r\n");
            });
        }
    });
    if (!m_server.listen(QHostAddress(address), port))
        qFatal("fake camera cannot listen");
}

QByteArrayList FakeCamera::accepted() const
{
    QByteArrayList result;
    for (const Request& request : requests)
        if (request.isLoggedIn)
            result << request.method + ' ' + request.target + (request.body.isEmpty() ? "" : " ") +
                          request.body;
    return result;
}

void FakeCamera::serve(QTcpSocket* socket)
{
    QByteArray& buffer = m_buffers[socket];
    buffer += socket->readAll();
    Request request;
    while (takeRequest(buffer, request))
        handle(socket, std::exchange(request, {}));
}

bool FakeCamera::takeRequest(QByteArray& buffer, Request& request) const
{
    const qsizetype end = buffer.indexOf("\r\n\r\n");
    if (end < 0)
        return false;
    QByteArrayList lines = buffer.left(end).replace("\r\n", "\n").split('\n');
    const QByteArrayList first = lines.takeFirst().split(' ');
    request.method = first.value(0);
    request.target = first.value(1);
    for (const QByteArray& line : std::as_const(lines)) {
        const qsizetype colon = line.indexOf(':');
        request.headers[line.left(colon).toLower()] = line.mid(colon + 1).trimmed();
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (buffer.size() < end + 4 + length)
        return false;
    request.body = buffer.mid(end + 4, length);
    buffer.remove(0, end + 4 + length);
    return true;
}

void FakeCamera::handle(QTcpSocket* socket, Request request)
{
    request.isLoggedIn = isLoginRight(request);
    m_nonce.clear();
    requests.push_back(request);
    switch (mood) {
    case Mood::Silent:
        return;
    case Mood::Late:
        m_late.emplace_back(socket, request);
        return;
    case Mood::Endless:
        socket->write("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
        return;
    case Mood::LongHead:
        socket->write("HTTP/1.1 200 OK\r\n");
        return;
    case Mood::Huge:
        send(socket, {200, QByteArray(2 << 20, 'x'), {}});
        return;
    case Mood::Redirects:
        send(socket, {302, {}, "Location: " + elsewhere + "\r\n"});
        return;
    case Mood::Cuts:
        socket->write("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nOK");
        socket->disconnectFromHost();
        return;
    case Mood::Well:
        respond(socket, request);
        return;
    }
}

void FakeCamera::answerLate()
{
    for (const auto& [socket, request] : std::exchange(m_late, {}))
        respond(socket, request);
}

void FakeCamera::respond(QTcpSocket* socket, const Request& request)
{
    if (request.isLoggedIn) {
        send(socket, answerTo(request));
        return;
    }
    ++m_challenges;
    send(socket, {401, "refused", challenge()});
}

bool FakeCamera::isLoginRight(const Request& request) const
{
    if (password.isEmpty()) // factory state
        return request.target.startsWith("/axis-cgi/pwdgrp.cgi?action=add&user=root&");
    const QByteArray credentials = request.headers.value("authorization");
    switch (login) {
    case Login::None:
        return true;
    case Login::Basic:
        return credentials == "Basic " + (user + ':' + password).toBase64();
    case Login::Digest:
        return isDigestRight(request, credentials);
    }
    return false;
}

bool FakeCamera::isDigestRight(const Request& request, const QByteArray& credentials) const
{
    // RFC 2617, 3.2.2, with qop "auth".
    const QByteArray first = md5(user + ':' + Realm + ':' + password);
    const QByteArray second = md5(request.method + ':' + request.target);
    const QByteArray expected = md5(first + ':' + m_nonce + ':' + field(credentials, QStringLiteral("nc")) +
                                    ':' + field(credentials, QStringLiteral("cnonce")) + ":auth:" + second);
    return credentials.startsWith("Digest ") && field(credentials, QStringLiteral("username")) == user &&
           field(credentials, QStringLiteral("uri")) == request.target &&
           field(credentials, QStringLiteral("nonce")) == m_nonce &&
           field(credentials, QStringLiteral("response")) == expected;
}

QByteArray FakeCamera::challenge()
{
    QByteArray basic = "WWW-Authenticate: Basic realm=\"" + Realm + "\"\r\n";
    if (login == Login::Basic)
        return basic;
    m_nonce = "8f3a6c1e" + QByteArray::number(m_challenges, 16); // good for one request
    return basic + "WWW-Authenticate: Digest realm=\"" + Realm + "\", nonce=\"" + m_nonce +
           "\", algorithm=MD5, qop=\"auth,auth-int\"\r\n";
}

FakeCamera::Answer FakeCamera::answerTo(const Request& request)
{
    const QByteArray& target = request.target;
    if (request.method == "POST")
        return answerToJson(request);
    if (target.contains("pwdgrp.cgi")) {
        const qsizetype begin = target.indexOf("pwd=") + 4;
        password = QByteArray::fromPercentEncoding(target.mid(begin, target.indexOf('&', begin) - begin));
        return {200, "Created account root.\n", {}};
    }
    if (target.endsWith("group=Properties.Image.Resolution"))
        return {200, "root.Properties.Image.Resolution=1920x1080,1280x720,640x360\n", {}};
    if (target.endsWith("group=Image.I0.Appearance.Resolution"))
        return {200, "Image.I0.Appearance.Resolution=1280x720\r\n", {}};
    if (target.endsWith("group=Properties.DynamicOverlay.DynamicOverlay"))
        return {200,
                hasDynamicOverlay ? "root.Properties.DynamicOverlay.DynamicOverlay=yes\n"
                                  : "# Error: no group\n",
                {}};
    if (hasOldRotation && target.contains("ImageSource.I0.Rotation"))
        return {200, "# Error: Error setting 'root.ImageSource.I0.Rotation' to '180'!\n", {}};
    return {200, "OK", {}};
}

FakeCamera::Answer FakeCamera::answerToJson(const Request& request) const
{
    if (!jsonError.isEmpty())
        return {200, jsonError, {}};
    QJsonObject data;
    if (QJsonDocument::fromJson(request.body).object().value(QStringLiteral("method")) ==
        QStringLiteral("list"))
        data.insert(QStringLiteral("textOverlays"), overlays);
    return {200,
            QJsonDocument(QJsonObject{{QStringLiteral("apiVersion"), QStringLiteral("1.0")},
                                      {QStringLiteral("data"), data}})
                .toJson(),
            {}};
}

void FakeCamera::send(QTcpSocket* socket, const Answer& answer) const
{
    socket->write("HTTP/1.1 " + QByteArray::number(answer.status) + " Reason\r\n" + answer.headers +
                  "Content-Length: " + QByteArray::number(answer.body.size()) + "\r\n\r\n" + answer.body);
}

} // namespace vt::test
