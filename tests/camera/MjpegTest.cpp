// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeTimeSource.h"
#include "camera/MjpegParser.h"
#include "camera/MjpegPicture.h"
#include "camera/MjpegStream.h"

#include <QBuffer>
#include <QSignalSpy>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <gmock/gmock.h>

using namespace vt;
using namespace Qt::StringLiterals;

namespace {

const QByteArray ContentType = "multipart/x-mixed-replace; boundary=myboundary";

QByteArray part(const QByteArray& body)
{
    return "--myboundary\r\nContent-Type: image/jpeg\r\nContent-Length: " + QByteArray::number(body.size()) +
           "\r\n\r\n" + body + "\r\n";
}

QByteArray jpeg(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(Qt::darkCyan);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "jpeg");
    return buffer.data();
}

/// A camera's HTTP side: asks for the password once, then sends what it is given.
class HttpCamera : public QTcpServer
{
public:
    HttpCamera()
    {
        listen(QHostAddress::LocalHost);
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket* socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [this, socket] { answer(socket); });
        });
    }
    QByteArray body;
    int requests = 0;
    int logins = 0;
    QByteArray lastRequest;
    QByteArray password = "lensgate";

private:
    void answer(QTcpSocket* socket)
    {
        m_request += socket->readAll();
        if (!m_request.endsWith("\r\n\r\n"))
            return;
        lastRequest = std::exchange(m_request, {});
        ++requests;
        if (!lastRequest.contains("Authorization: Basic " + ("root:" + password).toBase64())) {
            socket->write("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"AXIS\"\r\n"
                          "Content-Length: 0\r\n\r\n");
            return;
        }
        ++logins;
        socket->write("HTTP/1.1 200 OK\r\nContent-Type: " + ContentType + "\r\nConnection: close\r\n\r\n" +
                      body);
        socket->disconnectFromHost();
    }
    QByteArray m_request;
};

} // namespace

TEST(MjpegParser, TakesPicturesFromPiecesOfAnySize)
{
    // A picture may contain what looks like a boundary.
    const QByteArray stream =
        "\r\n" + part("first") + part("\r\n--myboundary\r\n") + part("third") + "--myboundary--\r\n";
    for (qsizetype piece = 1; piece <= stream.size(); ++piece) {
        MjpegParser parser(piece % 2 ? ContentType : "Multipart/X-Mixed-Replace;boundary=\"--myboundary\"");
        QByteArray newest;
        for (qsizetype at = 0; at < stream.size(); at += piece) {
            ASSERT_TRUE(parser.feed(stream.mid(at, piece))) << qPrintable(parser.errorText());
            if (const QByteArray picture = parser.takePicture(); !picture.isEmpty())
                newest = picture;
        }
        ASSERT_EQ(parser.pictures(), 3);
        ASSERT_EQ(newest, "third");
        ASSERT_TRUE(parser.finish());
    }
}

TEST(MjpegParser, HostileStreamsEndWithAPlainText)
{
    struct Case
    {
        QByteArray contentType;
        QByteArray stream;
        const char* error;
    };
    const QByteArray head = "--myboundary\r\n";
    const Case cases[] = {
        {"text/html", "", "does not answer with a video stream"},
        {"multipart/x-mixed-replace", "", "does not answer with a video stream"},
        {ContentType, "--other\r\n", "not divided as it announced"},
        {ContentType, part("a") + "garbage\r\n", "not divided as it announced"},
        {ContentType, head + "Content-Type: image/jpeg\r\n\r\nabc", "does not tell the length"},
        {ContentType, head + "Content-Length: -5\r\n\r\n", "not a number"},
        {ContentType, head + "Content-Length: 99999999999999999999\r\n\r\n", "not a number"},
        {ContentType, head + "Content-Length: 8388609\r\n\r\n", "larger than 8 MB"},
        {ContentType, head + QByteArray("X: y\r\n").repeated(2000), "head of a picture is longer"},
        {ContentType, head + QByteArray(9000, 'x'), "head of a picture is longer"},
        {ContentType, QByteArray("\r\n").repeated(5000), "head of a picture is longer"},
        {ContentType, part("a") + head + "Content-Length: 10\r\n\r\nabc", "ended within a picture"},
        {ContentType, head + "Content-Le", "ended within a picture"},
    };
    for (const Case& item : cases) {
        MjpegParser parser(item.contentType);
        for (const char byte : item.stream)
            parser.feed(QByteArray(1, byte));
        EXPECT_FALSE(parser.finish());
        EXPECT_THAT(parser.errorText().toStdString(), testing::HasSubstr(item.error))
            << item.stream.left(60).toStdString();
        EXPECT_FALSE(parser.feed(part("later")));
    }
}

TEST(MjpegPicture, IsDecodedWithinBounds)
{
    const QByteArray good = jpeg(64, 48);
    EXPECT_EQ(decodeJpeg(good).image.size(), QSize(64, 48));
    EXPECT_FALSE(decodeJpeg("no picture").error.isEmpty());
    EXPECT_TRUE(decodeJpeg("no picture").image.isNull());
    // A picture that claims 60000 x 60000: the size stands two bytes behind the length and precision of SOF0.
    QByteArray huge = good;
    const qsizetype frame = huge.indexOf(QByteArray("\xff\xc0", 2));
    ASSERT_GT(frame, 0);
    huge.replace(frame + 5, 4, QByteArray("\xea\x60\xea\x60", 4));
    EXPECT_THAT(decodeJpeg(huge).error.toStdString(), testing::HasSubstr("too large (60000 x 60000)"));
}

TEST(MjpegStream, PlaysTheNewestLogsInAndComesBack)
{
    HttpCamera camera;
    camera.body = part(jpeg(32, 24)) + part(jpeg(64, 48));
    test::FakeTimeSource time;
    MjpegStream stream(time);
    QImage newest;
    QObject::connect(&stream, &MjpegStream::pictureReady, &stream,
                     [&](const QImage& picture) { newest = picture; });
    QSignalSpy states(&stream, &MjpegStream::stateChanged);
    // Counted, so that the end of an earlier stream is not taken for that of the present one.
    int ends = 0;
    QObject::connect(&stream, &MjpegStream::stateChanged, &stream,
                     [&](MjpegState state) { ends += state == MjpegState::Waiting ? 1 : 0; });
    const auto waitForEnd = [&](int number) {
        return QTest::qWaitFor([&] { return ends == number; }, 30000);
    };
    stream.start({QHostAddress::LocalHost, u"root"_s, u"lensgate"_s, camera.serverPort()});
    ASSERT_TRUE(waitForEnd(1));
    EXPECT_EQ(camera.logins, 1);
    EXPECT_EQ(newest.size(), QSize(64, 48));
    EXPECT_TRUE(camera.lastRequest.startsWith("GET /axis-cgi/mjpg/video.cgi HTTP/1.1\r\n"));
    EXPECT_EQ(states.last()[1].toString(), u"The video stream has ended"_s);

    // One second later, not earlier, it is asked again.
    time.advance(999);
    EXPECT_EQ(time.activeTimers(), 1);
    time.advance(1);
    ASSERT_TRUE(waitForEnd(2));
    EXPECT_EQ(camera.logins, 2);

    // A wrong password: told without it, and not tried a second time within one attempt.
    camera.password = "another";
    const int before = camera.requests;
    time.advance(1000);
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return states.last()[1].toString() == u"The camera does not accept the password"; }, 30000));
    EXPECT_LE(camera.requests - before, 2);
    stream.stop();
    EXPECT_EQ(stream.state(), MjpegState::Stopped);
}
