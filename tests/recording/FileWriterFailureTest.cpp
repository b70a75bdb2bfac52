// SPDX-License-Identifier: GPL-3.0-or-later
#include "FailDevice.h"
#include "HeldWriter.h"
#include "LogCapture.h"
#include "recording/BlockWrite.h"
#include "recording/RawFileReader.h"

#include <QTemporaryDir>
#include <array>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

namespace vt {
namespace {

using test::FailDevice;

constexpr int Channels = 3;
constexpr int FramesPerBlock = 4;
constexpr int Blocks = 8;
constexpr int BlockBytes = Channels * FramesPerBlock * 2;

FileHeader smallHeader()
{
    FileHeader header;
    header.channelCount = Channels;
    header.featuresPerEpoch = 6;
    for (int i = 0; i < Channels; ++i)
        header.channelLabels << QString::number(i);
    return header;
}

/// Block number b: channel c's samples are 1000 * c + b.
QByteArray block(int number)
{
    QByteArray bytes;
    for (int i = 0; i < FramesPerBlock * Channels; ++i) {
        const int sample = 1000 * (i % Channels) + number;
        bytes.append(static_cast<char>(sample >> 8)).append(static_cast<char>(sample));
    }
    return bytes;
}

/// Numbers of the blocks that a recording holds; each sample is checked to be in its channel.
std::vector<int> blocksIn(const QString& path)
{
    RawFileReader reader;
    EXPECT_TRUE(reader.open(path));
    EXPECT_EQ(reader.trailingBytes(), 0);
    std::vector<int> numbers;
    std::array<std::int16_t, Channels * FramesPerBlock> samples;
    for (qint64 frame = 0; frame < reader.frameCount(); frame += FramesPerBlock) {
        EXPECT_EQ(reader.readFrames(frame, samples), FramesPerBlock);
        for (std::size_t i = 0; i < samples.size(); ++i)
            EXPECT_EQ(samples[i], 1000 * static_cast<int>(i % Channels) + samples[0]);
        numbers.push_back(samples[0]);
    }
    return numbers;
}

// The disk takes n bytes of a small recording, then fails in one of the ways disks fail, for every n.
TEST(WriterFailures, WhateverByteADiskFailsAtBlocksStayWhole)
{
    test::LogCapture log;
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    for (const auto failure : {FailDevice::Failure::FromThenOn, FailDevice::Failure::Once}) {
        for (qint64 goodBytes = 0; goodBytes <= Blocks * BlockBytes; ++goodBytes) {
            FailDevice disk(path);
            ASSERT_TRUE(disk.open(QIODevice::ReadWrite | QIODevice::Truncate | QIODevice::Unbuffered));
            ASSERT_TRUE(smallHeader().writeHeader(disk));
            disk.failAfter(goodBytes, failure);
            test::HeldWriter held;
            FileWriter& writer = held.writer;
            for (int number = 0; number < Blocks; ++number)
                ASSERT_TRUE(writer.queueWrite(&disk, block(number)));
            held.release();
            ASSERT_TRUE(writer.shutdown(1000));
            disk.close();

            std::vector<int> wanted;
            const int hit = static_cast<int>(goodBytes / BlockBytes);
            for (int number = 0; number < Blocks; ++number)
                if (number < hit || (failure == FailDevice::Failure::Once && number > hit))
                    wanted.push_back(number);
            EXPECT_EQ(blocksIn(path), wanted) << goodBytes;
            const FileWriter::TargetBytes bytes = writer.targetBytes(&disk);
            EXPECT_EQ(bytes.queued, static_cast<quint64>(Blocks * BlockBytes));
            EXPECT_EQ(bytes.written, wanted.size() * BlockBytes);
            EXPECT_EQ(bytes.failed, bytes.queued - bytes.written);
            EXPECT_EQ(writer.statistics().errors, static_cast<quint64>(Blocks) - wanted.size());
        }
    }
}

/// Files of this process cannot grow beyond a size while it lives: writes are cut short there by the system.
class SizeLimit
{
public:
    explicit SizeLimit(qint64 bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        EXPECT_EQ(::getrlimit(RLIMIT_FSIZE, &m_before), 0);
        rlimit limit = m_before;
        limit.rlim_cur = static_cast<rlim_t>(bytes);
        EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &limit), 0);
    }
    ~SizeLimit() { EXPECT_EQ(::setrlimit(RLIMIT_FSIZE, &m_before), 0); }
    SizeLimit(const SizeLimit&) = delete;
    SizeLimit& operator=(const SizeLimit&) = delete;

private:
    rlimit m_before{};
};

// The same without a writer, on the recording's own file class and real short writes.
TEST(WriterFailures, BlocksStayWholeWithoutAWriter)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.bin"));
    for (qint64 goodBytes = 0; goodBytes < 2 * BlockBytes; ++goodBytes) {
        VellumtideFile file;
        ASSERT_EQ(file.openFile(path, true), VellumtideFile::Opened);
        file.header() = smallHeader();
        ASSERT_TRUE(file.writeHeader());
        const auto write = [&file](int number) {
            std::array<double, Channels * FramesPerBlock> volts;
            for (std::size_t i = 0; i < volts.size(); ++i)
                volts[i] = (1000 * static_cast<int>(i / FramesPerBlock) + number) * 5.0 / 32768.0;
            return file.writeSamples(volts.data(), FramesPerBlock);
        };
        {
            const SizeLimit limit(file.device()->size() + goodBytes);
            EXPECT_EQ(write(0), goodBytes >= BlockBytes);
            EXPECT_FALSE(write(1));
            EXPECT_FALSE(file.lastError().isEmpty());
        }
        EXPECT_TRUE(write(2));
        file.close();
        EXPECT_EQ(blocksIn(path), goodBytes >= BlockBytes ? (std::vector<int>{0, 2}) : std::vector<int>{2});
    }
}

TEST(WriterFailures, NamesWhatWasWritten)
{
    test::LogCapture log;
    QTemporaryDir folder;
    FailDevice disk(folder.filePath(QStringLiteral("a")));
    ASSERT_TRUE(disk.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    disk.failAfter(5, FailDevice::Failure::Once);
    QStringList errors;
    test::HeldWriter held;
    FileWriter& writer = held.writer;
    QObject::connect(
        &writer, &FileWriter::writeError, &writer, [&](const QString& text) { errors << text; },
        Qt::DirectConnection);
    EXPECT_TRUE(writer.queueWrite(&disk, QByteArray("12345678")));
    held.release();
    EXPECT_TRUE(writer.shutdown(1000));
    ASSERT_EQ(errors.size(), 1);
    EXPECT_TRUE(errors.first().startsWith(QStringLiteral("Partial buffer write: 5/8 bytes, error: ")))
        << errors.first().toStdString();
}

// /dev/full answers every write as a full disk does.
TEST(WriterFailures, AFullDiskIsCritical)
{
    test::LogCapture log;
    QFile full(QStringLiteral("/dev/full"));
    ASSERT_TRUE(full.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    QStringList errors;
    test::HeldWriter held;
    FileWriter& writer = held.writer;
    QObject::connect(
        &writer, &FileWriter::writeError, &writer, [&](const QString& text) { errors << text; },
        Qt::DirectConnection);
    EXPECT_TRUE(writer.queueWrite(&full, QByteArray("1234")));
    EXPECT_TRUE(writer.queueWrite(&full, 1.0));
    held.release();
    EXPECT_TRUE(writer.shutdown(1000));
    const QString reason = full.errorString();
    EXPECT_EQ(errors, QStringList({QStringLiteral("Partial buffer write: 0/4 bytes, error: ") + reason,
                                   QStringLiteral("CRITICAL: Disk full"),
                                   QStringLiteral("Failed to write double value: ") + reason,
                                   QStringLiteral("CRITICAL: Disk full")}));
    EXPECT_TRUE(log.contains("FileWriter: DISK FULL - Data loss imminent!"));
    EXPECT_EQ(writer.statistics().errors, 2U);
    EXPECT_EQ(writer.statistics().bytesFailed, 12U);
}

// A write that still took a part of its block leaves no error in the file: the disk's free space tells.
TEST(WriterFailures, ADiskWithoutRoomForTheBlockIsFull)
{
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("a")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_FALSE(isDiskFull(file, 1));
    EXPECT_TRUE(isDiskFull(file, 1LL << 60));
}

} // namespace
} // namespace vt
