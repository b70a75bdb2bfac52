// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeTimeSource.h"
#include "LogLines.h"
#include "MockLogind.h"
#include "platform/linux/LidQuery.h"
#include "platform/linux/LogindEvents.h"
#include "platform/linux/SleepInhibitor.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>
#include <optional>

namespace vt {
namespace {

using test::FakeTimeSource;
using test::LogLines;
using test::MockLogind;

const QString Delay = QStringLiteral("shutdown:sleep delay: vellumtide-test closes its recording first");
const QString Block =
    QStringLiteral("shutdown block: vellumtide-test is running — reboot would interrupt operation.");
const QString Awake = QStringLiteral("sleep:idle block: vellumtide-test is recording");
const QString Shutdown = QStringLiteral("PrepareForShutdown");
const QString Sleep = QStringLiteral("PrepareForSleep");

/// What the log says of LogindEvents' first steps.
QStringList started(int delayMs)
{
    return {QStringLiteral("PowerEvents: Initialized - monitoring system power and shutdown events"),
            QStringLiteral("PowerEvents: delay inhibitor registered"),
            QStringLiteral("PowerEvents: logind waits %1 ms for the delay inhibitor").arg(delayMs)};
}

[[nodiscard]] bool waitForOne(const QSignalSpy& spy)
{
    return QTest::qWaitFor([&] { return spy.count() == 1; }, 10000);
}

TEST(Logind, BlocksShutdownAndSleepWhileAcquiring)
{
    MockLogind logind;
    FakeTimeSource time;
    LogLines log;
    LogindEvents events(logind.bus(), time);
    SleepInhibitor awake(logind.bus());
    ASSERT_TRUE(log.waitFor(started(5000)));
    EXPECT_EQ(logind.inhibitors(), QStringList{Delay});

    events.setAcquiring(true);
    EXPECT_TRUE(awake.acquire());
    EXPECT_TRUE(awake.acquire());
    EXPECT_TRUE(
        log.waitFor({QStringLiteral("PowerEvents: shutdown inhibitor registered"),
                     QStringLiteral("PowerEvents: Shutdown blocking ENABLED — system reboots will be denied"),
                     QStringLiteral("PowerRequest: acquired ( sleep:idle inhibitor ) -")}));
    EXPECT_EQ(logind.inhibitors(), (QStringList{Block, Delay, Awake}));
    events.setAcquiring(false);
    awake.release();
    EXPECT_TRUE(logind.waitForInhibitors({Delay}));
    EXPECT_TRUE(log.waitFor({QStringLiteral("PowerEvents: shutdown inhibitor released"),
                             QStringLiteral("PowerEvents: Shutdown blocking DISABLED")}));
}

TEST(Logind, DelaysTheSystemUntilTheRecordingIsClosed)
{
    MockLogind logind;
    FakeTimeSource time;
    logind.setProperty(QStringLiteral("InhibitDelayMaxUSec"), QVariant::fromValue<qulonglong>(3'000'000));
    LogLines log;
    LogindEvents events(logind.bus(), time);
    QSignalSpy goingDown(&events, &PowerEvents::shutdownConfirmed);
    QSignalSpy suspending(&events, &PowerEvents::suspending);
    QSignalSpy resumed(&events, &PowerEvents::resumed);
    ASSERT_TRUE(log.waitFor(started(3000)));
    events.readyForSystemEvent();
    EXPECT_EQ(logind.inhibitors(), QStringList{Delay}) << "without an event there is nothing to let go";

    // Answered in time; then the shutdown is called off.
    logind.emitPrepare(Shutdown, true);
    ASSERT_TRUE(waitForOne(goingDown));
    EXPECT_EQ(goingDown[0][0].toInt(), 0);
    EXPECT_EQ(logind.inhibitors(), QStringList{Delay});
    events.readyForSystemEvent();
    EXPECT_TRUE(logind.waitForInhibitors({}));
    logind.emitPrepare(Shutdown, false);
    EXPECT_TRUE(
        log.waitFor({QStringLiteral("W PowerEvents: PrepareForShutdown received - Shutdown confirmed"),
                     QStringLiteral("  Application has ~3 seconds to stop critical operations"),
                     QStringLiteral("PowerEvents: delay inhibitor released - application ready"),
                     QStringLiteral("PowerEvents: PrepareForShutdown - Shutdown cancelled"),
                     QStringLiteral("PowerEvents: delay inhibitor registered")}));
    EXPECT_EQ(logind.inhibitors(), QStringList{Delay});

    // Nobody answers: let go a tenth of logind's time before it ends.
    logind.emitPrepare(Sleep, true);
    ASSERT_TRUE(waitForOne(suspending));
    EXPECT_EQ(suspending[0][0].toInt(), 0);
    time.advance(2699);
    EXPECT_EQ(logind.inhibitors(), QStringList{Delay});
    time.advance(1);
    EXPECT_TRUE(logind.waitForInhibitors({}));
    EXPECT_EQ(log.takeWarnings().size(), 1);
    EXPECT_EQ(resumed.count(), 0);
    logind.emitPrepare(Sleep, false);
    ASSERT_TRUE(waitForOne(resumed));
    EXPECT_TRUE(logind.waitForInhibitors({Delay}));
    events.readyForSystemEvent(); // late, for the sleep that is over
    EXPECT_EQ(logind.inhibitors(), QStringList{Delay});
    EXPECT_EQ(time.activeTimers(), 0);
    EXPECT_EQ(goingDown.count(), 1);
}

TEST(Logind, FollowsARestart)
{
    MockLogind logind;
    FakeTimeSource time;
    LogindEvents events(logind.bus(), time);
    SleepInhibitor awake(logind.bus());
    QSignalSpy suspending(&events, &PowerEvents::suspending);
    events.setAcquiring(true);
    EXPECT_TRUE(awake.acquire());
    ASSERT_TRUE(logind.waitForInhibitors({Block, Delay, Awake}));
    logind.emitPrepare(Sleep, true);
    ASSERT_TRUE(waitForOne(suspending));
    events.readyForSystemEvent();
    ASSERT_TRUE(logind.waitForInhibitors({Block, Awake}));

    logind.kill();
    logind.start();
    EXPECT_TRUE(logind.waitForInhibitors({Block, Delay, Awake}));
    logind.emitPrepare(Sleep, true);
    EXPECT_TRUE(QTest::qWaitFor([&] { return suspending.count() == 2; }, 10000));
}

// What logind does not grant, the program goes without: one warning each, and no event. A system without it
// is one thing that is wrong, not three.
TEST(Logind, WarnsOnceOfARefusalAndOfAMissingService)
{
    std::optional<MockLogind> logind;
    for (const auto kind : {std::optional<MockLogind::Kind>(), std::optional(MockLogind::Kind::Missing),
                            std::optional(MockLogind::Kind::Refusing)}) {
        logind.reset();
        if (kind)
            logind.emplace(*kind);
        const QDBusConnection bus = logind ? logind->bus() : QDBusConnection(QStringLiteral("none"));
        SCOPED_TRACE(kind ? static_cast<int>(*kind) : -1);
        FakeTimeSource time;
        LogLines log;
        std::optional<PowerSchemeQuery::Result> lid;
        QObject receiver;
        {
            LogindEvents events(bus, time);
            events.setAcquiring(true);
            SleepInhibitor awake(bus);
            EXPECT_EQ(awake.acquire(), kind.has_value()) << "refused at once only without a bus";
            PowerSchemeQuery::queryLid(bus, QString(), &receiver, [&](const auto& result) { lid = result; });
            EXPECT_EQ(lid.has_value(), !kind.has_value());
            EXPECT_TRUE(QTest::qWaitFor([&] { return lid.has_value(); }, 10000));
            events.setAcquiring(false);
        }
        EXPECT_TRUE(lid && lid->queryFailed && !PowerSchemeQuery::lidStopsRecording(*lid));
        const QStringList warnings = log.takeWarnings();
        const bool refusing = kind == MockLogind::Kind::Refusing;
        EXPECT_EQ(warnings.filter(QLatin1String("W PowerEvents: ")).size(), 1);
        EXPECT_EQ(warnings.filter(QLatin1String("W PowerRequest: ")).size(), refusing ? 1 : 0);
        EXPECT_EQ(warnings.filter(QLatin1String("W PowerSchemeQuery: ")).size(), refusing ? 1 : 0);
        EXPECT_EQ(warnings.size(), refusing ? 3 : 1) << warnings.join(u'\n').toStdString();
    }
}

TEST(Logind, NeverWaitsForIt)
{
    MockLogind logind;
    FakeTimeSource time;
    logind.freeze();
    QElapsedTimer elapsed;
    elapsed.start();
    SleepInhibitor awake(logind.bus());
    EXPECT_TRUE(awake.acquire());
    LogindEvents events(logind.bus(), time);
    events.setAcquiring(true);
    QObject receiver;
    PowerSchemeQuery::queryLid(logind.bus(), QString(), &receiver, [](const auto&) {});
    awake.release();
    events.setAcquiring(false);
    EXPECT_LT(elapsed.elapsed(), logind::AnswerTimeoutMs / 4);
    // The answers to what is not wanted any more come, and are given back.
    logind.thaw();
    EXPECT_TRUE(logind.waitForInhibitors({Delay}));
}

TEST(Logind, TellsWhatTheLidDoes)
{
    MockLogind logind;
    QTemporaryDir supplies;
    const auto addSupply = [&](const char* name,
                               std::initializer_list<std::pair<const char*, QByteArray>> files) {
        const QDir folder(supplies.filePath(QLatin1String(name)));
        EXPECT_TRUE(QDir().mkpath(folder.path()));
        for (const auto& [file, content] : files) {
            QFile out(folder.filePath(QLatin1String(file)));
            EXPECT_TRUE(out.open(QIODevice::WriteOnly) && out.write(content + '\n') > 0);
        }
    };
    const auto ask = [&] {
        std::optional<PowerSchemeQuery::Result> answer;
        QObject receiver;
        PowerSchemeQuery::queryLid(logind.bus(), supplies.path(), &receiver,
                                   [&](const auto& result) { answer = result; });
        EXPECT_TRUE(QTest::qWaitFor([&] { return answer.has_value(); }, 10000));
        EXPECT_FALSE(answer.has_value() && answer->queryFailed);
        return answer.value_or(PowerSchemeQuery::Result());
    };
    addSupply("AC", {{"type", "Mains"}});
    addSupply("hidpp_battery_0", {{"type", "Battery"}, {"scope", "Device"}});
    addSupply("BAT1", {{"type", "Battery"}, {"present", "0"}});
    struct Case
    {
        const char* lid;
        const char* onMains; ///< empty: as lid
        const char* lidAC;
        const char* lidDC;
        bool stops;
    };
    EXPECT_FALSE(PowerSchemeQuery::lidStopsRecording(ask())) << "a mouse's battery runs no computer";
    addSupply("BAT0", {{"type", "Battery"}, {"present", "1"}});
    LogLines log;
    for (const Case& each :
         {Case{"suspend", "", "sleep", "sleep", true}, Case{"ignore", "", "do nothing", "do nothing", false},
          Case{"hibernate", "ignore", "do nothing", "hibernate", true},
          Case{"ignore", "poweroff", "shut down", "do nothing", true},
          Case{"lock", "hybrid-sleep", "sleep", "take another action", true}}) {
        logind.setProperty(QStringLiteral("HandleLidSwitch"), QString::fromLatin1(each.lid));
        logind.setProperty(QStringLiteral("HandleLidSwitchExternalPower"), QString::fromLatin1(each.onMains));
        EXPECT_EQ(PowerSchemeQuery::lidStopsRecording(ask()), each.stops) << each.lid;
        EXPECT_EQ(log.take(),
                  QStringList{QStringLiteral("PowerSchemeQuery: hasBattery= true lidAC= %1 lidDC= "
                                             "%2 queryFailed= false")
                                  .arg(QLatin1String(each.lidAC), QLatin1String(each.lidDC))});
    }
}

// Of the programs that are there, the first one in the order of preference is started, with its page.
TEST(PowerSettings, OpensTheDesktopsOwn)
{
    QTemporaryDir programs;
    const QByteArray pathBefore = qgetenv("PATH");
    qputenv("PATH", QFile::encodeName(programs.path()));
    EXPECT_FALSE(PowerSchemeQuery::openPowerSettings());
    const QString started = programs.filePath(QStringLiteral("started"));
    for (const char* name : {"xfce4-power-manager-settings", "systemsettings"}) {
        QFile program(programs.filePath(QLatin1String(name)));
        ASSERT_TRUE(program.open(QIODevice::WriteOnly));
        program.write("#!/bin/sh\necho ${0##*/} $* > '" + QFile::encodeName(started) + ".new'\n/bin/mv '" +
                      QFile::encodeName(started) + ".new' '" + QFile::encodeName(started) + "'\n");
        program.close();
        ASSERT_TRUE(program.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }
    EXPECT_TRUE(PowerSchemeQuery::openPowerSettings());
    EXPECT_TRUE(QTest::qWaitFor([&] { return QFile::exists(started); }, 10000));
    QFile line(started);
    EXPECT_TRUE(line.open(QIODevice::ReadOnly));
    EXPECT_EQ(line.readAll(), QByteArray("systemsettings kcm_powerdevilprofilesconfig\n"));
    qputenv("PATH", pathBefore);
}

} // namespace
} // namespace vt
