// SPDX-License-Identifier: GPL-3.0-or-later
#include "FileWriterPeer.h"
#include "HeldWriter.h"
#include "LogCapture.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <thread>

namespace vt {
namespace {

using test::LogCapture;
using test::StallDevice;

/// Collects a signal's arguments wherever it is emitted.
template <typename Value>
class Collected
{
public:
    void add(Value value)
    {
        MutexLock lock(m_mutex);
        m_values.push_back(std::move(value));
    }
    [[nodiscard]] std::vector<Value> values() const
    {
        MutexLock lock(m_mutex);
        return m_values;
    }

private:
    mutable Mutex m_mutex;
    std::vector<Value> m_values VT_GUARDED_BY(m_mutex);
};

QByteArray number(int value)
{
    return QByteArray::number(value).rightJustified(5, '0');
}

void expectEveryByteAccounted(const FileWriter& writer)
{
    const FileWriter::Statistics all = writer.statistics();
    EXPECT_EQ(all.bytesQueued, all.bytesWritten + all.bytesDropped + all.bytesFailed);
}

class Writer : public testing::Test
{
protected:
    LogCapture log;
};

TEST_F(Writer, FillsTheMainThenTheEmergencyQueueThenDrops)
{
    StallDevice disk(StallDevice::Gate::Closed);
    Collected<int> warnings;
    std::atomic<int> overflows = 0;
    FileWriter writer;
    QObject::connect(
        &writer, &FileWriter::queueOverflowWarning, &writer, [&](int depth) { warnings.add(depth); },
        Qt::DirectConnection);
    QObject::connect(
        &writer, &FileWriter::criticalOverflow, &writer, [&] { ++overflows; }, Qt::DirectConnection);
    writer.start();
    ASSERT_TRUE(writer.queueWrite(&disk, number(0)));
    disk.waitUntilEntered(); // the worker holds operation 0 and hangs

    for (int i = 1; i <= 2000; ++i)
        ASSERT_TRUE(writer.queueWrite(&disk, number(i)));
    EXPECT_EQ(writer.statistics().emergencyHits, 0U);
    EXPECT_EQ(writer.statistics().currentDepth, 2000U);
    for (int i = 2001; i <= 2100; ++i) {
        ASSERT_TRUE(writer.queueWrite(&disk, number(i)));
        ASSERT_EQ(writer.statistics().emergencyDepth, static_cast<quint32>(i - 2000));
    }
    EXPECT_EQ(overflows, 0);
    EXPECT_FALSE(writer.queueWrite(&disk, number(2101)));
    EXPECT_EQ(overflows, 1);
    EXPECT_TRUE(log.contains("FileWriter: CRITICAL - Both buffers full! Dropped write."));
    EXPECT_TRUE(log.contains("FileWriter: Main queue: 2000 Emergency: 100"));
    disk.release();
    EXPECT_TRUE(writer.shutdown(1000));

    // Emergency operations first, fifty at a time; each queue in its own order.
    QByteArray wanted = number(0);
    for (int i = 2001; i <= 2100; ++i)
        wanted += number(i);
    for (int i = 1; i <= 2000; ++i)
        wanted += number(i);
    EXPECT_EQ(disk.bytes(), wanted);
    EXPECT_EQ(warnings.values(), (std::vector<int>{2000, 2000, 1950, 1900, 1850, 1800, 1750, 1700, 1650}));

    const FileWriter::Statistics all = writer.statistics();
    EXPECT_EQ(all.totalWrites, 2102U);
    EXPECT_EQ(all.droppedWrites, 1U);
    EXPECT_EQ(all.emergencyHits, 100U);
    EXPECT_EQ(all.peakDepth, 2000U);
    EXPECT_EQ(all.currentDepth + all.emergencyDepth, 0U);
    EXPECT_EQ(all.errors, 0U);
    EXPECT_EQ(all.reorderedWrites, 2000U); // all of the main queue after younger ones
    const FileWriter::TargetBytes bytes = writer.targetBytes(&disk);
    EXPECT_EQ(bytes.queued, 2102U * 5);
    EXPECT_EQ(bytes.written, 2101U * 5);
    EXPECT_EQ(bytes.dropped, 5U);
    expectEveryByteAccounted(writer);
    EXPECT_TRUE(
        log.contains("FileWriter: Statistics: total= 2102 bytes= 10505 dropped= 1 emergency_hits= 100 "
                     "errors= 0 peak_depth= 2000"));
}

TEST_F(Writer, ABusyMainLockDivertsAWriteAndItIsPerformedSoon)
{
    StallDevice disk(StallDevice::Gate::Open);
    FileWriter writer;
    writer.start();
    {
        MutexLock held(FileWriterPeer::mainMutex(writer));
        std::thread producer([&] { EXPECT_TRUE(writer.queueWrite(&disk, QByteArray("diverted"))); });
        producer.join(); // would hang if producers waited for the main lock
        EXPECT_EQ(writer.statistics().emergencyHits, 1U);
        EXPECT_EQ(writer.statistics().currentDepth, 0U);
    }
    // Without any further write for the main queue.
    EXPECT_EQ(disk.waitForBytes(8), QByteArray("diverted"));
    EXPECT_TRUE(writer.shutdown(1000));
}

TEST_F(Writer, WritesNumbersBigEndianAndSharesLargeBlocks)
{
    StallDevice disk(StallDevice::Gate::Closed);
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("f")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QObject parent; // keeps the writer on this thread; the loop must run on its own all the same
    FileWriter writer(FileWriter::MaxQueueSize, &parent);
    writer.start();
    EXPECT_TRUE(writer.queueFlush(&disk));
    EXPECT_TRUE(writer.queueWrite(&disk, 1.0));
    disk.waitUntilEntered();
    QByteArray large(100000, 'x');
    const QByteArray untouched = large;
    EXPECT_TRUE(writer.queueWrite(&disk, qint16{-2}));
    EXPECT_TRUE(writer.queueWrite(&disk, qint32{0x01020304}));
    EXPECT_TRUE(writer.queueWrite(&disk, large));
    large.fill('y'); // the producer's buffer is free at once
    EXPECT_TRUE(writer.queueWrite(&disk, std::as_bytes(std::span(large.constData(), 2000))));
    EXPECT_TRUE(writer.queueFlush(&disk));
    EXPECT_TRUE(writer.queueWrite(&file, QByteArray("buffered")));
    EXPECT_TRUE(writer.queueFlush(&file));
    disk.release();
    EXPECT_TRUE(writer.shutdown(1000));
    EXPECT_EQ(disk.bytes(),
              QByteArray::fromHex("3ff0000000000000fffe01020304") + untouched + QByteArray(2000, 'y'));
    EXPECT_EQ(QFileInfo(file.fileName()).size(), 8);
    EXPECT_EQ(writer.statistics().errors, 0U);
    EXPECT_EQ(writer.statistics().bytesWritten, 14U + 102000U + 8U);
    expectEveryByteAccounted(writer);
}

TEST_F(Writer, ReportsTargetsThatAreNotOpen)
{
    QTemporaryDir folder;
    QFile closed(folder.filePath(QStringLiteral("f")));
    QFile readOnly(QStringLiteral("/dev/null"));
    ASSERT_TRUE(readOnly.open(QIODevice::ReadOnly));
    Collected<QString> errors;
    test::HeldWriter held;
    FileWriter& writer = held.writer;
    QObject::connect(
        &writer, &FileWriter::writeError, &writer, [&](const QString& text) { errors.add(text); },
        Qt::DirectConnection);
    EXPECT_TRUE(writer.queueWrite(&closed, QByteArray("1234567")));
    EXPECT_TRUE(writer.queueWrite(nullptr, 1.0));
    EXPECT_TRUE(writer.queueWrite(&closed, qint16{1}));
    EXPECT_TRUE(writer.queueWrite(nullptr, qint32{1}));
    EXPECT_TRUE(writer.queueFlush(&closed));
    EXPECT_TRUE(writer.queueWrite(&readOnly, QByteArray("12")));
    EXPECT_TRUE(writer.queueWrite(&readOnly, 1.0));
    EXPECT_TRUE(writer.queueWrite(&readOnly, qint16{1}));
    EXPECT_TRUE(writer.queueWrite(&readOnly, qint32{1}));
    FileWriterPeer::queueType(writer, &readOnly, 5);
    held.release();
    EXPECT_TRUE(writer.shutdown(1000));
    const QString reason = readOnly.errorString();
    const std::vector<QString> wanted = {QStringLiteral("Target file not open or null (type=0)"),
                                         QStringLiteral("Target file not open or null (type=1)"),
                                         QStringLiteral("Target file not open or null (type=2)"),
                                         QStringLiteral("Target file not open or null (type=3)"),
                                         QStringLiteral("Target file not open or null (type=4)"),
                                         QStringLiteral("Partial buffer write: 0/2 bytes, error: ") + reason,
                                         QStringLiteral("Failed to write double value: ") + reason,
                                         QStringLiteral("Failed to write int16 value: ") + reason,
                                         QStringLiteral("Failed to write int32 value: ") + reason,
                                         QStringLiteral("Unknown operation type: 5")};
    EXPECT_EQ(errors.values(), wanted);
    EXPECT_EQ(writer.statistics().errors, 10U);
    EXPECT_EQ(writer.statistics().bytesWritten, 1U); // what the worker was held with
    EXPECT_EQ(writer.targetBytes(&closed).failed, 9U);
    EXPECT_EQ(writer.targetBytes(&readOnly).failed, 16U);
    EXPECT_EQ(writer.statistics().bytesFailed, 9U + 12U + 16U);
    expectEveryByteAccounted(writer);
}

TEST_F(Writer, EmitsStatisticsWhileTheTotalIsAMultipleOfAThousand)
{
    for (const std::size_t total : {999U, 1000U, 1001U}) {
        test::HeldWriter held;
        Collected<quint64> totals;
        QObject::connect(
            &held.writer, &FileWriter::statisticsUpdated, &held.writer,
            [&](const FileWriter::Statistics& all) { totals.add(all.totalWrites); }, Qt::DirectConnection);
        for (std::size_t i = 1; i < total; ++i)
            ASSERT_TRUE(held.writer.queueFlush(nullptr));
        held.release();
        EXPECT_TRUE(held.writer.shutdown(1000));
        EXPECT_EQ(totals.values(), std::vector<quint64>(total == 1000 ? 1000 : 0, 1000));
    }
}

TEST_F(Writer, ShutdownWaitsTwentyMillisecondsForEachPendingWrite)
{
    EXPECT_EQ(effectiveShutdownTimeoutMs(1000, 300), 11000);
    EXPECT_EQ(effectiveShutdownTimeoutMs(5000, 0), 5000);
    EXPECT_EQ(effectiveShutdownTimeoutMs(4999, 0), 5000);
    EXPECT_EQ(effectiveShutdownTimeoutMs(30000, 1250), 30000);
    EXPECT_EQ(effectiveShutdownTimeoutMs(30000, 1251), 30020);

    StallDevice disk(StallDevice::Gate::Open);
    test::HeldWriter held;
    FileWriter& writer = held.writer;
    for (int i = 0; i < 300; ++i)
        ASSERT_TRUE(writer.queueWrite(&disk, QByteArray("x")));
    std::thread stopper([&] { EXPECT_TRUE(writer.shutdown(1000)); });
    EXPECT_TRUE(log.waitFor("FileWriter: Waiting for worker thread to finish (timeout: 11000 ms)"));
    EXPECT_FALSE(writer.queueWrite(&disk, QByteArray("late")));
    held.release();
    stopper.join();
    EXPECT_EQ(disk.bytes().size(), 300);
    for (const char* line :
         {"FileWriter: Shutdown requested, flushing 300 main queue writes and 0 emergency writes 300",
          "FileWriter: Requested timeout 1000 ms insufficient for 300 pending writes",
          "FileWriter: Using extended timeout 11000 ms",
          "FileWriter: Cannot queue write - not running or shutdown requested",
          "FileWriter: Shutdown complete after flushing 300 writes"})
        EXPECT_TRUE(log.contains(line)) << line;
}

TEST_F(Writer, LivesOnce)
{
    StallDevice disk(StallDevice::Gate::Open);
    {
        FileWriter writer;
        EXPECT_FALSE(writer.queueWrite(&disk, QByteArray("early")));
        EXPECT_TRUE(writer.shutdown(1000));
        writer.start(QThread::LowPriority);
        writer.start();
        EXPECT_TRUE(writer.isRunning());
        EXPECT_TRUE(log.waitFor("FileWriter: Background thread started"));
        QElapsedTimer clock;
        clock.start();
        EXPECT_TRUE(writer.shutdown(5000)); // nothing queued
        EXPECT_LT(clock.elapsed(), 2500);
        EXPECT_FALSE(writer.isRunning());
        EXPECT_FALSE(writer.queueWrite(&disk, QByteArray("late")));
        writer.start();
        EXPECT_FALSE(writer.isRunning());
        EXPECT_EQ(writer.statistics().totalWrites, 0U);
    }
    {
        FileWriter writer;
        writer.start();
        EXPECT_TRUE(writer.queueWrite(&disk, QByteArray("kept")));
    }
    EXPECT_EQ(disk.bytes(), QByteArray("kept"));
    for (const char* line : {"FileWriter: Created", "FileWriter: Starting background thread with priority 2",
                             "FileWriter: Already running", "FileWriter: Destroyed",
                             "FileWriter: Processing loop exited, stopping thread event loop",
                             "FileWriter: Destructor called while still running - forcing stop"})
        EXPECT_TRUE(log.contains(line)) << line;
    const QStringList started =
        log.lines().filter(QStringLiteral("FileWriter: Processing loop started on thread "));
    ASSERT_EQ(started.size(), 2);
    EXPECT_TRUE(started.first().contains(QStringLiteral("name = FileWriter)")))
        << started.first().toStdString();
}

} // namespace
} // namespace vt
