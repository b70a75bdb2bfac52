// SPDX-License-Identifier: GPL-3.0-or-later
#include "envsens/EnvProtocol.h"
#include "envsens/SerialPortList.h"

#include <bit>
#include <gmock/gmock.h>

using namespace Qt::StringLiterals;
using vt::EnvSample;
namespace EnvProtocol = vt::EnvProtocol;

TEST(EnvProtocol, IdentificationIsTakenOnlyAsItShouldBe)
{
    struct Case
    {
        QByteArray reply;
        bool isGood;
    };
    const std::vector<Case> cases = {
        {"EnviroSen v2.3#A1B2\r", true},      {"EnviroSen v2.3#A1B2\r\nmore # here", true},
        {"  EnviroSen   v2.3##A1B2", true},   {"EnviroSen 2.3#A1B2\r", false},
        {"EnviroSensor v2.3#A1B2\r", false},  {"envirosen v2.3#A1B2\r", false},
        {"EnviroSen v2.3 #A1B2\r", false},    {"EnviroSen v2.3#\r", false},
        {"EnviroSen v2.3#A1#B2\r", false},    {"EnviroSen v2#A1B2\r", false},
        {"\rEnviroSen v2.3#A1B2\r", false},   {"", false},
        {QByteArray(200, 'x') + "\r", false},
    };
    for (const Case& each : cases) {
        const auto identity = EnvProtocol::parseIdentification(each.reply);
        ASSERT_EQ(identity.has_value(), each.isGood) << each.reply.constData();
        if (!identity)
            continue;
        EXPECT_EQ(identity->serialNumber, "A1B2"_L1) << each.reply.constData();
        EXPECT_EQ(identity->firmwareMajor, 2);
        EXPECT_EQ(identity->firmwareMinor, 3);
    }
}

TEST(EnvProtocol, ReadingHasSixFields)
{
    using Raw = EnvProtocol::RawReading;
    const std::vector<std::pair<QByteArray, std::optional<Raw>>> cases = {
        {"100 250 25400 30000 4150000 -9600\r\n", Raw{100, 250, 25400, 30000, 4150000, -9600}},
        {"\n1  2 3 4 5 6 \rnext 1 2 3 4 5 6", Raw{1, 2, 3, 4, 5, 6}},
        {"1 abc 3 99999999999 5 0x6\r", Raw{1, 0, 3, 0, 5, 0}},
        {"1 2 3 4 5\r\n", std::nullopt},
        {"1 2 3 4 5 6 7\r\n", std::nullopt},
        {"", std::nullopt},
        {QByteArray(99, '1') + " 2 3 4 5 6\r", std::nullopt},
    };
    for (const auto& [reply, wanted] : cases)
        EXPECT_EQ(EnvProtocol::parseReading(reply), wanted) << reply.constData();

    EXPECT_FALSE(EnvProtocol::isReplyComplete("\r\n1 2 3"));
    EXPECT_TRUE(EnvProtocol::isReplyComplete("1 2 3\r"));
    EXPECT_TRUE(EnvProtocol::isReplyComplete(QByteArray(100, '1')));
}

// Values worked out with a calculator from the scales of the chips.
TEST(EnvProtocol, ConvertsToPhysicalUnits)
{
    const EnvSample sample = EnvProtocol::toSample({7, 250, 25600, 29360, 4149248, -9600}, 42);
    EXPECT_EQ(sample.elapsedTime, 7);
    EXPECT_EQ(sample.lightLux, 250.0);
    EXPECT_NEAR(sample.temperatureC, 21.790625, 1e-9);
    EXPECT_NEAR(sample.temperatureF, 71.223125, 1e-9);
    EXPECT_NEAR(sample.humidityPercent, 49.999755859375, 1e-9);
    EXPECT_NEAR(sample.pressureHpa, 1013.0, 1e-9);
    EXPECT_NEAR(sample.pressureMmHg, 759.8145842202, 1e-9);
    EXPECT_NEAR(sample.pressureInHg, 29.91387285137, 1e-9);
    EXPECT_NEAR(sample.pressureSensorC, 22.5, 1e-9);
    EXPECT_NEAR(sample.pressureSensorF, 72.5, 1e-9);
    EXPECT_EQ(sample.timeStampMs, 42);

    const EnvSample zero = EnvProtocol::toSample({1, 0, 0, 0, 0, 0}, 0);
    EXPECT_DOUBLE_EQ(zero.temperatureC, -46.85);
    EXPECT_DOUBLE_EQ(zero.humidityPercent, -6.0);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(EnvSample().humidityPercent), 0x430C6BF526340000U);
}

TEST(SerialPortList, ExtraPortNamesTheFaultyPiece)
{
    QString error;
    const auto port = vt::parseExtraPort(
        u"serial=A1; path=/dev/pts/3;vid=2405;pid=000b;description=Tessaly Enviro = 2"_s, &error);
    ASSERT_TRUE(port.has_value()) << qPrintable(error);
    EXPECT_EQ(port->path, "/dev/pts/3"_L1);
    EXPECT_EQ(port->vendorId, 0x2405);
    EXPECT_EQ(port->productId, 0x000B);
    EXPECT_EQ(port->serialNumber, "A1"_L1);
    EXPECT_EQ(port->description, "Tessaly Enviro = 2"_L1);

    const std::vector<std::pair<QString, QString>> wrong = {
        {u""_s, u"path is missing"_s},
        {u"path="_s, u"path is missing"_s},
        {u"path=a;vid=24G5"_s, u"vid '24G5' is not a hexadecimal number from 0 to FFFF"_s},
        {u"path=a;pid=12345"_s, u"pid '12345' is not a hexadecimal number from 0 to FFFF"_s},
        {u"path=a;color=red"_s, u"'color' is not one of path, vid, pid, serial, description"_s},
        {u"path=a;serial"_s, u"'serial' has no '='"_s},
        {u"path=a;path=b"_s, u"path is given twice"_s},
    };
    for (const auto& [text, message] : wrong) {
        EXPECT_FALSE(vt::parseExtraPort(text, &error).has_value()) << qPrintable(text);
        EXPECT_EQ(error, message);
    }
}
