// SPDX-License-Identifier: GPL-3.0-or-later
#include "camera/CameraManagerRegistry.h"
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "base/Mutex.h"

#include <QSignalSpy>
#include <QTest>
#include <condition_variable>
#include <gmock/gmock.h>
#include <utility>

namespace vt::test {
namespace {

using testing::ElementsAre;
using namespace Qt::StringLiterals;

const QString One = u"00-40-8C-12-34-56"_s;
const QString Two = u"AC-CC-8E-00-00-01"_s;

/// What the test and the manager on the cameras' thread share.
struct Notes
{
    Mutex mutex;
    QStringList calls VT_GUARDED_BY(mutex);
    std::shared_ptr<Inbox::Address> manager VT_GUARDED_BY(mutex);
    std::atomic<bool> answersStop = true;

    void add(const QString& call)
    {
        const MutexLock lock(mutex);
        calls << call;
    }
    std::shared_ptr<Inbox::Address> address()
    {
        const MutexLock lock(mutex);
        return manager;
    }
};

class FakeManager : public CameraManager
{
public:
    explicit FakeManager(Notes& notes) : m_notes(notes)
    {
        const MutexLock lock(notes.mutex);
        notes.manager = m_inbox.address();
    }
    void setCredentials(const CameraCredentials& credentials) override
    {
        m_notes.add(u"credentials "_s + credentials.password);
    }
    void startScan() override { m_notes.add(u"scan"_s); }
    void startCamera(const CameraOrder& order) override
    {
        m_notes.add(QStringLiteral("start %1 %2 %3x%4 %5 '%6' %7 %8")
                        .arg(order.stream.mac)
                        .arg(order.stream.channel)
                        .arg(order.width)
                        .arg(order.height)
                        .arg(order.rotation)
                        .arg(order.overlayText, order.stream.baseDirectory)
                        .arg(order.stream.segmentMinutes));
    }
    void stopCamera(const QString& mac) override { m_notes.add(u"stop "_s + mac); }
    void stopAll(std::function<void()> done) override
    {
        m_notes.add(u"stop all"_s);
        if (m_notes.answersStop)
            done();
        else
            m_unanswered = std::move(done);
    }
    void answerStop() { std::exchange(m_unanswered, nullptr)(); }

private:
    Notes& m_notes;
    Inbox m_inbox;
    std::function<void()> m_unanswered;
};

class Registry : public testing::Test
{
protected:
    /// Runs on the cameras' thread; afterwards its news are here.
    void onManager(const std::function<void(FakeManager&)>& step)
    {
        std::atomic<bool> isDone = false;
        ASSERT_TRUE(QTest::qWaitFor([&] { return notes.address() != nullptr; }, 20000));
        notes.address()->post([&] {
            step(*manager);
            isDone = true;
        });
        ASSERT_TRUE(QTest::qWaitFor([&] { return isDone.load(); }, 20000));
        QCoreApplication::sendPostedEvents();
    }
    /// All that the manager was told since the last time, up to now.
    QStringList calls()
    {
        onManager([](FakeManager&) {});
        const MutexLock lock(notes.mutex);
        return std::exchange(notes.calls, {});
    }
    void found(const QString& mac, const QString& address)
    {
        onManager([&](FakeManager& each) { emit each.cameraFound(mac, QHostAddress(address)); });
    }
    void endScan()
    {
        onManager([](FakeManager& each) { emit each.scanFinished(1, {}); });
    }
    CameraStatus status(const QString& mac)
    {
        for (const CameraStatus& each : registry.cameras())
            if (each.settings.mac == mac)
                return each;
        ADD_FAILURE() << mac.toStdString() << " is not known";
        return {};
    }
    static VideoSettings twoCameras()
    {
        return {30, {{One, 3, true, 1280, 720, 90}, {Two, 5, false, 0, 0, 0}}};
    }
    static CameraRecordingPlan plan() { return {u"/data/night1_video"_s, 30, {{3, u"M1"_s}, {5, {}}}}; }

    LogCapture log;
    FakeTimeSource time;
    Notes notes;
    FakeManager* manager = nullptr; ///< used on its own thread only
    CameraManagerRegistry registry{time,
                                   [this] {
                                       auto created = std::make_unique<FakeManager>(notes);
                                       manager = created.get();
                                       return created;
                                   },
                                   [](const std::shared_ptr<void>&) { ADD_FAILURE() << "left behind"; }};
};

/// A driver or a network that does not come back until the test lets it.
class Latch
{
public:
    void open()
    {
        const MutexLock lock(m_mutex);
        m_isOpen = true;
        m_changed.notify_all();
    }
    void pass()
    {
        const MutexLock lock(m_mutex);
        m_isReached = true;
        m_changed.notify_all();
        m_changed.wait(m_mutex, [this]() VT_REQUIRES(m_mutex) { return m_isOpen; });
    }
    void waitUntilReached()
    {
        const MutexLock lock(m_mutex);
        m_changed.wait(m_mutex, [this]() VT_REQUIRES(m_mutex) { return m_isReached; });
    }

private:
    Mutex m_mutex;
    std::condition_variable_any m_changed;
    bool m_isOpen VT_GUARDED_BY(m_mutex) = false;
    bool m_isReached VT_GUARDED_BY(m_mutex) = false;
};

/// Hangs in its search, and has news and a timer when it comes back.
class HangingManager : public FakeManager
{
public:
    HangingManager(Notes& notes, TimeSource& time, Latch& latch)
        : FakeManager(notes), m_latch(latch), m_timer(time.createTimer(this, [] {}))
    {}
    void startScan() override
    {
        m_latch.pass();
        m_timer->start(1000, TimerMode::SingleShot);
        emit cameraFound(One, QHostAddress(u"192.0.2.7"_s));
        emit filmCutOff(One);
        emit scanFinished(1, {});
    }

private:
    Latch& m_latch;
    std::unique_ptr<Timer> m_timer;
};

} // namespace

TEST_F(Registry, KnowsWhoIsThereFromScanToScan)
{
    registry.setSettingsWindow(true, true);
    QSignalSpy ends(&registry, &CameraManagerRegistry::scanFinished);
    time.advance(29999);
    EXPECT_FALSE(registry.isScanning());
    time.advance(1);
    EXPECT_TRUE(registry.isScanning());
    EXPECT_THAT(calls(), ElementsAre(u"scan"_s));
    found(One, u"192.168.1.20"_s);
    registry.rescan(); // one is running
    EXPECT_THAT(calls(), ElementsAre());
    endScan();
    EXPECT_EQ(ends.size(), 1);
    EXPECT_TRUE(status(One).isOnline);
    EXPECT_EQ(status(One).address, QHostAddress(u"192.168.1.20"_s));

    const QDateTime seen = time.now();
    time.advance(30000);
    endScan();
    EXPECT_FALSE(status(One).isOnline);
    EXPECT_EQ(status(One).lastSeen, seen);
    registry.rescan();
    found(One, u"192.168.1.99"_s);
    endScan();
    EXPECT_TRUE(status(One).isOnline);
    EXPECT_EQ(status(One).address, QHostAddress(u"192.168.1.99"_s));
    registry.setSettingsWindow(true, false);
    EXPECT_EQ(time.activeTimers(), 0);
    EXPECT_TRUE(log.hasInOrder({u"Settings window ACTIVATED - discovery interval 30000 ms"_s,
                                u"Discovery timer timeout - triggering rescan"_s,
                                u"Previous scan still running (0 complete) - not clearing seen cameras"_s,
                                u"Clearing seen cameras (was 1)"_s,
                                u"Camera "_s + One + u" not found in scan - marking offline"_s,
                                u"Settings window DEACTIVATED - STOPPING discovery timer"_s}));
}

TEST_F(Registry, RecordsWhatIsEnabledAndSearchesForWhatIsMissing)
{
    EXPECT_EQ(registry.setSettings(twoCameras()), QString());
    registry.startRecording(plan());
    EXPECT_TRUE(registry.isRecordingSession());
    EXPECT_THAT(calls(),
                ElementsAre(u"start "_s + One + u" 3 1280x720 90 'Channel 3 - M1' /data/night1_video 30"_s,
                            u"scan"_s));
    endScan();

    // What would change files that are being written is refused; single cameras come and go.
    EXPECT_FALSE(registry.setSettings({}).isEmpty());
    EXPECT_FALSE(registry.setChannel(One, 4).isEmpty());
    EXPECT_EQ(registry.setEnabled(Two, true), QString());
    EXPECT_EQ(registry.setEnabled(One, false), QString());
    EXPECT_THAT(calls(), ElementsAre(u"start "_s + Two + u" 5 0x0 0 'Channel 5' /data/night1_video 30"_s,
                                     u"stop "_s + One));

    onManager([](FakeManager& each) { emit each.persistentRetryAttempt(Two, 4); });
    EXPECT_TRUE(log.has(u"CameraManagerRegistry: Camera "_s + Two +
                        u" in persistent retry, attempt 4 - triggering event-driven discovery scan"_s));
    EXPECT_THAT(calls(), ElementsAre(u"scan"_s));
    endScan();
    time.advance(CameraManagerRegistry::StopLimitMs); // nothing is stopping
    time.advance(600000 - CameraManagerRegistry::StopLimitMs);
    EXPECT_THAT(calls(), ElementsAre(u"scan"_s));

    // Trouble is told in the order of what explains it, and forgotten when video flows.
    onManager([](FakeManager& each) {
        emit each.recordingError(Two, u"no route"_s);
        emit each.setupProblem(Two, u"wrong password"_s);
    });
    EXPECT_EQ(status(Two).lastError, u"wrong password"_s);
    onManager([](FakeManager& each) { emit each.setupProblem(Two, {}); });
    EXPECT_EQ(status(Two).lastError, u"no route"_s);
    onManager([](FakeManager& each) { emit each.recordingStatusChanged(Two, true); });
    EXPECT_EQ(status(Two).lastError, QString());
    EXPECT_TRUE(status(Two).isRecording);

    std::vector<bool> stops;
    registry.stopRecording([&](bool isComplete) { stops.push_back(isComplete); });
    EXPECT_TRUE(stops.empty()); // never within the call
    EXPECT_THAT(calls(), ElementsAre(u"stop all"_s));
    EXPECT_THAT(stops, ElementsAre(true));
    EXPECT_FALSE(registry.isRecordingSession());
    EXPECT_EQ(time.activeTimers(), 0);
    EXPECT_TRUE(log.contains("Recording mode OFF - STOPPING discovery timer (settings window not active)"));
}

TEST_F(Registry, SearchesOnceMoreWhenTheAddressOfAFilmIsInDoubt)
{
    (void)registry.setSettings(twoCameras());
    onManager([](FakeManager& each) { emit each.searchWanted(One); });
    EXPECT_THAT(calls(), ElementsAre()) << "nothing is recorded";
    registry.startRecording(plan());
    (void)calls();
    // One search runs, and may have had its answers.
    onManager([](FakeManager& each) {
        emit each.searchWanted(One);
        emit each.searchWanted(Two);
    });
    EXPECT_THAT(calls(), ElementsAre());
    endScan();
    EXPECT_THAT(calls(), ElementsAre(u"scan"_s));
    found(One, u"192.168.1.20"_s);
    found(Two, u"192.168.1.20"_s);
    EXPECT_FALSE(status(One).isOnline) << "Two has its address";
    EXPECT_TRUE(status(One).address.isNull());
    endScan();
    EXPECT_THAT(calls(), ElementsAre());
}

TEST_F(Registry, GivesAStopUpAfterFifteenSeconds)
{
    (void)registry.setSettings(twoCameras());
    registry.startRecording(plan());
    onManager([](FakeManager& each) { emit each.recordingStatusChanged(One, true); });
    QSignalSpy cutOff(&registry, &CameraManagerRegistry::filmCutOff);
    notes.answersStop = false;
    std::vector<bool> stops;
    registry.stopRecording([&](bool isComplete) { stops.push_back(isComplete); });
    registry.stopRecording([&](bool isComplete) { stops.push_back(isComplete); });
    registry.startRecording(plan()); // as soon as the former one has ended
    EXPECT_TRUE(registry.isRecordingSession());
    (void)calls();
    time.advance(14999);
    EXPECT_TRUE(stops.empty());
    EXPECT_THAT(calls(), ElementsAre());
    time.advance(1);
    EXPECT_THAT(stops, ElementsAre(false, false));
    EXPECT_TRUE(log.contains("CameraManagerRegistry: The cameras' recordings did not stop in time"));
    EXPECT_EQ(calls().value(0).left(23), u"start "_s + One);
    EXPECT_THAT(cutOff, ElementsAre(ElementsAre(QVariant(One))));
    onManager([](FakeManager& each) { emit each.filmCutOff(One); });
    EXPECT_EQ(cutOff.size(), 1) << "it was told already";

    // The late answer is not taken for that of the next stop.
    registry.stopRecording([&](bool isComplete) { stops.push_back(isComplete); });
    onManager([](FakeManager& each) { each.answerStop(); });
    EXPECT_EQ(stops.size(), 3U);
    notes.answersStop = true; // for the registry's own end
}

TEST_F(Registry, AFilmThatWasCutOffMakesItsStopIncompleteAndNoOther)
{
    (void)registry.setSettings(twoCameras());
    std::vector<bool> stops;
    const auto stop = [&] { registry.stopRecording([&](bool isComplete) { stops.push_back(isComplete); }); };
    registry.startRecording(plan());
    notes.answersStop = false;
    stop();
    onManager([](FakeManager& each) {
        emit each.filmCutOff(One);
        each.answerStop();
    });
    notes.answersStop = true;
    registry.startRecording(plan());
    stop();
    onManager([](FakeManager&) {});
    EXPECT_THAT(stops, ElementsAre(false, true));
}

// The thread does not come back while the registry ends, be it that it builds its manager or uses it. What it
// touches later is still there, and nobody hears of it.
TEST(RegistryEnd, AThreadThatHangsIsKeptWithAllThatItUses)
{
    for (const bool isHungInFactory : {true, false}) {
        LogCapture log;
        FakeTimeSource time;
        Notes notes;
        Latch latch;
        std::vector<std::shared_ptr<void>> kept;
        auto registry = std::make_unique<CameraManagerRegistry>(
            time,
            [&] {
                if (isHungInFactory)
                    latch.pass();
                return std::make_unique<HangingManager>(notes, time, latch);
            },
            [&](std::shared_ptr<void> object) { kept.push_back(std::move(object)); }, 50);
        int heard = 0;
        QObject::connect(registry.get(), &CameraManagerRegistry::camerasChanged, [&heard] { ++heard; });
        registry->rescan();
        latch.waitUntilReached();
        registry.reset();
        EXPECT_TRUE(
            log.contains("CameraManagerRegistry: The cameras' thread does not end; it is left behind"));
        ASSERT_EQ(kept.size(), 1U);
        latch.open();
        kept.clear(); // waits for the thread
        QCoreApplication::sendPostedEvents();
        EXPECT_EQ(heard, 0);
        EXPECT_EQ(time.activeTimers(), 0) << "the manager has gone on its own thread";
        const MutexLock lock(notes.mutex);
        EXPECT_THAT(notes.calls, ElementsAre(u"stop all"_s));
    }
}

TEST(CameraTable, GivesACageOneCamera)
{
    CameraTable table;
    EXPECT_FALSE(table.setEnabled(One, true).isEmpty());
    EXPECT_EQ(table.setChannel(One, 1), QString());
    EXPECT_EQ(table.setEnabled(One, true), QString());
    EXPECT_FALSE(table.setChannel(Two, 1).isEmpty());
    EXPECT_FALSE(table.setChannel(Two, -1).isEmpty());
    EXPECT_FALSE(table.setRotation(One, 45).isEmpty());
    EXPECT_FALSE(table.setResolution(One, 0, 720).isEmpty());
    EXPECT_EQ(table.setChannel(One, 0), QString());
    EXPECT_FALSE(table.find(One)->enabled);
    EXPECT_EQ(table.find(Two), nullptr);

    const QString problem = table.setSettings({60,
                                               {{One, 2, true, 0, 0, 0},
                                                {Two, 2, true, 0, 0, 0},
                                                {One, 4, true, 0, 0, 0},
                                                {u"00-00-00-00-00-03"_s, 0, true, 0, 0, 0}}});
    EXPECT_EQ(table.settings().cameras,
              (std::vector<CameraEntry>{{One, 2, true, 0, 0, 0},
                                        {Two, 0, false, 0, 0, 0},
                                        {u"00-00-00-00-00-03"_s, 0, false, 0, 0, 0}}));
    for (const QString& part : {u"Channel 2 has camera "_s + One, u"Camera "_s + One + u" is listed twice"_s,
                                u"00-00-00-00-00-03 has no channel"_s})
        EXPECT_TRUE(problem.contains(part)) << problem.toStdString();
}

} // namespace vt::test
