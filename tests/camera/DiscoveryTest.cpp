// SPDX-License-Identifier: GPL-3.0-or-later
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "SsdpPeer.h"
#include "camera/AxisDiscovery.h"
#include "camera/CameraPresence.h"
#include "camera/ScanSchedule.h"

#include <QSignalSpy>
#include <QTest>
#include <gmock/gmock.h>

namespace vt::test {
namespace {

using testing::ElementsAre;
using namespace Qt::StringLiterals;

InterfaceFacts facts(const QString& name, bool isUp, QNetworkInterface::InterfaceType type,
                     std::vector<QHostAddress> addresses)
{
    return {name, 7, isUp, type == QNetworkInterface::Loopback, type, std::move(addresses)};
}

/// Searches on loopback, where nothing leaves this computer.
class Discovery : public testing::Test
{
protected:
    ScanSurroundings surroundings()
    {
        return {[] {
                    InterfaceFacts loopback = facts(u"lo"_s, true, QNetworkInterface::Ethernet,
                                                    {QHostAddress(QHostAddress::LocalHost)});
                    for (const QNetworkInterface& each : QNetworkInterface::allInterfaces())
                        if (each.flags().testFlag(QNetworkInterface::IsLoopBack))
                            loopback.index = each.index();
                    return std::vector{loopback};
                },
                [this](quint32 ipv4) {
                    ++lookUps;
                    return macs.value(QHostAddress(ipv4).toString(), {{}, true});
                }};
    }
    QStringList found() const
    {
        QStringList result;
        for (const AxisDiscovery::Camera& camera : discovery.found())
            result << camera.mac + u' ' + camera.address.toString();
        return result;
    }

    LogCapture log;
    FakeTimeSource time;
    QHash<QString, platform::NeighbourAnswer> macs{
        {u"127.0.0.2"_s, {u"00-40-8C-12-34-56"_s, false}},
        {u"127.0.0.3"_s, {u"AC-CC-8E-00-00-01"_s, false}},
        {u"127.0.0.4"_s, {u"00-40-8C-12-34-56"_s, false}}, // the first one, under its second address
        {u"127.0.0.5"_s, {u"FF-FF-FF-FF-FF-FF"_s, false}},
        {u"127.0.0.6"_s, {{}, false}}};
    int lookUps = 0;
    AxisDiscovery discovery{time, surroundings()};
};

} // namespace

TEST_F(Discovery, AsksCollectsForTenSecondsAndTellsEachCameraOnce)
{
    SsdpPeer first(u"lo"_s, u"127.0.0.2"_s, 3);
    SsdpPeer second(u"lo"_s, u"127.0.0.3"_s);
    QSignalSpy cameras(&discovery, &AxisDiscovery::cameraFound);
    QSignalSpy ends(&discovery, &AxisDiscovery::discoveryFinished);
    for (int scan = 1; scan <= 2; ++scan) {
        discovery.startDiscovery();
        EXPECT_TRUE(discovery.found().empty());
        ASSERT_TRUE(QTest::qWaitFor([&] { return discovery.found().size() == 2; }, 20000));
        discovery.startDiscovery(); // changes nothing
        time.advance(9999);
        EXPECT_TRUE(discovery.isDiscovering());
        time.advance(1);
        EXPECT_FALSE(discovery.isDiscovering());
        EXPECT_EQ(cameras.size(), 2 * scan);
        ASSERT_EQ(ends.size(), scan);
        EXPECT_EQ(ends.last(), (QVariantList{2, QString()}));
    }
    EXPECT_GE(first.queries.size(), 2); // tests that run beside this one search on loopback, too
    EXPECT_THAT(first.queries, testing::Each(AxisDiscovery::query()));
    EXPECT_EQ(AxisDiscovery::query(), "M-SEARCH * HTTP/1.1\r\nHost:239.255.255.250:1900\r\n"
                                      "ST:urn:axis-com:service:BasicService:1\r\nMan:\"ssdp:discover\"\r\n"
                                      "MX:3\r\n\r\n");
    EXPECT_TRUE(log.hasInOrder(
        {u"AxisDiscovery: Starting discovery"_s, u"AxisDiscovery: Using interface lo 127.0.0.1"_s,
         u"AxisDiscovery: Already discovering"_s, u"AxisDiscovery: Scan complete, found 2 cameras"_s}));
}

TEST_F(Discovery, JudgesAnswersByTheirAddressAlone)
{
    discovery.startDiscovery();
    for (const QString& sender :
         {u"::ffff:127.0.0.2"_s, u"127.0.0.2"_s, u"127.0.0.4"_s, u"127.0.0.5"_s, u"127.0.0.6"_s,
          u"127.0.0.7"_s, u"127.0.0.7"_s, u"fe80::1"_s, u"127.0.0.3"_s})
        discovery.handleAnswer(QHostAddress(sender));
    EXPECT_THAT(found(), ElementsAre(u"00-40-8C-12-34-56 127.0.0.2"_s, u"AC-CC-8E-00-00-01 127.0.0.3"_s));
    EXPECT_EQ(lookUps, 6); // each address once
    EXPECT_TRUE(log.hasInOrder({u"AxisDiscovery: Could not get MAC for 127.0.0.6"_s,
                                u"AxisDiscovery: ARP lookup timeout for 127.0.0.7"_s,
                                u"AxisDiscovery: Could not get MAC for 127.0.0.7"_s,
                                u"IPv6 address is not IPv4-mapped: fe80::1"_s}));

    QSignalSpy ends(&discovery, &AxisDiscovery::discoveryFinished);
    discovery.stopDiscovery();
    EXPECT_TRUE(log.contains("AxisDiscovery: Stopping discovery"));
    EXPECT_EQ(time.activeTimers(), 0);
    discovery.handleAnswer(QHostAddress(u"127.0.0.3"_s)); // too late
    discovery.sendDiscoveryQuery();
    EXPECT_TRUE(log.contains("AxisDiscovery: Socket not initialized"));
    EXPECT_EQ(ends.size(), 0);
    EXPECT_EQ(lookUps, 6);
}

TEST_F(Discovery, LetsOthersHaveTheirTurnBetweenTwoLookUps)
{
    // Three answers are there at once; what was posted during the first look-up runs before the third one.
    std::vector<std::unique_ptr<SsdpPeer>> peers;
    for (const QString& address : {u"127.0.0.2"_s, u"127.0.0.3"_s, u"127.0.0.4"_s})
        peers.push_back(std::make_unique<SsdpPeer>(u"lo"_s, address));
    Inbox others;
    int lookUpsBefore = 0;
    ScanSurroundings slow = surroundings();
    slow.lookUp = [this, &others, &lookUpsBefore](quint32 ipv4) {
        if (lookUps++ == 0)
            others.post([this, &lookUpsBefore] { lookUpsBefore = lookUps; });
        return macs.value(QHostAddress(ipv4).toString());
    };
    AxisDiscovery scan(time, slow);
    scan.startDiscovery();
    ASSERT_TRUE(QTest::qWaitFor([&] { return lookUps >= 3; }, 20000));
    EXPECT_GE(lookUpsBefore, 1);
    EXPECT_LE(lookUpsBefore, 2);
}

TEST(ScanInterface, IsTheFirstLanInterfaceWithAnIPv4Address)
{
    const QHostAddress ipv4(u"192.168.1.5"_s);
    const QHostAddress ipv6(u"fe80::5"_s);
    const auto lan = QNetworkInterface::Ethernet;
    std::vector<InterfaceFacts> all{facts(u"lo"_s, true, QNetworkInterface::Loopback, {ipv4}),
                                    facts(u"tun0"_s, true, QNetworkInterface::Virtual, {ipv4})};
    EXPECT_FALSE(chooseScanInterface(all));
    all.push_back(facts(u"eth0"_s, false, lan, {ipv4}));
    all.push_back(facts(u"eth1"_s, true, lan, {ipv6}));
    EXPECT_FALSE(chooseScanInterface(all));
    all.push_back(facts(u"wlan0"_s, true, QNetworkInterface::Wifi, {ipv6, ipv4}));
    all.push_back(facts(u"eth2"_s, true, lan, {QHostAddress(u"10.0.0.1"_s)}));
    const auto chosen = chooseScanInterface(all);
    ASSERT_TRUE(chosen.has_value());
    EXPECT_EQ(chosen->name, u"wlan0"_s);
    EXPECT_EQ(chosen->address, ipv4);

    LogCapture log;
    FakeTimeSource time;
    all.resize(2);
    AxisDiscovery discovery(time, {[all] { return all; }, platform::lookUpNeighbour});
    QSignalSpy ends(&discovery, &AxisDiscovery::discoveryFinished);
    discovery.startDiscovery();
    EXPECT_EQ(ends.value(0), (QVariantList{0, u"No active network interfaces found"_s}));
    EXPECT_TRUE(log.contains("AxisDiscovery: No active network interfaces found"));
    EXPECT_FALSE(discovery.isDiscovering());
}

TEST(NeighbourTable, YieldsMacsInOneForm)
{
    EXPECT_EQ(platform::macFromArpOutput(
                  u"Interface: 192.168.1.5 --- 0x3\r\n  Internet Address      Physical Address "
                  "     Type\r\n  192.168.1.20          00-40-8c-12-34-56     dynamic\r\n"_s),
              u"00-40-8C-12-34-56"_s);
    EXPECT_EQ(platform::macFromArpOutput(u"No ARP Entries Found.\r\n 00-40-8c-12-34-56"_s), QString());
    EXPECT_EQ(platform::firstMac(u"ac:cc:8e:00:00:01 00-40-8c-12-34-56"_s), u"AC-CC-8E-00-00-01"_s);
    EXPECT_EQ(platform::firstMac(u"ac:cc:8e:00:00"_s), QString());

    const QString table = u"IP address       HW type     Flags       HW address            Mask     Device\n"
                          "192.168.1.2      0x1         0x0         00:00:00:00:00:00     *        eth0\n"
                          "192.168.1.20     0x1         0x2         ac:cc:8e:00:00:20     *        eth0\n"
                          "192.168.1.2      0x1         0x6         ac:cc:8e:00:00:02     *        eth1\n"
                          "192.168.1.3      0x1\n"_s;
    const quint32 network = 0xC0A80100U;
    EXPECT_EQ(platform::macFromNeighbourTable(table, network + 2), u"AC-CC-8E-00-00-02"_s);
    EXPECT_EQ(platform::macFromNeighbourTable(table, network + 20), u"AC-CC-8E-00-00-20"_s);
    EXPECT_EQ(platform::macFromNeighbourTable(table, network + 3), QString());
    EXPECT_EQ(platform::macFromNeighbourTable(table, network + 200), QString());
}

TEST(ScanSchedule, FollowsRecordingAndSettingsWindow)
{
    struct Event
    {
        std::optional<ScanSchedule::Step> (*happen)(ScanSchedule&);
        std::optional<int> intervalMs;
        const char* line; ///< null: nothing changes
    };
    const auto record = [](ScanSchedule& schedule) { return schedule.setRecordingMode(true); };
    const auto rest = [](ScanSchedule& schedule) { return schedule.setRecordingMode(false); };
    const auto hide = [](ScanSchedule& schedule) { return schedule.setSettingsWindow(false, false); };
    const auto cover = [](ScanSchedule& schedule) { return schedule.setSettingsWindow(true, false); };
    const auto use = [](ScanSchedule& schedule) { return schedule.setSettingsWindow(true, true); };
    const Event events[] = {
        {rest, {}, nullptr},
        {cover, {}, nullptr},
        {use, 30000, "Settings window ACTIVATED - discovery interval 30000 ms"},
        {use, {}, nullptr},
        {cover, {}, "Settings window DEACTIVATED - STOPPING discovery timer"},
        {record, 600000, "Recording mode ON - discovery interval now 600000 ms"},
        {use, 600000,
         "Settings window ACTIVATED - discovery interval stays 600000 ms (recording has priority)"},
        {rest, 30000, "Recording mode OFF - discovery interval now 30000 ms (settings window active)"},
        {record, 600000, "Recording mode ON - discovery interval now 600000 ms"},
        {hide, 600000,
         "Settings window DEACTIVATED - discovery interval stays 600000 ms (recording has priority)"},
        {rest, {}, "Recording mode OFF - STOPPING discovery timer (settings window not active)"},
    };
    ScanSchedule schedule;
    int number = 0;
    for (const Event& event : events) {
        SCOPED_TRACE(number++);
        const auto step = event.happen(schedule);
        ASSERT_EQ(step.has_value(), event.line != nullptr);
        if (step) {
            EXPECT_EQ(step->intervalMs, event.intervalMs);
            EXPECT_EQ(step->logLine, QString::fromLatin1(event.line));
        }
    }
}

TEST(CameraPresence, TellsWhoIsNewBackMovedAndGone)
{
    using Change = CameraPresence::Change;
    LogCapture log;
    CameraPresence presence;
    const QHostAddress one(u"192.168.1.20"_s);
    const QHostAddress two(u"192.168.1.21"_s);
    const QDateTime now({2026, 3, 2}, {3, 0, 0});
    presence.beginRound(false, 0);
    EXPECT_EQ(presence.track(u"A"_s, one, now), Change::New);
    EXPECT_EQ(presence.track(u"B"_s, two, now), Change::New);
    presence.beginRound(true, 0); // clears nothing
    EXPECT_TRUE(presence.endRound().isEmpty());

    presence.beginRound(false, 0);
    EXPECT_EQ(presence.track(u"A"_s, one, now), Change::None);
    EXPECT_THAT(presence.endRound(), ElementsAre(u"B"_s));
    EXPECT_FALSE(presence.find(u"B"_s)->isOnline);
    EXPECT_EQ(presence.track(u"B"_s, two, now.addSecs(9)), Change::Back);
    EXPECT_EQ(presence.find(u"B"_s)->lastSeen, now.addSecs(9));
    EXPECT_EQ(presence.track(u"A"_s, two, now), Change::NewAddress);
    EXPECT_EQ(presence.find(u"C"_s), nullptr);
    EXPECT_TRUE(log.hasInOrder(
        {u"Clearing seen cameras (was 0)"_s, u"Tracking camera A as seen (now have 1 cameras)"_s,
         u"Tracking camera B as seen (now have 2 cameras)"_s,
         u"Previous scan still running (0 complete) - not clearing seen cameras"_s,
         u"Clearing seen cameras (was 2)"_s, u"Camera B not found in scan - marking offline"_s}));
}

} // namespace vt::test
