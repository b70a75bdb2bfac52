// SPDX-License-Identifier: GPL-3.0-or-later
#include "LabNetwork.h"
#include "FakeCamera.h"
#include "FakeRecorder.h"
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "SsdpPeer.h"
#include "camera/AxisCameraManager.h"

#include <QTest>
#include <gmock/gmock.h>
#include <iostream>

namespace vt::test {
namespace {

using namespace Qt::StringLiterals;

/// Two cameras on a network of the test's own: search, MAC addresses and HTTP with nothing in place of the
/// system.
class Laboratory : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!isThere())
            return;
        for (const int camera : {0, 1}) {
            const LabNetwork::AtCamera there(network, camera);
            cameras.push_back(std::make_unique<FakeCamera>(LabNetwork::cameraAddress(camera), quint16{80}));
            // The first one answers twice.
            peers.push_back(std::make_unique<SsdpPeer>(u"lan0"_s, LabNetwork::cameraAddress(camera),
                                                       camera == 0 ? 2 : 1));
        }
    }

    /// Says so when it is not.
    [[nodiscard]] bool isThere() const
    {
        if (!network.problem().isEmpty())
            std::cout << "Not run: no network namespaces here: " << network.problem().toStdString() << '\n';
        return network.problem().isEmpty();
    }

    LabNetwork network;
    LogCapture log;
    FakeTimeSource time;
    std::vector<std::unique_ptr<FakeCamera>> cameras;
    std::vector<std::unique_ptr<SsdpPeer>> peers;
};

quint32 ipv4(const QString& address)
{
    return QHostAddress(address).toIPv4Address();
}

} // namespace

TEST_F(Laboratory, FindsEachCameraOnceByItsMac)
{
    if (!isThere())
        return;
    AxisDiscovery discovery(time);
    discovery.startDiscovery();
    ASSERT_TRUE(QTest::qWaitFor([&] { return discovery.found().size() == 2; }, 20000));
    time.advance(AxisDiscovery::ScanMs);
    QMap<QString, QString> found;
    for (const AxisDiscovery::Camera& camera : discovery.found())
        found.insert(camera.mac, camera.address.toString());
    EXPECT_EQ(found, (QMap<QString, QString>{{LabNetwork::cameraMac(0), LabNetwork::cameraAddress(0)},
                                             {LabNetwork::cameraMac(1), LabNetwork::cameraAddress(1)}}));
    EXPECT_EQ(peers[0]->queries, QByteArrayList{AxisDiscovery::query()});
    EXPECT_TRUE(log.contains("AxisDiscovery: Using interface lan0 192.0.2.1"));
    EXPECT_TRUE(log.contains("AxisDiscovery: Scan complete, found 2 cameras"));

    ASSERT_TRUE(network.ip(u"link set lan0 down"_s)) << network.problem().toStdString();
    discovery.startDiscovery();
    EXPECT_FALSE(discovery.isDiscovering());
    EXPECT_TRUE(log.contains("AxisDiscovery: No active network interfaces found"));
}

TEST_F(Laboratory, AsksTheNetworkForAMacThatTheSystemDoesNotKnow)
{
    if (!isThere())
        return;
    const platform::NeighbourAnswer unknown = platform::lookUpNeighbour(ipv4(LabNetwork::cameraAddress(1)));
    EXPECT_EQ(unknown.mac, LabNetwork::cameraMac(1));
    // What is in the table is found there, whether or not anyone answers.
    ASSERT_TRUE(network.ip(u"neigh replace 192.0.2.77 lladdr ac:cc:8e:00:00:77 dev lan0 nud permanent"_s))
        << network.problem().toStdString();
    EXPECT_EQ(platform::lookUpNeighbour(ipv4(u"192.0.2.77"_s)).mac, u"AC-CC-8E-00-00-77"_s);

    const platform::NeighbourAnswer nobody = platform::lookUpNeighbour(ipv4(u"192.0.2.99"_s));
    EXPECT_EQ(nobody.mac, QString());
    EXPECT_TRUE(nobody.isTimedOut);
    // Where no route leads there is nothing to wait for.
    const platform::NeighbourAnswer elsewhere = platform::lookUpNeighbour(ipv4(u"198.51.100.1"_s));
    EXPECT_EQ(elsewhere.mac, QString());
    EXPECT_FALSE(elsewhere.isTimedOut);
}

TEST_F(Laboratory, SetsUpWhatItHasFound)
{
    if (!isThere())
        return;
    auto created = std::make_unique<FakeRecorder>();
    const FakeRecorder* recorder = created.get();
    AxisCameraManager manager(time, std::move(created));
    for (const int camera : {0, 1}) {
        CameraOrder order;
        order.stream.mac = LabNetwork::cameraMac(camera);
        order.stream.channel = camera + 1;
        order.overlayText = u"Channel %1"_s.arg(camera + 1);
        manager.startCamera(order);
    }
    manager.startScan();
    ASSERT_TRUE(QTest::qWaitFor([&] { return recorder->calls.size() == 2; }, 20000));
    for (const int camera : {0, 1}) {
        EXPECT_TRUE(recorder->calls.contains(u"start "_s + LabNetwork::cameraMac(camera) + u' ' +
                                             LabNetwork::cameraAddress(camera)));
        const FakeCamera& asked = *cameras[static_cast<std::size_t>(camera)];
        EXPECT_TRUE(asked.accepted().last().contains("Channel " + QByteArray::number(camera + 1)));
        EXPECT_EQ(asked.requests.back().headers.value("host"), LabNetwork::cameraAddress(camera).toLatin1());
    }
}

} // namespace vt::test
