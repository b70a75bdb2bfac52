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
        {"bus-nak on", Kind::BusNak, 0, 0, true},
        {"fail-call 12 -88709", Kind::FailCall, -88709, 12, false},
        {"fail-call 12 -88709 once", Kind::FailCall, -88709, 12, false},
        {"fail-call 0 -1 forever", Kind::FailCall, -1, 0, true},
        {"register 0x0A 1", Kind::SetRegister, 0, 10, false},
    };
    for (const Case& c : cases) {
        QString error;
        const auto command = parseFaultCommand(QString::fromLatin1(c.line), &error);
        ASSERT_TRUE(command) << c.line << ": " << error.toStdString();
        EXPECT_EQ(command->kind, c.kind) << c.line;
        EXPECT_EQ(command->code, c.code) << c.line;
        EXPECT_EQ(command->number, c.number) << c.line;
        EXPECT_EQ(command->on, c.on) << c.line;
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
                             "sit"}) {
        QString error;
        EXPECT_FALSE(parseFaultCommand(QString::fromLatin1(line), &error)) << line;
        EXPECT_THAT(error.toStdString(), testing::HasSubstr(line));
    }
}

} // namespace
} // namespace vt::test
