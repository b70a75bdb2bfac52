// SPDX-License-Identifier: GPL-3.0-or-later
// Films beside recordings of the simulated unit, with a manager on the cameras' thread that does as it is
// told.
#include "session/CameraSession.h"
#include "LogCapture.h"
#include "SessionHarness.h"
#include "session/AppSettings.h"
#include "session/CameraSettingsStore.h"
#include "session/PowerGuard.h"
#include "session/SessionExtensions.h"
#include "session/SessionTexts.h"

#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <atomic>
#include <gtest/gtest.h>

using namespace vt;
using namespace vt::test;
using namespace Qt::StringLiterals;

namespace {

const QString Mac1 = u"AC-CC-8E-00-00-01"_s;
const QString Mac2 = u"AC-CC-8E-00-00-02"_s;
const QString Secret = u"mouse-trap"_s;

/// What a FakeCameras has been told, and how it is told to go on. Any thread.
struct Notebook
{
    Mutex mutex;
    std::vector<CameraOrder> orders VT_GUARDED_BY(mutex);
    QStringList passwords VT_GUARDED_BY(mutex);
    std::atomic<int> scans{0};
    std::atomic<int> stops{0};
    std::atomic<int> closed{0};            ///< stops that have ended
    std::atomic<bool> isStopHeldUp{false}; ///< by films that take long to close
    std::shared_ptr<Inbox::Address> manager;

    [[nodiscard]] std::vector<CameraOrder> ordersSoFar()
    {
        const MutexLock lock(mutex);
        return orders;
    }
    [[nodiscard]] QString lastPassword()
    {
        const MutexLock lock(mutex);
        return passwords.isEmpty() ? QString() : passwords.last();
    }
};

class FakeCameras final : public CameraManager
{
public:
    explicit FakeCameras(std::shared_ptr<Notebook> book) : m_book(std::move(book))
    {
        m_book->manager = m_inbox.address();
    }
    void setCredentials(const CameraCredentials& credentials) override
    {
        const MutexLock lock(m_book->mutex);
        m_book->passwords << credentials.password;
    }
    void startScan() override { ++m_book->scans; }
    void startCamera(const CameraOrder& order) override
    {
        const MutexLock lock(m_book->mutex);
        m_book->orders.push_back(order);
    }
    void stopCamera(const QString&) override {}
    void stopAll(std::function<void()> done) override
    {
        ++m_book->stops;
        m_waiting.push_back(std::move(done));
        if (!m_book->isStopHeldUp)
            closeFilms();
    }
    void closeFilms()
    {
        for (const auto& done : std::exchange(m_waiting, {})) {
            ++m_book->closed;
            done();
        }
    }

private:
    std::shared_ptr<Notebook> m_book;
    std::vector<std::function<void()>> m_waiting;
    Inbox m_inbox;
};

class FakePowerEvents final : public PowerEvents
{
public:
    void setAcquiring(bool acquiring) override { isHolding = acquiring; }
    void readyForSystemEvent() override { ++ready; }
    bool isHolding = false;
    int ready = 0;
};

class CameraSessionTest : public testing::Test
{
protected:
    CameraSessionTest()
    {
        AppSettings::useFiles(store, harness.path(u"legacy.ini"_s));
        makeSession();
    }
    ~CameraSessionTest() override
    {
        onManager([](FakeCameras& fake) { fake.closeFilms(); });
        book->isStopHeldUp = false;
        harness.session.reset();
        cameras.reset();
        for (const QString& line : log.lines())
            EXPECT_FALSE(line.contains(Secret)) << "a password in the log: " << qPrintable(line);
        AppSettings::useFiles({}, {});
    }
    void makeSession()
    {
        cameras = std::make_unique<CameraSession>(
            harness.time,
            [this, notes = book] {
                auto made = std::make_unique<FakeCameras>(notes);
                manager = made.get();
                return made;
            },
            harness.user);
        harness.session->addCompanion(cameras->companion());
    }
    void onManager(const std::function<void(FakeCameras&)>& step)
    {
        ASSERT_TRUE(SessionHarness::waitUntil([this] { return manager != nullptr; }));
        book->manager->post([step, made = manager.load()] { step(*made); });
    }
    /// Channels 1 and 2, and a disabled camera.
    void setUpCameras()
    {
        VideoSettings settings;
        settings.segmentMinutes = 15;
        settings.cameras = {
            {Mac1, 1, true, 1280, 720, 180}, {Mac2, 2, true}, {u"AC-CC-8E-00-00-03"_s, 3, false}};
        cameras->applySettings(settings);
    }
    [[nodiscard]] bool waitForOrders(std::size_t count)
    {
        return SessionHarness::waitUntil([&] { return book->ordersSoFar().size() >= count; });
    }
    [[nodiscard]] bool isIdle() const { return harness.session->state() == SessionState::Idle; }
    void tellFilming(const QString& mac, bool isFilming)
    {
        onManager([=](FakeCameras& fake) { emit fake.recordingStatusChanged(mac, isFilming); });
    }
    [[nodiscard]] QString notice(const QString& mac) { return harness.user.notices[u"camera:"_s + mac].text; }

    LogCapture log;
    SessionHarness harness{{.channels = 2, .animalType = 1, .autoResume = true}};
    const QString store = harness.path(u"settings.ini"_s);
    std::shared_ptr<Notebook> book = std::make_shared<Notebook>();
    std::atomic<FakeCameras*> manager{nullptr};
    std::unique_ptr<CameraSession> cameras;
};

} // namespace

TEST_F(CameraSessionTest, EnabledCamerasFilmFromTheStartToTheStop)
{
    setUpCameras();
    ASSERT_TRUE(harness.select());
    RecordingSetup setup = harness.setup();
    setup.animalIds = {u"M-101"_s};
    harness.session->record(setup);
    ASSERT_TRUE(waitForOrders(2));
    ASSERT_TRUE(harness.waitForDevice());
    const std::vector<CameraOrder> orders = book->ordersSoFar();
    EXPECT_EQ(orders[0].stream.mac, Mac1);
    EXPECT_EQ(orders[0].stream.baseDirectory, harness.path(u"run_video"_s));
    EXPECT_EQ(orders[0].stream.channel, 1);
    EXPECT_EQ(orders[0].stream.segmentMinutes, 15);
    EXPECT_EQ(orders[0].overlayText, u"Channel 1 - M-101"_s);
    EXPECT_EQ(orders[0].width, 1280);
    EXPECT_EQ(orders[0].rotation, 180);
    EXPECT_EQ(orders[1].overlayText, u"Channel 2 - 2"_s);

    harness.unit.unplug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Paused; }, 10));
    harness.unit.replug();
    ASSERT_TRUE(harness.passUntil([&] { return harness.session->state() == SessionState::Recording; }, 10));
    EXPECT_EQ(book->ordersSoFar().size(), 2U);
    EXPECT_EQ(book->stops, 0);

    tellFilming(Mac1, true);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 1; }));
    // What it misses meanwhile is lost, even though it films again.
    tellFilming(Mac1, false);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 0; }));
    harness.time.advance(1500);
    tellFilming(Mac1, true);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 1; }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return book->stops == 1; }));
    const SessionStatus status = harness.session->status();
    EXPECT_EQ(status.cameras.withoutVideo, QStringList{Mac2});
    EXPECT_EQ(status.losses.camerasWithoutVideo, 1U);
    const QString summary = harness.session->lastSummary();
    EXPECT_TRUE(summary.contains(u"Cameras: 1 of 2 filming at the end\n"_s)) << qPrintable(summary);
    EXPECT_TRUE(summary.contains(u"Lost: all video of 1 camera: "_s + Mac2)) << qPrintable(summary);
    EXPECT_TRUE(summary.contains(u"Lost: video for 2 s in 1 gap\n"_s)) << qPrintable(summary);
}

TEST_F(CameraSessionTest, AGapEndsWhenTheCameraIsNotWantedAnyMore)
{
    setUpCameras();
    ASSERT_TRUE(harness.beginRecording());
    tellFilming(Mac1, true);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 1; }));
    tellFilming(Mac1, false);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().gaps == 1; }));
    harness.time.advance(1500);
    ASSERT_TRUE(cameras->registry().setEnabled(Mac1, false).isEmpty());
    harness.time.advance(60000);
    EXPECT_EQ(cameras->status().gapMs, 1500);
    ASSERT_TRUE(harness.stopAndWaitIdle());
}

TEST_F(CameraSessionTest, ARecordingBeginsWhileTheFilmsOfTheLastAreBeingClosed)
{
    setUpCameras();
    ASSERT_TRUE(harness.beginRecording());
    book->isStopHeldUp = true;
    ASSERT_TRUE(harness.stopAndWaitIdle());
    bool isClosed = false;
    harness.session->whenClosed(cameras.get(), [&] { isClosed = true; });
    harness.session->record(harness.setup(u"next"_s));
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return harness.session->state() == SessionState::Recording; }));
    SessionHarness::settle();
    EXPECT_EQ(book->ordersSoFar().size(), 2U) << "ffmpeg of the last recording still writes";
    EXPECT_FALSE(isClosed);
    book->isStopHeldUp = false;
    onManager([](FakeCameras& fake) { fake.closeFilms(); });
    ASSERT_TRUE(waitForOrders(4));
    EXPECT_TRUE(isClosed);
    EXPECT_EQ(book->ordersSoFar()[2].stream.baseDirectory, harness.path(u"next_video"_s));
}

TEST_F(CameraSessionTest, AFilmThatMayShowAnotherCageIsToldAndCounted)
{
    setUpCameras();
    ASSERT_TRUE(harness.beginRecording());
    tellFilming(Mac1, true);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 1; }));
    const QDateTime since = harness.time.now();
    harness.time.advance(5000);
    onManager([since](FakeCameras& fake) { emit fake.filmDoubtful(Mac1, since); });
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().gaps == 1; }));
    EXPECT_TRUE(notice(Mac1 + u":place"_s).contains(u"channel 1 (%1)"_s.arg(Mac1)));
    EXPECT_TRUE(notice(Mac1 + u":place"_s).contains(since.toString(messageTimeFormat())));
    EXPECT_TRUE(log.hasPart(u"Lost: film of camera "_s + Mac1 + u" of channel 1 from "_s));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.session->status().losses.cameraGaps, 1U);
}

// ffmpeg had to be killed, after the summary was told.
TEST_F(CameraSessionTest, AFilmThatIsCutOffIsALossOfItsRecordingOnly)
{
    setUpCameras();
    ASSERT_TRUE(harness.beginRecording());
    tellFilming(Mac1, true);
    tellFilming(Mac2, true);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 2; }));
    book->isStopHeldUp = true;
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(harness.session->status().losses.cameraGaps, 0U);
    quint64 gapsWhenClosed = 0;
    harness.session->whenClosed(cameras.get(),
                                [&] { gapsWhenClosed = harness.session->status().losses.cameraGaps; });
    onManager([](FakeCameras& fake) {
        emit fake.filmCutOff(Mac2);
        fake.closeFilms();
    });
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return gapsWhenClosed > 0; }));
    EXPECT_EQ(gapsWhenClosed, 1U);
    EXPECT_TRUE(log.hasPart(u"Lost: the end of a film, camera "_s + Mac2 + u" of channel 2"_s));
    EXPECT_TRUE(notice(Mac2 + u":film"_s).contains(u"channel 2 (%1)"_s.arg(Mac2)));

    // The next recording has nothing to do with it, nor with what of the one before is told during it.
    ASSERT_TRUE(harness.beginRecording());
    onManager([](FakeCameras& fake) { emit fake.filmCutOff(Mac1); });
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return log.hasPart(u"camera "_s + Mac1); }));
    EXPECT_EQ(harness.session->status().losses.cameraGaps, 0U);
}

TEST_F(CameraSessionTest, AnEventOfTheSystemWaitsForTheFilms)
{
    setUpCameras();
    auto owned = std::make_unique<FakePowerEvents>();
    FakePowerEvents* const events = owned.get();
    const PowerGuard guard(*harness.session, harness.time, harness.user,
                           PowerGuard::Services{std::move(owned), [](bool) {}});
    ASSERT_TRUE(harness.beginRecording());
    book->isStopHeldUp = true;
    emit events->suspending(0);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return isIdle() && book->stops == 1; }));
    SessionHarness::settle();
    EXPECT_EQ(events->ready, 0);
    EXPECT_TRUE(events->isHolding);
    onManager([](FakeCameras& fake) { fake.closeFilms(); });
    EXPECT_TRUE(SessionHarness::waitUntil([&] { return events->ready == 1; }));
    EXPECT_TRUE(log.contains("Forced graceful stop completed - application ready for system event"));

    // One that comes when only the films are left.
    EXPECT_FALSE(events->isHolding);
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(harness.stopAndWaitIdle());
    emit events->shutdownConfirmed(0);
    EXPECT_EQ(events->ready, 1);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return book->stops == 2; }));
    onManager([](FakeCameras& fake) { fake.closeFilms(); });
    EXPECT_TRUE(SessionHarness::waitUntil([&] { return events->ready == 2; }));

    // One that goes on when the handler returns: the handler waits.
    book->isStopHeldUp = false;
    ASSERT_TRUE(harness.beginRecording());
    emit events->shutdownConfirmed(20000);
    EXPECT_TRUE(isIdle());
    EXPECT_EQ(book->closed, 3);
}

TEST_F(CameraSessionTest, WithoutEnabledCamerasTheNetworkIsLeftAlone)
{
    ASSERT_TRUE(harness.beginRecording());
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(book->scans + book->stops, 0);
    EXPECT_FALSE(harness.session->lastSummary().contains(u"Cameras"_s));
    // Enabled while it records.
    ASSERT_TRUE(harness.beginRecording());
    setUpCameras();
    ASSERT_TRUE(waitForOrders(2));
    EXPECT_EQ(book->ordersSoFar()[0].stream.baseDirectory, harness.path(u"run_video"_s));
}

TEST_F(CameraSessionTest, ACameraThatDoesNotFilmIsToldOnceEachWay)
{
    setUpCameras();
    ASSERT_TRUE(harness.beginRecording());
    onManager([](FakeCameras& fake) {
        emit fake.cameraFound(Mac1, QHostAddress(u"192.0.2.7"_s));
        emit fake.scanFinished(1, QString());
        for (int attempt = 0; attempt < 3; ++attempt)
            emit fake.recordingError(Mac1, u"FFmpeg process crashed or terminated unexpectedly"_s);
    });
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return harness.user.shown.size() >= 2; }));
    EXPECT_TRUE(notice(Mac1).contains(u"channel 1 (%1)"_s.arg(Mac1))) << qPrintable(notice(Mac1));
    EXPECT_TRUE(notice(Mac1).contains(u"FFmpeg process crashed"_s));
    EXPECT_TRUE(notice(Mac2).contains(u"it was not found on the network"_s));
    tellFilming(Mac1, true);
    ASSERT_TRUE(SessionHarness::waitUntil([&] { return cameras->status().recording == 1; }));
    harness.time.advance(CameraTroubles::SteadyMs);
    EXPECT_TRUE(notice(Mac1).contains(u"films since"_s));
    EXPECT_EQ(harness.user.shown,
              (QStringList{u"camera:"_s + Mac2, u"camera:"_s + Mac1, u"camera:"_s + Mac1}));
    // Soon it fails again, which is not told before an hour has passed; what was told is not true any more.
    onManager([](FakeCameras& fake) {
        emit fake.recordingStatusChanged(Mac1, false);
        emit fake.recordingError(Mac1, u"FFmpeg process crashed or terminated unexpectedly"_s);
    });
    ASSERT_TRUE(
        SessionHarness::waitUntil([&] { return !harness.user.notices.contains(u"camera:"_s + Mac1); }));
    ASSERT_TRUE(harness.stopAndWaitIdle());
    EXPECT_EQ(cameras->liveCamera(Mac1).address, QHostAddress(u"192.0.2.7"_s));
}

TEST_F(CameraSessionTest, SettingsAndPasswordAreKeptForTheUserAlone)
{
    QFile shared(store); // by another program's hand
    ASSERT_TRUE(shared.open(QIODevice::WriteOnly));
    shared.write("[General]\nsaveFileName=/data/a\n");
    shared.close();
    ASSERT_TRUE(
        shared.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup | QFile::ReadOther));
    setUpCameras();
    EXPECT_TRUE(cameras->registry().setChannel(Mac2, 4).isEmpty());
    EXPECT_FALSE(cameras->hasOwnPassword());
    cameras->setPassword(Secret);
    EXPECT_TRUE(cameras->hasOwnPassword());
    const VideoSettings before = cameras->settings();
    harness.session = nullptr;
    const auto reopen = [this] {
        cameras = std::make_unique<CameraSession>(
            harness.time,
            [this] {
                auto made = std::make_unique<FakeCameras>(book);
                manager = made.get();
                return made;
            },
            harness.user);
    };
    const auto close = [this] {
        cameras.reset(); // what was to be stored is
        manager = nullptr;
    };
    close();
    const auto storedPassword = [] { return CameraSettingsStore(&AppSettings::openStore).password(); };
    EXPECT_EQ(storedPassword(), Secret);
    AppSettings::setSaveFileName(u"/data/b"_s); // replaces the file
    constexpr auto Others = QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther;
    EXPECT_EQ(QFileInfo(store).permissions() & Others, QFile::Permissions());
    EXPECT_EQ(harness.user.messages.size(), 0U);

    reopen();
    EXPECT_EQ(cameras->settings(), before);
    EXPECT_EQ(cameras->settings().cameras[1].channel, 4);
    EXPECT_TRUE(cameras->hasOwnPassword());
    EXPECT_EQ(cameras->liveCamera(Mac1).password, Secret);
    EXPECT_TRUE(SessionHarness::waitUntil([&] { return book->lastPassword() == Secret; }));
    cameras->setPassword(QString());
    EXPECT_NE(cameras->liveCamera(Mac1).password, Secret);
    close();
    EXPECT_NE(storedPassword(), Secret);
    reopen();
}

TEST(CameraSettingsStore, TakesWhatIsValidOfABrokenStore)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"settings.ini"_s);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[CameraSettings]\nsegmentMinutes=0\n"
               "cameras\\AC-CC-8E-00-00-01\\channel=17\ncameras\\AC-CC-8E-00-00-01\\rotation=90\n"
               "cameras\\AC-CC-8E-00-00-01\\width=many\ncameras\\AC-CC-8E-00-00-02\\channel=2\n"
               "cameras\\AC-CC-8E-00-00-02\\enabled=true\ncameras\\AC-CC-8E-00-00-02\\rotation=45\n"
               "cameras\\door\\channel=3\n");
    file.close();
    const CameraSettingsStore store(
        [path] { return std::make_unique<QSettings>(path, QSettings::IniFormat); });
    VideoSettings expected;
    expected.cameras = {{Mac1, 0, false, 0, 0, 90}, {Mac2, 2, true, 0, 0, 0}};
    EXPECT_EQ(store.load(), expected);
}
