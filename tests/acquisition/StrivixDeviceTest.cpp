// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "StrivixHarness.h"
#include "acquisition/StrivixPorts.h"
#include "acquisition/StrivixProbe.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>
#include <gmock/gmock.h>
#include <mutex>

using namespace Qt::StringLiterals;
using vt::SimulatedAmplifier;
using vt::test::LogCapture;
using vt::test::StrivixHarness;

namespace {

constexpr int StopWaitMs = 1000;

/// Holds up whoever asks for a timer, as a port that does not return does, until it is let go.
class HangingTime final : public vt::TimeSource
{
public:
    [[nodiscard]] QDateTime now() const override { return m_time.now(); }
    [[nodiscard]] qint64 monotonicMs() const override { return m_time.monotonicMs(); }
    [[nodiscard]] qint64 monotonicUs() const override { return m_time.monotonicUs(); }
    [[nodiscard]] std::unique_ptr<vt::Timer> createTimer(QObject* context,
                                                         std::function<void()> onTimeout) override
    {
        ++timersAsked;
        const std::lock_guard lock(m_mutex);
        return std::make_unique<HeldTimer>(m_time.createTimer(context, std::move(onTimeout)), timersGone);
    }
    void hold() { m_mutex.lock(); }
    void letGo() { m_mutex.unlock(); }

    std::atomic<int> timersAsked{0};
    std::atomic<int> timersGone{0};

private:
    class HeldTimer final : public vt::Timer
    {
    public:
        HeldTimer(std::unique_ptr<vt::Timer> timer, std::atomic<int>& gone)
            : m_timer(std::move(timer)), m_gone(gone)
        {}
        ~HeldTimer() override { ++m_gone; }
        void start(int intervalMs, vt::TimerMode mode) override { m_timer->start(intervalMs, mode); }
        void stop() override { m_timer->stop(); }
        [[nodiscard]] bool isActive() const override { return m_timer->isActive(); }

    private:
        std::unique_ptr<vt::Timer> m_timer;
        std::atomic<int>& m_gone;
    };

    vt::test::FakeTimeSource m_time;
    std::mutex m_mutex;
};

} // namespace

TEST(StrivixDevice, IdentifiesAndStartsWithExactlyTheseBytes)
{
    LogCapture log;
    StrivixHarness harness;
    ASSERT_TRUE(harness.startStreaming());
    EXPECT_EQ(harness.identity(), u"Strivix SA2-0417"_s);
    EXPECT_EQ(harness.amplifier.received(), "s\r\n\r\n?bf64292\r\nc"_ba);
    ASSERT_TRUE(harness.adapter->stop(StopWaitMs));
    EXPECT_TRUE(harness.adapter->released());
    ASSERT_TRUE(harness.step());
    EXPECT_EQ(harness.amplifier.received(), "s\r\n\r\n?bf64292\r\ncs"_ba);
    EXPECT_TRUE(log.hasInOrder(
        {u"StrivixDevice: ID response: Strivix SA2-0417\r\n2 channels"_s,
         u"StrivixDevice: Connected to %1 on Strivix SA2-0417"_s.arg(harness.amplifier.portName()),
         u"setting timer val: 64292"_s}));
    EXPECT_EQ(harness.adapter->counters().readErrors, 0U);
}

TEST(StrivixDevice, IdentifiesAnAmplifierThatWasLeftStreaming)
{
    StrivixHarness harness;
    harness.amplifier.startStreaming();
    ASSERT_TRUE(harness.startStreaming());
    EXPECT_TRUE(harness.errors().isEmpty());
    EXPECT_EQ(harness.adapter->deviceCounters().bytesDropped, 0U) << "nothing old was taken for the stream";
}

TEST(StrivixDevice, SaysWhyItIsNotTheAmplifier)
{
    struct Case
    {
        const char* name;
        void (*arrange)(SimulatedAmplifier&);
        QString error;
        QString logged;
        int leastMs;
        int mostMs;
    };
    const std::array<Case, 4> cases{
        {{"no reply",
          [](SimulatedAmplifier& a) { a.setIdentification(SimulatedAmplifier::Identification::None); },
          u"Device did not identify as Strivix"_s,
          u"StrivixDevice: Device on %1 did not identify as Strivix"_s, 900, 920},
         {"another device",
          [](SimulatedAmplifier& a) { a.setIdentification(SimulatedAmplifier::Identification::Wrong); },
          u"Device did not identify as Strivix"_s,
          u"StrivixDevice: Device on %1 did not identify as Strivix"_s, 500, 520},
         {"answers without end",
          [](SimulatedAmplifier& a) { a.setIdentification(SimulatedAmplifier::Identification::Endless); },
          u"Device did not identify as Strivix"_s,
          u"StrivixDevice: Device on %1 did not identify as Strivix"_s, 2400, 2420},
         {"never silent",
          [](SimulatedAmplifier& a) {
              a.setStopBehaviour(SimulatedAmplifier::StopBehaviour::Ignores);
              a.startStreaming();
          },
          u"Device kept streaming and could not be identified"_s,
          u"StrivixDevice: %1 kept streaming after the stop command; abandoning probe after 2000 ms"_s, 2000,
          2020}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        LogCapture log;
        StrivixHarness harness;
        c.arrange(harness.amplifier);
        const qint64 startMs = harness.time.monotonicMs();
        ASSERT_TRUE(harness.open());
        ASSERT_TRUE(harness.stepUntil([&] { return !harness.errors().isEmpty(); }));
        EXPECT_THAT(harness.errors(), testing::ElementsAre(c.error));
        EXPECT_EQ(log.count(c.logged.arg(harness.amplifier.portName())), 1)
            << qPrintable(log.lines().join(u'\n'));
        EXPECT_GE(harness.time.monotonicMs() - startMs, c.leastMs);
        EXPECT_LE(harness.time.monotonicMs() - startMs, c.mostMs);
        EXPECT_FALSE(harness.amplifier.received().contains('c'));
        EXPECT_TRUE(harness.adapter->stop(StopWaitMs));
    }
}

TEST(StrivixDevice, SaysThatThePortCannotBeOpened)
{
    LogCapture log;
    StrivixHarness harness;
    harness.amplifier.disappear();
    EXPECT_FALSE(vt::isPortPresent(harness.amplifier.portName()));
    ASSERT_TRUE(harness.open());
    ASSERT_TRUE(harness.stepUntil([&] { return !harness.errors().isEmpty(); }));
    EXPECT_THAT(harness.errors(), testing::ElementsAre(u"Failed to open port: No such file or directory"_s));
    EXPECT_TRUE(log.hasPart(u"StrivixDevice: Failed to open"_s));
}

TEST(StrivixDevice, RefusesAnotherAmplifierThanTheRequiredOne)
{
    StrivixHarness harness;
    harness.adapter->setRequiredIdentity(u"Strivix SA2-9999"_s);
    ASSERT_TRUE(harness.open());
    ASSERT_TRUE(harness.stepUntil([&] { return !harness.errors().isEmpty(); }));
    EXPECT_THAT(
        harness.errors(),
        testing::ElementsAre(u"Device identified as \"Strivix SA2-0417\" instead of \"Strivix SA2-9999\""_s));
    EXPECT_FALSE(harness.amplifier.received().contains('c'));
}

// Nobody answers, nobody reads, and the clock of the device's waits stands still.
TEST(StrivixDevice, StopsWithinASecondInEveryState)
{
    for (const int stepsBefore : {0, 1, 45, 60}) {
        StrivixHarness harness;
        harness.amplifier.setIdentification(SimulatedAmplifier::Identification::None);
        ASSERT_TRUE(harness.open());
        ASSERT_TRUE(harness.stepFor(stepsBefore * 10));
        QElapsedTimer elapsed;
        elapsed.start();
        EXPECT_TRUE(harness.adapter->stop(StopWaitMs));
        EXPECT_LT(elapsed.elapsed(), StopWaitMs);
        EXPECT_TRUE(harness.errors().isEmpty());
    }
}

TEST(StrivixProbe, AnswersOnTheAskersThreadAndLeavesThePortFree)
{
    vt::SystemTimeSource time;
    SimulatedAmplifier amplifier(time, {});
    ASSERT_TRUE(amplifier.errorText().isEmpty());
    vt::Inbox here;
    QEventLoop loop;
    for (int round = 0; round < 2; ++round) { // the second finds the port closed again
        std::optional<vt::StrivixProbeResult> result;
        const vt::StrivixProbe probe(time, amplifier.portName(), here,
                                     [&](const vt::StrivixProbeResult& answer) {
                                         EXPECT_EQ(QThread::currentThread(), here.thread());
                                         result = answer;
                                         loop.quit();
                                     });
        QTimer::singleShot(10000, &loop, &QEventLoop::quit);
        loop.exec();
        ASSERT_TRUE(result);
        EXPECT_EQ(result->identity, u"Strivix SA2-0417"_s);
        EXPECT_EQ(result->error, QString());
    }
    EXPECT_EQ(amplifier.received(), "s\r\n\r\n?s\r\n\r\n?"_ba);
}

// It answers when the port returns at last, while another selection may be under way.
TEST(StrivixProbe, OneThatWasGivenUpWhileThePortHangsSaysNothing)
{
    LogCapture log;
    static HangingTime time; // used by a thread that is left to itself
    vt::Inbox here;
    QEventLoop loop;
    int answers = 0;
    time.hold();
    {
        const vt::StrivixProbe probe(time, u"/nonexistent/port"_s, here,
                                     [&](const vt::StrivixProbeResult&) { ++answers; });
        ASSERT_TRUE(StrivixHarness::waitFor([&] { return time.timersAsked == 1; }));
    }
    EXPECT_TRUE(log.contains("StrivixProbe: the port does not return, thread abandoned"));
    time.letGo();
    ASSERT_TRUE(StrivixHarness::waitFor([&] { return time.timersGone == 2; }));
    EXPECT_TRUE(log.hasPart(u"StrivixDevice: Failed to open"_s)) << "so it did answer";
    here.post([&] { loop.quit(); });
    loop.exec();
    EXPECT_EQ(answers, 0);
}
