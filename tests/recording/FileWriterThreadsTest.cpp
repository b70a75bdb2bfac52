// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "recording/FileWriter.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <algorithm>
#include <gtest/gtest.h>
#include <numeric>
#include <thread>
#include <vector>

namespace vt {
namespace {

#ifdef VELLUMTIDE_SANITIZED
constexpr int WritesPerProducer = 5000;
#else
constexpr int WritesPerProducer = 20000;
#endif
constexpr int Files = 3;
constexpr int BlockBytes = 128;

/// Blocks that carry their number in their first four bytes.
QByteArray block(int value)
{
    QByteArray bytes(BlockBytes, static_cast<char>(value));
    qToBigEndian(value, bytes.data());
    return bytes;
}

/// The numbers of a file's blocks; each block is checked to be whole.
std::vector<int> blocksOf(const QString& path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    std::vector<int> numbers;
    while (!file.atEnd()) {
        const QByteArray bytes = file.read(BlockBytes);
        const int value = qFromBigEndian<int>(bytes.constData());
        EXPECT_EQ(bytes, block(value));
        numbers.push_back(value);
    }
    return numbers;
}

/// How many numbers stand after a larger one.
quint64 countLate(const std::vector<int>& numbers)
{
    quint64 late = 0;
    int largest = -1;
    for (const int value : numbers) {
        late += value < largest ? 1 : 0;
        largest = std::max(largest, value);
    }
    return late;
}

// One producer for each file, as fast as they can, and a reader of the counters beside them: whatever the
// queues refuse, nothing is lost silently, torn, written twice or out of its own queue's order.
TEST(WriterThreads, EveryBlockIsWrittenOnceOrCountedAsDropped)
{
    test::LogCapture log;
    QTemporaryDir folder;
    std::vector<std::unique_ptr<QFile>> files;
    for (int i = 0; i < Files; ++i) {
        files.push_back(std::make_unique<QFile>(folder.filePath(QString::number(i))));
        ASSERT_TRUE(files.back()->open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    }
    FileWriter writer;
    std::atomic<int> overflows = 0;
    QObject::connect(
        &writer, &FileWriter::criticalOverflow, &writer, [&] { ++overflows; }, Qt::DirectConnection);
    writer.start();
    std::vector<std::vector<int>> accepted(Files);
    std::vector<std::thread> producers;
    for (int i = 0; i < Files; ++i)
        producers.emplace_back([&, file = files[static_cast<std::size_t>(i)].get(),
                                &mine = accepted[static_cast<std::size_t>(i)]] {
            for (int value = 0; value < WritesPerProducer; ++value) {
                if (writer.queueWrite(file, block(value)))
                    mine.push_back(value);
                // Mostly within what the worker can take; now and then a burst that overflows.
                while (value % 7000 < 4000 && writer.statistics().currentDepth > 1500)
                    std::this_thread::yield();
            }
        });
    for (std::thread& producer : producers)
        producer.join();
    ASSERT_TRUE(writer.shutdown(30000));

    quint64 late = 0;
    quint64 written = 0;
    for (int i = 0; i < Files; ++i) {
        std::vector<int> found = blocksOf(files[static_cast<std::size_t>(i)]->fileName());
        late += countLate(found);
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, accepted[static_cast<std::size_t>(i)]);
        const FileWriter::TargetBytes bytes = writer.targetBytes(files[static_cast<std::size_t>(i)].get());
        EXPECT_EQ(bytes.queued, static_cast<quint64>(WritesPerProducer) * BlockBytes);
        EXPECT_EQ(bytes.written, found.size() * BlockBytes);
        EXPECT_EQ(bytes.dropped, bytes.queued - bytes.written);
        written += found.size();
    }
    const FileWriter::Statistics all = writer.statistics();
    EXPECT_EQ(all.totalWrites, static_cast<quint64>(Files) * WritesPerProducer);
    EXPECT_EQ(all.droppedWrites, all.totalWrites - written);
    EXPECT_EQ(static_cast<quint64>(overflows), all.droppedWrites);
    EXPECT_EQ(all.bytesWritten, written * BlockBytes);
    EXPECT_EQ(all.reorderedWrites, late);
    EXPECT_EQ(all.errors, 0U);
}

// Producers keep offering while another thread shuts the writer down: what was accepted is on disk.
TEST(WriterThreads, AShutdownUnderFireLosesNothingAccepted)
{
    test::LogCapture log;
    QTemporaryDir folder;
    for (int round = 0; round < 20; ++round) {
        QFile file(folder.filePath(QString::number(round)));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        FileWriter writer;
        writer.start();
        std::atomic<int> accepted = 0;
        std::atomic<bool> stopped = false;
        std::vector<std::thread> producers;
        for (int i = 0; i < 2; ++i)
            producers.emplace_back([&] {
                while (!stopped)
                    accepted += writer.queueWrite(&file, block(1)) ? 1 : 0;
            });
        while (accepted < 200)
            std::this_thread::yield();
        EXPECT_TRUE(writer.shutdown(1000));
        stopped = true;
        for (std::thread& producer : producers)
            producer.join();
        EXPECT_EQ(file.size(), qint64{accepted} * BlockBytes);
        const FileWriter::Statistics all = writer.statistics();
        EXPECT_EQ(all.bytesQueued, all.bytesWritten + all.bytesDropped);
    }
}

// A recording of two hours at high speed once held 162 blocks that stood after a younger one: the worker took
// the emergency queue, into which a busy main queue had sent a block, before the older blocks of the main
// one.
TEST(WriterThreads, ABusyMainQueueDoesNotReorderAFile)
{
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("ordered")));
    ASSERT_TRUE(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
    FileWriter writer;
    writer.start();
    constexpr quint32 lessThanABatch = FileWriter::BatchSize - 10;
    for (int i = 0; i < WritesPerProducer; ++i) {
        while (writer.statistics().currentDepth >= lessThanABatch || writer.statistics().emergencyDepth > 0)
            std::this_thread::yield();
        ASSERT_TRUE(writer.queueWrite(&file, block(i)));
    }
    ASSERT_TRUE(writer.shutdown(30000));
    EXPECT_EQ(writer.statistics().reorderedWrites, 0U);
    const std::vector<int> numbers = blocksOf(file.fileName());
    EXPECT_EQ(numbers.size(), static_cast<std::size_t>(WritesPerProducer));
    EXPECT_EQ(countLate(numbers), 0U);
}

} // namespace
} // namespace vt
