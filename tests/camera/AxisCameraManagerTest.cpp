// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/AxisCameraManager.h"
#include "FakeCamera.h"
#include "FakeRecorder.h"
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "SsdpPeer.h"

#include <QSignalSpy>
#include <QTest>
#include <gmock/gmock.h>

namespace vt::test {
namespace {

using testing::ElementsAre;
using namespace Qt::StringLiterals;

const QString Mac = u"00-40-8C-12-34-56"_s;

/// A camera on loopback, found there by a real search.
class AxisManager : public testing::Test
{
protected:
    AxisManager()
    {
        auto created = std::make_unique<FakeRecorder>();
        recorder = created.get();
        manager = std::make_unique<AxisCameraManager>(
            time, std::move(created),
            ScanSurroundings{[] {
                                 return std::vector{
                                     InterfaceFacts{u"lo"_s,
                                                    QNetworkInterface::interfaceIndexFromName(u"lo"_s),
                                                    true,
                                                    false,
                                                    QNetworkInterface::Ethernet,
                                                    {QHostAddress(QHostAddress::LocalHost)}}};
                             },
                             [this](quint32 ipv4) {
                                 return platform::NeighbourAnswer{
                                     QHostAddress(ipv4).toString() == address ? answering : QString(), false};
                             }},
            camera->port());
        QObject::connect(manager.get(), &CameraManager::setupProblem, manager.get(),
                         [this](const QString&, const QString& text) { problems << text; });
    }
    /// One search, in which the camera answers from address. It goes on until the next one, lest the clock
    /// moves on while requests are under way.
    void scan()
    {
        if (std::exchange(isScanning, true))
            time.advance(AxisDiscovery::ScanMs);
        const SsdpPeer peer(u"lo"_s, address);
        QSignalSpy found(manager.get(), &CameraManager::cameraFound);
        manager->startScan();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !found.isEmpty(); }, 20000));
    }
    void scanAndLogIn()
    {
        QSignalSpy loggedIn(manager.get(), &CameraManager::resolutionsKnown);
        scan();
        ASSERT_TRUE(QTest::qWaitFor([&] { return !loggedIn.isEmpty(); }, 20000));
    }
    /// The camera is at another address from now on, and only there.
    void move(const QString& to)
    {
        const quint16 port = camera->port();
        const bool isOld = camera->hasDynamicOverlay;
        camera = std::make_unique<FakeCamera>(to, port);
        camera->hasDynamicOverlay = isOld;
        address = to;
    }
    [[nodiscard]] bool waitForCall(const QString& call)
    {
        return QTest::qWaitFor([&] { return recorder->calls.contains(call); }, 20000);
    }
    [[nodiscard]] bool waitForRequest(const QByteArray& part)
    {
        return QTest::qWaitFor([&] { return has(part); }, 20000);
    }
    [[nodiscard]] bool has(const QByteArray& part) const
    {
        for (const QByteArray& request : camera->accepted())
            if (request.contains(part))
                return true;
        return false;
    }
    [[nodiscard]] static CameraOrder order()
    {
        CameraOrder order;
        order.stream.mac = Mac;
        order.stream.channel = 3;
        order.width = 1280;
        order.height = 720;
        order.rotation = 180;
        order.overlayText = u"Channel 3 - M1"_s;
        return order;
    }

    LogCapture log;
    FakeTimeSource time;
    QString address = u"127.0.1.2"_s;
    QString answering = Mac; ///< who has it
    std::unique_ptr<FakeCamera> camera = std::make_unique<FakeCamera>(address);
    bool isScanning = false;
    FakeRecorder* recorder = nullptr;
    QStringList problems;
    std::unique_ptr<AxisCameraManager> manager;
};

} // namespace

TEST_F(AxisManager, SetsUpBeforeItRecordsAndRemovesTheTextAfterIt)
{
    camera->password.clear(); // factory state
    manager->startCamera(order());
    EXPECT_TRUE(recorder->calls.isEmpty());
    scan();
    ASSERT_TRUE(waitForCall(u"start "_s + Mac + u" 127.0.1.2"_s));
    const QByteArrayList steps{"pwdgrp.cgi",
                               "list&group=Properties.Image.Resolution",
                               "Time.SyncSource=None",
                               "setTimeZone",
                               "setDateTime",
                               "Appearance.Resolution=1280x720",
                               "ImageSource.I0.Rotation=180",
                               "DynamicOverlay.DynamicOverlay",
                               "\"list\"",
                               "DynamicOverlay.DynamicOverlay",
                               "Channel 3 - M1"};
    const QByteArrayList asked = camera->accepted();
    ASSERT_EQ(asked.size(), steps.size());
    for (qsizetype step = 0; step < steps.size(); ++step)
        EXPECT_TRUE(asked[step].contains(steps[step])) << asked[step].toStdString();
    EXPECT_EQ(recorder->streams.at(0).password, u"lensgate"_s);
    EXPECT_EQ(recorder->streams.at(0).channel, 3);
    EXPECT_EQ(problems.join(u' '), QString());

    camera->requests.clear();
    scan(); // finding it again changes nothing
    bool isStopped = false;
    manager->stopAll([&] { isStopped = true; });
    EXPECT_FALSE(isStopped);
    EXPECT_TRUE(camera->requests.empty()); // the text stays to the last picture
    recorder->whenStopped();
    EXPECT_TRUE(isStopped);
    EXPECT_TRUE(waitForRequest("\"list\""));
    EXPECT_FALSE(has("Image.Resolution"));
    for (const QString& line : log.lines())
        EXPECT_FALSE(line.contains(u"lensgate"_s)) << line.toStdString();
}

TEST_F(AxisManager, ACameraThatIsAwayAtTheStartIsSetUpWhenItComesBack)
{
    scan();
    ASSERT_TRUE(waitForRequest("Properties.Image.Resolution"));
    move(u"127.0.1.3"_s); // which nobody knows yet
    manager->startCamera(order());
    ASSERT_TRUE(waitForCall(u"start "_s + Mac + u" 127.0.1.2"_s)); // ffmpeg tries on
    EXPECT_TRUE(problems.last().startsWith(u"The camera does not answer as expected: "_s));
    scan();
    ASSERT_TRUE(waitForRequest("Channel 3 - M1"));
    EXPECT_TRUE(has("Rotation=180"));
    EXPECT_THAT(recorder->calls,
                ElementsAre(u"start "_s + Mac + u" 127.0.1.2"_s, u"move "_s + Mac + u" 127.0.1.3"_s));
    EXPECT_EQ(problems.last(), QString());
}

TEST_F(AxisManager, AnAddressOfLongAgoIsUsedOnlyWhenNoSearchTellsOfABetterOne)
{
    scanAndLogIn();
    const auto letTheSearchEnd = [this] {
        time.advance(AxisDiscovery::ScanMs + 1);
        isScanning = false;
    };
    letTheSearchEnd();
    camera->requests.clear();
    manager->startCamera(order());
    time.advance(AxisCameraManager::AddressLimitMs - 1);
    EXPECT_TRUE(camera->requests.empty());
    time.advance(1);
    ASSERT_TRUE(waitForCall(u"start "_s + Mac + u" 127.0.1.2"_s));
    manager->stopCamera(Mac);
    ASSERT_TRUE(waitForRequest("\"list\""));

    letTheSearchEnd();
    recorder->calls.clear();
    move(u"127.0.1.3"_s);
    manager->startCamera(order());
    scan();
    ASSERT_TRUE(waitForCall(u"start "_s + Mac + u" 127.0.1.3"_s));
    EXPECT_THAT(recorder->calls, ElementsAre(u"start "_s + Mac + u" 127.0.1.3"_s));
    EXPECT_EQ(problems.join(QString()), QString());
}

// Two cameras with one password exchanged their addresses while they were filmed.
TEST_F(AxisManager, AStreamThatCameBackIsInDoubtUntilASearchFindsItsCamera)
{
    QSignalSpy wanted(manager.get(), &CameraManager::searchWanted);
    QSignalSpy doubtful(manager.get(), &CameraManager::filmDoubtful);
    scanAndLogIn();
    manager->startCamera(order());
    ASSERT_TRUE(waitForCall(u"start "_s + Mac + u" 127.0.1.2"_s));
    emit recorder->recordingStatusChanged(Mac, true);
    EXPECT_EQ(wanted.count(), 0) << "it was set up there";
    emit recorder->recordingStatusChanged(Mac, false);
    EXPECT_EQ(wanted.count(), 1);
    emit recorder->recordingStatusChanged(Mac, true);
    EXPECT_EQ(wanted.count(), 2);
    scan(); // it is there
    time.advance(1000);
    const QDateTime since = time.now();
    emit recorder->recordingStatusChanged(Mac, false);
    emit recorder->recordingStatusChanged(Mac, true);
    const qsizetype asked = wanted.count();
    for (int end = 0; end < 10; ++end) {
        emit recorder->recordingStatusChanged(Mac, false);
        emit recorder->recordingStatusChanged(Mac, true);
    }
    EXPECT_LE(wanted.count(), asked + AxisCameraManager::MostSearches) << "not for ever";

    answering = u"00-40-8C-65-43-21"_s;
    scan();
    EXPECT_EQ(recorder->calls.last(), u"move "_s + Mac + u' ');
    EXPECT_THAT(doubtful, ElementsAre(ElementsAre(QVariant(Mac), QVariant(since))));
    answering = Mac;
    move(u"127.0.1.3"_s);
    scan();
    EXPECT_EQ(recorder->calls.last(), u"move "_s + Mac + u" 127.0.1.3"_s);
    EXPECT_EQ(doubtful.count(), 1);
    ASSERT_TRUE(waitForRequest("Channel 3 - M1")) << "set up anew";
    EXPECT_TRUE(has("setDateTime"));
}

TEST_F(AxisManager, ACameraWhosePasswordWasChangedIsToldOnceAndOneThatWasResetIsSetUpAnew)
{
    scanAndLogIn();
    manager->startCamera(order());
    ASSERT_TRUE(waitForCall(u"start "_s + Mac + u" 127.0.1.2"_s));
    camera->password = "other";
    emit recorder->persistentRetryAttempt(Mac, 11);
    scan();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !problems.last().isEmpty(); }, 20000));
    EXPECT_TRUE(problems.last().startsWith(u"The camera refuses the user name or the password."_s));
    const std::size_t asked = camera->requests.size();
    emit recorder->persistentRetryAttempt(Mac, 12);
    scan();
    manager->setCredentials({u"root"_s, u"other"_s});
    EXPECT_EQ(recorder->calls.last(), u"credentials root other"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return problems.last().isEmpty(); }, 20000));
    EXPECT_EQ(camera->requests.size(), asked + 2) << "not asked again before";

    camera->password.clear(); // factory state
    camera->requests.clear();
    emit recorder->persistentRetryAttempt(Mac, 13);
    scan();
    ASSERT_TRUE(waitForRequest("Channel 3 - M1"));
    EXPECT_TRUE(has("pwdgrp.cgi"));
}

TEST_F(AxisManager, ASlowCameraIsRecordedInTime)
{
    scan();
    ASSERT_TRUE(waitForRequest("Properties.Image.Resolution"));
    // The log-in is answered after 9 s, and then nothing is.
    camera->login = FakeCamera::Login::None;
    camera->mood = FakeCamera::Mood::Late;
    camera->requests.clear();
    manager->startCamera(order());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !camera->requests.empty(); }, 20000));
    time.advance(9000);
    camera->mood = FakeCamera::Mood::Silent;
    camera->answerLate();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return camera->requests.back().target.contains("SyncSource"); }, 20000));
    time.advance(AxisCameraManager::SetupLimitMs - 9001);
    EXPECT_TRUE(recorder->calls.isEmpty());
    time.advance(1);
    EXPECT_THAT(recorder->calls, ElementsAre(u"start "_s + Mac + u" 127.0.1.2"_s));
    EXPECT_EQ(problems.last(), u"The camera took too long to set up and is recorded as it is."_s);

    // What it has missed follows when it answers again.
    camera->mood = FakeCamera::Mood::Well;
    time.advance(VapixRequest::TimeLimitMs); // that of the request which was under way
    scan();
    ASSERT_TRUE(waitForRequest("Channel 3 - M1"));
}

TEST_F(AxisManager, AWrongPasswordIsTriedOnceUntilThereIsAnother)
{
    camera->password = "other";
    scan();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !problems.isEmpty(); }, 20000));
    EXPECT_TRUE(problems.last().startsWith(u"The camera refuses the user name or the password."_s));
    const std::size_t asked = camera->requests.size();
    scan(); // does not ask again
    manager->setCredentials({u"root"_s, u"other"_s});
    ASSERT_TRUE(QTest::qWaitFor([&] { return problems.last().isEmpty(); }, 20000));
    EXPECT_EQ(camera->requests.size(), asked + 2); // challenged and let in
    for (const QString& line : log.lines() + problems)
        EXPECT_FALSE(line.contains(u"lensgate"_s)) << line.toStdString();
}

} // namespace vt::test
