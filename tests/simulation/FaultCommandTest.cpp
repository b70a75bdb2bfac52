// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/FaultCommand.h"

#include <gmock/gmock.h>

namespace vt::test {
namespace {

using Kind = FaultCommand::Kind;

TEST(FaultCommand, UnderstandsItsLanguage)
{
    struct Case
    {
        const char* line;
        Kind kind;
        std::int32_t code;
        std::uint64_t number;
        bool on;
        int value = 0;
    };
    const Case cases[] = {
        {"", Kind::None, 0, 0, false},
        {"  # unplug", Kind::None, 0, 0, false},
        {" unplug\r\n", Kind::Unplug, 0, 0, false},
        {"replug", Kind::Replug, 0, 0, false},
        {"replug  serial\t20002", Kind::Replug, 0, 20002, false},
        {"read-error -200279", Kind::ReadError, -200279, 1, false},
        {"read-error -200279 3", Kind::ReadError, -200279, 3, false},
        {"read-error -88709 forever", Kind::ReadError, -88709, 1, true},
        {"stall on", Kind::Stall, 0, 0, true},
        {"stall off", Kind::Stall, 0, 0, false},
        {"delay 80", Kind::Delay, 0, 80, false},
        {"hang 10000", Kind::Hang, 0, 10000, false},
        {"slow 1", Kind::SlowLines, 0, 1, false},
        {"bus-nak on", Kind::BusNak, 0, 0, true},
        {"fail-call 12 -88709", Kind::FailCall, -88709, 12, false},
        {"fail-call 12 -88709 once", Kind::FailCall, -88709, 12, false},
        {"fail-call 0 -1 forever", Kind::FailCall, -1, 0, true},
        {"register 0x0A 1", Kind::SetRegister, 0, 10, false, 1},
        {"button", Kind::Button, 0, 0, false},
        {"sensors 16", Kind::Sensors, 0, 16, false},
        {"shorted 0xFFFF", Kind::Shorted, 0, 65535, false},
        {"vexio absent", Kind::VexioPresence, 0, 0, false},
        {"vexio present", Kind::VexioPresence, 0, 0, true},
        {"vexio 12v off", Kind::VexioSupply, 0, 0, false},
        {"vexio  overtemp on", Kind::VexioOverTemperature, 0, 0, true},
        {"vexio speaker 8 shortgnd", Kind::VexioSpeaker, 0, 8, false, 3},
        {"vexio speaker 1 open", Kind::VexioSpeaker, 0, 1, false, 1},
        {"vexio brownout", Kind::VexioBrownOut, 0, 0, false},
        {"dio absent", Kind::DioPresence, 0, 0, false},
        {"dio input 16 high", Kind::DioInput, 0, 16, true},
        {"nak dio 3", Kind::NakByte, 0, 3, false, 2},
        {"hold mcu 20", Kind::HoldSda, 0, 20, false, 0},
    };
    for (const Case& c : cases) {
        QString error;
        const auto command = parseFaultCommand(QString::fromLatin1(c.line), &error);
        ASSERT_TRUE(command) << c.line << ": " << error.toStdString();
        EXPECT_EQ(command->kind, c.kind) << c.line;
        EXPECT_EQ(command->code, c.code) << c.line;
        EXPECT_EQ(command->number, c.number) << c.line;
        EXPECT_EQ(command->on, c.on) << c.line;
        EXPECT_EQ(command->value, c.value) << c.line;
    }
}

TEST(FaultCommand, RefusesWhatItDoesNotUnderstand)
{
    for (const char* line : {"Unplug",
                             "unplug now",
                             "replug 20002",
                             "replug serial 0",
                             "replug serial 4294967296",
                             "read-error",
                             "read-error many",
                             "read-error -1 -1",
                             "stall",
                             "stall maybe",
                             "delay -5",
                             "delay 1 2",
                             "hang 86400001",
                             "bus-nak",
                             "fail-call 3",
                             "fail-call -1 -1",
                             "fail-call 1 -1 twice",
                             "register 256 0",
                             "register 1 256",
                             "button 1",
                             "sensors 17",
                             "shorted 0x10000",
                             "vexio",
                             "vexio 12v",
                             "vexio 12v present",
                             "vexio speaker 9 ok",
                             "vexio speaker 0 ok",
                             "vexio speaker 1 loud",
                             "vexio nowhere",
                             "dio input 17 low",
                             "dio input 1 on",
                             "nak bus 3",
                             "hold vexio -1",
                             "sit"}) {
        QString error;
        EXPECT_FALSE(parseFaultCommand(QString::fromLatin1(line), &error)) << line;
        EXPECT_THAT(error.toStdString(), testing::HasSubstr(line));
    }
}

} // namespace
} // namespace vt::test
