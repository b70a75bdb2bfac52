// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/SimulatedAmplifier.h"

#include "FakeTimeSource.h"
#include "simulation/AmplifierWire.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <gmock/gmock.h>
#include <thread>

using namespace Qt::StringLiterals;
using vt::AmplifierCommands;
using vt::SimulatedAmplifier;

// Worked out by hand from the table of the wire.
TEST(AmplifierWire, PacketsOfKnownVoltages)
{
    struct Case
    {
        double volts1;
        double volts2;
        const char* hexBytes;
    };
    for (const Case& c : {Case{0.0, 0.0, "c03f70"},                        // steps 1024 and 511
                          Case{-1.516259765625, -1.22783203125, "851023"}, // 83 and 130
                          Case{0.0016, 0.0032, "c04001"},                  // one step up: 1025 and 512
                          Case{5.0, 5.0, "ff7f7f"},                        // held at 2047 and 1023
                          Case{-5.0, -5.0, "800000"}})
        EXPECT_EQ(vt::amplifierPacket(c.volts1, c.volts2).toHex(), c.hexBytes) << c.volts1;
}

TEST(AmplifierWire, CommandsAreFoundByteByByte)
{
    using Command = AmplifierCommands::Command;
    AmplifierCommands commands;
    std::vector<Command> found;
    for (const char byte : "s\r\n\r\n?bf64292\r\nczf7sf\r\n"_ba)
        if (const auto command = commands.feed(byte)) {
            found.push_back(*command);
            if (*command == Command::Stream) {
                EXPECT_EQ(commands.timerValue(), 64292);
            }
        }
    EXPECT_THAT(found,
                testing::ElementsAre(Command::Stop, Command::Identify, Command::Prepare, Command::SetTimer,
                                     Command::Stream, Command::Stop, Command::SetTimer));
    EXPECT_EQ(commands.timerValue(), 0) << "an empty number is none";
}

// 0.3 % fast; nobody reads, so the line fills up and the rest is counted as lost.
TEST(SimulatedAmplifier, PacesItsPacketsAndCountsWhatNobodyReads)
{
    vt::test::FakeTimeSource time;
    SimulatedAmplifier amplifier(time, {});
    ASSERT_TRUE(amplifier.errorText().isEmpty()) << qPrintable(amplifier.errorText());
    amplifier.startStreaming();
    time.advance(120'000); // 217 kB, more than a terminal's buffers take
    // Read while the amplifier's thread counts on: wait for the last step, not for a number of them.
    const QDeadlineTimer deadline(10'000);
    SimulatedAmplifier::Statistics statistics;
    do {
        std::this_thread::yield();
        statistics = amplifier.statistics();
    } while ((statistics.packets < 72215 ||
              statistics.bytesSent + statistics.bytesLost != 3 * statistics.packets) &&
             !deadline.hasExpired());
    EXPECT_NEAR(static_cast<double>(statistics.packets), 72216, 1); // 600 Hz x 1.003 x 120 s
    EXPECT_EQ(statistics.bytesSent + statistics.bytesLost, 3 * statistics.packets);
    EXPECT_GT(statistics.bytesLost, 0U);
}

TEST(SimulatedAmplifier, ComesBackAsAnotherTerminalBehindTheSameName)
{
    vt::test::FakeTimeSource time;
    SimulatedAmplifier amplifier(time, {});
    EXPECT_TRUE(QFileInfo::exists(amplifier.portName()));
    amplifier.disappear();
    EXPECT_FALSE(QFileInfo::exists(amplifier.portName()));
    ASSERT_TRUE(amplifier.comeBack());
    EXPECT_TRUE(QFileInfo(amplifier.portName()).canonicalFilePath().startsWith("/dev/pts/"_L1));
}
