// SPDX-License-Identifier: GPL-3.0-or-later
#include "acquisition/StrivixParser.h"

#include <gmock/gmock.h>
#include <random>

using namespace Qt::StringLiterals;
using vt::StrivixParser;
using vt::StrivixSample;

namespace {

struct StreamCase
{
    const char* name;
    QByteArray hexBytes;
    std::vector<StrivixSample> samples; // computed by hand
    quint64 dropped;
    quint64 damaged; // without what a packet that began before the stream leaves
    qsizetype pending;
};

void PrintTo(const StreamCase& streamCase, std::ostream* out)
{
    *out << streamCase.name;
}

class StrivixStreams : public testing::TestWithParam<StreamCase>
{};

// 0x85 0x10 0x23: code 1 is 5 * 16 + 3 = 83, 941 steps below zero; code 2 is 16 * 8 + 2 = 130, 381 below.
constexpr StrivixSample Known{-941 * 0.001611328125, -381 * 0.00322265625};
// 0xC0 0x3F 0x70: code 1 is 1024, code 2 is 63 * 8 + 7 = 511: zero volts on both.
constexpr StrivixSample Zero{0.0, 0.0};

const std::vector<StreamCase> streamCases{
    {"one packet", "851023", {Known}, 0, 0, 0},
    {"both ends of both ranges", "800000FF7F7F", {{-1.65, -1.64677734375}, {1.648388671875, 1.65}}, 0, 0, 0},
    {"zero is 1024 and 511", "C03F70", {Zero}, 0, 0, 0},
    {"starts within a packet", "1023C03F70", {Zero}, 2, 0, 0},
    {"starts with more than that", "102310C03F70", {Zero}, 3, 1, 0},
    {"second byte starts a packet", "85C03F70", {Zero}, 1, 1, 0},
    {"third byte starts a packet", "8510C03F70", {Zero}, 2, 2, 0},
    {"a packet too long", "85102310C03F70", {Known, Zero}, 1, 1, 0},
    {"an unfinished packet is kept", "851023C03F", {Known}, 0, 0, 2},
    {"no packet at all", "102301", {}, 3, 1, 0},
    {"nothing but starts", "FFFFFFFF", {}, 2, 2, 2},
    {"nothing", "", {}, 0, 0, 0},
};

} // namespace

// Whole and byte by byte: where the stream is cut into arrivals makes no difference.
TEST_P(StrivixStreams, AreParsedHoweverTheyArrive)
{
    const StreamCase& expected = GetParam();
    const QByteArray bytes = QByteArray::fromHex(expected.hexBytes);
    for (const qsizetype arrival : {bytes.size() + 1, qsizetype{1}}) {
        StrivixParser parser;
        std::vector<StrivixSample> samples;
        for (qsizetype at = 0; at < bytes.size(); at += arrival)
            parser.parse(QByteArrayView(bytes).sliced(at, std::min(arrival, bytes.size() - at)), samples);
        ASSERT_EQ(samples.size(), expected.samples.size());
        for (std::size_t i = 0; i < samples.size(); ++i) {
            EXPECT_DOUBLE_EQ(samples[i].channel1Volts, expected.samples[i].channel1Volts);
            EXPECT_DOUBLE_EQ(samples[i].channel2Volts, expected.samples[i].channel2Volts);
        }
        EXPECT_EQ(parser.droppedBytes(), expected.dropped);
        EXPECT_EQ(parser.damagedBytes(), expected.damaged);
        EXPECT_EQ(parser.pendingBytes(), expected.pending);
    }
}

INSTANTIATE_TEST_SUITE_P(All, StrivixStreams, testing::ValuesIn(streamCases));

// Random damage between good packets: every good packet that follows one other good packet is found, no
// memory grows and every byte is accounted for.
TEST(StrivixParser, RandomBytesCostNoMoreThanThePacketTheyDamage)
{
    std::mt19937 random(20261125);
    std::uniform_int_distribution<int> anyByte(0, 255);
    std::uniform_int_distribution<int> anyLength(0, 700);
    const QByteArray good = QByteArray::fromHex("C03F70851023");
    StrivixParser parser;
    std::vector<StrivixSample> samples;
    quint64 fed = 0;
    quint64 parsed = 0;
    for (int round = 0; round < 2000; ++round) {
        QByteArray bytes(anyLength(random), '\0');
        for (char& byte : bytes)
            byte = static_cast<char>(anyByte(random));
        bytes += good;
        fed += static_cast<quint64>(bytes.size());
        samples.clear();
        parser.parse(bytes, samples);
        parsed += samples.size();
        ASSERT_FALSE(samples.empty());
        ASSERT_EQ(samples.back(), Known);
        ASSERT_EQ(parser.pendingBytes(), 0);
    }
    EXPECT_EQ(fed, 3 * parsed + parser.droppedBytes());
}

// One byte lost, added or damaged anywhere in a stream costs one packet at most.
TEST(StrivixParser, OneBadByteCostsOnePacket)
{
    constexpr int Packets = 50;
    std::mt19937 random(1);
    std::uniform_int_distribution<int> anyByte(0, 255);
    std::uniform_int_distribution<qsizetype> anywhere(0, 3 * Packets - 4); // the last packet stays whole
    const QByteArray stream = QByteArray::fromHex("851023").repeated(Packets);
    for (int round = 0; round < 3000; ++round) {
        QByteArray bytes = stream;
        const qsizetype at = anywhere(random);
        const char byte = static_cast<char>(anyByte(random));
        if (round % 3 == 0)
            bytes.remove(at, 1);
        else if (round % 3 == 1)
            bytes.insert(at, byte);
        else
            bytes[at] = byte;
        StrivixParser parser;
        std::vector<StrivixSample> samples;
        parser.parse(bytes, samples);
        const auto good = std::count(samples.begin(), samples.end(), Known);
        ASSERT_GE(good, Packets - 1) << "at " << at << " byte " << int(byte) << " round " << round;
        ASSERT_LE(static_cast<int>(samples.size()), Packets + 1);
    }
}
