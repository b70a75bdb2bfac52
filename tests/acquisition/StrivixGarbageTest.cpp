// SPDX-License-Identifier: GPL-3.0-or-later
// A serial line that brings anything but what it should: costs samples, never memory or the program.
#include "FakeTimeSource.h"
#include "LogCapture.h"
#include "acquisition/StrivixDevice.h"

#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using vt::StrivixDevice;
using vt::StrivixParser;
using vt::StrivixSample;

namespace {

constexpr qsizetype GarbageBytes = 10'000'000;
constexpr std::size_t PacketBytes = 3;

QByteArray randomBytes(qsizetype count, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    QByteArray bytes(count, '\0');
    for (qsizetype at = 0; at < count; at += 8) {
        const std::uint64_t word = random();
        std::memcpy(bytes.data() + at, &word, static_cast<std::size_t>(std::min<qsizetype>(8, count - at)));
    }
    return bytes;
}

/// Packet that carries a number of 21 bits: the upper 11 as the code of channel 1, the others as that of
/// channel 2.
std::array<char, PacketBytes> packetOf(unsigned number)
{
    const unsigned code1 = number >> 10;
    const unsigned code2 = number & 0x3FF;
    return {static_cast<char>(0x80 | (code1 >> 4)), static_cast<char>(code2 >> 3),
            static_cast<char>(((code2 & 7) << 4) | (code1 & 15))};
}

unsigned numberOf(const StrivixSample& sample)
{
    const auto code1 = static_cast<unsigned>(std::lround(sample.channel1Volts / 0.001611328125) + 1024);
    const auto code2 = static_cast<unsigned>(std::lround(sample.channel2Volts / 0.00322265625) + 511);
    return (code1 << 10) | code2;
}

/// The other end of a serial line.
class FarEnd
{
public:
    FarEnd() : m_fd(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        ::grantpt(m_fd);
        ::unlockpt(m_fd);
        termios mode{};
        ::tcgetattr(m_fd, &mode);
        ::cfmakeraw(&mode);
        ::tcsetattr(m_fd, TCSANOW, &mode);
    }
    ~FarEnd() { ::close(m_fd); }
    FarEnd(const FarEnd&) = delete;
    FarEnd& operator=(const FarEnd&) = delete;

    [[nodiscard]] QString portName() const { return QString::fromLatin1(::ptsname(m_fd)); }
    [[nodiscard]] int descriptor() const { return m_fd; }
    /// How many of these bytes the line took.
    qsizetype write(QByteArrayView bytes) const
    {
        return std::max<qsizetype>(0, ::write(m_fd, bytes.data(), static_cast<std::size_t>(bytes.size())));
    }

private:
    const int m_fd;
};

/// A streaming device with a line that the test fills.
class GarbageLine : public testing::Test
{
protected:
    void SetUp() override
    {
        QObject::connect(&device, &StrivixDevice::samplesDrained, &device,
                         [this](std::span<const StrivixSample> samples) { drained += samples.size(); });
        device.open(line.portName());
        time.advance(400); // silence: the question is asked
        ASSERT_EQ(line.write("Strivix SA2-0417\r\n"), 18);
        runUntil([&] { return device.state() == StrivixDevice::State::ReadingReply; });
        time.advance(100);
        ASSERT_EQ(device.state(), StrivixDevice::State::Identified);
        device.start();
        before = counters.bytesReceived;
    }
    /// The event loop until condition() holds, looked at after each arrival; 10 s at most.
    template <typename Condition>
    void runUntil(Condition condition)
    {
        QEventLoop loop;
        QTimer look;
        QObject::connect(&look, &QTimer::timeout, &loop, [&] {
            if (condition())
                loop.quit();
        });
        look.start(0);
        QTimer::singleShot(10'000, &loop, &QEventLoop::quit);
        loop.exec();
        ASSERT_TRUE(condition());
    }
    /// Sends all bytes as fast as the device takes them; arrived() after each arrival.
    template <typename Arrived>
    void send(const QByteArray& bytes, Arrived arrived)
    {
        qsizetype sent = 0;
        qsizetype received = 0;
        runUntil([&] {
            sent += line.write(QByteArrayView(bytes).sliced(sent));
            const auto now = static_cast<qsizetype>(counters.bytesReceived - before);
            if (now != std::exchange(received, now))
                arrived();
            return now == bytes.size();
        });
    }
    /// Samples that wait in the device.
    [[nodiscard]] quint64 depth() const { return counters.samples - counters.samplesDropped - drained; }
    [[nodiscard]] bool isEveryByteCounted() const
    {
        const quint64 rest =
            counters.bytesReceived - before - PacketBytes * counters.samples - counters.bytesDropped;
        return rest < PacketBytes; // of a packet that has begun
    }

    vt::test::LogCapture log;
    vt::test::FakeTimeSource time;
    FarEnd line;
    vt::StrivixCounters counters;
    StrivixDevice device{time, counters};
    quint64 drained = 0;
    quint64 before = 0;
};

} // namespace

TEST(StrivixGarbage, OfTenMegabytesKeepsNothing)
{
    const QByteArray bytes = randomBytes(GarbageBytes, 1);
    std::mt19937 random(2);
    std::uniform_int_distribution<qsizetype> anyLength(1, 8192);
    StrivixParser parser;
    std::vector<StrivixSample> samples;
    quint64 parsed = 0;
    for (qsizetype at = 0; at < bytes.size();) {
        const qsizetype length = std::min(anyLength(random), bytes.size() - at);
        samples.clear();
        parser.parse(QByteArrayView(bytes).sliced(at, length), samples);
        ASSERT_LT(parser.pendingBytes(), 3) << "at " << at;
        ASSERT_LE(samples.size(), static_cast<std::size_t>(length + 2) / PacketBytes);
        parsed += samples.size();
        at += length;
    }
    EXPECT_EQ(PacketBytes * parsed + parser.droppedBytes() + static_cast<quint64>(parser.pendingBytes()),
              static_cast<quint64>(bytes.size()));
    // Of random bytes, one in eight positions begins what looks like a packet; taken ones shut out none.
    EXPECT_NEAR(static_cast<double>(parsed), GarbageBytes / 8.0, GarbageBytes / 800.0);
}

// Every packet that no flipped bit hits is found; only those that are hit are lost.
TEST(StrivixGarbage, AMillionFlippedBitsCostTheirPackets)
{
    constexpr unsigned Packets = 2'000'000; // each number fits 21 bits, so each packet is recognised
    QByteArray bytes;
    bytes.reserve(static_cast<qsizetype>(PacketBytes) * Packets);
    for (unsigned number = 0; number < Packets; ++number) {
        const auto packet = packetOf(number);
        bytes.append(packet.data(), packet.size());
    }
    std::mt19937 random(3);
    std::uniform_int_distribution<qsizetype> anywhere(0, bytes.size() - 1);
    std::vector<bool> isHit(Packets);
    for (int flip = 0; flip < 1'000'000; ++flip) {
        const qsizetype at = anywhere(random);
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << (flip % 8)));
        isHit[static_cast<std::size_t>(at) / PacketBytes] = true;
    }
    StrivixParser parser;
    std::vector<StrivixSample> samples;
    for (qsizetype at = 0; at < bytes.size(); at += 1000)
        parser.parse(QByteArrayView(bytes).sliced(at, std::min<qsizetype>(1000, bytes.size() - at)), samples);
    std::vector<bool> isFound(Packets);
    for (const StrivixSample& sample : samples)
        if (const unsigned number = numberOf(sample); number < Packets)
            isFound[number] = true;
    unsigned intactLost = 0;
    for (std::size_t number = 0; number < Packets; ++number)
        intactLost += !isHit[number] && !isFound[number] ? 1 : 0;
    EXPECT_EQ(intactLost, 0U);
    EXPECT_LE(samples.size(), std::size_t{Packets} + 1);
    EXPECT_EQ(PacketBytes * samples.size() + parser.droppedBytes() +
                  static_cast<quint64>(parser.pendingBytes()),
              static_cast<quint64>(bytes.size()));
}

// At 33 ms per arrival the line brings some ten times what an amplifier can.
TEST_F(GarbageLine, IsDrainedLikeAnyStream)
{
    quint64 deepest = 0;
    send(randomBytes(GarbageBytes, 4), [&] {
        deepest = std::max(deepest, depth());
        time.advance(33);
    });
    EXPECT_TRUE(isEveryByteCounted());
    EXPECT_GT(counters.samples, 1'000'000U);
    EXPECT_EQ(counters.samplesDropped, 0U);
    EXPECT_LT(deepest, 65'536U);
    EXPECT_EQ(device.state(), StrivixDevice::State::Streaming);
    EXPECT_EQ(counters.serialErrors, 0U);
}

// Whatever keeps the samples from being handed on, here a clock that stands still.
TEST_F(GarbageLine, DoesNotPileUp)
{
    quint64 deepest = 0;
    send(randomBytes(2'000'000, 5), [&] { deepest = std::max(deepest, depth()); });
    EXPECT_TRUE(isEveryByteCounted());
    EXPECT_EQ(deepest, 36'000U) << "a minute";
    EXPECT_GT(counters.samplesDropped, 100'000U);
    EXPECT_TRUE(log.contains("StrivixDevice: FIFO full, dropping the oldest samples"));
    time.advance(100);
    EXPECT_LT(depth(), 1200U) << "handed on as soon as time goes on";
}
