// SPDX-License-Identifier: GPL-3.0-or-later
#include "LogCapture.h"
#include "recording/FileWriter.h"

#include <QFile>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace vt {
namespace {

/// Queues count blocks of 10 bytes.
void queueBlocks(FileWriter& writer, QIODevice& target, int count)
{
    for (int i = 0; i < count; ++i)
        ASSERT_TRUE(writer.queueWrite(&target, QByteArray("0123456789")));
}

void expectLeftovers(const FileWriter& writer, const test::LogCapture& log)
{
    EXPECT_FALSE(writer.isRunning());
    const FileWriter::Statistics all = writer.statistics();
    EXPECT_EQ(all.currentDepth, 60U); // shown to the user as what remained
    EXPECT_EQ(all.bytesQueued, all.bytesWritten + all.bytesDropped + all.bytesFailed);
    for (const char* line :
         {"FileWriter: Timeout after 6200 ms waiting for flush, forcing shutdown",
          "FileWriter: Started with 60 pending, still have 60 remaining (main: 60 emergency: 0",
          "FileWriter: This may indicate disk I/O is extremely slow!"})
        EXPECT_TRUE(log.contains(line)) << line;
}

// A disk that never answers: the thread hangs inside write(2), here on a full pipe.
TEST(WriterTermination, AThreadThatHangsInAWriteIsEnded)
{
    test::LogCapture log;
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const int capacity = ::fcntl(ends[1], F_GETPIPE_SZ);
    ASSERT_GT(capacity, 0);
    QFile pipe;
    ASSERT_TRUE(
        pipe.open(ends[1], QIODevice::WriteOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle));
    {
        FileWriter writer;
        writer.start();
        ASSERT_TRUE(writer.queueWrite(&pipe, QByteArray(capacity, 'x')));
        ASSERT_TRUE(writer.queueWrite(&pipe, QByteArray("hangs")));
        while (writer.statistics().bytesWritten == 0 || writer.statistics().currentDepth > 0)
            std::this_thread::yield();
        queueBlocks(writer, pipe, 60);
        EXPECT_FALSE(writer.shutdown(1000));
        expectLeftovers(writer, log);
        EXPECT_EQ(writer.targetBytes(&pipe).dropped, 605U);
        EXPECT_EQ(writer.statistics().droppedWrites, 61U);
        EXPECT_TRUE(writer.shutdown(1000)); // stopped already
        EXPECT_FALSE(writer.queueWrite(&pipe, QByteArray("late")));
    }
    pipe.close();
    ::close(ends[0]);
}

/// Hangs in a call that no termination reaches.
class DeafDevice : public QIODevice
{
public:
    DeafDevice() { open(QIODevice::WriteOnly | QIODevice::Unbuffered); }
    std::atomic<bool> entered = false;
    std::atomic<bool> released = false;
    std::atomic<qint64> taken = 0;

protected:
    qint64 readData(char*, qint64) override { return -1; }
    qint64 writeData(const char*, qint64 size) override
    {
        entered = true;
        while (!released)
            std::this_thread::yield();
        taken += size;
        return size;
    }
};

// A call that even termination cannot end. The writer goes away all the same, and the thread, should it ever
// come back, performs nothing more.
TEST(WriterTermination, AThreadThatCannotBeEndedIsLeftAlone)
{
    test::LogCapture log;
    DeafDevice disk;
    {
        FileWriter writer;
        writer.start();
        ASSERT_TRUE(writer.queueWrite(&disk, QByteArray("hangs")));
        while (!disk.entered)
            std::this_thread::yield();
        queueBlocks(writer, disk, 60);
        EXPECT_FALSE(writer.shutdown(1000));
        expectLeftovers(writer, log);
        EXPECT_EQ(writer.statistics().droppedWrites, 61U);
    }
    disk.released = true;
    EXPECT_TRUE(log.waitFor("FileWriter: Processing loop exited, stopping thread event loop"));
    EXPECT_EQ(disk.taken, 5);
}

} // namespace
} // namespace vt
