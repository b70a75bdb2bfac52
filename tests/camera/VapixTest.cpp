// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeCamera.h"
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "camera/AxisVapixAPI.h"
#include "camera/VapixText.h"

#include <QEventLoop>
#include <QJsonObject>
#include <QTest>
#include <QTimeZone>
#include <QTimer>
#include <gmock/gmock.h>

namespace vt::test {
namespace {

using testing::ElementsAre;
using namespace Qt::StringLiterals;

class Vapix : public testing::Test
{
protected:
    [[nodiscard]] VapixCamera target() const
    {
        VapixCamera camera;
        camera.address = QHostAddress(u"127.0.0.1"_s);
        camera.port = peer.port();
        return camera;
    }
    AxisVapixAPI::Done keep()
    {
        return [this](const VapixResult& result) {
            results.push_back(result);
            waiting.quit();
        };
    }
    /// The one result of what was just asked.
    VapixResult result()
    {
        if (results.empty()) {
            QTimer::singleShot(20000, &waiting, [this] { waiting.quit(); });
            waiting.exec();
        }
        EXPECT_EQ(results.size(), 1U);
        VapixResult first = results.empty() ? VapixResult() : results.front();
        results.clear();
        return first;
    }
    void expectNoPassword() const
    {
        for (const QString& line : log.lines())
            EXPECT_FALSE(line.contains(u"lensgate"_s)) << line.toStdString();
    }

    LogCapture log;
    FakeTimeSource time{QDateTime({2026, 3, 2}, {10, 0, 0}, QTimeZone(3600))};
    FakeCamera peer;
    AxisVapixAPI api{time};
    std::vector<VapixResult> results;
    QEventLoop waiting;
};

const QByteArray Param = "GET /axis-cgi/param.cgi?action=";
const QByteArray Overlay = "POST /axis-cgi/dynamicoverlay/dynamicoverlay.cgi ";

TEST_F(Vapix, EveryOperationIsAskedAsTheCameraKnowsIt)
{
    const auto json = [](const QByteArray& method, const QByteArray& params) {
        return R"({"apiVersion":"1.0","context":"Vellumtide","method":")" + method + R"(","params":)" +
               params + "}";
    };
    struct Case
    {
        const char* operation;
        std::function<void()> ask;
        QByteArray request;
    };
    const Case cases[] = {
        {"getSupportedResolutions", [&] { api.getSupportedResolutions(target(), keep()); },
         Param + "list&group=Properties.Image.Resolution"},
        {"getCurrentResolution", [&] { api.getCurrentResolution(target(), keep()); },
         Param + "list&group=Image.I0.Appearance.Resolution"},
        {"setResolution", [&] { api.setResolution(target(), 1280, 720, keep()); },
         Param + "update&Image.I0.Appearance.Resolution=1280x720"},
        {"setRotation", [&] { api.setRotation(target(), 90, keep()); },
         Param + "update&ImageSource.I0.Rotation=90"},
        {"setTimeSource", [&] { api.setTimeSource(target(), u"None"_s, keep()); },
         Param + "update&Time.SyncSource=None"},
        {"setTime", [&] { api.setTime(target(), time.now(), keep()); },
         "POST /axis-cgi/time.cgi " + json("setDateTime", R"({"dateTime":"2026-03-02T09:00:00Z"})")},
        {"setTimeZone", [&] { api.setTimeZone(target(), u"Europe/Berlin"_s, keep()); },
         "POST /axis-cgi/time.cgi " + json("setTimeZone", R"({"timeZone":"Europe/Berlin"})")},
    };
    for (const FakeCamera::Login login : {FakeCamera::Login::Digest, FakeCamera::Login::Basic}) {
        peer.login = login;
        for (const Case& each : cases) {
            SCOPED_TRACE(each.operation);
            peer.requests.clear();
            each.ask();
            const VapixResult got = result();
            EXPECT_TRUE(got.isOk) << got.text.toStdString();
            EXPECT_EQ(got.operation, QString::fromLatin1(each.operation));
            EXPECT_THAT(peer.accepted(), ElementsAre(each.request));
            const FakeCamera::Request& last = peer.requests.back();
            EXPECT_EQ(last.headers.value("user-agent"), "Vellumtide/1.0");
            EXPECT_EQ(last.headers.value("content-type"), last.method == "POST" ? "application/json" : "");
        }
    }
    api.getSupportedResolutions(target(), keep());
    EXPECT_THAT(result().values, ElementsAre(u"1920x1080"_s, u"1280x720"_s, u"640x360"_s));
    api.getCurrentResolution(target(), keep());
    EXPECT_THAT(result().values, ElementsAre(u"1280x720"_s));
    expectNoPassword();
}

TEST_F(Vapix, RotationFallsBackToTheOlderParameter)
{
    peer.hasOldRotation = true;
    api.setRotation(target(), 180, keep());
    const VapixResult got = result();
    EXPECT_TRUE(got.isOk);
    EXPECT_EQ(got.operation, u"setRotationFallback"_s);
    EXPECT_TRUE(
        log.contains("AxisVapixAPI: Request failed for 127.0.0.1 operation: setRotation error: The camera "
                     "answers: # Error: Error setting 'root.ImageSource.I0.Rotation' to '180'!"));
    EXPECT_THAT(peer.accepted(), ElementsAre(Param + "update&ImageSource.I0.Rotation=180",
                                             Param + "update&Image.I0.Rotation=180"));
}

TEST_F(Vapix, TextsReachThePictureWordForWord)
{
    const QString label = u"M&F #7 + 50% \"Käfig\" %1\\"_s;
    QStringList operations;
    QObject::connect(&api, &AxisVapixAPI::requestFinished, &api,
                     [&](const VapixResult& each) { operations << each.operation; });

    api.setTextOverlay(target(), label, u"topLeft"_s, keep());
    EXPECT_TRUE(result().isOk);
    EXPECT_THAT(peer.accepted(),
                ElementsAre(Param + "list&group=Properties.DynamicOverlay.DynamicOverlay",
                            Overlay +
                                R"({"apiVersion":"1.0","context":"Vellumtide","method":"addText","params":)"
                                R"({"camera":1,"fontSize":36,"position":"topLeft",)"
                                R"("text":"M&F #7 + 50% \")"
                                "K\xC3\xA4"
                                R"(fig\" %1\\","textBGColor":"black","textColor":"white"}})"));
    EXPECT_THAT(operations, ElementsAre(u"checkOverlay:"_s + label + u":topLeft:36"_s, u"addTextOverlay"_s));

    peer.hasDynamicOverlay = false;
    for (const auto& [position, legacy] :
         {std::pair("topLeft", "top"), std::pair("topRight", "top"), std::pair("bottomLeft", "bottom"),
          std::pair("bottomRight", "bottom")}) {
        peer.requests.clear();
        api.setTextOverlay(target(), label, QString::fromLatin1(position), keep());
        EXPECT_EQ(result().operation, u"setLegacyTextOverlay"_s);
        EXPECT_EQ(peer.accepted().value(1),
                  Param +
                      "update&Image.I0.Text.TextEnabled=yes&Image.I0.Text.TextSize=large&"
                      "Image.I0.Text.Color=white&Image.I0.Text.BGColor=transparent&Image.I0.Text.Position=" +
                      legacy +
                      "&Image.I0.Text.String=M%26F%20%237%20%2B%2050%25%20%22K%C3%A4fig%22%20%251%5C");
    }
}

TEST_F(Vapix, EveryCharacterOfATextIsPercentEncoded)
{
    peer.hasDynamicOverlay = false;
    QString label = u"\n\tü€"_s + QChar(0xD83D) + QChar(0xDC01);
    for (char16_t character = u' '; character < u'\x7f'; ++character)
        label += QChar(character);
    QByteArray encoded;
    for (const char byte : label.toUtf8()) {
        const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                             (byte >= '0' && byte <= '9') || QByteArray("-._~").contains(byte);
        encoded += isPlain ? QByteArray(1, byte) : '%' + QByteArray(1, byte).toHex().toUpper();
    }
    api.setTextOverlay(target(), label, u"topLeft"_s, keep()); // the digest, too, is over what is sent
    EXPECT_TRUE(result().isOk);
    EXPECT_TRUE(peer.accepted().value(1).endsWith("&Image.I0.Text.String=" + encoded))
        << peer.accepted().value(1).toStdString();
}

TEST_F(Vapix, AllOverlaysAreRemoved)
{
    // A password that occurs in the answers is hidden in what is told of them, and only there.
    peer.password = "identity";
    VapixCamera camera = target();
    camera.password = u"identity"_s;
    peer.overlays = {QJsonObject{{u"identity"_s, 3}}, QJsonObject{{u"identity"_s, 7}},
                     QJsonObject{{u"text"_s, u"without an identity"_s}}, QJsonObject{{u"identity"_s, 8}}};
    api.removeAllOverlays(camera, keep());
    EXPECT_FALSE(result().text.contains(u"identity"_s));
    const QByteArray begin = Overlay + R"({"apiVersion":"1.0","context":"Vellumtide","method":)";
    EXPECT_THAT(peer.accepted(),
                ElementsAre(Param + "list&group=Properties.DynamicOverlay.DynamicOverlay",
                            begin + R"("list","params":{}})", begin + R"("remove","params":{"identity":3}})",
                            begin + R"("remove","params":{"identity":7}})",
                            begin + R"("remove","params":{"identity":8}})"));
    EXPECT_TRUE(log.contains("Removing overlay ID: 7"));

    peer.jsonError = R"({"apiVersion":"1.0","error":{"code":2103,"message":"No such method"}})";
    api.removeAllOverlays(camera, keep());
    EXPECT_FALSE(result().isOk);
    EXPECT_TRUE(log.contains("Error listing overlays: No such method (code 2103)"));
    EXPECT_TRUE(log.contains("AxisVapixAPI: Request failed for 127.0.0.1 operation: listOverlays error: "
                             "No such method (code 2103)"));

    peer.hasDynamicOverlay = false;
    peer.requests.clear();
    api.removeAllOverlays(camera, keep());
    EXPECT_TRUE(result().isOk);
    EXPECT_EQ(peer.accepted().value(1), Param + "update&Image.I0.Text.TextEnabled=no");
}

TEST_F(Vapix, PasswordsAreSetAndNeverTold)
{
    VapixCamera camera = target();
    camera.password = u"a&b#c +ü%"_s;
    peer.password.clear();
    api.initializePassword(camera, keep());
    EXPECT_TRUE(result().isOk);
    EXPECT_THAT(peer.accepted(), ElementsAre("GET /axis-cgi/pwdgrp.cgi?action=add&user=root&"
                                             "pwd=a%26b%23c%20%2B%C3%BC%25&grp=root&"
                                             "sgrp=admin:operator:viewer:ptz"));
    api.getCurrentResolution(camera, keep()); // the password holds, also where it is no ASCII
    EXPECT_TRUE(result().isOk);

    // Not in its factory state any more: refused, once more challenged at most, and told without the address.
    peer.password = "other";
    const int before = peer.challenges();
    camera.password = u"lensgate"_s;
    api.initializePassword(camera, keep());
    const VapixResult refused = result();
    EXPECT_FALSE(refused.isOk);
    EXPECT_EQ(refused.httpStatus, 401);
    EXPECT_EQ(refused.text, u"HTTP status 401"_s);
    EXPECT_LE(peer.challenges() - before, 2);
    expectNoPassword();

    EXPECT_EQ(vapix::withoutPassword(u"at http://h/p.cgi?pwd=x%26y&grp=z: x&y, x%26y"_s, u"x&y"_s),
              u"at http://h/p.cgi?pwd=***&grp=z: ***, ***"_s);
}

TEST_F(Vapix, HostileAnswersEnd)
{
    FakeCamera other;
    struct Case
    {
        FakeCamera::Mood mood;
        const char* error;
    };
    const Case cases[] = {
        {FakeCamera::Mood::Endless, "The answer is larger than 1048576 bytes"},
        {FakeCamera::Mood::Huge, "The answer is larger than 1048576 bytes"},
        {FakeCamera::Mood::Redirects, "The camera sends the request elsewhere, which is not followed"},
        {FakeCamera::Mood::Cuts, "Connection closed"},
    };
    peer.elsewhere = "http://127.0.0.1:" + QByteArray::number(other.port()) + "/axis-cgi/param.cgi";
    for (const Case& each : cases) {
        peer.mood = each.mood;
        api.setResolution(target(), 640, 360, keep());
        const VapixResult got = result();
        EXPECT_FALSE(got.isOk);
        EXPECT_EQ(got.text, QString::fromLatin1(each.error));
    }
    EXPECT_EQ(other.connections(), 0);

    // Silence, and a head without an end, are given up after 10 s in all, not before.
    for (const FakeCamera::Mood mood : {FakeCamera::Mood::Silent, FakeCamera::Mood::LongHead}) {
        peer.mood = mood;
        peer.requests.clear();
        api.setResolution(target(), 640, 360, keep());
        ASSERT_TRUE(QTest::qWaitFor([&] { return !peer.requests.empty(); }, 20000));
        time.advance(9999);
        EXPECT_TRUE(results.empty());
        time.advance(1);
        EXPECT_EQ(result().text, u"No complete answer within 10 s"_s);
        EXPECT_EQ(time.activeTimers(), 0);
    }

    peer.mood = FakeCamera::Mood::Well;
    peer.jsonError = "[1,2";
    api.setTimeZone(target(), u"UTC"_s, keep());
    EXPECT_EQ(result().text, u"The answer is no JSON object"_s);
}

TEST_F(Vapix, EndsWithAnswersOnTheirWay)
{
    // Once, an answer that had just been given outlived the connections that it came from.
    for (const bool isAnswered : {true, false}) {
        auto shortLived = std::make_unique<AxisVapixAPI>(time);
        shortLived->setResolution(target(), 640, 360, keep());
        if (isAnswered)
            (void)result();
        shortLived.reset();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    EXPECT_TRUE(results.empty());
    EXPECT_EQ(time.activeTimers(), 0);
}

} // namespace
} // namespace vt::test
