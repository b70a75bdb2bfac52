// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/FilePlayback.h"
#include "AnalogTask.h"

#include <QFile>
#include <QTemporaryDir>
#include <bit>
#include <gmock/gmock.h>
#include <limits>

namespace vt::test {
namespace {

constexpr int Channels = 3;

class FilePlaybackFiles : public testing::Test
{
protected:
    /// The value of a channel at an instant, about 0.5 V; no two are alike, and all eight bytes matter.
    static double value(std::size_t instant, int channel)
    {
        return std::bit_cast<double>(0x3FE0'1122'3344'5566U + instant * 0x0000'0001'0203'0507U +
                                     static_cast<std::uint64_t>(channel) * 0x0000'0300'0000'0001U);
    }
    /// Written byte by byte, lowest first.
    QString write(std::size_t instants, const QByteArray& tail = {})
    {
        QByteArray bytes;
        for (std::size_t instant = 0; instant < instants; ++instant)
            for (int channel = 0; channel < Channels; ++channel) {
                const auto bits = std::bit_cast<std::uint64_t>(value(instant, channel));
                for (int shift = 0; shift < 64; shift += 8)
                    bytes.append(static_cast<char>((bits >> shift) & 0xFF));
            }
        const QString path = m_dir.filePath(QStringLiteral("signal.f64"));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        EXPECT_EQ(file.write(bytes + tail), bytes.size() + tail.size());
        return path;
    }
    QTemporaryDir m_dir;
};

TEST_F(FilePlaybackFiles, FirstPassIsExactThenStartsAgainWithoutAGap)
{
    // 5000 instants: more than the read buffer, not a multiple of it nor of the block.
    constexpr std::size_t Instants = 5000;
    SimulatedUnit::Config config;
    config.channels = Channels;
    config.clock = SimulatedUnit::Clock::Manual;
    config.gain = 0; // would add an offset to animals
    config.playbackFile = write(Instants + 7);
    SimulatedUnit unit(config);
    ASSERT_EQ(unit.configurationError().toStdString(), "");
    AnalogTask task(unit, Channels);
    ASSERT_EQ(task.open(), 0);
    ASSERT_EQ(task.start(), 0);
    std::size_t next = 0;
    std::size_t wrong = 0;
    task.onCallback = [&] {
        ASSERT_EQ(task.read(), 0);
        for (std::size_t j = 0; j < 20; ++j)
            for (int channel = 0; channel < Channels; ++channel)
                if (task.samples[static_cast<std::size_t>(channel) * 20 + j] !=
                    value((next + j) % (Instants + 7), channel))
                    ++wrong;
        next += 20;
    };
    EXPECT_EQ(unit.advanceFrames(600), 600);
    EXPECT_EQ(wrong, 0U);
    EXPECT_FALSE(unit.isAsleep(0, 0));
}

TEST_F(FilePlaybackFiles, SkipsAndSelectsChannels)
{
    QString error;
    const auto playback = FilePlayback::open(write(3000), Channels, &error);
    ASSERT_TRUE(playback) << error.toStdString();
    EXPECT_EQ(playback->instantCount(), 3000U);
    const std::array<int, 2> order{2, 0};
    std::array<double, 4> out{};
    playback->skip(order, 2998);
    playback->read(order, 1, out.data());
    EXPECT_EQ(out[0], value(2998, 2));
    EXPECT_EQ(out[1], value(2998, 0));
    playback->skip(order, 3001 + 10 * 3000);
    playback->read(order, 2, out.data());
    EXPECT_THAT(out, testing::ElementsAre(value(0, 2), value(1, 2), value(0, 0), value(1, 0)));
}

TEST_F(FilePlaybackFiles, NamesTheFileAndTheProblem)
{
    struct Case
    {
        QString path;
        int channels;
        const char* problem;
    };
    const QString good = write(40);
    const auto problemOf = [](const QString& path, int channels) {
        QString error;
        EXPECT_EQ(FilePlayback::open(path, channels, &error), nullptr);
        EXPECT_THAT(error.toStdString(), testing::HasSubstr(path.toStdString()));
        return error.toStdString();
    };
    EXPECT_THAT(problemOf(good, 7), testing::HasSubstr("960 bytes is not a multiple of 56"));
    EXPECT_THAT(problemOf(write(40, "x"), Channels), testing::HasSubstr("961 bytes"));
    EXPECT_THAT(problemOf(write(19), Channels), testing::HasSubstr("holds 19 samples per channel"));
    EXPECT_THAT(problemOf(write(0), Channels), testing::HasSubstr("holds 0 samples"));
    EXPECT_THAT(problemOf(m_dir.filePath(QStringLiteral("absent")), 1), testing::HasSubstr("No such file"));
    EXPECT_THAT(problemOf(m_dir.path(), 1), testing::HasSubstr("folder"));
}

} // namespace
} // namespace vt::test
